// Records over the data port, kept and played by a recorder of the test's own.

#include <gmock/gmock.h>

#include <chrono>
#include <deque>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>
#include <thread>

#include "recorder/scene/Mark.h"
#include "recorder/scene/Scene.h"
#include "recorder/store/Store.h"
#include "tests/recorder/client_support.h"
#include "tests/recorder/media_support.h"
#include "tests/support/test_folder.h"

namespace
{

using namespace recorder;
using testing::SizeIs;

const Bytes REPLY = MakeDirectReply(EReply::Stream, 176, 144);
const Bytes REFUSAL = MakeDirectReply(EReply::Refused, 0, 0);

class PlaybackTest : public testing::Test
{
  protected:
    std::vector<const char*> Arguments(const std::vector<const char*>& more = {}) const
    {
        std::vector<const char*> all{"--id", "77",         "--channels", "2",       "--mark",     "--gop",
                                     "5",    "--checksum", "0",          "--store", store.c_str()};
        all.insert(all.end(), more.begin(), more.end());
        return all;
    }
    // Watches a channel for so many pictures and returns the recorder's report.
    nlohmann::json Watch(EMode mode, int pictures)
    {
        CRunning running(Arguments());
        CConnection client(running.GetServer().DataAt());
        client.Ask(static_cast<int32_t>(mode), 1);
        client.Receive(STREAM_REPLY_BYTES);
        for (int i = 0; i < pictures; ++i) {
            const auto frame = client.NextFrame();
            if (!frame) break;
            m_Watched.push_back(frame->payload);
        }
        return running.End();
    }
    static std::vector<Bytes> Rest(CConnection& client)
    {
        std::vector<Bytes> payloads;
        while (auto frame = client.NextFrame())
            payloads.push_back(std::move(frame->payload));
        return payloads;
    }

