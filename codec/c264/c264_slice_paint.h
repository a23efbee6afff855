// Reconstruction: prediction and residual of a parsed macroblock into the current picture (ITU-T
// H.264 8.3, 8.5). Belongs to the step that includes it.
#pragma once

#include <cstring>

#include "codec/c264/c264_context.h"
#include "codec/c264/c264_slice_motion.h"

namespace C264_STEP
{
/// Adds the residual of four blocks, the first of which is `block`, to an 8x8 area in place.
inline void add_quadrant(const C264Context* dec, const C264Slice& s, int block, uint8_t* to, ptrdiff_t stride)
{
    const uint32_t coded = s.coded >> block & 15;
    const uint32_t flat = s.flat >> block & 15;
    const int16_t* const coeffs = s.coeffs[block];
    if (coded == 0) {
        if (flat != 0) dec->dsp->copy.add_flat(to, stride, to, stride, coeffs);
        return;
    }
    if (flat == 0 && (coded & (coded - 1)) == 0) {
        const int only = __builtin_ctz(coded);
        uint8_t* const at = to + only / 2 * 4 * stride + only % 2 * 4;
        dec->dsp->transform.add_block(at, stride, at, stride, coeffs + 16 * only);
        return;
    }
    dec->dsp->transform.add_quadrant(to, stride, to, stride, coeffs);
}

inline void add_luma(const C264Context* dec, const C264Slice& s)
{
    if (((s.coded | s.flat) & 0xFFFF) == 0) return;
    for (int quadrant = 0; quadrant < 4; ++quadrant) {
        add_quadrant(dec, s, 4 * quadrant, s.to[0] + quadrant / 2 * 8 * s.stride[0] + quadrant % 2 * 8,
                     s.stride[0]);
    }
}

inline void add_chroma(const C264Context* dec, const C264Slice& s)
{
    if ((s.coded | s.flat) >> 16 == 0) return;
    add_quadrant(dec, s, 16, s.to[1], s.stride[1]);
    add_quadrant(dec, s, 20, s.to[2], s.stride[1]);
}

inline void predict_chroma(const C264Context* dec, const C264Slice& s)
{
    size_t mode = s.chroma_mode;
    if (mode == C264_CHROMA8_DC) mode = (s.top ? 0 : 4) + (s.left ? 0 : 8);
    // the table's indexes count 4 for left only, 8 for top only
    const c264_intra_fn predict = dec->dsp->intra.chroma8[mode];
    predict(s.to[1], s.stride[1], s.to[1], s.stride[1]);
    predict(s.to[2], s.stride[1], s.to[2], s.stride[1]);
}

inline void paint_intra16(const C264Context* dec, const C264Slice& s)
{
    size_t mode = s.luma_mode;
    if (mode == C264_LUMA16_DC) mode = (s.left ? 2 : 10) | (s.top ? 0 : 6);
    dec->dsp->intra.luma16[mode](s.to[0], s.stride[0], s.to[0], s.stride[0]);
    add_luma(dec, s);
    predict_chroma(dec, s);
    add_chroma(dec, s);
}

/// The blocks above and right of which stand samples that are already there, by block number; those above the
/// macroblock count as there.
inline constexpr uint16_t TOP_RIGHT_THERE = 0x5777;

inline void paint_intra4(const C264Context* dec, const C264Slice& s)
{
    constexpr ptrdiff_t STRIDE = C264_INTRA4_STRIDE;
    alignas(32) uint8_t scratch[17 * STRIDE + 16];
    uint8_t* const area = scratch + STRIDE + 8;
    const uint8_t* const from = s.to[0];
    std::memcpy(area - STRIDE - 1, from - s.stride[0] - 1, 17);
    if (s.top_right) {
        std::memcpy(area - STRIDE + 16, from - s.stride[0] + 16, 4);
    } else {
        std::memset(area - STRIDE + 16, from[15 - s.stride[0]], 4);
    }
    for (int y = 0; y < 16; ++y)
        area[y * STRIDE - 1] = from[y * s.stride[0] - 1];

    for (int block = 0; block < 16; ++block) {
        const int x = C264_BLOCK_X[block];
        const int y = C264_BLOCK_Y[block];
        uint8_t* const at = area + 4 * y * STRIDE + 4 * x;
        // where the samples above and right come later in decoding order, the last one above is repeated
        if (!(TOP_RIGHT_THERE >> block & 1)) std::memset(at - STRIDE + 4, at[3 - STRIDE], 4);
        size_t mode = s.mode[c264_at(y, x)];
        if (mode == C264_LUMA4_DC) {
            const bool left = x > 0 || s.left;
            const bool top = y > 0 || s.top;
            mode = left  ? (top ? C264_LUMA4_DC : C264_LUMA4_DC_LEFT)
                   : top ? C264_LUMA4_DC_TOP
                         : C264_LUMA4_DC_128;
        }
        dec->dsp->intra.luma4[mode](at);
        if (s.coded >> block & 1) dec->dsp->transform.add_block(at, STRIDE, at, STRIDE, s.coeffs[block]);
    }
    for (int y = 0; y < 16; ++y)
        std::memcpy(s.to[0] + y * s.stride[0], area + y * STRIDE, 16);
    predict_chroma(dec, s);
    add_chroma(dec, s);
}

inline void paint(const C264Context* dec, const C264Slice& s)
{
    switch (s.cls) {
        case C264_INTRA_4X4:
            paint_intra4(dec, s);
            break;
        case C264_INTRA_16X16:
            paint_intra16(dec, s);
            break;
        case C264_P_16X16:
        case C264_P_16X8:
        case C264_P_8X16:
        case C264_P_8X8:
            compensate_macroblock(dec, s);
            add_luma(dec, s);
            add_chroma(dec, s);
            break;
        case C264_P_SKIP:
            compensate_macroblock(dec, s);
            break;
        default:
            break;
    }
}
}  // namespace C264_STEP
