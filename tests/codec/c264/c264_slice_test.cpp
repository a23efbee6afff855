// What slices do that no encoder writes: early ends, types beyond the tables, I_PCM, slices that begin lower.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "tests/codec/c264/c264_handmade_support.h"
#include "tests/support/h264_random.h"
#include "tests/support/h264_streams.h"

namespace
{
constexpr int BLACK = 16;  // what both buffers hold at first

CH264Bits Flats(std::initializer_list<int> levels, const C264HandmadeSlice& slice = {})
{
    CH264Bits bits = C264SliceStart(slice);
    for (const int level : levels)
        C264Flat(&bits, level);
    return bits;
}

CH264Bits AllSkipped(uint32_t count)
{
    CH264Bits bits = C264SliceStart({.type = 0});
    bits.Ue(count);
    return bits;
}

/// 2 by 2 macroblocks of 132, 136, 132 and, between its neighbours, 134.
void FeedColumns(C264Fed* fed)
{
    fed->FeedSlice(Flats({1, 1, 0, 0}));
    ASSERT_EQ(fed->Middle(0, 0), 132);
    ASSERT_EQ(fed->Middle(1, 0), 136);
    ASSERT_EQ(fed->Middle(0, 1), 132);
}

// oddity: pcm-unread
TEST(C264Slice, PcmUnreadIsIntended)
{
    C264Fed fed(48, 16);
    CH264Bits bits = C264SliceStart({});
    C264Flat(&bits, 1);
    bits.Ue(25);  // I_PCM: what follows is the next macroblock
    C264Flat(&bits, 1);
    fed.FeedSlice(bits);
    EXPECT_EQ(fed.Middle(0, 0), 132);
    EXPECT_EQ(fed.Middle(1, 0), BLACK) << "painted nothing";
    EXPECT_EQ(fed.Middle(2, 0), BLACK + 4) << "predicted from what stood there";
}

// oddity: pcm-unread
TEST(C264Slice, PcmUnreadIsIntendedToBeNoIntraForTheFilter)
{
    C264Fed fed(32, 16);
    fed.FeedSlice(Flats({1, 1}));
    fed.FeedSlice(Flats({1, 1}));
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
TEST(C264Slice, PcmUnreadIsIntendedToHaveNoVectorsOfTheMacroblockBefore)
{
    C264Fed fed(32, 16);
    fed.FeedSlice(Flats({1, 1}));
    CH264Bits halves = C264SliceStart({.type = 0});
    halves.Ue(1).Ue(1).Se(0).Se(0).Se(-64).Se(0).Ue(0);  // 16x8, the lower half from the macroblock on the left
    fed.FeedSlice(halves);
    fed.FeedSlice(AllSkipped(2));  // both buffers hold it now
    ASSERT_EQ(fed.Luma(24, 7), 136);
    ASSERT_EQ(fed.Luma(24, 8), 132);
    CH264Bits bits = C264SliceStart({.type = 0, .qp = 51, .disable_deblocking_filter_idc = 0});
    bits.Ue(0).Ue(1).Se(0).Se(0).Se(32).Se(0).Ue(0);  // two vectors
    bits.Ue(0).Ue(30);                                // I_PCM
    fed.FeedSlice(bits);
    EXPECT_EQ(fed.Luma(24, 7), 136) << "no edge inside";
    EXPECT_EQ(fed.Luma(24, 8), 132);
}

TEST(C264Slice, PcmInAnArithmeticSliceReadsNothingEither)
{
    // the bins of mb_type I_PCM: one that isn't intra 4x4, and the terminating one
    H264Parameters parameters = C264HandmadeParameters();
    parameters.entropy_coding_mode = true;
    C264Fed fed(16, 16);
    CH264Bits bits = C264SliceStart({});
    bits.AlignWith(true).Bits(0xFFFFFFFF, 32).Bits(0xFFFFFFFF, 32);
    fed.Feed(
        C264Joined({C264SpsUnit(parameters), C264PpsUnit(parameters), C264Unit(UNIT_SLICE, bits.Bytes())}));
    EXPECT_EQ(fed.iGot, 1);
}

/// A stream of one macroblock, I and P, in CABAC.
H264Packet OneMacroblock(bool intra)
{
    H264Sequence sequence;
    sequence.parameters = C264HandmadeParameters();
    H264Picture picture;
    picture.header.slice_qp = 40;
    picture.header.disable_deblocking_filter_idc = 1;
    H264Macroblock mb;
    mb.type = EH264Mb::I16x16;
    mb.intra16x16_mode = 2;
    mb.luma_dc[0] = 1;
    mb.qp = 40;
    picture.mbs = {mb};
    sequence.pictures = {picture};
    if (!intra) {
        picture.header.intra = false;
        picture.header.idr = false;
        picture.mbs[0] = {};
        picture.mbs[0].qp = 40;
        sequence.pictures.push_back(picture);
    }
    return WriteH264(sequence, true).back();
}

// oddity: stale-macroblock
TEST(C264Slice, StaleMacroblockIsIntendedToCoverTheRestOfASliceThatEndsEarly)
{
    C264Fed fed(32, 32);
    const int before = C264Warnings(C264_WARNING_IN_SLICE);
    const int ends_before = C264Warnings(C264_WARNING_END_OF_I);
    fed.Feed(OneMacroblock(true));
    EXPECT_EQ(fed.iGot, 1);
    // prediction and residual are applied again, from each place's own neighbours
    EXPECT_EQ(fed.Middle(0, 0), 132);
    EXPECT_EQ(fed.Middle(1, 0), 136);
    EXPECT_EQ(fed.Middle(0, 1), 136);
    EXPECT_EQ(fed.Middle(1, 1), 140);
    EXPECT_EQ(C264Warnings(C264_WARNING_IN_SLICE), before + 3) << "one for each macroblock";
    EXPECT_EQ(C264Warnings(C264_WARNING_END_OF_I), ends_before) << "the terminating bin stays 1";
}

// oddity: stale-macroblock
TEST(C264Slice, StaleMacroblockIsIntendedToLastForMoreMacroblocksThanTheRangeHasSteps)
{
    constexpr int ACROSS = 24;
    constexpr int DOWN = 24;
    C264Fed fed(16 * ACROSS, 16 * DOWN);
    fed.Feed(OneMacroblock(true));
    // each terminating bin that is read takes 2 of a range below 512: none is read behind the first that was 1
    for (int y = 0; y < DOWN; ++y) {
        for (int x = 0; x < ACROSS; ++x)
            ASSERT_EQ(fed.Middle(x, y), std::min(132 + 4 * (x + y), 255)) << x << " " << y;
    }
}

/// The first row of samples of three macroblocks, the first of which is all that the slice has: a predicted one
/// with a coefficient beside its right edge.
std::vector<int> RowOfStaleCoefficients(bool filtered)
{
    H264Sequence sequence;
    sequence.parameters = C264HandmadeParameters();
    H264Picture picture;
    picture.header.slice_qp = 30;
    picture.header.disable_deblocking_filter_idc = 1;
    H264Macroblock mb;
    mb.type = EH264Mb::I16x16;
    mb.intra16x16_mode = 2;
    mb.qp = 30;
    picture.mbs = {mb};
    sequence.pictures = {picture};
    picture.header.intra = false;
    picture.header.idr = false;
    picture.header.disable_deblocking_filter_idc = filtered ? 0 : 1;
    mb = {};
    mb.type = EH264Mb::P16x16;
    mb.cbp_luma = 2;
    mb.luma[3][1] = 1;
    mb.qp = 30;
    picture.mbs = {mb};
    sequence.pictures.push_back(picture);
    C264Fed fed(48, 16);
    for (const H264Packet& packet : WriteH264(sequence, true))
        fed.Feed(packet);
    std::vector<int> row;
    for (int x = 0; x < 48; ++x)
        row.push_back(fed.Luma(x, 0));
    return row;
}

// oddity: stale-macroblock
TEST(C264Slice, StaleMacroblockIsIntendedToCountAsOneWithoutCoefficients)
{
    const std::vector<int> unfiltered = RowOfStaleCoefficients(false);
    const std::vector<int> filtered = RowOfStaleCoefficients(true);
    const auto part = [](const std::vector<int>& row, int from, int to) {
        return std::vector(row.begin() + from, row.begin() + to);
    };
    ASSERT_NE(unfiltered[15], 128);
    EXPECT_EQ(part(unfiltered, 0, 16), part(unfiltered, 16, 32)) << "the residual is added once more";
    EXPECT_NE(part(filtered, 13, 16), part(unfiltered, 13, 16)) << "the edge of the one that was read";
    EXPECT_EQ(part(filtered, 20, 48), part(unfiltered, 20, 48)) << "no edge beside stale coefficients";
}

TEST(C264Slice, SliceThatGoesOnBeyondThePictureIsWarnedOf)
{
    // four macroblocks in a stream, one in the picture: the terminating bin behind it is 0
    const H264Sequence sequence =
        MakeRandomH264({.seed = 3, .width_mbs = 2, .height_mbs = 2, .pictures = 4, .gop = 4});
    const std::vector<H264Packet> packets = WriteH264(sequence, true);
    const int i_before = C264Warnings(C264_WARNING_END_OF_I);
    const int p_before = C264Warnings(C264_WARNING_END_OF_P);
    C264Fed fed(16, 16);
    int i_slices = 0;
    int p_slices = 0;
    for (size_t k = 0; k < packets.size(); ++k) {
        fed.Feed(packets[k]);
        EXPECT_EQ(fed.iGot, 1);
        (sequence.pictures[k].header.intra ? i_slices : p_slices) += 1;
    }
    ASSERT_GT(p_slices, 0);
    EXPECT_EQ(C264Warnings(C264_WARNING_END_OF_I), i_before + i_slices);
    EXPECT_EQ(C264Warnings(C264_WARNING_END_OF_P), p_before + p_slices);
}

// oddity: first-mb-column
TEST(C264Slice, FirstMbColumnIsIntendedToBeIgnored)
{
    C264Fed fed(32, 32);
    fed.FeedSlice(Flats({1, 0}, {.first_mb = 3}));
    EXPECT_EQ(fed.Middle(0, 0), BLACK);
    EXPECT_EQ(fed.Middle(1, 0), BLACK);
    EXPECT_EQ(fed.Middle(0, 1), 132) << "the row begins at its left edge, without the samples above";
    EXPECT_EQ(fed.Middle(1, 1), 132);
}

TEST(C264Slice, FirstMbBeyondTheEndStillHandsOutAndRotates)
{
    C264Fed fed(32, 32);
    FeedColumns(&fed);
    const uint8_t* const first = fed.Picture.plane[0];
    fed.FeedSlice(Flats({1, 1}, {.first_mb = 4}));
    EXPECT_EQ(fed.iGot, 1);
    EXPECT_EQ(fed.Middle(0, 0), BLACK) << "the picture of two before";
    EXPECT_EQ(fed.Middle(0, 1), BLACK) << "in its last row, too";
    fed.FeedSlice(Flats({}, {.first_mb = 0xFFFFFFF0}));
    EXPECT_EQ(fed.Picture.plane[0], first);
    EXPECT_EQ(fed.Middle(0, 0), 132);
}

TEST(C264Slice, SkipRunBeyondTheEndIsNotCarriedOver)
{
    C264Fed fed(32, 32);
    FeedColumns(&fed);
    fed.FeedSlice(AllSkipped(1000000));
    EXPECT_EQ(fed.Middle(1, 1), 134);
    CH264Bits bits = C264SliceStart({.type = 0});
    bits.Ue(0);
    C264Flat(&bits, 1, 5);
    bits.Ue(3);
    fed.FeedSlice(bits);
    EXPECT_EQ(fed.Middle(0, 0), 132) << "a coded macroblock: 128 and a step";
    EXPECT_EQ(fed.Luma(1, 1), 132);
    EXPECT_EQ(fed.Middle(1, 0), 136);
}

TEST(C264Slice, MbTypeRow4IsP8x8)
{
    std::array<std::vector<uint8_t>, 2> pictures;
    for (const uint32_t type : {3u, 4u}) {
        C264Fed fed(32, 32);
        FeedColumns(&fed);
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

// oddity: type-beyond-table
TEST(C264Slice, TypeBeyondTableIsIntendedToActAsPcm)
{
    C264Fed fed(32, 32);
    FeedColumns(&fed);
    for (const uint32_t type : {31u, 1000u}) {
        SCOPED_TRACE(type);
        CH264Bits bits = C264SliceStart({.type = 0});
        bits.Ue(0).Ue(type).Ue(3);
        C264Fed other(32, 32);
        FeedColumns(&other);
        other.FeedSlice(bits);
        EXPECT_EQ(other.Middle(0, 0), BLACK) << "nothing painted: the picture of two before";
        EXPECT_EQ(other.Middle(1, 0), 136);
    }
    CH264Bits intra = C264SliceStart({});
    intra.Ue(26);
    C264Flat(&intra, 0);
    C264Fed other(32, 16);
    other.FeedSlice(intra);
    EXPECT_EQ(other.Middle(0, 0), BLACK);
    EXPECT_EQ(other.Middle(1, 0), BLACK) << "predicted from the left";
}

// oddity: type-beyond-table
TEST(C264Slice, TypeBeyondTableIsIntendedForSubTypesToo)
{
    C264Fed fed(32, 32);
    FeedColumns(&fed);
    CH264Bits bits = C264SliceStart({.type = 0});
    bits.Ue(0).Ue(3).Ue(0).Ue(4).Ue(0).Ue(77);
    bits.Se(0).Se(0).Se(0).Se(0);  // two quadrants have vectors
    bits.Ue(0).Ue(3);
    fed.FeedSlice(bits);
    EXPECT_EQ(fed.Luma(4, 4), 132);
    EXPECT_EQ(fed.Luma(12, 4), BLACK);
    EXPECT_EQ(fed.Luma(4, 12), 132);
    EXPECT_EQ(fed.Luma(12, 12), BLACK);
    EXPECT_EQ(fed.Middle(1, 0), 136);
}

// oddity: type-beyond-table
TEST(C264Slice, TypeBeyondTableIsIntendedToLeaveNoVectorOfTheMacroblockBefore)
{
    C264Fed fed(48, 16);
    fed.FeedSlice(Flats({1, 1, 1}));
    CH264Bits bits = C264SliceStart({.type = 0});
    C264Moved(&bits, -64, 0);
    bits.Ue(0).Ue(3).Ue(4).Ue(4).Ue(4).Ue(4).Ue(0);
    C264Moved(&bits, 0, 0);  // predicted from the one on its left alone
    fed.FeedSlice(bits);
    EXPECT_EQ(fed.Middle(2, 0), 140) << "a vector of zero";
}

TEST(C264Slice, SliceThatBeginsLowerMeetsTheVectorsOfAnOlderPicture)
{
    C264Fed fed(32, 32);
    FeedColumns(&fed);
    // above: a vector of one macroblock to the right; beside it intra, so that only the one above counts
    CH264Bits above = C264SliceStart({.type = 0});
    C264Moved(&above, 64, 0);
    above.Ue(0);
    C264Flat(&above, 0, 5);
    above.Ue(2);
    fed.FeedSlice(above);
    ASSERT_EQ(fed.Middle(0, 0), 136);
    FeedColumns(&fed);  // intra records would hide it
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
    fed.FeedSlice(Flats({1, 1}));
    fed.FeedSlice(Flats({1, 1}));
    fed.FeedSlice(Flats({0}, {.first_mb = 1}));
    EXPECT_EQ(fed.Middle(0, 0), 132);
    EXPECT_EQ(fed.Middle(0, 1), 128);
}

// oddity: top-right-in-first-row
TEST(C264Slice, TopRightInFirstRowIsIntendedToCountAsThere)
{
    C264Fed fed(32, 32);
    FeedColumns(&fed);
    FeedColumns(&fed);
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
    CH264Bits bits = Flats({1, 1, 0, 0});
    bits.Trailing();
    // such a slice has the flag here, though the standard gives it none without a reference, and is a reference
    fed.Feed(
        C264Joined({C264SpsUnit(parameters), C264PpsUnit(parameters), C264Unit(UNIT_SLICE, bits.Bytes(), 0)}));
    EXPECT_EQ(fed.Middle(1, 0), 136);
    fed.FeedSlice(AllSkipped(4));
    EXPECT_EQ(fed.Middle(1, 0), 136);
}

TEST(C264Slice, FilterModesAboveOneStayWithinTheSlice)
{
    for (const uint32_t idc : {0u, 2u, 3u}) {
        SCOPED_TRACE(idc);
        C264Fed fed(16, 32);
        fed.FeedSlice(Flats({1, 1}));
        fed.FeedSlice(Flats({1, 1}));
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
    FeedColumns(&fed);
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
    FeedColumns(&fed);
    for (const int x : {-30000, -200, 200, 30000}) {
        for (const int y : {-30000, 0, 30000}) {
            CH264Bits bits = C264SliceStart({.type = 0});
            C264Moved(&bits, x, y);
            bits.Ue(0);
            C264Flat(&bits, 0, 5);
            bits.Ue(2);
            C264Fed one(32, 32);
            FeedColumns(&one);
            one.FeedSlice(bits);
            EXPECT_EQ(one.Middle(0, 0), x < 0 ? 132 : y > 0 ? 134 : 136) << x << " " << y;
        }
    }
}

// oddity: golomb-too-long
TEST(C264Slice, GolombTooLongIsIntendedToBeZeroInSliceDataToo)
{
    C264Fed fed(32, 32);
    FeedColumns(&fed);
    CH264Bits bits = C264SliceStart({.type = 0});
    bits.Ue(0).Ue(0).Se(64).Bits(0, 32);  // a vertical difference of zero, by 32 zeros
    bits.Ue(0).Ue(3);
    fed.FeedSlice(bits);
    EXPECT_EQ(fed.Middle(0, 0), 136) << "moved by a macroblock";
    EXPECT_EQ(fed.Middle(1, 0), 136);
    EXPECT_EQ(fed.Middle(0, 1), 132);
}

TEST(C264Slice, UnitThatEndsInTheMiddleGoesOnWithZeros)
{
    C264Fed fed(32, 32);
    FeedColumns(&fed);
    fed.Feed(C264Unit(9, std::vector<uint8_t>(400, 0x55)));  // what the unit would meet behind its end
    CH264Bits bits = C264SliceStart({.type = 0});
    bits.AlignWith(false);
    fed.Feed(C264Unit(UNIT_SLICE, bits.Bytes()));
    EXPECT_EQ(fed.iGot, 1);
    // zeros: no skip run, 16x16 with no difference, nothing coded
    EXPECT_EQ(fed.Middle(0, 0), 132);
    EXPECT_EQ(fed.Middle(1, 1), 134);
}

TEST(C264Slice, UnitThatEndsEarlyInALargePictureGoesOnWithZerosToItsEnd)
{
    constexpr int SIZE = 512;
    const auto samples = [](const C264Fed& fed) {
        std::vector<int> all;
        for (int i = 0; i < SIZE * SIZE; ++i)
            all.push_back(fed.Luma(i % SIZE, i / SIZE));
        return all;
    };
    C264Fed fed(SIZE, SIZE);
    fed.FeedSlice(Flats({1, 1, 1}));
    const std::vector<int> before = samples(fed);
    fed.Feed(C264Unit(9, std::vector<uint8_t>(60000, 0x55)));  // what the unit would meet far behind its end
    CH264Bits bits = C264SliceStart({.type = 0});
    bits.AlignWith(false);
    fed.Feed(C264Unit(UNIT_SLICE, bits.Bytes()));
    EXPECT_EQ(fed.iGot, 1);
    // more bits of zeros than the padding behind a unit has: 16x16 with no difference, again and again
    EXPECT_TRUE(samples(fed) == before);
}
}  // namespace
