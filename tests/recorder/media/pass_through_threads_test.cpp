// A camera over loopback whose H.264 goes to clients as it is, or doesn't.

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "recorder/h264/AnnexB.h"
#include "recorder/media/PassThrough.h"
#include "tests/recorder/client_support.h"
#include "tests/recorder/media/h264_camera_support.h"

namespace
{

using namespace recorder;
using namespace std::chrono_literals;
using testing::HasSubstr;

std::vector<const char*> ArgumentsFor(const std::string& url)
{
    return {"--id", "77", "--channels", "1", "--size", "176x144", "--source", url.c_str()};
}

// A recorder of one camera, whose H.264 a client of the data port watches.
struct CWatchedCamera {
    explicit CWatchedCamera(const AccessUnits& stream, size_t first = 0)
        : camera(stream, first), client(running.GetServer().DataAt())
    {
        client.Ask(3, 0);
        client.Receive(STREAM_REPLY_BYTES);
    }

    H264Camera camera;
    std::string url = camera.Url();
    CRunning running{ArgumentsFor(url)};
    CConnection client;
};

// One picture of the camera for each that the client gets, passed or re-encoded. Nothing is lost in a change
// from one to the other: the client's decoder never misses anything.
TEST(PassThroughTest, ACamerasPicturesComeAsTheyAreAndOthersWhereTheyEnd)
{
    const AccessUnits stream = EncodeH264("annexb=1", 10);
    std::vector<std::vector<uint8_t>> slices;
    for (const auto& unit : stream)
        slices.push_back(SliceOf(unit));
    CWatchedCamera watched(stream, 2);  // between two key pictures
    CDecoder decoder("h264");
    uint64_t passed = 0;
    bool before = false;
    const auto next = [&] {
        const auto frame = watched.client.NextFrame();
        EXPECT_TRUE(frame);
        if (!frame) return false;
        const auto units = SplitUnits(frame->payload);
        const bool own = std::find(slices.begin(), slices.end(), SliceOf(frame->payload)) != slices.end();
        const bool key = units.size() == 3 && UnitType(units[2]) == EUnit::IdrSlice;
        EXPECT_TRUE(own == before || key) << "a change comes with a key picture and its parameter sets";
        EXPECT_EQ(decoder.Decode(frame->payload).width, H264_TEST_WIDTH);
        before = own;
        passed += own ? 1 : 0;
        return true;
    };
    for (int i = 0; i < 2000 && passed < 30; ++i) {
        ASSERT_TRUE(next());
        watched.camera.SendNext();
    }
    ASSERT_EQ(passed, 30U);
    watched.camera.HangUp();
    for (int i = 0; i < 2000 && before; ++i)
        ASSERT_TRUE(next());
    EXPECT_FALSE(before) << "a notice is coded here";
    const auto h264 = watched.running.End()["channels"][0]["h264"];
    EXPECT_GE(h264["passed"], passed);
    EXPECT_EQ(h264["damaged"], 0);
    // On a busy machine the network's thread may be late shortly before the end, and an IDR picture awaited
    // since.
    if (h264["left out"] == 0) {
        EXPECT_EQ(h264["re-encoded since"], "");
    }
}

TEST(PassThroughTest, ACameraThatGoesBeyondIsCodedAnewAndTheReportTellsWhy)
{
    testing::internal::CaptureStderr();
    CWatchedCamera watched(EncodeH264("annexb=1:8x8dct=1", 10));
    CDecoder decoder("h264");
    for (int i = 0; i < 100; ++i) {
        const auto frame = watched.client.NextFrame();
        ASSERT_TRUE(frame);
        EXPECT_EQ(decoder.Decode(frame->payload).width, H264_TEST_WIDTH);
        watched.camera.SendNext();
    }
    const auto report = watched.running.End();
    EXPECT_EQ(report["channels"][0]["h264"]["passed"], 0);
    EXPECT_THAT(report["channels"][0]["h264"]["re-encoded since"], "it uses the 8x8 transform");
    EXPECT_EQ(report["channels"][0]["h264"]["damaged"], 0);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("re-encoded: it uses the 8x8 transform"));
}

