#include "recorder/media/PictureFit.h"

#include <algorithm>

namespace recorder
{

double ShapeOf(int width, int height)
{
    if (width * 9 == height * 11) return 4.0 / 3.0;
    if (height == 1088) height = 1080;
    return static_cast<double>(width) / height;
}

PictureFit::PictureFit(int width, int height) : m_Width(width), m_Height(height)
{
    const size_t size = size_t{4} * static_cast<size_t>(width) * static_cast<size_t>(height);
    m_Pixels.reserve(size + SCALER_EXCESS);
    m_Pixels.resize(size);
}

std::vector<uint8_t>& PictureFit::Fit(const AVFrame& frame)
{
    AVRational aspect = frame.sample_aspect_ratio;
    if (aspect.num <= 0 || aspect.den <= 0) aspect = {1, 1};
    const double shown = static_cast<double>(frame.width) * aspect.num / aspect.den / frame.height;
    const double whole = ShapeOf(m_Width, m_Height);
    const int width = shown >= whole ? m_Width : std::max(16, static_cast<int>(m_Width * shown / whole) & ~1);
    const int height =
        shown >= whole ? std::max(16, static_cast<int>(m_Height * whole / shown) & ~1) : m_Height;

    m_Scaler.reset(sws_getCachedContext(m_Scaler.release(), frame.width, frame.height,
                                        static_cast<AVPixelFormat>(frame.format), width, height,
                                        AV_PIX_FMT_BGR0, SWS_BILINEAR, nullptr, nullptr, nullptr));
    const ptrdiff_t corner = (ptrdiff_t{(m_Height - height) / 2} * m_Width + (m_Width - width) / 2) * 4;
    uint8_t* const to[4] = {m_Pixels.data() + corner};
    const int strides[4] = {4 * m_Width};
    if (!m_Scaler || sws_scale(m_Scaler.get(), frame.data, frame.linesize, 0, frame.height, to, strides) <= 0) {
        std::fill(m_Pixels.begin(), m_Pixels.end(), uint8_t{0});
        return m_Pixels;
    }
    // The bars, which it has written into beyond the ends of the rows.
    uint8_t* bar = m_Pixels.data();
    for (int y = 0; y < height; ++y) {
        uint8_t* const row = to[0] + ptrdiff_t{y} * strides[0];
        std::fill(bar, row, uint8_t{0});
        bar = row + ptrdiff_t{4} * width;
    }
    std::fill(bar, m_Pixels.data() + m_Pixels.size(), uint8_t{0});
    return m_Pixels;
}

}  // namespace recorder
