#include "host/Options.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

TEST(Options, AreNoneByThemselves)
{
    XOptions options;
    QString message;
    EXPECT_EQ(ParseOptions({"watchwall"}, options, message), PARSED::Run);
    EXPECT_EQ(options.m_iSeconds, 0);
    EXPECT_TRUE(options.m_strHome.isEmpty() && options.m_strModule.isEmpty() &&
                options.m_strScreenshot.isEmpty());
    EXPECT_EQ(options.m_strProfile, "operator");
}

TEST(Options, OfTheProfileAreRead)
{
    for (const char* profile : {"classic", "operator"}) {
        XOptions options;
        QString message;
        EXPECT_EQ(ParseOptions({"watchwall", "--profile", profile}, options, message), PARSED::Run);
        EXPECT_EQ(options.m_strProfile, profile);
    }
}

TEST(Options, AreRead)
{
    XOptions options;
    QString message;
    EXPECT_EQ(
        ParseOptions({"watchwall", "--seconds", "20", "--screenshot=a b.png", "--home", "/h", "--module", "m"},
                     options, message),
        PARSED::Run);
    EXPECT_EQ(options.m_iSeconds, 20);
    EXPECT_EQ(options.m_strScreenshot, "a b.png");
    EXPECT_EQ(options.m_strHome, "/h");
    EXPECT_EQ(options.m_strModule, "m");
}

TEST(Options, OfTheScriptAreRead)
{
    XOptions options;
    QString message;
    EXPECT_EQ(ParseOptions({"watchwall", "--logon", "1001", "--open", "3,1", "--layout", "9", "--full-screen",
                            "--report", "r.json"},
                           options, message),
              PARSED::Run);
    EXPECT_EQ(options.m_strLogon, "1001");
    EXPECT_EQ(options.m_Open, QList<int>({3, 1}));
    EXPECT_FALSE(options.m_bOpenAll);
    EXPECT_EQ(options.m_iLayout, 9);
    EXPECT_TRUE(options.m_bFullScreen);
    EXPECT_EQ(options.m_strReport, "r.json");
    EXPECT_TRUE(options.IsScripted());
    XOptions all;
    EXPECT_EQ(ParseOptions({"watchwall", "--logon", "1", "--open", "all"}, all, message), PARSED::Run);
    EXPECT_TRUE(all.m_bOpenAll);
    EXPECT_TRUE(all.m_Open.isEmpty());
}

struct XWrong {
    const char* szName;
    QStringList arguments;
    const char* szMessage;  // part of what is told
};

class WrongOptions : public testing::TestWithParam<XWrong>
{
};

TEST_P(WrongOptions, AreRefusedWithAMessage)
{
    XOptions options;
    QString message;
    EXPECT_EQ(ParseOptions(QStringList("watchwall") + GetParam().arguments, options, message), PARSED::Wrong);
    EXPECT_TRUE(message.contains(GetParam().szMessage)) << message.toStdString();
}

INSTANTIATE_TEST_SUITE_P(
    Host, WrongOptions,
    testing::Values(
        XWrong{"unknown", {"--colour"}, "colour"}, XWrong{"value_missing", {"--seconds"}, "seconds"},
        XWrong{"not_a_number", {"--seconds", "ten"}, "'ten'"}, XWrong{"negative", {"--seconds=-1"}, "'-1'"},
        XWrong{"nothing", {"--seconds", "0"}, "'0'"}, XWrong{"too_long", {"--seconds", "86401"}, "86400"},
        XWrong{"no_folder", {"--home", ""}, "--home needs a name"},
        XWrong{"no_picture", {"--screenshot", ""}, "--screenshot needs a name"},
        XWrong{"no_station", {"--logon", ""}, "--logon needs a name"},
        XWrong{"no_report", {"--report="}, "--report needs a name"},
        XWrong{"channel_zero", {"--logon", "1", "--open", "0"}, "not '0'"},
        XWrong{"channel_twice", {"--logon", "1", "--open", "2,2"}, "not '2,2'"},
        XWrong{"no_channel", {"--logon", "1", "--open", "1,,2"}, "not '1,,2'"},
        XWrong{"channels_of_whom", {"--open", "all"}, "--open needs --logon"},
        XWrong{"no_cells", {"--layout", "0"}, "not '0'"},
        XWrong{
            "another_profile", {"--profile", "Classic"}, "--profile takes classic or operator, not 'Classic'"},
        XWrong{"no_profile", {"--profile", ""}, "not ''"},
        XWrong{"cells_in_words", {"--layout", "nine"}, "not 'nine'"}, XWrong{"positional", {"file"}, "'file'"}),
    [](const auto& row) { return std::string(row.param.szName); });

TEST(Options, HelpAndVersionAreTexts)
{
    XOptions options;
    QString message;
    EXPECT_EQ(ParseOptions({"watchwall", "--help"}, options, message), PARSED::Help);
    for (const char* option : {"--seconds", "--screenshot", "--home", "--module", "--help", "--version",
                               "--logon", "--open", "--layout", "--full-screen", "--report", "--profile"}) {
        EXPECT_TRUE(message.contains(option)) << option;
    }
    EXPECT_EQ(ParseOptions({"watchwall", "--version"}, options, message), PARSED::Version);
    EXPECT_TRUE(message.startsWith("watchwall "));
}

}  // namespace
