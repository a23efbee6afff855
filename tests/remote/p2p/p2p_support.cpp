#include "tests/remote/p2p/p2p_support.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <stdexcept>

namespace
{

constexpr auto TIME_LIMIT = std::chrono::seconds(20);

}  // namespace

sockaddr_in MakeAddress(const char* host, std::uint16_t port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    inet_pton(AF_INET, host, &address.sin_addr);
    return address;
}

PEER_RECORD MakeRecord(std::string_view name)
{
    PEER_RECORD record;
    record.SetName(name);
    return record;
}

Bytes MakeMessage(std::uint32_t type, std::string_view name, std::span<const std::uint8_t> body)
{
    return MakeP2PMessage(type, MakeRecord(name), body);
}

std::uint32_t TypeOf(const Bytes& datagram)
{
    return datagram.size() < 4 ? 0 : ReadLittle32(datagram.data());
}

std::string NameOf(const Bytes& datagram)
{
    P2PMessage message;
    return ReadP2PMessage(datagram, message) ? message.record.m_szName : "";
}

CScriptedPeer::CScriptedPeer(const char* host, Script script) : m_strHost(host), m_Script(std::move(script))
{
    m_iSocket = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = MakeAddress(host, 0);
    socklen_t size = sizeof address;
    if (m_iSocket < 0 || bind(m_iSocket, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
        getsockname(m_iSocket, reinterpret_cast<sockaddr*>(&address), &size) != 0)
        throw std::runtime_error("no socket for a scripted peer");
    m_Port = ntohs(address.sin_port);
    m_Thread = std::thread([this] { Run(); });
}

CScriptedPeer::~CScriptedPeer()
{
    m_bExit = true;
    shutdown(m_iSocket, SHUT_RDWR);
    m_Thread.join();
    close(m_iSocket);
}

sockaddr_in CScriptedPeer::Address() const
{
    return MakeAddress(m_strHost.c_str(), m_Port);
}

void CScriptedPeer::Send(std::span<const std::uint8_t> datagram, const sockaddr_in& to)
{
    sendto(m_iSocket, datagram.data(), datagram.size(), MSG_NOSIGNAL, reinterpret_cast<const sockaddr*>(&to),
           sizeof to);
}

void CScriptedPeer::Run()
{
    Bytes buffer(65535);
    for (;;) {
        sockaddr_in from{};
        socklen_t size = sizeof from;
        const ssize_t count =
            recvfrom(m_iSocket, buffer.data(), buffer.size(), 0, reinterpret_cast<sockaddr*>(&from), &size);
        if (m_bExit) return;
        if (count < 0) continue;
        const Bytes datagram(buffer.begin(), buffer.begin() + count);
        if (m_Script) m_Script(*this, datagram, from);
        {
            const std::lock_guard lock(m_cs);
            m_Received.push_back(datagram);
        }
        m_Arrived.notify_all();
    }
}

std::size_t CScriptedPeer::CountOf(std::uint32_t type) const
{
    const std::lock_guard lock(m_cs);
    return static_cast<std::size_t>(std::count_if(m_Received.begin(), m_Received.end(),
                                                  [type](const Bytes& b) { return TypeOf(b) == type; }));
}

std::vector<Bytes> CScriptedPeer::GetReceived() const
{
    const std::lock_guard lock(m_cs);
    return m_Received;
}

bool CScriptedPeer::WaitFor(std::uint32_t type, std::size_t count)
{
    std::unique_lock lock(m_cs);
    return m_Arrived.wait_for(lock, TIME_LIMIT, [&] {
        return static_cast<std::size_t>(std::count_if(m_Received.begin(), m_Received.end(),
                                                      [type](const Bytes& b) { return TypeOf(b) == type; })) >=
               count;
    });
}

CScriptedClient::CScriptedClient(Network network, std::function<void()> meanwhile)
    : CScriptedClient(std::move(network), std::make_unique<CStepClock>(std::move(meanwhile)))
{
}

CScriptedClient::CScriptedClient(Network network, std::unique_ptr<CStepClock> clock)
    : CMyP2P({RENDEZVOUS_PORT, clock.get()}), m_pClock(std::move(clock)), m_Network(std::move(network))
{
}

void CScriptedClient::SendDatagram(std::span<const std::uint8_t> datagram, const sockaddr_in& to)
{
    const Bytes bytes(datagram.begin(), datagram.end());
    m_Sent.emplace_back(bytes, PEER_ADDRESS::From(to));
    m_Network(*this, bytes, to);
}

std::size_t CScriptedClient::CountSent(std::uint32_t type) const
{
    return static_cast<std::size_t>(
        std::ranges::count_if(m_Sent, [type](const auto& sent) { return TypeOf(sent.first) == type; }));
}

std::size_t CScriptedClient::CountSent(std::uint32_t type, const sockaddr_in& to) const
{
    return static_cast<std::size_t>(std::ranges::count_if(m_Sent, [&](const auto& sent) {
        return TypeOf(sent.first) == type && sent.second == PEER_ADDRESS::From(to);
    }));
}

CScriptedPeer::Script ServerOf(std::vector<PEER_RECORD> users)
{
    return [users = std::move(users)](CScriptedPeer& self, const Bytes& datagram, const sockaddr_in& from) {
        P2PMessage message;
        if (!ReadP2PMessage(datagram, message)) return;
        if (message.type == P2PMSG_LOGIN) {
            PEER_RECORD seen = message.record;
            seen.m_P2PAddress = PEER_ADDRESS::From(from);
            self.Send(MakeP2PMessage(P2PMSG_LOGIN_ACK, seen), from);
        } else if (message.type == P2PMSG_GET_USERS) {
            for (const auto& user : users)
                self.Send(MakeP2PMessage(P2PMSG_USER_ENTRY, user), from);
            self.Send(MakeP2PMessage(P2PMSG_USER_END, PEER_RECORD{}), from);
        }
    };
}

bool WaitUntil(const std::function<bool()>& condition)
{
    const auto end = std::chrono::steady_clock::now() + TIME_LIMIT;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}
