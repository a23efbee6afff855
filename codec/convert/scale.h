#pragma once

#include <cstdint>

// Scaling of packed pictures. All buffers are the caller's and hold exactly the picture: no bytes between rows
// or planes. The result is 0, or -1 when a pointer is null or a size can't be; then nothing is written. Any
// thread.

/// Scales an I420 picture: planes Y, U and V one after another, those of the chroma half as wide and half as
/// high (fractions dropped). Sizes are at least 2 in each direction.
///
/// Bilinear with steps and weights of 12 fraction bits, but for two ratios: a source of exactly twice the size
/// is thinned out by scale_yuv420_half, one of exactly half the size goes through scale_yuv420_double. Equal
/// sizes give the source back. The neighbours past the last column and row are these themselves.
int32_t scale_yuv420(uint8_t* to, const uint8_t* from, int32_t to_width, int32_t to_height, int32_t from_width,
                     int32_t from_height);

/// Half size: every second pixel of every second row; nothing is averaged. The source's sizes are twice the
/// target's.
int32_t scale_yuv420_half(uint8_t* to, const uint8_t* from, int32_t to_width, int32_t to_height);

/// Double size: of each 2 by 2 block the first pixel is the source's, the others are rounded averages with the
/// neighbours to the right and below. The source's sizes are half the target's, which must be even.
int32_t scale_yuv420_double(uint8_t* to, const uint8_t* from, int32_t to_width, int32_t to_height);

/// scale_yuv420's bilinear way with weights in floating point, for every ratio; 0.5 is added before the cut.
int32_t scale_yuv420_float(uint8_t* to, const uint8_t* from, int32_t to_width, int32_t to_height,
                           int32_t from_width, int32_t from_height);

/// The bilinear way for one plane of 16-bit pixels: red in bits 11 to 15, green in bits 5 to 10, blue in bits 0
/// to 4, each weighted and cut on its own. Sizes are at least 1.
int32_t scale_rgb565(uint16_t* to, const uint16_t* from, int32_t to_width, int32_t to_height,
                     int32_t from_width, int32_t from_height);
