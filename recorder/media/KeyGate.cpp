#include "recorder/media/KeyGate.h"

#include <algorithm>

namespace recorder
{

CKeyGate::CKeyGate(int iRate, int iChannel, int iChannels)
    : m_iRate(iRate), m_iPlace(iChannel * iRate / std::max(1, iChannels))
{
}

bool CKeyGate::Due(int64_t iPicture) const
{
    // A place that the last key picture came shortly before is left out.
    const int64_t sinceThePlace = (iPicture + m_iRate - m_iPlace) % m_iRate;
    return m_bWanted && iPicture - sinceThePlace - m_iLastKey >= m_iRate / 2;
}

void CKeyGate::Coded(int64_t iPicture, bool bKey)
{
    if (!bKey) return;
    m_iLastKey = iPicture;
    m_bWanted = m_bRestarted;
    m_bRestarted = false;
}

}  // namespace recorder
