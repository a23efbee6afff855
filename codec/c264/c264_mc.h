// Motion compensation of the H.264 decoder: fractional sample interpolation (ITU-T H.264 8.4.2.2).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "codec/c264/c264_copy.h"

/// Interpolates chroma in eighths of a sample (8.4.2.2.2). Reads one column right of the block when there is a
/// horizontal fraction and one row below it when there is a vertical one.
///   to, to_stride, from, from_stride, rows   as for c264_block_fn; `from` is at the integer part of the vector
///   index                                    (vector y & 7) * 8 + (vector x & 7)
using c264_chroma_fn = void (*)(uint8_t* to, ptrdiff_t to_stride, const uint8_t* from, ptrdiff_t from_stride,
                                int rows, int index);

/// Weights of the four neighbours of a chroma sample by index: A (at the place itself), B (right), C (below), D
/// (right and below), 64 in all.
struct c264_chroma_weights {
    uint8_t weight[4];
};
extern const std::array<c264_chroma_weights, 64> C264_CHROMA_WEIGHTS;

struct c264_mc {
    /// Luma in quarters of a sample (8.4.2.2.1) by c264_width 16, 8, 4 and by
    /// (vector y & 3) * 4 + (vector x & 3). The block's surroundings are read as far as the six taps reach: two
    /// columns left and three right of it with a horizontal fraction, two rows above and three below with a
    /// vertical one.
    c264_block_fn luma[3][16];
    /// Chroma by block width 8, 4, 2: the first is for c264_width C264_WIDTH_8.
    c264_chroma_fn chroma[3];
};

/// Fills every slot: plain first, then each step of `caps` (bits of codec/cpu.h) over it.
///   copies   the filled kernels of c264_copy, which serve the positions without a fraction
void c264_mc_init(c264_mc* table, const c264_copy& copies, uint32_t caps);
