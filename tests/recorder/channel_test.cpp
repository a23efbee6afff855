// Source, rate control and encoder together, without thread or clock; then a channel with its thread.

#include "recorder/media/Channel.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <functional>
#include <mutex>
#include <thread>

#include "recorder/scene/Mark.h"
#include "tests/recorder/media_support.h"

namespace
{

using namespace recorder;

XChannelSetup DefaultSetup()
{
    XChannelSetup setup;
    setup.m_Scene.m_iWidth = 352;
    setup.m_Scene.m_iHeight = 288;
    setup.m_Scene.m_iClockStart = ParseClock("2026-11-21 08:40:12");
    setup.m_Scene.m_bMark = true;
    setup.m_Stream.m_iBitRate = 600'000;
    return setup;
}

const std::atomic<bool> NEVER_STOP = false;

TEST(PictureMakerTest, PicturesShowTheSceneAsDrawn)
{
    for (int channel = 0; channel < SCENES; ++channel) {
        CPictureMaker maker(DefaultSetup(), channel, NEVER_STOP);
        CDecoder decoder;
        double least = 100;
        for (int i = 0; i < 30; ++i) {
            const XPicture shown = decoder.Decode(maker.Make(i, false)->m_Bytes);
            const auto mark = ReadMark(shown);
            ASSERT_TRUE(mark) << "channel " << channel << " picture " << i;
            EXPECT_EQ(*mark, (XMark{static_cast<uint32_t>(i), channel}));
            least = std::min(least, LumaPsnr(shown, DrawScene(DefaultSetup().m_Scene, channel, i)));
        }
        EXPECT_GE(least, 30) << "channel " << channel;
    }
}

TEST(PictureMakerTest, RateIsKept)
{
    for (const int64_t rate : {300'000, 1'200'000}) {
        XChannelSetup setup = DefaultSetup();
        setup.m_Stream.m_iBitRate = rate;
        CPictureMaker maker(setup, 1, NEVER_STOP);
        for (int i = 0; i < 200; ++i)
            maker.Make(i, false);
        const double bits = 8.0 * static_cast<double>(maker.Counts().m_ulBytes) / 8;  // a second, of eight
        EXPECT_NEAR(bits / static_cast<double>(rate), 1, 0.25) << rate;
        EXPECT_EQ(maker.Counts().m_ulKeys, 8U);
    }
}

TEST(PictureMakerTest, APictureThatIsTooLargeIsMadeCoarser)
{
    XChannelSetup setup = DefaultSetup();
    setup.m_Stream.m_iBitRate = 20'000'000;
    setup.m_Stream.m_ulMaxBytes = 12'000;
    CPictureMaker maker(setup, 1, NEVER_STOP);
    CDecoder decoder;
    for (int i = 0; i < 20; ++i) {
        const auto coded = maker.Make(i, i % 5 == 0);
        ASSERT_TRUE(coded);
        EXPECT_LE(coded->m_Bytes.size(), 12'000U);
        EXPECT_GT(LumaPsnr(decoder.Decode(coded->m_Bytes), DrawScene(setup.m_Scene, 1, i)), 25);
    }
    EXPECT_GE(maker.Counts().m_ulCoarser, 1U);
    EXPECT_EQ(maker.Counts().m_ulTooLarge, 0U);
}

TEST(PictureMakerTest, APictureThatCanNotBeMadeSmallEnoughIsDropped)
{
    XChannelSetup setup = DefaultSetup();
    setup.m_Stream.m_ulMaxBytes = 500;
    CPictureMaker maker(setup, 1, NEVER_STOP);
    EXPECT_FALSE(maker.Make(0, false));
    EXPECT_FALSE(maker.Make(1, false)) << "the next can only be a key picture again";
    EXPECT_EQ(maker.Counts().m_ulTooLarge, 2U);
    EXPECT_EQ(maker.Counts().m_ulPictures, 0U);
}

TEST(PictureMakerTest, KeyPicturesComeByGroupAndWhenAskedFor)
{
    XChannelSetup setup = DefaultSetup();
    setup.m_Stream.m_iGroup = 10;
    CPictureMaker maker(setup, 0, NEVER_STOP);
    std::vector<int> keys;
    for (int i = 0; i < 30; ++i)
        if (maker.Make(i, i == 14)->m_bKey) keys.push_back(i);
    EXPECT_THAT(keys, testing::ElementsAre(0, 10, 14, 24));
}

TEST(PictureMakerTest, RestartBeginsAStreamOfItsOwn)
{
    CPictureMaker maker(DefaultSetup(), 0, NEVER_STOP);
    maker.Make(0, false);
    EXPECT_FALSE(maker.Make(1, false)->m_bKey);
    maker.Restart();
    const auto coded = maker.Make(100'000, false);
    EXPECT_TRUE(coded->m_bKey);
    EXPECT_NO_THROW(CDecoder().Decode(coded->m_Bytes));
}

TEST(SourceTest, AnythingThatLibavformatOpensIsFitted)
{
    XSceneSetup setup = DefaultSetup().m_Scene;
    setup.m_bMark = false;
    const auto source = MakeSource("lavfi:color=c=red:s=200x100:r=10", setup, 0, NEVER_STOP);
    XPicture picture;
    for (int i = 0; i < 30; i += 3) {
        source->Read(i, picture);
        ASSERT_EQ(picture.m_iWidth, 352);
        EXPECT_NEAR(picture.m_Y[static_cast<size_t>(144 * 352 + 176)], 82, 3) << "red in the middle";
        EXPECT_NEAR(picture.m_V[static_cast<size_t>(72 * 176 + 88)], 240, 3);
        EXPECT_EQ(picture.m_Y[static_cast<size_t>(40 * 352 + 176)], 16) << "black bars above, as it is wide";
    }
}

TEST(SourceTest, AFileIsPlayedAgainAndAgain)
{
    const auto folder = std::filesystem::temp_directory_path() / ("recorder-test-" + std::to_string(getpid()));
    std::filesystem::create_directories(folder);
    const std::string file = folder / "short.avi";
    const std::string command =
        "ffmpeg -v error -y -f lavfi -i color=c=blue:s=64x48:r=25:d=0.4 -c:v mpeg4 " + file;
    ASSERT_EQ(std::system(command.c_str()), 0);
    const auto source = MakeSource(file, DefaultSetup().m_Scene, 0, NEVER_STOP);
    XPicture picture;
    for (int i = 0; i < 60; ++i) {  // six times its length
        source->Read(i, picture);
        ASSERT_NEAR(picture.m_Y[static_cast<size_t>(144 * 352 + 176)], 41, 6) << "picture " << i;
    }
    std::filesystem::remove_all(folder);
}

TEST(SourceTest, ASourceThatCanNotBeOpenedShowsANotice)
{
    const auto source = MakeSource("/nonexistent/file.avi", DefaultSetup().m_Scene, 2, NEVER_STOP);
    XPicture picture;
    source->Read(0, picture);
    ASSERT_EQ(picture.m_iWidth, 352);
    EXPECT_EQ(ReadMark(picture), (XMark{0, 2})) << "it is a picture of the channel all the same";
    EXPECT_LT(picture.m_Y[static_cast<size_t>(60 * 352 + 20)], 60) << "and dark";
    source->Read(1, picture);
    EXPECT_EQ(ReadMark(picture), (XMark{1, 2}));
}

// What a channel delivers, in order, from its thread.
class CDelivered
{
  public:
    void Take(std::shared_ptr<const XCoded> pCoded)
    {
        {
            const std::lock_guard lock(m_cs);
            m_All.push_back(std::move(pCoded));
        }
        m_Changed.notify_all();
    }
    std::vector<std::shared_ptr<const XCoded>> WaitFor(size_t count)
    {
        std::unique_lock lock(m_cs);
        EXPECT_TRUE(m_Changed.wait_for(lock, std::chrono::seconds(60), [&] { return m_All.size() >= count; }));
        return m_All;
    }

  private:
    std::mutex m_cs;
    std::condition_variable m_Changed;
    std::vector<std::shared_ptr<const XCoded>> m_All;
};

XChannelSetup QuickSetup()
{
    XChannelSetup setup = DefaultSetup();
    setup.m_Scene.m_iWidth = 128;
    setup.m_Scene.m_iHeight = 96;
    setup.m_Scene.m_iRate = 200;
    setup.m_Stream.m_iGroup = 5;
    return setup;
}

// Plays a loop of ten pictures with a key picture every five, and gives the first `count` that were delivered.
// `onPicture` answers for the channel's receiver, at the picture with that number from 1 on.
std::vector<std::shared_ptr<const XCoded>> PlayLoop(size_t count,
                                                    const std::function<bool(CChannel&, int)>& onPicture)
{
    CDelivered delivered;
    int number = 0;
    CChannel* pChannel = nullptr;
    CChannel channel(QuickSetup(), 0, 10, [&](int, auto coded) {
        const bool taken = onPicture(*pChannel, ++number);
        delivered.Take(std::move(coded));
        return taken;
    });
    pChannel = &channel;
    channel.Prepare();
    channel.Start(CChannel::Clock::now());
    channel.SetWatched(true);
    return delivered.WaitFor(count);
}

std::vector<bool> KeysOf(const std::vector<std::shared_ptr<const XCoded>>& pictures, size_t count)
{
    std::vector<bool> keys;
    for (size_t i = 0; i < count; ++i)
        keys.push_back(pictures[i]->m_bKey);
    return keys;
}

TEST(ChannelTest, LoopLeavesNoPictureOutHoweverLateItsThreadIs)
{
    const auto all = PlayLoop(30, [](CChannel&, int number) {
        // The fourth picture takes the time of twelve.
        if (number == 4) std::this_thread::sleep_for(std::chrono::milliseconds(60));
        return true;
    });
    for (size_t i = 0; i < 30; ++i) {
        EXPECT_EQ(all[i]->m_bKey, i % 5 == 0) << i;
        EXPECT_EQ(all[i], all[i % 10]) << i;
    }
}

TEST(ChannelTest, PictureThatWasNotTakenIsFollowedByAKeyPicture)
{
    const auto all = PlayLoop(5, [](CChannel&, int number) { return number != 3; });
    EXPECT_THAT(KeysOf(all, 5), testing::ElementsAre(true, false, false, true, false));
}

// The loop's key pictures come at every fifth; who asks at each picture brings about one more in two seconds.
TEST(ChannelTest, KeyPicturesOutOfTurnComeAtMostOnceASecondHoweverOftenTheyAreAskedFor)
{
    const auto all = PlayLoop(400, [](CChannel& channel, int) {
        channel.WantKey();
        return true;
    });
    const auto keys = KeysOf(all, 400);
    EXPECT_LE(std::count(keys.begin(), keys.end(), true), 80 + 2);
}

TEST(ChannelTest, LoopThatIsWatchedAgainBeginsWithAKeyPicture)
{
    const auto all = PlayLoop(4, [](CChannel& channel, int number) {
        if (number == 2) {
            channel.SetWatched(false);
            channel.SetWatched(true);
        }
        return true;
    });
    EXPECT_THAT(KeysOf(all, 4), testing::ElementsAre(true, false, true, false));
}

}  // namespace
