#include "codec/mpeg4/mpeg4_idct.h"

#include <algorithm>
#include <cstring>

#include "codec/mpeg4/mpeg4_kernels.h"
#include "codec/mpeg4/mpeg4_tables.h"

namespace
{
uint8_t clip_pixel(int value)
{
    return static_cast<uint8_t>(std::clamp(value, 0, 255));
}

/// The one-dimensional transform of in[0..7] without its final shift: `round` + the sums, in wrapping
/// arithmetic, with `c4` for the fourth cosine.
void transform(int32_t out[8], const int16_t in[8], uint32_t round, uint32_t c4)
{
    uint32_t x[8];
    for (int i = 0; i < 8; ++i)
        x[i] = static_cast<uint32_t>(int32_t{in[i]});
    constexpr uint32_t c1 = MPEG4_COS1;
    constexpr uint32_t c2 = MPEG4_COS2;
    constexpr uint32_t c3 = MPEG4_COS3;
    constexpr uint32_t c5 = MPEG4_COS5;
    constexpr uint32_t c6 = MPEG4_COS6;
    constexpr uint32_t c7 = MPEG4_COS7;
    const uint32_t sum = c4 * (x[0] + x[4]) + round;
    const uint32_t difference = c4 * (x[0] - x[4]) + round;
    const uint32_t outer = c2 * x[2] + c6 * x[6];
    const uint32_t inner = c6 * x[2] - c2 * x[6];
    const uint32_t even[4] = {sum + outer, difference + inner, difference - inner, sum - outer};
    const uint32_t odd[4] = {
        c1 * x[1] + c3 * x[3] + c5 * x[5] + c7 * x[7],
        c3 * x[1] - c7 * x[3] - c1 * x[5] - c5 * x[7],
        c5 * x[1] - c1 * x[3] + c7 * x[5] + c3 * x[7],
        c7 * x[1] - c5 * x[3] + c3 * x[5] - c1 * x[7],
    };
    for (int i = 0; i < 4; ++i) {
        out[i] = static_cast<int32_t>(even[i] + odd[i]);
        out[7 - i] = static_cast<int32_t>(even[i] - odd[i]);
    }
}

void idct(int16_t* block)
{
    int16_t between[8 /* column */][8 /* row */];
    int16_t in[8];
    int32_t out[8];
    for (int row = 0; row < 8; ++row) {
        for (int column = 0; column < 8; ++column)
            in[column] = block[mpeg4_coefficient_index(row, column)];
        const bool only_first = std::all_of(in + 1, in + 8, [](int16_t x) { return x == 0; });
        transform(out, in, MPEG4_IDCT_ROUND1, MPEG4_COS4 + (only_first ? 1 : 0));
        for (int column = 0; column < 8; ++column)
            between[column][row] =
                static_cast<int16_t>(std::clamp(out[column] >> MPEG4_IDCT_SHIFT1, INT16_MIN, INT16_MAX));
    }
    for (int column = 0; column < 8; ++column) {
        transform(out, between[column], MPEG4_IDCT_ROUND2, MPEG4_COS4);
        for (int row = 0; row < 8; ++row)
            block[row * 8 + column] = static_cast<int16_t>(out[row] >> MPEG4_IDCT_SHIFT2);
    }
}

void idct_put(uint8_t* to, ptrdiff_t stride, int16_t* block)
{
    idct(block);
    for (int row = 0; row < 8; ++row, to += stride) {
        for (int column = 0; column < 8; ++column)
            to[column] = clip_pixel(block[row * 8 + column]);
    }
    std::memset(block, 0, 64 * sizeof *block);
}

void idct_add(uint8_t* to, ptrdiff_t stride, int16_t* block)
{
    idct(block);
    for (int row = 0; row < 8; ++row, to += stride) {
        for (int column = 0; column < 8; ++column)
            to[column] = clip_pixel(to[column] + block[row * 8 + column]);
    }
    std::memset(block, 0, 64 * sizeof *block);
}

// With nothing but a DC both passes come down to one rounding: the cosine of the DC is 2^14, so that the first
// pass only shifts it up by 3 bits.

void dc_put(uint8_t* to, ptrdiff_t stride, int dc)
{
    const uint8_t value = clip_pixel(mpeg4_idct_dc(dc));
    for (int row = 0; row < 8; ++row, to += stride)
        std::memset(to, value, 8);
}

void dc_add(uint8_t* to, ptrdiff_t stride, int dc)
{
    const int value = mpeg4_idct_dc(dc);
    for (int row = 0; row < 8; ++row, to += stride) {
        for (int column = 0; column < 8; ++column)
            to[column] = clip_pixel(to[column] + value);
    }
}
}  // namespace

void mpeg4_idct_fill_plain(mpeg4_dsp_t* dsp)
{
    dsp->idct = idct;
    dsp->idct_put = idct_put;
    dsp->idct_add = idct_add;
    dsp->dc_put = dc_put;
    dsp->dc_add = dc_add;
}
