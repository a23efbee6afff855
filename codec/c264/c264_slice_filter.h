// Deblocking: strengths of a macroblock's edges while its neighbours are at hand, and the filtering of a row
// later (ITU-T H.264 8.7). Belongs to the step that includes it.
#pragma once

#include <cstdlib>
#include <cstring>

#include "codec/c264/c264_context.h"
#include "codec/c264/c264_slice_motion.h"

namespace C264_STEP
{
inline bool is_intra(uint8_t cls)
{
    return cls <= C264_INTRA_16X16;
}

/// Whether two vectors are a whole sample or more apart, in 16 bits.
inline bool apart(uint32_t a, uint32_t b)
{
    const int x = static_cast<int16_t>(vector_x(a) - vector_x(b));
    const int y = static_cast<int16_t>(vector_y(a) - vector_y(b));
    return x >= 4 || x <= -4 || y >= 4 || y <= -4;
}

inline uint32_t strength(uint8_t count_p, uint8_t count_q, uint32_t mv_p, uint32_t mv_q)
{
    return (count_p | count_q) != 0 ? 2 : apart(mv_p, mv_q) ? 1 : 0;
}

/// 8.7.2.1 for a macroblock that isn't intra. Reads the macroblock's own counts and vectors in the caches and
/// the neighbours' in their records.
inline void inter_edges(const C264Slice& s, ptrdiff_t mb_stride, c264_edges* edges)
{
    const c264_mb& left = s.mb[-1];
    const c264_mb& above = s.mb[-mb_stride];
    *edges = {};
    const int inner = s.cls == C264_P_SKIP ? 1 : 4;  // only the outer edges of a skipped macroblock
    for (int edge = 0; edge < inner; ++edge) {
        for (int k = 0; k < 4; ++k) {
            const int v = c264_at(k, edge);
            const int h = c264_at(edge, k);
            const uint32_t vertical = edge == 0
                                          ? strength(left.count_right[k], s.count[v], left.mv_right[k], s.mv[v])
                                          : strength(s.count[v - 1], s.count[v], s.mv[v - 1], s.mv[v]);
            const uint32_t horizontal =
                edge == 0 ? strength(above.count_bottom[k], s.count[h], above.mv_bottom[k], s.mv[h])
                          : strength(s.count[h - 8], s.count[h], s.mv[h - 8], s.mv[h]);
            edges->vertical[edge] |= vertical << (8 * k);
            edges->horizontal[edge] |= horizontal << (8 * k);
        }
    }
    if (is_intra(left.cls)) edges->vertical[0] = C264_STRENGTH_4;
    if (is_intra(above.cls)) edges->horizontal[0] = C264_STRENGTH_4;
}

inline void find_edges(const C264Slice& s, ptrdiff_t mb_stride, c264_edges* edges)
{
    if (is_intra(s.cls)) {
        *edges = {{C264_STRENGTH_4, C264_STRENGTH_3, C264_STRENGTH_3, C264_STRENGTH_3},
                  {C264_STRENGTH_4, C264_STRENGTH_3, C264_STRENGTH_3, C264_STRENGTH_3}};
    } else {
        inter_edges(s, mb_stride, edges);
    }
    if (!s.left) edges->vertical[0] = 0;
    // mode 1 filters across the slice's first row, the modes above it stay within the slice
    if (s.mb_y == 0 || (s.header.deblocking_mode != 1 && !s.top)) edges->horizontal[0] = 0;
}

struct filter_thresholds {
    int alpha;
    int beta;
    const int8_t* tc0;  // by strength
};

inline filter_thresholds thresholds(const C264SliceHeader& header, int qp)
{
    // the offsets are whatever the stream says
    const int index_a = static_cast<int>(std::clamp<int64_t>(int64_t{qp} + header.alpha_offset, 0, 51));
    const int index_b = static_cast<int>(std::clamp<int64_t>(int64_t{qp} + header.beta_offset, 0, 51));
    return {C264_ALPHA[index_a], C264_BETA[index_b], C264_TC0[index_a]};
}

/// Filters one edge of one plane. \returns whether there was anything to do.
inline bool filter_edge(const C264Context* dec, c264_direction direction, c264_plane plane, uint8_t* at,
                        const filter_thresholds& limits, uint32_t strengths)
{
    if (strengths == 0 || limits.alpha == 0 || limits.beta == 0) return false;
    const ptrdiff_t stride = dec->stride[plane];
    int8_t tc0[4];
    c264_deblock_kind kind = C264_NORMAL;
    if (strengths == C264_STRENGTH_4) {
        kind = C264_STRONG;
    } else if (strengths == C264_STRENGTH_3) {
        kind = C264_UNIFORM;
        tc0[0] = limits.tc0[3];
    } else {
        for (int k = 0; k < 4; ++k)
            tc0[k] = limits.tc0[strengths >> (8 * k) & 3];
    }
    dec->dsp->deblock.edge[c264_deblock_index(kind, direction, plane)](at, stride, limits.alpha, limits.beta,
                                                                       tc0);
    return true;
}

/// One direction of a macroblock. `beside` is the neighbour across the first edge.
/// \returns bit 0: something was filtered; bit 1: across the first edge.
inline unsigned filter_direction(const C264Context* dec, c264_direction direction, const c264_mb& mb,
                                 const c264_mb& beside, const uint32_t* strengths, uint8_t* const* at)
{
    const C264SliceHeader& header = dec->slice.header;
    const bool vertical = direction == C264_VERTICAL;
    const ptrdiff_t luma_step = vertical ? 4 : 4 * dec->stride[0];
    const ptrdiff_t chroma_step = vertical ? 4 : 4 * dec->stride[1];
    unsigned done = 0;
    if (strengths[0] != 0) {
        const filter_thresholds luma = thresholds(header, (mb.qp + beside.qp + 1) >> 1);
        const filter_thresholds chroma = thresholds(header, (mb.chroma_qp + beside.chroma_qp + 1) >> 1);
        bool any = filter_edge(dec, direction, C264_LUMA, at[0], luma, strengths[0]);
        any |= filter_edge(dec, direction, C264_CHROMA, at[1], chroma, strengths[0]);
        any |= filter_edge(dec, direction, C264_CHROMA, at[2], chroma, strengths[0]);
        done = any ? 3 : 0;
    }
    if ((strengths[1] | strengths[2] | strengths[3]) == 0) return done;
    const filter_thresholds luma = thresholds(header, mb.qp);
    const filter_thresholds chroma = thresholds(header, mb.chroma_qp);
    bool any = false;
    for (int edge = 1; edge < 4; ++edge) {
        any |= filter_edge(dec, direction, C264_LUMA, at[0] + edge * luma_step, luma, strengths[edge]);
    }
    any |= filter_edge(dec, direction, C264_CHROMA, at[1] + chroma_step, chroma, strengths[2]);
    any |= filter_edge(dec, direction, C264_CHROMA, at[2] + chroma_step, chroma, strengths[2]);
    return done | (any ? 1 : 0);
}

/// Filters a row of macroblocks, when the row below it has been predicted from it.
inline void filter_row(C264Context* dec, int row)
{
    const c264_mb* mb = dec->mbs + row * dec->mb_stride;
    const c264_edges* edges = dec->edges + (row & 1) * dec->mb_across;
    uint8_t* same = dec->same + ptrdiff_t{row} * dec->mb_across;
    uint8_t* at[3] = {dec->current.plane[0] + row * 16 * dec->stride[0],
                      dec->current.plane[1] + row * 8 * dec->stride[1],
                      dec->current.plane[2] + row * 8 * dec->stride[1]};
    for (int x = 0; x < dec->mb_across; ++x, ++mb, ++edges, ++same) {
        if (mb->filtered) {
            const unsigned v = filter_direction(dec, C264_VERTICAL, mb[0], mb[-1], edges->vertical, at);
            const unsigned h =
                filter_direction(dec, C264_HORIZONTAL, mb[0], mb[-dec->mb_stride], edges->horizontal, at);
            if (v | h) same[0] = C264_SAME_NOT;
            if (v & 2) same[-1] = C264_SAME_NOT;
            if (h & 2) same[-dec->mb_across] = C264_SAME_NOT;
        }
        at[0] += 16;
        at[1] += 8;
        at[2] += 8;
    }
}
}  // namespace C264_STEP
