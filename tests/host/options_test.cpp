#include "host/Options.h"

#include <gmock/gmock.h>

#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include "tests/support/manual_options.h"
#include "tests/support/test_places.h"

namespace
{

TEST(Options, AreNoneByThemselves)
{
    Options options;
    QString message;
    EXPECT_EQ(ParseOptions({"watchwall"}, options, message), EParsed::Run);
    EXPECT_EQ(options.seconds, 0);
    EXPECT_TRUE(options.home.isEmpty() && options.module.isEmpty() && options.screenshot.isEmpty());
    EXPECT_EQ(options.profile, "operator");
}

TEST(Options, OfTheProfileAreRead)
{
    for (const char* profile : {"classic", "operator"}) {
        Options options;
        QString message;
        EXPECT_EQ(ParseOptions({"watchwall", "--profile", profile}, options, message), EParsed::Run);
        EXPECT_EQ(options.profile, profile);
    }
}

TEST(Options, AreRead)
{
    Options options;
    QString message;
    EXPECT_EQ(
        ParseOptions({"watchwall", "--seconds", "20", "--screenshot=a b.png", "--home", "/h", "--module", "m"},
                     options, message),
        EParsed::Run);
    EXPECT_EQ(options.seconds, 20);
    EXPECT_EQ(options.screenshot, "a b.png");
    EXPECT_EQ(options.home, "/h");
    EXPECT_EQ(options.module, "m");
}

TEST(Options, OfTheScriptAreRead)
{
    Options options;
    QString message;
    EXPECT_EQ(ParseOptions({"watchwall", "--logon", "1001", "--open", "3,1", "--layout", "9", "--full-screen",
                            "--report", "r.json"},
                           options, message),
              EParsed::Run);
    EXPECT_EQ(options.logon, "1001");
    EXPECT_EQ(options.open, QList<int>({3, 1}));
    EXPECT_FALSE(options.openAll);
    EXPECT_EQ(options.layout, 9);
    EXPECT_TRUE(options.fullScreen);
    EXPECT_EQ(options.report, "r.json");
    EXPECT_TRUE(options.IsScripted());
    Options all;
    EXPECT_EQ(ParseOptions({"watchwall", "--logon", "1", "--open", "all"}, all, message), EParsed::Run);
    EXPECT_TRUE(all.openAll);
    EXPECT_TRUE(all.open.isEmpty());
}

TEST(Options, OneDeviceMayTakeReportAndPicture)
{
    Options options;
    QString message;
    EXPECT_EQ(
        ParseOptions({"watchwall", "--report", "/dev/null", "--screenshot", "/dev/null"}, options, message),
        EParsed::Run);
}

struct Wrong {
    const char* name;
    QStringList arguments;
    const char* message;  // part of the text
};

class WrongOptions : public testing::TestWithParam<Wrong>
{
};

TEST_P(WrongOptions, AreRefusedWithAMessage)
{
    Options options;
    QString message;
    EXPECT_EQ(ParseOptions(QStringList("watchwall") + GetParam().arguments, options, message), EParsed::Wrong);
    EXPECT_TRUE(message.contains(GetParam().message)) << message.toStdString();
}

INSTANTIATE_TEST_SUITE_P(Host, WrongOptions,
                         testing::Values(Wrong{"unknown", {"--colour"}, "colour"},
                                         Wrong{"value_missing", {"--seconds"}, "seconds"},
                                         Wrong{"not_a_number", {"--seconds", "ten"}, "'ten'"},
                                         Wrong{"negative", {"--seconds=-1"}, "'-1'"},
                                         Wrong{"nothing", {"--seconds", "0"}, "'0'"},
                                         Wrong{"too_long", {"--seconds", "86401"}, "86400"},
                                         Wrong{"no_folder", {"--home", ""}, "--home needs a name"},
                                         Wrong{"no_picture", {"--screenshot", ""}, "--screenshot needs a name"},
                                         Wrong{"no_station", {"--logon", ""}, "--logon needs a name"},
                                         Wrong{"no_report", {"--report="}, "--report needs a name"},
                                         Wrong{"one_file",
                                               {"--report", "no/such/run", "--screenshot", "./no/such/run"},
                                               "--report and --screenshot need two files"},
                                         Wrong{"channel_zero", {"--logon", "1", "--open", "0"}, "not '0'"},
                                         Wrong{"channel_twice", {"--logon", "1", "--open", "2,2"}, "not '2,2'"},
                                         Wrong{"no_channel", {"--logon", "1", "--open", "1,,2"}, "not '1,,2'"},
                                         Wrong{"channels_of_whom", {"--open", "all"}, "--open needs --logon"},
                                         Wrong{"no_cells", {"--layout", "0"}, "not '0'"},
                                         Wrong{"another_profile",
                                               {"--profile", "Classic"},
                                               "--profile takes classic or operator, not 'Classic'"},
                                         Wrong{"no_profile", {"--profile", ""}, "not ''"},
                                         Wrong{"cells_in_words", {"--layout", "nine"}, "not 'nine'"},
                                         Wrong{"positional", {"file"}, "'file'"}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(Options, HelpAndVersionAreTexts)
{
    Options options;
    QString message;
    EXPECT_EQ(ParseOptions({"watchwall", "--help"}, options, message), EParsed::Help);
    for (const char* option : {"--seconds", "--screenshot", "--home", "--module", "--help", "--version",
                               "--logon", "--open", "--layout", "--full-screen", "--report", "--profile"}) {
        EXPECT_TRUE(message.contains(option)) << option;
    }
    EXPECT_EQ(ParseOptions({"watchwall", "--version"}, options, message), EParsed::Version);
    EXPECT_TRUE(message.startsWith("watchwall "));
}

TEST(Options, AreThoseOfTheManual)
{
    Options options;
    QString help;
    ASSERT_EQ(ParseOptions({"watchwall", "--help"}, options, help), EParsed::Help);
    const std::set<std::string> listed = OptionsOfHelp(help.toStdString());
    EXPECT_GT(listed.size(), 10U);
    std::ifstream in(SourcePath("packaging/watchwall.1"));
    const std::string manual{std::istreambuf_iterator<char>(in), {}};
    EXPECT_EQ(OptionsOfManual(manual), listed);
}

}  // namespace
