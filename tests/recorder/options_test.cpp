#include "recorder/server/Options.h"

#include <gmock/gmock.h>

#include <cctype>
#include <fstream>
#include <sstream>

namespace
{

using namespace recorder;
using testing::ElementsAre;
using testing::HasSubstr;

XParsed Parse(std::vector<const char*> args)
{
    args.insert(args.begin(), "watchwall-recorder");
    return ParseOptions(static_cast<int>(args.size()), args.data());
}

TEST(OptionsTest, DefaultsServeFourScenesOnLoopback)
{
    const XParsed parsed = Parse({});
    ASSERT_TRUE(parsed.m_bRun) << parsed.m_strSay;
    const XOptions& options = parsed.m_Options;
    EXPECT_EQ(options.m_dwListen, 0x7F000001U);
    EXPECT_EQ(options.m_usDirectoryPort, 6800);
    EXPECT_EQ(options.m_usRendezvousPort, 4567);
    EXPECT_THAT(options.m_Sources, ElementsAre("scene", "scene", "scene", "scene"));
    EXPECT_EQ(options.m_iGroup, 25);
    EXPECT_GT(options.m_Scene.m_iClockStart, 0);
    EXPECT_FALSE(options.m_Faults.Any());
}

TEST(OptionsTest, EverythingCanBeSet)
{
    const XParsed parsed = Parse({"--id",
                                  "77",
                                  "--alias",
                                  "gate",
                                  "--alias",
                                  "yard",
                                  "--channels",
                                  "2",
                                  "--size",
                                  "352x288",
                                  "--fps",
                                  "10",
                                  "--bitrate",
                                  "512k",
                                  "--gop",
                                  "30",
                                  "--source",
                                  "2=lavfi:testsrc=s=64x64",
                                  "--listen",
                                  "0.0.0.0",
                                  "--directory-port",
                                  "0",
                                  "--rendezvous-port",
                                  "1",
                                  "--device-port",
                                  "2",
                                  "--loss",
                                  "1.5",
                                  "--reorder",
                                  "2",
                                  "--duplicate",
                                  "3",
                                  "--garbage",
                                  "4",
                                  "--wrong-length",
                                  "5",
                                  "--delay",
                                  "6.5",
                                  "--seed",
                                  "9",
                                  "--faults-on",
                                  "video,device",
                                  "--silent",
                                  "directory",
                                  "--silent",
                                  "device",
                                  "--loop",
                                  "2",
                                  "--seconds",
                                  "3",
                                  "--report",
                                  "r.json",
                                  "--ready-file",
                                  "ready",
                                  "--names",
                                  "A,B",
                                  "--mark",
                                  "--motion",
                                  "none",
                                  "--clock",
                                  "2026-11-21 08:40:12",
                                  "--clients",
                                  "5",
                                  "--drop-after",
                                  "2.5"});
    ASSERT_TRUE(parsed.m_bRun) << parsed.m_strSay;
    const XOptions& options = parsed.m_Options;
    EXPECT_EQ(options.m_iNetId, 77);
    EXPECT_THAT(options.m_Aliases, ElementsAre("gate", "yard"));
    EXPECT_EQ(options.m_Scene.m_iWidth, 352);
    EXPECT_EQ(options.m_Scene.m_iHeight, 288);
    EXPECT_EQ(options.m_Scene.m_iRate, 10);
    EXPECT_EQ(options.m_iBitRate, 512'000);
    EXPECT_EQ(options.m_iGroup, 30);
    EXPECT_THAT(options.m_Sources, ElementsAre("scene", "lavfi:testsrc=s=64x64"));
    EXPECT_EQ(options.m_dwListen, 0U);
    EXPECT_EQ(options.m_usDirectoryPort, 0);
    EXPECT_EQ(options.m_usDevicePort, 2);
    EXPECT_EQ(options.m_Faults.m_dLoss, 1.5);
    EXPECT_EQ(options.m_Faults.m_dWrongLength, 5);
    EXPECT_EQ(options.m_Faults.m_iDelay, 6500);
    EXPECT_EQ(options.m_dwSeed, 9U);
    EXPECT_THAT(options.m_FaultsOn, ElementsAre(EService::Device, EService::Video));
    EXPECT_THAT(options.m_Silent, ElementsAre(EService::Directory, EService::Device));
    EXPECT_EQ(options.m_iLoopSeconds, 2);
    EXPECT_EQ(options.m_dSeconds, 3);
    EXPECT_EQ(options.m_strReport, "r.json");
    EXPECT_THAT(options.m_Scene.m_Names, ElementsAre("A", "B"));
    EXPECT_TRUE(options.m_Scene.m_bMark);
    EXPECT_EQ(options.m_Motion, EMotion::None);
    EXPECT_EQ(options.m_Scene.m_iClockStart, ParseClock("2026-11-21 08:40:12"));
    EXPECT_EQ(options.m_ulClients, 5U);
}

TEST(OptionsTest, SourceWithoutNumberIsForAllChannels)
{
    const XParsed parsed = Parse({"--channels", "3", "--source", "rtsp://host/?a=1", "--source", "2=scene"});
    ASSERT_TRUE(parsed.m_bRun) << parsed.m_strSay;
    EXPECT_THAT(parsed.m_Options.m_Sources, ElementsAre("rtsp://host/?a=1", "scene", "rtsp://host/?a=1"));
}

struct XWrong {
    const char* m_szName;
    std::vector<const char*> m_Args;
    const char* m_szSays;
};

class WrongOptionsTest : public testing::TestWithParam<XWrong>
{
};

TEST_P(WrongOptionsTest, AreRefusedWithAReason)
{
    const XParsed parsed = Parse(GetParam().m_Args);
    EXPECT_FALSE(parsed.m_bRun);
    EXPECT_EQ(parsed.m_iExit, 2);
    EXPECT_THAT(parsed.m_strSay, HasSubstr(GetParam().m_szSays));
}

INSTANTIATE_TEST_SUITE_P(Rows, WrongOptionsTest,
                         testing::Values(XWrong{"SizeNotOfSixteens", {"--size", "100x100"}, "multiples of 16"},
                                         XWrong{"SizeTooSmall", {"--size", "64x48"}, "128x96"},
                                         XWrong{"SizeWithoutX", {"--size", "352"}, "WIDTHxHEIGHT"},
                                         XWrong{"ChannelsAboveSixtyFour", {"--channels", "65"}, "--channels"},
                                         XWrong{"LossAboveHundred", {"--loss", "101"}, "--loss"},
                                         XWrong{"NoSuchChannel", {"--source", "5=scene"}, "no such channel"},
                                         XWrong{"ChannelZero", {"--source", "0=scene"}, "no such channel"},
                                         XWrong{"Clock", {"--clock", "yesterday"}, "YYYY-MM-DD"},
                                         XWrong{"Listen", {"--listen", "1.2.3.256"}, "IPv4"},
                                         XWrong{"Unknown", {"--frobnicate"}, "frobnicate"},
                                         XWrong{"FaultsOnDirectory", {"--faults-on", "directory"}, "none of"},
                                         XWrong{"SilentVideo", {"--silent", "video"}, "--silent"},
                                         XWrong{"Port", {"--device-port", "70000"}, "--device-port"}),
                         [](const auto& row) { return std::string(row.param.m_szName); });

TEST(OptionsTest, ManualTellsEveryOption)
{
    std::ifstream in(WATCHWALL_SOURCE_DIR "/packaging/watchwall-recorder.1");
    std::stringstream text;
    text << in.rdbuf();
    const std::string help = Parse({"--help"}).m_strSay;
    int options = 0;
    for (size_t at = help.find("--"); at != std::string::npos; at = help.find("--", at + 2), ++options) {
        std::string name = "\\-\\-";  // as the manual writes it
        for (size_t i = at + 2; std::islower(help[i]) != 0 || help[i] == '-'; ++i)
            name += help[i] == '-' ? "\\-" : std::string(1, help[i]);
        EXPECT_THAT(text.str(), HasSubstr(name)) << "missing in the manual";
    }
    EXPECT_GT(options, 25);
}

TEST(OptionsTest, HelpAndVersionEndWell)
{
    const XParsed help = Parse({"--help"});
    EXPECT_FALSE(help.m_bRun);
    EXPECT_EQ(help.m_iExit, 0);
    EXPECT_THAT(help.m_strSay, HasSubstr("--rendezvous-port"));
    const XParsed version = Parse({"--version"});
    EXPECT_EQ(version.m_iExit, 0);
    EXPECT_THAT(version.m_strSay, HasSubstr("watchwall-recorder 0."));
}

}  // namespace
