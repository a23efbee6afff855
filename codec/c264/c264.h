// The H.264 decoder: progressive I and P pictures of one slice, with one reference picture, in both entropy
// coders. What else a stream may hold is read as far as needed and dropped, not concealed.
#pragma once

#include <cstddef>
#include <cstdint>

#include "codec/codec.h"

struct C264Handle;

/// A picture as callers describe it.
struct C264Picture {
    uint32_t format;  ///< CONVERT_CODE_MASK and CONVERT_FLIP of codec/convert/convert.h
    uint32_t reserved;
    int32_t width;
    int32_t height;
    uint8_t*
        plane[4 /* Y, U, V, unused */];  ///< null plane[0]: the decoder's own planes are asked for, on loan
    int32_t stride[4];
};

struct C264Stats {
    int32_t opened;        ///< 1 since open
    int32_t average_qp;    ///< of the last picture
    int32_t picture_type;  ///< of the last call: 1 I, 2 P, 3 B, 0 anything else or none
};

/// Opens a decoder of pictures of this size, which the stream doesn't change.
///   stream_mode   0 for start codes, anything else for lengths of four bytes in front of the units
/// \returns null when memory is short, or for a size that codec_check_size refuses; below 1 counts as 1. Any
/// thread at any time.
C264Handle* c264_open(int32_t width, int32_t height, int32_t stream_mode);

/// Reads the units in `data`, which is not kept, up to and with the first slice, and decodes that as a picture.
/// One thread at a time per handle. Allocates nothing. oddity: one-slice-a-picture; a second slice of a picture
/// is a picture of its own.
///   picture   lent planes are good through the next decode; planes of the caller's get a copy, as
///             convert_decoder_picture says
///   got       1 when there is a picture, else 0
/// \returns the bytes used, 0 for five bytes and less; -1 without a handle or data, or when a checksum is
/// wrong.
int32_t c264_decode(C264Handle* handle, const uint8_t* data, int32_t size, C264Picture* picture, int32_t* got,
                    C264Stats* stats);

/// Which macroblocks changed in the picture handed out last.
const CodecChanges* c264_changes(const C264Handle* handle);

/// 0, or -1 for null.
int32_t c264_close(C264Handle* handle);

/// The row of the codec table.
CodecEntry c264_codec_entry();
