#pragma once

#include <cstdint>

namespace recorder
{

/// Decides when a channel codes a key picture out of turn, because a viewer waits for one: at most once a
/// second, and at the channel's own place in the second. When all channels lose pictures at once, as after a
/// stall of their client, their key pictures would come at once and as often as they are asked for, and the
/// bytes of these alone would keep the client behind indefinitely. No thread, no clock.
class KeyGate
{
  public:
    /// Pictures a second; the channel's number among so many.
    KeyGate(int rate, int channel, int channels);

    /// Counts from the place on that follows the latest picture.
    void Want();
    /// The stream restarts with a key picture; one more follows at the channel's place, so that the groups of
    /// channels that began together don't go on in step.
    void Restart() { m_Restarted = true; }
    bool Due(int64_t picture) const;
    /// Of each picture that is coded. Whatever the reason of a key picture, those who waited have theirs.
    void Coded(int64_t picture, bool key);

  private:
    int m_Rate;
    int m_Place;  // pictures into the second
    bool m_Wanted = false;
    bool m_Restarted = true;
    int64_t m_WantedAfter = 0;  // a place up to this picture came before anybody asked
    int64_t m_LastPicture = 0;
    int64_t m_LastKey = 0;
};

}  // namespace recorder
