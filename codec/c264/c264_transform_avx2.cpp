#if defined(__x86_64__)

#include <immintrin.h>

#include "codec/c264/c264_kernels.h"

namespace
{

// Four vectors that are transformed together: v[k] is row or column k of all four blocks of a quadrant, the
// upper two blocks in the lower half.
struct quad {
    __m256i v[4];
};

// One pass of 8.5.12.2 across the vectors.
quad transform(const quad& d)
{
    const __m256i e0 = _mm256_add_epi16(d.v[0], d.v[2]);
    const __m256i e1 = _mm256_sub_epi16(d.v[0], d.v[2]);
    const __m256i e2 = _mm256_sub_epi16(_mm256_srai_epi16(d.v[1], 1), d.v[3]);
    const __m256i e3 = _mm256_add_epi16(d.v[1], _mm256_srai_epi16(d.v[3], 1));
    return {{_mm256_add_epi16(e0, e3), _mm256_add_epi16(e1, e2), _mm256_sub_epi16(e1, e2),
             _mm256_sub_epi16(e0, e3)}};
}

// Turns columns into rows.
quad transpose(const quad& c)
{
    const __m256i left01 = _mm256_unpacklo_epi16(c.v[0], c.v[1]);
    const __m256i left23 = _mm256_unpacklo_epi16(c.v[2], c.v[3]);
    const __m256i right01 = _mm256_unpackhi_epi16(c.v[0], c.v[1]);
    const __m256i right23 = _mm256_unpackhi_epi16(c.v[2], c.v[3]);
    const __m256i left_upper = _mm256_unpacklo_epi32(left01, left23);
    const __m256i left_lower = _mm256_unpackhi_epi32(left01, left23);
    const __m256i right_upper = _mm256_unpacklo_epi32(right01, right23);
    const __m256i right_lower = _mm256_unpackhi_epi32(right01, right23);
    return {{_mm256_unpacklo_epi64(left_upper, right_upper), _mm256_unpackhi_epi64(left_upper, right_upper),
             _mm256_unpacklo_epi64(left_lower, right_lower), _mm256_unpackhi_epi64(left_lower, right_lower)}};
}

// The columns of four blocks, each of which holds two columns in either half.
quad load_columns(const int16_t* coeffs)
{
    const auto* const blocks = reinterpret_cast<const __m256i*>(coeffs);
    const __m256i b0 = _mm256_loadu_si256(blocks);
    const __m256i b1 = _mm256_loadu_si256(blocks + 1);
    const __m256i b2 = _mm256_loadu_si256(blocks + 2);
    const __m256i b3 = _mm256_loadu_si256(blocks + 3);
    const __m256i upper02 = _mm256_unpacklo_epi64(b0, b1);
    const __m256i upper13 = _mm256_unpackhi_epi64(b0, b1);
    const __m256i lower02 = _mm256_unpacklo_epi64(b2, b3);
    const __m256i lower13 = _mm256_unpackhi_epi64(b2, b3);
    return {
        {_mm256_permute2x128_si256(upper02, lower02, 0x20), _mm256_permute2x128_si256(upper13, lower13, 0x20),
         _mm256_permute2x128_si256(upper02, lower02, 0x31), _mm256_permute2x128_si256(upper13, lower13, 0x31)}};
}

// Eight pixels of a row and of the row four below it.
__m256i load_rows(const uint8_t* from, ptrdiff_t stride)
{
    const __m128i upper = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(from));
    const __m128i lower = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(from + 4 * stride));
    return _mm256_cvtepu8_epi16(_mm_unpacklo_epi64(upper, lower));
}

__m256i add_residual(__m256i pixels, __m256i sums)
{
    return _mm256_add_epi16(pixels, _mm256_srai_epi16(_mm256_add_epi16(sums, _mm256_set1_epi16(32)), 6));
}

// Eight pixels each of a row and of the one below it.
void store_rows(uint8_t* to, ptrdiff_t stride, __m128i two_rows)
{
    _mm_storel_epi64(reinterpret_cast<__m128i*>(to), two_rows);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(to + stride), _mm_unpackhi_epi64(two_rows, two_rows));
}

void add_quadrant(uint8_t* to, ptrdiff_t to_stride, const uint8_t* pred, ptrdiff_t pred_stride,
                  const int16_t* coeffs)
{
    const quad rows = transform(transpose(transform(load_columns(coeffs))));
    const __m256i row0 = add_residual(load_rows(pred, pred_stride), rows.v[0]);
    const __m256i row1 = add_residual(load_rows(pred + pred_stride, pred_stride), rows.v[1]);
    const __m256i row2 = add_residual(load_rows(pred + 2 * pred_stride, pred_stride), rows.v[2]);
    const __m256i row3 = add_residual(load_rows(pred + 3 * pred_stride, pred_stride), rows.v[3]);
    const __m256i rows01 = _mm256_packus_epi16(row0, row1);
    const __m256i rows23 = _mm256_packus_epi16(row2, row3);
    store_rows(to, to_stride, _mm256_castsi256_si128(rows01));
    store_rows(to + 2 * to_stride, to_stride, _mm256_castsi256_si128(rows23));
    store_rows(to + 4 * to_stride, to_stride, _mm256_extracti128_si256(rows01, 1));
    store_rows(to + 6 * to_stride, to_stride, _mm256_extracti128_si256(rows23, 1));
}

}  // namespace

void c264_transform_fill_avx2(c264_transform* table)
{
    table->add_quadrant = add_quadrant;
}

#endif
