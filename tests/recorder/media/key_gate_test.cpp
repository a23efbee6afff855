#include "recorder/media/KeyGate.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <future>
#include <map>
#include <memory>

#include "recorder/media/Channel.h"
#include "recorder/scene/Mark.h"
#include "tests/recorder/datagram_support.h"
#include "tests/recorder/media_support.h"

namespace
{

using namespace recorder;

constexpr int RATE = 25;

// The pictures at which a gate lets key pictures out of turn, when they are asked for at each.
std::vector<int64_t> KeysOf(KeyGate& gate, int64_t from, int64_t to)
{
    std::vector<int64_t> keys;
    for (int64_t picture = from; picture < to; ++picture) {
        gate.Want();
        const bool key = gate.Due(picture);
        if (key) keys.push_back(picture);
        gate.Coded(picture, key);
    }
    return keys;
}

TEST(KeyGateTest, OneASecondAtTheChannelsOwnPlace)
{
    KeyGate gate(RATE, 4, 10);
    gate.Coded(0, true);
    EXPECT_THAT(KeysOf(gate, 1, 100), testing::ElementsAre(35, 60, 85)) << "not at 10, so soon after the first";
}

TEST(KeyGateTest, WhoAsksBetweenTwoPlacesWaitsForTheNextOne)
{
    KeyGate gate(RATE, 0, 1);
    for (int64_t picture = 0; picture < 137; ++picture)
        gate.Coded(picture, picture == 0 || picture == 25);
    EXPECT_THAT(KeysOf(gate, 137, 200), testing::ElementsAre(150, 175)) << "not at once, the last one long ago";
}

TEST(KeyGateTest, NothingIsDueUntilSomebodyAsks)
{
    KeyGate gate(RATE, 0, 1);
    gate.Coded(0, true);
    gate.Coded(25, true);  // the place was taken once, after the start
    for (int64_t picture = 26; picture < 200; ++picture)
        EXPECT_FALSE(gate.Due(picture));
}

// A place shortly after the last key picture is left out, and the next one is a second later.
TEST(KeyGateTest, NobodyWaitsLongerThanOneAndAHalfSeconds)
{
    int64_t longest = 0;
    for (int64_t key = RATE; key < 2 * RATE; ++key) {
        for (int64_t asked = key + 1; asked < key + 2 * RATE; ++asked) {
            KeyGate gate(RATE, 0, 1);
            gate.Coded(0, true);
            int64_t picture = 1;
            for (; picture < asked; ++picture)
                gate.Coded(picture, picture == key);
            gate.Want();
            for (; !gate.Due(picture); ++picture)
                ASSERT_LT(picture, asked + 10 * RATE) << "key " << key << ", asked " << asked;
            longest = std::max(longest, picture - asked);
        }
    }
    EXPECT_LE(2 * longest, 3 * RATE);
    EXPECT_GT(longest, RATE);
}

TEST(KeyGateTest, AnyKeyPictureServesWhoWaited)
{
    KeyGate gate(RATE, 0, 1);
    gate.Coded(0, true);
    gate.Coded(25, true);
    gate.Want();
    gate.Coded(40, true);
    EXPECT_FALSE(gate.Due(75));
}

TEST(KeyGateTest, StreamsThatBeganTogetherGetOutOfStep)
{
    std::map<int64_t, int> atOnce;
    for (int channel = 0; channel < 50; ++channel) {
        KeyGate gate(RATE, channel, 50);
        gate.Restart();
        gate.Coded(1000, true);
        for (int64_t picture = 1001;; ++picture) {
            ASSERT_LE(picture, 1040);
            if (!gate.Due(picture)) continue;
            ++atOnce[picture % RATE];
            break;
        }
    }
    EXPECT_EQ(atOnce.size(), 25U);
    for (const auto& [picture, count] : atOnce)
        EXPECT_EQ(count, 2);
}

TEST(KeyGateTest, APlaceThatIsSkippedCountsForTheNextPicture)
{
    KeyGate gate(RATE, 0, 1);
    gate.Coded(0, true);
    gate.Coded(25, true);
    gate.Want();
    EXPECT_FALSE(gate.Due(49));
    EXPECT_TRUE(gate.Due(53));
}

TEST(KeyGateTest, APlaceWhosePictureWasTheLatestWhenSomebodyAskedIsOver)
{
    KeyGate gate(RATE, 0, 1);
    for (int64_t picture = 0; picture <= 75; ++picture)
        gate.Coded(picture, picture == 0 || picture == 25);
    gate.Want();
    EXPECT_FALSE(gate.Due(76));
    EXPECT_TRUE(gate.Due(100));
}

TEST(KeyGateTest, AChannelsKeyPicturesOutOfTurnComeAtItsOwnPlaceInTheSecond)
{
    constexpr uint32_t PLACE = 18;  // of the last of four channels
    ChannelSetup setup;
    setup.scene.width = 352;
    setup.scene.height = 288;
    setup.scene.rate = RATE;
    setup.scene.mark = true;
    setup.stream.group = 1000;
    setup.channels = 4;
    std::promise<bool> isAtPlace;
    CDecoder decoder;
    int keys = 0;
    bool told = false;
    Channel* channelAt = nullptr;
    // On the channel's thread. When that is late the key picture is a later one; then the next one counts.
    Channel channel(setup, 3, 0, [&](int, const std::shared_ptr<const Coded>& coded) {
        channelAt->WantKey();
        const auto mark = ReadMark(decoder.Decode(coded->bytes));
        if (told || !coded->key || ++keys == 1) return true;
        const bool right = mark && mark->picture % RATE >= PLACE;
        told = right || keys > 20;
        if (told) isAtPlace.set_value(right);
        return true;
    });
    channelAt = &channel;
    channel.Start(Channel::Clock::now());
    channel.SetWatched(true);
    EXPECT_TRUE(isAtPlace.get_future().get());
}

// A client that takes eleven datagrams a millisecond watches 56 channels and does nothing for half a second.
// Each channel has a key picture every second and whenever its gate lets one out.
class StallTest : public testing::Test, public IDatagramOut, public IChannels
{
  protected:
    static constexpr int CHANNELS = 56;
    static constexpr size_t KEY_BYTES = 24'000;
    static constexpr size_t OTHER_BYTES = 5'400;

