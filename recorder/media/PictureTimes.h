#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <utility>

namespace recorder
{

/// When the pictures of a file are due: at their time stamps, or when the one before had its time where a
/// picture has none, the stamps begin anew, as where files were joined, or the file does; growing over repeats.
/// A gap is waited for no longer than MOST_GAP; the only picture of a file comes again after STILL. In seconds
/// since the first.
class PictureTimes
{
  public:
    static constexpr double MOST_GAP = 10;
    /// Stamps that go back by more begin anew; by less, they are only out of order.
    static constexpr double MOST_BACK = 1;
    /// Large images take longer to read than one interval, and somebody may write a newer one over them.
    static constexpr double STILL = 1;

    explicit PictureTimes(double interval) : m_Interval(interval), m_Lasts(interval), m_Latest(-interval) {}

    /// The next picture has this time stamp, and lasts so long unless the next one's says otherwise: at least
    /// one interval.
    void Next(std::optional<double> stamp, double lasts = 0)
    {
        ++m_Count;
        const double next = m_Latest + m_Lasts;
        m_Lasts = stamp ? std::clamp(lasts, m_Interval, MOST_GAP) : m_Interval;
        if (!stamp) {
            m_Latest = next;
            return;
        }
        const double step = *stamp - m_Stamp;
        if (!std::exchange(m_Stamped, true) || step < -MOST_BACK)
            m_Zero = next - *stamp;
        else if (step > MOST_GAP)
            m_Zero = m_Latest + MOST_GAP - *stamp;
        m_Stamp = *stamp;
        m_Latest = std::max(m_Latest, m_Zero + *stamp);
    }
    /// The next picture is the file's first again. The last one has its time too.
    void Restart()
    {
        m_Stamped = false;
        if (std::exchange(m_Count, 0) == 1) m_Lasts = std::max(STILL, m_Interval);
    }
    double Latest() const { return m_Latest; }

  private:
    double m_Interval;
    double m_Lasts;  // the latest
    double m_Latest;
    // of the present round
    int64_t m_Count = 0;  // pictures
    bool m_Stamped = false;
    double m_Stamp = 0;  // the latest
    double m_Zero = 0;   // when the stamp 0 is due
};

}  // namespace recorder
