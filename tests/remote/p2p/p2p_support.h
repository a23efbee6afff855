#pragma once

#include <netinet/in.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "remote/p2p/MyP2P.h"
#include "remote/p2p/P2PWire.h"
#include "tests/support/test_clocks.h"

using Bytes = std::vector<std::uint8_t>;

/// A socket address from a dotted address and a port in host order.
sockaddr_in MakeAddress(const char* host, std::uint16_t port);

/// A record as a scripted peer or server sends it.
PEER_RECORD MakeRecord(std::string_view name);

/// The bytes of a message of `type` with that record and body.
Bytes MakeMessage(std::uint32_t type, std::string_view name, std::span<const std::uint8_t> body = {});

std::uint32_t TypeOf(const Bytes& datagram);
std::string NameOf(const Bytes& datagram);

/// A UDP socket on loopback whose answers are scripted: `script` is called for each datagram on the socket's
/// thread.
class CScriptedPeer
{
  public:
    using Script = std::function<void(CScriptedPeer& self, const Bytes& datagram, const sockaddr_in& from)>;

    explicit CScriptedPeer(const char* host, Script script = {});
    ~CScriptedPeer();
    CScriptedPeer(const CScriptedPeer&) = delete;
    CScriptedPeer& operator=(const CScriptedPeer&) = delete;

    std::uint16_t Port() const { return m_Port; }
    sockaddr_in Address() const;
    void Send(std::span<const std::uint8_t> datagram, const sockaddr_in& to);

    std::size_t CountOf(std::uint32_t type) const;
    std::vector<Bytes> GetReceived() const;
    /// Waits until `count` datagrams of `type` arrived; false after 20 s.
    bool WaitFor(std::uint32_t type, std::size_t count = 1);

  private:
    void Run();

    const std::string m_strHost;
    const Script m_Script;
    int m_iSocket = -1;
    std::uint16_t m_Port = 0;
    mutable std::mutex m_cs;
    std::condition_variable m_Arrived;
    std::vector<Bytes> m_Received;  // guarded by m_cs
    std::atomic<bool> m_bExit{false};
    std::thread m_Thread;
};

/// A client whose network is a function of the test's: `network` is called for each datagram that the client
/// sends, on the sending thread, and may answer before it returns, as a fast network does. No time passes but
/// what the client itself waits, and none of it is real.
class CScriptedClient final : public CMyP2P
{
  public:
    using Network = std::function<void(CScriptedClient& self, const Bytes& datagram, const sockaddr_in& to)>;

    explicit CScriptedClient(Network network, std::function<void()> meanwhile = {});
    ~CScriptedClient() override { Stop(); }

    /// Lets a datagram arrive.
    void Arrive(const Bytes& datagram, const sockaddr_in& from) { HandleDatagram(datagram, from); }

    /// How many datagrams of that type the client sent, in all or to that address.
    std::size_t CountSent(std::uint32_t type) const;
    std::size_t CountSent(std::uint32_t type, const sockaddr_in& to) const;
    std::uint32_t WaitedMs() const { return m_pClock->WaitedMs(); }

  protected:
    void SendDatagram(std::span<const std::uint8_t> datagram, const sockaddr_in& to) override;

  private:
    CScriptedClient(Network network, std::unique_ptr<CStepClock> clock);

    const std::unique_ptr<CStepClock> m_pClock;
    const Network m_Network;
    std::vector<std::pair<Bytes, PEER_ADDRESS>> m_Sent;  // by the test's thread only
};

/// The script of a rendezvous server that acknowledges logins, lists `users` and does nothing more.
CScriptedPeer::Script ServerOf(std::vector<PEER_RECORD> users);

/// Waits until `condition` holds; false after 20 s.
bool WaitUntil(const std::function<bool()>& condition);