    CTestFolder m_Folder;
    std::string store = m_Folder.Path("store");
    std::vector<Bytes> m_Watched;
};

TEST_F(PlaybackTest, GivesBackWhatWasStreamedAndEndsTheConnection)
{
    const auto first = Watch(EMode::LiveMpeg4, 20);
    ASSERT_THAT(first["store"]["records"], SizeIs(1));
    EXPECT_EQ(first["store"]["records"][0]["channel"], 2);
    ASSERT_GE(first["store"]["pictures"], 20);
    CRunning running(Arguments());
    CConnection client(running.GetServer().DataAt());
    client.Ask(2, 0, 1);
    EXPECT_EQ(client.Receive(STREAM_REPLY_BYTES), REPLY);
    const auto played = Rest(client);
    ASSERT_EQ(played.size(), first["store"]["pictures"]);
    EXPECT_TRUE(std::equal(m_Watched.begin(), m_Watched.end(), played.begin()));
    const auto report = running.End();
    EXPECT_EQ(report["data"]["played"], 1);
    EXPECT_EQ(report["data"]["clients"][0]["record"], 1);
    EXPECT_EQ(report["data"]["clients"][0]["pictures"], played.size());
    EXPECT_EQ(report["channels"][1]["pictures"], 0) << "nobody watches the channel";
    EXPECT_EQ(report["channels"][1]["sent"]["pictures"], 0);
    EXPECT_EQ(report["totals"]["pictures"], played.size());
    EXPECT_EQ(report["totals"]["bytes"], report["data"]["clients"][0]["bytes"]);
}

// Pictures so large that at the end one of them is nearly always in the making.
TEST_F(PlaybackTest, TheReportCountsEveryPictureThatIsKept)
{
    nlohmann::json report;
    {
        CRunning running(Arguments({"--size", "1920x1088"}));
        std::deque<CConnection> clients;
        for (int channel = 0; channel < 2; ++channel) {
            CConnection& client = clients.emplace_back(running.GetServer().DataAt());
            client.Ask(0, channel);
            client.Receive(STREAM_REPLY_BYTES);
            ASSERT_TRUE(client.NextFrame());
        }
        report = running.End();
    }
    uint64_t kept = 0;
    for (const StoredRecord& record : ListRecords(store))
        for (RecordReader reader(m_Folder.Path("store/" + FileNameOf(record.name))); reader.Next();)
            ++kept;
    EXPECT_EQ(report["store"]["pictures"], kept);
}

// Clients play MPEG-4 only, whatever was watched.
TEST_F(PlaybackTest, AChannelThatIsWatchedInH264IsKeptAsMpeg4)
{
    Watch(EMode::LiveH264, 20);
    CRunning running(Arguments());
    CConnection client(running.GetServer().DataAt());
    client.Ask(2, 0, 1);
    EXPECT_EQ(client.Receive(STREAM_REPLY_BYTES), REPLY);
    const auto played = Rest(client);
    ASSERT_GE(played.size(), 15U);
    CDecoder decoder;
    uint32_t last = 0;
    for (size_t i = 0; i < played.size(); ++i) {
        const auto mark = ReadMark(decoder.Decode(played[i]));
        ASSERT_TRUE(mark) << i;
        EXPECT_EQ(mark->channel, 1);
        EXPECT_TRUE(i == 0 || mark->picture > last);
        last = mark->picture;
    }
}

TEST_F(PlaybackTest, WhatIsNotKeptIsRefused)
{
    Watch(EMode::LiveMpeg4, 5);
    std::ofstream(m_Folder.Path("store/000000002-ch01-20261122-065500.mkv")) << "no film at all";
    CRunning running(Arguments());
    for (const int record : {2, 3, 0, -1, 2147483647}) {
        CConnection client(running.GetServer().DataAt());
        client.Ask(2, 0, record);
        EXPECT_EQ(client.Receive(100), REFUSAL) << record;
    }
    EXPECT_EQ(running.End()["data"]["refused"], 5);
}

TEST_F(PlaybackTest, ARecordThatIsStillWrittenPlaysAsFarAsItGoes)
{
    CRunning running(Arguments());
    CConnection live(running.GetServer().DataAt());
    live.Ask(0, 0);
    live.Receive(STREAM_REPLY_BYTES);
    for (int i = 0; i < 40; ++i)
        ASSERT_TRUE(live.NextFrame());
    CConnection client(running.GetServer().DataAt());
    client.Ask(2, 0, 1);
    EXPECT_EQ(client.Receive(STREAM_REPLY_BYTES), REPLY);
    EXPECT_TRUE(client.NextFrame());
}

TEST_F(PlaybackTest, AClientThatHangsUpEndsItsPlayback)
{
    Watch(EMode::LiveMpeg4, 20);
    CRunning running(Arguments());
    for (int i = 0; i < 5; ++i) {
        CConnection client(running.GetServer().DataAt());
        client.Ask(2, 0, 1);
        if (i % 2 == 0) client.Receive(STREAM_REPLY_BYTES);
        client.HangUp();
    }
    CConnection last(running.GetServer().DataAt());
    last.Ask(2, 0, 1);
    EXPECT_EQ(last.Receive(STREAM_REPLY_BYTES), REPLY);
    EXPECT_TRUE(last.NextFrame());
}

TEST_F(PlaybackTest, HarmIsDoneToPlaybackToo)
{
    Watch(EMode::LiveMpeg4, 5);
    CRunning running(Arguments({"--wrong-type", "100"}));
    CConnection client(running.GetServer().DataAt());
    client.Ask(2, 0, 1);
    client.Receive(STREAM_REPLY_BYTES);
    const auto frame = client.NextFrame();
    ASSERT_TRUE(frame);
    EXPECT_GT(frame->type, 1U);
}

TEST_F(PlaybackTest, TheListTellsEachRecord)
{
    const auto clock = [] {
        return TimeText(std::chrono::local_seconds(std::chrono::seconds(WallClockNow() / 100)));
    };
    const std::string before = clock();
    const std::string start = Watch(EMode::LiveMpeg4, 5)["store"]["records"][0]["start"];
    EXPECT_GE(start, before);
    EXPECT_LE(start, clock());
    Watch(EMode::LiveMpeg4, 5);
    const ParsedOptions parsed = ParseOptions(4, std::array{"", "--store", store.c_str(), "--records"}.data());
    ASSERT_TRUE(parsed.run) << parsed.say;
    testing::internal::CaptureStdout();
    EXPECT_EQ(RunRecorder(parsed.options), 0);
    EXPECT_THAT(testing::internal::GetCapturedStdout(),
                testing::MatchesRegex("1  channel 2  [0-9: -]+  [0-9]+ bytes\n2  channel 2  .* bytes\n"));
}

TEST_F(PlaybackTest, AListThatCanNotBeWrittenIsAFailure)
{
    Watch(EMode::LiveMpeg4, 5);
    const ParsedOptions parsed = ParseOptions(4, std::array{"", "--store", store.c_str(), "--records"}.data());
    ASSERT_TRUE(parsed.run) << parsed.say;
    testing::internal::CaptureStderr();
    auto* const former = std::cout.rdbuf(nullptr);  // takes nothing, as a full disk
    EXPECT_EQ(RunRecorder(parsed.options), 1);
    std::cout.rdbuf(former);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr("can't write the list of records"));
}

