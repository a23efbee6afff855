#if defined(__x86_64__)

#include <emmintrin.h>

#include "codec/c264/c264_kernels.h"

namespace
{

__m128i load(const int16_t* from)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
}

void store(int16_t* to, __m128i values)
{
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), values);
}

void quadrant(int16_t* coeffs, const int16_t* factors)
{
    const __m128i first = load(factors);
    const __m128i second = load(factors + 8);
    for (int k = 0; k < 64; k += 16) {
        store(coeffs + k, _mm_mullo_epi16(load(coeffs + k), first));
        store(coeffs + k + 8, _mm_mullo_epi16(load(coeffs + k + 8), second));
    }
}

// (value * factor + bias) >> shift in 32 bits, for all values by the one factor that a DC row holds; `bias` and
// the factor stand in turns against the value and 1.
template <int SHIFT>
void scale8(int16_t* dc, __m128i factor_and_bias)
{
    const __m128i values = load(dc);
    const __m128i ones = _mm_set1_epi16(1);
    const __m128i low = _mm_madd_epi16(_mm_unpacklo_epi16(values, ones), factor_and_bias);
    const __m128i high = _mm_madd_epi16(_mm_unpackhi_epi16(values, ones), factor_and_bias);
    store(dc, _mm_packs_epi32(_mm_srai_epi32(low, SHIFT), _mm_srai_epi32(high, SHIFT)));
}

void luma_dc(int16_t* dc, const int16_t* factors)
{
    const __m128i factor_and_bias = _mm_unpacklo_epi16(load(factors), _mm_set1_epi16(2));
    scale8<2>(dc, factor_and_bias);
    scale8<2>(dc + 8, factor_and_bias);
}

void chroma_dc(int16_t* dc, const int16_t* factors)
{
    scale8<1>(dc, _mm_unpacklo_epi16(load(factors), _mm_setzero_si128()));
}

}  // namespace

// A single block gains nothing: the compiler makes the same of the plain loop.
void c264_dequant_fill_sse2(c264_dequant* table)
{
    table->quadrant = quadrant;
    table->luma_dc = luma_dc;
    table->chroma_dc = chroma_dc;
}

#endif
