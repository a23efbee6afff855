// Intra prediction of the H.264 decoder (ITU-T H.264 8.3): one kernel for each prediction mode, and for the
// modes that average their neighbours (DC) one for each set of neighbours that is there.
//
// There are no kernels for 8x8 luma blocks: they come with the 8x8 transform, which this decoder doesn't
// decode.
#pragma once

#include <cstddef>
#include <cstdint>

/// Predicts a 16x16 luma or an 8x8 chroma block.
///   to, to_stride   target: the prediction area, or the block in the frame itself
///   at, stride      the block's top-left pixel in the frame; the row above it, the column left of it and
///                   the corner between them are read as far as the mode asks for them
using c264_intra_fn = void (*)(uint8_t* to, ptrdiff_t to_stride, const uint8_t* at, ptrdiff_t stride);

/// Predicts a 4x4 luma block in the scratch of an intra 4x4 macroblock, whose rows are C264_INTRA4_STRIDE
/// bytes. The neighbours stand around the block in the scratch: four left of it, the corner, and eight above
/// it. The last four of these count only in the two modes that slant to the left, but may be read in all.
using c264_intra4_fn = void (*)(uint8_t* block);

inline constexpr ptrdiff_t C264_INTRA4_STRIDE = 32;

/// Indexes of `luma16`: Intra16x16PredMode (Table 8-4). For DC without the left neighbours the index is 10, and
/// without those above bits 4 and 2 are set.
enum c264_luma16_mode {
    C264_LUMA16_VERTICAL = 0,
    C264_LUMA16_HORIZONTAL = 1,
    C264_LUMA16_DC = 2,
    C264_LUMA16_PLANE = 3,
    C264_LUMA16_DC_LEFT = 6,
    C264_LUMA16_DC_TOP = 10,
    C264_LUMA16_DC_128 = 14,
};

/// Indexes of `chroma8`: intra_chroma_pred_mode (Table 8-5). DC gains 8 without the left neighbours and 4
/// without those above.
enum c264_chroma8_mode {
    C264_CHROMA8_DC = 0,
    C264_CHROMA8_HORIZONTAL = 1,
    C264_CHROMA8_VERTICAL = 2,
    C264_CHROMA8_PLANE = 3,
    C264_CHROMA8_DC_LEFT = 4,
    C264_CHROMA8_DC_TOP = 8,
    C264_CHROMA8_DC_128 = 12,
};

/// Indexes of `luma4`: Intra4x4PredMode (Table 8-2), then the variants of DC.
enum c264_luma4_mode {
    C264_LUMA4_VERTICAL = 0,
    C264_LUMA4_HORIZONTAL = 1,
    C264_LUMA4_DC = 2,
    C264_LUMA4_DIAGONAL_DOWN_LEFT = 3,
    C264_LUMA4_DIAGONAL_DOWN_RIGHT = 4,
    C264_LUMA4_VERTICAL_RIGHT = 5,
    C264_LUMA4_HORIZONTAL_DOWN = 6,
    C264_LUMA4_VERTICAL_LEFT = 7,
    C264_LUMA4_HORIZONTAL_UP = 8,
    C264_LUMA4_DC_LEFT = 9,
    C264_LUMA4_DC_TOP = 10,
    C264_LUMA4_DC_128 = 11,
};

/// An index that is no mode holds the constant prediction (128), so that any four bits of damaged input can be
/// called.
struct c264_intra {
    c264_intra_fn luma16[16];
    c264_intra_fn chroma8[16];
    c264_intra4_fn luma4[16];
};

/// Fills every slot: plain first, then each step of `caps` (bits of codec/cpu.h) over it.
void c264_intra_init(c264_intra* table, uint32_t caps);
