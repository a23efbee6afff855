// What the stages of the H.264 decoder share: the record of one open decoder, its macroblock records, and the
// work area of a slice.
//
// Pictures have a border of C264_BORDER luma samples, and half as many of chroma. Around the macroblock records
// stands a rim of records that say "not available": one above the picture and one on either side, so that
// neighbours are read without asking. Records stay from picture to picture: a slice that begins below the first
// row finds above it what an older picture left.
#pragma once

#include <cstddef>
#include <cstdint>

#include "codec/c264/c264_cabac_tables.h"
#include "codec/c264/c264_dsp.h"
#include "codec/c264/c264_header.h"
#include "codec/codec.h"

inline constexpr ptrdiff_t C264_BORDER = 32;

/// MbClass.
enum c264_class : uint8_t {
    C264_INTRA_4X4 = 0,
    C264_INTRA_8X8 = 1,  ///< produced by nothing
    C264_INTRA_16X16 = 2,
    C264_I_PCM =
        3,  ///< oddity: pcm-unread; nothing is read and nothing painted, and it isn't intra for the filter
    C264_P_16X16 = 4,
    C264_P_16X8 = 5,
    C264_P_8X16 = 6,
    C264_P_8X8 = 7,
    C264_P_SKIP = 11,
    C264_NEVER = 0xFF,  ///< never decoded, or outside the picture
};

inline constexpr int8_t C264_REF_INTER = 0;
inline constexpr int8_t C264_REF_INTRA = -1;
inline constexpr int8_t C264_REF_NONE = -2;  ///< not available

inline constexpr uint8_t C264_COUNT_NONE = 0x40;  ///< coefficient count that isn't available
inline constexpr uint8_t C264_MODE_NONE = 0xFF;   ///< intra 4x4 mode that isn't available
inline constexpr uint8_t C264_MODE_DC = 2;

/// What neighbours, the filter and the next picture want to know of a macroblock; one cache line. A vector is x
/// in the lower and y in the upper 16 bits, in quarter samples.
struct alignas(64) c264_mb {
    uint8_t cls;  ///< c264_class
    int8_t ref;   ///< C264_REF_*
    uint8_t qp;
    uint8_t chroma_qp;
    uint8_t cbp;          ///< CodedBlockPatternLuma, CodedBlockPatternChroma << 4
    uint8_t dc_coded;     ///< coded_block_flag of the DC blocks: bit 0 luma, 1 U, 2 V
    uint8_t chroma_mode;  ///< 0 for inter
    uint8_t flags;        ///< C264_MB_*
    uint8_t mode_bottom[4];
    uint8_t mode_right[4];
    uint8_t count_bottom[4];  ///< coefficients of the luma blocks
    uint8_t count_right[4];
    uint8_t chroma_count_bottom[2][2];
    uint8_t chroma_count_right[2][2];
    uint32_t mv_bottom[4];
    uint32_t mv_right[4];
};
static_assert(sizeof(c264_mb) == 64);
inline constexpr uint8_t C264_MB_FILTERED = 1;  ///< some edge has a strength
inline constexpr uint8_t C264_MB_STILL = 2;     ///< skipped with the zero vector

/// Vector differences for the contexts of the arithmetic decoder: |x| in the lower, |y| in the upper byte, both
/// cut to 127.
struct c264_mvd {
    uint16_t bottom[4];
    uint16_t right[4];
};

/// Filter strengths 0 to 4 of a macroblock's edges: a byte for each quarter of an edge.
struct c264_edges {
    uint32_t vertical[4];
    uint32_t horizontal[4];
};
inline constexpr uint32_t C264_STRENGTH_4 = 0x04040404;
inline constexpr uint32_t C264_STRENGTH_3 = 0x03030303;

struct C264Frame {
    uint8_t* plane[3 /* Y, U, V */];  ///< the picture's first sample
};

/// Place in the caches of a macroblock of the 4x4 block in `row` and `column`, each -1 to 3: rows of eight, of
/// which the fourth is the left neighbour's. The one above and right of the macroblock is at (-1, 4).
constexpr int c264_at(int row, int column)
{
    return 8 * (row + 1) + 4 + column;
}
inline constexpr size_t C264_CACHE = 48;

