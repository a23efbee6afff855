// Half sample interpolation, ISO/IEC 14496-2 clause 7.6.2.
#include <cstring>

#include "codec/mpeg4/mpeg4_kernels.h"

namespace
{
template <int Width>
void copy(uint8_t* to, ptrdiff_t to_stride, const uint8_t* from, ptrdiff_t from_stride, int rows)
{
    for (; rows > 0; --rows, to += to_stride, from += from_stride)
        std::memcpy(to, from, Width);
}

template <int Width, int Rounding>
void half_h(uint8_t* to, ptrdiff_t to_stride, const uint8_t* from, ptrdiff_t from_stride, int rows)
{
    for (; rows > 0; --rows, to += to_stride, from += from_stride) {
        for (int i = 0; i < Width; ++i)
            to[i] = static_cast<uint8_t>((from[i] + from[i + 1] + 1 - Rounding) >> 1);
    }
}

template <int Width, int Rounding>
void half_v(uint8_t* to, ptrdiff_t to_stride, const uint8_t* from, ptrdiff_t from_stride, int rows)
{
    for (; rows > 0; --rows, to += to_stride, from += from_stride) {
        const uint8_t* const below = from + from_stride;
        for (int i = 0; i < Width; ++i)
            to[i] = static_cast<uint8_t>((from[i] + below[i] + 1 - Rounding) >> 1);
    }
}

template <int Width, int Rounding>
void half_hv(uint8_t* to, ptrdiff_t to_stride, const uint8_t* from, ptrdiff_t from_stride, int rows)
{
    for (; rows > 0; --rows, to += to_stride, from += from_stride) {
        const uint8_t* const below = from + from_stride;
        for (int i = 0; i < Width; ++i)
            to[i] = static_cast<uint8_t>((from[i] + from[i + 1] + below[i] + below[i + 1] + 2 - Rounding) >> 2);
    }
}

template <int Width, int Rounding>
void fill(mpeg4_predict_fn slots[4])
{
    slots[MPEG4_HALF_NONE] = copy<Width>;
    slots[MPEG4_HALF_H] = half_h<Width, Rounding>;
    slots[MPEG4_HALF_V] = half_v<Width, Rounding>;
    slots[MPEG4_HALF_HV] = half_hv<Width, Rounding>;
}
}  // namespace

void mpeg4_mc_fill_plain(mpeg4_dsp_t* dsp)
{
    fill<8, 0>(dsp->predict[0][MPEG4_WIDTH_8]);
    fill<16, 0>(dsp->predict[0][MPEG4_WIDTH_16]);
    fill<8, 1>(dsp->predict[1][MPEG4_WIDTH_8]);
    fill<16, 1>(dsp->predict[1][MPEG4_WIDTH_16]);
}
