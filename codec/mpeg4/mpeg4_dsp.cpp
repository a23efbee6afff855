#include "codec/mpeg4/mpeg4_dsp.h"

#include <mutex>

#include "codec/convert/convert.h"
#include "codec/cpu.h"
#include "codec/mpeg4/mpeg4_kernels.h"

namespace
{
mpeg4_dsp_t g_dsp;

void state_clear_plain() {}

#if defined(__x86_64__)
void state_clear_mmx()
{
    __builtin_ia32_emms();
}
#endif
}  // namespace

void mpeg4_dsp_fill(mpeg4_dsp_t* dsp, [[maybe_unused]] uint32_t caps)
{
    dsp->state_clear = state_clear_plain;
    mpeg4_idct_fill_plain(dsp);
    mpeg4_mc_fill_plain(dsp);
    mpeg4_quant_fill_plain(dsp);
#if defined(__x86_64__)
    if (caps & CODEC_CAP_MMX) dsp->state_clear = state_clear_mmx;
    if (!(caps & CODEC_CAP_SSE2)) return;
    mpeg4_idct_fill_sse2(dsp);
    mpeg4_mc_fill_sse2(dsp);
    mpeg4_quant_fill_sse2(dsp);
    if (!(caps & CODEC_CAP_AVX2)) return;
    mpeg4_idct_fill_avx2(dsp);
    mpeg4_quant_fill_avx2(dsp);
#endif
}

void mpeg4_dsp_init(uint32_t flags)
{
    static std::once_flag once;
    std::call_once(once, [flags] {
        const uint32_t caps = flags ? flags : mpeg4_cpu_detect(nullptr);
        mpeg4_dsp_fill(&g_dsp, caps);
        // The conversion slots are shared with the H.264 side, whose later call overwrites them.
        convert_dsp_init(caps);
    });
}

void mpeg4_dsp_refill(uint32_t caps)
{
    mpeg4_dsp_fill(&g_dsp, caps);
}

const mpeg4_dsp_t* mpeg4_dsp()
{
    return &g_dsp;
}
