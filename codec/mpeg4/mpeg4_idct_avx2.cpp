#if defined(__x86_64__)

#include <immintrin.h>

#include "codec/mpeg4/mpeg4_idct.h"
#include "codec/mpeg4/mpeg4_kernels.h"

// As the SSE2 form, with all eight rows or columns in one register.

namespace
{
MPEG4_INLINE __m256i factors(int low, int high)
{
    return _mm256_set1_epi32(
        static_cast<int>(static_cast<uint32_t>(high) << 16 | (static_cast<uint32_t>(low) & 0xFFFF)));
}

/// Eight transforms side by side of the pairs (0,4), (2,6), (1,3), (5,7). out: the eight sums.
MPEG4_INLINE void transform(__m256i out[8], __m256i in04, __m256i in26, __m256i in13, __m256i in57,
                            __m256i plus4, __m256i minus4, __m256i round)
{
    const __m256i sum = _mm256_add_epi32(_mm256_madd_epi16(in04, plus4), round);
    const __m256i difference = _mm256_add_epi32(_mm256_madd_epi16(in04, minus4), round);
    const __m256i outer = _mm256_madd_epi16(in26, factors(MPEG4_COS2, MPEG4_COS6));
    const __m256i inner = _mm256_madd_epi16(in26, factors(MPEG4_COS6, -MPEG4_COS2));
    const __m256i even[4] = {_mm256_add_epi32(sum, outer), _mm256_add_epi32(difference, inner),
                             _mm256_sub_epi32(difference, inner), _mm256_sub_epi32(sum, outer)};
    const __m256i odd[4] = {
        _mm256_add_epi32(_mm256_madd_epi16(in13, factors(MPEG4_COS1, MPEG4_COS3)),
                         _mm256_madd_epi16(in57, factors(MPEG4_COS5, MPEG4_COS7))),
        _mm256_add_epi32(_mm256_madd_epi16(in13, factors(MPEG4_COS3, -MPEG4_COS7)),
                         _mm256_madd_epi16(in57, factors(-MPEG4_COS1, -MPEG4_COS5))),
        _mm256_add_epi32(_mm256_madd_epi16(in13, factors(MPEG4_COS5, -MPEG4_COS1)),
                         _mm256_madd_epi16(in57, factors(MPEG4_COS7, MPEG4_COS3))),
        _mm256_add_epi32(_mm256_madd_epi16(in13, factors(MPEG4_COS7, -MPEG4_COS5)),
                         _mm256_madd_epi16(in57, factors(MPEG4_COS3, -MPEG4_COS1))),
    };
    for (int i = 0; i < 4; ++i) {
        out[i] = _mm256_add_epi32(even[i], odd[i]);
        out[7 - i] = _mm256_sub_epi32(even[i], odd[i]);
    }
}

/// Two 32-bit lanes of `a` and two of `b` in each half.
template <int Lanes>
MPEG4_INLINE __m256i pick(__m256i a, __m256i b)
{
    return _mm256_castps_si256(_mm256_shuffle_ps(_mm256_castsi256_ps(a), _mm256_castsi256_ps(b), Lanes));
}

/// out: the eight rows of residuals, two to a register: columns 0 to 3 of both in its low half, 4 to 7 in its
/// high.
MPEG4_INLINE void transform_block(__m256i out[4], const int16_t* block)
{
    // no loop over an array: the compiler would copy it through memory
    const __m256i* const pairs = reinterpret_cast<const __m256i*>(block);
    const __m256i in04 = _mm256_load_si256(pairs);
    const __m256i in26 = _mm256_load_si256(pairs + 1);
    const __m256i in13 = _mm256_load_si256(pairs + 2);
    const __m256i in57 = _mm256_load_si256(pairs + 3);
    const __m256i others = _mm256_or_si256(
        _mm256_or_si256(_mm256_and_si256(in04, _mm256_set1_epi32(static_cast<int>(0xFFFF0000))), in26),
        _mm256_or_si256(in13, in57));
    const __m256i raise = _mm256_srli_epi32(_mm256_cmpeq_epi32(others, _mm256_setzero_si256()), 31);
    __m256i sums[8];
    transform(sums, in04, in26, in13, in57, _mm256_add_epi32(factors(MPEG4_COS4, MPEG4_COS4), raise),
              _mm256_add_epi32(factors(MPEG4_COS4, -MPEG4_COS4), raise), _mm256_set1_epi32(MPEG4_IDCT_ROUND1));

    // two columns to a register: of each the pairs of rows (0,4), (2,6) in the low half, (1,3), (5,7) in the
    // high
    __m256i two[4];
    for (int i = 0; i < 4; ++i)
        two[i] = _mm256_packs_epi32(_mm256_srai_epi32(sums[2 * i], MPEG4_IDCT_SHIFT1),
                                    _mm256_srai_epi32(sums[2 * i + 1], MPEG4_IDCT_SHIFT1));
    const __m256i left_even = pick<_MM_SHUFFLE(2, 0, 2, 0)>(two[0], two[1]);
    const __m256i left_odd = pick<_MM_SHUFFLE(3, 1, 3, 1)>(two[0], two[1]);
    const __m256i right_even = pick<_MM_SHUFFLE(2, 0, 2, 0)>(two[2], two[3]);
    const __m256i right_odd = pick<_MM_SHUFFLE(3, 1, 3, 1)>(two[2], two[3]);
    transform(sums, _mm256_permute2x128_si256(left_even, right_even, 0x20),
              _mm256_permute2x128_si256(left_odd, right_odd, 0x20),
              _mm256_permute2x128_si256(left_even, right_even, 0x31),
              _mm256_permute2x128_si256(left_odd, right_odd, 0x31), factors(MPEG4_COS4, MPEG4_COS4),
              factors(MPEG4_COS4, -MPEG4_COS4), _mm256_set1_epi32(MPEG4_IDCT_ROUND2));
    for (int i = 0; i < 4; ++i)
        out[i] = _mm256_packs_epi32(_mm256_srai_epi32(sums[2 * i], MPEG4_IDCT_SHIFT2),
                                    _mm256_srai_epi32(sums[2 * i + 1], MPEG4_IDCT_SHIFT2));
}

MPEG4_INLINE void clear(int16_t* block)
{
    for (int i = 0; i < 4; ++i)
        _mm256_store_si256(reinterpret_cast<__m256i*>(block) + i, _mm256_setzero_si256());
}

/// Clips and stores the four rows of two registers of transform_block.
MPEG4_INLINE void store_rows(uint8_t* to, ptrdiff_t stride, __m256i first, __m256i second)
{
    const __m256i bytes = _mm256_packus_epi16(first, second);
    const __m128i left = _mm256_castsi256_si128(bytes);
    const __m128i right = _mm256_extracti128_si256(bytes, 1);
    const __m128i upper = _mm_unpacklo_epi32(left, right);
    const __m128i lower = _mm_unpackhi_epi32(left, right);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(to), upper);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(to + stride), _mm_unpackhi_epi64(upper, upper));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(to + 2 * stride), lower);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(to + 3 * stride), _mm_unpackhi_epi64(lower, lower));
}

