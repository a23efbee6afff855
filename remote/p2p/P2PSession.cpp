#include "remote/p2p/P2PSession.h"

#include <algorithm>
#include <cstring>

#include "inc/OutputDebugString.h"
#include "model/settings/SystemSettings.h"

namespace
{

// A wait ends by the arrival or a wake-up; this only bounds it.
constexpr std::uint32_t PACKET_WAIT_MS = 100;

}  // namespace

SessionOptions ReadSessionOptions()
{
    const auto endpoints = ReadEndpoints();
    SessionOptions options;
    options.p2p.serverPort = endpoints.rendezvousPort;
    options.server = endpoints.host;
    options.sharedReceive = ReadSettingSwitch(ESetting::SharedReceive);
    return options;
}

CP2PSession::CP2PSession(const SessionOptions& options)
    : CMyP2P(options.p2p), m_strServer(options.server), m_ulRequestRepeatMs(options.requestRepeatMs)
{
    if (options.sharedReceive) m_pRouter = std::make_unique<CMessageRouter>(m_Counters);
}

CP2PSession::~CP2PSession()
{
    Shutdown();
}

void CP2PSession::Start(const std::string& name)
{
    if (!Init(0)) {
        OutputDebugStringA("P2P Init() failed \n");
    } else if (!Login(name, m_strServer)) {
        OutputDebugStringA("P2P Login() failed \n");
    } else if (!GetUserList()) {
        OutputDebugStringA("P2P GetUserList() failed \n");
    } else {
        m_bConnected.store(true, std::memory_order_relaxed);
    }
}

void CP2PSession::Shutdown()
{
    m_bConnected.store(false, std::memory_order_relaxed);
    Stop();
    WakeAll();
}

void CP2PSession::WakeAll()
{
    WakeReaders();
    m_ReceiveLock.Wake();
    if (m_pRouter) m_pRouter->Wake();
}

void CP2PSession::SendMessage(const std::string& peer, std::span<const std::uint8_t> message)
{
    while (message.size() > MESSAGE_CUT_BYTES && IsConnected()) {
        if (SendTo(peer, message.first(MESSAGE_CUT_BYTES)) < 1) return;
        message = message.subspan(MESSAGE_CUT_BYTES);
    }
    SendTo(peer, message.first(std::min<std::size_t>(message.size(), MESSAGE_CUT_BYTES)));
}

bool CP2PSession::IsEnded(const P2PCancel* cancel) const
{
    return !IsConnected() || (cancel != nullptr && cancel->load(std::memory_order_relaxed));
}

std::int32_t CP2PSession::ReceiveMessage(char* name, std::span<std::uint8_t> buffer, const P2PCancel* cancel)
{
    CMessageAssembler assembler(buffer);
    while (!IsEnded(cancel)) {
        // oddity: empty-look-keeps-lock. Every look for a message's first datagram takes the receive lock once
        // more and each message gives it back once, so that the thread that waited receives alone from then on.
        if (!assembler.IsInside() && !m_ReceiveLock.Lock([&] { return IsEnded(cancel); })) return 0;
        const Packet* const packet = Front();
        if (packet == nullptr) {
            WaitForPacket(PACKET_WAIT_MS, cancel);
            continue;
        }
        const auto result = assembler.Feed(packet->Data());
        std::memcpy(name, packet->m_szName, P2P_NAME_BYTES);
        Pop();
        if (result == CMessageAssembler::EResult::More) continue;
        m_ReceiveLock.Unlock();
        if (result == CMessageAssembler::EResult::Complete)
            return static_cast<std::int32_t>(assembler.GetMessage().size());
        CLinkCounters::Count(m_Counters.dropped);
    }
    if (!assembler.IsInside()) return 0;
    m_ReceiveLock.Unlock();
    return static_cast<std::int32_t>(assembler.GetMessage().size());
}

std::int32_t CP2PSession::ReceiveChannel(char* name, std::span<std::uint8_t> buffer, std::int32_t channel,
                                         std::int32_t direction, const P2PCancel* cancel)
{
    while (IsConnected()) {
        const std::int32_t count = ReceiveMessage(name, buffer, cancel);
        if (count < 1) return count;
        const auto header = ReadMessageHeader(buffer.first(static_cast<std::size_t>(count)));
        if (header.channel == channel && header.direction == direction) {
            CLinkCounters::Count(m_Counters.messages);
            return count;
        }
        CLinkCounters::Count(m_Counters.foreign);
    }
    return 0;
}

std::optional<CMessageRouter::Message> CP2PSession::TakeMessage(std::int32_t channel, std::int32_t direction,
                                                                const P2PCancel* cancel,
                                                                const CMessageRouter::Deadline& deadline)
{
    if (!m_pRouter) return std::nullopt;
    for (;;) {
        auto message = m_pRouter->Receive(
            channel, [&] { return IsEnded(cancel); }, deadline);
        if (!message || IsEnded(cancel)) return std::nullopt;
        if (ReadMessageHeader(message->data).direction == direction) return message;
        CLinkCounters::Count(m_Counters.foreign);
    }
}

void CP2PSession::OpenChannel(std::int32_t channel)
{
    if (m_pRouter) m_pRouter->OpenChannel(channel);
}

void CP2PSession::CloseChannel(std::int32_t channel)
{
    if (m_pRouter) m_pRouter->CloseChannel(channel);
}

void CP2PSession::DeliverData(const char* name, std::span<const std::uint8_t> data, const sockaddr_in& from)
{
    if (!m_pRouter) {
        CMyP2P::DeliverData(name, data, from);
        return;
    }
    CLinkCounters::Count(m_Counters.datagrams);
    CLinkCounters::Count(m_Counters.bytes, data.size());
    m_pRouter->Feed(name, data, from, ArrivalTick());
}
