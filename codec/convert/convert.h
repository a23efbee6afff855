#pragma once

#include <cstddef>
#include <cstdint>

#include "codec/codec.h"

// Picture conversion: from the decoders' planar 4:2:0 pictures to what the renderers show.
//
// Colours are those of ITU-R BT.601 with luma of 16 to 235, by tables with 13 fraction bits; the plain kernels
// define every result and each vector kernel gives the same bytes.

/// Where a conversion writes; the fields stand in the order of a CodecFrame's first ones. The memory is the
/// caller's.
struct ConvertTarget {
    uint8_t* data[4];  ///< packed formats use data[0] only
    int32_t
        linesize[4];  ///< bytes per row; linesize[1] serves U and V alike; negative: rows run upward in memory
    int32_t format;   ///< CONVERT_FORMAT_*; for convert_decoder_picture a code and CONVERT_FLIP
};

// Formats of ConvertFrame. 16-bit pixels are little-endian.
inline constexpr int32_t CONVERT_FORMAT_I420 = 1;  ///< three planes, chroma halved both ways
inline constexpr int32_t CONVERT_FORMAT_YUY2 = 2;  ///< for each two pixels the bytes Y0, U, Y1, V
inline constexpr int32_t CONVERT_FORMAT_UYVY = 4;  ///< for each two pixels the bytes U, Y0, V, Y1
inline constexpr int32_t CONVERT_FORMAT_YVYU = 7;  ///< for each two pixels the bytes Y0, V, Y1, U
inline constexpr int32_t CONVERT_FORMAT_RGB565 =
    10;  ///< 16 bits: red in bits 11 to 15, green 5 to 10, blue 0 to 4
inline constexpr int32_t CONVERT_FORMAT_RGB555 =
    11;  ///< 16 bits: red in bits 10 to 14, green 5 to 9, blue 0 to 4
inline constexpr int32_t CONVERT_FORMAT_BGR24 = 21;  ///< the bytes blue, green, red
inline constexpr int32_t CONVERT_FORMAT_RGB24 = 23;  ///< the bytes red, green, blue
inline constexpr int32_t CONVERT_FORMAT_RGB32 = 34;  ///< the bytes red, green, blue, 0
inline constexpr int32_t CONVERT_FORMAT_BGR32 = 35;  ///< the bytes blue, green, red, 0
inline constexpr int32_t CONVERT_FORMAT_NONE = 38;   ///< converts nothing and succeeds

inline constexpr int32_t CONVERT_OK = 0;
inline constexpr int32_t CONVERT_REFUSED = -1;  ///< a format without a conversion, or a geometry that can't be
inline constexpr int32_t CONVERT_WIDTH_NOT_16 = -9980;  ///< the width is not a multiple of 16
inline constexpr int32_t CONVERT_NO_TARGET = -1001;     ///< convert_decoder_picture: nothing was converted

/// Writes the area of `width` by `height` pixels at the frame's upper left corner into `destination`, whose
/// format word settles the layout; with `flip` the first row comes last. A frame that states a smaller size of
/// its own (fields of 0 state none) is converted as far as it goes, the rest of the target stays as it is.
///
/// CONVERT_OK; CONVERT_WIDTH_NOT_16, which is tested first; CONVERT_REFUSED for an unknown format, for a null
/// plane, a width or height of 0 or less, or rows (of the target or the frame) shorter than the picture: then
/// nothing is written. Any thread; allocates nothing.
int32_t ConvertFrame(const ConvertTarget& destination, const CodecFrame& frame, int32_t width, int32_t height,
                     bool flip);

/// What a target's pixels hold, for ConvertChanges. Whoever owns the pixels keeps one with them, and clears it
/// when they are written by anything else, or when their format, size or pitch becomes another one. All zero:
/// nothing is known.
struct ConvertHeld {
    uint64_t stream;   ///< CodecChanges::stream of the picture
    uint32_t picture;  ///< its number
};

/// ConvertFrame without flip for one picture after the other: the pixels are the same as those that
/// ConvertFrame gives, but what `held` says is there already is left as it is. `held` then tells of `frame`. A
/// null `held`, a frame without `changes`, and one of another stream are converted whole. Results, errors and
/// threads as ConvertFrame; `held` stays as it was on an error.
int32_t ConvertChanges(const ConvertTarget& destination, const CodecFrame& frame, int32_t width, int32_t height,
                       ConvertHeld* held);

// Codes of a decoder caller's own planes, in the low five bits of its format word.
inline constexpr int32_t CONVERT_CODE_MASK = 0x1F;
inline constexpr int32_t CONVERT_FLIP = 0x20;  ///< in the format word: the first row comes last

/// Gives a decoded picture to a caller of the decoder that supplied planes of its own. The code in `target`'s
/// format word is 1 (I420), 5 (RGB565), 6 (BGR24), 7 (RGB24), 8 (BGR32), 10 (RGB32), 11 (YUY2) or 12 (UYVY),
/// the layouts being those of the formats of these names. Code 1 without the flip bit onto equal strides does
/// nothing: the planes are taken as shared. An odd width is rounded up to even, in the packed formats in the
/// target too.
///
/// CONVERT_OK, or CONVERT_NO_TARGET for any other code (0, 2 and 9 among them) and for a geometry that can't
/// be.
int32_t convert_decoder_picture(const ConvertTarget& target, const CodecFrame& picture, int32_t width,
                                int32_t height);

/// Chooses the process-wide conversion kernels by `caps` (bits of codec/cpu.h). Both decoders' initialisations
/// call it, and the later call counts. Until the first one the plain kernels convert. Any thread at any time.
void convert_dsp_init(uint32_t caps);
