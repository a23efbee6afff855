// DC differences of the MPEG-4 decoder, written bit by bit.
#include <gtest/gtest.h>

#include "tests/codec/mpeg4/mpeg4_fed_support.h"
#include "tests/support/mpeg4_writer.h"

namespace
{
int Sample(const TestPicture& picture, int plane, int x, int y)
{
    const int width = plane == 0 ? picture.width : picture.width / 2;
    return picture.plane[plane][static_cast<size_t>(y * width + x)];
}

TEST(Mpeg4Dc, MarkerFollowsADcDifferenceOfMoreThanEightBits)
{
    // the scaler is 8 and the first prediction 128; what is read wrong puts the blocks after it out of step
    CMpeg4Writer writer;
    writer.Vol({.width = 48, .height = 48}).Vop({.type = 0, .quant = 4}).Code("1 0 0011");
    writer.Code("00000001 011111111 1");   // luma 0: nine bits, 128 - 256 = -128
    writer.Code("0000001 11111111");       // luma 1: eight bits, from the left -128 + 255 = 127
    writer.Code("00000001 100101100 1");   // luma 2: nine bits, from above -128 + 300 = 172
    writer.Code("011");                    // luma 3: none, from the left 172
    writer.Code("000000001 011111111 1");  // U: nine bits, 128 - 256 = -128
    writer.Code("11");                     // V: none, 128
    for (int i = 1; i < 9; ++i)
        writer.Code("1 0 0011 011 011 011 011 11 11");
    CFed fed(48, 48);
    ASSERT_GT(fed.Feed(writer.Take()), 0);
    ASSERT_NE(fed.m_iGot, 0) << "out of step: the picture is not complete";
    const TestPicture picture = fed.Picture();
    EXPECT_EQ(Sample(picture, 0, 0, 0), 0);
    EXPECT_EQ(Sample(picture, 0, 8, 0), 127);
    EXPECT_EQ(Sample(picture, 0, 0, 8), 172);
    EXPECT_EQ(Sample(picture, 0, 8, 8), 172);
    EXPECT_EQ(Sample(picture, 1, 0, 0), 0);
    EXPECT_EQ(Sample(picture, 2, 0, 0), 128);
}

TEST(Mpeg4Dc, SkippedMacroblockOfAStreamsFirstPictureIsNoIntraNeighbour)
{
    CMpeg4Writer writer;
    writer.Vol({.width = 48, .height = 48}).Vop({.type = 1}).Skip(1);
    writer.Code("0 00011 0 0011 011 011 011 011 11 11")
        .Skip(7);  // intra, and no difference from its prediction
    CFed fed(48, 48);
    ASSERT_GT(fed.Feed(writer.Take()), 0);
    ASSERT_NE(fed.m_iGot, 0);
    const TestPicture picture = fed.Picture();
    EXPECT_EQ(Sample(picture, 0, 0, 0), 16) << "black";
    EXPECT_EQ(Sample(picture, 0, 16, 0), 128);
    EXPECT_EQ(Sample(picture, 1, 8, 0), 128);
}
}  // namespace
