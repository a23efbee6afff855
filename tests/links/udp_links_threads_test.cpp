// The way from the directory's question to decoded pictures, against the recorder on loopback.

#include <gtest/gtest.h>

#include <chrono>
#include <nlohmann/json.hpp>

#include "tests/links/udp_links_support.h"

namespace
{

TEST_F(UdpLinksTest, FromTheDirectoryToPicturesAsTheyWereDrawn)
{
    Start({"--channels", "2"});
    LogOn(false);
    ASSERT_EQ(m_Channels.size(), 2U);
    EXPECT_EQ(m_Channels[1]->GetName(), "Channel 2");
    Open(*m_Channels[1]);
    ASSERT_TRUE(WaitUntil([&] { return MarksOf(1) >= 30; }));
    ExpectLastAsDrawn(1);
    const Seen seen = SeenOf(1);
    EXPECT_EQ(seen.unmarked, 0U);
    EXPECT_EQ(m_Channels[1]->GetCounters().refused, 0U);
    EXPECT_EQ(MarksOf(0), 0U);
}

TEST_F(UdpLinksTest, AllChannelsPlayAtOnceWithSharedReceivingAndLoseNoPicture)
{
    Start({"--channels", "4"});
    LogOn(true);
    ASSERT_EQ(m_Channels.size(), 4U);
    for (CUdpRemote* const channel : m_Channels)
        Open(*channel);
    for (std::int32_t i = 0; i < 4; ++i) {
        ASSERT_TRUE(WaitUntil([&] { return MarksOf(i) >= 30; }));
        ExpectLastAsDrawn(i);
    }
    const auto report = nlohmann::json::parse(m_pRecorder->End());
    EXPECT_EQ(m_pStation->GetSession()->GetCounters().dropped, 0U);
    for (std::int32_t i = 0; i < 4; ++i) {
        const Seen seen = SeenOf(i);
        EXPECT_EQ(seen.unmarked, 0U);
        EXPECT_EQ(m_Channels[static_cast<std::size_t>(i)]->GetCounters().refused, 0U);
        std::uint64_t missing = 0;
        for (std::size_t k = 1; k < seen.marks.size(); ++k) {
            ASSERT_GT(seen.marks[k].picture, seen.marks[k - 1].picture) << "channel " << i;
            missing += seen.marks[k].picture - seen.marks[k - 1].picture - 1;
        }
        // None, unless the machine was so busy that the recorder itself left out pictures.
        const auto& channel = report["channels"][static_cast<std::size_t>(i)];
        const auto unsent = channel["skipped"].get<std::uint64_t>() + channel["pictures"].get<std::uint64_t>() -
                            channel["sent"]["pictures"].get<std::uint64_t>();
        EXPECT_LE(missing, unsent) << "channel " << i;
    }
}

struct HarmRow {
    const char* name;
    std::vector<std::string> arguments;
    friend void PrintTo(const HarmRow& row, std::ostream* out) { *out << row.name; }
};

class UdpHarmedLinksTest : public UdpLinksTest, public testing::WithParamInterface<HarmRow>
{
};

TEST_P(UdpHarmedLinksTest, PicturesComeBackAsTheyWereDrawn)
{
    std::vector<std::string> arguments{"--channels", "2", "--gop", "5"};
    arguments.insert(arguments.end(), GetParam().arguments.begin(), GetParam().arguments.end());
    Start(arguments);
    LogOn(true);
    ASSERT_EQ(m_Channels.size(), 2U);
    for (CUdpRemote* const channel : m_Channels)
        Open(*channel);
    for (std::int32_t i = 0; i < 2; ++i) {
        // A link does not reconnect: when the harm took the reply to its request it waits indefinitely, and the
        // operator opens the channel again.
        constexpr int OPENINGS = 15;
        constexpr auto TIME_LIMIT = std::chrono::seconds(3);
        for (int opening = 1; opening < OPENINGS && MarksOf(i) < 25; ++opening) {
            const auto since = std::chrono::steady_clock::now();
            WaitUntil(
                [&] { return MarksOf(i) >= 25 || std::chrono::steady_clock::now() - since > TIME_LIMIT; });
            if (MarksOf(i) >= 25) break;
            m_Channels[static_cast<std::size_t>(i)]->Close();
            Open(*m_Channels[static_cast<std::size_t>(i)]);
        }
        ASSERT_TRUE(WaitUntil([&] { return MarksOf(i) >= 25; }));
        // The harm goes on, but every now and then a picture stands as it was drawn.
        EXPECT_TRUE(WaitUntil([&] {
            const Seen seen = SeenOf(i);
            if (seen.marks.empty() || seen.marks.back().channel != i) return false;
            const auto drawn = recorder::DrawScene(m_pRecorder->Scene(), i, seen.marks.back().picture);
            return recorder::LumaPsnr(seen.last, drawn) >= ENOUGH_DB;
        }));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, UdpHarmedLinksTest,
    testing::Values(HarmRow{"Loss", {"--loss", "2"}}, HarmRow{"Reordering", {"--reorder", "2"}},
                    HarmRow{"Duplicates", {"--duplicate", "2"}}, HarmRow{"Garbage", {"--garbage", "1"}},
                    HarmRow{"WrongLengths", {"--wrong-length", "2"}}, HarmRow{"Delay", {"--delay", "30"}}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(UdpLinksTest, DirectoryThatNeverAnswersCountsAsAReplyWithoutChannels)
{
    Start({"--silent", "directory"});
    Endpoints endpoints = m_pRecorder->GetEndpoints();
    endpoints.replyTimeoutMs = 100;
    CUdpRemoteStation station(endpoints, m_pRecorder->SessionOptionsOf(m_Clock, false));
    EXPECT_TRUE(station.Connect("4711", 10060, 10061));
    EXPECT_EQ(station.GetChannelCount(), 0);
    EXPECT_EQ(station.EnumDevices()->GetCount(), 0);
}

TEST_F(UdpLinksTest, RendezvousThatNeverAnswersLeavesChannelsThatDoNotOpen)
{
    Start({"--silent", "rendezvous", "--channels", "1"});
    CStepClock clock;
    CUdpRemoteStation station(m_pRecorder->GetEndpoints(), m_pRecorder->SessionOptionsOf(clock, false));
    EXPECT_TRUE(station.Connect("4711", 10060, 10061));
    EXPECT_FALSE(station.GetSession()->IsConnected());
    const auto folder = station.EnumDevices();
    ASSERT_EQ(folder->GetCount(), 1);
    auto* const channel = dynamic_cast<CUdpRemote*>(folder->CreateIterator()->CurrentItem());
    Open(*channel);
    EXPECT_TRUE(WaitUntil([&] { return channel->GetStatus() == STATUS_CLOSED; }));
}

}  // namespace
