// Deblocking filter of the H.264 decoder: the filtering of one edge (ITU-T H.264 8.7.2.3, 8.7.2.4) and its
// tables. Which edges are filtered, and how strongly, is the decoder's affair.
#pragma once

#include <cstddef>
#include <cstdint>

enum c264_plane { C264_LUMA, C264_CHROMA };

/// An edge is vertical when it separates columns.
enum c264_direction { C264_VERTICAL, C264_HORIZONTAL };

enum c264_deblock_kind {
    C264_NORMAL,   // strengths 0 to 3, one for each quarter of the edge
    C264_STRONG,   // strength 4
    C264_UNIFORM,  // one strength 1 to 3 for the whole edge: the inner edges of intra macroblocks
    C264_DEBLOCK_KINDS
};

/// Filters one edge of a macroblock in place: 16 pixels of luma or 8 of chroma along the edge. Luma reads four
/// pixels on each side and changes up to two (normal, uniform) or three (strong); chroma reads two and changes
/// one.
///   edge          the first pixel past the edge, q0 of the clauses: leftmost or topmost of the block
///   stride        distance of rows in bytes
///   alpha, beta   thresholds of Table 8-16, alpha 0 to 255, beta 0 to 18; with 0 nothing changes
///   tc0           clip values of Table 8-17. Normal: four, -1 for a quarter that isn't filtered. Uniform:
///                 only the first, 0 or more. Strong: not read, may be null
using c264_deblock_fn = void (*)(uint8_t* edge, ptrdiff_t stride, int alpha, int beta, const int8_t* tc0);

struct c264_deblock {
    c264_deblock_fn edge[4 * C264_DEBLOCK_KINDS];  // by c264_deblock_index
};

/// Slot of an edge: 2 x direction + plane, four slots for each kind.
constexpr int c264_deblock_index(c264_deblock_kind kind, c264_direction direction, c264_plane plane)
{
    return 4 * kind + 2 * direction + plane;
}

/// Table 8-16 by indexA and indexB.
extern const uint8_t C264_ALPHA[52];
extern const uint8_t C264_BETA[52];

/// Table 8-17 by indexA and strength 1 to 3; for strength 0 it gives -1, the mark of a quarter that isn't
/// filtered.
extern const int8_t C264_TC0[52][4];

/// Fills every slot: plain first, then each step of `caps` (bits of codec/cpu.h) over it.
void c264_deblock_init(c264_deblock* table, uint32_t caps);
