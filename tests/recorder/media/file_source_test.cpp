// What plays at the pace of its time stamps: files, images, filter graphs.

#include "recorder/media/Source.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "recorder/scene/Mark.h"
#include "tests/recorder/media/source_support.h"
#include "tests/support/test_folder.h"

namespace
{

using namespace recorder;

TEST(SourceTest, AnythingThatLibavformatOpensIsFitted)
{
    SceneSetup setup = SourceScene();
    setup.mark = false;
    const auto source = MakeSource("lavfi:color=c=red:s=200x100:r=10", setup, 0, NEVER_STOP);
    Picture picture;
    for (int i = 0; i < 30; i += 3) {
        source->Read(i, picture);
        ASSERT_EQ(picture.width, 352);
        EXPECT_NEAR(picture.y[static_cast<size_t>(144 * 352 + 176)], 82, 3) << "red in the middle";
        EXPECT_NEAR(picture.v[static_cast<size_t>(72 * 176 + 88)], 240, 3);
        EXPECT_EQ(picture.y[static_cast<size_t>(40 * 352 + 176)], 16) << "black bars above, as it is wide";
    }
}

void ExpectPlayedAgainAndAgain(const std::string& name, const std::string& encoding)
{
    const CTestFolder folder;
    ASSERT_NO_FATAL_FAILURE(WriteBlueFilm(folder.Path(name), "-t 0.4 " + encoding));
    const auto source = MakeSource(folder.Path(name), SourceScene(), 0, NEVER_STOP);
    ExpectBlueSixTimes(*source);
}

TEST(SourceTest, AFileIsPlayedAgainAndAgain)
{
    ExpectPlayedAgainAndAgain("short.avi", "-c:v mpeg4");
}

TEST(SourceTest, AFileThatCanNotBeSoughtIsPlayedAgainAndAgain)
{
    ExpectPlayedAgainAndAgain("short.h264", "-c:v libx264");
}

// Of a film of 100 pictures, the half of them white.
void ExpectEachRoundHalfBright(const std::string& film)
{
    const auto source = MakeSource(film, SourceScene(), 0, NEVER_STOP);
    Picture picture;
    for (int round = 0; round < 3; ++round) {
        int bright = 0;
        for (int i = 0; i < 100; ++i) {  // its length
            source->Read(100 * round + i, picture);
            bright += picture.y[static_cast<size_t>(144 * 352 + 176)] > 128 ? 1 : 0;
        }
        EXPECT_NEAR(bright, 50, 3) << "round " << round;
    }
}

// As a recorder's files are joined: the stamps begin anew in the middle. Who looks for the beginning of a
// Matroska file by its stamp finds that of the later part.
TEST(SourceTest, AJoinedFileIsPlayedToItsEndAgainAndAgain)
{
    for (const std::string format : {"mpegts", "matroska"}) {
        SCOPED_TRACE(format);
        const CTestFolder folder;
        std::ofstream joined(folder.Path("joined"), std::ios::binary);
        for (const std::string colour : {"black", "white"}) {
            const std::string part = folder.Path(colour);
            std::string command = "ffmpeg -v error -y -f lavfi -i color=s=64x48:r=25:d=2:c=";
            command.append(colour).append(" -c:v mpeg2video -f ").append(format).append(" ").append(part);
            ASSERT_EQ(std::system(command.c_str()), 0);
            joined << std::ifstream(part, std::ios::binary).rdbuf();
        }
        joined.close();
        ExpectEachRoundHalfBright(folder.Path("joined"));
    }
}

// As of a transport stream whose stamps go round, once in 26.5 hours: what comes before is counted from below
// 0.
TEST(SourceTest, AFilmWhoseStampsGoRoundIsPlayedAgainFromItsFirstPicture)
{
    const CTestFolder folder;
    ASSERT_EQ(std::system(("ffmpeg -v error -y -f lavfi -i color=black:s=64x48:r=25:d=2 -f lavfi "
                           "-i color=white:s=64x48:r=25:d=2 -filter_complex concat -c:v mpeg2video "
                           "-output_ts_offset 95440 " +
                           folder.Path("round.ts"))
                              .c_str()),
              0);
    ExpectEachRoundHalfBright(folder.Path("round.ts"));
}

TEST(SourceTest, EachPictureIsShownFromItsTimeToThatOfTheNext)
{
    const CTestFolder folder;
    const std::string file = folder.Path("slides.mov");
    const std::string command =
        "ffmpeg -v error -y -f lavfi -i color=c=white:s=64x48:r=1:d=1"
        " -f lavfi -i color=c=black:s=64x48:r=1:d=2"
        " -filter_complex concat=n=2 -c:v mpeg4 ";
    ASSERT_EQ(std::system((command + file).c_str()), 0);
    const auto source = MakeSource(file, SourceScene(), 0, NEVER_STOP);
    Picture picture;
    for (int number = 0; number < 150; ++number) {
        source->Read(number, picture);
        const bool white = number % 75 < 25;
        ASSERT_EQ(picture.y[static_cast<size_t>(144 * 352 + 176)] > 128, white) << "picture " << number;
    }
}

// What is written over the third picture of a file, behind a mark that each of them has.
struct Damage {
    const char* file;
    const char* codec;
    std::string mark;
    size_t behind;
    std::string bytes;

