#pragma once

#include <chrono>

namespace recorder
{

/// When each picture of a record is due, so that it plays as it was made. A client, or a disk, that was late is
/// waited for, and not made to catch up beyond MOST_LATE; a gap is waited for no longer than MOST_WAIT.
class RecordPace
{
  public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::milliseconds MOST_LATE{500};
    static constexpr std::chrono::milliseconds MOST_WAIT{5'000};

    /// \param at the picture's time in the record; the first one asked for is due at once
    /// \param now when it was read
    Clock::time_point DueOf(std::chrono::milliseconds at, Clock::time_point now);

  private:
    Clock::time_point m_Begun;  // when the record's time was 0
    bool m_Paced = false;       // m_Begun is known
};

}  // namespace recorder
