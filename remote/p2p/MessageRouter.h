#pragma once

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

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
    struct XMessage {
        char m_szName[P2P_NAME_BYTES] = {};
        std::vector<std::uint8_t> m_Data;
        std::uint32_t m_dwTick = 0;  // milliseconds of the session's clock
    };
    using DEADLINE = std::optional<std::chrono::steady_clock::time_point>;

    /// An inbox takes no more when its messages hold so many bytes; what comes then is lost.
    static constexpr std::size_t INBOX_LIMIT_BYTES = std::size_t{4} << 20;

    /// Senders whose messages are put together at once. A further one takes the place of the one that has
    /// brought the fewest messages, so that strangers drive out strangers.
    static constexpr std::size_t SENDER_LIMIT = 16;

    /// What is thrown away is counted there; it must outlive the router.
    explicit CMessageRouter(CLinkCounters& counters) : m_Counters(counters) {}

    /// Takes the data of one datagram that came from `from` at `dwTick`. Receiving thread only.
    void Feed(const char* szName, std::span<const std::uint8_t> data, const sockaddr_in& from,
              std::uint32_t dwTick);

    /// Opens the channel's inbox, empty; opened twice, it has to be closed twice. A number that no header can
    /// name has none.
    void OpenChannel(std::int32_t iChannel);
    void CloseChannel(std::int32_t iChannel);

    /// Waits for the channel's next message, until `ended()` holds, which is asked again at each Wake, or until
    /// the deadline.
    template <typename ENDED>
    std::optional<XMessage> Receive(std::int32_t iChannel, ENDED ended, const DEADLINE& deadline = std::nullopt)
    {
        const auto there = [&] { return HasMessage(iChannel) || ended(); };
        std::unique_lock lock(m_cs);
        if (deadline)
            Changed(iChannel).wait_until(lock, *deadline, there);
        else
            Changed(iChannel).wait(lock, there);
        return Take(iChannel);
    }

    /// Lets the waiting threads ask again whether they are to end.
    void Wake();

  private:
    struct XInbox {
        int m_iOpen = 0;
        std::size_t m_ulBytes = 0;
        std::deque<XMessage> m_Messages;
        // Each channel its own, so that a message wakes no other channel's thread.
        std::condition_variable m_Changed;
    };

    struct XSender {
        PEER_ADDRESS m_Address;
        std::uint64_t m_ulMessages = 0;  // that it has brought
        std::vector<std::uint8_t> m_Buffer = std::vector<std::uint8_t>(MESSAGE_LIMIT_BYTES);
        CMessageAssembler m_Assembler{m_Buffer};
    };

    XSender& SenderAt(const PEER_ADDRESS& address);
    static bool IsChannel(std::int32_t iChannel) { return iChannel >= 0 && iChannel < CHANNEL_COUNT; }
    std::condition_variable& Changed(std::int32_t iChannel);
    bool HasMessage(std::int32_t iChannel) const;
    std::optional<XMessage> Take(std::int32_t iChannel);
    void Deliver(const char* szName, std::span<const std::uint8_t> message, std::uint32_t dwTick);

    CLinkCounters& m_Counters;
    // Receiving thread only. One sender as a rule: an array.
    std::vector<std::unique_ptr<XSender>> m_Senders;
    // a leaf lock
    std::mutex m_cs;
    std::array<XInbox, CHANNEL_COUNT> m_Inboxes;  // guarded by m_cs
    std::condition_variable m_NoChannelChanged;   // for numbers without inbox
};
