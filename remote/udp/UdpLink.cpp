#include "remote/udp/UdpLink.h"

#include <algorithm>
#include <exception>
#include <string>
#include <utility>

#include "codec/decoder.h"
#include "inc/CxLog.h"
#include "inc/LogLine.h"
#include "model/NodeModel.h"
#include "model/settings/SystemSettings.h"
#include "platform/os/threads.h"
#include "remote/udp/ChannelReceiver.h"
#include "render/CellPool.h"
#include "render/Render.h"

namespace
{

constexpr std::size_t REQUEST_BYTES = 8;

}  // namespace

CUdpLink::CUdpLink(std::shared_ptr<CDeviceState> state, std::shared_ptr<CP2PSession> session,
                   std::shared_ptr<CLinkCounters> counters, std::int32_t netID, std::int32_t devID)
    : m_pState(std::move(state)),
      m_pSession(std::move(session)),
      m_pCounters(std::move(counters)),
      m_iNetID(netID),
      m_iDevID(devID),
      m_dwOpenTick(GetTickCount())
{
}

CUdpLink::~CUdpLink() = default;

void CUdpLink::Cancel()
{
    m_Cancel.store(true, std::memory_order_relaxed);
    if (m_pSession) m_pSession->WakeAll();
}

void CUdpLink::Run()
{
    // What one channel's bytes or the lack of memory for them bring about ends that channel alone.
    try {
        if (m_pSession) Receive();
    } catch (const std::exception& fault) {
        LogLine(LOG_WARNING, "CUdpLink::Run",
                "channel " + std::to_string(m_iDevID + 1) + " of " + std::to_string(m_iNetID) +
                    " ends: " + fault.what());
    }
    CleanUp();
}

/// From the path to the machine to the end of the stream.
void CUdpLink::Receive()
{
    const std::string peer = std::to_string(m_iNetID);
    const auto receiver = CChannelReceiver::Make(*m_pSession, *m_pCounters, m_iDevID, m_Cancel);
    if (!m_pSession->ConnectPeer(peer, &m_Cancel)) return;
    m_Reply = receiver->ReceiveReply([&] {
        std::uint8_t request[REQUEST_BYTES];
        WriteLittle32(request, MakeMessageHeader(m_iDevID, REQUEST_BYTES));
        WriteLittle32(request + MESSAGE_HEADER_BYTES, static_cast<std::uint32_t>(m_iDevID));
        m_pSession->SendMessage(peer, request);
    });
    if (IsEnding()) return;
    OpenPicture();
    while (m_pSession->IsConnected() && !IsEnding()) {
        const auto message = receiver->ReceiveMessage();
        if (message.empty()) continue;
        CLinkCounters::Count(m_pCounters->messages);
        CLinkCounters::Count(m_pCounters->bytes, message.size());
        const CodecFrame* const frame =
            Decode(message.data() + std::min<std::size_t>(message.size(), MESSAGE_HEADER_BYTES),
                   static_cast<std::int32_t>(message.size()) - static_cast<std::int32_t>(MESSAGE_HEADER_BYTES));
        if (frame == nullptr) continue;
        // A thread that was kept waiting for the processor decodes what the next picture builds on, and no
        // more.
        if (receiver->HasGrownOld())
            CLinkCounters::Count(m_pCounters->skipped);
        else
            Show(frame);
    }
}

void CUdpLink::OpenPicture()
{
    const auto [iWidth, iHeight] = m_Reply;
    m_pCounters->width.store(iWidth, std::memory_order_relaxed);
    m_pCounters->height.store(iHeight, std::memory_order_relaxed);
    if (!IsWithinLimit(m_Reply)) {
        // As a decoder that does not open: the channel stays open and every message of it is refused.
        LogLine(LOG_WARNING, "CUdpLink::OpenPicture",
                "channel " + std::to_string(m_iDevID + 1) + " of " + std::to_string(m_iNetID) +
                    ": pictures of " + std::to_string(iWidth) + " x " + std::to_string(iHeight) + ", at most " +
                    std::to_string(PICTURE_LIMIT_SAMPLES) + " samples are shown");
        return;
    }
    const auto decoder = std::make_shared<CMpeg4Decoder>(iWidth, iHeight);
    decoder->SetStandardChroma(ReadSettingSwitch(ESetting::StandardChroma));
    m_pState->m_pDecoder = decoder;
    m_pRender = CreateRender();
    if (m_pRender) m_pSurface = m_pRender->CreateSurface(iWidth, iHeight);
}

/// Null when no picture came of it. The length may be below 1, which the decoder answers as it likes.
const CodecFrame* CUdpLink::Decode(const std::uint8_t* data, std::int32_t length)
{
    CVideoDecoder* const decoder = m_pState->m_pDecoder.get();
    const CodecFrame* const frame = decoder == nullptr ? nullptr : decoder->Decode(data, length);
    CLinkCounters::Count(frame == nullptr ? m_pCounters->refused : m_pCounters->decoded);
    return frame;
}

void CUdpLink::Show(const CodecFrame* frame)
{
    if (m_pSurface == nullptr) return;
    m_pRender->DisplayClient(frame, m_pSurface, m_pState->m_hRenderWnd);
    CountShowing(m_pSurface->m_Showing);
}

void CUdpLink::CountShowing(EShowing showing)
{
    if (showing == EShowing::WithoutCell) CLinkCounters::Count(m_pCounters->withoutCell);
    if (showing == EShowing::NotConvertible) CLinkCounters::Count(m_pCounters->notConvertible);
    if (showing != EShowing::Shown) return;
    CLinkCounters::Count(m_pCounters->shown);
    if (m_pCounters->firstPictureMs.load(std::memory_order_relaxed) < 0)
        m_pCounters->firstPictureMs.store(GetTickCount() - m_dwOpenTick, std::memory_order_relaxed);
}

void CUdpLink::CleanUp()
{
    m_pState->m_pDecoder.reset();
    if (m_pSurface != nullptr) m_pRender->DestroySurface(m_pSurface);
    m_pSurface = nullptr;
    m_pRender.reset();
    ReleaseCell(m_pState->m_hRenderWnd.Exchange(HWND::Null));
    // oddity: channel-end-shuts-database. A channel that ends closes the record database for the rest of the
    // run.
    CNodeModel::CloseDatabase();
    m_pState->m_iStatus = STATUS_CLOSED;
    m_pState->Tell("");
}
