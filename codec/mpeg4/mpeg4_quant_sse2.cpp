#if defined(__x86_64__)

#include <emmintrin.h>

#include "codec/mpeg4/mpeg4_kernels.h"
#include "codec/mpeg4/mpeg4_quant.h"

namespace
{
void dequant_h263_intra(int16_t* block, int quant)
{
    const int16_t dc = block[0];
    // level x 2 quant + sign x offset is one multiply-and-add of 16-bit pairs
    const __m128i factors =
        _mm_unpacklo_epi16(_mm_set1_epi16(static_cast<int16_t>(2 * quant)),
                           _mm_set1_epi16(static_cast<int16_t>(mpeg4_dequant_offset(quant))));
    for (int i = 0; i < 8; ++i) {
        __m128i* const at = reinterpret_cast<__m128i*>(block) + i;
        const __m128i level = _mm_load_si128(at);
        const __m128i sign =
            _mm_sub_epi16(_mm_srai_epi16(level, 15), _mm_cmpgt_epi16(level, _mm_setzero_si128()));
        const __m128i value = _mm_packs_epi32(_mm_madd_epi16(_mm_unpacklo_epi16(level, sign), factors),
                                              _mm_madd_epi16(_mm_unpackhi_epi16(level, sign), factors));
        _mm_store_si128(at, _mm_max_epi16(_mm_min_epi16(value, _mm_set1_epi16(2047)), _mm_set1_epi16(-2048)));
    }
    block[0] = dc;
}
}  // namespace

void mpeg4_quant_fill_sse2(mpeg4_dsp_t* dsp)
{
    dsp->dequant_h263_intra = dequant_h263_intra;
}

#endif
