// The macroblock layer (ITU-T H.264 7.3.5) over either entropy coder. A Coder has the syntax elements as
// functions and the residual blocks; both coders have the same ones. Belongs to the step that includes it.
#pragma once

#include <cstring>

#include "codec/c264/c264_context.h"
#include "codec/c264/c264_slice_motion.h"

namespace C264_STEP
{
/// Table 8-15: QPC for qPI from 30 on.
inline constexpr uint8_t CHROMA_QP[22] = {29, 30, 31, 32, 32, 33, 34, 34, 35, 35, 36,
                                          36, 37, 37, 37, 38, 38, 38, 39, 39, 39, 39};

inline int chroma_qp(int qp, int offset)
{
    const int index = static_cast<int>(std::clamp<int64_t>(int64_t{qp} + offset, 0, 51));
    return index < 30 ? index : CHROMA_QP[index - 30];
}

/// An mb_type that is intra (Table 7-11): 0 is intra 4x4, 1 to 24 are intra 16x16; any other acts as I_PCM.
inline void set_intra_type(C264Slice* s, uint32_t type)
{
    if (type == 0) {
        s->cls = C264_INTRA_4X4;
    } else if (type <= 24) {
        s->cls = C264_INTRA_16X16;
        s->luma_mode = static_cast<uint8_t>((type - 1) % 4);
        s->cbp = static_cast<uint8_t>((type - 1) / 4 % 3 << 4 | (type > 12 ? 15 : 0));
    } else {
        s->cls = C264_I_PCM;
    }
}

/// What the last coded macroblock left in the coefficient area goes.
inline void clear_coefficients(C264Slice* s)
{
    for (uint32_t blocks = s->coded | s->flat; blocks != 0; blocks &= blocks - 1)
        std::memset(s->coeffs[__builtin_ctz(blocks)], 0, sizeof s->coeffs[0]);
    s->coded = 0;
    s->flat = 0;
}

inline void clear_counts(C264Slice* s)
{
    for (int y = 0; y < 4; ++y)
        std::memset(s->count + c264_at(y, 0), 0, 4);
    for (auto& plane : s->chroma_count) {
        std::memset(plane + c264_at(0, 0), 0, 2);
        std::memset(plane + c264_at(1, 0), 0, 2);
    }
}

inline void load_counts(C264Slice* s, ptrdiff_t mb_stride)
{
    const c264_mb& left = s->mb[-1];
    const c264_mb& above = s->mb[-mb_stride];
    std::memcpy(s->count + c264_at(-1, 0), above.count_bottom, 4);
    for (int y = 0; y < 4; ++y)
        s->count[c264_at(y, -1)] = left.count_right[y];
    for (int plane = 0; plane < 2; ++plane) {
        uint8_t* const count = s->chroma_count[plane];
        std::memcpy(count + c264_at(-1, 0), above.chroma_count_bottom[plane], 2);
        count[c264_at(0, -1)] = left.chroma_count_right[plane][0];
        count[c264_at(1, -1)] = left.chroma_count_right[plane][1];
    }
}

/// 7.4.5: mb_qp_delta wraps around once; the chroma quantiser follows.
inline void change_qp(C264Slice* s, int32_t delta)
{
    s->qp_changed = delta != 0;
    if (delta == 0) return;
    int64_t qp = int64_t{s->qp} + delta;
    if (qp < 0) {
        qp += 52;
    } else if (qp > 51) {
        qp -= 52;
    }
    s->qp = static_cast<int>(std::clamp<int64_t>(qp, 0, 51));
    s->chroma_qp = chroma_qp(s->qp, s->chroma_qp_offset);
}

template <class Coder>
void parse_luma_dc(const C264Context* dec, Coder* coder, C264Slice* s)
{
    std::memset(s->luma_dc, 0, sizeof s->luma_dc);
    auto&& blocks = coder->open();
    const bool coded = blocks.luma_dc(s->luma_dc);
    coder->close(blocks);
    if (!coded) return;
    s->dc_coded |= 1;
    dec->dsp->transform.luma_dc(s->luma_dc);
    dec->dsp->dequant.luma_dc(s->luma_dc, C264_SCALE_DC[static_cast<size_t>(s->qp)].factor);
    for (int block = 0; block < 16; ++block)
        s->coeffs[block][0] = s->luma_dc[4 * C264_BLOCK_X[block] + C264_BLOCK_Y[block]];
    s->flat |= 0xFFFF;
}

template <int FIRST, class Coder>
void parse_luma(Coder* coder, C264Slice* s)
{
    const int16_t* const factors = C264_SCALE[static_cast<size_t>(s->qp)].factor;
    auto&& blocks = coder->open();
    for (int quadrant = 0; quadrant < 4; ++quadrant) {
        if (!(s->cbp >> quadrant & 1)) continue;
        for (int block = 4 * quadrant; block < 4 * quadrant + 4; ++block) {
            const int at = c264_at(C264_BLOCK_Y[block], C264_BLOCK_X[block]);
            const int count = blocks.template luma_block<FIRST>(at, factors, s->coeffs[block]);
            s->count[at] = static_cast<uint8_t>(count);
            s->coded |= static_cast<uint32_t>(count != 0) << block;
        }
    }
    coder->close(blocks);
}

template <class Coder>
void parse_chroma(const C264Context* dec, Coder* coder, C264Slice* s)
{
    std::memset(s->chroma_dc, 0, sizeof s->chroma_dc);
    auto&& blocks = coder->open();
    for (int plane = 0; plane < 2; ++plane) {
        if (blocks.chroma_dc(plane, s->chroma_dc + 4 * plane)) s->dc_coded |= static_cast<uint8_t>(2 << plane);
    }
    if (s->cbp & 0x20) {
        const int16_t* const factors = C264_SCALE[static_cast<size_t>(s->chroma_qp)].factor;
        for (int block = 0; block < 8; ++block) {
            const int at = c264_at(block / 2 % 2, block % 2);
            const int count = blocks.chroma_block(block / 4, at, factors, s->coeffs[16 + block]);
            s->chroma_count[block / 4][at] = static_cast<uint8_t>(count);
            s->coded |= static_cast<uint32_t>(count != 0) << (16 + block);
        }
    }
    coder->close(blocks);
    if (s->dc_coded & 6) {
        dec->dsp->transform.chroma_dc(s->chroma_dc);
        dec->dsp->dequant.chroma_dc(s->chroma_dc, C264_SCALE_DC[static_cast<size_t>(s->chroma_qp)].factor);
        for (int block = 0; block < 8; ++block)
            s->coeffs[16 + block][0] = s->chroma_dc[block];
        s->flat |= 0xFF0000;
    }
}

/// mb_qp_delta and the residual, as the coded block pattern says.
template <class Coder>
void parse_residual(const C264Context* dec, Coder* coder, C264Slice* s)
{
    if (s->cbp == 0 && s->cls != C264_INTRA_16X16) {
        s->qp_changed = false;
        return;
    }
    s->counted = true;
    change_qp(s, coder->qp_delta());
    load_counts(s, dec->mb_stride);
    if (s->cls == C264_INTRA_16X16) {
        parse_luma_dc(dec, coder, s);
        parse_luma<1>(coder, s);
    } else {
        parse_luma<0>(coder, s);
    }
    if (s->cbp & 0x30) parse_chroma(dec, coder, s);
}

template <class Coder>
void parse_intra4(const C264Context* dec, Coder* coder, C264Slice* s)
{
    const c264_mb& left = s->mb[-1];
    const c264_mb& above = s->mb[-dec->mb_stride];
    std::memcpy(s->mode + c264_at(-1, 0), above.mode_bottom, 4);
    for (int y = 0; y < 4; ++y)
        s->mode[c264_at(y, -1)] = left.mode_right[y];
    for (int block = 0; block < 16; ++block) {
        const int at = c264_at(C264_BLOCK_Y[block], C264_BLOCK_X[block]);
        // 8.3.1.1; a mode that isn't available is above all others
        const uint8_t beside = s->mode[at - 1];
        const uint8_t over = s->mode[at - 8];
        const int predicted =
            beside == C264_MODE_NONE || over == C264_MODE_NONE ? C264_MODE_DC : std::min(beside, over);
        s->mode[at] = static_cast<uint8_t>(coder->intra_mode(predicted));
    }
    s->chroma_mode = coder->intra_chroma_mode();
    s->cbp = coder->coded_block_pattern(true);
    parse_residual(dec, coder, s);
}

/// A partition's vector: its difference is read, added to the prediction, and the blocks take it.
template <class Coder>
void parse_vector(Coder* coder, C264Slice* s, int at, int width, int height, uint32_t predicted)
{
    const uint32_t difference = coder->vector_difference(at, width, height);
    fill_vectors(
        s, at, width, height,
        make_vector(vector_x(predicted) + vector_x(difference), vector_y(predicted) + vector_y(difference)));
}

template <class Coder>
void parse_quadrant(Coder* coder, C264Slice* s, int quadrant)
{
    const int at = c264_at(quadrant / 2 * 2, quadrant % 2 * 2);
    switch (s->sub_class[quadrant]) {
        case C264_SUB_8X8:
            parse_vector(coder, s, at, 2, 2, predict_vector(*s, at, 2));
            break;
        case C264_SUB_8X4:
            parse_vector(coder, s, at, 2, 1, predict_vector(*s, at, 2));
            parse_vector(coder, s, at + 8, 2, 1, predict_vector(*s, at + 8, 2));
            break;
        case C264_SUB_4X8:
            parse_vector(coder, s, at, 1, 2, predict_vector(*s, at, 1));
            parse_vector(coder, s, at + 1, 1, 2, predict_vector(*s, at + 1, 1));
            break;
        case C264_SUB_4X4:
            for (const int block : {at, at + 1, at + 8, at + 9})
                parse_vector(coder, s, block, 1, 1, predict_vector(*s, block, 1));
            break;
        default:
            // oddity: type-beyond-table; nothing is read
            fill_vectors(s, at, 2, 2, 0);
            break;
    }
}

template <class Coder>
void parse_inter(const C264Context* dec, Coder* coder, C264Slice* s)
{
    load_vectors(s, dec->mb_stride);
    coder->load_differences();
    switch (s->cls) {
        case C264_P_16X16:
            parse_vector(coder, s, c264_at(0, 0), 4, 4, predict_vector(*s, c264_at(0, 0), 4));
            break;
        case C264_P_16X8:
            for (int part = 0; part < 2; ++part)
                parse_vector(coder, s, c264_at(2 * part, 0), 4, 2, predict_16x8(*s, part));
            break;
        case C264_P_8X16:
            for (int part = 0; part < 2; ++part)
                parse_vector(coder, s, c264_at(0, 2 * part), 2, 4, predict_8x16(*s, part));
            break;
        default:
            for (uint8_t& sub : s->sub_class)
                sub = coder->sub_class();
            for (int quadrant = 0; quadrant < 4; ++quadrant)
                parse_quadrant(coder, s, quadrant);
            break;
    }
    s->cbp = coder->coded_block_pattern(false);
    parse_residual(dec, coder, s);
}

/// What follows mb_type.
template <class Coder>
void parse_macroblock(const C264Context* dec, Coder* coder, C264Slice* s)
{
    clear_coefficients(s);
    clear_counts(s);
    s->counted = false;
    s->dc_coded = 0;
    switch (s->cls) {
        case C264_INTRA_4X4:
            parse_intra4(dec, coder, s);
            break;
        case C264_INTRA_16X16:
            s->chroma_mode = coder->intra_chroma_mode();
            parse_residual(dec, coder, s);
            break;
        case C264_P_16X16:
        case C264_P_16X8:
        case C264_P_8X16:
        case C264_P_8X8:
            parse_inter(dec, coder, s);
            break;
        default:
            // for its neighbours and the filter it stands still, whatever the macroblock before left in the
            // cache
            fill_vectors(s, c264_at(0, 0), 4, 4, 0);
            s->qp_changed = false;
            break;
    }
}

/// The one vector of a skipped macroblock.
inline void parse_skip(const C264Context* dec, C264Slice* s)
{
    s->cls = C264_P_SKIP;
    s->counted = false;
    s->qp_changed = false;
    fill_vectors(s, c264_at(0, 0), 4, 4, predict_skip(s->mb, dec->mb_stride));
}
}  // namespace C264_STEP
