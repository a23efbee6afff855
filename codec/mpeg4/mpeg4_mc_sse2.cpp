#if defined(__x86_64__)

#include <emmintrin.h>

#include "codec/mpeg4/mpeg4_kernels.h"
#include "codec/sse2_rows.h"

namespace
{
/// (a + b + 1 - Rounding) >> 1
template <int Rounding>
__m128i average(__m128i a, __m128i b)
{
    const __m128i up = _mm_avg_epu8(a, b);
    if constexpr (Rounding == 0) return up;
    return _mm_sub_epi8(up, _mm_and_si128(_mm_xor_si128(a, b), _mm_set1_epi8(1)));
}

template <int Width, int Rounding>
void half_h(uint8_t* to, ptrdiff_t to_stride, const uint8_t* from, ptrdiff_t from_stride, int rows)
{
    for (; rows > 0; --rows, to += to_stride, from += from_stride)
        store_row<Width>(to, average<Rounding>(load_row<Width>(from), load_row<Width>(from + 1)));
}

template <int Width, int Rounding>
void half_v(uint8_t* to, ptrdiff_t to_stride, const uint8_t* from, ptrdiff_t from_stride, int rows)
{
    __m128i above = load_row<Width>(from);
    for (; rows > 0; --rows, to += to_stride) {
        from += from_stride;
        const __m128i below = load_row<Width>(from);
        store_row<Width>(to, average<Rounding>(above, below));
        above = below;
    }
}

/// (a + b + c + d + 2 - Rounding) >> 2 out of x = (a + b + 1) >> 1 of one row and y = (c + d + 1) >> 1 of the
/// next: (x + y + 1) >> 1 is at most 1 too much. For rounding 0 it is where x + y is odd and a + b or c + d is;
/// for rounding 1 where x + y is odd or both of a + b and c + d are.
template <int Width, int Rounding>
void half_hv(uint8_t* to, ptrdiff_t to_stride, const uint8_t* from, ptrdiff_t from_stride, int rows)
{
    const __m128i one = _mm_set1_epi8(1);
    __m128i a = load_row<Width>(from);
    __m128i b = load_row<Width>(from + 1);
    __m128i above = _mm_avg_epu8(a, b);
    __m128i above_odd = _mm_xor_si128(a, b);
    for (; rows > 0; --rows, to += to_stride) {
        from += from_stride;
        a = load_row<Width>(from);
        b = load_row<Width>(from + 1);
        const __m128i below = _mm_avg_epu8(a, b);
        const __m128i below_odd = _mm_xor_si128(a, b);
        const __m128i sum_odd = _mm_xor_si128(above, below);
        const __m128i too_much = Rounding == 0 ? _mm_and_si128(_mm_or_si128(above_odd, below_odd), sum_odd)
                                               : _mm_or_si128(sum_odd, _mm_and_si128(above_odd, below_odd));
        store_row<Width>(to, _mm_sub_epi8(_mm_avg_epu8(above, below), _mm_and_si128(too_much, one)));
        above = below;
        above_odd = below_odd;
    }
}

/// The copies stay plain: the compiler makes whole moves of them.
template <int Width, int Rounding>
void fill(mpeg4_predict_fn slots[4])
{
    slots[MPEG4_HALF_H] = half_h<Width, Rounding>;
    slots[MPEG4_HALF_V] = half_v<Width, Rounding>;
    slots[MPEG4_HALF_HV] = half_hv<Width, Rounding>;
}
}  // namespace

void mpeg4_mc_fill_sse2(mpeg4_dsp_t* dsp)
{
    fill<8, 0>(dsp->predict[0][MPEG4_WIDTH_8]);
    fill<16, 0>(dsp->predict[0][MPEG4_WIDTH_16]);
    fill<8, 1>(dsp->predict[1][MPEG4_WIDTH_8]);
    fill<16, 1>(dsp->predict[1][MPEG4_WIDTH_16]);
}

#endif