    friend void PrintTo(const Damage& damage, std::ostream* out) { *out << damage.file; }
};

class DamageTest : public testing::TestWithParam<Damage>
{
};

TEST_P(DamageTest, CostsNoOtherPicture)
{
    const Damage& damage = GetParam();
    const CTestFolder folder;
    const std::string file = folder.Path(damage.file);
    ASSERT_NO_FATAL_FAILURE(WriteBlueFilm(file, std::string("-t 0.4 -c:v ") + damage.codec));
    std::ifstream in(file, std::ios::binary);
    std::string bytes{std::istreambuf_iterator<char>(in), {}};
    size_t at = 0;
    for (int i = 0; i < 3; ++i) {
        at = bytes.find(damage.mark, at);
        ASSERT_NE(at, std::string::npos);
        at += damage.mark.size();
    }
    bytes.replace(at + damage.behind, damage.bytes.size(), damage.bytes);
    folder.Write(damage.file, bytes);
    const auto source = MakeSource(file, SourceScene(), 0, NEVER_STOP);
    ExpectBlueSixTimes(*source);
}

// Garbage that its library finds; sampling factors, and as many components, that it doesn't know.
INSTANTIATE_TEST_SUITE_P(Kinds, DamageTest,
                         testing::Values(Damage{"garbage.mkv", "png", "IDAT", 0, std::string(8, '\xFF')},
                                         Damage{"factors.mkv", "mjpeg", "\xFF\xC0", 9, "\x33"},
                                         Damage{"components.mkv", "mjpeg", "\xFF\xC0", 7, "\x05"}),
                         [](const auto& damage) {
                             return std::string(damage.param.file, std::strchr(damage.param.file, '.'));
                         });

// Pictures of a film of blue ones, so many of which have sampling factors that no decoder knows.
void WriteUnreadable(const CTestFolder& folder, const std::string& name, int pictures, int unreadable)
{
    WriteBlueFilm(folder.Path(name), "-c:v mjpeg -frames:v " + std::to_string(pictures));
    std::string bytes = folder.Read(name).value_or("");
    size_t at = 0;
    for (int i = 0; i < unreadable; ++i) {
        at = bytes.find("\xFF\xC0", at);
        ASSERT_NE(at, std::string::npos);
        at += 2;
        bytes[at + 9] = '\x33';
    }
    folder.Write(name, bytes);
}

std::string WhatOpeningSays(const std::string& file)
{
    testing::internal::CaptureStderr();
    MakeSource(file, SourceScene(), 0, NEVER_STOP);
    return testing::internal::GetCapturedStderr();
}

TEST(SourceTest, AFilmThatCanNotBeDecodedSaysWhy)
{
    const CTestFolder folder;
    WriteUnreadable(folder, "short.avi", 10, 10);
    EXPECT_THAT(WhatOpeningSays(folder.Path("short.avi")),
                testing::HasSubstr("can't decode the source: Not yet"));
}

TEST(SourceTest, AFilmThatCanNotBeDecodedIsNotReadToItsEnd)
{
    const CTestFolder folder;
    WriteUnreadable(folder, "long.avi", 1'300, 1'200);
    EXPECT_THAT(WhatOpeningSays(folder.Path("long.avi")),
                testing::HasSubstr("can't decode the source: Not yet"));
    WriteUnreadable(folder, "cut.avi", 700, 600);
    EXPECT_THAT(WhatOpeningSays(folder.Path("cut.avi")), testing::Not(testing::HasSubstr("can't decode")));
}

// Each picture is brighter by 4 than the one before, and comes when it says at a quarter of the speed, or
// another.
class SlowSourceTest : public testing::Test
{
  protected:
    void Open(int rate, const std::string& speed = "0.25")
    {
        const std::string spec = "lavfi:color=s=64x48:r=" + std::to_string(rate) +
                                 ",geq=lum=24+N*4:cb=128:cr=128,realtime=speed=" + speed;
        m_pSource = MakeSource(spec, SourceScene(), 0, NEVER_STOP);
    }
    int MiddleAt(int number)
    {
        m_pSource->Read(number, m_Picture);
        return m_Picture.y[static_cast<size_t>(144 * 352 + 176)];
    }

