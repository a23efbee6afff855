#if defined(__x86_64__)

#include <emmintrin.h>

#include "codec/c264/c264_kernels.h"
#include "codec/sse2_rows.h"

namespace
{

template <int WIDTH>
void average(uint8_t* to, ptrdiff_t to_stride, const uint8_t* a, ptrdiff_t a_stride, const uint8_t* b,
             ptrdiff_t b_stride, int rows)
{
    for (int y = 0; y < rows; ++y) {
        store_row<WIDTH>(to, _mm_avg_epu8(load_row<WIDTH>(a), load_row<WIDTH>(b)));
        to += to_stride;
        a += a_stride;
        b += b_stride;
    }
}

// Four rows with the residuals of two blocks side by side. What is added and what is taken away are kept apart,
// so that pixels stay bytes and saturate at both ends.
void add_flat_rows(uint8_t* to, ptrdiff_t to_stride, const uint8_t* pred, ptrdiff_t pred_stride,
                   const int16_t* coeffs)
{
    const __m128i pair = _mm_unpacklo_epi64(_mm_set1_epi16(coeffs[0]), _mm_set1_epi16(coeffs[16]));
    const __m128i residual = _mm_srai_epi16(_mm_add_epi16(pair, _mm_set1_epi16(32)), 6);
    const __m128i more = _mm_packus_epi16(residual, residual);
    const __m128i negative = _mm_sub_epi16(_mm_setzero_si128(), residual);
    const __m128i less = _mm_packus_epi16(negative, negative);
    for (int y = 0; y < 4; ++y) {
        store_row<8>(to, _mm_subs_epu8(_mm_adds_epu8(load_row<8>(pred), more), less));
        to += to_stride;
        pred += pred_stride;
    }
}

void add_flat(uint8_t* to, ptrdiff_t to_stride, const uint8_t* pred, ptrdiff_t pred_stride,
              const int16_t* coeffs)
{
    add_flat_rows(to, to_stride, pred, pred_stride, coeffs);
    add_flat_rows(to + 4 * to_stride, to_stride, pred + 4 * pred_stride, pred_stride, coeffs + 32);
}

}  // namespace

// The copies have no vector form of their own: a plain one moves a row by one load and one store already.
void c264_copy_fill_sse2(c264_copy* table)
{
    table->average[C264_WIDTH_16] = average<16>;
    table->average[C264_WIDTH_8] = average<8>;
    table->average[C264_WIDTH_4] = average<4>;
    table->add_flat = add_flat;
}

#endif
