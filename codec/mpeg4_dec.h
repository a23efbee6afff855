// The record of one open MPEG-4 decoder, shared by the stages of decoding.
#pragma once

#include <cstddef>
#include <cstdint>

#include "codec/codec.h"
#include "codec/mpeg4/mpeg4_bits.h"
#include "codec/mpeg4/mpeg4_dsp.h"
#include "codec/mpeg4/mpeg4_header.h"

/// In half samples of the plane that it is used on.
struct mpeg4_vector {
    int16_t x;
    int16_t y;
};

inline mpeg4_vector mpeg4_make_vector(int32_t x, int32_t y)
{
    return {static_cast<int16_t>(x), static_cast<int16_t>(y)};
}

enum mpeg4_mode : int32_t {
    MPEG4_MODE_NOT_CODED = -1,
    MPEG4_MODE_INTER = 0,
    MPEG4_MODE_INTER_Q = 1,  ///< with a quant change
    MPEG4_MODE_INTER4V = 2,  ///< four vectors
    MPEG4_MODE_INTRA = 3,
    MPEG4_MODE_INTRA_Q = 4,  ///< with a quant change
};

/// What a block leaves for the prediction of its neighbours: the DC, dequantised; the levels of the first row
/// from column 1 on; those of the first column from row 1 on.
struct mpeg4_prediction_store {
    int16_t dc;
    int16_t row[7];
    int16_t column[7];
};

/// What every macroblock has, two to a cache line.
struct alignas(32) Mpeg4Macroblock {
    int32_t mode;        ///< mpeg4_mode
    mpeg4_vector mv[4];  ///< by luma block, in half samples
    int32_t quant;
    int32_t cbp;  ///< coded block pattern; bit 5 is block 0
};
static_assert(sizeof(Mpeg4Macroblock) == 32);

/// What only the neighbours of an intra macroblock look at; set in modes 3 and 4 only.
struct alignas(64) mpeg4_intra_store {
    mpeg4_prediction_store block[6];
};

struct mpeg4_picture {
    uint8_t* plane[3 /* Y, U, V */];
};

/// The private record of the codec table's row. Two pictures, packed planes without any border, swap their
/// roles with every VOP; all memory comes from open. Invariants:
///   1. mb_across x 16 and mb_down x 16 lie inside the pictures, whatever the stream's headers tell;
///   2. `block` is all zero between two macroblocks;
///   3. where `same` is set, both pictures hold the same samples and the record is that of a macroblock which
///      isn't coded, so that there is nothing to be done for a further one.
struct Mpeg4Decoder {
    alignas(CODEC_ALIGN) int16_t block[6][64];  ///< the coefficients of the macroblock at hand
    CodecContext* context;
    const mpeg4_dsp_t* dsp;
    mpeg4_bits bits;
    int32_t width;  ///< of the pictures, from open
    int32_t height;
    int32_t mb_across;  ///< whole macroblocks; the last partial ones are not decoded
    int32_t mb_down;
    ptrdiff_t stride[3 /* Y, U, V */];
    int32_t quant;         ///< the running quant; changes add up unclamped
    bool standard_chroma;  ///< CODEC_OPTION_STANDARD_CHROMA
    mpeg4_picture current;
    mpeg4_picture reference;
    Mpeg4Macroblock* macroblocks;
    mpeg4_intra_store* stores;  ///< by macroblock
    uint8_t* same;              ///< by macroblock
    uint32_t* changed;          ///< by macroblock; `changes` lends it
    CodecChanges changes;       ///< `picture` is the one delivered last
    uint8_t* memory;            ///< all that the pointers above point at, one piece
    mpeg4_header header;
};

/// Where a macroblock's planes begin in `picture`.
inline mpeg4_picture mpeg4_at_macroblock(const Mpeg4Decoder* dec, const mpeg4_picture* picture, int mb_x,
                                         int mb_y)
{
    return {{picture->plane[0] + mb_y * 16 * dec->stride[0] + mb_x * 16,
             picture->plane[1] + mb_y * 8 * dec->stride[1] + mb_x * 8,
             picture->plane[2] + mb_y * 8 * dec->stride[2] + mb_x * 8}};
}

/// Notes that the macroblock with this index is about to be written anew.
inline void mpeg4_note_change(Mpeg4Decoder* dec, ptrdiff_t index)
{
    dec->same[index] = 0;
    dec->changed[index] = dec->changes.picture + 1;
}

inline bool mpeg4_is_intra(int32_t mode)
{
    return mode == MPEG4_MODE_INTRA || mode == MPEG4_MODE_INTRA_Q;
}

/// The quant that arithmetic uses. The running quant may leave every range on damage; beyond +-8192 all results
/// are clipped alike, so the bound changes none of them.
inline int32_t mpeg4_bounded_quant(int32_t quant)
{
    return quant < -8192 ? -8192 : quant > 8192 ? 8192 : quant;
}

/// The row of the codec table.
CodecEntry mpeg4_codec_entry();
