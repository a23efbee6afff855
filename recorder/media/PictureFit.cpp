#include "recorder/media/PictureFit.h"

#include <algorithm>

namespace recorder
{

double ShapeOf(int iWidth, int iHeight)
{
    if (iWidth * 9 == iHeight * 11) return 4.0 / 3.0;
    if (iHeight == 1088) iHeight = 1080;
    return static_cast<double>(iWidth) / iHeight;
}

CPictureFit::CPictureFit(int iWidth, int iHeight)
    : m_iWidth(iWidth),
      m_iHeight(iHeight),
      m_Pixels(size_t{4} * static_cast<size_t>(iWidth) * static_cast<size_t>(iHeight))
{
}

std::vector<uint8_t>& CPictureFit::Fit(const AVFrame& frame)
{
    AVRational aspect = frame.sample_aspect_ratio;
    if (aspect.num <= 0 || aspect.den <= 0) aspect = {1, 1};
    const double shown = static_cast<double>(frame.width) * aspect.num / aspect.den / frame.height;
    const double whole = ShapeOf(m_iWidth, m_iHeight);
    const int width = shown >= whole ? m_iWidth : std::max(16, static_cast<int>(m_iWidth * shown / whole) & ~1);
    const int height =
        shown >= whole ? std::max(16, static_cast<int>(m_iHeight * whole / shown) & ~1) : m_iHeight;

    m_pScaler.reset(sws_getCachedContext(m_pScaler.release(), frame.width, frame.height,
                                         static_cast<AVPixelFormat>(frame.format), width, height,
                                         AV_PIX_FMT_BGR0, SWS_BILINEAR, nullptr, nullptr, nullptr));
    std::fill(m_Pixels.begin(), m_Pixels.end(), uint8_t{0});
    if (!m_pScaler) return m_Pixels;
    const ptrdiff_t corner = (ptrdiff_t{(m_iHeight - height) / 2} * m_iWidth + (m_iWidth - width) / 2) * 4;
    uint8_t* const to[4] = {m_Pixels.data() + corner};
    const int strides[4] = {4 * m_iWidth};
    sws_scale(m_pScaler.get(), frame.data, frame.linesize, 0, frame.height, to, strides);
    return m_Pixels;
}

}  // namespace recorder
