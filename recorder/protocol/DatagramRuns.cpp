#include "recorder/protocol/DatagramRuns.h"

#include <algorithm>

namespace recorder
{

size_t CountRun(std::span<const Datagram> datagrams)
{
    if (datagrams.empty()) return 0;
    const Datagram& first = datagrams.front();
    const size_t segment = first.bytes.size();
    size_t bytes = segment;
    size_t count = 1;
    for (; count < std::min(datagrams.size(), MAX_RUN_DATAGRAMS); ++count) {
        const Datagram& next = datagrams[count];
        const size_t size = next.bytes.size();
        if (next.to != first.to || size == 0 || size > segment || bytes + size > MAX_RUN_BYTES) break;
        bytes += size;
        if (size < segment) return count + 1;
    }
    return count;
}

std::span<const uint8_t> TakeSegment(std::span<const uint8_t>& burst, size_t segmentBytes)
{
    const size_t size = segmentBytes == 0 ? burst.size() : std::min(segmentBytes, burst.size());
    const auto segment = burst.first(size);
    burst = burst.subspan(size);
    return segment;
}

}  // namespace recorder
