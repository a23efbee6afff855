#pragma once

#include <netinet/in.h>

#include <atomic>
#include <cstdint>
#include <span>
#include <string>

#include "platform/os/clock.h"
#include "platform/os/socket_calls.h"
#include "platform/os/threads.h"
#include "remote/p2p/Endpoints.h"
#include "remote/p2p/P2PProtocol.h"

class CDatagramReader;

/// What a client of the peer protocol is built with.
struct P2POptions {
    std::uint16_t serverPort = RENDEZVOUS_PORT;
    IClock* clock = &SystemClock();  // times the waiting loops; must outlive the client
};

/// Asked between two looks of a waiting loop: true ends the wait.
using P2PCancel = std::atomic<bool>;

/// One UDP socket that registers a name at the rendezvous server, learns the list of other users, punches a
/// path to a peer and exchanges datagrams with it. It knows nothing of video.
///
/// States: closed (no socket), open (Init), registered (Login until Logout). Login and GetUserList run on the
/// owner's thread, ConnectPeer, SendTo, SendReliable and Resolve on any number of threads at once; OnRecv is
/// called on the receiving thread. Waiting is by sleeping and looking; every wait also ends when the client
/// stops.
class CP2PClient : private IP2POutput
{
  public:
    explicit CP2PClient(const P2POptions& options = {});
    /// The class that implements OnRecv has to call Stop in its own destructor, while it can still be called
    /// back.
    ~CP2PClient() override;
    CP2PClient(const CP2PClient&) = delete;
    CP2PClient& operator=(const CP2PClient&) = delete;

    /// Opens the socket on a local port, 0 for any, and starts the receiving thread. False when it runs already
    /// or socket, thread or memory can't be had.
    bool Init(std::uint16_t port);

    /// Registers under a name of at most 32 characters at a server, a dotted address or a host name. True when
    /// the server acknowledged, within 15 s; false also when registered already.
    bool Login(const std::string& name, const std::string& serverName);

    /// Takes back the registration and tells the server and every user that has sent. The user list stays.
    void Logout();

    /// Fetches the list of users again. True when its end arrived.
    bool GetUserList();

    /// Punches a path to a listed user. True when the path is proved by an acknowledgement, within 30 s.
    /// `cancel` ends the attempt early.
    bool ConnectPeer(const std::string& name, const P2PCancel* cancel = nullptr);

    /// Sends one datagram with less than 65440 bytes of data without waiting. Returns the count of data bytes
    /// sent; 0 when the peer's address isn't known.
    std::int32_t SendTo(const std::string& name, std::span<const std::uint8_t> data);

    /// ConnectPeer with less than 929 bytes of data in the place of the empty message.
    bool SendReliable(const std::string& name, std::span<const std::uint8_t> data,
                      const P2PCancel* cancel = nullptr);

    /// The address the user was last seen at; false when none is known.
    bool Resolve(const std::string& name, sockaddr_in& address) const;

    bool IsLoggedIn() const { return m_Protocol.IsLoggedIn(); }
    std::size_t GetUserCount() const { return m_Protocol.GetUserCount(); }

    /// The port that Init got; 0 before.
    std::uint16_t GetLocalPort() const { return m_LocalPort; }

    /// Logs out, shuts the socket down and ends every wait and the receiving thread, at once, whatever the
    /// network does. Threads that still use the client get failures. More than one call does no harm; a client
    /// that was stopped does not start again.
    void Stop();

  protected:
    /// A peer's data, at least one byte; valid during the call. On the receiving thread, with no lock held.
    virtual void OnRecv(const char* name, std::span<const std::uint8_t> data) = 0;

    /// Hands the data on to OnRecv; for a class that wants to know where they came from.
    void DeliverData(const char* name, std::span<const std::uint8_t> data, const sockaddr_in& /*from*/) override
    {
        OnRecv(name, data);
    }

    /// Milliseconds of the client's clock.
    std::uint32_t Now() const { return m_Options.clock->TickCount(); }

    /// The same when the datagram came that is being handled: what waits for a thread without processor time
    /// grows old in the socket's buffer already. Receiving thread only.
    std::uint32_t ArrivalTick() const { return Now() - m_ulWaitedMs; }

    /// Handles one datagram as if it had been received.
    void HandleDatagram(std::span<const std::uint8_t> datagram, const sockaddr_in& from);

    /// Sends one datagram by the socket; a failure is ignored. Any thread. The only way out, so that a network
    /// without sockets can be put in its place.
    void SendDatagram(std::span<const std::uint8_t> datagram, const sockaddr_in& to) override;

    bool IsStopping() const { return m_bExit.load(std::memory_order_relaxed); }

  private:
    HANDLE StartReceiving();
    void Receive(CDatagramReader& reader);
    void ReadLocalAddresses();
    void SendToServer(std::span<const std::uint8_t> datagram);
    bool SendProbe(const std::string& name, std::span<const std::uint8_t> data, const P2PCancel* cancel);
    bool Pause(std::uint32_t ms, const P2PCancel* cancel = nullptr);

    const P2POptions m_Options;
    CP2PProtocol m_Protocol;
    // written by Init before any other thread uses the client; closed by the destructor only, so that a thread
    // which still sends can never meet another socket under the same number
    SOCKET m_hSocket = INVALID_SOCKET;
    HANDLE m_hThread = nullptr;  // owner's thread only
    std::uint16_t m_LocalPort = 0;
    std::uint32_t m_ulWaitedMs = 0;  // the present datagram in the socket's buffer; receiving thread only
    bool m_bSocketsStarted = false;
    std::atomic<bool> m_bExit{false};  // tells the receiving thread and all waiting loops to leave
};
