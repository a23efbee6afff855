// The residual blocks of the arithmetic decoder (ITU-T H.264 7.3.5.3.3). Belongs to the step that includes it.
#pragma once

#include <algorithm>

#include "codec/c264/c264_context.h"
#include "codec/c264/c264_slice_cabac.h"
#include "codec/c264/c264_slice_cavlc.h"

namespace C264_STEP
{
inline constexpr uint8_t IN_ORDER[4] = {0, 1, 2, 3};

/// Contexts of the residual blocks by ctxBlockCat (Tables 9-34, 9-40).
enum residual_category { LUMA_DC, LUMA_AC, LUMA_4X4, CHROMA_DC, CHROMA_AC };
inline constexpr int CODED_FLAG_OF[5] = {85, 89, 93, 97, 101};
inline constexpr int SIGNIFICANT_OF[5] = {105, 120, 134, 149, 152};
inline constexpr int LAST_OF[5] = {166, 181, 195, 210, 213};
inline constexpr int LEVEL_OF[5] = {227, 237, 247, 257, 266};
inline constexpr int COUNT_OF[5] = {16, 15, 16, 4, 15};

/// Reads the blocks of a macroblock one after the other. A local of this class keeps its engine in registers,
/// since all of it is inlined.
struct cabac_blocks {
    [[gnu::always_inline]] bool luma_dc(int16_t* to)
    {
        return block<LUMA_DC>((s->mb[-1].dc_coded & 1) + 2 * (s->mb[-mb_stride].dc_coded & 1),
                              {C264_SCAN, nullptr}, to) != 0;
    }

    template <int FIRST>
    [[gnu::always_inline]] int luma_block(int at, const int16_t* factors, int16_t* to)
    {
        return block < FIRST == 0 ? LUMA_4X4
                                  : LUMA_AC > (beside(s->count, at), {C264_SCAN + FIRST, factors}, to);
    }

    [[gnu::always_inline]] bool chroma_dc(int plane, int16_t* to)
    {
        const bool available[2] = {s->mb[-1].cls != C264_NEVER, s->mb[-mb_stride].cls != C264_NEVER};
        const bool intra = s->cls <= C264_INTRA_16X16;
        const bool left = available[0] ? (s->mb[-1].dc_coded >> (1 + plane) & 1) != 0 : intra;
        const bool above = available[1] ? (s->mb[-mb_stride].dc_coded >> (1 + plane) & 1) != 0 : intra;
        return block<CHROMA_DC>(left + 2 * above, {IN_ORDER, nullptr}, to) != 0;
    }

    [[gnu::always_inline]] int chroma_block(int plane, int at, const int16_t* factors, int16_t* to)
    {
        return block<CHROMA_AC>(beside(s->chroma_count[plane], at), {C264_SCAN + 1, factors}, to);
    }

    /// ctxIdxInc of coded_block_flag from the counts left and above; those that are not available count as
    /// coded for intra macroblocks (9.3.3.1.1.9).
    int beside(const uint8_t* count, int at) const
    {
        const int mask = s->cls <= C264_INTRA_16X16 ? 0xFF : C264_COUNT_NONE - 1;
        return ((count[at - 1] & mask) != 0) + 2 * ((count[at - 8] & mask) != 0);
    }

    /// 7.3.5.3.3. `to` holds zeros. \returns the number of coefficients.
    template <residual_category CATEGORY>
    [[gnu::always_inline]] int block(int increment, block_shape shape, int16_t* to)
    {
        if (!engine.likely_bin(contexts + CODED_FLAG_OF[CATEGORY] + increment)) return 0;
        return coded_block<CATEGORY>(shape, to);
    }

    template <residual_category CATEGORY>
    [[gnu::always_inline]] int coded_block(block_shape shape, int16_t* to)
    {
        constexpr int COUNT = COUNT_OF[CATEGORY];
        uint8_t* const significant = contexts + SIGNIFICANT_OF[CATEGORY];
        uint8_t* const last = contexts + LAST_OF[CATEGORY];
        uint8_t positions[16];
        int count = 0;
        int k = 0;
        for (; k < COUNT - 1; ++k) {
            const int inc = CATEGORY == CHROMA_DC ? std::min(k, 2) : k;
            if (engine.bin(significant + inc)) {
                positions[count++] = static_cast<uint8_t>(k);
                if (engine.bin(last + inc)) break;
            }
        }
        if (k == COUNT - 1) positions[count++] = static_cast<uint8_t>(k);

        uint8_t* const level = contexts + LEVEL_OF[CATEGORY];
        constexpr int MOST_ABOVE = CATEGORY == CHROMA_DC ? 3 : 4;
        int ones = 1;   // ctxIdxInc of the first bin while no level is above 1
        int above = 0;  // levels above 1
        for (int i = count - 1; i >= 0; --i) {
            int value = 1;
            if (engine.bin(level + (above > 0 ? 0 : ones))) {
                uint8_t* const context = level + 5 + std::min(above, MOST_ABOVE);
                ++above;
                value = 2;
                while (value < 15 && engine.bin(context))
                    ++value;
                if (value == 15) value += level_suffix();
            } else {
                ones = std::min(ones + 1, 4);
            }
            if (engine.bypass()) value = -value;
            const uint8_t place = shape.places[positions[i]];
            to[place] = CATEGORY == LUMA_DC || CATEGORY == CHROMA_DC ? static_cast<int16_t>(value)
                                                                     : scaled(value, shape.factors[place]);
        }
        return count;
    }

    /// The suffix of coeff_abs_level_minus1 (UEG0 with 14), cut as the other one.
    [[gnu::always_inline]] int level_suffix()
    {
        int k = 0;
        int value = 0;
        while (k < 20 && engine.bypass())
            value += 1 << k++;
        while (k-- > 0)
            value += engine.bypass() << k;
        return value;
    }

    C264Slice* s;
    ptrdiff_t mb_stride;
    uint8_t* contexts;
    cabac_engine engine;
};
}  // namespace C264_STEP
