// What slices do that no encoder writes: beginnings in the middle of a picture, filter modes, vectors far out.
#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "tests/codec/c264/c264_handmade_support.h"

namespace
{
// oddity: first-mb-column
TEST(C264Slice, FirstMbColumnIsIntendedToBeIgnored)
{
    C264Fed fed(32, 32);
    fed.FeedSlice(C264Flats({1, 0}, {.first_mb = 3}));
    EXPECT_EQ(fed.Middle(0, 0), C264_BLACK);
    EXPECT_EQ(fed.Middle(1, 0), C264_BLACK);
    EXPECT_EQ(fed.Middle(0, 1), 132) << "the row begins at its left edge, without the samples above";
    EXPECT_EQ(fed.Middle(1, 1), 132);
}

TEST(C264Slice, FirstMbBeyondTheEndStillHandsOutAndRotates)
{
    C264Fed fed(32, 32);
    C264FeedColumns(&fed);
    const uint8_t* const first = fed.picture.plane[0];
    fed.FeedSlice(C264Flats({1, 1}, {.first_mb = 4}));
    EXPECT_EQ(fed.got, 1);
    EXPECT_EQ(fed.Middle(0, 0), C264_BLACK) << "the picture of two before";
    EXPECT_EQ(fed.Middle(0, 1), C264_BLACK) << "in its last row, too";
    fed.FeedSlice(C264Flats({}, {.first_mb = 0xFFFFFFF0}));
    EXPECT_EQ(fed.picture.plane[0], first);
    EXPECT_EQ(fed.Middle(0, 0), 132);
}

TEST(C264Slice, MbTypeRow4IsP8x8)
{
    std::array<std::vector<uint8_t>, 2> pictures;
    for (const uint32_t type : {3u, 4u}) {
        C264Fed fed(32, 32);
        C264FeedColumns(&fed);
        CH264Bits bits = C264SliceStart({.type = 0});
        bits.Ue(0).Ue(type).Ue(0).Ue(1).Ue(2).Ue(3);  // quadrants of 8x8, 8x4, 4x8 and 4x4
        for (int vector = 0; vector < 1 + 2 + 2 + 4; ++vector)
            bits.Se(5 * vector).Se(vector);
        bits.Ue(0).Ue(3);
        fed.FeedSlice(bits);
        for (int i = 0; i < 32 * 32; ++i)
            pictures[type - 3].push_back(static_cast<uint8_t>(fed.Luma(i % 32, i / 32)));
    }
    EXPECT_EQ(pictures[0], pictures[1]);
    EXPECT_EQ(pictures[0][8 * 32 + 15], 136) << "the vectors move the picture";
}

TEST(C264Slice, SliceThatBeginsLowerMeetsTheVectorsOfAnOlderPicture)
{
    C264Fed fed(32, 32);
    C264FeedColumns(&fed);
    // above: a vector of one macroblock to the right; beside it intra, so that only the one above counts
    CH264Bits above = C264SliceStart({.type = 0});
    C264Moved(&above, 64, 0);
    above.Ue(0);
    C264Flat(&above, 0, 5);
    above.Ue(2);
    fed.FeedSlice(above);
    ASSERT_EQ(fed.Middle(0, 0), 136);
    C264FeedColumns(&fed);  // intra records would hide it
    fed.FeedSlice(above);
    const int right = fed.Middle(1, 1);
    ASSERT_NE(right, fed.Middle(0, 1));
    CH264Bits lower = C264SliceStart({.first_mb = 2, .type = 0});
    C264Moved(&lower, 0, 0);
    lower.Ue(1);
    fed.FeedSlice(lower);
    EXPECT_EQ(fed.Middle(0, 1), right)
        << "predicted from the vector above, though that is no part of the slice";
}

TEST(C264Slice, IntraInTheFirstRowOfASliceUsesNothingAbove)
{
    C264Fed fed(16, 32);
    fed.FeedSlice(C264Flats({1, 1}));
    fed.FeedSlice(C264Flats({1, 1}));
    fed.FeedSlice(C264Flats({0}, {.first_mb = 1}));
    EXPECT_EQ(fed.Middle(0, 0), 132);
    EXPECT_EQ(fed.Middle(0, 1), 128);
}

// oddity: top-right-in-first-row
TEST(C264Slice, TopRightInFirstRowIsIntendedToCountAsThere)
{
    C264Fed fed(32, 32);
    C264FeedColumns(&fed);
    C264FeedColumns(&fed);
    CH264Bits bits = C264SliceStart({.first_mb = 2});
    // intra 4x4, all DC but the upper right block, which slants down from above and right
    bits.Ue(0).Code("11111").Code("0010").Code("1111111111").Ue(0).Ue(3);
    C264Flat(&bits, 0);
    fed.FeedSlice(bits);
    EXPECT_EQ(fed.Luma(12, 16), 132);
    EXPECT_EQ(fed.Luma(15, 19), 136)
        << "the macroblock above and right is read, though it is no part of the slice";
    EXPECT_EQ(fed.Luma(0, 16), 128) << "the one above isn't";
}

// oddity: marking-always-read
TEST(C264Slice, MarkingAlwaysReadIsIntended)
{
    C264Fed fed(32, 32);
    const H264Parameters parameters = C264HandmadeParameters();
    CH264Bits bits = C264Flats({1, 1, 0, 0});
    bits.Trailing();
    // such a slice has the flag here, though the standard gives it none without a reference, and is a reference
    fed.Feed(
        C264Joined({C264SpsUnit(parameters), C264PpsUnit(parameters), C264Unit(UNIT_SLICE, bits.Bytes(), 0)}));
    EXPECT_EQ(fed.Middle(1, 0), 136);
    fed.FeedSlice(C264AllSkipped(4));
    EXPECT_EQ(fed.Middle(1, 0), 136);
}

TEST(C264Slice, FilterModesAboveOneStayWithinTheSlice)
{
    for (const uint32_t idc : {0u, 2u, 3u}) {
        SCOPED_TRACE(idc);
        C264Fed fed(16, 32);
        fed.FeedSlice(C264Flats({1, 1}));
        fed.FeedSlice(C264Flats({1, 1}));
        CH264Bits bits = C264SliceStart({.first_mb = 1, .qp = 40, .disable_deblocking_filter_idc = idc});
        C264Flat(&bits, 0);
        fed.FeedSlice(bits);
        if (idc == 0) {
            EXPECT_LT(fed.Luma(8, 15), 132) << "across the slice's first row";
            EXPECT_GT(fed.Luma(8, 16), 128);
        } else {
            EXPECT_EQ(fed.Luma(8, 15), 132);
            EXPECT_EQ(fed.Luma(8, 16), 128);
        }
        // what stands in the border is what the next picture's vectors read
        const int edge = fed.Luma(0, 15);
        CH264Bits moved = C264SliceStart({.type = 0});
        C264Moved(&moved, -80, 0);
        moved.Ue(1);
        fed.FeedSlice(moved);
        EXPECT_EQ(fed.Luma(8, 15), edge);
    }
}

TEST(C264Slice, SkippedMacroblocksKeepTheirInterior)
{
    // one-sample steps inside a skipped macroblock stay, whatever the quantiser
    C264Fed fed(32, 32);
    C264FeedColumns(&fed);
    CH264Bits bits = C264SliceStart({.type = 0});
    bits.Ue(0).Ue(1);  // 16x8 with a vector of half a macroblock for the lower half
    bits.Se(0).Se(0).Se(32).Se(0).Ue(0);
    bits.Ue(3);
    fed.FeedSlice(bits);
    ASSERT_EQ(fed.Luma(12, 7), 132);
    ASSERT_EQ(fed.Luma(12, 8), 136);
    CH264Bits skipped = C264SliceStart({.type = 0, .qp = 51, .disable_deblocking_filter_idc = 0});
    skipped.Ue(4);
    fed.FeedSlice(skipped);
    EXPECT_EQ(fed.Luma(12, 7), 132);
    EXPECT_EQ(fed.Luma(12, 8), 136);
}

TEST(C264Slice, VectorsFarBeyondTheBorderReadTheEdge)
{
    C264Fed fed(32, 32);
    C264FeedColumns(&fed);
    for (const int x : {-30000, -200, 200, 30000}) {
        for (const int y : {-30000, 0, 30000}) {
            CH264Bits bits = C264SliceStart({.type = 0});
            C264Moved(&bits, x, y);
            bits.Ue(0);
            C264Flat(&bits, 0, 5);
            bits.Ue(2);
            C264Fed one(32, 32);
            C264FeedColumns(&one);
            one.FeedSlice(bits);
            EXPECT_EQ(one.Middle(0, 0), x < 0 ? 132 : y > 0 ? 134 : 136) << x << " " << y;
        }
    }
}

/// The U sample above a slice that begins in the second row, filtered across that edge, when the row above was
/// decoded with one chroma offset and the slice comes with another.
///   level   of the slice's only coefficient, in its U block: the edge is a step of 50 either way
int ChromaAboveTheSlice(int offsetAbove, int offset, int level)
{
    H264Sequence sequence;
    sequence.parameters = C264HandmadeParameters();
    sequence.parameters.heightMbs = 2;
    sequence.parameters.chroma_qp_index_offset = offsetAbove;
    H264Macroblock mb;
    mb.type = EH264Mb::I16x16;
    mb.intra16x16_mode = 2;
    mb.cbp_chroma = 1;
    mb.chroma_dc[0][0] = 9;
    mb.qp = 51;
    H264Picture picture;
    picture.header.slice_qp = 51;
    picture.header.disable_deblocking_filter_idc = 1;
    picture.mbs = {mb, mb};
    sequence.pictures = {picture, picture};
    C264Fed fed(16, 32);
    for (const H264Packet& packet : WriteH264(sequence, false))
        fed.Feed(packet);
    const auto above = [&] { return int{fed.picture.plane[1][7 * fed.picture.stride[1] + 4]}; };
    EXPECT_EQ(above(), 191);

    H264Parameters parameters = sequence.parameters;
    parameters.chroma_qp_index_offset = offset;
    CH264Bits bits = C264SliceStart({.first_mb = 1, .qp = 51, .disable_deblocking_filter_idc = 0});
    bits.Ue(7).Ue(0).Se(0).Code("1");  // intra 16x16, DC, U and V with DC levels; no luma
    bits.Code("000111").Bits(1, 2 * level - 3).Code("1").Code("01");  // one level in U, none in V
    fed.Feed(C264Joined({C264PpsUnit(parameters), C264SliceUnit(bits)}));
    EXPECT_NEAR(fed.picture.plane[1][12 * fed.picture.stride[1] + 4], 141, 1);
    return above();
}

TEST(C264Slice, ChromaAboveASliceThatBeginsLowerIsFilteredByTheOffsetOfTheSlice)
{
    EXPECT_NE(ChromaAboveTheSlice(12, 12, 2), 191) << "a threshold of 71";
    EXPECT_EQ(ChromaAboveTheSlice(12, -12, 3), 191) << "a threshold of 45";
}
}  // namespace
