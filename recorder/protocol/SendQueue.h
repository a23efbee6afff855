#pragma once

#include <deque>
#include <map>
#include <memory>
#include <optional>

#include "recorder/protocol/Wire.h"

namespace recorder
{

/// The stream messages on their way to one client. The client puts messages together in the order of arrival,
/// so all channels of a client share one queue, and the pieces of a message go out without another's between
/// them.
///
/// Pieces are spread: at most BURST each millisecond, and at most WINDOW that the client hasn't acknowledged. A
/// piece whose acknowledgement doesn't come counts as gone after ACK_TIMEOUT, so that a lost one delays but
/// never stops. While no acknowledgement comes at all, the window halves and the time-out doubles each time, so
/// that a client that has gone, or never was, soon gets next to nothing. No clock, no sockets; one thread at a
/// time.
class SendQueue
{
  public:
    static constexpr size_t PIECE_BYTES = 1024;
    static constexpr size_t WINDOW = 48;  // about half of what the system's usual receive buffer holds
    static constexpr size_t BURST = 16;
    static constexpr TimeUs BURST_EVERY = MILLISECOND;
    static constexpr TimeUs ACK_TIMEOUT = 50 * MILLISECOND;
    static constexpr int MOST_BACK_OFF = 4;  // 3 pieces each 800 ms
    static constexpr size_t MAX_BYTES = 4 << 20;
    static constexpr size_t MAX_PER_CHANNEL = 4;   // messages; a client that is so far behind loses pictures
    static constexpr TimeUs STALE_AFTER = SECOND;  // a picture that waits for so long isn't live any more

    using Message = std::shared_ptr<const Bytes>;

    /// False when the queue is full for this channel or altogether; the message isn't taken then. since: when
    /// it was made; one of NEVER doesn't grow stale.
    bool Push(int channel, Message message, TimeUs since = NEVER);
    /// Removes what has grown stale unsent, with all that waits after it in its channel; how many messages of
    /// each channel.
    std::map<int, size_t> DropStale(TimeUs now);
    /// Removes the messages of the channel of which nothing has been sent.
    void Forget(int channel);

    struct Piece {
        std::span<const uint8_t> bytes;
        int channel = 0;
        size_t completes = 0;  // bytes of the message that it ends, when that is one that grows stale
    };
    /// The next piece that may go at this time.
    std::optional<Piece> Next(TimeUs now);
    /// The client acknowledged one piece.
    void Acknowledged();
    /// When Next will have something; NEVER when there is nothing to send.
    TimeUs Due(TimeUs now) const;

    size_t QueuedBytes() const { return m_Bytes; }

  private:
    size_t Window() const { return WINDOW >> m_BackOff; }
    TimeUs AckTimeout() const { return ACK_TIMEOUT << m_BackOff; }

    struct Item {
        int channel = 0;
        Message message;
        TimeUs since = NEVER;
        size_t sent = 0;
    };

    std::deque<Item> m_Items;
    std::deque<TimeUs> m_Outstanding;  // when the pieces that wait for acknowledgement went
    Message m_Last;                    // keeps the piece that Next gave last
    size_t m_Bytes = 0;
    int m_BackOff = 0;       // time-outs since the last acknowledgement
    TimeUs m_BackedOff = 0;  // when it did
    TimeUs m_BurstStart = 0;
    size_t m_InBurst = 0;
};

}  // namespace recorder
