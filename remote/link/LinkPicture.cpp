#include "remote/link/LinkPicture.h"

#include <algorithm>
#include <utility>

#include "codec/decoder.h"
#include "inc/CxLog.h"
#include "inc/LogLine.h"
#include "model/settings/SystemSettings.h"
#include "render/CellPool.h"
#include "render/Render.h"

bool IsWithinLimit(std::int32_t width, std::int32_t height)
{
    if (width < 0 || height < 0) return false;
    const auto whole = [](std::int64_t pixels) {
        constexpr std::int64_t BLOCK = 16;
        return std::max<std::int64_t>((pixels + BLOCK - 1) / BLOCK, 1) * BLOCK;
    };
    return whole(width) * whole(height) <= PICTURE_LIMIT_SAMPLES;
}

CLinkPicture::CLinkPicture(std::shared_ptr<CDeviceState> state, std::shared_ptr<CLinkCounters> counters,
                           IClock& clock)
    : m_pState(std::move(state)),
      m_pCounters(std::move(counters)),
      m_Clock(clock),
      m_dwOpenTick(clock.TickCount())
{
}

CLinkPicture::~CLinkPicture() = default;

void CLinkPicture::Open(std::int32_t codec, std::int32_t width, std::int32_t height, const std::string& stream)
{
    ASSERT_THREAD(m_pState->m_LinkThread);
    m_pCounters->width.store(width, std::memory_order_relaxed);
    m_pCounters->height.store(height, std::memory_order_relaxed);
    if (!IsWithinLimit(width, height)) {
        LogLine(ELogLevel::Warning, "CLinkPicture::Open",
                stream + ": pictures of " + std::to_string(width) + " x " + std::to_string(height) +
                    ", at most " + std::to_string(PICTURE_LIMIT_SAMPLES) + " samples are shown");
        return;
    }
    if (codec == CODEC_ID_H264) {
        m_pState->m_pDecoder = std::make_shared<CC264Decoder>(width, height);
    } else {
        const auto decoder = std::make_shared<CMpeg4Decoder>(width, height);
        decoder->SetStandardChroma(ReadSettingSwitch(ESetting::StandardChroma));
        m_pState->m_pDecoder = decoder;
    }
    m_pRender = CreateRender();
    if (m_pRender) m_pSurface = m_pRender->CreateSurface(width, height);
}

const CodecFrame* CLinkPicture::Decode(const std::uint8_t* data, std::int32_t length)
{
    ASSERT_THREAD(m_pState->m_LinkThread);
    CVideoDecoder* const decoder = m_pState->m_pDecoder.get();
    return decoder == nullptr ? nullptr : decoder->Decode(data, length);
}

void CLinkPicture::Show(const CodecFrame& frame, std::chrono::steady_clock::time_point before)
{
    ASSERT_THREAD(m_pState->m_LinkThread);
    if (m_pSurface == nullptr) return;
    m_pSurface->m_ShowBefore = before;
    m_pRender->DisplayClient(&frame, m_pSurface, m_pState->m_hRenderWnd);
    const EShowing showing = m_pSurface->m_Showing;
    if (showing == EShowing::WithoutCell) CLinkCounters::Count(m_pCounters->withoutCell);
    if (showing == EShowing::NotConvertible) CLinkCounters::Count(m_pCounters->notConvertible);
    if (showing == EShowing::TooLate) CLinkCounters::Count(m_pCounters->skipped);
    if (showing != EShowing::Shown) return;
    // Before the picture is counted: whoever sees it counted finds its time.
    if (m_pCounters->firstPictureMs.load(std::memory_order_relaxed) < 0)
        m_pCounters->firstPictureMs.store(m_Clock.TickCount() - m_dwOpenTick, std::memory_order_relaxed);
    CLinkCounters::Count(m_pCounters->shown);
}

void CLinkPicture::SaveSnapshot(const std::string& path)
{
    ASSERT_THREAD(m_pState->m_LinkThread);
    if (m_pSurface != nullptr) m_pRender->SaveSnapshot(path, m_pSurface);
}

void CLinkPicture::Close()
{
    ASSERT_THREAD(m_pState->m_LinkThread);
    m_pState->m_pDecoder.reset();
    if (m_pSurface != nullptr) m_pRender->DestroySurface(m_pSurface);
    m_pSurface = nullptr;
    m_pRender.reset();
    ReleaseCell(m_pState->m_hRenderWnd.Exchange(HWND::Null));
}
