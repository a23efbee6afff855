#include "codec/convert/convert.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "codec/convert/convert_kernels.h"
#include "codec/cpu.h"
#include "tests/codec/convert/convert_support.h"
#include "tests/support/kernel_walk.h"

using testing::Each;
using testing::ElementsAre;

namespace
{

constexpr int BYTES_A_PIXEL[] = {0, 1, 2, 0, 2, 0, 0, 2, 0, 0, 2, 2, 0, 0, 0, 0, 0, 0, 0, 0,
                                 0, 3, 0, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 4, 4, 0, 0, 0, 0};

// Runs the body with the process-wide kernels of every step of this processor, and then the plain ones again.
class ConvertAtEveryStep : public testing::TestWithParam<KernelStep>
{
  protected:
    void SetUp() override { convert_dsp_init(GetParam().available ? GetParam().caps : CODEC_STEP_PLAIN); }
    void TearDown() override { convert_dsp_init(CODEC_STEP_PLAIN); }
};

INSTANTIATE_TEST_SUITE_P(Steps, ConvertAtEveryStep, testing::ValuesIn(KernelSteps()),
                         [](const auto& parameter) { return parameter.param.name; });

TEST(ConvertTables, HoldTheColourTermsWith13FractionBits)
{
    for (int i = 0; i < 256; ++i) {
        EXPECT_EQ(yuv_rgb_tables.luma[i], (i - 16) * 9535);
        EXPECT_EQ(yuv_rgb_tables.u_blue[i], (i - 128) * 16531);
        EXPECT_EQ(yuv_rgb_tables.u_green[i], (i - 128) * 3203);
        EXPECT_EQ(yuv_rgb_tables.v_green[i], (i - 128) * 6660);
        EXPECT_EQ(yuv_rgb_tables.v_red[i], (i - 128) * 13074);
    }
}

// The hashes were computed by a script apart from this code, with the equations over whole numbers.
TEST_P(ConvertAtEveryStep, GivesTheExactPictureInEveryFormat)
{
    struct Row {
        int format;
        std::uint64_t straight, flipped;
    };
    constexpr int WIDTH = 176;
    constexpr int HEIGHT = 99;
    const Row rows[] = {
        {1, 0xCBCB9136C75E7E9Fu, 0xDB047D3CA560277Fu},  {2, 0x75BC50E5597074BAu, 0xB553C618B6FE0D0Eu},
        {4, 0x6DA08400487C73D8u, 0x08A639AFE84C1AF4u},  {7, 0xA2EC06AEC5FE430Eu, 0x14C4F7752C52CDF2u},
        {10, 0x2F63128A24744CF5u, 0xEC41ACCE12C0E9E9u}, {11, 0x35D82A0A1AA95E01u, 0x7ED00B9DCC9F33BDu},
        {21, 0x926BD7FB472E1226u, 0x8C99342D191D8FBAu}, {23, 0xA30EC54097CC2E2Au, 0x32653D573FF8EAB6u},
        {34, 0xDCD8F61FFE3305C2u, 0xE788B5844AED47A2u}, {35, 0x1B05864256B2620Eu, 0xB3F6D8680819AF0Eu},
    };
    CNoisePicture picture(WIDTH, HEIGHT);
    for (const Row& row : rows) {
        for (const bool flip : {false, true}) {
            const int stride = WIDTH * BYTES_A_PIXEL[row.format];
            const int bytes =
                row.format == 1 ? WIDTH * HEIGHT + 2 * (WIDTH / 2) * ((HEIGHT + 1) / 2) : stride * HEIGHT;
            CTargetPicture target(row.format, stride, HEIGHT);
            EXPECT_EQ(ConvertFrame(target.Target(), picture.Frame(), WIDTH, HEIGHT, flip), 0);
            EXPECT_EQ(HashBytes(target.First(bytes)), flip ? row.flipped : row.straight)
                << "format " << row.format << (flip ? " flipped" : "");
        }
    }
}

TEST_P(ConvertAtEveryStep, GivesTheTablesColourForEveryLumaAndChroma)
{
    // 16 rows of all luma values, with one chroma row for each two of them: one picture for each U.
    constexpr int WIDTH = 512;  // each luma value twice, for the two pixels of a pair
    constexpr int HEIGHT = 512;
    std::vector<std::uint8_t> luma(WIDTH * HEIGHT), u(WIDTH / 2 * HEIGHT / 2), v(u.size()), to(luma.size() * 4);
    for (int i = 0; i < WIDTH * HEIGHT; ++i)
        luma[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(i % WIDTH / 2);
    for (int i = 0; i < WIDTH / 2 * HEIGHT / 2; ++i)
        v[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(i / (WIDTH / 2));
    const ConvertTarget target = {.data = {to.data()}, .linesize = {WIDTH * 4}, .format = 35};
    CodecFrame frame = {};
    frame.data[0] = luma.data();
    frame.data[1] = u.data();
    frame.data[2] = v.data();
    frame.linesize[0] = WIDTH;
    frame.linesize[1] = WIDTH / 2;
    const auto clip = [](int value) { return value < 0 ? 0 : std::min(value, 255); };
    for (int valueOfU = 0; valueOfU < 256; ++valueOfU) {
        std::fill(u.begin(), u.end(), static_cast<std::uint8_t>(valueOfU));
        ASSERT_EQ(ConvertFrame(target, frame, WIDTH, HEIGHT, false), 0);
        for (int y = 0; y < HEIGHT; ++y) {
            const int valueOfV = y / 2;
            const int greenTerm = (valueOfV - 128) * 6660 + (valueOfU - 128) * 3203;
            for (int x = y % 2; x < WIDTH; x += 2) {
                const int yt = (x / 2 - 16) * 9535;
                const std::uint8_t* const pixel = &to[static_cast<std::size_t>((y * WIDTH + x) * 4)];
                const bool right = pixel[0] == clip((yt + (valueOfU - 128) * 16531) >> 13) &&
                                   pixel[1] == clip((yt - greenTerm) >> 13) &&
                                   pixel[2] == clip((yt + (valueOfV - 128) * 13074) >> 13) && pixel[3] == 0;
                ASSERT_TRUE(right) << "Y " << x / 2 << " U " << valueOfU << " V " << valueOfV << " gives "
                                   << int{pixel[0]} << ", " << int{pixel[1]} << ", " << int{pixel[2]} << ", "
                                   << int{pixel[3]};
            }
        }
    }
}

TEST_P(ConvertAtEveryStep, Yuy2GivesEachChromaRowToTwoPictureRows)
{
    std::vector<std::uint8_t> bytes = {
        // Y
        1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31, 32,
        33, 34, 35, 36, 41, 42, 43, 44, 45, 46, 47, 48, 49, 50, 51, 52, 53, 54, 55, 56,
        // U of rows 0 and 1, of row 2
        101, 102, 103, 104, 105, 106, 107, 108, 111, 112, 113, 114, 115, 116, 117, 118,
        // V
        201, 202, 203, 204, 205, 206, 207, 208, 211, 212, 213, 214, 215, 216, 217, 218};
    CodecFrame frame = {};
    frame.data[0] = bytes.data();
    frame.data[1] = frame.data[0] + 48;
    frame.data[2] = frame.data[1] + 16;
    frame.linesize[0] = 16;
    frame.linesize[1] = 8;
    CTargetPicture target(CONVERT_FORMAT_YUY2, 32, 3);
    ASSERT_EQ(ConvertFrame(target.Target(), frame, 16, 3, false), 0);
    EXPECT_THAT(target.Row(0).first(8), ElementsAre(1, 101, 2, 201, 3, 102, 4, 202));
    EXPECT_THAT(target.Row(1).first(8), ElementsAre(21, 101, 22, 201, 23, 102, 24, 202));
    EXPECT_THAT(target.Row(2).first(8), ElementsAre(41, 111, 42, 211, 43, 112, 44, 212));
    EXPECT_THAT(target.Row(2).last(4), ElementsAre(55, 118, 56, 218));
    EXPECT_THAT(target.First(192).last(96), Each(0xA5)) << "no row behind an odd height is written";
}

TEST(ConvertFrame, ClipsColoursAtBothEnds)
{
    std::vector<std::uint8_t> luma(16 * 2, 255), u(8, 255), v(8, 255), to(16 * 2 * 4);
    CodecFrame frame = {};
    frame.data[0] = luma.data();
    frame.data[1] = u.data();
    frame.data[2] = v.data();
    frame.linesize[0] = 16;
    frame.linesize[1] = 8;
    const ConvertTarget target = {.data = {to.data()}, .linesize = {64}, .format = 35};
    ConvertFrame(target, frame, 16, 2, false);
    EXPECT_THAT(std::span(to).first(4), ElementsAre(255, (239 * 9535 - 127 * (6660 + 3203)) >> 13, 255, 0));
    std::fill(luma.begin(), luma.end(), 0);
    std::fill(u.begin(), u.end(), 0);
    std::fill(v.begin(), v.end(), 0);
    ConvertFrame(target, frame, 16, 2, false);
    EXPECT_THAT(std::span(to).first(4), ElementsAre(0, (-16 * 9535 + 128 * (6660 + 3203)) >> 13, 0, 0));
}

TEST(ConvertFrame, WhiteIs254AndBlackIs0)
{
    // The luma term of 235 is 219 x 9535, a little below 255 x 8192: the tables' own rounding, kept.
    std::vector<std::uint8_t> luma(16, 235), chroma(8, 128), to(64);
    CodecFrame frame = {};
    frame.data[0] = luma.data();
    frame.data[1] = frame.data[2] = chroma.data();
    frame.linesize[0] = 16;
    frame.linesize[1] = 8;
    const ConvertTarget target = {.data = {to.data()}, .linesize = {64}, .format = 35};
    ConvertFrame(target, frame, 16, 1, false);
    EXPECT_THAT(std::span(to).first(4), ElementsAre(254, 254, 254, 0));
    std::fill(luma.begin(), luma.end(), 16);
    ConvertFrame(target, frame, 16, 1, false);
    EXPECT_THAT(std::span(to).first(4), ElementsAre(0, 0, 0, 0));
}

TEST(ConvertFrame, AWidthThatIsNoMultipleOf16IsRefusedAndLeavesTheTargetAlone)
{
    CNoisePicture picture(368, 8);
    CTargetPicture target(35, 368 * 4, 8);
    for (const int width : {360, 8, 1, 15, 17, 361, -8}) {
        EXPECT_EQ(ConvertFrame(target.Target(), picture.Frame(), width, 8, false), -9980) << width;
        EXPECT_TRUE(target.Untouched()) << width;
    }
}

TEST(ConvertFrame, Widths352And704Convert)
{
    for (const int width : {352, 704}) {
        CNoisePicture picture(width, 4);
        CTargetPicture target(35, width * 4, 4);
        EXPECT_EQ(ConvertFrame(target.Target(), picture.Frame(), width, 4, false), 0);
        EXPECT_FALSE(target.Untouched());
    }
}

TEST(ConvertFrame, TheWidthIsTestedBeforeTheFormat)
{
    CNoisePicture picture(32, 4);
    for (const int format : {0, 35, 38, 99}) {
        CTargetPicture target(format, 128, 4);
        EXPECT_EQ(ConvertFrame(target.Target(), picture.Frame(), 24, 4, false), -9980) << format;
    }
}

TEST(ConvertFrame, TheTableAloneSettlesTheFormatBelow0AndAbove39Too)
{
    CNoisePicture picture(32, 4);
    for (int format = -3; format < 70; ++format) {
        CTargetPicture target(format, 128, 4);
        const bool known = format >= 0 && format < 40 && BYTES_A_PIXEL[format] != 0;
        EXPECT_EQ(ConvertFrame(target.Target(), picture.Frame(), 32, 4, false), known || format == 38 ? 0 : -1)
            << format;
        EXPECT_EQ(target.Untouched(), !known) << format;
    }
    for (const int format : {INT32_MIN, INT32_MAX}) {
        CTargetPicture target(format, 128, 4);
        EXPECT_EQ(ConvertFrame(target.Target(), picture.Frame(), 32, 4, false), -1);
    }
}

TEST(ConvertFrame, Format38ConvertsNothingAndSucceeds)
{
    CodecFrame nothing = {};
    CTargetPicture target(38, 128, 4);
    EXPECT_EQ(ConvertFrame(target.Target(), nothing, 32, 4, false), 0);
    EXPECT_TRUE(target.Untouched());
}

TEST(ConvertFrame, AGeometryThatCannotBeIsRefusedAndLeavesTheTargetAlone)
{
    struct Row {
        const char* what;
        void (*spoil)(ConvertTarget& target, CodecFrame& frame, int& width, int& height);
    };
    const Row rows[] = {
        {"no target", [](ConvertTarget& t, CodecFrame&, int&, int&) { t.data[0] = nullptr; }},
        {"no luma", [](ConvertTarget&, CodecFrame& f, int&, int&) { f.data[0] = nullptr; }},
        {"no U", [](ConvertTarget&, CodecFrame& f, int&, int&) { f.data[1] = nullptr; }},
        {"no V", [](ConvertTarget&, CodecFrame& f, int&, int&) { f.data[2] = nullptr; }},
        {"width 0", [](ConvertTarget&, CodecFrame&, int& w, int&) { w = 0; }},
        {"width below 0", [](ConvertTarget&, CodecFrame&, int& w, int&) { w = -32; }},
        {"height 0", [](ConvertTarget&, CodecFrame&, int&, int& h) { h = 0; }},
        {"height below 0", [](ConvertTarget&, CodecFrame&, int&, int& h) { h = -4; }},
        {"frame's width below 0", [](ConvertTarget&, CodecFrame& f, int&, int&) { f.width = -1; }},
        {"frame's height below 0", [](ConvertTarget&, CodecFrame& f, int&, int&) { f.height = -1; }},
        {"luma rows too short", [](ConvertTarget&, CodecFrame& f, int&, int&) { f.linesize[0] = 31; }},
        {"chroma rows too short", [](ConvertTarget&, CodecFrame& f, int&, int&) { f.linesize[1] = 15; }},
        {"target rows too short", [](ConvertTarget& t, CodecFrame&, int&, int&) { --t.linesize[0]; }},
        {"upward rows too short", [](ConvertTarget& t, CodecFrame&, int&, int&) { t.linesize[0] = -7; }},
        {"huge width", [](ConvertTarget&, CodecFrame& f, int& w, int&) { w = f.width = 0x7FFFFFF0; }},
    };
    for (int format = 0; format < 40; ++format) {
        if (BYTES_A_PIXEL[format] == 0) continue;
        for (const Row& row : rows) {
            CNoisePicture picture(32, 4);
            CTargetPicture target(format, 32 * BYTES_A_PIXEL[format], 4);
            ConvertTarget to = target.Target();
            CodecFrame frame = picture.Frame();
            int width = 32;
            int height = 4;
            row.spoil(to, frame, width, height);
            EXPECT_EQ(ConvertFrame(to, frame, width, height, false), -1) << row.what << ", format " << format;
            EXPECT_TRUE(target.Untouched()) << row.what << ", format " << format;
        }
    }
}

TEST(ConvertFrame, APlanarTargetNeedsItsChromaPlanesAndTheirRows)
{
    CNoisePicture picture(32, 4);
    CTargetPicture target(1, 32, 4);
    for (const int plane : {1, 2}) {
        ConvertTarget to = target.Target();
        to.data[plane] = nullptr;
        EXPECT_EQ(ConvertFrame(to, picture.Frame(), 32, 4, false), -1);
    }
    ConvertTarget to = target.Target();
    to.linesize[1] = 15;
    EXPECT_EQ(ConvertFrame(to, picture.Frame(), 32, 4, false), -1);
    EXPECT_TRUE(target.Untouched());
}

TEST_P(ConvertAtEveryStep, ATargetWithUpwardRowsIsTheFlippedPicture)
{
    CNoisePicture picture(64, 7);
    CTargetPicture flipped(35, 256, 7);
    CTargetPicture upward(35, 256, 7);
    ASSERT_EQ(ConvertFrame(flipped.Target(), picture.Frame(), 64, 7, true), 0);
    ConvertTarget to = upward.Target();
    to.data[0] += 6 * 256;
    to.linesize[0] = -256;
    ASSERT_EQ(ConvertFrame(to, picture.Frame(), 64, 7, false), 0);
    EXPECT_TRUE(std::ranges::equal(flipped.First(7 * 256), upward.First(7 * 256)));
}

TEST_P(ConvertAtEveryStep, BytesBetweenTheRowsStayAsTheyAre)
{
    CNoisePicture picture(48, 5);
    for (int format = 0; format < 40; ++format) {
        if (BYTES_A_PIXEL[format] == 0) continue;
        const int rowBytes = 48 * BYTES_A_PIXEL[format];
        CTargetPicture target(format, rowBytes + 13, 5);
        ASSERT_EQ(ConvertFrame(target.Target(), picture.Frame(), 48, 5, false), 0);
        for (int row = 0; row < 5; ++row)
            EXPECT_THAT(target.Row(row).last(13), Each(0xA5)) << "format " << format << " row " << row;
    }
}

TEST_P(ConvertAtEveryStep, LargePicturesGiveThePlainBytesAtAnyAlignment)
{
    // Large enough for the stores that pass the cache by; 722 is no multiple of any register.
    constexpr int HEIGHT = 577;
    for (const int width : {704, 720, 722}) {
        CNoisePicture picture(width, HEIGHT);
        for (const int code : {11, 12, 8}) {
            for (const auto& [offset, stride] : {std::pair{0, 3072}, {32, 3072}, {16, 3088}, {1, 2901}}) {
                std::vector<std::uint8_t> expected(static_cast<std::size_t>(stride * HEIGHT + 128), 0xA5);
                std::vector<std::uint8_t> given = expected;
                const auto convert = [&](std::vector<std::uint8_t>& bytes) {
                    const auto address = reinterpret_cast<std::uintptr_t>(bytes.data());
                    std::uint8_t* const first = bytes.data() + (64 - address % 64) % 64 + offset;
                    ASSERT_EQ(convert_decoder_picture({.data = {first}, .linesize = {stride}, .format = code},
                                                      picture.Frame(), width, HEIGHT),
                              0);
                    std::rotate(bytes.begin(), bytes.begin() + (first - bytes.data()), bytes.end());
                };
                convert(given);
                convert_dsp_init(CODEC_STEP_PLAIN);
                convert(expected);
                SetUp();
                ASSERT_TRUE(given == expected)
                    << width << ", code " << code << ", offset " << offset << ", stride " << stride;
            }
        }
    }
}

TEST_P(ConvertAtEveryStep, AFrameSmallerThanTheSurfaceIsConvertedAsFarAsItGoes)
{
    // The surface keeps the size it was created with while the stream changes to a smaller one.
    CNoisePicture picture(40, 6);
    CTargetPicture small(35, 160, 6);
    ASSERT_EQ(convert_decoder_picture({.data = {small.Target().data[0]}, .linesize = {160}, .format = 8},
                                      picture.Frame(), 40, 6),
              0);
    CTargetPicture surface(35, 64 * 4, 10);
    ASSERT_EQ(ConvertFrame(surface.Target(), picture.Frame(), 64, 10, false), 0);
    for (int row = 0; row < 10; ++row) {
        if (row >= 6) {
            EXPECT_THAT(surface.Row(row), Each(0xA5)) << row;
            continue;
        }
        EXPECT_TRUE(std::ranges::equal(surface.Row(row).first(160), small.Row(row))) << row;
        EXPECT_THAT(surface.Row(row).subspan(160), Each(0xA5)) << row;
    }

    CTargetPicture flipped(35, 64 * 4, 10);
    ASSERT_EQ(ConvertFrame(flipped.Target(), picture.Frame(), 64, 10, true), 0);
    EXPECT_TRUE(std::ranges::equal(flipped.Row(9), surface.Row(0)))
        << "the first row lies at the surface's last";
    EXPECT_THAT(flipped.Row(3), Each(0xA5));
}

TEST(ConvertFrame, AFrameLargerThanTheSurfaceIsCut)
{
    CNoisePicture picture(64, 8);
    CTargetPicture whole(2, 128, 8);
    CTargetPicture cut(2, 64, 4);
    ASSERT_EQ(ConvertFrame(whole.Target(), picture.Frame(), 64, 8, false), 0);
    ASSERT_EQ(ConvertFrame(cut.Target(), picture.Frame(), 32, 4, false), 0);
    for (int row = 0; row < 4; ++row)
        EXPECT_TRUE(std::ranges::equal(cut.Row(row), whole.Row(row).first(64))) << row;
}

TEST(ConvertDecoderPicture, EachCodeWithAConversionGivesItsLayout)
{
    struct Row {
        int code;
        int format;  // the format of ConvertFrame with the same layout
    };
    const Row rows[] = {{1, 1}, {5, 10}, {6, 21}, {7, 23}, {8, 35}, {10, 34}, {11, 2}, {12, 4}};
    CNoisePicture picture(32, 5);
    for (const Row& row : rows) {
        for (const bool flip : {false, true}) {
            const int stride = 32 * BYTES_A_PIXEL[row.format] + 6;
            CTargetPicture expected(row.format, stride, 5);
            CTargetPicture given(row.code | (flip ? 0x20 : 0), stride, 5);
            ASSERT_EQ(ConvertFrame(expected.Target(), picture.Frame(), 32, 5, flip), 0);
            EXPECT_EQ(convert_decoder_picture(given.Target(), picture.Frame(), 32, 5), 0) << row.code;
            EXPECT_FALSE(given.Untouched());
            EXPECT_TRUE(std::ranges::equal(given.First(stride * 10), expected.First(stride * 10)))
                << "code " << row.code << " flip " << flip;
        }
    }
}

TEST(ConvertDecoderPicture, AnyOtherCodeConvertsNothing)
{
    CNoisePicture picture(32, 4);
    for (const int code : {0, 2, 3, 4, 9, 13, 14, 15, 16, 17, 18, 31}) {
        for (const int flip : {0, 0x20}) {
            CTargetPicture target(code | flip, 128, 4);
            EXPECT_EQ(convert_decoder_picture(target.Target(), picture.Frame(), 32, 4), -1001) << code;
            EXPECT_TRUE(target.Untouched()) << code;
        }
    }
}

TEST(ConvertDecoderPicture, OnlyTheLowFiveBitsAreTheCode)
{
    CNoisePicture picture(32, 4);
    CTargetPicture target(0x40 | 11, 64, 4);
    EXPECT_EQ(convert_decoder_picture(target.Target(), picture.Frame(), 32, 4), 0);
    EXPECT_FALSE(target.Untouched());
    CTargetPicture none(0x40, 64, 4);
    EXPECT_EQ(convert_decoder_picture(none.Target(), picture.Frame(), 32, 4), -1001);
}

TEST(ConvertDecoderPicture, PlanesWithEqualStridesAreTakenAsShared)
{
    CNoisePicture picture(32, 4);
    CTargetPicture same(1, 32, 4);
    EXPECT_EQ(convert_decoder_picture(same.Target(), picture.Frame(), 32, 4), 0);
    EXPECT_TRUE(same.Untouched()) << "equal strides without the flip bit";

    CTargetPicture flipped(0x21, 32, 4);
    EXPECT_EQ(convert_decoder_picture(flipped.Target(), picture.Frame(), 32, 4), 0);
    EXPECT_FALSE(flipped.Untouched()) << "the flip bit asks for a copy";

    CTargetPicture luma(1, 32, 4);
    ConvertTarget to = luma.Target();
    to.linesize[0] = 48;
    EXPECT_EQ(convert_decoder_picture(to, picture.Frame(), 32, 4), 0);
    EXPECT_FALSE(luma.Untouched()) << "another luma stride";

    CTargetPicture chroma(1, 32, 4);
    to = chroma.Target();
    to.linesize[1] = 24;
    EXPECT_EQ(convert_decoder_picture(to, picture.Frame(), 32, 4), 0);
    EXPECT_FALSE(chroma.Untouched()) << "another chroma stride";
}

TEST(ConvertDecoderPicture, AnOddWidthIsRoundedUpToEvenInAPackedTarget)
{
    std::vector<std::uint8_t> luma = {10, 20, 30, 40}, u = {50, 60}, v = {70, 80}, to(10, 0xA5);
    CodecFrame frame = {};
    frame.data[0] = luma.data();
    frame.data[1] = u.data();
    frame.data[2] = v.data();
    frame.linesize[0] = 4;
    frame.linesize[1] = 2;
    ConvertTarget target = {.data = {to.data()}, .linesize = {8}, .format = 11};
    ASSERT_EQ(convert_decoder_picture(target, frame, 3, 1), 0);
    EXPECT_THAT(to, ElementsAre(10, 50, 20, 70, 30, 60, 40, 80, 0xA5, 0xA5));
    target.linesize[0] = 6;
    EXPECT_EQ(convert_decoder_picture(target, frame, 3, 1), -1001) << "rows that can't take the rounded width";
}

TEST(ConvertDecoderPicture, AGeometryThatCannotBeConvertsNothing)
{
    CNoisePicture picture(32, 4);
    for (const auto& [width, height] : {std::pair{0, 4}, {-2, 4}, {32, 0}, {32, -1}, {34, 4}, {INT32_MAX, 4}}) {
        CTargetPicture target(8, 128, 4);
        EXPECT_EQ(convert_decoder_picture(target.Target(), picture.Frame(), width, height), -1001) << width;
        EXPECT_TRUE(target.Untouched());
    }
    CTargetPicture target(8, 128, 4);
    CodecFrame frame = picture.Frame();
    frame.data[2] = nullptr;
    EXPECT_EQ(convert_decoder_picture(target.Target(), frame, 32, 4), -1001);
}

TEST(ConvertDsp, WithAllBitsClearEverySlotIsPlain)
{
    convert_table table;
    convert_table_fill(&table, 0);
    EXPECT_EQ(table.bgr32, convert_plain().bgr32);
    EXPECT_EQ(table.yuy2, convert_plain().yuy2);
    EXPECT_EQ(table.bgr24, convert_plain().bgr24);
}

TEST(ConvertDsp, AProcessorWhoseTrialOfSse2TrapsRunsThePlainKernels)
{
    const codec_cpu_report report = codec_read_cpu();
    const std::uint32_t caps = c264_cpu_detect(report, [](codec_cap bit, const codec_cpu_report& read) {
        return bit != CODEC_CAP_SSE2 && codec_os_trial(bit, read);
    });
    convert_table table;
    convert_table_fill(&table, caps);
    EXPECT_EQ(table.bgr32, convert_plain().bgr32);
    EXPECT_EQ(table.yuy2, convert_plain().yuy2);
    EXPECT_EQ(table.bgr24, convert_plain().bgr24);
}

TEST(ConvertDsp, TheLaterInitialisationOverwritesTheSharedSlots)
{
    // Both decoders' initialisations fill them.
    const std::uint32_t caps = c264_cpu_detect();
    convert_table detected;
    convert_table_fill(&detected, caps);
    convert_dsp_init(CODEC_STEP_PLAIN);
    EXPECT_EQ(convert_dsp().yuy2, convert_plain().yuy2);
    convert_dsp_init(caps);
    EXPECT_EQ(convert_dsp().yuy2, detected.yuy2);
    EXPECT_EQ(convert_dsp().bgr24, detected.bgr24);
    convert_dsp_init(CODEC_STEP_PLAIN);
    EXPECT_EQ(convert_dsp().yuy2, convert_plain().yuy2);
}

TEST(ConvertDsp, TheMpeg4SidesBitsReachTheLastStepWithoutSsse3)
{
    convert_table with, without;
    convert_table_fill(&with, CODEC_STEP_AVX2);
    convert_table_fill(&without, CODEC_STEP_AVX2 & ~CODEC_CAP_SSSE3);
    EXPECT_EQ(with.bgr24, without.bgr24);
    EXPECT_EQ(with.bgr32, without.bgr32);
}

TEST(ConvertDsp, TheOldestVectorStepSelectsNothing)
{
    convert_table table;
    convert_table_fill(&table, CODEC_CAP_MMX | CODEC_CAP_MMXEXT | CODEC_CAP_SSE);
    EXPECT_EQ(table.bgr32, convert_plain().bgr32);
    EXPECT_EQ(table.yuy2, convert_plain().yuy2);
}

}  // namespace
