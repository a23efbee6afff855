// The other data files that may be damaged: the control starts or says what is wrong, and no file is lost.

#include <gmock/gmock.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLabel>
#include <QTest>
#include <algorithm>

#include "inc/CxLog.h"
#include "model/NodeModel.h"
#include "model/settings/Language.h"
#include "platform/os/paths.h"
#include "platform/os/system_language.h"
#include "platform/windows/windows.h"
#include "tests/activex/data_support.h"

using testing::ContainsRegex;
using testing::HasSubstr;

namespace
{

constexpr const char* SETTINGS = "config/system.ini";

struct Damage {
    const char* name;
    std::string content;
};

std::string Name(const testing::TestParamInfo<Damage>& row)
{
    return row.param.name;
}

class DamagedDatabaseTest : public CDataTest, public testing::WithParamInterface<Damage>
{
};

TEST_P(DamagedDatabaseTest, IsReportedAndLeftAsItIs)
{
    Write("dvr.db", GetParam().content);
    testing::internal::CaptureStderr();
    ASSERT_EQ(Start(), S_OK);
    EXPECT_NE(CNodeModel::GetInstance(), nullptr);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), ContainsRegex("watchwall: .*dvr.db: .*not kept"));
    EXPECT_THAT(m_strDebug, ContainsRegex(" Error NodeModel.cpp.CNodeModel::GetInstance, .*dvr.db: "));
    EXPECT_THAT(m_strDebug, HasSubstr("records are not kept"));
    m_pControl->DestroyControlWindow();
    CNodeModel::DestroyInstance();
    EXPECT_EQ(Read("dvr.db"), GetParam().content);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, DamagedDatabaseTest,
    testing::Values(Damage{"text", "not a database, but somebody's notes\n" + std::string(600, 'x')},
                    Damage{"nul_bytes", std::string(1 << 20, '\0')},
                    Damage{"head_only", std::string("SQLite format 3\0\x10", 17) + std::string(83, '\xFF')},
                    Damage{"short", "x"}, Damage{"long_line", std::string(1 << 20, 'x')}),
    Name);

class DatabaseFolderTest : public CDataTest
{
};

TEST_F(DatabaseFolderTest, WithAFolderInThePlaceOfTheDatabaseThereIsNoModelAndTheControlLivesAndSaysSo)
{
    QDir(m_Home.File("")).mkpath("dvr.db/mine");
    testing::internal::CaptureStderr();
    EXPECT_EQ(Start(), S_OK);
    for (int use = 0; use < 3; ++use)
        EXPECT_EQ(CNodeModel::GetInstance(), nullptr);
    const std::string told = testing::internal::GetCapturedStderr();
    EXPECT_THAT(told, HasSubstr("dvr.db: unable to open database file\n"));
    EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 1) << told;
    EXPECT_THAT(m_strDebug, ContainsRegex(" Error NodeModel.cpp.CNodeModel::GetInstance, .*dvr.db: "));
    for (int folder = 0; folder < 5; ++folder)
        SendMessageA(Panel().Handle(), WM_COMMAND, static_cast<WPARAM>(60000 + folder), 0);
    m_pControl->DestroyControlWindow();
    EXPECT_TRUE(QFileInfo(m_Home.File("dvr.db/mine")).isDir());
}

class DamagedSettingsTest : public CDataTest, public testing::WithParamInterface<Damage>
{
};

TEST_P(DamagedSettingsTest, KeepTheirLinesAndTheLanguageIsWrittenAllTheSame)
{
    Write(SETTINGS, GetParam().content);
    ASSERT_EQ(Start(), S_OK);
    EXPECT_NE(CLanguage::GetString("IDS_OK"), "Not found");
    const std::string language = GetLanguageName(GetSystemDefaultLangID());
    EXPECT_EQ(Read(SETTINGS), GetParam().content + "[System]\nLanguage=" + language + ".ini\n");
}

INSTANTIATE_TEST_SUITE_P(Rows, DamagedSettingsTest,
                         testing::Values(Damage{"empty", ""}, Damage{"no_section", "RecordPath=d:\\records\n"},
                                         Damage{"nul_bytes", std::string("\0\0[System\0]\n\0Language=x\n", 24)},
                                         Damage{"long_line", std::string(1 << 20, 'x') + "\n"},
                                         Damage{"unclosed_section", "[System\nRecordPath=d:\\records\n"}),
                         Name);

