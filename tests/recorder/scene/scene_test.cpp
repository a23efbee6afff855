#include "recorder/scene/Scene.h"

#include <gmock/gmock.h>

#include <algorithm>

#include <cmath>

#include "recorder/scene/Mark.h"

namespace
{

using namespace recorder;

SceneSetup DefaultSetup()
{
    SceneSetup setup;
    setup.width = 352;
    setup.height = 288;
    setup.clockStart = ParseClock("2026-11-21 08:40:12");
    return setup;
}

// The share of luma samples that differ visibly.
double Difference(const Picture& a, const Picture& b, int top, int bottom)
{
    int different = 0;
    for (int y = top; y < bottom; ++y)
        for (int x = 0; x < a.width; ++x) {
            const auto at = static_cast<size_t>(y * a.width + x);
            if (std::abs(a.y[at] - b.y[at]) > 8) ++different;
        }
    return static_cast<double>(different) / ((bottom - top) * a.width);
}

TEST(SceneTest, EachSceneMoves)
{
    for (int channel = 0; channel < SCENES; ++channel) {
        const Picture now = DrawScene(DefaultSetup(), channel, 100);
        const Picture later = DrawScene(DefaultSetup(), channel, 150);
        EXPECT_GT(Difference(now, later, 40, 250), 0.004) << DefaultName(channel);
    }
}

TEST(SceneTest, ChannelsLookDifferent)
{
    std::vector<Picture> pictures;
    for (int channel = 0; channel < 2 * SCENES; ++channel)
        pictures.push_back(DrawScene(DefaultSetup(), channel, 0));
    for (size_t a = 0; a < pictures.size(); ++a)
        for (size_t b = a + 1; b < pictures.size(); ++b)
            EXPECT_GT(Difference(pictures[a], pictures[b], 40, 250), 0.3) << "channels " << a << " and " << b;
}

TEST(SceneTest, TheSamePictureIsDrawnAlwaysAlike)
{
    ScenePainter painter(DefaultSetup(), 4);
    Picture picture;
    for (const int64_t number : {7, 3000, 12, 123'456'789})
        painter.Draw(number, picture);
    EXPECT_EQ(picture.y, DrawScene(DefaultSetup(), 4, 123'456'789).y);
    EXPECT_EQ(picture.u, DrawScene(DefaultSetup(), 4, 123'456'789).u);
}

TEST(SceneTest, ClockIsBurntIn)
{
    // Two setups that differ in the clock alone: only the corner of the clock differs.
    SceneSetup other = DefaultSetup();
    other.clockStart = ParseClock("1999-05-07 21:13:48");
    const Picture a = DrawScene(DefaultSetup(), 0, 10);
    const Picture b = DrawScene(other, 0, 10);
    EXPECT_GT(Difference(a, b, 264, 284), 0.01);
    EXPECT_EQ(Difference(a, b, 0, 260), 0);
}

TEST(SceneTest, NameIsBurntIn)
{
    SceneSetup other = DefaultSetup();
    other.names = {"Eingang", ""};
    const Picture a = DrawScene(DefaultSetup(), 0, 10);
    EXPECT_GT(Difference(a, DrawScene(other, 0, 10), 0, 24), 0.01);
    EXPECT_EQ(Difference(a, DrawScene(other, 0, 10), 30, 288), 0);
    EXPECT_EQ(DrawScene(DefaultSetup(), 1, 10).y, DrawScene(other, 1, 10).y) << "an empty name is none";
}

TEST(SceneTest, EverySizeIsDrawn)
{
    for (const auto& [width, height] : {std::pair{128, 96}, std::pair{1280, 720}, std::pair{1920, 1088}}) {
        SceneSetup setup = DefaultSetup();
        setup.width = width;
        setup.height = height;
        setup.mark = true;
        const Picture picture = DrawScene(setup, 5, 77);
        EXPECT_EQ(picture.y.size(), static_cast<size_t>(width * height));
        EXPECT_EQ(ReadMark(picture), (Mark{77, 5}));
    }
}

TEST(ClockTest, RunsInHundredths)
{
    const SceneSetup setup = DefaultSetup();
    EXPECT_EQ(ClockText(setup, 0), "2026-11-21 08:40:12.00");
    EXPECT_EQ(ClockText(setup, 1), "2026-11-21 08:40:12.04");
    EXPECT_EQ(ClockText(setup, 25 * 3600 * 24), "2026-11-22 08:40:12.00");
    EXPECT_EQ(ClockText(setup, int64_t{25} * 3600 * 24 * 41), "2027-01-01 08:40:12.00");
}

TEST(ClockTest, ReadsWhatItShows)
{
    EXPECT_EQ(ParseClock("1970-01-01 00:00:01"), 100);
    EXPECT_EQ(ParseClock("2026-11-21T08:40:12"), ParseClock("2026-11-21 08:40:12"));
    for (const char* wrong : {"", "2026-11-21", "2026-02-30 00:00:00", "2026-11-21 24:00:00",
                              "2026-11-21 08:40:12x", "2026-11-21 08:60:12", "1969-12-31 00:00:00"})
        EXPECT_EQ(ParseClock(wrong), -1) << wrong;
}

TEST(MarkTest, IsReadBackAlsoWhenItIsBlurred)
{
    Picture picture;
    picture.Resize(176, 144);
    for (const Mark& mark : {Mark{0, 0}, Mark{0xFFFFFFFF, 63}, Mark{123456, 17}}) {
        DrawMark(mark, picture);
        Picture noisy = picture;
        for (size_t i = 0; i < noisy.y.size(); ++i)
            noisy.y[i] = static_cast<uint8_t>(noisy.y[i] / 2 + 50 + i % 17);
        EXPECT_EQ(ReadMark(picture), mark);
        EXPECT_EQ(ReadMark(noisy), mark);
    }
}

TEST(MarkTest, NoMarkIsFoundWhereThereIsNone)
{
    EXPECT_FALSE(ReadMark(DrawScene(DefaultSetup(), 0, 1)));
    Picture picture;
    picture.Resize(176, 144);
    EXPECT_FALSE(ReadMark(picture)) << "all black";
    DrawMark({5, 5}, picture);
    std::fill_n(picture.y.begin() + (144 - 24) * 176, 8, uint8_t{240});
    for (int row = 1; row < 8; ++row)
        std::fill_n(picture.y.begin() + (144 - 24 + row) * 176, 8, uint8_t{240});
    EXPECT_FALSE(ReadMark(picture)) << "one block turned over";
    Picture small;
    small.Resize(64, 48);
    EXPECT_FALSE(ReadMark(small));
}

TEST(PictureTest, ColoursBecomeLimitedRange)
{
    Picture picture;
    picture.Resize(16, 16);
    const auto convert = [&](uint8_t b, uint8_t g, uint8_t r) {
        std::vector<uint8_t> pixels;
        for (int i = 0; i < 256; ++i)
            pixels.insert(pixels.end(), {b, g, r, 0});
        FromBgra(pixels.data(), 64, picture);
        return std::array<int, 3>{picture.y[100], picture.u[30], picture.v[30]};
    };
    EXPECT_THAT(convert(0, 0, 0), testing::ElementsAre(16, 128, 128));
    EXPECT_THAT(convert(255, 255, 255), testing::ElementsAre(235, 128, 128));
    EXPECT_THAT(convert(0, 0, 255), testing::ElementsAre(82, 90, 240));
    EXPECT_THAT(convert(255, 0, 0), testing::ElementsAre(41, 240, 110));
}

TEST(NoticeTest, ANoticeOfAnyLengthFitsThePicture)
{
    const std::string notices[] = {"no picture",
                                   "can't open the source: No such file or directory, nor anything like it",
                                   std::string(300, 'W'), "", "a " + std::string(40, 'x') + " b"};
    for (const int width : {128, 176, 704}) {
        SceneSetup setup;
        setup.width = width;
        setup.height = width == 128 ? 96 : width == 176 ? 144 : 576;
        OverlayPainter painter(setup, 0);
        for (const std::string& notice : notices) {
            Picture picture;
            painter.DrawNotice(0, notice, picture);
            int brightest = 0;
            for (int y = setup.height / 4; y < setup.height * 3 / 4; ++y)
                for (int x = 0; x < width; ++x)
                    if (x < 3 || x >= width - 3)
                        brightest = std::max<int>(brightest, picture.y[static_cast<size_t>(y * width + x)]);
            EXPECT_LT(brightest, 80) << width << ": " << notice;
        }
    }
}

}  // namespace