TEST(PassThroughTest, ACameraThatLosesPicturesIsCodedAnewAndTheReportTellsWhy)
{
    const AccessUnits stream = EncodeH264("annexb=1", 10);
    testing::internal::CaptureStderr();
    CWatchedCamera watched(stream);
    int passed = 0;
    bool before = false;
    // One that was coded here may be on its way when the loss begins.
    int others = 0;
    for (int i = 0; i < 1000 && (others < 30 || passed < 10); ++i) {
        const auto frame = watched.client.NextFrame();
        ASSERT_TRUE(frame);
        const auto own = [&](const auto& unit) { return SliceOf(unit) == SliceOf(frame->payload); };
        before = std::any_of(stream.begin(), stream.end(), own);
        passed += before ? 1 : 0;
        others = before ? 0 : others + 1;
        watched.camera.SendNext();
        if (passed != 10 || !before) continue;
        // Two rounds at once: a camera that waited for a client that waits for its pictures would fall silent.
        watched.camera.Lose(3);
        for (size_t more = 0; more < 2 * stream.size(); ++more)
            watched.camera.SendNext();
    }
    EXPECT_FALSE(before) << "the others are coded here";
    const auto h264 = watched.running.End()["channels"][0]["h264"];
    EXPECT_GT(h264["damaged"], 0);
    EXPECT_EQ(h264["re-encoded since"], PassGate::LOSSY);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr(std::string("re-encoded: ") + PassGate::LOSSY));
}

class PassGateTest : public testing::Test
{
  protected:
    static h264::Checked Picture(bool key)
    {
        h264::Checked checked;
        checked.result = h264::Checked::EResult::Passes;
        checked.key = key;
        checked.bytes = {0, 0, 0, 1, static_cast<uint8_t>(key ? 0x65 : 0x41), 0x80};
        return checked;
    }
    void Take(bool key) { m_Gate.Take(Picture(key), EChecksum::None, m_Now); }
    std::string Damage(const char* why = UNREAD)
    {
        h264::Checked damaged;
        damaged.why = why;
        return m_Gate.Take(damaged, EChecksum::None, m_Now);
    }
    void Send() { m_Gate.Send(std::make_shared<Coded>()); }

    static constexpr const char* UNREAD = "a packet can't be read";
    std::string m_strSeen;  // K and P of the camera, o of others
    bool m_bTakes = true;
    PassGate m_Gate{[this](const std::shared_ptr<const Coded>& coded) {
        m_strSeen += coded->bytes.empty() ? 'o' : coded->key ? 'K' : 'P';
        return m_bTakes;
    }};
    PassGate::Clock::time_point m_Now = PassGate::Clock::now();
};

TEST_F(PassGateTest, ChangesAtKeyPicturesOnly)
{
    Take(false);
    Send();
    Take(true);
    Send();
    Take(false);
    EXPECT_EQ(m_strSeen, "oKP");
    EXPECT_EQ(m_Gate.Turn(m_Now), PassGate::ETurn::Leave);
    m_Now += PassGate::STALE_AFTER;
    EXPECT_EQ(m_Gate.Turn(m_Now), PassGate::ETurn::Restart);
    EXPECT_EQ(m_Gate.Turn(m_Now), PassGate::ETurn::Code);
    Take(false);
    Send();
    Take(true);
    EXPECT_EQ(m_strSeen, "oKPoK");
}

// The camera's came and went between the coder's turn and its picture, which builds on what nobody saw.
TEST_F(PassGateTest, APictureThatWasOvertakenIsDroppedAndTheNextBeginsAnew)
{
    EXPECT_EQ(m_Gate.Turn(m_Now), PassGate::ETurn::Code);
    Take(true);
    m_Gate.Rest();
    Send();
    EXPECT_EQ(m_strSeen, "K");
    EXPECT_EQ(m_Gate.Turn(m_Now), PassGate::ETurn::Restart);
    Send();
    EXPECT_EQ(m_strSeen, "Ko");
}

