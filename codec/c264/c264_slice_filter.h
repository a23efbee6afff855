// Deblocking: strengths of a macroblock's edges while its neighbours are at hand, and the filtering of a row
// later (ITU-T H.264 8.7). Belongs to the step that includes it.
#pragma once

#include <cstring>

#include "codec/c264/c264_context.h"
#include "codec/c264/c264_slice_motion.h"

namespace C264_STEP
{
inline bool is_intra(uint8_t cls)
{
    return cls <= C264_INTRA_16X16;
}

using bytes4 = uint8_t __attribute__((vector_size(4)));
using bytes16 = uint8_t __attribute__((vector_size(16)));
using halves8 = uint16_t __attribute__((vector_size(16)));
using words4 = uint32_t __attribute__((vector_size(16)));

inline words4 load_vectors4(const uint32_t* at)
{
    words4 vectors;
    std::memcpy(&vectors, at, sizeof vectors);
    return vectors;
}

/// A byte for each of four pairs of vectors: 1 where they are a whole sample or more apart, in 16 bits.
inline uint32_t apart(words4 a, words4 b)
{
    const halves8 far =
        reinterpret_cast<halves8>((reinterpret_cast<halves8>(a) - reinterpret_cast<halves8>(b) + 3) > 6);
    const auto either = reinterpret_cast<words4>(reinterpret_cast<words4>(far) != 0);
    const bytes4 narrow = __builtin_convertvector(either, bytes4);
    uint32_t bytes;
    std::memcpy(&bytes, &narrow, 4);
    return bytes & 0x01010101;
}

inline words4 all_of(uint32_t vector)
{
    return words4{vector, vector, vector, vector};
}

inline uint32_t load_counts4(const uint8_t* at)
{
    uint32_t counts;
    std::memcpy(&counts, at, 4);
    return counts;
}

/// Strengths of an edge from the counts of both sides, or-ed, and the bytes of `apart`.
inline uint32_t strengths_of(uint32_t counts, uint32_t vectors)
{
    const uint32_t coded = (counts + 0x7F7F7F7F) >> 6 & 0x02020202;
    return coded | (vectors & ~(coded >> 1));
}

/// The outer edges of a macroblock of one vector without coefficients.
inline void outer_edges(const C264Slice& s, const c264_mb& left, const c264_mb& above, c264_edges* edges)
{
    const words4 own = all_of(s.mv[c264_at(0, 0)]);
    *edges = {};
    edges->vertical[0] = strengths_of(load_counts4(left.count_right), apart(load_vectors4(left.mv_right), own));
    edges->horizontal[0] =
        strengths_of(load_counts4(above.count_bottom), apart(load_vectors4(above.mv_bottom), own));
}

/// 8.7.2.1 for a macroblock that isn't intra. Reads the macroblock's own counts and vectors in the caches and
/// the neighbours' in their records. \returns all strengths together.
inline uint32_t inter_edges(C264Slice* s, const c264_mb& left, const c264_mb& above, c264_edges* edges)
{
    std::memcpy(s->count + c264_at(-1, 0), above.count_bottom, 4);
    std::memcpy(s->mv + c264_at(-1, 0), above.mv_bottom, sizeof above.mv_bottom);
    bytes16 turned;
    uint32_t any = 0;  // kept beside what is stored: reading that back at once would wait for the stores
    for (int k = 0; k < 4; ++k) {
        s->count[c264_at(k, -1)] = left.count_right[k];
        s->mv[c264_at(k, -1)] = left.mv_right[k];
        const uint32_t own = load_counts4(s->count + c264_at(k, 0));
        const words4 vectors = load_vectors4(s->mv + c264_at(k, 0));
        const uint32_t column = strengths_of(own | load_counts4(s->count + c264_at(k - 1, 0)),
                                             apart(vectors, load_vectors4(s->mv + c264_at(k - 1, 0))));
        edges->horizontal[k] = column;
        const uint32_t row = strengths_of(own | own << 8 | left.count_right[k],
                                          apart(vectors, load_vectors4(s->mv + c264_at(k, -1))));
        std::memcpy(reinterpret_cast<uint8_t*>(&turned) + 4 * k, &row, 4);
        any |= column | row;
    }
    turned = __builtin_shufflevector(turned, turned, 0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
    std::memcpy(edges->vertical, &turned, sizeof turned);
    return any;
}

/// The strengths of a macroblock's edges. \returns whether there is one.
inline bool find_edges(C264Slice* s, ptrdiff_t mb_stride, c264_edges* edges)
{
    const c264_mb& left = s->mb[-1];
    const c264_mb& above = s->mb[-mb_stride];
    uint32_t inner = 0;
    if (is_intra(s->cls)) {
        inner = C264_STRENGTH_3;
        *edges = {{C264_STRENGTH_4, C264_STRENGTH_3, C264_STRENGTH_3, C264_STRENGTH_3},
                  {C264_STRENGTH_4, C264_STRENGTH_3, C264_STRENGTH_3, C264_STRENGTH_3}};
    } else {
        // only the outer edges of a skipped macroblock
        if (s->cls == C264_P_SKIP || (s->cls == C264_P_16X16 && !s->counted)) {
            outer_edges(*s, left, above, edges);
        } else {
            inner = inter_edges(s, left, above, edges);
        }
        if (is_intra(left.cls)) edges->vertical[0] = C264_STRENGTH_4;
        if (is_intra(above.cls)) edges->horizontal[0] = C264_STRENGTH_4;
    }
    if (!s->left) edges->vertical[0] = 0;
    // mode 1 filters across the slice's first row, the modes above it stay within the slice
    if (s->mb_y == 0 || (s->header.deblocking_mode != 1 && !s->top)) edges->horizontal[0] = 0;
    return (inner | edges->vertical[0] | edges->horizontal[0]) != 0;
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
        if (mb->flags & C264_MB_FILTERED) {
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
