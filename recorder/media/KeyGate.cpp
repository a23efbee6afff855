#include "recorder/media/KeyGate.h"

#include <algorithm>

namespace recorder
{

KeyGate::KeyGate(int rate, int channel, int channels)
    : m_Rate(rate), m_Place(channel * rate / std::max(1, channels))
{
}

void KeyGate::Want()
{
    if (!m_Wanted) m_WantedAfter = m_LastPicture;
    m_Wanted = true;
}

bool KeyGate::Due(int64_t picture) const
{
    // A place that the last key picture came shortly before is left out.
    const int64_t place = picture - (picture + m_Rate - m_Place) % m_Rate;
    return m_Wanted && place > m_WantedAfter && place - m_LastKey >= m_Rate / 2;
}

void KeyGate::Coded(int64_t picture, bool key)
{
    m_LastPicture = picture;
    if (!key) return;
    m_LastKey = picture;
    m_Wanted = m_Restarted;
    m_WantedAfter = picture;
    m_Restarted = false;
}

}  // namespace recorder