TEST_F(PassGateTest, DamageAndAPictureThatWasNotTakenAwaitTheNextKey)
{
    Take(true);
    m_Gate.Take({}, EChecksum::None, m_Now);
    Take(false);
    EXPECT_EQ(m_strSeen, "K");
    m_bTakes = false;
    Take(true);
    m_bTakes = true;
    Take(false);
    Take(true);
    Take(false);
    EXPECT_EQ(m_strSeen, "KKKP");
    EXPECT_EQ(m_Gate.State().passed, 3U);
    EXPECT_EQ(m_Gate.State().leftOut, 2U)
        << "the one that wasn't taken, and what built on it; not the damaged one";
}

TEST_F(PassGateTest, WhatGoesBeyondStaysOutUntilTheCameraIsOpenedAnew)
{
    Take(true);
    h264::Checked outside;
    outside.result = h264::Checked::EResult::Outside;
    outside.why = "it has B pictures";
    EXPECT_EQ(m_Gate.Take(outside, EChecksum::None, m_Now), outside.why);
    EXPECT_EQ(m_Gate.Take(outside, EChecksum::None, m_Now), "") << "told once";
    EXPECT_EQ(m_Gate.Turn(m_Now), PassGate::ETurn::Restart);
    Take(true);
    EXPECT_EQ(m_Gate.State().why, "it has B pictures");
    m_Gate.Opened();
    Take(true);
    EXPECT_EQ(m_strSeen, "KK");
    EXPECT_EQ(m_Gate.State().passed, 2U);
}

TEST_F(PassGateTest, ACameraThatWasOpenedAnewBeginsWithAKeyPicture)
{
    Take(true);
    m_Gate.Opened();
    Take(false);
    Take(true);
    Take(false);
    EXPECT_EQ(m_strSeen, "KKP");
}

TEST_F(PassGateTest, AReasonIsToldOnceHoweverOftenTheCameraIsOpened)
{
    h264::Checked outside;
    outside.result = h264::Checked::EResult::Outside;
    outside.why = "it has B pictures";
    const auto take = [&] { return m_Gate.Take(outside, EChecksum::None, m_Now); };
    EXPECT_EQ(take(), outside.why);
    m_Gate.Opened();
    EXPECT_EQ(take(), "") << "as before";
    EXPECT_EQ(m_Gate.State().why, outside.why);
    m_Gate.Opened();
    outside.why = "it uses the 8x8 transform";
    EXPECT_EQ(take(), outside.why) << "another one";
    m_Gate.Opened();
    Take(true);
    m_Gate.Opened();
    EXPECT_EQ(take(), outside.why) << "it passed meanwhile";
}

TEST_F(PassGateTest, WhatCanNotBeReadIsCountedAndItsReasonTold)
{
    EXPECT_EQ(Damage(), "") << "the next one may be it";
    EXPECT_EQ(m_Gate.State().why, UNREAD);
    m_Now += PassGate::STALE_AFTER;
    EXPECT_EQ(Damage(), UNREAD);
    EXPECT_EQ(Damage(), "") << "told once";
    EXPECT_EQ(Damage("there is no picture"), "") << "whatever comes beside it";
    EXPECT_EQ(Damage(), "");
    EXPECT_EQ(m_Gate.State().damaged, 5U);
    Take(true);
    EXPECT_EQ(Damage(), "") << "one passed meanwhile";
    EXPECT_EQ(m_Gate.State().why, "") << "what comes from the camera is still the latest";
    m_Now += PassGate::STALE_AFTER;
    m_Gate.Turn(m_Now);
    EXPECT_EQ(m_Gate.State().why, UNREAD);
    EXPECT_EQ(Damage(), UNREAD) << "again";
    m_Gate.Rest();
    m_Now += PassGate::STALE_AFTER;
    EXPECT_EQ(Damage(), "") << "it begins anew";
    m_Gate.Opened();
    EXPECT_EQ(m_Gate.State().damaged, 8U);
}

