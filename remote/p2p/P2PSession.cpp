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

XSessionOptions ReadSessionOptions()
{
    const auto endpoints = ReadEndpoints();
    XSessionOptions options;
    options.m_P2P.m_usServerPort = endpoints.m_usRendezvousPort;
    options.m_strServer = endpoints.m_strHost;
    options.m_bSharedReceive = ReadSettingSwitch(ESetting::SharedReceive);
    return options;
}

CP2PSession::CP2PSession(const XSessionOptions& options)
    : CMyP2P(options.m_P2P), m_strServer(options.m_strServer), m_ulRequestRepeatMs(options.m_ulRequestRepeatMs)
{
    if (options.m_bSharedReceive) m_pRouter = std::make_unique<CMessageRouter>(m_Counters);
}

CP2PSession::~CP2PSession()
{
    Shutdown();
}

void CP2PSession::Start(const std::string& strName)
{
    if (!Init(0)) {
        OutputDebugStringA("P2P Init() failed \n");
    } else if (!Login(strName, m_strServer)) {
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

void CP2PSession::SendMessage(const std::string& strPeer, std::span<const std::uint8_t> message)
{
    while (message.size() > MESSAGE_CUT_BYTES && IsConnected()) {
        if (SendTo(strPeer, message.first(MESSAGE_CUT_BYTES)) < 1) return;
        message = message.subspan(MESSAGE_CUT_BYTES);
    }
    SendTo(strPeer, message.first(std::min<std::size_t>(message.size(), MESSAGE_CUT_BYTES)));
}

bool CP2PSession::IsEnded(const P2PCancel* pCancel) const
{
    return !IsConnected() || (pCancel != nullptr && pCancel->load(std::memory_order_relaxed));
}

std::int32_t CP2PSession::ReceiveMessage(char* szName, std::span<std::uint8_t> buffer, const P2PCancel* pCancel)
{
    CMessageAssembler assembler(buffer);
    while (!IsEnded(pCancel)) {
        // oddity: empty-look-keeps-lock. Every look for a message's first datagram takes the receive lock once
        // more and each message gives it back once, so that whoever had to wait receives alone from then on.
        if (!assembler.IsInside() && !m_ReceiveLock.Lock([&] { return IsEnded(pCancel); })) return 0;
        const Packet* const packet = Front();
        if (packet == nullptr) {
            WaitForPacket(PACKET_WAIT_MS, pCancel);
            continue;
        }
        const auto result = assembler.Feed(packet->Data());
        std::memcpy(szName, packet->m_szName, P2P_NAME_BYTES);
        Pop();
        if (result == CMessageAssembler::RESULT::More) continue;
        m_ReceiveLock.Unlock();
        if (result == CMessageAssembler::RESULT::Complete)
            return static_cast<std::int32_t>(assembler.GetMessage().size());
        CLinkCounters::Count(m_Counters.m_ulDropped);
    }
    if (!assembler.IsInside()) return 0;
    m_ReceiveLock.Unlock();
    return static_cast<std::int32_t>(assembler.GetMessage().size());
}

std::int32_t CP2PSession::ReceiveChannel(char* szName, std::span<std::uint8_t> buffer, std::int32_t iChannel,
                                         std::int32_t iDirection, const P2PCancel* pCancel)
{
    while (IsConnected()) {
        const std::int32_t count = ReceiveMessage(szName, buffer, pCancel);
        if (count < 1) return count;
        const auto header = ReadMessageHeader(buffer.first(static_cast<std::size_t>(count)));
        if (header.m_iChannel == iChannel && header.m_iDirection == iDirection) {
            CLinkCounters::Count(m_Counters.m_ulMessages);
            return count;
        }
        CLinkCounters::Count(m_Counters.m_ulForeign);
    }
    return 0;
}

std::optional<CMessageRouter::XMessage> CP2PSession::TakeMessage(std::int32_t iChannel, std::int32_t iDirection,
                                                                 const P2PCancel* pCancel,
                                                                 const CMessageRouter::DEADLINE& deadline)
{
    if (!m_pRouter) return std::nullopt;
    for (;;) {
        auto message = m_pRouter->Receive(
            iChannel, [&] { return IsEnded(pCancel); }, deadline);
        if (!message || IsEnded(pCancel)) return std::nullopt;
        if (ReadMessageHeader(message->m_Data).m_iDirection == iDirection) return message;
        CLinkCounters::Count(m_Counters.m_ulForeign);
    }
}

void CP2PSession::OpenChannel(std::int32_t iChannel)
{
    if (m_pRouter) m_pRouter->OpenChannel(iChannel);
}

void CP2PSession::CloseChannel(std::int32_t iChannel)
{
    if (m_pRouter) m_pRouter->CloseChannel(iChannel);
}

void CP2PSession::DeliverData(const char* szName, std::span<const std::uint8_t> data, const sockaddr_in& from)
{
    if (!m_pRouter) {
        CMyP2P::DeliverData(szName, data, from);
        return;
    }
    CLinkCounters::Count(m_Counters.m_ulDatagrams);
    CLinkCounters::Count(m_Counters.m_ulBytes, data.size());
    m_pRouter->Feed(szName, data, from, Now());
}
