#include "record/FileNames.h"

#include <gtest/gtest.h>

#include <ctime>
#include <filesystem>
#include <limits>

#include "model/NodeModel.h"
#include "model/settings/GlobalSetting.h"
#include "tests/record/record_support.h"
#include "tests/support/test_variable.h"

namespace
{

TEST(FormatTime, GivesTheLocalFormOfATime)
{
    EXPECT_EQ(FormatTime(ExampleTime(), "%y-%m-%d-%H-%M-%S"), "13-01-15-08-30-05");
    EXPECT_EQ(FormatTime(ExampleTime(), "\\%y-%m-%d\\"), "\\13-01-15\\");
}

TEST(FormatTime, GoesByTheTimeZone)
{
    constexpr std::time_t MIDNIGHT = 1358208000;  // 2013-01-15 00:00:00 UTC
    std::string text;
    {
        const CTestVariable zone("TZ", "EAST-12");
        tzset();
        text = FormatTime(MIDNIGHT, "%y-%m-%d-%H-%M-%S");
    }
    tzset();
    EXPECT_EQ(text, "13-01-15-12-00-00");
}

TEST(FormatTime, IsEmptyWhereThereIsNothingToGive)
{
    EXPECT_EQ(FormatTime(ExampleTime(), nullptr), "");
    EXPECT_EQ(FormatTime(ExampleTime(), ""), "");
    EXPECT_EQ(FormatTime(std::numeric_limits<std::time_t>::max(), "%y"), "");
    EXPECT_EQ(FormatTime(ExampleTime(), std::string(127, 'x').c_str()), std::string(127, 'x'));
    EXPECT_EQ(FormatTime(ExampleTime(), std::string(128, 'x').c_str()), "");
}

struct NameRow {
    std::string name;
    std::string file;
};

class FileName : public testing::TestWithParam<NameRow>
{
};

TEST_P(FileName, IsOneComponentOfAPath)
{
    EXPECT_EQ(MakeFileName(GetParam().name), GetParam().file);
}

INSTANTIATE_TEST_SUITE_P(Names, FileName,
                         testing::Values(NameRow{"cam1", "cam1"}, NameRow{"", ""}, NameRow{".", "_"},
                                         NameRow{"..", "__"}, NameRow{"...", "..."},
                                         NameRow{"..\\..\\x", ".._.._x"}, NameRow{"/etc/passwd", "_etc_passwd"},
                                         NameRow{"100%s%n", "100%s%n"}, NameRow{"it's \"so\"", "it's \"so\""},
                                         NameRow{std::string("a\0b\x1b[2J\n\x7f", 9), "a_b_[2J__"},
                                         NameRow{"\xE5\xA4\xA7\xE5\xA0\x82", "\xE5\xA4\xA7\xE5\xA0\x82"},
                                         NameRow{std::string(300, 'n'), std::string(300, 'n')}));

class SnapshotName : public CRecordTest
{
};

TEST_F(SnapshotName, JoinsFolderNameTimeAndEnding)
{
    CGlobalSetting& setting = *CNodeModel::GetInstance()->GetGlobalSetting();
    setting.m_szPicPath = m_Folder.System("pictures");
    const std::time_t before = std::time(nullptr);
    const std::string name = GetSnapshotFileName("cam/1");
    const std::time_t after = std::time(nullptr);
    bool found = false;
    for (std::time_t time = before; time <= after; ++time)
        found = found || name == m_Folder.System("pictures") + "\\cam_1-" +
                                     FormatTime(time, "%y-%m-%d-%H-%M-%S") + ".jpg";
    EXPECT_TRUE(found) << name;
    EXPECT_TRUE(std::filesystem::is_directory(m_Folder.Path("pictures")));
}

TEST_F(SnapshotName, LiesInSnapshotBesideTheModuleByDefault)
{
    EXPECT_TRUE(GetSnapshotFileName("cam1").starts_with(m_Folder.System("snapshot") + "\\cam1-"));
    EXPECT_TRUE(std::filesystem::is_directory(m_Folder.Path("snapshot")));
}

TEST(LinkRecordName, IsRecordPathNameAndTime)
{
    EXPECT_EQ(GetLinkRecordFileName("d:\\rec", "cam1", ExampleTime()), "d:\\rec\\cam1\\13-01-15-08-30-05.avi");
    EXPECT_EQ(GetLinkRecordFileName("", "..", ExampleTime()), "\\__\\13-01-15-08-30-05.avi");
    EXPECT_EQ(GetLinkRecordFileName("d:\\rec\\", "%d", ExampleTime()), "d:\\rec\\\\%d\\13-01-15-08-30-05.avi");
}

}  // namespace
