// H.263 dequantisation, ISO/IEC 14496-2 clause 7.4.4.2.
#pragma once

#include <algorithm>
#include <cstdint>

/// What every level that isn't 0 gets besides 2 x quant x level, with the level's sign.
constexpr int mpeg4_dequant_offset(int quant)
{
    return quant & 1 ? quant : quant - 1;
}

/// `quant` within -8192..8192, any 16-bit level.
constexpr int16_t mpeg4_dequantise(int level, int quant)
{
    const int offset = mpeg4_dequant_offset(quant);
    const int value = 2 * quant * level + (level > 0 ? offset : level < 0 ? -offset : 0);
    return static_cast<int16_t>(std::clamp(value, -2048, 2047));
}
