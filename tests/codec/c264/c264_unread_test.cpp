// Macroblocks of which nothing is read: I_PCM, and types beyond the tables.
#include <gtest/gtest.h>

#include "tests/codec/c264/c264_handmade_support.h"
#include "tests/support/h264_cabac_engine.h"

namespace
{
// oddity: pcm-unread
TEST(C264Unread, PcmUnreadIsIntended)
{
    C264Fed fed(48, 16);
    CH264Bits bits = C264SliceStart({});
    C264Flat(&bits, 1);
    bits.Ue(25);  // I_PCM: what follows is the next macroblock
    C264Flat(&bits, 1);
    fed.FeedSlice(bits);
    EXPECT_EQ(fed.Middle(0, 0), 132);
    EXPECT_EQ(fed.Middle(1, 0), C264_BLACK) << "painted nothing";
    EXPECT_EQ(fed.Middle(2, 0), C264_BLACK + 4) << "predicted from what stood there";
}

// oddity: pcm-unread
TEST(C264Unread, PcmUnreadIsIntendedToBeNoIntraForTheFilter)
{
    C264Fed fed(32, 16);
    fed.FeedSlice(C264Flats({1, 1}));
    fed.FeedSlice(C264Flats({1, 1}));
    CH264Bits bits = C264SliceStart({.qp = 51, .disable_deblocking_filter_idc = 0});
    bits.Ue(25).Ue(25);
    fed.FeedSlice(bits);
    EXPECT_EQ(fed.Luma(15, 8), 132);
    EXPECT_EQ(fed.Luma(16, 8), 136);
    CH264Bits intra = C264SliceStart({.qp = 51, .disable_deblocking_filter_idc = 0});
    intra.Ue(25).Ue(1).Ue(2).Se(0).Code(
        "1");  // vertical: the black border, so that its left edge would move far
    fed.FeedSlice(intra);
    EXPECT_NE(fed.Luma(15, 8), 132) << "beside an intra one it is filtered";
}

// oddity: pcm-unread
TEST(C264Unread, PcmUnreadIsIntendedToHaveNoVectorsOfTheMacroblockBefore)
{
    C264Fed fed(32, 16);
    fed.FeedSlice(C264Flats({1, 1}));
    CH264Bits halves = C264SliceStart({.type = 0});
    halves.Ue(1).Ue(1).Se(0).Se(0).Se(-64).Se(0).Ue(0);  // 16x8, the lower half from the macroblock on the left
    fed.FeedSlice(halves);
    fed.FeedSlice(C264AllSkipped(2));  // both buffers hold it now
    ASSERT_EQ(fed.Luma(24, 7), 136);
    ASSERT_EQ(fed.Luma(24, 8), 132);
    CH264Bits bits = C264SliceStart({.type = 0, .qp = 51, .disable_deblocking_filter_idc = 0});
    bits.Ue(0).Ue(1).Se(0).Se(0).Se(32).Se(0).Ue(0);  // two vectors
    bits.Ue(0).Ue(30);                                // I_PCM
    fed.FeedSlice(bits);
    EXPECT_EQ(fed.Luma(24, 7), 136) << "no edge inside";
    EXPECT_EQ(fed.Luma(24, 8), 132);
}

TEST(C264Unread, PcmInAnArithmeticSliceReadsNothingEither)
{
    H264Parameters parameters = C264HandmadeParameters();
    parameters.entropy_coding_mode = true;
    C264Fed fed(32, 16);
    CH264Bits bits = C264SliceStart({});
    CH264CabacEngine engine(H264_CONTEXT_START_I, 40, &bits.AlignWith(true));
    engine.Decision(3, true);  // mb_type I_PCM: not intra 4x4, and the terminating bin
    engine.Terminate(true);
    fed.Feed(
        C264Joined({C264SpsUnit(parameters), C264PpsUnit(parameters), C264Unit(UNIT_SLICE, bits.Bytes())}));
    EXPECT_EQ(fed.got, 1);
    EXPECT_EQ(fed.Middle(0, 0), C264_BLACK) << "painted nothing";
}

// oddity: type-beyond-table
TEST(C264Unread, TypeBeyondTableIsIntendedToActAsPcm)
{
    C264Fed fed(32, 32);
    C264FeedColumns(&fed);
    for (const uint32_t type : {31u, 1000u}) {
        SCOPED_TRACE(type);
        CH264Bits bits = C264SliceStart({.type = 0});
        bits.Ue(0).Ue(type).Ue(3);
        C264Fed other(32, 32);
        C264FeedColumns(&other);
        other.FeedSlice(bits);
        EXPECT_EQ(other.Middle(0, 0), C264_BLACK) << "nothing painted: the picture of two before";
        EXPECT_EQ(other.Middle(1, 0), 136);
    }
    CH264Bits intra = C264SliceStart({});
    intra.Ue(26);
    C264Flat(&intra, 0);
    C264Fed other(32, 16);
    other.FeedSlice(intra);
    EXPECT_EQ(other.Middle(0, 0), C264_BLACK);
    EXPECT_EQ(other.Middle(1, 0), C264_BLACK) << "predicted from the left";
}

// oddity: type-beyond-table
TEST(C264Unread, TypeBeyondTableIsIntendedForSubTypesToo)
{
    C264Fed fed(32, 32);
    C264FeedColumns(&fed);
    CH264Bits bits = C264SliceStart({.type = 0});
    bits.Ue(0).Ue(3).Ue(0).Ue(4).Ue(0).Ue(77);
    bits.Se(0).Se(0).Se(0).Se(0);  // two quadrants have vectors
    bits.Ue(0).Ue(3);
    fed.FeedSlice(bits);
    EXPECT_EQ(fed.Luma(4, 4), 132);
    EXPECT_EQ(fed.Luma(12, 4), C264_BLACK);
    EXPECT_EQ(fed.Luma(4, 12), 132);
    EXPECT_EQ(fed.Luma(12, 12), C264_BLACK);
    EXPECT_EQ(fed.Middle(1, 0), 136);
}

// oddity: type-beyond-table
TEST(C264Unread, TypeBeyondTableIsIntendedToLeaveNoVectorOfTheMacroblockBefore)
{
    C264Fed fed(48, 16);
    fed.FeedSlice(C264Flats({1, 1, 1}));
    CH264Bits bits = C264SliceStart({.type = 0});
    C264Moved(&bits, -64, 0);
    bits.Ue(0).Ue(3).Ue(4).Ue(4).Ue(4).Ue(4).Ue(0);
    C264Moved(&bits, 0, 0);  // predicted from the one on its left alone
    fed.FeedSlice(bits);
    EXPECT_EQ(fed.Middle(2, 0), 140) << "a vector of zero";
}

// oddity: type-beyond-table
TEST(C264Unread, TypeBeyondTableIsIntendedToBeNoPatternAtAll)
{
    for (const uint32_t code : {48u, 1000u}) {
        SCOPED_TRACE(code);
        C264Fed fed(32, 32);
        C264FeedColumns(&fed);
        CH264Bits bits = C264SliceStart({.type = 0});
        bits.Ue(0).Ue(0).Se(64).Se(0).Ue(code);  // moved; a coded_block_pattern that isn't one: no residual
        C264Moved(&bits, -64, 0);                // as predicted from the one on its left: no vector
        bits.Ue(2);
        fed.FeedSlice(bits);
        EXPECT_EQ(fed.Middle(0, 0), 136);
        EXPECT_EQ(fed.Middle(1, 0), 136);
        EXPECT_EQ(fed.Middle(0, 1), 132);
    }
}

// oddity: type-beyond-table
TEST(C264Unread, TypeBeyondTableIsIntendedToBeAnotherKernelForChromaModes)
{
    for (const uint32_t mode : {0u, 4u, 5u, 12u, 15u, 16u, 1000u}) {
        SCOPED_TRACE(mode);
        CH264Bits bits = C264SliceStart({});
        bits.Ue(7).Ue(0).Se(0).Code("1");                      // intra 16x16, DC, with chroma DC levels
        bits.Code("000111").Code("001").Code("1").Code("01");  // one of 3 in U
        bits.Ue(3).Ue(mode).Se(0).Code("1");
        C264Fed fed(32, 16);
        fed.FeedSlice(bits);
        const uint8_t* const row = fed.picture.plane[1];
        EXPECT_GT(row[4], 128);
        EXPECT_EQ(row[12], mode <= 4 ? row[4] : 128) << "DC of the left neighbour, or the constant";
    }
}
}  // namespace
