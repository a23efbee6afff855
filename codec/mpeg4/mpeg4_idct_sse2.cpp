#if defined(__x86_64__)

#include <emmintrin.h>

#include "codec/mpeg4/mpeg4_idct.h"
#include "codec/mpeg4/mpeg4_kernels.h"

// The coefficients lie so that each 32-bit lane has the pair of columns that one multiply-and-add takes
// together, and each register four rows. Between the passes the lanes change places, and the second pass is the
// first one again over columns.

namespace
{
/// Two 16-bit factors for the two halves of every 32-bit lane.
MPEG4_INLINE __m128i factors(int low, int high)
{
    return _mm_set1_epi32(
        static_cast<int>(static_cast<uint32_t>(high) << 16 | (static_cast<uint32_t>(low) & 0xFFFF)));
}

/// Four transforms side by side of the pairs (0,4), (2,6), (1,3), (5,7). out: the eight sums.
MPEG4_INLINE void transform(__m128i out[8], __m128i in04, __m128i in26, __m128i in13, __m128i in57,
                            __m128i plus4, __m128i minus4, __m128i round)
{
    const __m128i sum = _mm_add_epi32(_mm_madd_epi16(in04, plus4), round);
    const __m128i difference = _mm_add_epi32(_mm_madd_epi16(in04, minus4), round);
    const __m128i outer = _mm_madd_epi16(in26, factors(MPEG4_COS2, MPEG4_COS6));
    const __m128i inner = _mm_madd_epi16(in26, factors(MPEG4_COS6, -MPEG4_COS2));
    const __m128i even[4] = {_mm_add_epi32(sum, outer), _mm_add_epi32(difference, inner),
                             _mm_sub_epi32(difference, inner), _mm_sub_epi32(sum, outer)};
    const __m128i odd[4] = {
        _mm_add_epi32(_mm_madd_epi16(in13, factors(MPEG4_COS1, MPEG4_COS3)),
                      _mm_madd_epi16(in57, factors(MPEG4_COS5, MPEG4_COS7))),
        _mm_add_epi32(_mm_madd_epi16(in13, factors(MPEG4_COS3, -MPEG4_COS7)),
                      _mm_madd_epi16(in57, factors(-MPEG4_COS1, -MPEG4_COS5))),
        _mm_add_epi32(_mm_madd_epi16(in13, factors(MPEG4_COS5, -MPEG4_COS1)),
                      _mm_madd_epi16(in57, factors(MPEG4_COS7, MPEG4_COS3))),
        _mm_add_epi32(_mm_madd_epi16(in13, factors(MPEG4_COS7, -MPEG4_COS5)),
                      _mm_madd_epi16(in57, factors(MPEG4_COS3, -MPEG4_COS1))),
    };
    for (int i = 0; i < 4; ++i) {
        out[i] = _mm_add_epi32(even[i], odd[i]);
        out[7 - i] = _mm_sub_epi32(even[i], odd[i]);
    }
}

/// The first pass for four rows: as transform, with the fourth cosine raised by 1 in rows that have nothing but
/// their first coefficient.
MPEG4_INLINE void transform_rows(__m128i out[8], const int16_t* block)
{
    // no loop over an array: the compiler would copy it through memory
    const __m128i* const pairs = reinterpret_cast<const __m128i*>(block);
    const __m128i in04 = _mm_load_si128(pairs);
    const __m128i in26 = _mm_load_si128(pairs + 2);
    const __m128i in13 = _mm_load_si128(pairs + 4);
    const __m128i in57 = _mm_load_si128(pairs + 6);
    const __m128i others =
        _mm_or_si128(_mm_or_si128(_mm_and_si128(in04, _mm_set1_epi32(static_cast<int>(0xFFFF0000))), in26),
                     _mm_or_si128(in13, in57));
    const __m128i raise = _mm_srli_epi32(_mm_cmpeq_epi32(others, _mm_setzero_si128()), 31);
    transform(out, in04, in26, in13, in57, _mm_add_epi32(factors(MPEG4_COS4, MPEG4_COS4), raise),
              _mm_add_epi32(factors(MPEG4_COS4, -MPEG4_COS4), raise), _mm_set1_epi32(MPEG4_IDCT_ROUND1));
}

/// out: the eight rows of residuals.
MPEG4_INLINE void transform_block(__m128i out[8], const int16_t* block)
{
    __m128i low[8];
    __m128i high[8];
    transform_rows(low, block);
    transform_rows(high, block + 8);
    // now a register is a column, and its lanes are the pairs of rows (0,4), (2,6), (1,3), (5,7)
    __m128i column[8];
    for (int i = 0; i < 8; ++i)
        column[i] = _mm_packs_epi32(_mm_srai_epi32(low[i], MPEG4_IDCT_SHIFT1),
                                    _mm_srai_epi32(high[i], MPEG4_IDCT_SHIFT1));

    __m128i sums[2][8];
    for (int half = 0; half < 2; ++half) {
        const __m128i* const c = column + half * 4;
        const __m128i first = _mm_unpacklo_epi32(c[0], c[1]);
        const __m128i second = _mm_unpacklo_epi32(c[2], c[3]);
        const __m128i third = _mm_unpackhi_epi32(c[0], c[1]);
        const __m128i fourth = _mm_unpackhi_epi32(c[2], c[3]);
        transform(sums[half], _mm_unpacklo_epi64(first, second), _mm_unpackhi_epi64(first, second),
                  _mm_unpacklo_epi64(third, fourth), _mm_unpackhi_epi64(third, fourth),
                  factors(MPEG4_COS4, MPEG4_COS4), factors(MPEG4_COS4, -MPEG4_COS4),
                  _mm_set1_epi32(MPEG4_IDCT_ROUND2));
    }
    for (int i = 0; i < 8; ++i)
        out[i] = _mm_packs_epi32(_mm_srai_epi32(sums[0][i], MPEG4_IDCT_SHIFT2),
                                 _mm_srai_epi32(sums[1][i], MPEG4_IDCT_SHIFT2));
}

MPEG4_INLINE void clear(int16_t* block)
{
    for (int i = 0; i < 8; ++i)
        _mm_store_si128(reinterpret_cast<__m128i*>(block) + i, _mm_setzero_si128());
}

void idct(int16_t* block)
{
    __m128i rows[8];
    transform_block(rows, block);
    for (int i = 0; i < 8; ++i)
        _mm_store_si128(reinterpret_cast<__m128i*>(block) + i, rows[i]);
}

void idct_put(uint8_t* to, ptrdiff_t stride, int16_t* block)
{
    __m128i rows[8];
    transform_block(rows, block);
    for (int i = 0; i < 8; ++i, to += stride)
        _mm_storel_epi64(reinterpret_cast<__m128i*>(to), _mm_packus_epi16(rows[i], rows[i]));
    clear(block);
}

void idct_add(uint8_t* to, ptrdiff_t stride, int16_t* block)
{
    __m128i rows[8];
    transform_block(rows, block);
    for (int i = 0; i < 8; ++i, to += stride) {
        const __m128i there = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(to));
        const __m128i sum = _mm_add_epi16(_mm_unpacklo_epi8(there, _mm_setzero_si128()), rows[i]);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(to), _mm_packus_epi16(sum, sum));
    }
    clear(block);
}

void dc_add(uint8_t* to, ptrdiff_t stride, int dc)
{
    const int value = mpeg4_idct_dc(dc);
    const __m128i more = _mm_set1_epi8(static_cast<char>(value > 255 ? 255 : value > 0 ? value : 0));
    const __m128i less = _mm_set1_epi8(static_cast<char>(value < -255 ? 255 : value < 0 ? -value : 0));
    for (int i = 0; i < 8; ++i, to += stride) {
        const __m128i there = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(to));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(to), _mm_subs_epu8(_mm_adds_epu8(there, more), less));
    }
}
}  // namespace

void mpeg4_idct_fill_sse2(mpeg4_dsp_t* dsp)
{
    dsp->idct = idct;
    dsp->idct_put = idct_put;
    dsp->idct_add = idct_add;
    dsp->dc_add = dc_add;
}

#endif
