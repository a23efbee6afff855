#pragma once

#include <cstdint>
#include <random>
#include <vector>

#include "tests/support/h264_syntax.h"

// H.264 streams of random syntax: every macroblock type but I_PCM, every partition, vectors of the whole range,
// levels up to the longest escape, quantisers 0 to 51, deblocking parameters. Only the syntax is made up;
// what the pictures look like is the decoders' affair.

struct H264RandomShape {
    uint32_t seed = 1;
    int widthMbs = 4;
    int heightMbs = 4;
    int pictures = 6;
    int gop = 4;         ///< pictures from IDR to IDR; those between are P, now and then I
    bool still = false;  ///< most macroblocks of a P picture are skipped, and many with the zero vector
};

/// The same for the same shape, whatever the machine. Every value that the standard's 16-bit transforms compute
/// from it stays inside 16 bits.
H264Sequence MakeRandomH264(const H264RandomShape& shape);

/// A small shape for a seed; sizes of one macroblock to nine by eight.
H264RandomShape H264ShapeOfSeed(uint32_t seed);
