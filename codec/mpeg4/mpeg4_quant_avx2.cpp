#if defined(__x86_64__)

#include <immintrin.h>

#include "codec/mpeg4/mpeg4_kernels.h"
#include "codec/mpeg4/mpeg4_quant.h"

namespace
{
void dequant_h263_intra(int16_t* block, int quant)
{
    const int16_t dc = block[0];
    // level x 2 quant + sign x offset is one multiply-and-add of 16-bit pairs
    const __m256i factors =
        _mm256_unpacklo_epi16(_mm256_set1_epi16(static_cast<int16_t>(2 * quant)),
                              _mm256_set1_epi16(static_cast<int16_t>(mpeg4_dequant_offset(quant))));
    for (int i = 0; i < 4; ++i) {
        __m256i* const at = reinterpret_cast<__m256i*>(block) + i;
        const __m256i level = _mm256_load_si256(at);
        const __m256i sign =
            _mm256_sub_epi16(_mm256_srai_epi16(level, 15), _mm256_cmpgt_epi16(level, _mm256_setzero_si256()));
        const __m256i value =
            _mm256_packs_epi32(_mm256_madd_epi16(_mm256_unpacklo_epi16(level, sign), factors),
                               _mm256_madd_epi16(_mm256_unpackhi_epi16(level, sign), factors));
        _mm256_store_si256(
            at, _mm256_max_epi16(_mm256_min_epi16(value, _mm256_set1_epi16(2047)), _mm256_set1_epi16(-2048)));
    }
    block[0] = dc;
}
}  // namespace

void mpeg4_quant_fill_avx2(mpeg4_dsp_t* dsp)
{
    dsp->dequant_h263_intra = dequant_h263_intra;
}

#endif
