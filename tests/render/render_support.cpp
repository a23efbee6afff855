#include "tests/render/render_support.h"

#include <algorithm>
#include <utility>

CRecordingBackend::CRecordingBackend() : m_pFormer(SetWindowBackend(this)) {}
CRecordingBackend::~CRecordingBackend()
{
    SetWindowBackend(m_pFormer);
}

std::int32_t CRecordingBackend::MessageBoxA(HWND, std::string_view text, std::string_view, std::uint32_t)
{
    const std::lock_guard lock(m_csTexts);
    m_Texts.emplace_back(text);
    return IDOK;
}

std::vector<std::string> CRecordingBackend::TakeTexts()
{
    const std::lock_guard lock(m_csTexts);
    return std::exchange(m_Texts, {});
}

CTestFrame::CTestFrame(std::int32_t width, std::int32_t height, std::uint8_t luma, std::uint8_t u,
                       std::uint8_t v)
{
    const std::uint8_t values[] = {luma, u, v};
    for (int plane = 0; plane < 3; ++plane) {
        const std::int32_t across = plane == 0 ? width : (width + 1) / 2;
        const std::int32_t down = plane == 0 ? height : (height + 1) / 2;
        m_Planes[plane].assign(static_cast<std::size_t>(across) * static_cast<std::size_t>(down),
                               values[plane]);
        m_Frame.data[plane] = m_Planes[plane].data();
        m_Frame.linesize[plane] = across;
    }
    m_Frame.format = 1;
    m_Frame.width = width;
    m_Frame.height = height;
}

std::uint32_t GreyPixel(std::uint8_t luma)
{
    const auto grey = static_cast<std::uint32_t>(std::clamp(((luma - 16) * 9535) >> 13, 0, 255));
    return grey | grey << 8 | grey << 16;
}
