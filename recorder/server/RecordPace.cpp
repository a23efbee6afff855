#include "recorder/server/RecordPace.h"

#include <utility>

namespace recorder
{

RecordPace::Clock::time_point RecordPace::DueOf(std::chrono::milliseconds at, Clock::time_point now)
{
    const auto due = m_Begun + at;
    if (!std::exchange(m_Paced, true))
        m_Begun = now - at;
    else if (due + MOST_LATE < now)
        m_Begun += now - due;
    else if (due > now + MOST_WAIT)
        m_Begun -= due - now - MOST_WAIT;
    return m_Begun + at;
}

}  // namespace recorder
