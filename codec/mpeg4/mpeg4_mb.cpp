#include "codec/mpeg4/mpeg4_mb.h"

#include <algorithm>
#include <bit>

#include "codec/mpeg4/mpeg4_block.h"
#include "codec/mpeg4/mpeg4_motion.h"
#include "codec/mpeg4/mpeg4_tables.h"

namespace
{
/// A code that doesn't exist counts as a zero, or as `value`, and takes the bits that were looked at.
mpeg4_code or_bad(mpeg4_code code, int bits, int8_t value = 0)
{
    return code.length ? code : mpeg4_code{static_cast<int8_t>(bits), value};
}

constexpr int32_t dquant_change[4] = {-1, -2, 1, 2};  // table 6-27

/// Pattern of the luma blocks, intra sense.
uint32_t read_cbpy(mpeg4_bits* bits)
{
    const mpeg4_code code = or_bad(mpeg4_cbpy[mpeg4_bits_show(bits, 6)], 6);
    mpeg4_bits_skip(bits, code.length);
    return static_cast<uint32_t>(code.value);
}

void read_dquant(Mpeg4Decoder* dec)
{
    dec->quant += dquant_change[mpeg4_bits_show(&dec->bits, 2)];
    mpeg4_bits_skip(&dec->bits, 2);
}

void set_vectors(Mpeg4Macroblock* mb, mpeg4_vector vector)
{
    std::fill_n(mb->mv, 4, vector);
}

/// Macroblocks that aren't coded, side by side. Where both pictures are the same the record says so already.
void skip_macroblocks(Mpeg4Decoder* dec, int mb_x, int mb_y, int count)
{
    const ptrdiff_t index = ptrdiff_t{mb_y} * dec->mb_across + mb_x;
    uint8_t* const same = dec->same + index;
    Mpeg4Macroblock* const mb = dec->macroblocks + index;
    for (int first = 0; first < count; ++first) {
        if (same[first]) continue;
        int end = first;
        for (; end < count && !same[end]; ++end) {
            same[end] = 1;
            mb[end].mode = MPEG4_MODE_NOT_CODED;
            mb[end].quant = dec->quant;
            mb[end].cbp = 0;
            set_vectors(&mb[end], {0, 0});
        }
        mpeg4_copy_macroblocks(dec, mb_x + first, mb_y, end - first);
        first = end;
    }
}

/// The rest of a macroblock header after mcbpc, 10 bits at most, and then the blocks of an intra macroblock.
void intra_macroblock(Mpeg4Decoder* dec, Mpeg4Macroblock* mb, int mb_x, int mb_y, uint32_t chroma_pattern)
{
    mpeg4_bits* const bits = &dec->bits;
    const bool ac_pred = mpeg4_bits_show(bits, 1) != 0;
    mpeg4_bits_skip(bits, 1);
    mb->cbp = static_cast<int32_t>(read_cbpy(bits) << 2 | chroma_pattern);
    if (mb->mode == MPEG4_MODE_INTRA_Q) read_dquant(dec);
    mb->quant = dec->quant;
    set_vectors(mb, {0, 0});
    mpeg4_intra_blocks(dec, mb_x, mb_y, ac_pred);
}

void inter_macroblock(Mpeg4Decoder* dec, Mpeg4Macroblock* mb, int mb_x, int mb_y, uint32_t chroma_pattern)
{
    mpeg4_bits* const bits = &dec->bits;
    mb->cbp = static_cast<int32_t>((15 - read_cbpy(bits)) << 2 | chroma_pattern);
    if (mb->mode == MPEG4_MODE_INTER_Q) read_dquant(dec);
    mb->quant = dec->quant;
    mpeg4_read_vectors(dec, mb_x, mb_y);
    const mpeg4_residuals residuals = mpeg4_read_residuals(dec, mb);
    mpeg4_predict_macroblock(dec, mb_x, mb_y);
    if (residuals.coded) mpeg4_add_residuals(dec, mb_x, mb_y, residuals);
}

/// Splits a value of the mcbpc tables into the mode, which is set, and the chroma pattern.
uint32_t take_mcbpc(mpeg4_bits* bits, mpeg4_code code, Mpeg4Macroblock* mb)
{
    mpeg4_bits_skip(bits, code.length);
    mb->mode = code.value & 7;
    return static_cast<uint32_t>(code.value >> 4);
}
}  // namespace

bool mpeg4_decode_i_vop(Mpeg4Decoder* dec)
{
    mpeg4_bits* const bits = &dec->bits;
    mpeg4_prefetch_codes(true);
    dec->quant = static_cast<int32_t>(dec->header.vop_quant);
    Mpeg4Macroblock* mb = dec->macroblocks;
    for (int mb_y = 0; mb_y < dec->mb_down; ++mb_y) {
        for (int mb_x = 0; mb_x < dec->mb_across; ++mb_x, ++mb) {
            mpeg4_bits_refill(bits);
            while (mpeg4_bits_show(bits, 9) == MPEG4_MCBPC_STUFFING) {
                mpeg4_bits_skip(bits, 9);
                mpeg4_bits_refill(bits);
            }
            mpeg4_note_change(dec, mb - dec->macroblocks);
            const mpeg4_code code = or_bad(mpeg4_mcbpc_intra[mpeg4_bits_show(bits, 6)], 6, MPEG4_MODE_INTRA);
            const uint32_t chroma_pattern = take_mcbpc(bits, code, mb);
            intra_macroblock(dec, mb, mb_x, mb_y, chroma_pattern);
            if (mpeg4_bits_overrun(bits)) return false;
        }
    }
    return true;
}

bool mpeg4_decode_p_vop(Mpeg4Decoder* dec)
{
    mpeg4_bits* const bits = &dec->bits;
    mpeg4_prefetch_codes(false);
    dec->quant = static_cast<int32_t>(dec->header.vop_quant);
    Mpeg4Macroblock* mb = dec->macroblocks;
    for (int mb_y = 0; mb_y < dec->mb_down; ++mb_y) {
        int mb_x = 0;
        while (mb_x < dec->mb_across) {
            mpeg4_bits_refill(bits);
            // each set bit is one macroblock that isn't coded; whole runs are taken at once
            const int run = std::min({std::countl_one(bits->window), bits->count, dec->mb_across - mb_x});
            if (run > 0) {
                mpeg4_bits_skip(bits, run);
                if (mpeg4_bits_overrun(bits)) return false;
                skip_macroblocks(dec, mb_x, mb_y, run);
                mb_x += run;
                mb += run;
                continue;
            }
            mpeg4_bits_skip(bits, 1);
            if (mpeg4_bits_show(bits, 9) == MPEG4_MCBPC_STUFFING) {
                mpeg4_bits_skip(bits, 9);  // the macroblock begins again after it
                continue;
            }
            mpeg4_note_change(dec, mb - dec->macroblocks);
            const mpeg4_code code = or_bad(mpeg4_mcbpc_inter[std::min(mpeg4_bits_show(bits, 9), 256u)], 9);
            const uint32_t chroma_pattern = take_mcbpc(bits, code, mb);
            if (mpeg4_is_intra(mb->mode))
                intra_macroblock(dec, mb, mb_x, mb_y, chroma_pattern);
            else
                inter_macroblock(dec, mb, mb_x, mb_y, chroma_pattern);
            if (mpeg4_bits_overrun(bits)) return false;
            ++mb;
            ++mb_x;
        }
    }
    return true;
}