// The report is made at the end, when clients have mostly gone.
TEST_F(PassGateTest, AReasonThatWasToldStaysUntilAPicturePasses)
{
    Damage();
    m_Gate.Rest();
    EXPECT_EQ(m_Gate.State().why, "") << "the next one might have been it";
    Damage();
    m_Now += PassGate::STALE_AFTER;
    EXPECT_EQ(Damage(), UNREAD);
    m_Gate.Rest();
    EXPECT_EQ(m_Gate.State().why, UNREAD) << "nobody looks";
    m_Gate.Opened();
    EXPECT_EQ(m_Gate.State().why, UNREAD) << "it is re-encoded still";
    Take(true);
    m_Gate.Rest();
    EXPECT_EQ(m_Gate.State().why, "");
}

// As a camera without further IDR pictures, when one more client begins to watch.
TEST_F(PassGateTest, WhatBuildsOnPicturesThatNobodyHasIsReEncodedAndItsReasonTold)
{
    Take(true);
    m_Gate.Rest();
    const auto take = [&] { return m_Gate.Take(Picture(false), EChecksum::None, m_Now); };
    EXPECT_EQ(take(), "") << "the next one may be it";
    EXPECT_EQ(m_Gate.State().why, h264::NO_IDR);
    m_Now += PassGate::STALE_AFTER;
    EXPECT_EQ(take(), h264::NO_IDR);
    EXPECT_EQ(take(), "") << "told once";
    EXPECT_EQ(m_Gate.State().damaged, 0U);
    Take(true);
    EXPECT_EQ(m_strSeen, "KK");
    EXPECT_EQ(m_Gate.State().why, "");
}

TEST_F(PassGateTest, WhatComesBeforeTheFirstIdrPictureIsNoDamage)
{
    h264::Checked early;
    early.result = h264::Checked::EResult::Early;
    early.why = h264::NO_IDR;
    const auto take = [&] { return m_Gate.Take(early, EChecksum::None, m_Now); };
    EXPECT_EQ(take(), "") << "the next one may be it";
    EXPECT_EQ(m_Gate.State().why, h264::NO_IDR);
    m_Now += PassGate::STALE_AFTER;
    EXPECT_EQ(take(), h264::NO_IDR);
    EXPECT_EQ(m_Gate.State().damaged, 0U);
    EXPECT_EQ(Damage(), "") << "while no picture passes its reason is told once";
    EXPECT_EQ(m_Gate.State().damaged, 1U);
    Take(true);
    EXPECT_EQ(Damage(), "") << "the first break: nothing was whole before the other";
    Take(true);
    EXPECT_EQ(m_strSeen, "KK");
}

// From each IDR picture to the next break clients would see a part of the pictures, and never a whole second.
TEST_F(PassGateTest, ACameraThatLosesPicturesAgainAndAgainIsCodedAnewUntilItIsWhole)
{
    Take(true);
    EXPECT_EQ(Damage(), "");
    m_Now += 1s;
    EXPECT_EQ(Damage(), "") << "the same break";
    EXPECT_EQ(m_Gate.Turn(m_Now), PassGate::ETurn::Leave);
    Take(true);
    m_Now += PassGate::LOSSY_WITHIN - 1ms - 1s;
    EXPECT_EQ(Damage(), PassGate::LOSSY);
    EXPECT_EQ(m_Gate.Turn(m_Now), PassGate::ETurn::Restart);
    EXPECT_EQ(m_Gate.State().why, PassGate::LOSSY);
    Take(true);
    Take(false);
    EXPECT_EQ(Damage(), "") << "told once";
    m_Now += PassGate::STALE_AFTER;
    EXPECT_EQ(Damage(), "") << "the same reason";
    m_Now += PassGate::LOSSY_WITHIN - 1ms;
    Take(true);
    Send();
    EXPECT_EQ(m_strSeen, "KKo") << "it has to be whole for a while";
    m_Now += 1ms;
    EXPECT_EQ(m_Gate.Take(Picture(false), EChecksum::None, m_Now), "")
        << "what was wrong before counts no more";
    EXPECT_EQ(m_Gate.State().why, h264::NO_IDR);
    Take(true);
    Take(false);
    EXPECT_EQ(m_strSeen, "KKoKP");
    EXPECT_EQ(m_Gate.State().why, "");
    EXPECT_EQ(m_Gate.State().leftOut, 0U);
    EXPECT_EQ(Damage(), "") << "once in a while costs what follows up to the next IDR picture only";
    Take(true);
    EXPECT_EQ(m_strSeen, "KKoKPK");
}

