// The stages whose kernels make up mpeg4_dsp_t: each fills its slots, step by step.
#pragma once

#include "codec/mpeg4/mpeg4_dsp.h"

/// For the parts that vector kernels are put together from: a call would pass their registers through memory.
#define MPEG4_INLINE __attribute__((always_inline)) inline

void mpeg4_idct_fill_plain(mpeg4_dsp_t* dsp);
void mpeg4_mc_fill_plain(mpeg4_dsp_t* dsp);
void mpeg4_quant_fill_plain(mpeg4_dsp_t* dsp);

#if defined(__x86_64__)
void mpeg4_idct_fill_sse2(mpeg4_dsp_t* dsp);
void mpeg4_idct_fill_avx2(mpeg4_dsp_t* dsp);
void mpeg4_mc_fill_sse2(mpeg4_dsp_t* dsp);
void mpeg4_quant_fill_sse2(mpeg4_dsp_t* dsp);
void mpeg4_quant_fill_avx2(mpeg4_dsp_t* dsp);
#endif
