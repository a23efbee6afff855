#pragma once

#include <cstdint>
#include <span>

/// The picture size by which a machine answers a stream request.
struct StreamReply {
    std::int32_t width = 0;  // pixels, 0 to 65535
    std::int32_t height = 0;
};

/// Reads width and height after the header word; bytes that are missing count as zero.
StreamReply ReadStreamReply(std::span<const std::uint8_t> message);
