#include "recorder/media/RateControl.h"

#include <algorithm>
#include <cmath>

namespace recorder
{

namespace
{

constexpr int FIRST_QUANT = 6;
constexpr double FIRST_SHARE =
    0.25;                            // of a later picture's factor in that of a key picture, until one was seen
constexpr double LEARN = 0.3;        // how much of a new picture goes into the factor
constexpr double KEY_SHARPER = 0.9;  // key pictures are what the others are built on
constexpr double SAFETY = 0.85;      // how close to the largest size is aimed

void Learn(double& factor, double value)
{
    factor = factor == 0 ? value : factor + LEARN * (value - factor);
}

}  // namespace

CRateControl::CRateControl(int64_t iBitRate, int iRate, int iGroup, size_t ulMaxBytes)
    : m_dGroupBits(static_cast<double>(iBitRate) * iGroup / iRate),
      m_dPictureBits(static_cast<double>(iBitRate) / iRate),
      m_iGroup(iGroup),
      m_dMaxBits(8.0 * static_cast<double>(ulMaxBytes))
{
}

int CRateControl::Quant(bool bKey) const
{
    if (m_dKeyFactor == 0) return FIRST_QUANT;
    const double factor = m_dFactor != 0 ? m_dFactor : m_dKeyFactor * FIRST_SHARE;
    double quant = (m_dKeyFactor + (m_iGroup - 1) * factor) / m_dGroupBits;
    quant *= 1 + std::clamp(m_dDebt / (4 * m_dGroupBits), -0.4, 1.5);
    if (bKey) quant *= KEY_SHARPER;
    quant = std::max(quant, (bKey ? m_dKeyFactor : factor) / (SAFETY * m_dMaxBits));
    return std::clamp(static_cast<int>(std::lround(quant)), MIN_QUANT, MAX_QUANT);
}

void CRateControl::Coded(bool bKey, int iQuant, size_t ulBytes)
{
    const double bits = 8.0 * static_cast<double>(ulBytes);
    Learn(bKey ? m_dKeyFactor : m_dFactor, bits * iQuant);
    // A calm hour earns no credit beyond a few groups, and a storm no endless debt.
    m_dDebt = std::clamp(m_dDebt + bits - m_dPictureBits, -2 * m_dGroupBits, 8 * m_dGroupBits);
}

}  // namespace recorder
