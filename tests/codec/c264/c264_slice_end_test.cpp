// Slices that end too early or too late for their picture.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "tests/codec/c264/c264_handmade_support.h"
#include "tests/support/h264_random.h"

namespace
{
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
TEST(C264SliceEnd, StaleMacroblockIsIntendedToCoverTheRestOfASliceThatEndsEarly)
{
    C264Fed fed(32, 32);
    const CC264NewWarnings warnings;
    fed.Feed(OneMacroblock(true));
    EXPECT_EQ(fed.got, 1);
    // prediction and residual are applied again, from each place's own neighbours
    EXPECT_EQ(fed.Middle(0, 0), 132);
    EXPECT_EQ(fed.Middle(1, 0), 136);
    EXPECT_EQ(fed.Middle(0, 1), 136);
    EXPECT_EQ(fed.Middle(1, 1), 140);
    EXPECT_EQ(warnings.Count(C264_WARNING_IN_SLICE), 3) << "one for each macroblock";
    EXPECT_EQ(warnings.Count(C264_WARNING_END_OF_I), 0) << "the terminating bin stays 1";
}

// oddity: stale-macroblock
TEST(C264SliceEnd, StaleMacroblockIsIntendedToLastForMoreMacroblocksThanTheRangeHasSteps)
{
    constexpr int ACROSS = 24;
    constexpr int DOWN = 24;
    C264Fed fed(16 * ACROSS, 16 * DOWN);
    fed.Feed(OneMacroblock(true));
    // each terminating bin that is read takes 2 of a range below 512: none is read after the first that was 1
    for (int y = 0; y < DOWN; ++y) {
        for (int x = 0; x < ACROSS; ++x)
            ASSERT_EQ(fed.Middle(x, y), std::min(132 + 4 * (x + y), 255)) << x << " " << y;
    }
}

/// The first row of samples of three macroblocks, the first of which is all that the slice has: a predicted one
/// with a coefficient beside its right edge.
std::vector<int> RowOfStaleCoefficients(EH264Mb type, bool filtered)
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
    mb.type = type;
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
TEST(C264SliceEnd, StaleMacroblockIsIntendedToCountAsOneWithoutCoefficients)
{
    const auto part = [](const std::vector<int>& row, int from, int to) {
        return std::vector(row.begin() + from, row.begin() + to);
    };
    for (const EH264Mb type : {EH264Mb::P16x16, EH264Mb::P16x8, EH264Mb::P8x16}) {
        SCOPED_TRACE(static_cast<int>(type));
        const std::vector<int> unfiltered = RowOfStaleCoefficients(type, false);
        const std::vector<int> filtered = RowOfStaleCoefficients(type, true);
        ASSERT_NE(unfiltered[15], 128);
        EXPECT_EQ(part(unfiltered, 0, 16), part(unfiltered, 16, 32)) << "the residual is added once more";
        EXPECT_NE(part(filtered, 13, 16), part(unfiltered, 13, 16)) << "the edge of the one that was read";
        EXPECT_EQ(part(filtered, 20, 48), part(unfiltered, 20, 48)) << "no edge beside stale coefficients";
    }
}

TEST(C264SliceEnd, SliceThatGoesOnBeyondThePictureIsWarnedOf)
{
    // four macroblocks in a stream, one in the picture: the terminating bin after it is 0
    const H264Sequence sequence =
        MakeRandomH264({.seed = 3, .widthMbs = 2, .heightMbs = 2, .pictures = 4, .gop = 4});
    const std::vector<H264Packet> packets = WriteH264(sequence, true);
    const CC264NewWarnings warnings;
    C264Fed fed(16, 16);
    int intraSlices = 0;
    int interSlices = 0;
    for (size_t k = 0; k < packets.size(); ++k) {
        fed.Feed(packets[k]);
        EXPECT_EQ(fed.got, 1);
        (sequence.pictures[k].header.intra ? intraSlices : interSlices) += 1;
    }
    ASSERT_GT(interSlices, 0);
    EXPECT_EQ(warnings.Count(C264_WARNING_END_OF_I), intraSlices);
    EXPECT_EQ(warnings.Count(C264_WARNING_END_OF_P), interSlices);
}

TEST(C264SliceEnd, SkipRunBeyondTheEndIsNotCarriedOver)
{
    for (const uint32_t run : {1000000u, 0xFFFFFFFEu}) {
        SCOPED_TRACE(run);
        C264Fed fed(32, 32);
        C264FeedColumns(&fed);
        CH264Bits skipped = C264AllSkipped(run);
        C264Moved(&skipped, 64, 0);  // isn't reached
        fed.FeedSlice(skipped);
        EXPECT_EQ(fed.Middle(0, 0), 132);
        EXPECT_EQ(fed.Middle(1, 0), 136);
        EXPECT_EQ(fed.Middle(1, 1), 134);
        CH264Bits bits = C264SliceStart({.type = 0});
        bits.Ue(0);
        C264Flat(&bits, -1, 5);
        bits.Ue(3);
        fed.FeedSlice(bits);
        EXPECT_EQ(fed.Middle(0, 0), 124) << "a coded macroblock: 128 less a step";
        EXPECT_EQ(fed.Luma(1, 1), 124);
        EXPECT_EQ(fed.Middle(1, 0), 136);
    }
}

// oddity: golomb-too-long
TEST(C264SliceEnd, GolombTooLongIsIntendedToBeZeroInSliceDataToo)
{
    C264Fed fed(32, 32);
    C264FeedColumns(&fed);
    CH264Bits bits = C264SliceStart({.type = 0});
    bits.Ue(0).Ue(0).Se(64).Bits(0, 32);  // a vertical difference of zero, by 32 zeros
    bits.Ue(0).Ue(3);
    fed.FeedSlice(bits);
    EXPECT_EQ(fed.Middle(0, 0), 136) << "moved by a macroblock";
    EXPECT_EQ(fed.Middle(1, 0), 136);
    EXPECT_EQ(fed.Middle(0, 1), 132);
}

TEST(C264SliceEnd, UnitThatEndsInTheMiddleGoesOnWithZeros)
{
    C264Fed fed(32, 32);
    C264FeedColumns(&fed);
    fed.Feed(C264Unit(9, std::vector<uint8_t>(400, 0x55)));  // what the unit would read past its end
    CH264Bits bits = C264SliceStart({.type = 0});
    bits.AlignWith(false);
    fed.Feed(C264Unit(UNIT_SLICE, bits.Bytes()));
    EXPECT_EQ(fed.got, 1);
    // zeros: no skip run, 16x16 with no difference, nothing coded
    EXPECT_EQ(fed.Middle(0, 0), 132);
    EXPECT_EQ(fed.Middle(1, 1), 134);
}

TEST(C264SliceEnd, UnitThatEndsBeforeTheResidualGoesOnWithZerosThroughAllOfIt)
{
    const auto decode = [](bool behindAnother) {
        C264Fed fed(32, 32);
        C264FeedColumns(&fed);
        if (behindAnother) fed.Feed(C264Unit(9, std::vector<uint8_t>(400, 0x55)));
        CH264Bits bits = C264SliceStart({.type = 0});
        bits.Ue(0).Ue(0).Se(64).Se(0).Ue(12);  // moved, and all of its blocks coded
        bits.AlignWith(false);
        fed.Feed(C264Unit(UNIT_SLICE, bits.Bytes()));
        EXPECT_EQ(fed.got, 1);
        std::vector<int> samples;
        for (int i = 0; i < 32 * 32; ++i)
            samples.push_back(fed.Luma(i % 32, i / 32));
        return samples;
    };
    EXPECT_EQ(decode(true), decode(false));
}

TEST(C264SliceEnd, UnitThatEndsEarlyInALargePictureGoesOnWithZerosToItsEnd)
{
    constexpr int SIZE = 512;
    const auto samples = [](const C264Fed& fed) {
        std::vector<int> all;
        for (int i = 0; i < SIZE * SIZE; ++i)
            all.push_back(fed.Luma(i % SIZE, i / SIZE));
        return all;
    };
    C264Fed fed(SIZE, SIZE);
    fed.FeedSlice(C264Flats({1, 1, 1}));
    const std::vector<int> before = samples(fed);
    fed.Feed(C264Unit(9, std::vector<uint8_t>(60000, 0x55)));  // what the unit would read far past its end
    CH264Bits bits = C264SliceStart({.type = 0});
    bits.AlignWith(false);
    fed.Feed(C264Unit(UNIT_SLICE, bits.Bytes()));
    EXPECT_EQ(fed.got, 1);
    // more bits of zeros than the padding after a unit has: 16x16 with no difference, again and again
    EXPECT_TRUE(samples(fed) == before);
}
}  // namespace
