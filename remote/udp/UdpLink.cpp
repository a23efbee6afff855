#include "remote/udp/UdpLink.h"

#include <algorithm>
#include <string>
#include <utility>

#include "codec/decoder.h"
#include "model/NodeModel.h"
#include "remote/link/LinkGuard.h"
#include "remote/udp/ChannelReceiver.h"

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
      m_Picture(m_pState, m_pCounters, SystemClock())
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
    m_pState->m_LinkThread.Clear();
    const auto name = [this] {
        return "channel " + std::to_string(m_iDevID + 1) + " of " + std::to_string(m_iNetID);
    };
    RunGuarded("CUdpLink::Run", name, [this] {
        if (m_pSession) Receive();
    });
    CleanUp();
}

/// From the path to the machine to the end of the stream.
void CUdpLink::Receive()
{
    ASSERT_THREAD(m_pState->m_LinkThread);
    const std::string peer = std::to_string(m_iNetID);
    const auto receiver = CChannelReceiver::Make(*m_pSession, *m_pCounters, m_iDevID, m_Cancel);
    if (!m_pSession->ConnectPeer(peer, &m_Cancel)) return;
    const StreamReply reply = receiver->ReceiveReply([&] {
        std::uint8_t request[REQUEST_BYTES];
        WriteLittle32(request, MakeMessageHeader(m_iDevID, REQUEST_BYTES));
        WriteLittle32(request + MESSAGE_HEADER_BYTES, static_cast<std::uint32_t>(m_iDevID));
        m_pSession->SendMessage(peer, request);
    });
    if (IsEnding()) return;
    m_Picture.Open(CODEC_ID_MPEG4, reply.width, reply.height,
                   "channel " + std::to_string(m_iDevID + 1) + " of " + std::to_string(m_iNetID));
    while (m_pSession->IsConnected() && !IsEnding()) {
        const auto message = receiver->ReceiveMessage();
        if (message.empty()) continue;
        CLinkCounters::Count(m_pCounters->messages);
        CLinkCounters::Count(m_pCounters->bytes, message.size());
        // The length may be below 1, which the decoder answers as it likes.
        const CodecFrame* const frame = m_Picture.Decode(
            message.data() + std::min<std::size_t>(message.size(), MESSAGE_HEADER_BYTES),
            static_cast<std::int32_t>(message.size()) - static_cast<std::int32_t>(MESSAGE_HEADER_BYTES));
        CLinkCounters::Count(frame == nullptr ? m_pCounters->refused : m_pCounters->decoded);
        if (frame != nullptr) m_Picture.Show(*frame, receiver->ShowBefore());
    }
}

void CUdpLink::CleanUp()
{
    ASSERT_THREAD(m_pState->m_LinkThread);
    m_Picture.Close();
    // oddity: channel-end-shuts-database. A channel that ends closes the record database for the rest of the
    // run.
    CNodeModel::CloseDatabase();
    m_pState->m_iStatus = STATUS_CLOSED;
    m_pState->Tell("");
}