    StallTest()
    {
        for (int channel = 0; channel < CHANNELS; ++channel)
            m_Gates.emplace_back(RATE, channel, CHANNELS);
    }
    void Send(const Endpoint& to, Bytes, ECarries carries) override
    {
        if (to == ALICE && carries == ECarries::Video) ++m_Arrived;
    }
    int Count() const override { return CHANNELS; }
    int Width(int) const override { return 704; }
    int Height(int) const override { return 576; }
    void SetWatched(int, bool) override {}
    void WantKey(int channel) override { m_Gates[static_cast<size_t>(channel)].Want(); }

    void Say(EMessage type, const Bytes& body, TimeUs now)
    {
        m_Link.OnDatagram(now, ALICE, recorder::From("1", type, body));
    }
    void Millisecond(TimeUs now, bool stalled)
    {
        for (int channel = 0; channel < CHANNELS; ++channel) {
            if ((now / MILLISECOND + channel * 40 / CHANNELS) % 40 != 0) continue;
            KeyGate& gate = m_Gates[static_cast<size_t>(channel)];
            const int64_t picture = now / (40 * MILLISECOND);
            int64_t& last = m_LastKey[channel];
            const bool key = picture == 0 || picture - last >= RATE || gate.Due(picture);
            gate.Coded(picture, key);
            if (key) last = picture;
            m_Link.OnMessage(now, channel, key, Message(channel, key ? KEY_BYTES : OTHER_BYTES));
        }
        m_Link.OnTimer(now);
        for (int i = 0; i < 11 && m_Arrived > 0 && !stalled; ++i, --m_Arrived)
            Say(EMessage::DataAck, {}, now);
    }
    std::map<int, ClientCounts::Stream> Streams() const { return m_Link.Clients().at(0).streams; }
    uint64_t Dropped() const
    {
        uint64_t dropped = 0;
        for (const auto& [channel, stream] : Streams())
            dropped += stream.dropped;
        return dropped;
    }

    std::vector<KeyGate> m_Gates;
    std::map<int, int64_t> m_LastKey;
    size_t m_Arrived = 0;  // and not acknowledged
    DeviceLink m_Link{{"1001", {}, SERVER, 4, 4, 10 * SECOND}, *this, *this};
};

TEST_F(StallTest, FiftySixChannelsComeBackWithinTwoSeconds)
{
    for (int channel = 0; channel < CHANNELS; ++channel)
        Say(EMessage::Data, Request(channel), 0);
    TimeUs now = 0;
    const auto runUntil = [&](TimeUs end, bool stalled) {
        for (; now < end; now += MILLISECOND)
            Millisecond(now, stalled);
    };
    runUntil(2 * SECOND, false);
    const uint64_t before = Dropped();
    runUntil(2500 * MILLISECOND, true);
    EXPECT_GT(Dropped(), before + CHANNELS / 2) << "the stall was long enough to lose pictures";
    runUntil(4500 * MILLISECOND, false);
    const uint64_t after = Dropped();
    for (const auto& [channel, stream] : Streams())
        EXPECT_FALSE(stream.waitsForKey) << "channel " << channel;
    runUntil(10 * SECOND, false);
    EXPECT_EQ(Dropped(), after) << "and stay";
}

}  // namespace
