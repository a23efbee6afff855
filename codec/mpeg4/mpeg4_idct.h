// What the plain and the vector forms of the inverse transform share.
//
// Two passes of the one-dimensional transform, first along the rows of the block, then along its columns. Each
// is a matrix product with 14-bit cosines in 32-bit sums, which wrap; the first pass rounds to three fraction
// bits and saturates to 16 bits, the second one rounds to whole numbers. The sums are exact, so the order of
// the additions is free and all forms give the same bits.
//
// Three values are chosen so that the result is bit for bit what libavcodec's encoder reconstructs with
// (measured through its AVDCT interface), because a P-VOP adds up every difference between the two ends: the
// fourth cosine is 1 below sqrt(2) x cos(pi / 4) x 2^14, but not in the first pass for a row that has nothing
// but its first coefficient; and the rounding of the second pass is a multiple of that cosine.
#pragma once

#include <cstdint>

/// sqrt(2) x cos(k x pi / 16) x 2^14, rounded; the fourth one as told above.
inline constexpr int16_t MPEG4_COS1 = 22725;
inline constexpr int16_t MPEG4_COS2 = 21407;
inline constexpr int16_t MPEG4_COS3 = 19266;
inline constexpr int16_t MPEG4_COS4 = 16383;
inline constexpr int16_t MPEG4_COS5 = 12873;
inline constexpr int16_t MPEG4_COS6 = 8867;
inline constexpr int16_t MPEG4_COS7 = 4520;

/// 2 x 14 bits of the cosines and 3 of the transform's 1/8 are shifted out.
inline constexpr int MPEG4_IDCT_SHIFT1 = 11;
inline constexpr int MPEG4_IDCT_SHIFT2 = 20;
inline constexpr int32_t MPEG4_IDCT_ROUND1 = 1 << (MPEG4_IDCT_SHIFT1 - 1);
inline constexpr int32_t MPEG4_IDCT_ROUND2 = 32 * MPEG4_COS4;  // 32 below the half

/// The one sample value of a block that has nothing but the coefficient `dc`.
constexpr int mpeg4_idct_dc(int dc)
{
    return (MPEG4_COS4 * (8 * dc) + MPEG4_IDCT_ROUND2) >> MPEG4_IDCT_SHIFT2;
}
