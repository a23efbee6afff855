// Source, rate control and encoder together, without thread or clock; then a channel with its thread.

#include "recorder/media/Channel.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <random>
#include <utility>

#include "recorder/scene/Mark.h"
#include "tests/recorder/media/source_support.h"
#include "tests/recorder/media_support.h"

namespace
{

using namespace recorder;

ChannelSetup DefaultSetup()
{
    ChannelSetup setup;
    setup.scene = SourceScene();
    setup.stream.bitRate = 600'000;
    return setup;
}

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
    EXPECT_EQ(StreamSetup().maxBytes, 101'376U - 4) << "what a client's buffer holds behind the header word";
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

// It would show damage up to the next key picture.
TEST(CodecStreamTest, WhatBuildsOnADroppedPictureIsNotSent)
{
    Picture grey;
    grey.Resize(176, 144);
    for (auto* const plane : {&grey.y, &grey.u, &grey.v})
        std::fill(plane->begin(), plane->end(), uint8_t{128});
    Picture noise = grey;
    std::minstd_rand random(1);
    for (uint8_t& sample : noise.y)
        sample = static_cast<uint8_t>(random() >> 8);
    StreamSetup setup;
    setup.bitRate = 1'000;  // so that each is coded as coarsely as can be
    setup.maxBytes = 2'000;
    const auto stream = MakeCodecStream(ECodec::Mpeg4, setup);
    ASSERT_TRUE(stream->Make(grey, 0, false));
    EXPECT_FALSE(stream->Make(noise, 1, false));
    EXPECT_FALSE(stream->Make(noise, 2, false)) << "what says that nothing changed would be small";
    const auto next = stream->Make(grey, 3, false);
    ASSERT_TRUE(next);
    EXPECT_TRUE(next->key);
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

// How like the scene at rest a client finds the pictures that comes after these commands, each a pause after
// the last.
double LikenessToTheScene(std::initializer_list<const char*> commands, std::chrono::milliseconds pause)
{
    CDelivered delivered;
    const ChannelSetup setup = QuickSetup();
    Channel channel(setup, 1, 0, [&](int, auto coded) {
        delivered.Take(std::move(coded));
        return true;
    });
    channel.Start(Channel::Clock::now());
    for (const char* const command : commands) {
        std::this_thread::sleep_for(pause);
        channel.Do(ParseCommand(command).value());
    }
    channel.SetWatched(true);
    const Picture shown = CDecoder().Decode(delivered.WaitFor(1).front()->bytes);
    const auto mark = ReadMark(shown);
    return mark ? LumaPsnr(shown, DrawScene(setup.scene, 1, mark->picture)) : 0;
}

TEST(ChannelTest, MotorsRunAlsoWhileNobodyWatches)
{
    const double still = LikenessToTheScene({"RightStop:1"}, std::chrono::milliseconds(0));
    EXPECT_LT(LikenessToTheScene({"RightStart:1", "RightStop:1"}, std::chrono::milliseconds(400)), still - 4);
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
