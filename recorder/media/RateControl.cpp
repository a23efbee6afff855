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

RateControl::RateControl(int64_t bitRate, int rate, int group, size_t maxBytes)
    : m_GroupBits(static_cast<double>(bitRate) * group / rate),
      m_PictureBits(static_cast<double>(bitRate) / rate),
      m_Group(group),
      m_MaxBits(8.0 * static_cast<double>(maxBytes))
{
}

int RateControl::Quant(bool key) const
{
    if (m_KeyFactor == 0) return FIRST_QUANT;
    const double factor = m_Factor != 0 ? m_Factor : m_KeyFactor * FIRST_SHARE;
    double quant = (m_KeyFactor + (m_Group - 1) * factor) / m_GroupBits;
    quant *= 1 + std::clamp(m_Debt / (4 * m_GroupBits), -0.4, 1.5);
    if (key) quant *= KEY_SHARPER;
    quant = std::max(quant, (key ? m_KeyFactor : factor) / (SAFETY * m_MaxBits));
    return std::clamp(static_cast<int>(std::lround(quant)), MIN_QUANT, MAX_QUANT);
}

void RateControl::Coded(bool key, int quant, size_t bytes)
{
    const double bits = 8.0 * static_cast<double>(bytes);
    Learn(key ? m_KeyFactor : m_Factor, bits * quant);
    // A calm hour earns no credit beyond a few groups, and a storm no endless debt.
    m_Debt = std::clamp(m_Debt + bits - m_PictureBits, -2 * m_GroupBits, 8 * m_GroupBits);
}

}  // namespace recorder
