// Kernels of the H.264 decoder that move blocks of pixels: copies, averages and the addition of flat residuals.
//
// What holds for every pixel kernel of the H.264 side, here and in the other c264_*.h:
//   * pointers need no alignment and strides may be odd or negative; blocks on 16-byte boundaries are quicker;
//   * a kernel reads the pixels that its clause names and no others, and writes its block and no others;
//   * plain kernels define the result, vector kernels give the same bytes for every input, also a damaged one;
//   * kernels keep no state, so any thread may call them at any time.
#pragma once

#include <cstddef>
#include <cstdint>

/// The prediction area of a slice has rows of this many bytes.
inline constexpr ptrdiff_t C264_PRED_STRIDE = 16;

/// Index of a kernel by the width of its block in pixels.
enum c264_width { C264_WIDTH_16, C264_WIDTH_8, C264_WIDTH_4, C264_WIDTH_2, C264_WIDTHS };

/// Writes a block of a fixed width that is made from a block of another plane.
///   to, to_stride       top-left pixel of the target and its row distance in bytes; must not overlap `from`
///   from, from_stride   the pixel of the source that belongs to the target's top-left pixel
///   rows                height of the block, 1 to 16
using c264_block_fn = void (*)(uint8_t* to, ptrdiff_t to_stride, const uint8_t* from, ptrdiff_t from_stride,
                               int rows);

/// Writes the average of two blocks, (a + b + 1) >> 1 (ITU-T H.264 8.4.2.2.1, the quarter samples). The target
/// may be one of the two sources, pixel for pixel.
using c264_average_fn = void (*)(uint8_t* to, ptrdiff_t to_stride, const uint8_t* a, ptrdiff_t a_stride,
                                 const uint8_t* b, ptrdiff_t b_stride, int rows);

/// Adds a flat residual to each of the four 4x4 blocks of an 8x8 quadrant and stores it, clipped to 0..255:
/// what the inverse transform (ITU-T H.264 8.5.12) gives for blocks that hold nothing but their first
/// coefficient.
///   pred, pred_stride   prediction; may be the target itself
///   coeffs              the coefficient area of the quadrant, four blocks of 16, of which the first values are
///                       read alone
using c264_add_flat_fn = void (*)(uint8_t* to, ptrdiff_t to_stride, const uint8_t* pred, ptrdiff_t pred_stride,
                                  const int16_t* coeffs);

struct c264_copy {
    c264_block_fn copy[C264_WIDTHS];
    c264_average_fn average[C264_WIDTHS];
    c264_add_flat_fn add_flat;
};

/// Fills every slot: plain first, then each step of `caps` (bits of codec/cpu.h) over it.
void c264_copy_init(c264_copy* table, uint32_t caps);
