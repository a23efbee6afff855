#include "remote/p2p/P2PClient.h"

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <memory>
#include <new>

#include "remote/p2p/AnswerBatch.h"
#include "remote/p2p/DatagramReader.h"

namespace
{

constexpr std::uint16_t SOCKET_VERSION = 0x0202;
constexpr int RECEIVE_BUFFER_BYTES =
    4 << 20;  // a burst of key pictures of all channels; the machine may grant less

constexpr int ATTEMPTS = 5;
constexpr int LOGIN_LOOKS = 100;  // of 30 ms: 3 s an attempt, 15 s in all
constexpr std::uint32_t LOGIN_LOOK_MS = 30;
constexpr int LOOKS = 10;  // of 300 ms: 3 s
constexpr std::uint32_t LOOK_MS = 300;
constexpr std::uint32_t SLICE_MS = 10;  // how soon a wait notices that it is to end

sockaddr_in AnyAddress(std::uint16_t port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    address.sin_port = htons(port);
    return address;
}

bool IsName(const std::string& name)
{
    return name.size() < P2P_NAME_BYTES;
}

}  // namespace

CP2PClient::CP2PClient(const P2POptions& options)
    : m_Options(options), m_bSocketsStarted(WSAStartup(SOCKET_VERSION) == 0)
{
}

CP2PClient::~CP2PClient()
{
    assert(m_hThread == nullptr);  // the deriving class stopped the client
    if (m_hSocket != INVALID_SOCKET) closesocket(m_hSocket);
    if (m_bSocketsStarted) WSACleanup();
}

bool CP2PClient::Init(std::uint16_t port)
{
    if (m_hSocket != INVALID_SOCKET || IsStopping()) return false;
    m_hSocket = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_UDP);
    if (m_hSocket == INVALID_SOCKET) return false;
    setsockopt(m_hSocket, SOL_SOCKET, SO_RCVBUF, &RECEIVE_BUFFER_BYTES, sizeof RECEIVE_BUFFER_BYTES);

    sockaddr_in address = AnyAddress(port);
    socklen_t size = sizeof address;
    const bool bound = bind(m_hSocket, reinterpret_cast<const sockaddr*>(&address), size) == 0 &&
                       getsockname(m_hSocket, reinterpret_cast<sockaddr*>(&address), &size) == 0;
    if (bound) {
        m_LocalPort = ntohs(address.sin_port);
        ReadLocalAddresses();
        m_hThread = StartReceiving();
    }
    if (m_hThread == nullptr) {
        closesocket(m_hSocket);
        m_hSocket = INVALID_SOCKET;
        m_LocalPort = 0;
        return false;
    }
    return true;
}

