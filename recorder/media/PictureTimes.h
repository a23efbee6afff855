#pragma once

#include <algorithm>
#include <optional>
#include <utility>

namespace recorder
{

// When the pictures of a file are due: at their time stamps, or one interval after the one before where a
// picture has none; growing over repeats. In seconds since the first.
class PictureTimes
{
  public:
    explicit PictureTimes(double interval) : m_Interval(interval) {}

    // The next picture has this time stamp.
    void Next(std::optional<double> stamp)
    {
        if (stamp) {
            if (!std::exchange(m_Stamped, true)) m_FirstStamp = *stamp;
            m_Latest = m_Begun + std::max(0.0, *stamp - m_FirstStamp);
        } else {
            m_Latest = m_Begins ? m_Begun : m_Latest + m_Interval;
        }
        m_Begins = false;
    }
    // The next picture is the file's first again. The last one has its time too.
    void Restart()
    {
        m_Begun = m_Latest + m_Interval;
        m_Begins = true;
        m_Stamped = false;
    }
    double Latest() const { return m_Latest; }

  private:
    double m_Interval;
    double m_Latest = 0;
    // of the present round
    double m_Begun = 0;
    bool m_Begins = true;
    bool m_Stamped = false;
    double m_FirstStamp = 0;
};

}  // namespace recorder