TEST_F(PassGateTest, PacketsWithoutAPictureChangeNothing)
{
    h264::Checked nothing;
    nothing.result = h264::Checked::EResult::Nothing;
    for (int i = 0; i < 3; ++i) {
        Take(true);
        EXPECT_EQ(m_Gate.Take(nothing, EChecksum::None, m_Now), "");
        Take(false);
    }
    EXPECT_EQ(m_strSeen, "KPKPKP");
    EXPECT_EQ(m_Gate.State().damaged, 0U);
}

// Whoever begins to watch does so between two key pictures, however often.
TEST_F(PassGateTest, APictureInTheMiddleIsNoBreakForWhoBeginsToWatch)
{
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(Damage(), "");
        Take(true);
        m_Gate.Rest();
    }
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(Damage(), "");
        Take(true);
        m_Gate.Opened();
    }
    EXPECT_EQ(m_strSeen, "KKKKKK");
}

// Only those are that clients missed since the network's thread was late.
TEST_F(PassGateTest, WhatANewClientOrANewStreamWaitsForIsNotCountedAsLeftOut)
{
    for (const auto act : {&PassGate::Rest, &PassGate::Opened}) {
        m_bTakes = false;
        Take(true);
        m_bTakes = true;
        (m_Gate.*act)();
        Take(false);
    }
    EXPECT_EQ(m_Gate.State().leftOut, 2U);
}

// A recording that is begun waits for a key picture.
TEST_F(PassGateTest, ACameraWithRareIdrPicturesIsCodedAnewUntilItIsOpenedAgain)
{
    const auto take = [&] { return m_Gate.Take(Picture(false), EChecksum::None, m_Now); };
    Take(true);
    m_Now += PassGate::MOST_BETWEEN_KEYS - 1ms;
    EXPECT_EQ(take(), "");
    Take(true);
    m_Now += PassGate::MOST_BETWEEN_KEYS - 1ms;
    EXPECT_EQ(take(), "") << "each counts anew";
    m_Now += 1ms;
    EXPECT_EQ(take(), PassGate::RARE_IDR);
    EXPECT_EQ(m_Gate.Turn(m_Now), PassGate::ETurn::Restart);
    EXPECT_EQ(take(), "") << "told once";
    Take(true);
    EXPECT_EQ(m_strSeen, "KPKP");
    EXPECT_EQ(m_Gate.State().why, PassGate::RARE_IDR);
    m_Gate.Opened();
    Take(true);
    m_Now += 1ms;
    EXPECT_EQ(take(), "");
    EXPECT_EQ(m_strSeen, "KPKPKP");
}

TEST_F(PassGateTest, ChecksumsArePutOntoWhatPasses)
{
    std::vector<uint8_t> bytes;
    PassGate gate([&](const std::shared_ptr<const Coded>& coded) {
        bytes = coded->bytes;
        return true;
    });
    gate.Take(Picture(true), EChecksum::ThirtyTwo, m_Now);
    EXPECT_EQ(bytes, WithChecksum(Picture(true).bytes, EChecksum::ThirtyTwo));
}

}  // namespace
