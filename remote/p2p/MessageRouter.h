#pragma once

#include <array>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

#include "remote/p2p/LinkCounters.h"
#include "remote/p2p/MessageAssembler.h"
#include "remote/p2p/P2PWire.h"

/// Hands each message of a session to the channel that it names, so that all open channels receive at once. The
/// receiving thread feeds it; each open channel has an inbox that its link thread empties. Messages for
/// channels that aren't open are thrown away.
class CMessageRouter
{
  public:
    /// A message with the name of who sent its last datagram.
    struct XMessage {
        char m_szName[P2P_NAME_BYTES] = {};
        std::vector<std::uint8_t> m_Data;
    };

    /// An inbox takes no more when its messages hold so many bytes; what comes then is lost.
    static constexpr std::size_t INBOX_LIMIT_BYTES = std::size_t{4} << 20;

    /// What is thrown away is counted there; it must outlive the router.
    explicit CMessageRouter(CLinkCounters& counters) : m_Counters(counters) {}

    /// Takes one datagram's data. Receiving thread only.
    void Feed(const char* szName, std::span<const std::uint8_t> data);

    /// Opens the channel's inbox, empty; opened twice, it has to be closed twice. A number that no header can
    /// name has none.
    void OpenChannel(std::int32_t iChannel);
    void CloseChannel(std::int32_t iChannel);

    /// Waits for the channel's next message, until `ended()` holds, which is asked again at each Wake.
    template <typename ENDED>
    std::optional<XMessage> Receive(std::int32_t iChannel, ENDED ended)
    {
        std::unique_lock lock(m_cs);
        Changed(iChannel).wait(lock, [&] { return HasMessage(iChannel) || ended(); });
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

    static bool IsChannel(std::int32_t iChannel) { return iChannel >= 0 && iChannel < CHANNEL_COUNT; }
    std::condition_variable& Changed(std::int32_t iChannel);
    bool HasMessage(std::int32_t iChannel) const;
    std::optional<XMessage> Take(std::int32_t iChannel);
    void Deliver(const char* szName, std::span<const std::uint8_t> message);

    CLinkCounters& m_Counters;
    // receiving thread only
    std::vector<std::uint8_t> m_Buffer = std::vector<std::uint8_t>(MESSAGE_LIMIT_BYTES);
    CMessageAssembler m_Assembler{m_Buffer};
    // a leaf lock
    std::mutex m_cs;
    std::array<XInbox, CHANNEL_COUNT> m_Inboxes;  // guarded by m_cs
    std::condition_variable m_NoChannelChanged;   // for numbers without inbox
};
