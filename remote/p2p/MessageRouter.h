#pragma once

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "inc/Mutex.h"
#include "remote/p2p/LinkCounters.h"
#include "remote/p2p/MessageAssembler.h"
#include "remote/p2p/P2PWire.h"

/// Hands each message of a session to the channel that it names, so that all open channels receive at once. The
/// receiving thread feeds it; each open channel has an inbox that its link thread empties. Messages for
/// channels that aren't open are thrown away. Each sender's datagrams are put together by themselves, so that
/// what a stranger sends into the middle of a message changes nothing of it.
class CMessageRouter
{
  public:
    /// A message with the name of who sent its last datagram, and when that came.
    struct Message {
        char name[P2P_NAME_BYTES] = {};
        std::vector<std::uint8_t> data;
        std::uint32_t tick = 0;  // milliseconds of the session's clock
    };
    using Deadline = std::optional<std::chrono::steady_clock::time_point>;

    /// An inbox takes no more when its messages hold so many bytes, each message's own record counted as 128;
    /// what comes then is lost.
    static constexpr std::size_t INBOX_LIMIT_BYTES = std::size_t{4} << 20;

    /// Senders whose messages are put together at once. A further one takes the place of the one that has
    /// brought the fewest messages, so that strangers drive out strangers.
    static constexpr std::size_t SENDER_LIMIT = 16;

    /// What is thrown away is counted there; it must outlive the router.
    explicit CMessageRouter(CLinkCounters& counters) : m_Counters(counters) {}

    /// Takes the data of one datagram that came from `from` at `tick`. Receiving thread only.
    void Feed(const char* name, std::span<const std::uint8_t> data, const sockaddr_in& from,
              std::uint32_t tick);

    /// Opens the channel's inbox, empty; opened twice, it has to be closed twice. A number that no header can
    /// name has none.
    void OpenChannel(std::int32_t channel);
    void CloseChannel(std::int32_t channel);

    /// Waits for the channel's next message, until `ended()` holds, which is asked again at each Wake, or until
    /// the deadline.
    template <typename Ended>
    std::optional<Message> Receive(std::int32_t channel, Ended ended, const Deadline& deadline = std::nullopt)
    {
        const auto there = [&]() REQUIRES(m_cs) { return HasMessage(channel) || ended(); };
        CMutexLock lock(m_cs);
        if (deadline)
            lock.WaitUntil(Changed(channel), *deadline, there);
        else
            lock.Wait(Changed(channel), there);
        return Take(channel);
    }

    /// Wakes the waiting threads so that they check `ended`.
    void Wake();

  private:
    struct Inbox {
        int open = 0;
        std::size_t bytes = 0;
        std::deque<Message> messages;
    };

    struct Sender {
        PEER_ADDRESS address;
        std::uint64_t messages = 0;  // that it has brought
        std::vector<std::uint8_t> buffer = std::vector<std::uint8_t>(MESSAGE_LIMIT_BYTES);
        CMessageAssembler assembler{buffer};
    };

    Sender& SenderAt(const PEER_ADDRESS& address);
    static bool IsChannel(std::int32_t channel) { return channel >= 0 && channel < CHANNEL_COUNT; }
    std::condition_variable& Changed(std::int32_t channel);
    bool HasMessage(std::int32_t channel) const REQUIRES(m_cs);
    std::optional<Message> Take(std::int32_t channel) REQUIRES(m_cs);
    void Deliver(const char* name, std::span<const std::uint8_t> message, std::uint32_t tick) EXCLUDES(m_cs);

    CLinkCounters& m_Counters;
    CThreadMark m_ReceivingThread;
    // Receiving thread only. One sender as a rule: an array.
    std::vector<std::unique_ptr<Sender>> m_Senders;
    // a leaf lock
    CMutex m_cs;
    std::array<Inbox, CHANNEL_COUNT> m_Inboxes GUARDED_BY(m_cs);
    // Each channel its own, so that a message wakes no other channel's thread.
    std::array<std::condition_variable, CHANNEL_COUNT> m_Changed;
    std::condition_variable m_NoChannelChanged;  // for numbers without inbox
};
