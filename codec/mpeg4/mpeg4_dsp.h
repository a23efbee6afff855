// The kernel table of the MPEG-4 decoder: plain kernels, which define every result, and vector kernels over
// them as far as the processor goes.
#pragma once

#include <cstddef>
#include <cstdint>

/// Inverse transform in place: in, 64 coefficients of -2048..2047 in the order of mpeg4_coefficient_index; out,
/// 64 residuals row by row. Meets IEEE 1180. `block` is CODEC_ALIGN aligned.
using mpeg4_idct_fn = void (*)(int16_t* block);

/// Inverse transform of the same input, with the result written to 8 rows of 8 bytes, or added to them, clipped
/// to 0..255. Leaves the block all zero for the next one.
using mpeg4_idct_to_fn = void (*)(uint8_t* to, ptrdiff_t stride, int16_t* block);

/// What an mpeg4_idct_to_fn does for a block that has nothing but the coefficient `dc`.
using mpeg4_dc_to_fn = void (*)(uint8_t* to, ptrdiff_t stride, int dc);

/// Dequantisation of H.263 in place: -8192 to 8192 for `quant`, 16 bits of anything for a level; the results
/// are clipped to -2048..2047. The DC, block[0], stays as it is. Inter levels need no kernel: they are few and
/// are dequantised as they are read.
using mpeg4_dequant_fn = void (*)(int16_t* block, int quant);

/// Interpolation or copy of `rows` rows of 8 or 16 bytes. Reads one byte more of each row when it interpolates
/// horizontally, and one row more when vertically.
using mpeg4_predict_fn = void (*)(uint8_t* to, ptrdiff_t to_stride, const uint8_t* from, ptrdiff_t from_stride,
                                  int rows);

/// Ends a picture's use of the vector registers.
using mpeg4_state_clear_fn = void (*)();

enum mpeg4_width_index { MPEG4_WIDTH_8, MPEG4_WIDTH_16 };

/// Which half sample a prediction takes: bit 0 is the horizontal half, bit 1 the vertical one.
enum mpeg4_half_index { MPEG4_HALF_NONE, MPEG4_HALF_H, MPEG4_HALF_V, MPEG4_HALF_HV };

struct mpeg4_dsp_t {
    mpeg4_idct_fn idct;
    mpeg4_idct_to_fn idct_put;
    mpeg4_idct_to_fn idct_add;
    mpeg4_dc_to_fn dc_put;
    mpeg4_dc_to_fn dc_add;
    mpeg4_dequant_fn dequant_h263_intra;
    /// MPEG4_HALF_NONE is the 8-to-8 block transfer. The decoder's rounding is always 0.
    mpeg4_predict_fn predict[2 /* rounding */][2 /* mpeg4_width_index */][4 /* mpeg4_half_index */];
    mpeg4_state_clear_fn state_clear;
};

/// Fills a table for a processor with these CODEC_CAP_* bits; 0 gives the plain kernels.
void mpeg4_dsp_fill(mpeg4_dsp_t* dsp, uint32_t caps);

/// Fills the table that mpeg4_dsp() gives, once a process. `flags` 0 means to ask mpeg4_cpu_detect, anything
/// else is taken as the capability bits.
void mpeg4_dsp_init(uint32_t flags);

/// Fills that table anew for tests and benches, while no decoder is at work.
void mpeg4_dsp_refill(uint32_t caps);

/// The table of all decoders, filled by mpeg4_dsp_init.
const mpeg4_dsp_t* mpeg4_dsp();