/// Two rows of samples in the order of transform_block's registers.
MPEG4_INLINE __m256i load_rows(const uint8_t* from, ptrdiff_t stride)
{
    return _mm256_cvtepu8_epi16(
        _mm_unpacklo_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(from)),
                           _mm_loadl_epi64(reinterpret_cast<const __m128i*>(from + stride))));
}

void idct(int16_t* block)
{
    __m256i rows[4];
    transform_block(rows, block);
    for (int i = 0; i < 4; ++i)
        _mm256_store_si256(reinterpret_cast<__m256i*>(block) + i,
                           _mm256_permute4x64_epi64(rows[i], _MM_SHUFFLE(3, 1, 2, 0)));
}

void idct_put(uint8_t* to, ptrdiff_t stride, int16_t* block)
{
    __m256i rows[4];
    transform_block(rows, block);
    clear(block);
    store_rows(to, stride, rows[0], rows[1]);
    store_rows(to + 4 * stride, stride, rows[2], rows[3]);
}

void idct_add(uint8_t* to, ptrdiff_t stride, int16_t* block)
{
    __m256i rows[4];
    transform_block(rows, block);
    clear(block);
    for (int i = 0; i < 4; ++i)
        rows[i] = _mm256_add_epi16(rows[i], load_rows(to + 2 * i * stride, stride));
    store_rows(to, stride, rows[0], rows[1]);
    store_rows(to + 4 * stride, stride, rows[2], rows[3]);
}
}  // namespace

void mpeg4_idct_fill_avx2(mpeg4_dsp_t* dsp)
{
    dsp->idct = idct;
    dsp->idct_put = idct_put;
    dsp->idct_add = idct_add;
}

#endif
