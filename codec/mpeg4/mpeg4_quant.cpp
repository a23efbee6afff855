#include "codec/mpeg4/mpeg4_quant.h"

#include "codec/mpeg4/mpeg4_kernels.h"

namespace
{
void dequant_h263_intra(int16_t* block, int quant)
{
    for (int i = 1; i < 64; ++i)
        block[i] = mpeg4_dequantise(block[i], quant);
}
}  // namespace

void mpeg4_quant_fill_plain(mpeg4_dsp_t* dsp)
{
    dsp->dequant_h263_intra = dequant_h263_intra;
}
