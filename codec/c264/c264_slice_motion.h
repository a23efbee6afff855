// Motion vectors: prediction (ITU-T H.264 8.4.1) and compensation (8.4.2). Belongs to the step that includes
// it.
#pragma once

#include <algorithm>
#include <cstring>

#include "codec/c264/c264_context.h"

namespace C264_STEP
{
inline int vector_x(uint32_t vector)
{
    return static_cast<int16_t>(vector);
}

inline int vector_y(uint32_t vector)
{
    return static_cast<int16_t>(vector >> 16);
}

inline uint32_t make_vector(int x, int y)
{
    return (static_cast<uint32_t>(x) & 0xFFFF) | static_cast<uint32_t>(y) << 16;
}

inline int median(int a, int b, int c)
{
    return std::max(std::min(a, b), std::min(std::max(a, b), c));
}

struct neighbour {
    uint32_t mv;
    int8_t ref;
};

/// 8.4.1.3.1 for one reference picture.
inline uint32_t median_vector(neighbour a, neighbour b, neighbour c)
{
    const int same = (a.ref == C264_REF_INTER) + (b.ref == C264_REF_INTER) + (c.ref == C264_REF_INTER);
    if (same == 1) return a.ref == C264_REF_INTER ? a.mv : b.ref == C264_REF_INTER ? b.mv : c.mv;
    if (b.ref == C264_REF_NONE && c.ref == C264_REF_NONE) return a.mv;
    return make_vector(median(vector_x(a.mv), vector_x(b.mv), vector_x(c.mv)),
                       median(vector_y(a.mv), vector_y(b.mv), vector_y(c.mv)));
}

/// 8.4.1.3.2: C, or D in its place.
inline neighbour neighbour_c(const C264Slice& s, int at, int width)
{
    const int c = at - 8 + width;
    const int from = s.ref[c] != C264_REF_NONE ? c : at - 9;
    return {s.mv[from], s.ref[from]};
}

inline neighbour neighbour_at(const C264Slice& s, int at)
{
    return {s.mv[at], s.ref[at]};
}

/// The prediction for a partition whose first block is at the cache's `at`, `width` blocks wide.
inline uint32_t predict_vector(const C264Slice& s, int at, int width)
{
    return median_vector(neighbour_at(s, at - 1), neighbour_at(s, at - 8), neighbour_c(s, at, width));
}

/// 8.4.1.3, the directions of 16x8 and 8x16.
inline uint32_t predict_16x8(const C264Slice& s, int part)
{
    const int at = c264_at(2 * part, 0);
    const neighbour preferred = neighbour_at(s, part == 0 ? at - 8 : at - 1);
    return preferred.ref == C264_REF_INTER ? preferred.mv : predict_vector(s, at, 4);
}

inline uint32_t predict_8x16(const C264Slice& s, int part)
{
    const int at = c264_at(0, 2 * part);
    const neighbour preferred = part == 0 ? neighbour_at(s, at - 1) : neighbour_c(s, at, 2);
    return preferred.ref == C264_REF_INTER ? preferred.mv : predict_vector(s, at, 2);
}

/// 8.4.1.1, from the neighbours' records alone.
inline uint32_t predict_skip(const c264_mb* mb, ptrdiff_t mb_stride)
{
    const c264_mb& left = mb[-1];
    const c264_mb& above = mb[-mb_stride];
    if (left.ref == C264_REF_NONE || above.ref == C264_REF_NONE) return 0;
    const neighbour a = {left.mv_right[0], left.ref};
    const neighbour b = {above.mv_bottom[0], above.ref};
    if ((a.ref == C264_REF_INTER && a.mv == 0) || (b.ref == C264_REF_INTER && b.mv == 0)) return 0;
    const c264_mb& right = mb[1 - mb_stride];
    const c264_mb& corner = mb[-1 - mb_stride];
    const neighbour c = right.ref != C264_REF_NONE ? neighbour{right.mv_bottom[0], right.ref}
                                                   : neighbour{corner.mv_bottom[3], corner.ref};
    return median_vector(a, b, c);
}

inline void fill_vectors(C264Slice* s, int at, int width, int height, uint32_t mv)
{
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            s->mv[at + 8 * y + x] = mv;
            s->ref[at + 8 * y + x] = C264_REF_INTER;
        }
    }
}

/// Loads the vectors around a macroblock; its own blocks count as not available until they have one.
inline void load_vectors(C264Slice* s, ptrdiff_t mb_stride)
{
    const c264_mb& left = s->mb[-1];
    const c264_mb& above = s->mb[-mb_stride];
    const c264_mb& right = s->mb[1 - mb_stride];
    const c264_mb& corner = s->mb[-1 - mb_stride];
    s->mv[c264_at(-1, -1)] = corner.mv_bottom[3];
    s->ref[c264_at(-1, -1)] = corner.ref;
    std::memcpy(s->mv + c264_at(-1, 0), above.mv_bottom, sizeof above.mv_bottom);
    std::memset(s->ref + c264_at(-1, 0), above.ref, 4);
    s->mv[c264_at(-1, 4)] = right.mv_bottom[0];
    s->ref[c264_at(-1, 4)] = right.ref;
    for (int y = 0; y < 4; ++y) {
        s->mv[c264_at(y, -1)] = left.mv_right[y];
        s->ref[c264_at(y, -1)] = left.ref;
        std::memset(s->ref + c264_at(y, 0), C264_REF_NONE, 5);
    }
}

