// Source, rate control and encoder together, without thread or clock; then a channel with its thread.

#include "recorder/media/Channel.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <iterator>
#include <mutex>
#include <thread>
#include <utility>

#include "recorder/scene/Mark.h"
#include "tests/recorder/media_support.h"
#include "tests/support/file_limit.h"
#include "tests/support/test_folder.h"

namespace
{

using namespace recorder;

ChannelSetup DefaultSetup()
{
    ChannelSetup setup;
    setup.scene.width = 352;
    setup.scene.height = 288;
    setup.scene.clockStart = ParseClock("2026-11-21 08:40:12");
    setup.scene.mark = true;
    setup.stream.bitRate = 600'000;
    return setup;
}

const std::atomic<bool> NEVER_STOP = false;

TEST(PictureMakerTest, PicturesShowTheSceneAsDrawn)
{
    for (int channel = 0; channel < SCENES; ++channel) {
        PictureMaker maker(DefaultSetup(), channel, NEVER_STOP);
        CDecoder decoder;
        double least = 100;
        for (int i = 0; i < 30; ++i) {
            const Picture shown = decoder.Decode(maker.Make(i, false)->bytes);
            const auto mark = ReadMark(shown);
            ASSERT_TRUE(mark) << "channel " << channel << " picture " << i;
            EXPECT_EQ(*mark, (Mark{static_cast<uint32_t>(i), channel}));
            least = std::min(least, LumaPsnr(shown, DrawScene(DefaultSetup().scene, channel, i)));
        }
        EXPECT_GE(least, 30) << "channel " << channel;
    }
}

TEST(PictureMakerTest, RateIsKept)
{
    for (const int64_t rate : {300'000, 1'200'000}) {
        ChannelSetup setup = DefaultSetup();
        setup.stream.bitRate = rate;
        PictureMaker maker(setup, 1, NEVER_STOP);
        for (int i = 0; i < 200; ++i)
            maker.Make(i, false);
        const double bits = 8.0 * static_cast<double>(maker.Counts().bytes) / 8;  // a second, of eight
        EXPECT_NEAR(bits / static_cast<double>(rate), 1, 0.25) << rate;
        EXPECT_EQ(maker.Counts().keys, 8U);
    }
}

TEST(PictureMakerTest, APictureThatIsTooLargeIsMadeCoarser)
{
    ChannelSetup setup = DefaultSetup();
    setup.stream.bitRate = 20'000'000;
    setup.stream.maxBytes = 12'000;
    PictureMaker maker(setup, 1, NEVER_STOP);
    CDecoder decoder;
    for (int i = 0; i < 20; ++i) {
        const auto coded = maker.Make(i, i % 5 == 0);
        ASSERT_TRUE(coded);
        EXPECT_LE(coded->bytes.size(), 12'000U);
        EXPECT_GT(LumaPsnr(decoder.Decode(coded->bytes), DrawScene(setup.scene, 1, i)), 25);
    }
    EXPECT_GE(maker.Counts().coarser, 1U);
    EXPECT_EQ(maker.Counts().tooLarge, 0U);
}

TEST(PictureMakerTest, APictureThatCanNotBeMadeSmallEnoughIsDropped)
{
    ChannelSetup setup = DefaultSetup();
    setup.stream.maxBytes = 500;
    PictureMaker maker(setup, 1, NEVER_STOP);
    EXPECT_FALSE(maker.Make(0, false));
    EXPECT_FALSE(maker.Make(1, false)) << "the next can only be a key picture again";
    EXPECT_EQ(maker.Counts().tooLarge, 2U);
    EXPECT_EQ(maker.Counts().pictures, 0U);
}

TEST(PictureMakerTest, KeyPicturesComeByGroupAndWhenAskedFor)
{
    ChannelSetup setup = DefaultSetup();
    setup.stream.group = 10;
    PictureMaker maker(setup, 0, NEVER_STOP);
    std::vector<int> keys;
    for (int i = 0; i < 30; ++i)
        if (maker.Make(i, i == 14)->key) keys.push_back(i);
    EXPECT_THAT(keys, testing::ElementsAre(0, 10, 14, 24));
}

TEST(PictureMakerTest, RestartBeginsAStreamOfItsOwn)
{
    PictureMaker maker(DefaultSetup(), 0, NEVER_STOP);
    maker.Make(0, false);
    EXPECT_FALSE(maker.Make(1, false)->key);
    maker.Restart();
    const auto coded = maker.Make(100'000, false);
    EXPECT_TRUE(coded->key);
    EXPECT_NO_THROW(CDecoder().Decode(coded->bytes));
}

TEST(SourceTest, AnythingThatLibavformatOpensIsFitted)
{
    SceneSetup setup = DefaultSetup().scene;
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

void ExpectBlueSixTimes(ISource& source)
{
    Picture picture;
    for (int i = 0; i < 60; ++i) {  // six times its length
        source.Read(i, picture);
        ASSERT_NEAR(picture.y[static_cast<size_t>(144 * 352 + 176)], 41, 6) << "picture " << i;
        ASSERT_NEAR(picture.u[static_cast<size_t>(72 * 176 + 88)], 240, 6) << "a notice is grey; picture " << i;
    }
}

// What ffmpeg makes of a blue picture.
void ExpectPlayedAgainAndAgain(const std::string& name, const std::string& encoding)
{
    const auto folder = std::filesystem::temp_directory_path() / ("recorder-test-" + std::to_string(getpid()));
    std::filesystem::create_directories(folder);
    const std::string file = folder / name;
    const std::string command =
        "ffmpeg -v error -y -f lavfi -i color=c=blue:s=64x48:r=25:d=0.4 " + encoding + " " + file;
    ASSERT_EQ(std::system(command.c_str()), 0);
    const auto source = MakeSource(file, DefaultSetup().scene, 0, NEVER_STOP);
    ExpectBlueSixTimes(*source);
    std::filesystem::remove_all(folder);
}

TEST(SourceTest, AFileIsPlayedAgainAndAgain)
{
    ExpectPlayedAgainAndAgain("short.avi", "-c:v mpeg4");
}

TEST(SourceTest, AFileThatCanNotBeSoughtIsPlayedAgainAndAgain)
{
    ExpectPlayedAgainAndAgain("short.h264", "-c:v libx264");
}

// As a recorder's files are joined: the stamps begin anew in the middle.
TEST(SourceTest, AJoinedFileIsPlayedToItsEnd)
{
    const auto folder =
        std::filesystem::temp_directory_path() / ("recorder-joined-" + std::to_string(getpid()));
    std::filesystem::create_directories(folder);
    std::ofstream joined(folder / "joined.ts", std::ios::binary);
    for (const std::string colour : {"black", "white"}) {
        const std::string part = folder / (colour + ".ts");
        std::string command = "ffmpeg -v error -y -f lavfi -i color=s=64x48:r=25:d=2:c=";
        command.append(colour).append(" -c:v mpeg2video ").append(part);
        ASSERT_EQ(std::system(command.c_str()), 0);
        joined << std::ifstream(part, std::ios::binary).rdbuf();
    }
    joined.close();
    const auto source = MakeSource(folder / "joined.ts", DefaultSetup().scene, 0, NEVER_STOP);
    Picture picture;
    int bright = 0;
    for (int i = 0; i < 100; ++i) {  // its length
        source->Read(i, picture);
        bright += picture.y[static_cast<size_t>(144 * 352 + 176)] > 128 ? 1 : 0;
    }
    EXPECT_NEAR(bright, 50, 3);
    std::filesystem::remove_all(folder);
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
    const auto source = MakeSource(file, DefaultSetup().scene, 0, NEVER_STOP);
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
    const std::string command =
        std::string("ffmpeg -v error -y -f lavfi -i color=c=blue:s=64x48:r=25:d=0.4 -c:v ") + damage.codec +
        " ";
    ASSERT_EQ(std::system((command + file).c_str()), 0);
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
    const auto source = MakeSource(file, DefaultSetup().scene, 0, NEVER_STOP);
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
    const std::string command =
        "ffmpeg -v error -y -f lavfi -i color=c=blue:s=64x48:r=25 -c:v mjpeg -frames:v " +
        std::to_string(pictures) + " " + folder.Path(name);
    ASSERT_EQ(std::system(command.c_str()), 0);
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
    MakeSource(file, DefaultSetup().scene, 0, NEVER_STOP);
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
        m_pSource = MakeSource(spec, DefaultSetup().scene, 0, NEVER_STOP);
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
    Open(25, "4");
    MiddleAt(0);
    int shown = 0;
    for (int number = 30; number < 52; ++number)
        shown = MiddleAt(number);
    EXPECT_NEAR(shown, 24 + 4 * 51, 6);
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
    const auto source = MakeSource(folder.Path("still.pgm"), DefaultSetup().scene, 0, NEVER_STOP);
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
    const auto source =
        MakeSource("lavfi:color=c=blue:s=64x48:r=25:d=0.4", DefaultSetup().scene, 0, NEVER_STOP);
    ExpectBlueSixTimes(*source);
}

TEST(SourceTest, ASourceThatCanNotBeOpenedShowsANotice)
{
    const auto source = MakeSource("/nonexistent/file.avi", DefaultSetup().scene, 2, NEVER_STOP);
    Picture picture;
    source->Read(0, picture);
    ASSERT_EQ(picture.width, 352);
    EXPECT_EQ(ReadMark(picture), (Mark{0, 2})) << "it is a picture of the channel all the same";
    EXPECT_LT(picture.y[static_cast<size_t>(60 * 352 + 20)], 60) << "and dark";
    source->Read(1, picture);
    EXPECT_EQ(ReadMark(picture), (Mark{1, 2}));
}

TEST(SourceTest, AFileThatIsReadWhenTheRecorderEndsIsNoFault)
{
    std::atomic<bool> stop = false;
    const auto source = MakeSource("lavfi:color=c=blue:s=64x48:r=25", DefaultSetup().scene, 0, stop);
    Picture picture;
    source->Read(0, picture);
    stop = true;
    testing::internal::CaptureStderr();
    source->Read(25, picture);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

class PipeSourceTest : public testing::Test
{
  protected:
    PipeSourceTest() { EXPECT_EQ(mkfifo(m_Pipe.c_str(), 0600), 0); }

    CTestFolder m_Folder;
    const std::string m_Pipe = m_Folder.Path("pipe");
};

TEST_F(PipeSourceTest, ItsPicturesAreShown)
{
    const std::string command =
        "ffmpeg -v error -y -f lavfi -i color=c=blue:s=64x48:r=25:d=3 -f mpegts " + m_Pipe;
    std::thread writer([&] { EXPECT_EQ(std::system(command.c_str()), 0); });
    const auto source = MakeSource(m_Pipe, DefaultSetup().scene, 0, NEVER_STOP);
    ExpectBlueSixTimes(*source);
    writer.join();
}

TEST_F(PipeSourceTest, OneThatCanNotBeOpenedSaysWhy)
{
    // The sanitizer opens a pipe to look at an object of a type that is new to it.
    MakeSource(m_Pipe, DefaultSetup().scene, 0, true);
    testing::internal::CaptureStderr();
    {
        const CResourceLimit noFile(RLIMIT_NOFILE, 0);
        MakeSource(m_Pipe, DefaultSetup().scene, 0, NEVER_STOP);
    }
    EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr("Too many open files"));
}

// As somebody may name it.
class PipeNameTest : public PipeSourceTest, public testing::WithParamInterface<const char*>
{
};

TEST_P(PipeNameTest, OneThatNobodyWritesIntoKeepsNoRecorderFromItsEnd)
{
    const std::atomic<bool> stop = true;
    const auto reader =
        std::async(std::launch::async, [&] { MakeSource(GetParam() + m_Pipe, DefaultSetup().scene, 0, stop); });
    EXPECT_EQ(reader.wait_for(std::chrono::seconds(20)), std::future_status::ready);
    close(open(m_Pipe.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));  // ends every wait
}

INSTANTIATE_TEST_SUITE_P(Names, PipeNameTest, testing::Values("", "file:"));

// What a shell opens for the programs it starts, and how a source's text names it.
struct Input {
    int reader = -1;
    int writer = -1;
    std::string name = "pipe:" + std::to_string(reader);
};

Input OpenPipe()
{
    int ends[2] = {-1, -1};
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    return {ends[0], ends[1]};
}

Input OpenSocket()
{
    int ends[2] = {-1, -1};
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    return {ends[0], ends[1]};
}

Input OpenTerminal()
{
    const int keyboard = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    EXPECT_EQ(unlockpt(keyboard), 0);
    return {open(ptsname(keyboard), O_RDWR | O_NOCTTY | O_CLOEXEC), keyboard};
}

Input NameTerminal()
{
    Input terminal = OpenTerminal();
    terminal.name = ptsname(terminal.writer);
    return terminal;
}

class InputTest : public testing::TestWithParam<Input (*)()>
{
  public:
    ~InputTest() override
    {
        CloseWriter();
        close(m_Input.reader);
    }

  protected:
    void WriteLine()
    {
        EXPECT_EQ(write(m_Input.writer, "\n", 1), 1);
        pollfd readable{m_Input.reader, POLLIN, 0};
        EXPECT_EQ(poll(&readable, 1, 20'000), 1) << "a terminal passes it on in its own time";
    }
    bool IsEmpty() const
    {
        int bytes = 0;
        EXPECT_EQ(ioctl(m_Input.reader, FIONREAD, &bytes), 0);
        return bytes == 0;
    }
    void CloseWriter() { close(std::exchange(m_Input.writer, -1)); }

    Input m_Input = GetParam()();
};

TEST_P(InputTest, OneThatNobodyWritesIntoKeepsNoRecorderFromItsEnd)
{
    std::atomic<bool> stop = false;
    WriteLine();
    const auto reader =
        std::async(std::launch::async, [&] { MakeSource(m_Input.name, DefaultSetup().scene, 0, stop); });
    while (!IsEmpty() && reader.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready)
        ;
    stop = true;
    EXPECT_EQ(reader.wait_for(std::chrono::seconds(20)), std::future_status::ready);
    CloseWriter();  // ends every read
}

INSTANTIATE_TEST_SUITE_P(Kinds, InputTest, testing::Values(OpenPipe, OpenSocket, OpenTerminal, NameTerminal));

TEST_P(InputTest, OneThatHasEndedShowsANotice)
{
    CloseWriter();
    testing::internal::CaptureStderr();
    const auto source = MakeSource(m_Input.name, DefaultSetup().scene, 0, NEVER_STOP);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr("channel 1: "));
    Picture picture;
    source->Read(0, picture);
    EXPECT_EQ(picture.width, DefaultSetup().scene.width);
}

// What a channel delivers, in order, from its thread.
class CDelivered
{
  public:
    void Take(std::shared_ptr<const Coded> coded)
    {
        {
            const std::lock_guard lock(m_cs);
            m_All.push_back(std::move(coded));
        }
        m_Changed.notify_all();
    }
    std::vector<std::shared_ptr<const Coded>> WaitFor(size_t count)
    {
        std::unique_lock lock(m_cs);
        EXPECT_TRUE(m_Changed.wait_for(lock, std::chrono::seconds(60), [&] { return m_All.size() >= count; }));
        return m_All;
    }

  private:
    std::mutex m_cs;
    std::condition_variable m_Changed;
    std::vector<std::shared_ptr<const Coded>> m_All;
};

ChannelSetup QuickSetup()
{
    ChannelSetup setup = DefaultSetup();
    setup.scene.width = 128;
    setup.scene.height = 96;
    setup.scene.rate = 200;
    setup.stream.group = 5;
    return setup;
}

// Plays a loop of ten pictures with a key picture every five, and gives the first `count` that were delivered.
// `onPicture` answers for the channel's receiver, at the picture with that number from 1 on.
std::vector<std::shared_ptr<const Coded>> PlayLoop(size_t count,
                                                   const std::function<bool(Channel&, int)>& onPicture)
{
    CDelivered delivered;
    int number = 0;
    Channel* channelAt = nullptr;
    Channel channel(QuickSetup(), 0, 10, [&](int, auto coded) {
        const bool taken = onPicture(*channelAt, ++number);
        delivered.Take(std::move(coded));
        return taken;
    });
    channelAt = &channel;
    channel.Prepare();
    channel.Start(Channel::Clock::now());
    channel.SetWatched(true);
    return delivered.WaitFor(count);
}

std::vector<bool> KeysOf(const std::vector<std::shared_ptr<const Coded>>& pictures, size_t count)
{
    std::vector<bool> keys;
    for (size_t i = 0; i < count; ++i)
        keys.push_back(pictures[i]->key);
    return keys;
}

TEST(ChannelTest, LoopLeavesNoPictureOutHoweverLateItsThreadIs)
{
    const auto all = PlayLoop(30, [](Channel&, int number) {
        // The fourth picture takes the time of twelve.
        if (number == 4) std::this_thread::sleep_for(std::chrono::milliseconds(60));
        return true;
    });
    for (size_t i = 0; i < 30; ++i) {
        EXPECT_EQ(all[i]->key, i % 5 == 0) << i;
        EXPECT_EQ(all[i], all[i % 10]) << i;
    }
}

TEST(ChannelTest, PictureThatWasNotTakenIsFollowedByAKeyPicture)
{
    const auto all = PlayLoop(5, [](Channel&, int number) { return number != 3; });
    EXPECT_THAT(KeysOf(all, 5), testing::ElementsAre(true, false, false, true, false));
}

TEST(ChannelTest, PicturesAreCountedAsLeftOutFromTheOneNotTakenToTheNextKeyPicture)
{
    uint64_t leftOut = 0;
    PlayLoop(4, [&](const Channel& channel, int number) {
        if (number == 4) leftOut = channel.Counts().leftOut;
        return number != 3;
    });
    EXPECT_EQ(leftOut, 3U);
}

// The loop's key pictures come at every fifth; who asks at each picture brings about one more in two seconds.
TEST(ChannelTest, KeyPicturesOutOfTurnComeAtMostOnceASecondHoweverOftenTheyAreAskedFor)
{
    const auto all = PlayLoop(400, [](Channel& channel, int) {
        channel.WantKey();
        return true;
    });
    const auto keys = KeysOf(all, 400);
    EXPECT_LE(std::count(keys.begin(), keys.end(), true), 80 + 2);
}

TEST(ChannelTest, LoopThatIsWatchedAgainBeginsWithAKeyPicture)
{
    const auto all = PlayLoop(4, [](Channel& channel, int number) {
        if (number == 2) {
            channel.SetWatched(false);
            channel.SetWatched(true);
        }
        return true;
    });
    EXPECT_THAT(KeysOf(all, 4), testing::ElementsAre(true, false, true, false));
}

}  // namespace
