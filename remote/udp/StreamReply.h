#pragma once

#include <cstdint>
#include <span>

/// The picture size by which a machine answers a stream request.
struct StreamReply {
    std::int32_t width = 0;  // pixels; 0 to 65535 in a message, any 32 bits in a direct link's reply
    std::int32_t height = 0;
};

/// A picture has at most so many samples, in whatever shape. The size comes from whoever sends a datagram, and
/// decoder and renderer set aside several bytes for each sample.
inline constexpr std::int64_t PICTURE_LIMIT_SAMPLES = std::int64_t{16384} * 4096;

/// Reads width and height behind the header word; bytes that are missing count as zero.
StreamReply ReadStreamReply(std::span<const std::uint8_t> message);

/// False for a negative size and for a picture beyond the limit, in whole macroblocks of 16x16, at least one
/// each way, as decoders set it aside. A size of 0 passes otherwise: no decoder shows anything of it.
bool IsWithinLimit(const StreamReply& reply);
