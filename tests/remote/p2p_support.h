#pragma once

#include <netinet/in.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "platform/clock.h"
#include "remote/P2PWire.h"

using Bytes = std::vector<std::uint8_t>;

/// A clock that runs faster than the machine's by `speed` and tells how much of its own time was waited.
class CFastClock final : public IClock
{
  public:
    explicit CFastClock(unsigned speed) : m_ulSpeed(speed) {}
    std::uint32_t TickCount() override { return m_ulWaitedMs; }
    void Sleep(std::uint32_t ms) override;
    std::uint32_t WaitedMs() const { return m_ulWaitedMs; }

  private:
    const unsigned m_ulSpeed;
    std::atomic<std::uint32_t> m_ulWaitedMs{0};
};

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

    std::uint16_t Port() const { return m_usPort; }
    sockaddr_in Address() const;
    void Send(std::span<const std::uint8_t> datagram, const sockaddr_in& to);

    std::size_t CountOf(std::uint32_t type) const;
    std::vector<Bytes> Received() const;
    /// Waits until `count` datagrams of `type` arrived; false after 20 s.
    bool WaitFor(std::uint32_t type, std::size_t count = 1);

  private:
    void Run();

    const std::string m_strHost;
    const Script m_Script;
    int m_hSocket = -1;
    std::uint16_t m_usPort = 0;
    mutable std::mutex m_cs;
    std::condition_variable m_Arrived;
    std::vector<Bytes> m_Received;  // guarded by m_cs
    std::atomic<bool> m_bExit{false};
    std::thread m_Thread;
};

/// The script of a rendezvous server that acknowledges logins, lists `users` and does nothing more.
CScriptedPeer::Script ServerOf(std::vector<PEER_RECORD> users);

/// Waits until `condition` holds; false after 20 s.
bool WaitUntil(const std::function<bool()>& condition);
