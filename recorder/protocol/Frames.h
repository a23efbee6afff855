#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>

#include "recorder/protocol/Wire.h"

// The frames of the direct ports. A frame is a signed 32-bit length, which counts itself, and a body. A client
// sends text commands on the control port, each a body without terminator, and one stream request on the data
// port; it gets a reply and then media frames. All integers are little-endian.
//
//   request  16  length, mode, record, channel
//   reply    24  length, type 1, width, height, two words that nobody reads
//   media     8  length, type 0 for video and 1 for nothing; the coded picture follows
namespace recorder
{

inline constexpr size_t LENGTH_BYTES = 4;
inline constexpr size_t STREAM_REQUEST_BYTES = 16;
inline constexpr size_t STREAM_REPLY_BYTES = 24;
inline constexpr size_t MEDIA_HEADER_BYTES = 8;
/// What a client's buffer for one media frame holds.
inline constexpr size_t MAX_MEDIA_FRAME_BYTES = 262144;
inline constexpr size_t MAX_TEXT_FRAME_BYTES = 65536;

/// Puts frames together from what a connection brings.
class FrameReader
{
  public:
    explicit FrameReader(size_t maxBytes) : m_MaxBytes(maxBytes) {}

    void Add(std::span<const uint8_t> bytes) { m_Bytes.insert(m_Bytes.end(), bytes.begin(), bytes.end()); }
    /// The body of the next whole frame; nothing when there is none, or after a length that can't be.
    std::optional<Bytes> Next();
    /// A length below 4, or above the bound: nothing that follows can be understood.
    bool Damaged() const { return m_Damaged; }

  private:
    size_t m_MaxBytes;
    Bytes m_Bytes;
    bool m_Damaged = false;
};

Bytes MakeFrame(std::span<const uint8_t> body);

enum class EMode : int32_t { LiveMpeg4 = 0, Query = 1, Playback = 2, LiveH264 = 3 };

struct StreamRequest {
    int32_t mode = 0;  // of EMode, or anything else
    int32_t record = -1;
    int32_t channel = 0;

    bool operator==(const StreamRequest&) const = default;
};

/// The body of the request's frame; nothing when it has another size.
std::optional<StreamRequest> ParseDirectRequest(std::span<const uint8_t> body);

/// Anything but type 1 turns the client away.
enum class EReply : uint32_t { Stream = 1, Refused = 2 };
Bytes MakeDirectReply(EReply type, int width, int height);

enum class EMedia : uint32_t { Video = 0, Nothing = 1 };
std::array<uint8_t, MEDIA_HEADER_BYTES> MakeMediaHeader(uint32_t type, size_t payloadBytes);

}  // namespace recorder
