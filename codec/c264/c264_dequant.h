// Scaling of coefficients in the H.264 decoder (ITU-T H.264 8.5.9, 8.5.10, 8.5.11.2, 8.5.12.1), with flat
// matrices.
#pragma once

#include <array>
#include <cstdint>

/// Factors of one quantiser in the order of a block of coefficients.
struct alignas(32) c264_scale_row {
    int16_t factor[16];
};

/// Factors by quantiser, qP 0 to 51: normAdjust4x4(qP % 6, i, j) << (qP / 6) (8.5.9). LevelScale4x4 is sixteen
/// times that; the sixteen would not fit the 16 bits of an entry from qP 36 on, and cancels against the shifts
/// of the clauses, whose values result exactly. The DC variant holds the factor of position (0, 0) sixteen
/// times.
extern const std::array<c264_scale_row, 52> C264_SCALE;
extern const std::array<c264_scale_row, 52> C264_SCALE_DC;

/// Scales coefficients in place with the row of C264_SCALE for the block's quantiser (8.5.12.1): every value
/// becomes value * factor, 16 bits of it (a conforming stream needs no more). A first coefficient that comes
/// from the DC transform is put into its place afterwards.
///   coeffs   one block of 16 or a quadrant of four
using c264_dequant_fn = void (*)(int16_t* coeffs, const int16_t* factors);

/// Scales transformed DC values in place with the row of C264_SCALE_DC for the quantiser; results beyond 16
/// bits are clipped.
///   dc   sixteen luma values, (value * factor + 2) >> 2 (8.5.10), or
///        eight of chroma, (value * factor) >> 1 (8.5.11.2)
using c264_dequant_dc_fn = void (*)(int16_t* dc, const int16_t* factors);

struct c264_dequant {
    c264_dequant_fn block;
    c264_dequant_fn quadrant;
    c264_dequant_dc_fn luma_dc;
    c264_dequant_dc_fn chroma_dc;
};

/// Fills every slot: plain first, then each step of `caps` (bits of codec/cpu.h) over it.
void c264_dequant_init(c264_dequant* table, uint32_t caps);
