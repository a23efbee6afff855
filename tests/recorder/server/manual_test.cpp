// What the manual tells of the recorder's own defaults and limits is what the program keeps.
#include <gmock/gmock.h>

#include <fstream>
#include <regex>
#include <sstream>
#include <string>

#include "recorder/media/LiveSource.h"
#include "recorder/media/PassThrough.h"
#include "recorder/protocol/DeviceLink.h"
#include "recorder/server/ConnectionServer.h"
#include "recorder/server/DataServer.h"
#include "recorder/server/Options.h"
#include "recorder/store/Store.h"
#include "tests/support/test_places.h"

namespace
{

using namespace recorder;
using namespace std::chrono_literals;
using testing::HasSubstr;

// Its text in one line, hyphens as they are shown.
std::string Manual()
{
    std::ifstream in(SourcePath("packaging/watchwall-recorder.1"));
    std::stringstream text;
    text << in.rdbuf();
    std::string shown;
    for (const char letter : text.str())
        if (letter != '\\') shown += letter == '\n' ? ' ' : letter;
    return shown;
}

std::string Help()
{
    const char* const args[] = {"watchwall-recorder", "--help"};
    return ParseOptions(2, args).say;
}

// Of an option's entry in the manual, its first word behind "Default".
std::string ToldDefault(const std::string& manual, const std::string& option)
{
    const size_t begin = manual.find(".BI " + option + " ");
    if (begin == std::string::npos) return "no entry";
    const std::string entry = manual.substr(begin, manual.find(" .TP ", begin) - begin);
    const size_t word = entry.find(" Default ");
    if (word == std::string::npos) return "no default";
    std::string told = entry.substr(word + 9, entry.find_first_of(" ,:;", word + 9) - word - 9);
    if (told.ends_with('.')) told.pop_back();
    return told;
}

TEST(RecorderManualTest, TellsTheDefaultsOfTheHelp)
{
    const std::string manual = Manual();
    const std::string help = Help();
    static const std::regex line(R"re(\n  (--[a-z-]+) \S+ \(([^)]+)\))re");
    int count = 0;
    for (auto at = std::sregex_iterator(help.begin(), help.end(), line); at != std::sregex_iterator();
         ++at, ++count)
        EXPECT_EQ(ToldDefault(manual, (*at)[1]), (*at)[2]) << (*at)[1];
    EXPECT_GT(count, 15);
}

TEST(RecorderManualTest, TellsTheLimitsThatTheRecorderKeeps)
{
    const std::string manual = Manual();
    const Options options;
    EXPECT_EQ(options.bitRate, 1'500'000);
    EXPECT_THAT(manual, HasSubstr("are understood. Default 1500k."));
    EXPECT_EQ(options.storeBytes, 1 << 30);
    EXPECT_THAT(manual, HasSubstr("At least 1M for each channel. Default 1G."));
    EXPECT_EQ(options.entropy, EEntropy::Cabac);
    EXPECT_EQ(options.motion, EMotion::Half);
    EXPECT_EQ(options.controlPort, 10060);
    EXPECT_THAT(manual, HasSubstr("TCP port of the text commands. Default 10060,"));
    EXPECT_EQ(options.dataPort, 10061);
    EXPECT_THAT(manual, HasSubstr("TCP port of the direct streams. Default 10061,"));
    EXPECT_EQ(StoreSetup().longest, 5min);
    EXPECT_THAT(manual, HasSubstr("first key picture after five minutes"));
    EXPECT_EQ(LiveSource::Times().ageShownFrom, 2s);
    EXPECT_THAT(manual, HasSubstr("with its age when that is two seconds or more"));
    EXPECT_EQ(LiveSource::Times().deadline, 10s);
    EXPECT_THAT(manual, HasSubstr("one that gives no picture for ten seconds is opened again"));
    EXPECT_THAT(manual, HasSubstr("each channel makes once a second at most"));
    EXPECT_THAT(manual, HasSubstr("the first picture may take up to one and a half seconds"));
    EXPECT_EQ(PassGate::STALE_AFTER, 2s);
    EXPECT_EQ(PassGate::MOST_BETWEEN_KEYS, 15s);
    EXPECT_THAT(manual, HasSubstr("no IDR picture for two seconds at the start, or for fifteen later"));
    EXPECT_THAT(PassGate::RARE_IDR, HasSubstr("more than 15 seconds"));
    EXPECT_EQ(PassGate::LOSSY_WITHIN, 10s);
    EXPECT_THAT(manual, HasSubstr("breaks off twice within ten seconds"));
    EXPECT_EQ(DataServer::TIME_LIMIT, 5 * SECOND);
    EXPECT_THAT(manual, HasSubstr("one that asks for nothing after five seconds"));
    EXPECT_EQ(ConnectionServer::MAX_CONNECTIONS, 64U);
    EXPECT_EQ(ConnectionServer::MAX_PER_ADDRESS, 16U);
    EXPECT_EQ(ConnectionServer::TIME_LIMIT, 5 * SECOND);
    EXPECT_THAT(manual, HasSubstr("takes 64 at once, 16 of them from one address, for five seconds at most"));
    EXPECT_EQ(DataServer::MAX_FORMER_CLIENTS, 256U);
    EXPECT_EQ(DeviceLink::MAX_FORMER_CLIENTS, 256U);
    EXPECT_THAT(manual, HasSubstr("of those that have gone, the last 256"));
    EXPECT_EQ(DeviceLink::REPLIES, 3);
    EXPECT_EQ(DeviceLink::REPLY_EVERY, SECOND);
    EXPECT_THAT(manual, HasSubstr("the reply to a stream request three times in all, one each second"));
}

}  // namespace
