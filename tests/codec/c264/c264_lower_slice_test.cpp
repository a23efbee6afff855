// Slices that begin below the first row: their neighbours above are what an older picture left there.
#include <gtest/gtest.h>

#include "tests/codec/c264/c264_fed_support.h"
#include "tests/codec/c264/c264_handmade_support.h"
#include "tests/support/c264_copying.h"
#include "tests/support/h264_random.h"
#include "tests/support/h264_writer.h"

namespace
{
/// Calls a body with each whole picture of a random stream in both coders, and then with the same picture from
/// each lower row on.
template <class Body>
void ForEachLowerSlice(const H264Sequence& sequence, Body body)
{
    const std::vector<H264Packet> cavlc = WriteH264(sequence, false);
    const std::vector<H264Packet> cabac = WriteH264(sequence, true);
    for (size_t i = 0; i < cavlc.size() && !testing::Test::HasFatalFailure(); ++i) {
        SCOPED_TRACE(testing::Message() << "picture " << i);
        body(cavlc[i], cabac[i]);
        for (int row = 1; row < sequence.parameters.heightMbs; ++row) {
            SCOPED_TRACE(testing::Message() << "from row " << row);
            const H264Picture& picture = sequence.pictures[i];
            body(WriteH264From(sequence, picture, row, false), WriteH264From(sequence, picture, row, true));
        }
    }
}

/// Out of step, one coder's picture would be another than the other's.
TEST(C264LowerSlice, NeighboursAreThoseThatAnOlderPictureLeftInBothCoders)
{
    int slices = 0;
    for (uint32_t seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        const H264Sequence sequence = MakeRandomH264(H264ShapeOfSeed(seed));
        CC264Decoder cavlc(sequence.Width(), sequence.Height());
        CC264Decoder cabac(sequence.Width(), sequence.Height());
        ForEachLowerSlice(sequence, [&](const H264Packet& cavlcPacket, const H264Packet& cabacPacket) {
            const CC264NewWarnings warnings;
            const CodecFrame* const one = FeedAsLink(&cavlc, cavlcPacket);
            const CodecFrame* const other = FeedAsLink(&cabac, cabacPacket);
            ASSERT_TRUE(one && one->data[0] && other && other->data[0]);
            ASSERT_EQ(DescribeDifference(CopyPicture(*one), CopyPicture(*other)), "");
            for (const char* const text : {C264_WARNING_IN_SLICE, C264_WARNING_END_OF_I, C264_WARNING_END_OF_P})
                ASSERT_EQ(warnings.Count(text), 0) << "the slice ends with the picture: " << text;
            ++slices;
        });
        ASSERT_FALSE(HasFatalFailure());
    }
    EXPECT_GT(slices, 1000);
}

TEST(C264LowerSlice, ModesArePredictedFromThoseThatAnOlderPictureLeft)
{
    C264Fed fed(32, 48);
    CH264Bits whole = C264Flats({1, 1, 0});
    // intra 4x4, all vertical: a step from the predicted DC at the first block, predicted from there on
    whole.Ue(0).Code("0000").Code("111111111111111").Ue(0).Ue(3);
    C264Flat(&whole, 0);
    C264Flat(&whole, 0);
    fed.FeedSlice(whole);
    fed.FeedSlice(whole);
    ASSERT_EQ(fed.Middle(1, 1), 136);
    CH264Bits lower = C264Flats({0}, {.first_mb = 4});
    lower.Ue(0).Code("1111111111111111").Ue(0).Ue(3);
    fed.FeedSlice(lower);
    EXPECT_EQ(fed.Middle(0, 2), 128);
    EXPECT_EQ(fed.Middle(1, 2), 136) << "vertical, as the macroblock above, which is no part of the slice";
}

TEST(C264LowerSlice, IsTheSameWithoutCopying)
{
    for (uint32_t seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        H264RandomShape shape = H264ShapeOfSeed(seed);
        shape.still = true;
        const H264Sequence sequence = MakeRandomH264(shape);
        CC264Decoder ordinary(sequence.Width(), sequence.Height());
        CCopyingC264Decoder copying(sequence.Width(), sequence.Height());
        ForEachLowerSlice(sequence, [&](const H264Packet& cavlcPacket, const H264Packet& cabacPacket) {
            const H264Packet& packet = seed % 2 == 0 ? cabacPacket : cavlcPacket;
            const CodecFrame* const found = FeedAsLink(&ordinary, packet);
            const CodecFrame* const expected = FeedAsLink(&copying, packet);
            ASSERT_TRUE(found && found->data[0] && expected && expected->data[0]);
            ASSERT_EQ(DescribeDifference(CopyPicture(*found), CopyPicture(*expected)), "");
        });
        ASSERT_FALSE(HasFatalFailure());
    }
}
}  // namespace
