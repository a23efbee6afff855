// The vector steps of the H.264 kernel families: each overwrites the slots that it improves. They stand in the
// files whose names end in the step, which alone are compiled with its instructions, so a step must not be
// called on a processor without them.
#pragma once

#include "codec/c264/c264_copy.h"
#include "codec/c264/c264_deblock.h"
#include "codec/c264/c264_dequant.h"
#include "codec/c264/c264_intra.h"
#include "codec/c264/c264_mc.h"
#include "codec/c264/c264_transform.h"
#include "codec/cpu.h"

#if defined(__x86_64__)
void c264_intra_fill_sse2(c264_intra* table);

void c264_transform_fill_sse2(c264_transform* table);
void c264_transform_fill_avx2(c264_transform* table);

void c264_deblock_fill_sse2(c264_deblock* table);

void c264_copy_fill_sse2(c264_copy* table);

void c264_dequant_fill_sse2(c264_dequant* table);

void c264_mc_fill_sse2(c264_mc* table);
void c264_mc_fill_ssse3(c264_mc* table);
void c264_mc_fill_avx2(c264_mc* table);
#endif
