// The control port and the data port over real loopback sockets.

#include <gmock/gmock.h>
#include <poll.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "recorder/h264/AnnexB.h"
#include "recorder/h264/Headers.h"
#include "recorder/scene/Mark.h"
#include "recorder/server/Server.h"
#include "tests/recorder/client_support.h"
#include "tests/recorder/datagram_support.h"
#include "tests/recorder/media_support.h"

namespace
{

using namespace recorder;

const Bytes REPLY = MakeDirectReply(EReply::Stream, 176, 144);
const Bytes REFUSAL = MakeDirectReply(EReply::Refused, 0, 0);

struct Live {
    EMode mode;
    const char* decoder;
};

class LiveModeTest : public testing::TestWithParam<Live>
{
};

TEST_P(LiveModeTest, StreamsFromAKeyPictureOnWithNoPictureLeftOut)
{
    CRunning running({"--id", "77", "--channels", "2", "--mark", "--gop", "5", "--checksum", "0"});
    CConnection client(running.GetServer().DataAt());
    client.Ask(static_cast<int32_t>(GetParam().mode), 1);
    EXPECT_EQ(client.Receive(STREAM_REPLY_BYTES), REPLY);
    CDecoder decoder(GetParam().decoder);
    uint32_t last = 0;
    for (int i = 0; i < 20; ++i) {
        const auto frame = client.NextFrame();
        ASSERT_TRUE(frame);
        EXPECT_EQ(frame->type, 0U);
        const Picture shown = decoder.Decode(frame->payload);
        const auto mark = ReadMark(shown);
        ASSERT_TRUE(mark) << i;
        EXPECT_EQ(mark->channel, 1);
        EXPECT_TRUE(i == 0 || mark->picture > last);
        last = mark->picture;
        EXPECT_GE(LumaPsnr(shown, DrawScene(running.GetServer().GetOptions().scene, 1, last)), 28);
    }
    const auto report = running.End();
    EXPECT_GE(report["data"]["clients"][0]["pictures"], 20);
    EXPECT_EQ(report["channels"][0]["pictures"], 0);
    const bool h264 = GetParam().mode == EMode::LiveH264;
    EXPECT_EQ(report["channels"][1][h264 ? "pictures" : "h264"].is_object(), !h264);
    EXPECT_EQ(h264 ? report["channels"][1]["pictures"] : report["channels"][1]["h264"]["pictures"], 0)
        << "what nobody watches isn't encoded";
}

INSTANTIATE_TEST_SUITE_P(Modes, LiveModeTest,
                         testing::Values(Live{EMode::LiveMpeg4, "mpeg4"}, Live{EMode::LiveH264, "h264"}),
                         [](const auto& row) { return std::string(row.param.decoder); });

TEST(DataPortTest, QueryIsRepliedAndClosed)
{
    CRunning running({"--id", "77", "--channels", "1"});
    CConnection client(running.GetServer().DataAt());
    client.Ask(1, 0);
    EXPECT_EQ(client.Receive(100), REPLY);
    EXPECT_EQ(running.End()["data"]["queries"], 1);
}

TEST(DataPortTest, WhatIsNotThereIsRefused)
{
    CRunning running({"--id", "77", "--channels", "1"});
    const std::pair<int, int> rows[] = {{3, 1}, {3, -1}, {0, 64}, {4, 0}, {-1, 0}, {2, 0}};
    for (const auto& [mode, channel] : rows) {
        CConnection client(running.GetServer().DataAt());
        client.Ask(mode, channel);
        EXPECT_EQ(client.Receive(100), REFUSAL) << mode << ' ' << channel;
    }
    EXPECT_EQ(running.End()["data"]["refused"], 6);
}

TEST(DataPortTest, DamagedRequestsEndTheConnection)
{
    CRunning running({"--id", "77", "--channels", "1"});
    for (const uint32_t length : {0U, 3U, 8U, 17U, 65536U, 0x80000000U}) {
        CConnection client(running.GetServer().DataAt());
        Bytes bytes(16);
        WriteU32(bytes.data(), length);
        client.Send(bytes);
        EXPECT_EQ(client.Receive(1), Bytes()) << length;
    }
    EXPECT_EQ(running.End()["data"]["refused"], 6);
}

TEST(DataPortTest, TheReportTellsWhoLeft)
{
    CRunning running({"--id", "77", "--channels", "1"});
    {
        CConnection client(running.GetServer().DataAt());
        client.Ask(3, 0);
        client.Receive(STREAM_REPLY_BYTES);
        ASSERT_TRUE(client.NextFrame());
    }
    CConnection other(running.GetServer().DataAt());
    other.Ask(0, 0);
    other.Receive(STREAM_REPLY_BYTES);
    ASSERT_TRUE(other.NextFrame());
    const auto report = running.End();
    std::multiset<std::string> codecs;
    for (const auto& client : report["data"]["clients"])
        codecs.insert(client["codec"]);
    EXPECT_EQ(codecs, (std::multiset<std::string>{"h264", "mpeg4"}));
}

TEST(DataPortTest, WhoLeavesTakesTheChannelFromNobodyElse)
{
    CRunning running({"--id", "77", "--channels", "1", "--gop", "5"});
    CConnection stays(running.GetServer().DataAt());
    stays.Ask(0, 0);
    EXPECT_EQ(stays.Receive(STREAM_REPLY_BYTES), REPLY);
    ASSERT_TRUE(stays.NextFrame());
    {
        CConnection leaves(running.GetServer().DataAt());
        leaves.Ask(0, 0);
        leaves.Receive(STREAM_REPLY_BYTES);
        ASSERT_TRUE(leaves.NextFrame());
    }
    for (int i = 0; i < 30; ++i)
        ASSERT_TRUE(stays.NextFrame()) << "since one of the direct streams ended";
    CRecorderClient client(running.GetServer(), "1");
    client.Send(running.GetServer().DeviceAt(), EMessage::Data, Request(0));
    ASSERT_EQ(client.NextMessage().size(), 8U);
    ASSERT_FALSE(client.NextMessage().empty());
    client.Send(running.GetServer().DeviceAt(), EMessage::Logout);
    for (int i = 0; i < 30; ++i)
        ASSERT_TRUE(stays.NextFrame()) << "since one with datagrams left";
}

TEST(DataPortTest, WhatDirectClientsGotIsAmongWhatTheirChannelSent)
{
    CRunning running({"--id", "77", "--channels", "2"});
    CConnection direct(running.GetServer().DataAt());
    direct.Ask(3, 1);
    direct.Receive(STREAM_REPLY_BYTES);
    for (int i = 0; i < 5; ++i)
        ASSERT_TRUE(direct.NextFrame());
    CRecorderClient client(running.GetServer(), "1");
    client.Send(running.GetServer().DeviceAt(), EMessage::Data, Request(1));
    ASSERT_EQ(client.NextMessage().size(), 8U);
    ASSERT_FALSE(client.NextMessage().empty());
    ASSERT_FALSE(client.NextMessage().empty()) << "with the second one the first is sent whole";
    const auto report = running.End();
    const auto& byDatagrams = report["clients"][0]["streams"][0];
    const auto& byConnection = report["data"]["clients"][0];
    ASSERT_GE(byDatagrams["pictures"], 1);
    ASSERT_GE(byConnection["pictures"], 5);
    for (const char* what : {"pictures", "bytes", "dropped"})
        EXPECT_EQ(report["channels"][1]["sent"][what],
                  byDatagrams[what].get<uint64_t>() + byConnection[what].get<uint64_t>())
            << what;
    EXPECT_EQ(report["channels"][0]["sent"]["pictures"], 0);
    EXPECT_EQ(report["totals"]["pictures"], report["channels"][1]["sent"]["pictures"]);
    EXPECT_EQ(report["totals"]["bytes"],
              report["clients"][0]["bytes"].get<uint64_t>() + byConnection["bytes"].get<uint64_t>());
}

TEST(DataPortTest, ChecksumIsAnnouncedBeforeEachKeyPicture)
{
    CRunning running({"--id", "77", "--channels", "1", "--checksum", "32", "--gop", "5"});
    CConnection client(running.GetServer().DataAt());
    client.Ask(3, 0);
    client.Receive(STREAM_REPLY_BYTES);
    for (int i = 0; i < 10; ++i) {
        const auto frame = client.NextFrame();
        ASSERT_TRUE(frame);
        const auto units = SplitUnits(frame->payload);
        ASSERT_FALSE(units.empty());
        if (units.size() > 1)
            EXPECT_EQ(UnitType(units[0]), EUnit::Sei);
        else
            EXPECT_EQ(UnitType(units[0]), EUnit::Slice);
    }
}

TEST(DataPortTest, H264IsCodedAsAskedFor)
{
    for (const char* const entropy : {"cabac", "cavlc"}) {
        CRunning running({"--id", "77", "--channels", "1", "--entropy", entropy});
        CConnection client(running.GetServer().DataAt());
        client.Ask(3, 0);
        client.Receive(STREAM_REPLY_BYTES);
        const auto key = client.NextFrame();
        ASSERT_TRUE(key);
        const auto units = SplitUnits(key->payload);
        const auto set = std::ranges::find(units, EUnit::PictureSet, UnitType);
        ASSERT_NE(set, units.end());
        const bool isCabac = h264::ReadPictureSet(Unescape(*set)).cabac;
        EXPECT_EQ(isCabac, entropy == std::string("cabac"));
    }
}

TEST(DataPortTest, ALowerRateGivesSmallerPictures)
{
    for (const int mode : {0, 3}) {
        size_t bytes[2] = {};
        for (int i = 0; i < 2; ++i) {
            CRunning running({"--id", "77", "--channels", "1", "--bitrate", i == 0 ? "3M" : "50k"});
            CConnection client(running.GetServer().DataAt());
            client.Ask(mode, 0);
            client.Receive(STREAM_REPLY_BYTES);
            for (int picture = 0; picture < 20; ++picture) {
                const auto frame = client.NextFrame();
                ASSERT_TRUE(frame);
                bytes[i] += frame->payload.size();
            }
        }
        EXPECT_LT(2 * bytes[1], bytes[0]) << mode;
    }
}

TEST(DataPortTest, HarmIsDoneOnRequest)
{
    {
        CRunning running({"--id", "77", "--channels", "1", "--no-media", "100"});
        CConnection client(running.GetServer().DataAt());
        client.Ask(3, 0);
        client.Receive(STREAM_REPLY_BYTES);
        for (uint32_t i = 0; i < 10; ++i) {
            const auto frame = client.NextFrame();
            ASSERT_TRUE(frame);
            EXPECT_EQ(frame->type, i % 2 == 0 ? 1U : 0U);
            EXPECT_EQ(frame->payload.empty(), i % 2 == 0);
        }
    }
    {
        CRunning running({"--id", "77", "--channels", "1", "--wrong-type", "100"});
        CConnection client(running.GetServer().DataAt());
        client.Ask(3, 0);
        client.Receive(STREAM_REPLY_BYTES);
        const auto frame = client.NextFrame();
        ASSERT_TRUE(frame);
        EXPECT_GT(frame->type, 1U);
    }
    {
        CRunning running({"--id", "77", "--channels", "1", "--close", "100"});
        CConnection client(running.GetServer().DataAt());
        client.Ask(3, 0);
        client.Receive(STREAM_REPLY_BYTES);
        const Bytes part = client.Receive(MAX_MEDIA_FRAME_BYTES);
        ASSERT_GT(part.size(), MEDIA_HEADER_BYTES);
        EXPECT_LT(part.size(), ReadU32(part.data())) << "it ends in mid-frame";
    }
    {
        CRunning running({"--id", "77", "--channels", "1", "--wrong-length", "100"});
        CConnection client(running.GetServer().DataAt());
        client.Ask(3, 0);
        client.Receive(STREAM_REPLY_BYTES);
        client.Receive(2000);
        EXPECT_GE(running.End()["data"]["harmed frames"], 1);
    }
    {
        CRunning running({"--id", "77", "--channels", "1", "--trickle", "1"});
        CConnection client(running.GetServer().DataAt());
        client.Ask(3, 0);
        EXPECT_EQ(client.Receive(STREAM_REPLY_BYTES), REPLY);
        EXPECT_EQ(client.Receive(100).size(), 100U);
    }
}

TEST(ControlPortTest, CommandsMoveTheCameraOfTheirChannel)
{
    CRunning running({"--id", "77", "--channels", "2", "--gop", "1", "--mark"});
    CConnection viewer(running.GetServer().DataAt());
    viewer.Ask(0, 1);
    viewer.Receive(STREAM_REPLY_BYTES);
    {
        CConnection control(running.GetServer().ControlAt());
        control.SendText("SetSaturation:1:0");
        control.SendText("ZoomInStart:1");
    }
    CDecoder decoder;
    // Grey and larger, within some pictures.
    bool grey = false;
    bool moved = false;
    for (int i = 0; i < 250 && !(grey && moved); ++i) {
        const auto frame = viewer.NextFrame();
        ASSERT_TRUE(frame);
        const Picture shown = decoder.Decode(frame->payload);
        int colour = 0;
        for (const uint8_t u : shown.u)
            colour = std::max(colour, std::abs(u - 128));
        grey = grey || colour < 12;
        const auto mark = ReadMark(shown);
        ASSERT_TRUE(mark);
        moved =
            moved || LumaPsnr(shown, DrawScene(running.GetServer().GetOptions().scene, 1, mark->picture)) < 22;
    }
    EXPECT_TRUE(grey);
    EXPECT_TRUE(moved);
    EXPECT_EQ(running.End()["control"]["commands"], 2);
}

TEST(ControlPortTest, WhatIsNoCommandIsCounted)
{
    CRunning running({"--id", "77", "--channels", "1"});
    CConnection client(running.GetServer().ControlAt());
    for (const char* text : {"LeftStart:0", "LeftStart:1", "Reboot:0", "", "LeftStart:-1"})
        client.SendText(text);
    client.Send({3, 0, 0, 0, 'x'});
    EXPECT_EQ(client.Receive(1), Bytes()) << "it is closed";
    const auto report = running.End();
    EXPECT_EQ(report["control"]["commands"], 1);
    EXPECT_EQ(report["control"]["unknown"], 4);
    EXPECT_EQ(report["control"]["damaged"], 1);
    EXPECT_EQ(report["control"]["timeouts"], 0) << "damage closes it at once";
}

TEST(ControlPortTest, OpenConnectionsAreBounded)
{
    CRunning running({"--id", "77", "--channels", "1"});
    std::vector<std::unique_ptr<CConnection>> idle;
    for (size_t i = 0; i < ControlServer::MAX_PER_ADDRESS; ++i)
        idle.push_back(std::make_unique<CConnection>(running.GetServer().ControlAt()));
    CConnection further(running.GetServer().ControlAt());
    EXPECT_EQ(further.Receive(1), Bytes());
    EXPECT_EQ(running.End()["control"]["turned away"], 1);
}

}  // namespace