/// Null without memory or a thread. What the thread reads into is made here, as nobody would catch the failure
/// there.
HANDLE CP2PClient::StartReceiving()
{
    try {
        const auto reader = std::make_shared<CDatagramReader>(m_hSocket, P2P_DATAGRAM_BYTES);
        return CreateThread([this, reader] { Receive(*reader); }, "p2p receive");
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void CP2PClient::ReadLocalAddresses()
{
    PEER_RECORD record;
    for (const in_addr& host : GetHostAddresses(GetHostName())) {
        if (record.m_AddressCount == P2P_ADDRESSES) break;
        auto& address = record.m_Addresses[record.m_AddressCount++];
        address.address = host.s_addr;
        address.port = m_LocalPort;
    }
    m_Protocol.SetLocalRecord(record);
}

bool CP2PClient::Login(const std::string& name, const std::string& serverName)
{
    if (IsLoggedIn() || !IsName(name)) return false;
    in_addr server{};
    if (!ResolveHost(serverName, server)) return false;
    m_Protocol.SetServerAddress(server.s_addr);
    m_Protocol.SetLocalName(name);
    for (int i = 0; i < ATTEMPTS; ++i) {
        SendToServer(MakeP2PHeader(P2PMSG_LOGIN, m_Protocol.GetLocalRecord()));
        for (int look = 0; look < LOGIN_LOOKS; ++look) {
            if (IsLoggedIn()) return true;
            if (!Pause(LOGIN_LOOK_MS)) return false;
        }
    }
    return false;
}

void CP2PClient::Logout()
{
    if (!IsLoggedIn()) return;
    const auto message = MakeP2PHeader(P2PMSG_LOGOUT, m_Protocol.GetLocalRecord());
    SendToServer(message);
    m_Protocol.ClearLoggedIn();
    for (const auto& address : m_Protocol.GetP2PAddresses())
        SendDatagram(message, address.ToSocketAddress());
}

bool CP2PClient::GetUserList()
{
    m_Protocol.RestartUserList();
    for (int i = 0; i < ATTEMPTS; ++i) {
        // Counted before the question goes out: the answer may be there before this thread runs on.
        std::size_t count = m_Protocol.GetUserCount();
        SendToServer(MakeP2PHeader(P2PMSG_GET_USERS, m_Protocol.GetLocalRecord()));
        // A list that still grows is given a further slice, so that a long one isn't cut off.
        std::size_t before = 0;
        do {
            before = count;
            for (int look = 0; look < LOOKS; ++look) {
                if (m_Protocol.IsListComplete()) return true;
                if (!Pause(LOOK_MS)) return false;
            }
            count = m_Protocol.GetUserCount();
        } while (count > before);
    }
    return false;
}

bool CP2PClient::ConnectPeer(const std::string& name, const P2PCancel* cancel)
{
    return SendProbe(name, {}, cancel);
}

bool CP2PClient::SendReliable(const std::string& name, std::span<const std::uint8_t> data,
                              const P2PCancel* cancel)
{
    return data.size() < P2P_RELIABLE_LIMIT && SendProbe(name, data, cancel);
}

/// Sends a message until it is acknowledged, punching a path first where there is none.
bool CP2PClient::SendProbe(const std::string& name, std::span<const std::uint8_t> data, const P2PCancel* cancel)
{
    if (!IsLoggedIn() || !IsName(name)) return false;
    const auto local = m_Protocol.GetLocalRecord();
    const auto probe = MakeP2PMessage(P2PMSG_DATA, local, data);
    const auto punch = MakeP2PHeader(P2PMSG_PUNCH, local);
    std::uint8_t wanted[P2P_NAME_BYTES] = {};
    std::ranges::copy(name, wanted);
    const auto request = MakeP2PMessage(P2PMSG_PUNCH, local, wanted);

    m_Protocol.ClearDataAcknowledged();
    for (int i = 0; i < ATTEMPTS; ++i) {
        const auto peer = m_Protocol.FindUser(name);
        if (!peer) return false;
        if (peer->m_P2PAddress.IsKnown()) {
            SendDatagram(probe, peer->m_P2PAddress.ToSocketAddress());
            for (int look = 0; look < LOOKS; ++look) {
                if (m_Protocol.IsDataAcknowledged()) return true;
                if (!Pause(LOOK_MS, cancel)) return false;
            }
        }
        m_Protocol.ClearP2PAddress(name);
        for (const auto& address : peer->Addresses())
            SendDatagram(punch, address.ToSocketAddress());
        SendToServer(request);
        for (int look = 0; look < LOOKS; ++look) {
            sockaddr_in address{};
            if (Resolve(name, address)) break;
            if (!Pause(LOOK_MS, cancel)) return false;
        }
    }
    return false;
}

std::int32_t CP2PClient::SendTo(const std::string& name, std::span<const std::uint8_t> data)
{
    sockaddr_in address{};
    if (!IsLoggedIn() || !IsName(name) || data.size() >= P2P_SEND_LIMIT || !Resolve(name, address)) return 0;
    SendDatagram(MakeP2PMessage(P2PMSG_DATA, m_Protocol.GetLocalRecord(), data), address);
    return static_cast<std::int32_t>(data.size());
}

bool CP2PClient::Resolve(const std::string& name, sockaddr_in& address) const
{
    const auto peer = m_Protocol.FindUser(name);
    if (!peer || !peer->m_P2PAddress.IsKnown()) return false;
    address = peer->m_P2PAddress.ToSocketAddress();
    return true;
}

void CP2PClient::Stop()
{
    Logout();
    m_bExit.store(true, std::memory_order_relaxed);
    if (m_hThread == nullptr) return;
    // The shutdown ends the blocking read at once, so the wait is for one datagram's handling at most; without
    // bound, as the thread must not outlive what it uses.
    shutdown(m_hSocket, SHUT_RDWR);
    WaitForSingleObject(m_hThread, INFINITE);
    CloseHandle(m_hThread);
    m_hThread = nullptr;
}

/// The receiving thread. Ends by the exit flag, which Stop sets before it shuts the socket down.
///
/// It waits for one datagram, then takes all that are there, and answers them together.
void CP2PClient::Receive(CDatagramReader& reader)
{
    using Wait = CDatagramReader::EWait;
    CAnswerBatch answers(*this, m_hSocket);
    std::span<const std::uint8_t> datagram;
    sockaddr_in from{};
    bool more = false;  // something may be there
    for (;;) {
        const bool read = reader.Read(more ? Wait::No : Wait::ForOne);
        if (IsStopping()) return;
        // Socket errors are retried indefinitely.
        if (!read && !more && errno != EINTR) m_Options.clock->Sleep(1);
        while (reader.Next(datagram, from)) {
            m_ulWaitedMs = m_Options.clock->SinceStamp(reader.GetArrival());
            try {
                m_Protocol.HandleDatagram(datagram, from, answers);
            } catch (const std::bad_alloc&) {
                // A datagram that finds no memory is lost, as on the way.
            }
            if (IsStopping()) return;
        }
        more = reader.IsMoreLikely();
        if (!more) answers.Flush();
    }
}

void CP2PClient::HandleDatagram(std::span<const std::uint8_t> datagram, const sockaddr_in& from)
{
    m_Protocol.HandleDatagram(datagram, from, *this);
}

void CP2PClient::SendDatagram(std::span<const std::uint8_t> datagram, const sockaddr_in& to)
{
    if (m_hSocket == INVALID_SOCKET) return;
    sendto(m_hSocket, datagram.data(), datagram.size(), SOCKET_SEND_FLAGS,
           reinterpret_cast<const sockaddr*>(&to), sizeof to);
}

void CP2PClient::SendToServer(std::span<const std::uint8_t> datagram)
{
    sockaddr_in server = AnyAddress(m_Options.serverPort);
    server.sin_addr.s_addr = m_Protocol.GetServerAddress();
    SendDatagram(datagram, server);
}

/// Waits `ms` in slices; false when the wait is to end.
bool CP2PClient::Pause(std::uint32_t ms, const P2PCancel* cancel)
{
    while (ms > 0) {
        if (IsStopping() || (cancel != nullptr && cancel->load(std::memory_order_relaxed))) return false;
        const auto slice = std::min(ms, SLICE_MS);
        m_Options.clock->Sleep(slice);
        ms -= slice;
    }
    return true;
}
