#pragma once

#include <algorithm>
#include <optional>
#include <utility>

namespace recorder
{

// When the pictures of a file are due: at their time stamps, or one interval after the one before where a
// picture has none; growing over repeats. Where stamps begin again, as in recordings that were appended to one
// another, the pictures go on after the last, and no gap in them is waited for longer than MOST_WAIT. In
// seconds since the first.
class PictureTimes
{
  public:
    static constexpr double MOST_WAIT = 5;
    static constexpr double MOST_BACK = 1;  // more isn't a picture that only comes out of order

    explicit PictureTimes(double interval) : m_Interval(interval), m_Latest(-interval) {}

    // The next picture has this time stamp.
    void Next(std::optional<double> stamp)
    {
        if (!stamp) {
            m_Latest += m_Interval;
            return;
        }
        if (!std::exchange(m_Stamped, true)) m_FirstStamp = *stamp;
        const double due = m_Begun + *stamp - m_FirstStamp;
        if (due < m_Latest - MOST_BACK)
            GoOn(m_Latest + m_Interval, *stamp);
        else if (due > m_Latest + MOST_WAIT)
            GoOn(m_Latest + MOST_WAIT, *stamp);
        else
            m_Latest = std::max(m_Begun, due);
    }
    // The next picture is the file's first again. The last one has its time too.
    void Restart()
    {
        m_Begun = m_Latest + m_Interval;
        m_Stamped = false;
    }
    double Latest() const { return m_Latest; }

  private:
    // From here on stamps count from this one.
    void GoOn(double due, double stamp)
    {
        m_Begun = m_Latest = due;
        m_FirstStamp = stamp;
    }

    double m_Interval;
    double m_Latest;
    // since the round began, or the stamps leapt
    double m_Begun = 0;
    bool m_Stamped = false;
    double m_FirstStamp = 0;
};

}  // namespace recorder
