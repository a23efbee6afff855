// A channel whose camera's H.264 passes as it is, and who begins to watch it.

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <mutex>
#include <thread>

#include "recorder/media/Channel.h"
#include "tests/recorder/media/h264_camera_support.h"

namespace
{

using namespace recorder;
using namespace std::chrono_literals;

constexpr int RARE = 250;  // pictures from one key picture to the next

class ChannelPassTest : public testing::Test
{
  protected:
    ChannelPassTest() { m_Channel.Start(Channel::Clock::now()); }

    // The camera sends on until it is so, or has sent that many.
    void SendUntil(const std::function<bool()>& done, int most)
    {
        for (int i = 0; i < most && !done(); ++i) {
            m_Camera.SendNext();
            std::this_thread::sleep_for(20ms);
        }
        EXPECT_TRUE(done());
    }
    // Until the camera's pictures pass, and its next key picture is far.
    void Pass()
    {
        m_Channel.SetWatched(true, ECodec::H264);
        SendUntil([this] { return m_Channel.Passing().passed > 10; }, 3000);
        m_Camera.Change(m_Rare);
        // However many of the others are on their way still.
        SendUntil([this] { return SeenRare() > 5; }, RARE / 2);
        EXPECT_TRUE(m_Channel.Passing().passing);
    }
    size_t Seen() const
    {
        const std::lock_guard lock(m_csSeen);
        return m_strSeen.size();
    }
    size_t SeenRare() const
    {
        const std::lock_guard lock(m_csSeen);
        return m_Rares;
    }
    // K and P of the camera, k and p of those that were coded here.
    std::string SeenFrom(size_t first) const
    {
        const std::lock_guard lock(m_csSeen);
        return m_strSeen.substr(first);
    }

  private:
    static ChannelSetup SetupFor(const std::string& url)
    {
        ChannelSetup setup;
        setup.source = url;
        setup.scene.width = H264_TEST_WIDTH;
        setup.scene.height = H264_TEST_HEIGHT;
        return setup;
    }
    bool Take(const Coded& coded)
    {
        const auto own = [&](const auto& unit) { return SliceOf(unit) == SliceOf(coded.bytes); };
        // The two begin alike.
        const bool often = std::any_of(m_Often.begin(), m_Often.end(), own);
        const bool rare = !often && std::any_of(m_Rare.begin(), m_Rare.end(), own);
        const bool others = !often && !rare;
        const std::lock_guard lock(m_csSeen);
        m_Rares += rare ? 1 : 0;
        m_strSeen += others ? (coded.key ? 'k' : 'p') : (coded.key ? 'K' : 'P');
        return true;
    }

    const AccessUnits m_Often = EncodeH264("annexb=1", 10);
    const AccessUnits m_Rare = EncodeH264("annexb=1:keyint=" + std::to_string(RARE), RARE);
    mutable std::mutex m_csSeen;
    std::string m_strSeen;  // guarded
    size_t m_Rares = 0;     // guarded; of the stream whose key pictures are rare, and of no other

  protected:
    H264Camera m_Camera{m_Often};
    Channel m_Channel{SetupFor(m_Camera.Url()), 0, 0,
                      [this](int, const std::shared_ptr<const Coded>& coded) { return Take(*coded); }};
};

// As when one more client comes: it needn't wait for the camera's next one.
TEST_F(ChannelPassTest, AKeyPictureThatIsAskedForIsCodedWhileTheCamerasNextIsFar)
{
    Pass();
    const size_t before = Seen();
    m_Channel.WantKey(ECodec::H264);
    SendUntil([&] { return SeenFrom(before).find_first_of("kp") != std::string::npos; }, RARE / 2);
    EXPECT_THAT(SeenFrom(before), testing::MatchesRegex("P*k[kp]*"));
}

// The camera has sent nothing meanwhile, by which it would be known that nobody watched.
TEST_F(ChannelPassTest, WhoBeginsToWatchGetsAKeyPictureThoughTheCamerasPassedBefore)
{
    Pass();
    size_t before = 0;
    for (int i = 0; i < 100 && before != Seen(); ++i) {
        before = Seen();
        std::this_thread::sleep_for(50ms);
    }
    m_Channel.SetWatched(false, ECodec::H264);
    before = Seen();
    m_Channel.SetWatched(true, ECodec::H264);
    for (int i = 0; i < 100 && Seen() == before; ++i)
        std::this_thread::sleep_for(10ms);
    SendUntil([&] { return Seen() > before; }, RARE / 4);
    EXPECT_EQ(SeenFrom(before).substr(0, 1), "k");
}

// They were lost to nobody.
TEST_F(ChannelPassTest, PicturesThatNobodyWatchedAreNoDamage)
{
    Pass();
    m_Channel.SetWatched(false, ECodec::H264);
    SendUntil([this] { return !m_Channel.Passing().passing; }, RARE / 8);
    m_Channel.SetWatched(true, ECodec::H264);
    SendUntil([this] { return !m_Channel.Passing().why.empty(); }, RARE / 8);
    EXPECT_EQ(m_Channel.Passing().why, h264::NO_IDR);
    EXPECT_EQ(m_Channel.Passing().damaged, 0U);
}

}  // namespace
