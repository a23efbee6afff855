#pragma once

#include <span>

#include "recorder/protocol/Faults.h"

namespace recorder
{

// Runs of datagrams that the system's network code can take in one piece and cut again by itself (segmentation
// offload), and what it put together in the same way on receipt. Bytes and counts only, no sockets.

/// The network code cuts no more segments than this from one piece, which must itself fit an IPv4 datagram.
inline constexpr size_t MAX_RUN_DATAGRAMS = 64;
inline constexpr size_t MAX_RUN_BYTES = 65507;

/// How many of these datagrams, from the first on, make one run: to the same endpoint, of the first one's size,
/// where the last may be shorter. An empty datagram is never part of a longer run. At least 1; 0 when there are
/// none.
size_t CountRun(std::span<const Datagram> datagrams);

/// Takes the first datagram off what was received together: segmentBytes bytes, the last one as many as are
/// left. A size of 0 tells that it is a single datagram.
std::span<const uint8_t> TakeSegment(std::span<const uint8_t>& burst, size_t segmentBytes);

}  // namespace recorder