/// Writes the prediction of a block of luma and the chroma below it into the current picture.
///   x, y      of the block in the macroblock, in samples
///   kernel    c264_width of the block
inline void compensate(const C264Context* dec, const C264Slice& s, int x, int y, int kernel, int rows,
                       uint32_t mv)
{
    const int mv_x = vector_x(mv);
    const int mv_y = vector_y(mv);
    // Where a block lies beyond the border's reach, all of its samples are those of the picture's edge.
    const int luma_x = std::clamp(s.mb_x * 16 + x + (mv_x >> 2), -24, dec->mb_across * 16 + 8);
    const int luma_y = std::clamp(s.mb_y * 16 + y + (mv_y >> 2), -24, dec->mb_down * 16 + 8);
    dec->dsp->mc.luma[kernel][(mv_y & 3) * 4 + (mv_x & 3)](
        s.to[0] + y * s.stride[0] + x, s.stride[0], dec->reference.plane[0] + luma_y * s.stride[0] + luma_x,
        s.stride[0], rows);
    const int chroma_x = std::clamp(s.mb_x * 8 + x / 2 + (mv_x >> 3), -12, dec->mb_across * 8 + 4);
    const int chroma_y = std::clamp(s.mb_y * 8 + y / 2 + (mv_y >> 3), -12, dec->mb_down * 8 + 4);
    const ptrdiff_t from = chroma_y * s.stride[1] + chroma_x;
    const ptrdiff_t to = y / 2 * s.stride[1] + x / 2;
    const int index = (mv_y & 7) * 8 + (mv_x & 7);
    const c264_chroma_fn chroma = dec->dsp->mc.chroma[kernel];
    chroma(s.to[1] + to, s.stride[1], dec->reference.plane[1] + from, s.stride[1], rows / 2, index);
    chroma(s.to[2] + to, s.stride[1], dec->reference.plane[2] + from, s.stride[1], rows / 2, index);
}

inline void compensate_quadrant(const C264Context* dec, const C264Slice& s, int quadrant)
{
    const int x = quadrant % 2 * 8;
    const int y = quadrant / 2 * 8;
    const uint32_t* const mv = s.mv + c264_at(y / 4, x / 4);
    switch (s.sub_class[quadrant]) {
        case C264_SUB_8X8:
            compensate(dec, s, x, y, C264_WIDTH_8, 8, mv[0]);
            break;
        case C264_SUB_8X4:
            compensate(dec, s, x, y, C264_WIDTH_8, 4, mv[0]);
            compensate(dec, s, x, y + 4, C264_WIDTH_8, 4, mv[8]);
            break;
        case C264_SUB_4X8:
            compensate(dec, s, x, y, C264_WIDTH_4, 8, mv[0]);
            compensate(dec, s, x + 4, y, C264_WIDTH_4, 8, mv[1]);
            break;
        case C264_SUB_4X4:
            compensate(dec, s, x, y, C264_WIDTH_4, 4, mv[0]);
            compensate(dec, s, x + 4, y, C264_WIDTH_4, 4, mv[1]);
            compensate(dec, s, x, y + 4, C264_WIDTH_4, 4, mv[8]);
            compensate(dec, s, x + 4, y + 4, C264_WIDTH_4, 4, mv[9]);
            break;
        default:
            break;  // acts as a macroblock of class 3: nothing is painted
    }
}

inline void compensate_macroblock(const C264Context* dec, const C264Slice& s)
{
    switch (s.cls) {
        case C264_P_16X8:
            compensate(dec, s, 0, 0, C264_WIDTH_16, 8, s.mv[c264_at(0, 0)]);
            compensate(dec, s, 0, 8, C264_WIDTH_16, 8, s.mv[c264_at(2, 0)]);
            break;
        case C264_P_8X16:
            compensate(dec, s, 0, 0, C264_WIDTH_8, 16, s.mv[c264_at(0, 0)]);
            compensate(dec, s, 8, 0, C264_WIDTH_8, 16, s.mv[c264_at(0, 2)]);
            break;
        case C264_P_8X8:
            for (int quadrant = 0; quadrant < 4; ++quadrant)
                compensate_quadrant(dec, s, quadrant);
            break;
        default:
            compensate(dec, s, 0, 0, C264_WIDTH_16, 16, s.mv[c264_at(0, 0)]);
            break;
    }
}
}  // namespace C264_STEP
