#if defined(__x86_64__)

#include <emmintrin.h>

#include <cstring>

#include "codec/c264/c264_kernels.h"

namespace
{

__m128i load4(const int16_t* from)
{
    return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(from));
}

// Four values each of two blocks, which stand 16 apart.
__m128i load4x2(const int16_t* from)
{
    return _mm_unpacklo_epi64(load4(from), load4(from + 16));
}

// Four vectors that are transformed together: v[k] is row or column k.
struct quad {
    __m128i v[4];
};

// One pass of 8.5.12.2 across the vectors.
quad transform(const quad& d)
{
    const __m128i e0 = _mm_add_epi16(d.v[0], d.v[2]);
    const __m128i e1 = _mm_sub_epi16(d.v[0], d.v[2]);
    const __m128i e2 = _mm_sub_epi16(_mm_srai_epi16(d.v[1], 1), d.v[3]);
    const __m128i e3 = _mm_add_epi16(d.v[1], _mm_srai_epi16(d.v[3], 1));
    return {{_mm_add_epi16(e0, e3), _mm_add_epi16(e1, e2), _mm_sub_epi16(e1, e2), _mm_sub_epi16(e0, e3)}};
}

// Turns columns into rows; the four lower lanes are one block, the four upper ones another.
quad transpose(const quad& c)
{
    const __m128i low01 = _mm_unpacklo_epi16(c.v[0], c.v[1]);
    const __m128i low23 = _mm_unpacklo_epi16(c.v[2], c.v[3]);
    const __m128i high01 = _mm_unpackhi_epi16(c.v[0], c.v[1]);
    const __m128i high23 = _mm_unpackhi_epi16(c.v[2], c.v[3]);
    const __m128i low_upper = _mm_unpacklo_epi32(low01, low23);
    const __m128i low_lower = _mm_unpackhi_epi32(low01, low23);
    const __m128i high_upper = _mm_unpacklo_epi32(high01, high23);
    const __m128i high_lower = _mm_unpackhi_epi32(high01, high23);
    return {{_mm_unpacklo_epi64(low_upper, high_upper), _mm_unpackhi_epi64(low_upper, high_upper),
             _mm_unpacklo_epi64(low_lower, high_lower), _mm_unpackhi_epi64(low_lower, high_lower)}};
}

// The same for one block in the lower lanes; the upper ones hold nothing of use.
quad transpose_one(const quad& c)
{
    const __m128i low01 = _mm_unpacklo_epi16(c.v[0], c.v[1]);
    const __m128i low23 = _mm_unpacklo_epi16(c.v[2], c.v[3]);
    const __m128i upper = _mm_unpacklo_epi32(low01, low23);
    const __m128i lower = _mm_unpackhi_epi32(low01, low23);
    return {{upper, _mm_unpackhi_epi64(upper, upper), lower, _mm_unpackhi_epi64(lower, lower)}};
}

// A row of residuals, rounded and divided, added to pixels.
__m128i add_row(__m128i pixels, __m128i sums)
{
    const __m128i residual = _mm_srai_epi16(_mm_add_epi16(sums, _mm_set1_epi16(32)), 6);
    const __m128i row = _mm_add_epi16(_mm_unpacklo_epi8(pixels, _mm_setzero_si128()), residual);
    return _mm_packus_epi16(row, row);
}

void add_block(uint8_t* to, ptrdiff_t to_stride, const uint8_t* pred, ptrdiff_t pred_stride,
               const int16_t* coeffs)
{
    const quad columns = {{load4(coeffs), load4(coeffs + 4), load4(coeffs + 8), load4(coeffs + 12)}};
    const quad rows = transform(transpose_one(transform(columns)));
    for (const __m128i sums : rows.v) {
        int32_t pixels = 0;
        std::memcpy(&pixels, pred, 4);
        pixels = _mm_cvtsi128_si32(add_row(_mm_cvtsi32_si128(pixels), sums));
        std::memcpy(to, &pixels, 4);
        to += to_stride;
        pred += pred_stride;
    }
}

// Two blocks side by side.
void add_pair(uint8_t* to, ptrdiff_t to_stride, const uint8_t* pred, ptrdiff_t pred_stride,
              const int16_t* coeffs)
{
    const quad columns = {{load4x2(coeffs), load4x2(coeffs + 4), load4x2(coeffs + 8), load4x2(coeffs + 12)}};
    const quad rows = transform(transpose(transform(columns)));
    for (const __m128i sums : rows.v) {
        const __m128i pixels = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(pred));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(to), add_row(pixels, sums));
        to += to_stride;
        pred += pred_stride;
    }
}

void add_quadrant(uint8_t* to, ptrdiff_t to_stride, const uint8_t* pred, ptrdiff_t pred_stride,
                  const int16_t* coeffs)
{
    add_pair(to, to_stride, pred, pred_stride, coeffs);
    add_pair(to + 4 * to_stride, to_stride, pred + 4 * pred_stride, pred_stride, coeffs + 32);
}

// One pass of 8.5.10 across the vectors.
quad hadamard(const quad& c)
{
    const __m128i s02 = _mm_add_epi16(c.v[0], c.v[2]);
    const __m128i d02 = _mm_sub_epi16(c.v[0], c.v[2]);
    const __m128i s13 = _mm_add_epi16(c.v[1], c.v[3]);
    const __m128i d13 = _mm_sub_epi16(c.v[1], c.v[3]);
    return {
        {_mm_add_epi16(s02, s13), _mm_add_epi16(d02, d13), _mm_sub_epi16(d02, d13), _mm_sub_epi16(s02, s13)}};
}

// Down the columns, then along the rows.
void luma_dc(int16_t* dc)
{
    const quad rows = {{load4(dc), load4(dc + 4), load4(dc + 8), load4(dc + 12)}};
    const quad result = transpose_one(hadamard(transpose_one(hadamard(rows))));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dc), _mm_unpacklo_epi64(result.v[0], result.v[1]));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dc + 8), _mm_unpacklo_epi64(result.v[2], result.v[3]));
}

// Each plane is one half: neighbours in a row are added and subtracted, then the rows.
void chroma_dc(int16_t* dc)
{
    __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i*>(dc));
    const __m128i columns = _mm_setr_epi16(1, -1, 1, -1, 1, -1, 1, -1);
    __m128i swapped = _mm_shufflehi_epi16(_mm_shufflelo_epi16(c, 0xB1), 0xB1);
    c = _mm_add_epi16(_mm_mullo_epi16(c, columns), swapped);
    const __m128i rows = _mm_setr_epi16(1, 1, -1, -1, 1, 1, -1, -1);
    swapped = _mm_shuffle_epi32(c, 0xB1);
    c = _mm_add_epi16(_mm_mullo_epi16(c, rows), swapped);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dc), c);
}

}  // namespace

void c264_transform_fill_sse2(c264_transform* table)
{
    table->add_block = add_block;
    table->add_quadrant = add_quadrant;
    table->luma_dc = luma_dc;
    table->chroma_dc = chroma_dc;
}

#endif
