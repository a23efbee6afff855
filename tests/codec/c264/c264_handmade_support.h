// H.264 units written by hand, bit by bit, for what no encoder writes; and a decoder to feed them to.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "codec/c264/c264.h"
#include "codec/c264/c264_log.h"
#include "tests/support/h264_bits.h"
#include "tests/support/h264_writer.h"

constexpr int C264_BLACK = 16;  ///< what both buffers hold at first

constexpr int UNIT_SLICE = 1;
constexpr int UNIT_IDR = 5;
constexpr int UNIT_SEI = 6;
constexpr int UNIT_SPS = 7;
constexpr int UNIT_PPS = 8;

inline H264Packet C264Unit(int type, const std::vector<uint8_t>& payload, int refIdc = 1)
{
    H264Packet unit;
    H264AppendUnit(&unit, refIdc, type, payload);
    return unit;
}

inline H264Packet C264Joined(const std::vector<H264Packet>& parts)
{
    H264Packet joined;
    for (const H264Packet& part : parts)
        joined.insert(joined.end(), part.begin(), part.end());
    return joined;
}

inline H264Packet C264SpsUnit(const H264Parameters& parameters)
{
    CH264Bits bits;
    WriteH264Sps(parameters, &bits);
    return C264Unit(UNIT_SPS, bits.Bytes());
}

inline H264Packet C264PpsUnit(const H264Parameters& parameters)
{
    CH264Bits bits;
    WriteH264Pps(parameters, &bits);
    return C264Unit(UNIT_PPS, bits.Bytes());
}

/// Parameters of handmade slices: CAVLC, and the slice says how it is filtered.
inline H264Parameters C264HandmadeParameters()
{
    H264Parameters parameters;
    parameters.deblocking_filter_control_present = true;
    return parameters;
}

struct C264HandmadeSlice {
    uint32_t first_mb = 0;
    uint32_t type = 2;
    int qp = 40;
    uint32_t disable_deblocking_filter_idc = 1;
    uint32_t frame_num = 0;
};

/// The header of a slice that isn't IDR, under C264HandmadeParameters.
inline CH264Bits C264SliceStart(const C264HandmadeSlice& slice)
{
    CH264Bits bits;
    bits.Ue(slice.first_mb).Ue(slice.type).Ue(0).Bits(slice.frame_num, 4);
    if (slice.type == 0) bits.Bit(false);  // num_ref_idx_active_override_flag
    if (slice.type != 2) bits.Bit(false);  // ref_pic_list_modification_flag_l0
    bits.Bit(false);                       // adaptive_ref_pic_marking_mode_flag
    bits.Se(slice.qp - 26).Ue(slice.disable_deblocking_filter_idc);
    if (slice.disable_deblocking_filter_idc != 1) bits.Se(0).Se(0);
    return bits;
}

/// An intra macroblock of one colour in CAVLC: the DC prediction, and above it `level` (-1, 0 or 1) steps,
/// which are 4 at a quantiser of 40.
inline void C264Flat(CH264Bits* bits, int level, uint32_t firstIntraType = 0)
{
    bits->Ue(firstIntraType + 3).Ue(0).Se(0);  // intra 16x16, DC, nothing coded; chroma DC; no mb_qp_delta
    if (level == 0) {
        bits->Code("1");
    } else {
        bits->Code("01").Bit(level < 0).Code("1");
    }
}

/// A predicted macroblock of one vector without a residual.
inline void C264Moved(CH264Bits* bits, int mvdX, int mvdY)
{
    bits->Ue(0).Ue(0).Se(mvdX).Se(mvdY).Ue(0);  // no skipped ones before it, P_L0_16x16, mvd, nothing coded
}

/// A slice of macroblocks of one colour each.
inline CH264Bits C264Flats(const std::vector<int>& levels, const C264HandmadeSlice& slice = {})
{
    CH264Bits bits = C264SliceStart(slice);
    for (const int level : levels)
        C264Flat(&bits, level);
    return bits;
}

inline CH264Bits C264AllSkipped(uint32_t count)
{
    CH264Bits bits = C264SliceStart({.type = 0});
    bits.Ue(count);
    return bits;
}

inline H264Packet C264SliceUnit(CH264Bits bits, int unit = UNIT_SLICE, int refIdc = 1)
{
    bits.Trailing();
    return C264Unit(unit, bits.Bytes(), refIdc);
}

/// Both parameter sets.
inline H264Packet C264ParameterUnits()
{
    return C264Joined({C264SpsUnit(C264HandmadeParameters()), C264PpsUnit(C264HandmadeParameters())});
}

/// One decoder under its own interface.
class C264Fed
{
  public:
    C264Fed(int width, int height, int mode = 0) : m_pHandle(c264_open(width, height, mode)) {}
    ~C264Fed() { c264_close(m_pHandle); }
    C264Fed(const C264Fed&) = delete;
    C264Fed& operator=(const C264Fed&) = delete;

    /// Zero bytes follow, as with the links, so that a unit's end is seen.
    int32_t Feed(H264Packet packet, size_t padding = 8)
    {
        packet.resize(packet.size() + padding);
        picture = {};
        return c264_decode(m_pHandle, packet.data(), static_cast<int32_t>(packet.size()), &picture, &got,
                           &stats);
    }

    /// Parameter sets and a slice in one call.
    int32_t FeedSlice(const CH264Bits& slice, int unit = UNIT_SLICE)
    {
        return Feed(C264Joined({C264ParameterUnits(), C264SliceUnit(slice, unit)}));
    }

    int Luma(int x, int y) const { return picture.plane[0][y * picture.stride[0] + x]; }

    /// The sample in the middle of a macroblock.
    int Middle(int mbX, int mbY) const { return Luma(16 * mbX + 8, 16 * mbY + 8); }

    C264Handle* Handle() const { return m_pHandle; }

    C264Picture picture = {};
    C264Stats stats = {};
    int32_t got = -1;

  private:
    C264Handle* m_pHandle;
};

/// 2 by 2 macroblocks of 132, 136, 132 and, between its neighbours, 134.
inline void C264FeedColumns(C264Fed* fed)
{
    fed->FeedSlice(C264Flats({1, 1, 0, 0}));
    ASSERT_EQ(fed->Middle(0, 0), 132);
    ASSERT_EQ(fed->Middle(1, 0), 136);
    ASSERT_EQ(fed->Middle(0, 1), 132);
}

/// The warnings since this was made. It fills the ring first, so that nothing older is counted and nothing that
/// is counted was pushed out; up to 254 warnings of all texts.
class CC264NewWarnings
{
  public:
    CC264NewWarnings()
    {
        static constexpr char MARK[] = "older";
        for (size_t i = 0; i < C264_LOG_SIZE; ++i)
            c264_log(MARK);
    }

    int Count(const char* text) const
    {
        int32_t count = 0;
        const std::atomic<const char*>* const ring = c264_log_get(&count);
        int found = 0;
        for (int32_t i = 1; i < count; ++i)  // slot 0 keeps the first one of the process
            found += ring[i].load() == text;
        return found;
    }
};
