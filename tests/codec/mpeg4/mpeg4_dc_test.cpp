// DC differences of the MPEG-4 decoder, written bit by bit.
#include <gtest/gtest.h>

#include "codec/mpeg4/mpeg4_idct.h"
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

// Table 7-1, a second time.
TEST(Mpeg4Dc, EachQuantHasItsScalers)
{
    constexpr int luma[32] = {0,  8,  8,  8,  8,  10, 12, 14, 16, 17, 18, 19, 20, 21, 22, 23,
                              24, 25, 26, 27, 28, 29, 30, 31, 32, 34, 36, 38, 40, 42, 44, 46};
    constexpr int chroma[32] = {0,  8,  8,  8,  8,  9,  9,  10, 10, 11, 11, 12, 12, 13, 13, 14,
                                14, 15, 15, 16, 16, 17, 17, 18, 18, 19, 20, 21, 22, 23, 24, 25};
    const auto expected = [](int scaler) {
        return mpeg4_idct_dc(((1024 + scaler / 2) / scaler - 20) * scaler);
    };
    for (int quant = 1; quant < 32; ++quant) {
        CMpeg4Writer writer;
        writer.Vol({.width = 16, .height = 16}).Vop({.type = 0, .quant = static_cast<uint32_t>(quant)});
        writer.Code("1 0 0011 0001 01011 011 011 011 00001 01011 11");  // -20 in the first luma block and in U
        CFed fed(16, 16);
        ASSERT_GT(fed.Feed(writer.Take()), 0);
        ASSERT_NE(fed.m_iGot, 0);
        const TestPicture picture = fed.Picture();
        EXPECT_EQ(Sample(picture, 0, 0, 0), expected(luma[quant])) << quant;
        EXPECT_EQ(Sample(picture, 1, 0, 0), expected(chroma[quant])) << quant;
    }
}

TEST(Mpeg4Dc, PredictsFromTheDcAsItWasClamped)
{
    CMpeg4Writer writer;
    writer.Vol({.width = 16, .height = 16}).Vop({.type = 0, .quant = 4}).Code("1 0 0011");
    writer.Code("0000001 11111111");  // luma 0: 128 + 255 = 383, times 8 is above 2047, which counts as 256
    writer.Code("0000001 01111111");  // luma 1: from the left 256 - 128 = 128
    writer.Code("000000001 0110100111 1");  // luma 2: from above 256 - 600 = -344, times 8 is below -2048
    writer.Code("00000001 100101100 1");    // luma 3: from the left -256 + 300 = 44
    writer.Code("11 11");
    CFed fed(16, 16);
    ASSERT_GT(fed.Feed(writer.Take()), 0);
    ASSERT_NE(fed.m_iGot, 0);
    const TestPicture picture = fed.Picture();
    EXPECT_EQ(Sample(picture, 0, 0, 0), 255);
    EXPECT_EQ(Sample(picture, 0, 8, 0), 128);
    EXPECT_EQ(Sample(picture, 0, 0, 8), 0);
    EXPECT_EQ(Sample(picture, 0, 8, 8), 44);
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
