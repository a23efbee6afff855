#include "remote/Remote.h"

void CRemote::StartRecord(std::int32_t /*reason*/)
{
    if (GetStatus() == STATUS_OPEN) GetState()->m_nFlags.SetBits(FLAG_START_RECORD);
}

void CRemote::StopRecord(std::int32_t /*reason*/)
{
    if (GetStatus() == STATUS_RECORDING) GetState()->m_nFlags.SetBits(FLAG_STOP_RECORD);
}

void CRemote::SnapShot()
{
    if (GetStatus() != STATUS_CLOSED) GetState()->m_nFlags.SetBits(FLAG_SNAPSHOT);
}
