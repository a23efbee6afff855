#pragma once

#include "tests/support/h264_bits.h"
#include "tests/support/h264_syntax.h"
#include "tests/support/h264_tables.h"

// slice_data() of the test encoder in both entropy modes. The trailing bits are the caller's with CAVLC; CABAC
// ends in the stop bit by itself.

using H264ContextUses = std::array<uint32_t, H264_CONTEXTS>;

void WriteCavlcSliceData(const H264Parameters& parameters, const H264Picture& picture, CH264Bits* bits);
/// Adds to `uses`, unless it is null, how often each context was used.
void WriteCabacSliceData(const H264Parameters& parameters, const H264Picture& picture, CH264Bits* bits,
                         H264ContextUses* uses = nullptr);

/// mb_type of an intra macroblock as in an I slice (Table 7-11).
inline uint32_t H264IntraMbType(const H264Macroblock& mb)
{
    if (mb.type == EH264Mb::I4x4) return 0;
    return static_cast<uint32_t>(1 + mb.intra16x16_mode + 4 * mb.cbp_chroma + (mb.cbp_luma ? 12 : 0));
}

/// The macroblock at an offset from another, or null outside of the picture.
inline const H264Macroblock* H264MbAt(const H264Parameters& parameters, const H264Picture& picture, int x,
                                      int y)
{
    if (x < 0 || y < 0 || x >= parameters.widthMbs) return nullptr;
    return &picture.mbs[static_cast<size_t>(y) * parameters.widthMbs + x];
}

/// A 4x4 block of a macroblock or of a neighbour; x and y may be -1. `size` is 4 in luma and 2 in chroma.
struct H264BlockPlace {
    const H264Macroblock* mb;  ///< null outside of the picture
    int block;
};

inline H264BlockPlace H264BlockAt(const H264Macroblock* mb, const H264Macroblock* left,
                                  const H264Macroblock* top, int x, int y, int size)
{
    if (x < 0) return {left, y * size + size - 1};
    if (y < 0) return {top, (size - 1) * size + x};
    return {mb, y * size + x};
}
