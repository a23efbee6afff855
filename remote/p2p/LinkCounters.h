#pragma once

#include <atomic>
#include <cstdint>

/// What a link has done since it was built, for reports: counted by its threads, readable at any time from any
/// thread. The counters are relaxed atomics, each right by itself; two of them read together may be one event
/// apart.
struct CLinkCounters {
    using COUNTER = std::atomic<std::uint64_t>;

    COUNTER m_ulDatagrams{0};               // pieces that arrived with data: datagrams, or frames of a stream
    COUNTER m_ulBytes{0};                   // their bytes
    COUNTER m_ulMessages{0};                // whole messages that the link took for its own
    COUNTER m_ulForeign{0};                 // whole messages for somebody else, thrown away
    COUNTER m_ulDropped{0};                 // messages and datagrams dropped for their size or for want of room
    COUNTER m_ulSkipped{0};                 // pictures left out because they had grown old
    COUNTER m_ulDecoded{0};                 // pictures that the decoder gave
    COUNTER m_ulShown{0};                   // of these, those that came all the way to a window
    COUNTER m_ulWithoutCell{0};             // those for which there was no cell
    COUNTER m_ulNotConvertible{0};          // those that the conversion refused; the rest was dropped
    COUNTER m_ulRefused{0};                 // messages of which the decoder made no picture
    std::atomic<std::int32_t> m_iWidth{0};  // of the stream's pictures, in pixels; 0 before the reply
    std::atomic<std::int32_t> m_iHeight{0};
    /// From the last opening to the first picture shown, milliseconds; -1 when none was.
    std::atomic<std::int64_t> m_iFirstPictureMs{-1};

    static void Count(COUNTER& counter, std::uint64_t by = 1)
    {
        counter.fetch_add(by, std::memory_order_relaxed);
    }
};
