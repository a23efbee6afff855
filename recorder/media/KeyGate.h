#pragma once

#include <cstdint>

namespace recorder
{

// Decides when a channel codes a key picture out of turn, because somebody waits for one: at most once a
// second, and at the channel's own place in the second. When all channels lose pictures at once, as after a
// stall of their client, their key pictures would come at once and as often as they are asked for, and the
// bytes of these alone would keep the client behind for ever. No thread, no clock.
class CKeyGate
{
  public:
    // Pictures a second; the channel's number among so many.
    CKeyGate(int iRate, int iChannel, int iChannels);

    void Want() { m_bWanted = true; }
    // The stream begins anew with a key picture; one more follows at the channel's place, so that the groups of
    // channels that began together don't go on in step.
    void Restart() { m_bRestarted = true; }
    bool Due(int64_t iPicture) const;
    // Whatever the reason of a key picture, those who waited have theirs.
    void Coded(int64_t iPicture, bool bKey);

  private:
    int m_iRate;
    int m_iPlace;  // pictures into the second
    bool m_bWanted = false;
    bool m_bRestarted = true;
    int64_t m_iLastKey = 0;
};

}  // namespace recorder