/// Column and row of a luma block by its number in decoding order (6.4.3).
inline constexpr uint8_t C264_BLOCK_X[16] = {0, 1, 0, 1, 2, 3, 2, 3, 0, 1, 0, 1, 2, 3, 2, 3};
inline constexpr uint8_t C264_BLOCK_Y[16] = {0, 0, 1, 1, 0, 0, 1, 1, 2, 2, 3, 3, 2, 2, 3, 3};

/// The work area of a slice. What concerns a macroblock stays until the next one is parsed: a slice whose data
/// ends early paints its last macroblock over the rest of the picture.
struct alignas(64) C264Slice {
    int16_t coeffs[24][16];  ///< scaled; luma blocks in decoding order, then four of U, four of V
    int16_t luma_dc[16];
    int16_t chroma_dc[8];
    uint32_t coded;  ///< by block: some coefficient after the first may be set
    uint32_t flat;   ///< by block: the first coefficient may be set
    // neighbours and the macroblock itself, by c264_at
    uint32_t mv[C264_CACHE];
    int8_t ref[C264_CACHE];
    uint16_t mvd[C264_CACHE];
    uint8_t count[C264_CACHE];
    uint8_t chroma_count[2][32];
    uint8_t mode[C264_CACHE];

    ptrdiff_t stride[2 /* luma, chroma */];
    uint8_t* to[3];  ///< the macroblock in the current picture
    c264_mb* mb;
    c264_mvd* mvd_at;

    C264SliceHeader header;
    int first_row;
    int mb_x;
    int mb_y;
    int qp;
    int chroma_qp;
    int chroma_qp_offset;
    int32_t skip_run;  ///< -1: to be read

    bool intra_slice;
    bool ended;    ///< a terminating bin was 1
    bool counted;  ///< the macroblock has coefficient counts
    bool left;     ///< neighbour flags
    bool top;
    bool top_right;
    bool qp_changed;  ///< mb_qp_delta of the macroblock before wasn't 0
    // syntax elements
    uint8_t cls;  ///< c264_class
    uint8_t luma_mode;
    uint8_t chroma_mode;
    uint8_t cbp;
    uint8_t sub_class[4];  ///< C264_SUB_*
    uint8_t dc_coded;
};

/// sub_mb_type + 3.
enum : uint8_t { C264_SUB_8X8 = 3, C264_SUB_8X4 = 4, C264_SUB_4X8 = 5, C264_SUB_4X4 = 6, C264_SUB_NONE = 7 };

/// One open decoder. One thread at a time; all memory comes from open.
struct C264Context {
    C264Slice slice;
    const c264_dsp_t* dsp;
    int32_t width;  ///< as opened
    int32_t height;
    int32_t mb_across;
    int32_t mb_down;
    ptrdiff_t stride[2 /* luma, chroma */];
    C264Frame current;
    C264Frame reference;
    c264_mb* mbs;         ///< of the first macroblock
    ptrdiff_t mb_stride;  ///< records from one row to the next
    c264_mvd* mvds;       ///< laid out as the records
    c264_edges* edges;    ///< two rows, by the last bit of the row's number
    uint8_t* same;        ///< by macroblock, packed rows: C264_SAME_*
    uint32_t* changed;    ///< by macroblock; `changes` lends it
    CodecChanges changes;
    uint8_t* scratch;
    size_t scratch_bytes;  ///< without the padding
    uint8_t* memory;       ///< all that the pointers above point at, one piece
    C264Sps sps;
    C264Pps pps;
    bool sps_seen;
    bool pps_seen;
    int32_t stream_mode;  ///< 0 start codes, else lengths
    c264_check check;
    int32_t frames;
    int32_t frames_since_i;
    int32_t average_qp;  ///< of the last picture
};

/// Whether both pictures hold the same samples of a macroblock, and so the same border beside it.
enum : uint8_t {
    C264_SAME_NOT = 0,
    C264_SAME = 1,
    C264_SAME_UNTOUCHED = 2,  ///< and nothing was written in this picture
};

/// The steps of c264_dsp_t::decode_slice.
void c264_slice_plain(C264Context* dec, const uint8_t* data, size_t bytes, size_t first_bit);
void c264_slice_bmi2(C264Context* dec, const uint8_t* data, size_t bytes, size_t first_bit);
