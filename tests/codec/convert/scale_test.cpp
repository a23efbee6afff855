#include "codec/convert/scale.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "tests/codec/convert/convert_support.h"

using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;

namespace
{

using Bytes = std::vector<std::uint8_t>;

std::size_t I420Bytes(int width, int height)
{
    return static_cast<std::size_t>(width * height + 2 * (width / 2) * (height / 2));
}

Bytes NoisePicture(int width, int height)
{
    return NoiseBytes(I420Bytes(width, height), static_cast<std::uint32_t>(width * 1000 + height));
}

std::vector<std::uint16_t> Pixels(const Bytes& bytes)
{
    std::vector<std::uint16_t> pixels(bytes.size() / 2);
    std::memcpy(pixels.data(), bytes.data(), bytes.size());
    return pixels;
}

using ScaleFn = int32_t (*)(uint8_t*, const uint8_t*, int32_t, int32_t, int32_t, int32_t);

Bytes Scale(ScaleFn scale, const Bytes& from, int fromWidth, int fromHeight, int toWidth, int toHeight)
{
    // Exactly as long as the pictures: the address sanitizer sees every read and write beside them.
    Bytes to(I420Bytes(toWidth, toHeight));
    EXPECT_EQ(scale(to.data(), from.data(), toWidth, toHeight, fromWidth, fromHeight), 0);
    return to;
}

// The hashes were computed by a script apart from this code: enlarging, reducing, one direction only, both
// direct ratios, equal sizes, odd sizes.
TEST(Scale, GivesTheExactPicture)
{
    struct Row {
        int toWidth, toHeight, fromWidth, fromHeight;
        std::uint64_t fixed, floating, rgb565;
    };
    const Row rows[] = {
        {48, 32, 64, 40, 0x42B42F3BE4289C41u, 0xD1FD86902BA8F9B4u, 0x57ADD64601A5C203u},
        {100, 75, 64, 40, 0x430E13576857E7ABu, 0x245177B3B18C88D6u, 0xC82004F8ACE3154Eu},
        {32, 20, 64, 40, 0x6E30E97986435B21u, 0x6E30E97986435B21u, 0x3461CCBA94E94C44u},
        {128, 80, 64, 40, 0xE3B46E27DE402112u, 0xE3B46E27DE402112u, 0xF731EF5460DFEF89u},
        {64, 40, 64, 40, 0x56125AA4A09FCEA6u, 0x56125AA4A09FCEA6u, 0x3BA1D2E2E686A86Cu},
        {128, 40, 64, 40, 0xE061F69D84187074u, 0x5C90A071318BF296u, 0x07C2BD657696DCCCu},
        {32, 40, 64, 40, 0xC8AC8D2C3624B0BDu, 0xC8AC8D2C3624B0BDu, 0x5E578239F1F16182u},
        {21, 13, 9, 7, 0x88E5C23228440CB0u, 0x32AE411293918E79u, 0xC11548577CF50927u},
        {5, 3, 11, 9, 0x33C7C290B72DFEF3u, 0xAF4775A7FFA80D2Au, 0xC4AC3B20B9B54000u},
        {18, 14, 9, 7, 0x3B4EEA7893EEBC8Au, 0x3B4EEA7893EEBC8Au, 0x50787487BCE46F9Fu},
    };
    for (const Row& row : rows) {
        const Bytes from = NoisePicture(row.fromWidth, row.fromHeight);
        const testing::Message name = testing::Message() << row.fromWidth << "x" << row.fromHeight << " to "
                                                         << row.toWidth << "x" << row.toHeight;
        EXPECT_EQ(
            HashBytes(Scale(scale_yuv420, from, row.fromWidth, row.fromHeight, row.toWidth, row.toHeight)),
            row.fixed)
            << name;
        EXPECT_EQ(HashBytes(Scale(scale_yuv420_float, from, row.fromWidth, row.fromHeight, row.toWidth,
                                  row.toHeight)),
                  row.floating)
            << name;

        const auto pixels =
            Pixels(NoiseBytes(static_cast<std::size_t>(row.fromWidth * row.fromHeight * 2),
                              static_cast<std::uint32_t>(row.fromWidth * 1000 + row.fromHeight)));
        std::vector<std::uint16_t> to(static_cast<std::size_t>(row.toWidth * row.toHeight));
        ASSERT_EQ(
            scale_rgb565(to.data(), pixels.data(), row.toWidth, row.toHeight, row.fromWidth, row.fromHeight),
            0);
        Bytes bytes(to.size() * 2);
        std::memcpy(bytes.data(), to.data(), bytes.size());
        EXPECT_EQ(HashBytes(bytes), row.rgb565) << name;
    }
}

TEST(Scale, ASourceOfExactlyTwiceTheSizeIsThinnedOutWithoutAveraging)
{
    const Bytes from = {                                       // Y: neighbours that an average would show
                        10, 250, 20, 250,                      //
                        250, 250, 250, 250, 30, 250, 40, 250,  //
                        250, 250, 250, 250,
                        // U, V
                        50, 250, 250, 250,  //
                        60, 250, 250, 250};
    EXPECT_THAT(Scale(scale_yuv420, from, 4, 4, 2, 2), ElementsAre(10, 20, 30, 40, 50, 60));
    Bytes half(6);
    EXPECT_EQ(scale_yuv420_half(half.data(), from.data(), 2, 2), 0);
    EXPECT_THAT(half, ElementsAre(10, 20, 30, 40, 50, 60));
}

TEST(Scale, ASourceOfExactlyHalfTheSizeGoesTheDoublingWay)
{
    const Bytes from = {10, 21,    //
                        40, 71,    //
                        5,  200};  // U, V
    const Bytes expected = {
        10, 16, 21, 21,  // (10 + 21 + 1) >> 1; the last column has itself on its right
        25, 36, 46, 46,  // (10 + 40 + 1) >> 1; (10 + 21 + 40 + 71 + 2) >> 2; (21 + 71 + 1) >> 1
        40, 56, 71, 71,  //
        40, 56, 71, 71,  // the last row has itself below
        5,  5,  5,  5,  200, 200, 200, 200};
    EXPECT_THAT(Scale(scale_yuv420, from, 2, 2, 4, 4), ElementsAreArray(expected));
    Bytes doubled(24);
    EXPECT_EQ(scale_yuv420_double(doubled.data(), from.data(), 4, 4), 0);
    EXPECT_THAT(doubled, ElementsAreArray(expected));
}

TEST(Scale, DoublingRoundsWhereTheGeneralWayCuts)
{
    // 10 and 21 average to 16 by the doubling way; the general way's rounding is lost in its 24 fraction bits.
    const Bytes wide = {10, 21, 10, 21, 0, 0};
    const Bytes to = Scale(scale_yuv420, wide, 2, 2, 4, 2);
    EXPECT_THAT(Bytes(to.begin(), to.begin() + 4), ElementsAre(10, 15, 21, 21));
}

TEST(Scale, EqualSizesGoTheGeneralWayAndGiveTheSourceBack)
{
    for (const auto& [width, height] : {std::pair{16, 8}, {352, 288}, {7, 5}, {2, 2}}) {
        const Bytes from = NoisePicture(width, height);
        EXPECT_EQ(Scale(scale_yuv420, from, width, height, width, height), from);
        EXPECT_EQ(Scale(scale_yuv420_float, from, width, height, width, height), from);
        const auto pixels = Pixels(NoiseBytes(static_cast<std::size_t>(width * height * 2), 3));
        std::vector<std::uint16_t> to(pixels.size());
        EXPECT_EQ(scale_rgb565(to.data(), pixels.data(), width, height, width, height), 0);
        EXPECT_EQ(to, pixels);
    }
}

TEST(Scale, AWidthOrHeightOf0IsRefusedInsteadOfDividedBy)
{
    Bytes to(64, 0xA5);
    const Bytes from(64);
    std::vector<std::uint16_t> toPixels(64, 0xA5A5);
    const std::vector<std::uint16_t> pixels(64);
    const int sizes[][4] = {{0, 4, 4, 4},  {4, 0, 4, 4},         {4, 4, 0, 4},         {4, 4, 4, 0},
                            {-4, 4, 4, 4}, {4, -4, 4, 4},        {4, 4, -4, 4},        {4, 4, 4, -4},
                            {0, 0, 0, 0},  {INT32_MAX, 4, 4, 4}, {4, 4, 4, INT32_MAX}, {INT32_MIN, 4, 4, 4}};
    for (const auto& s : sizes) {
        EXPECT_EQ(scale_yuv420(to.data(), from.data(), s[0], s[1], s[2], s[3]), -1);
        EXPECT_EQ(scale_yuv420_float(to.data(), from.data(), s[0], s[1], s[2], s[3]), -1);
        EXPECT_EQ(scale_rgb565(toPixels.data(), pixels.data(), s[0], s[1], s[2], s[3]), -1);
    }
    for (const int size : {0, -2, INT32_MIN, INT32_MAX}) {
        EXPECT_EQ(scale_yuv420_half(to.data(), from.data(), size, 4), -1);
        EXPECT_EQ(scale_yuv420_double(to.data(), from.data(), 4, size), -1);
    }
    EXPECT_EQ(scale_yuv420_double(to.data(), from.data(), 5, 4), -1) << "no source is half of an odd size";
    EXPECT_THAT(to, Each(0xA5));
    EXPECT_THAT(toPixels, Each(0xA5A5));
}

TEST(Scale, APlanarPictureNeedsChroma)
{
    Bytes to(64);
    const Bytes from(64);
    EXPECT_EQ(scale_yuv420(to.data(), from.data(), 4, 4, 1, 4), -1);
    EXPECT_EQ(scale_yuv420(to.data(), from.data(), 4, 1, 4, 4), -1);
    EXPECT_EQ(scale_yuv420_float(to.data(), from.data(), 4, 4, 4, 1), -1);
    std::vector<std::uint16_t> pixel = {0x1234}, pixels(9);
    EXPECT_EQ(scale_rgb565(pixels.data(), pixel.data(), 3, 3, 1, 1), 0) << "one plane has no such limit";
    EXPECT_THAT(pixels, Each(0x1234));
}

TEST(Scale, NullBuffersAreRefused)
{
    Bytes bytes(64);
    std::vector<std::uint16_t> pixels(64);
    for (const auto& [toSize, fromSize] : {std::pair{4, 4}, {2, 4}, {4, 2}, {4, 3}}) {
        EXPECT_EQ(scale_yuv420(nullptr, bytes.data(), toSize, toSize, fromSize, fromSize), -1);
        EXPECT_EQ(scale_yuv420(bytes.data(), nullptr, toSize, toSize, fromSize, fromSize), -1);
        EXPECT_EQ(scale_yuv420_float(nullptr, bytes.data(), toSize, toSize, fromSize, fromSize), -1);
        EXPECT_EQ(scale_rgb565(pixels.data(), nullptr, toSize, toSize, fromSize, fromSize), -1);
        EXPECT_EQ(scale_rgb565(nullptr, pixels.data(), toSize, toSize, fromSize, fromSize), -1);
    }
    EXPECT_EQ(scale_yuv420_half(nullptr, bytes.data(), 2, 2), -1);
    EXPECT_EQ(scale_yuv420_double(bytes.data(), nullptr, 4, 4), -1);
}

// oddity: scaler-edge-repeats. What would lie behind the last column is the next row's first pixel, and behind
// the last row the next plane: neither is mixed in.
TEST(Scale, LastColumnAndRowAreTheirOwnNeighboursAsIntended)
{
    const Bytes from = {10, 20, 30, 40, 200, 250};
    EXPECT_THAT(Scale(scale_yuv420, from, 2, 2, 3, 2), ElementsAre(10, 16, 20, 30, 36, 40, 200, 250));
    EXPECT_THAT(Scale(scale_yuv420, from, 2, 2, 2, 3), ElementsAre(10, 20, 23, 33, 30, 40, 200, 250));
    EXPECT_THAT(Scale(scale_yuv420_float, from, 2, 2, 3, 2), ElementsAre(10, 17, 20, 30, 37, 40, 200, 250));
    EXPECT_THAT(Scale(scale_yuv420_float, from, 2, 2, 2, 3), ElementsAre(10, 20, 23, 33, 30, 40, 200, 250));
    const std::vector<std::uint16_t> pixels = {0, 16, 31, 0};
    std::vector<std::uint16_t> to(6);
    ASSERT_EQ(scale_rgb565(to.data(), pixels.data(), 3, 2, 2, 2), 0);
    EXPECT_THAT(to, ElementsAre(0, 10, 16, 31, 10, 0));
}

TEST(Scale, NoSizeReadsBesideTheSource)
{
    // With buffers of exactly the pictures' bytes; the address sanitizer tells. The steps of the luma would
    // lead the chroma of odd sizes past its end.
    for (int from = 2; from < 12; ++from) {
        for (int to = 2; to < 26; ++to) {
            const Bytes source(I420Bytes(from, from + 1), 99);
            EXPECT_THAT(Scale(scale_yuv420, source, from, from + 1, to, to + 1), Each(99))
                << from << " to " << to;
            EXPECT_THAT(Scale(scale_yuv420_float, source, from, from + 1, to, to + 1), Each(99))
                << from << " to " << to;
        }
    }
}

TEST(ScaleRgb565, ChannelsDoNotCarryIntoEachOther)
{
    // Two pixels whose sum as whole words would carry through every channel.
    const std::vector<std::uint16_t> from = {0xF81F, 0x07E0};
    std::vector<std::uint16_t> to(4);
    ASSERT_EQ(scale_rgb565(to.data(), from.data(), 4, 1, 2, 1), 0);
    EXPECT_THAT(to, ElementsAre(0xF81F, 15 << 11 | 31 << 5 | 15, 0x07E0, 0x07E0));
}

TEST(ScaleRgb565, WhiteStaysWhite)
{
    const std::vector<std::uint16_t> from(35, 0xFFFF);
    std::vector<std::uint16_t> to(99);
    ASSERT_EQ(scale_rgb565(to.data(), from.data(), 11, 9, 7, 5), 0);
    EXPECT_THAT(to, Each(0xFFFF));
}

}  // namespace
