#pragma once

#include "tests/support/h264_bits.h"
#include "tests/support/h264_syntax.h"

// Parameter sets, slice headers and whole streams of the test encoder.

void WriteH264Sps(const H264Parameters& parameters, CH264Bits* bits);
void WriteH264Pps(const H264Parameters& parameters, CH264Bits* bits);
/// Up to the slice data.
void WriteH264SliceHeader(const H264Parameters& parameters, const H264SliceHeader& header, CH264Bits* bits);

/// One packet for each picture, with CAVLC or CABAC. Parameter sets stand before every IDR picture.
std::vector<H264Packet> WriteH264(const H264Sequence& sequence, bool cabac);

/// A picture once more from a row below the first one on, without parameter sets: for a decoder that has
/// decoded that picture, and takes what it left above the slice for the slice's neighbours.
H264Packet WriteH264From(const H264Sequence& sequence, H264Picture picture, int row, bool cabac);
