// Inverse transforms of the H.264 decoder (ITU-T H.264 8.5.10 to 8.5.12 and 8.5.14).
//
// A 4x4 block of coefficients is sixteen 16-bit values that stand column by column: the coefficient of row i,
// column j (c_ij of the clauses) is at 4 * j + i, so that the first, horizontal pass works across whole
// vectors. C264_SCAN takes the parser there. An 8x8 quadrant is four such blocks: top left, top right, bottom
// left, bottom right.
//
// Intermediate values are 16 bits wide and wrap around; a conforming stream never gets there (8.5.12.2).
// The 8x8 transform has no kernel: no path of this decoder asks for it.
#pragma once

#include <cstddef>
#include <cstdint>

/// Place in a block of the k-th coefficient in decoding order (Table 8-12, zig-zag scan).
inline constexpr uint8_t C264_SCAN[16] = {0, 4, 1, 2, 5, 8, 12, 9, 6, 3, 7, 10, 13, 14, 11, 15};

/// Transforms scaled coefficients, adds the residual to the prediction and stores it, clipped to 0..255
/// (8.5.12.2, 8.5.14).
///   to, to_stride       target
///   pred, pred_stride   prediction; may be the target itself
///   coeffs              one block or four, left as they are
using c264_add_fn = void (*)(uint8_t* to, ptrdiff_t to_stride, const uint8_t* pred, ptrdiff_t pred_stride,
                             const int16_t* coeffs);

/// Transforms DC values in place.
///   dc   sixteen values of the luma blocks of a macroblock as a 4x4 matrix, by rows or by columns alike
///        (8.5.10), or
///        eight of chroma: four of U by rows, then four of V (8.5.11.1)
using c264_dc_fn = void (*)(int16_t* dc);

struct c264_transform {
    c264_add_fn add_block;     // 4x4 pixels
    c264_add_fn add_quadrant;  // 8x8 pixels
    c264_dc_fn luma_dc;
    c264_dc_fn chroma_dc;
};

/// Fills every slot: plain first, then each step of `caps` (bits of codec/cpu.h) over it.
void c264_transform_init(c264_transform* table, uint32_t caps);
