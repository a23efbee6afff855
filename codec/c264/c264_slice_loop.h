// The slice: macroblock after macroblock, and a row behind it the filter, and behind that the border. Belongs
// to the step that includes it.
#pragma once

#include "codec/c264/c264_context.h"
#include "codec/c264/c264_log.h"
#include "codec/c264/c264_slice_coders.h"
#include "codec/c264/c264_slice_filter.h"
#include "codec/c264/c264_slice_macroblock.h"
#include "codec/c264/c264_slice_paint.h"

namespace C264_STEP
{
inline void begin_row(C264Context* dec, int row)
{
    C264Slice* const s = &dec->slice;
    s->mb_y = row;
    s->mb_x = 0;
    s->mb = dec->mbs + row * dec->mb_stride;
    s->mvd_at = dec->mvds + row * dec->mb_stride;
    s->to[0] = dec->current.plane[0] + row * 16 * dec->stride[0];
    s->to[1] = dec->current.plane[1] + row * 8 * dec->stride[1];
    s->to[2] = dec->current.plane[2] + row * 8 * dec->stride[1];
    s->top = row > s->first_row;
}

inline void begin_macroblock(C264Context* dec)
{
    C264Slice* const s = &dec->slice;
    s->left = s->mb_x > 0;
    // oddity: top-right-in-first-row; the flag asks for the column alone
    s->top_right = s->mb_x + 1 < dec->mb_across;
}

inline void store_vectors(const C264Slice& s, c264_mb* mb)
{
    if (s.cls == C264_P_8X8 || s.cls == C264_P_8X16 || s.cls == C264_P_16X8) {
        std::memcpy(mb->mv_bottom, s.mv + c264_at(3, 0), sizeof mb->mv_bottom);
        for (int k = 0; k < 4; ++k)
            mb->mv_right[k] = s.mv[c264_at(k, 3)];
        return;
    }
    const uint32_t vector = s.cls >= C264_P_16X16 ? s.mv[c264_at(0, 0)] : 0;
    std::fill_n(mb->mv_bottom, 4, vector);
    std::fill_n(mb->mv_right, 4, vector);
}

inline void store_counts(const C264Slice& s, c264_mb* mb)
{
    std::memcpy(mb->count_bottom, s.count + c264_at(3, 0), 4);
    for (int k = 0; k < 4; ++k)
        mb->count_right[k] = s.count[c264_at(k, 3)];
    for (int plane = 0; plane < 2; ++plane) {
        for (int k = 0; k < 2; ++k) {
            mb->chroma_count_bottom[plane][k] = s.chroma_count[plane][c264_at(1, k)];
            mb->chroma_count_right[plane][k] = s.chroma_count[plane][c264_at(k, 1)];
        }
    }
}

inline void store_differences(const C264Slice& s, c264_mvd* mvd)
{
    if (s.cls < C264_P_16X16 || s.cls == C264_P_SKIP) {
        *mvd = {};
        return;
    }
    std::memcpy(mvd->bottom, s.mvd + c264_at(3, 0), sizeof mvd->bottom);
    for (int k = 0; k < 4; ++k)
        mvd->right[k] = s.mvd[c264_at(k, 3)];
}

/// The record of the macroblock, for its neighbours, the filter and later pictures.
inline void store_record(const C264Slice& s, uint8_t flags)
{
    c264_mb* const mb = s.mb;
    const bool known = (mb->flags & flags & C264_MB_STILL) != 0;
    mb->qp = static_cast<uint8_t>(s.qp);
    mb->chroma_qp = static_cast<uint8_t>(s.chroma_qp);
    mb->flags = flags;
    if (known) return;  // it has been still before: all else is the same
    const bool intra = is_intra(s.cls);
    mb->cls = s.cls;
    mb->ref = intra ? C264_REF_INTRA : C264_REF_INTER;
    mb->cbp = s.cls == C264_P_SKIP || s.cls == C264_I_PCM ? 0 : s.cbp;
    mb->dc_coded = s.counted ? s.dc_coded : 0;
    mb->chroma_mode = intra ? s.chroma_mode : 0;
    std::memset(mb->mode_bottom, C264_MODE_DC, 8);
    std::memset(mb->count_bottom, 0, 16);
    if (s.cls == C264_INTRA_4X4) {
        std::memcpy(mb->mode_bottom, s.mode + c264_at(3, 0), 4);
        for (int k = 0; k < 4; ++k)
            mb->mode_right[k] = s.mode[c264_at(k, 3)];
    }
    if (s.counted) store_counts(s, mb);
    store_vectors(s, mb);
    store_differences(s, s.mvd_at);
}

/// Paints the macroblock, unless it is there already. \returns what becomes of `same`.
inline uint8_t paint_changes(const C264Context* dec, const C264Slice& s, uint8_t same, bool still)
{
    if (still || s.cls == C264_I_PCM) {
        if (same != C264_SAME_NOT) return C264_SAME_UNTOUCHED;
        if (!still) return C264_SAME_NOT;
        paint(dec, s);
        return C264_SAME;
    }
    paint(dec, s);
    return C264_SAME_NOT;
}

inline void end_macroblock(C264Context* dec)
{
    C264Slice* const s = &dec->slice;
    uint8_t* const same = dec->same + ptrdiff_t{s->mb_y} * dec->mb_across + s->mb_x;
    const bool still = s->cls == C264_P_SKIP && s->mv[c264_at(0, 0)] == 0;
    *same = paint_changes(dec, *s, *same, still);
    uint8_t flags = still ? C264_MB_STILL : 0;
    // beside still neighbours a still macroblock has no edge
    const bool no_edge = (flags & s->mb[-1].flags & s->mb[-dec->mb_stride].flags & C264_MB_STILL) != 0;
    if (!no_edge && s->header.deblocking_mode != 0 &&
        find_edges(s, dec->mb_stride, dec->edges + (s->mb_y & 1) * dec->mb_across + s->mb_x))
        flags |= C264_MB_FILTERED;
    store_record(*s, flags);
    ++s->mb_x;
    ++s->mb;
    ++s->mvd_at;
    s->to[0] += 16;
    s->to[1] += 8;
    s->to[2] += 8;
}

inline void extend_sides(const C264Context* dec, int plane, int from, int rows, bool left, bool right)
{
    const ptrdiff_t stride = dec->stride[plane == 0 ? 0 : 1];
    const ptrdiff_t width = dec->mb_across * ptrdiff_t{plane == 0 ? 16 : 8};
    const size_t border = plane == 0 ? C264_BORDER : C264_BORDER / 2;
    uint8_t* row = dec->current.plane[plane] + from * stride;
    for (int y = 0; y < rows; ++y, row += stride) {
        if (left) std::memset(row - border, row[0], border);
        if (right) std::memset(row + width, row[width - 1], border);
    }
}

/// A row of macroblocks is finished: its changes are noted and its sides extended.
inline void finish_row(C264Context* dec, int row)
{
    const uint8_t* const same = dec->same + ptrdiff_t{row} * dec->mb_across;
    uint32_t* const changed = dec->changed + ptrdiff_t{row} * dec->mb_across;
    for (int x = 0; x < dec->mb_across; ++x) {
        if (same[x] == C264_SAME_NOT) changed[x] = dec->changes.picture + 1;
    }
    const bool left = same[0] != C264_SAME_UNTOUCHED;
    const bool right = same[dec->mb_across - 1] != C264_SAME_UNTOUCHED;
    if (!left && !right) return;
    extend_sides(dec, 0, row * 16, 16, left, right);
    extend_sides(dec, 1, row * 8, 8, left, right);
    extend_sides(dec, 2, row * 8, 8, left, right);
}

inline void copy_rows(uint8_t* to, const uint8_t* from, ptrdiff_t step, size_t rows, size_t bytes)
{
    for (size_t y = 0; y < rows; ++y, to += step)
        std::memcpy(to, from, bytes);
}

/// The first or last row of samples goes outwards, with the sides.
inline void extend_ends(const C264Context* dec, bool bottom)
{
    for (int plane = 0; plane < 3; ++plane) {
        const ptrdiff_t stride = dec->stride[plane == 0 ? 0 : 1];
        const ptrdiff_t border = plane == 0 ? C264_BORDER : C264_BORDER / 2;
        const ptrdiff_t height = dec->mb_down * ptrdiff_t{plane == 0 ? 16 : 8};
        uint8_t* const edge = dec->current.plane[plane] + (bottom ? height - 1 : 0) * stride - border;
        const ptrdiff_t step = bottom ? stride : -stride;
        copy_rows(edge + step, edge, step, static_cast<size_t>(border), static_cast<size_t>(stride));
    }
}

inline bool row_untouched(const C264Context* dec, int row)
{
    const uint8_t* const same = dec->same + ptrdiff_t{row} * dec->mb_across;
    for (int x = 0; x < dec->mb_across; ++x) {
        if (same[x] != C264_SAME_UNTOUCHED) return false;
    }
    return true;
}

/// Rows of the picture that lie above the slice keep what they hold of two pictures ago.
inline void begin_picture(C264Context* dec)
{
    const C264Slice& s = dec->slice;
    const ptrdiff_t above = ptrdiff_t{s.first_row} * dec->mb_across;
    for (ptrdiff_t i = 0; i < above; ++i) {
        if (dec->same[i] != C264_SAME_NOT) dec->same[i] = C264_SAME_UNTOUCHED;
    }
    if (s.first_row == 0) return;
    // the filter reads the last of them, and takes the chroma offset from this slice's parameters
    c264_mb* const mb = dec->mbs + (s.first_row - 1) * dec->mb_stride;
    for (int x = 0; x < dec->mb_across; ++x)
        mb[x].chroma_qp = static_cast<uint8_t>(chroma_qp(mb[x].qp, s.chroma_qp_offset));
}

/// `row` has been painted: the filter follows one row behind, and what it no longer changes is finished.
inline void row_painted(C264Context* dec, int row)
{
    if (row > dec->slice.first_row) {
        if (dec->slice.header.deblocking_mode != 0) filter_row(dec, row - 1);
        if (row - 2 >= 0) finish_row(dec, row - 2);
    }
}

inline void end_picture(C264Context* dec)
{
    const C264Slice& s = dec->slice;
    const int last = dec->mb_down - 1;
    if (s.header.deblocking_mode != 0 && s.first_row <= last) filter_row(dec, last);
    // all rows from the one above the slice on are finished by now but the last two; those above are untouched
    const int first = std::max(s.first_row - 1, 0);
    for (int row = std::max(last - 1, 0); row <= last; ++row)
        finish_row(dec, row);
    for (int row = 0; row < first && row < last - 1; ++row)
        finish_row(dec, row);
    if (!row_untouched(dec, 0)) extend_ends(dec, false);
    if (!row_untouched(dec, last)) extend_ends(dec, true);
}

inline void decode_cavlc(C264Context* dec, const uint8_t* data, size_t bytes, size_t first_bit)
{
    C264Slice* const s = &dec->slice;
    cavlc_coder coder(s, data, bytes, first_bit);
    for (int row = s->first_row; row < dec->mb_down; ++row) {
        begin_row(dec, row);
        while (s->mb_x < dec->mb_across) {
            begin_macroblock(dec);
            if (coder.begin_macroblock()) {
                parse_macroblock(dec, &coder, s);
            } else {
                parse_skip(dec, s);
            }
            end_macroblock(dec);
        }
        row_painted(dec, row);
    }
}

inline void decode_cabac(C264Context* dec, const uint8_t* data, size_t bytes, size_t first_bit)
{
    C264Slice* const s = &dec->slice;
    cabac_coder coder(dec, s, data, bytes, first_bit);
    s->ended = false;
    bool first = true;
    for (int row = s->first_row; row < dec->mb_down; ++row) {
        begin_row(dec, row);
        while (s->mb_x < dec->mb_across) {
            begin_macroblock(dec);
            if (!first) s->ended = s->ended || coder.terminate();
            first = false;
            if (s->ended) {
                // oddity: stale-macroblock; a slice that ends early paints its last macroblock over the rest
                c264_log(C264_WARNING_IN_SLICE);
                s->counted = false;
                clear_counts(s);
            } else if (coder.begin_macroblock()) {
                parse_macroblock(dec, &coder, s);
            } else {
                parse_skip(dec, s);
            }
            end_macroblock(dec);
        }
        row_painted(dec, row);
    }
    if (!s->ended && !coder.terminate())
        c264_log(s->intra_slice ? C264_WARNING_END_OF_I : C264_WARNING_END_OF_P);
}

inline void decode_slice(C264Context* dec, const uint8_t* data, size_t bytes, size_t first_bit)
{
    C264Slice* const s = &dec->slice;
    s->intra_slice = s->header.slice_type == C264_SLICE_I;
    // oddity: first-mb-column; a slice begins at the left edge of its row and runs to the bottom
    const auto first_row =
        static_cast<uint32_t>(s->header.first_mb_in_slice) / static_cast<uint32_t>(dec->mb_across);
    s->first_row = static_cast<int>(std::min(first_row, static_cast<uint32_t>(dec->mb_down)));
    s->qp = std::clamp(s->header.slice_qp, 0, 51);
    s->chroma_qp_offset = dec->pps.chroma_qp_index_offset;
    s->chroma_qp = chroma_qp(s->qp, s->chroma_qp_offset);
    s->qp_changed = false;
    s->skip_run = -1;
    s->stride[0] = dec->stride[0];
    s->stride[1] = dec->stride[1];
    begin_picture(dec);
    if (dec->pps.entropy_coding_mode_flag) {
        decode_cabac(dec, data, bytes, first_bit);
    } else {
        decode_cavlc(dec, data, bytes, first_bit);
    }
    end_picture(dec);
}
}  // namespace C264_STEP