TEST_F(PlaybackTest, TheListOfAFolderThatIsNotThereIsAFailure)
{
    const ParsedOptions parsed = ParseOptions(4, std::array{"", "--store", store.c_str(), "--records"}.data());
    ASSERT_TRUE(parsed.run) << parsed.say;
    testing::internal::CaptureStderr();
    EXPECT_EQ(RunRecorder(parsed.options), 1);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                testing::HasSubstr("can't read the records of " + store + ": No such file"));
}

TEST_F(PlaybackTest, ARecordIsPlayedAtThePaceAtWhichItWasMade)
{
    std::filesystem::create_directories(store);
    {
        const Bytes picture(1000, 1);
        const RecordName name{1, 0, std::chrono::local_days(std::chrono::year(2026) / 11 / 22)};
        RecordWriter writer(store + "/" + FileNameOf(name), {176, 144}, picture);
        for (int i = 0; i < 5; ++i)
            writer.Write(picture, std::chrono::milliseconds(100 * i), i == 0);
    }
    CRunning running(Arguments());
    CConnection client(running.GetServer().DataAt());
    const TimeUs begun = Now();
    client.Ask(2, 0, 1);
    ASSERT_EQ(client.Receive(STREAM_REPLY_BYTES), REPLY);
    EXPECT_THAT(Rest(client), SizeIs(5));
    EXPECT_GE(Now() - begun, 4 * SECOND / 10);
}

// Its place is another's by then.
TEST_F(PlaybackTest, AClientThatTakesNothingIsDroppedAfterTheTimeOfTheOption)
{
    constexpr TimeUs LIMIT = 8 * SECOND;  // the option's default is more
    std::filesystem::create_directories(store);
    {
        const Bytes picture(100'000, 1);
        const RecordName name{1, 0, std::chrono::local_days(std::chrono::year(2026) / 11 / 22)};
        RecordWriter writer(store + "/" + FileNameOf(name), {176, 144}, picture);
        for (int i = 0; i < 200; ++i)  // more than the system's buffers hold
            writer.Write(picture, std::chrono::milliseconds(i), i == 0);
    }
    CRunning running(Arguments({"--clients", "1", "--drop-after", "0.3"}));
    CConnection late(running.GetServer().DataAt());
    late.Ask(2, 0, 1);
    ASSERT_EQ(late.Receive(STREAM_REPLY_BYTES), REPLY);
    const TimeUs begun = Now();
    bool dropped = false;
    while (!dropped && Now() - begun < LIMIT) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        CConnection next(running.GetServer().DataAt());
        next.Ask(1, 0);
        dropped = next.Receive(STREAM_REPLY_BYTES) == REPLY;
    }
    EXPECT_TRUE(dropped);
}

}  // namespace
