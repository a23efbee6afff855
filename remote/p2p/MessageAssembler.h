#pragma once

#include <cstdint>
#include <span>

// The layer above the peer protocol: messages, cut into datagrams. A message begins with a header word,
// little-endian: bit 31 spare, bit 30 direction, bits 29 to 24 channel, bits 23 to 0 length of the message in
// bytes with this word.

inline constexpr std::uint32_t MESSAGE_HEADER_BYTES = 4;
inline constexpr std::uint32_t MESSAGE_CUT_BYTES = 1024;      // what one datagram carries at most
inline constexpr std::uint32_t MESSAGE_LIMIT_BYTES = 101376;  // the longest message: 352 x 288 bytes
inline constexpr int CHANNEL_COUNT = 64;                      // what the header can name

struct MessageHeader {
    std::int32_t channel = 0;
    std::int32_t direction = 0;
    std::uint32_t length = 0;
};

/// Reads the header word; bytes that are missing count as zero.
MessageHeader ReadMessageHeader(std::span<const std::uint8_t> message);

/// The header word in the client's direction. The channel number is not masked: one above 63 spills upwards.
std::uint32_t MakeMessageHeader(std::int32_t channel, std::uint32_t length);

/// Puts one message after the other together from datagrams, in the order in which they come. There is neither
/// a sequence number nor a check of the sender: a lost datagram makes a message take its missing bytes from the
/// next one, until a header happens to stand at the front again. A message that overshoots its length stays
/// whole.
///
/// What does not fit into the buffer is dropped: a message longer than the buffer is still counted through to
/// its end, so that the next one is met at its header. A header that names more than MESSAGE_LIMIT_BYTES is
/// most likely none; what follows is dropped up to the first datagram that a sender did not fill, which is
/// where a message ends.
class CMessageAssembler
{
  public:
    enum class EResult {
        More,      // the message isn't complete
        Complete,  // it is: GetMessage; the next datagram begins a new one
        Dropped,   // it is, but it didn't fit; the next datagram begins a new one
    };

    /// The buffer is borrowed for the life of the object.
    explicit CMessageAssembler(std::span<std::uint8_t> buffer) : m_Buffer(buffer) {}

    EResult Feed(std::span<const std::uint8_t> datagram);

    /// What has been put together so far; after Complete the whole message, until the next Feed.
    std::span<const std::uint8_t> GetMessage() const { return m_Buffer.first(m_Count); }

    /// Whether a message has begun and isn't complete.
    bool IsInside() const { return m_bInside; }

  private:
    void Begin(std::span<const std::uint8_t> datagram);

    const std::span<std::uint8_t> m_Buffer;
    std::size_t m_Count = 0;      // bytes in the buffer
    std::int64_t m_iMissing = 0;  // bytes that the message still lacks by its header
    bool m_bInside = false;
    bool m_bTooLarge = false;  // the message doesn't fit
    bool m_bNoHeader = false;  // its header names more than any message has
};
