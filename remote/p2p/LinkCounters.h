#pragma once

#include <atomic>
#include <cstdint>

/// What a link has done since it was built, for reports: counted by its threads, readable at any time from any
/// thread. The counters are atomics, each right by itself; two of them read together may be one event apart.
struct CLinkCounters {
    using Counter = std::atomic<std::uint64_t>;

    Counter datagrams{0};                // pieces that arrived with data: datagrams, or frames of a stream
    Counter bytes{0};                    // their bytes
    Counter messages{0};                 // whole messages that the link took for its own
    Counter foreign{0};                  // whole messages for other receivers, discarded
    Counter dropped{0};                  // messages and datagrams dropped for their size or lack of room
    Counter skipped{0};                  // pictures left out because they had grown old
    Counter decoded{0};                  // pictures that the decoder gave
    Counter shown{0};                    // of these, those that came all the way to a window
    Counter withoutCell{0};              // those for which there was no cell
    Counter notConvertible{0};           // those that the conversion refused; the rest was dropped
    Counter refused{0};                  // messages of which the decoder made no picture
    std::atomic<std::int32_t> width{0};  // of the stream's pictures, in pixels; 0 before the reply
    std::atomic<std::int32_t> height{0};
    /// From the last opening to the first picture shown, milliseconds; -1 when none was.
    std::atomic<std::int64_t> firstPictureMs{-1};

    /// Who sees the count sees what was noted before it.
    static void Count(Counter& counter, std::uint64_t by = 1)
    {
        counter.fetch_add(by, std::memory_order_release);
    }
};
