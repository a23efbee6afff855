#include "remote/tcp/Rollover.h"

#include "remote/DeviceState.h"

void CheckRollover(CDeviceState& state, std::uint32_t now, std::uint32_t lengthMs)
{
    ASSERT_THREAD(state.m_LinkThread);
    if (now - state.m_dwRecordTick < lengthMs) return;
    state.m_nFlags.SetBits(FLAG_STOP_RECORD | FLAG_START_RECORD);
    state.m_dwRecordTick = now;
}
