#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "remote/p2p/MessageRouter.h"
#include "remote/p2p/MyP2P.h"
#include "remote/p2p/ReceiveLock.h"

/// What a session is built with.
struct SessionOptions {
    P2POptions p2p;
    std::string server = "127.0.0.1";  // the rendezvous server, a dotted address or a host name
    bool sharedReceive = false;        // see CP2PSession
    // With shared receiving only: a stream request without a reply is repeated so often, milliseconds.
    std::uint32_t requestRepeatMs = 3000;
};

/// The session's options from "config\system.ini": the endpoints (remote/p2p/Endpoints.h), and in section
/// "System" the key "SharedReceive", default 0.
SessionOptions ReadSessionOptions();

/// What a station and all its channels share: it cuts messages into datagrams, puts them together again and
/// filters them by channel. Held by shared pointer, by the station and by each channel and its link thread, so
/// that a thread that ends late still has it.
///
/// One channel receives at a time: the first thread that finds the queue empty holds the receive lock from then
/// on, and the others wait for it until that thread has ended. With the option of shared receiving the session
/// instead hands each message to the channel that it names, so that all open channels receive at once.
///
/// Order of locks: receive lock, then the queue's mutex. The list lock is never held with either.
class CP2PSession : public CMyP2P
{
  public:
    explicit CP2PSession(const SessionOptions& options = {});
    ~CP2PSession() override;

    /// Opens the socket, registers under `name` and fetches the user list; the connected flag is set on full
    /// success only. A failure goes to the debugger output. Owner's thread; blocks up to half a minute, longer
    /// while the server's name is looked up or its list still grows.
    void Start(const std::string& name);

    /// Clears the connected flag, ends every wait of every thread and stops the client. Owner's thread.
    void Shutdown();

    bool IsConnected() const { return m_bConnected.load(std::memory_order_relaxed); }
    bool IsSharedReceive() const { return m_pRouter != nullptr; }

    /// Sends a message in datagrams of 1024 bytes. It ends where nothing could be sent, or after the datagram
    /// at which the session ends.
    void SendMessage(const std::string& peer, std::span<const std::uint8_t> message);

    /// Waits for the next message of whatever channel and puts it into `buffer`, the sender's name (33 bytes)
    /// into `name`. Returns its bytes; 0, or what was there of a begun message, when the session or `cancel`
    /// ends the wait. A message that doesn't fit is dropped and counted. There is no time-out. When it had to
    /// wait, the calling thread goes on holding the receive lock, until ReleaseReceiveLock. Not with shared
    /// receiving, which queues nothing for it.
    std::int32_t ReceiveMessage(char* name, std::span<std::uint8_t> buffer, const P2PCancel* cancel = nullptr);

    /// The next message with that channel and direction; others are thrown away. Not with shared receiving.
    std::int32_t ReceiveChannel(char* name, std::span<std::uint8_t> buffer, std::int32_t channel,
                                std::int32_t direction, const P2PCancel* cancel = nullptr);

    /// With shared receiving, the same for a channel that is open. None when the session, `cancel` or the
    /// deadline ended the wait.
    std::optional<CMessageRouter::Message> TakeMessage(std::int32_t channel, std::int32_t direction,
                                                       const P2PCancel* cancel = nullptr,
                                                       const CMessageRouter::Deadline& deadline = std::nullopt);

    /// How long ago a message came, milliseconds.
    std::uint32_t AgeOf(const CMessageRouter::Message& message) const { return Now() - message.tick; }

    /// SessionOptions::requestRepeatMs.
    std::uint32_t GetRequestRepeatMs() const { return m_ulRequestRepeatMs; }

    /// Gives back the receive lock however often the calling thread took it. Every thread that received calls
    /// this before it ends.
    void ReleaseReceiveLock() { m_ReceiveLock.UnlockAll(); }

    /// Whether some thread holds the receive lock, as one does that waits for a message.
    bool IsReceiveLockTaken() { return m_ReceiveLock.IsTaken(); }

    /// Says that a channel is received, for shared receiving; without it both do nothing.
    void OpenChannel(std::int32_t channel);
    void CloseChannel(std::int32_t channel);

    /// Wakes every wait so that it checks its cancel flag; called after such a flag is set.
    void WakeAll();

  protected:
    void DeliverData(const char* name, std::span<const std::uint8_t> data, const sockaddr_in& from) override;

  private:
    bool IsEnded(const P2PCancel* cancel) const;

    const std::string m_strServer;
    const std::uint32_t m_ulRequestRepeatMs;
    std::atomic<bool> m_bConnected{false};
    CReceiveLock m_ReceiveLock;
    std::unique_ptr<CMessageRouter> m_pRouter;  // with shared receiving only; set in the constructor
};
