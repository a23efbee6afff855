// H.263 dequantisation, ISO/IEC 14496-2 clause 7.4.4.2.
#include <algorithm>

#include "codec/mpeg4_kernels.h"

namespace
{
int16_t dequantise(int level, int quant)
{
    if (level == 0) return 0;
    const int offset = quant & 1 ? quant : quant - 1;
    const int value = 2 * quant * level + (level < 0 ? -offset : offset);
    return static_cast<int16_t>(std::clamp(value, -2048, 2047));
}

void dequant_inter(int16_t* block, int quant)
{
    for (int i = 0; i < 64; ++i)
        block[i] = dequantise(block[i], quant);
}

void dequant_intra(int16_t* block, int quant)
{
    for (int i = 1; i < 64; ++i)
        block[i] = dequantise(block[i], quant);
}
}  // namespace

void mpeg4_quant_fill_plain(mpeg4_dsp_t* dsp)
{
    dsp->dequant_h263_intra = dequant_intra;
    dsp->dequant_h263_inter = dequant_inter;
}