  private:
    std::unique_ptr<ISource> m_pSource;
    Picture m_Picture;
};

TEST_F(SlowSourceTest, WhoIsLateIsShownWhatComes)
{
    Open(25);
    MiddleAt(0);
    const int late = MiddleAt(45);
    EXPECT_LT(late, 110) << "nobody waits for all that are due";
    for (int number = 46; number < 49; ++number)
        MiddleAt(number);
    EXPECT_GT(MiddleAt(49), late) << "and none is waited for anew";
}

// As a pipe whose writer had a pause, and makes up for it.
TEST_F(SlowSourceTest, WhoComesNearerMakesUpForAllThatIsDue)
{
    constexpr int LAST = 51;
    constexpr int DUE = 24 + 4 * LAST;
    int shown = 0;
    // A read that the machine holds up once gives up what is left.
    for (int attempt = 0; attempt < 3 && std::abs(shown - DUE) > 6; ++attempt) {
        Open(25, "4");
        MiddleAt(0);
        for (int number = 30; number <= LAST; ++number)
            shown = MiddleAt(number);
    }
    EXPECT_NEAR(shown, DUE, 6);
}

TEST_F(SlowSourceTest, WhoComesNearerHoldsNoPictureUp)
{
    using std::chrono::milliseconds;
    using Clock = std::chrono::steady_clock;
    auto longest = Clock::duration::max();
    for (int attempt = 0; attempt < 3 && longest > milliseconds(300); ++attempt) {
        Open(25, "2");
        MiddleAt(0);
        longest = {};
        for (int number = 30; number <= 33; ++number) {
            const auto begun = Clock::now();
            MiddleAt(number);
            longest = std::max(longest, Clock::now() - begun);
        }
    }
    EXPECT_LE(longest, milliseconds(300)) << "half a second is missing still";
}

// As a camera of images whose pipe tells no times: libavformat takes 25 a second for them.
TEST_F(SlowSourceTest, WhoComesTooSlowlyIsShownPictureByPicture)
{
    Open(25, "0.5");
    int before = MiddleAt(0);
    int next = 0;
    for (int number = 3; number <= 36; number += 3) {
        const int shown = MiddleAt(number);
        next += std::abs(shown - before - 4) <= 1 ? 1 : 0;
        before = shown;
    }
    EXPECT_GE(next, 4) << "of twelve: the machine may be late, too";
}

// As for a loop that is made in advance.
TEST_F(SlowSourceTest, WhoSkipsNothingIsShownWhatIsDue)
{
    Open(100);  // four for each picture of the channel, of which that within half its interval is shown
    MiddleAt(0);
    for (int number = 1; number < 6; ++number)
        EXPECT_NEAR(MiddleAt(number), 24 + 4 * (4 * number - 1), 6) << number;
}

TEST(SourceTest, ASingleImageIsShownAgainAndAgain)
{
    ExpectPlayedAgainAndAgain("still.jpg", "-frames:v 1 -s 1280x960");
}

TEST(SourceTest, ASingleImageThatIsWrittenAnewIsShownAnew)
{
    const CTestFolder folder;
    const auto image = [](char grey) { return "P5\n64 48\n255\n" + std::string(size_t{64} * 48, grey); };
    folder.Write("still.pgm", image('\xF0'));
    const auto source = MakeSource(folder.Path("still.pgm"), SourceScene(), 0, NEVER_STOP);
    Picture picture;
    const auto middleAt = [&](int number) {
        source->Read(number, picture);
        return picture.y[static_cast<size_t>(144 * 352 + 176)];
    };
    EXPECT_GT(middleAt(0), 200);
    folder.Write("still.pgm", image('\x20'));
    for (int number = 1; number < 75; ++number)
        middleAt(number);
    EXPECT_LT(middleAt(75), 60) << "it is read once a second";
}

TEST(SourceTest, AFilterGraphThatEndsIsPlayedAgainAndAgain)
{
    const auto source = MakeSource("lavfi:color=c=blue:s=64x48:r=25:d=0.4", SourceScene(), 0, NEVER_STOP);
    ExpectBlueSixTimes(*source);
}

TEST(SourceTest, ASourceThatCanNotBeOpenedShowsANotice)
{
    const auto source = MakeSource("/nonexistent/file.avi", SourceScene(), 2, NEVER_STOP);
    Picture picture;
    source->Read(0, picture);
    ASSERT_EQ(picture.width, 352);
    EXPECT_EQ(ReadMark(picture), (Mark{0, 2})) << "it is a picture of the channel all the same";
    EXPECT_LT(picture.y[static_cast<size_t>(60 * 352 + 20)], 60) << "and dark";
    source->Read(1, picture);
    EXPECT_EQ(ReadMark(picture), (Mark{1, 2}));
}

TEST(SourceTest, ASourceThatCanNotBeOpenedIsTriedAgainEveryFiveSeconds)
{
    const CTestFolder folder;
    const auto source = MakeSource(folder.Path("late.pgm"), SourceScene(), 0, NEVER_STOP);
    folder.Write("late.pgm", "P5\n64 48\n255\n" + std::string(size_t{64} * 48, '\xF0'));
    Picture picture;
    const auto cornerAt = [&](int number) {
        source->Read(number, picture);
        return picture.y[static_cast<size_t>(250 * 352 + 60)];
    };
    const int first = 5 * SourceScene().rate - 1;  // it counts from the picture before the first
    for (const int number : {0, 1, first - 1})
        EXPECT_LT(cornerAt(number), 100) << number << ": a notice";
    EXPECT_GT(cornerAt(first), 200);
}

// However long it was played before.
TEST(SourceTest, AFileThatWasGoneIsShownAtOnceWhenItIsBack)
{
    const CTestFolder folder;
    const auto image = [](char grey) { return "P5\n64 48\n255\n" + std::string(size_t{64} * 48, grey); };
    folder.Write("still.pgm", image('\xF0'));
    const auto source = MakeSource(folder.Path("still.pgm"), SourceScene(), 0, NEVER_STOP);
    Picture picture;
    int number = 0;
    const auto lastOf = [&](int seconds) {
        for (const int end = number + seconds * SourceScene().rate; number < end; ++number)
            source->Read(number, picture);
        return picture.y[static_cast<size_t>(250 * 352 + 60)];
    };
    EXPECT_GT(lastOf(20), 200);
    std::filesystem::remove(folder.Path("still.pgm"));
    EXPECT_LT(lastOf(2), 60) << "a notice";
    folder.Write("still.pgm", image('\x80'));
    EXPECT_NEAR(lastOf(5), 126, 6);
}

TEST(SourceTest, AFileThatIsReadWhenTheRecorderEndsIsNoFault)
{
    std::atomic<bool> stop = false;
    const auto source = MakeSource("lavfi:color=c=blue:s=64x48:r=25", SourceScene(), 0, stop);
    Picture picture;
    source->Read(0, picture);
    stop = true;
    testing::internal::CaptureStderr();
    source->Read(25, picture);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