class SettingsFolderTest : public CDataTest
{
};

TEST_F(SettingsFolderTest, SettingsThatCantBeWrittenAreReportedAndEveryTextIsNotFound)
{
    QFile::remove(m_Home.File(SETTINGS));
    QDir(m_Home.File("config")).mkpath("system.ini/mine");
    testing::internal::CaptureStderr();
    EXPECT_EQ(Start(), S_OK);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("config\\system.ini not written: "));
    EXPECT_THAT(m_strDebug, ContainsRegex(" Error profile.cpp.*system.ini not written: "));
    EXPECT_EQ(CLanguage::GetString("IDS_OK"), "Not found");
    EXPECT_TRUE(QFileInfo(m_Home.File("config/system.ini/mine")).isDir());
}

class MissingPictureTest : public CDataTest
{
};

TEST_F(MissingPictureTest, WithoutItsLogoTheControlStartsAllTheSame)
{
    Write("config/logo.bmp", "no picture");
    EXPECT_EQ(Start(), S_OK);
    EXPECT_TRUE(Panel().GetDlgItem<QLabel>(CMainDialog::LOGO_CONTROL)->pixmap(Qt::ReturnByValue).isNull());
    EXPECT_EQ(Read("config/logo.bmp"), "no picture");
    EXPECT_THAT(m_strDebug, ContainsRegex(" Warning MainDialog_Start.cpp.CMainDialog::LoadLogo, .*logo.bmp"));
}

class MissingLanguageTest : public CDataTest
{
};

TEST_F(MissingLanguageTest, IsReportedWithItsFilesName)
{
    for (const char* const name : {"config/eng.ini", "config/chs.ini", "config/cht.ini"})
        QFile::remove(m_Home.File(name));
    testing::internal::CaptureStderr();
    EXPECT_EQ(Start(), S_OK);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), ContainsRegex("watchwall: .*[a-z]+.ini is missing"));
    EXPECT_THAT(m_strDebug, ContainsRegex(" Error Language.cpp.CLanguage::Create, .*[a-z]+.ini is missing"));
}

struct FaultyLayout {
    const char* name;
    const char* file;
    bool cut;  // half of the file is there
};

class FaultyLayoutTest : public CDataTest, public testing::WithParamInterface<FaultyLayout>
{
};

TEST_P(FaultyLayoutTest, IsReportedWithItsName)
{
    const std::string whole = Read(GetParam().file);
    QFile::remove(m_Home.File(GetParam().file));
    if (GetParam().cut) Write(GetParam().file, whole.substr(0, whole.size() / 2));
    testing::internal::CaptureStderr();
    EXPECT_TRUE(FAILED(Start()));
    const std::string name = std::string(GetParam().file).substr(std::string("config/").size());
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr(name));
    EXPECT_THAT(m_strDebug, ContainsRegex(" Error ActiveXCtrl.cpp.CActiveXCtrl::OnCreate, .*" + name));
}

INSTANTIATE_TEST_SUITE_P(Rows, FaultyLayoutTest,
                         testing::Values(FaultyLayout{"main_missing", "config/main_layout_800x600.xml", false},
                                         FaultyLayout{"main_cut", "config/main_layout_800x600.xml", true},
                                         FaultyLayout{"render_missing", "config/render_layout_800x600.xml",
                                                      false},
                                         FaultyLayout{"render_cut", "config/render_layout_800x600.xml", true}),
                         [](const auto& row) { return std::string(row.param.name); });

class StartedTest : public CDataTest
{
};

TEST_F(StartedTest, TheLogsFileTellsOfTheStart)
{
    ASSERT_EQ(Start(), S_OK);
    const std::string line = "started in " + GetModuleDirectory() + "\r\n";
    EXPECT_TRUE(QTest::qWaitFor(
        [&] {
            QFile file(QString::fromStdString(CxLog::Instance().GetPath()));
            return file.open(QIODevice::ReadOnly) && file.readAll().contains(QByteArray::fromStdString(line));
        },
        60000));
}

}  // namespace
