#include "model/settings/SystemSettings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>

#include "platform/os/paths.h"
#include "tests/model/model_support.h"
#include "tests/support/test_places.h"

namespace
{

std::string ReadDocument(const char* name)
{
    std::ifstream file(SourcePath(name));
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string KindName(ESettingKind kind)
{
    switch (kind) {
        case ESettingKind::Text:
            return "text";
        case ESettingKind::Number:
            return "number";
        case ESettingKind::Switch:
            return "switch";
    }
    return "";
}

// The part of a document from one heading to the next.
std::string Section(const std::string& text, const std::string& heading, const std::string& next)
{
    const auto begin = text.find(heading);
    if (begin == std::string::npos) return {};
    return text.substr(begin, text.find(next, begin + heading.size()) - begin);
}

std::size_t Count(const std::string& text, const std::string& what)
{
    std::size_t count = 0;
    for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + what.size()))
        ++count;
    return count;
}

// A row that is missing is shown as it has to stand in the document.
TEST(SettingsTable, IsThatOfThePage)
{
    const std::string page = Section(ReadDocument("docs/configuration.md"), "## config\\system.ini", "\n## ");
    ASSERT_FALSE(page.empty());
    for (const SettingKey& key : SETTING_KEYS) {
        const std::string fallback = *key.fallback != '\0' ? "`" + std::string(key.fallback) + "`" : "none";
        const std::string row = std::string("| `") + key.name + "` | " + KindName(key.kind) + " | " + fallback +
                                " | " + key.meaning + " |\n";
        EXPECT_NE(page.find(row), std::string::npos) << row;
    }
    EXPECT_EQ(Count(page, "\n| `"), SETTING_KEYS.size()) << "no row that is no key";
}

TEST(SettingsTable, IsThatOfTheManualPage)
{
    const std::string page = Section(ReadDocument("packaging/watchwall.1"), ".SH SETTINGS\n", "\n.SH ");
    ASSERT_FALSE(page.empty());
    for (const SettingKey& key : SETTING_KEYS) {
        const std::string fallback = *key.fallback != '\0' ? key.fallback : "none";
        const std::string entry = std::string(".TP\n.BR ") + key.name + " \" (" + KindName(key.kind) + ")\"\n" +
                                  key.meaning + "\nDefault: " + fallback + ".\n";
        EXPECT_NE((page + "\n").find(entry), std::string::npos) << entry;
    }
    EXPECT_EQ(Count(page, "\n.TP\n"), SETTING_KEYS.size()) << "no entry that is no key";
}

TEST(SettingsTable, NamesAreDifferentAndTextsHaveABuffer)
{
    for (const SettingKey& key : SETTING_KEYS) {
        const auto same = [&](const SettingKey& other) { return std::string(other.name) == key.name; };
        EXPECT_EQ(std::ranges::count_if(SETTING_KEYS, same), 1) << key.name;
        EXPECT_EQ(key.bytes != 0, key.kind == ESettingKind::Text) << key.name;
    }
}

class SystemSettings : public CModelTest
{
  protected:
    ~SystemSettings() override { AskForProfile(EProfile::Classic); }
    void Write(const std::string& text) const { m_Folder.Write("config/system.ini", text); }
};

TEST_F(SystemSettings, AMissingFileReadsAsTheDefaults)
{
    EXPECT_EQ(ReadSettingText(ESetting::Language), "");
    EXPECT_EQ(ReadSettingText(ESetting::RecordPath), "");
    EXPECT_EQ(ReadSettingText(ESetting::PicturePath), "");
    EXPECT_EQ(ReadSettingNumber(ESetting::Render), 0);
    EXPECT_EQ(ReadSettingText(ESetting::DirectoryServer), "127.0.0.1");
    EXPECT_EQ(ReadSettingPort(ESetting::DirectoryPort), 6800);
    EXPECT_EQ(ReadSettingPort(ESetting::RendezvousPort), 4567);
    EXPECT_FALSE(ReadSettingSwitch(ESetting::SharedReceive));
    EXPECT_FALSE(ReadSettingSwitch(ESetting::StandardChroma));
    EXPECT_EQ(GetProfile(), EProfile::Classic);
}

TEST_F(SystemSettings, RecordsHaveAFolderUnderTheOperatorProfile)
{
    AskForProfile(EProfile::Operator);
    const std::string beside = GetModuleDirectory() + "records";
    EXPECT_EQ(ReadSettingText(ESetting::RecordPath), beside);
    EXPECT_EQ(ReadSettingText(ESetting::PicturePath), "") << "the folder of the snapshots stands behind it";
    Write("[System]\nRecordPath=\n");
    EXPECT_EQ(ReadSettingText(ESetting::RecordPath), beside);
    Write("[System]\nRecordPath=d:\\records\n");
    EXPECT_EQ(ReadSettingText(ESetting::RecordPath), "d:\\records");
    Write("[System]\nProfile=classic\n");
    EXPECT_EQ(ReadSettingText(ESetting::RecordPath), "");
}

TEST_F(SystemSettings, EachReadSeesTheFileAsItIsNow)
{
    Write("[System]\nRender=1\n");
    EXPECT_EQ(ReadSettingNumber(ESetting::Render), 1);
    Write("[System]\nRender=2\nRecordPath=d:\\records\n");
    EXPECT_EQ(ReadSettingNumber(ESetting::Render), 2);
    EXPECT_EQ(ReadSettingText(ESetting::RecordPath), "d:\\records");
    EXPECT_TRUE(WriteSetting(ESetting::RecordPath, "e:\\other"));
    EXPECT_EQ(ReadSettingText(ESetting::RecordPath), "e:\\other");
    EXPECT_EQ(m_Folder.Read("config/system.ini"), "[System]\nRender=2\nRecordPath=e:\\other\n");
}

TEST_F(SystemSettings, TextsAreCutToTheirBuffers)
{
    const std::string text(400, 'x');
    Write("[System]\nLanguage=" + text + "\nRecordPath=" + text + "\nPicturePath=" + text +
          "\nDirectoryServer=" + text + "\n");
    EXPECT_EQ(ReadSettingText(ESetting::Language).size(), 15U);
    EXPECT_EQ(ReadSettingText(ESetting::RecordPath).size(), 259U);
    EXPECT_EQ(ReadSettingText(ESetting::PicturePath).size(), 259U);
    EXPECT_EQ(ReadSettingText(ESetting::DirectoryServer).size(), 255U);
}

TEST_F(SystemSettings, APortThatIsNoneReadsAsTheDefault)
{
    for (const char* const port : {"0", "-1", "65536", "word"}) {
        Write(std::string("[System]\nDirectoryPort=") + port + "\n");
        EXPECT_EQ(ReadSettingPort(ESetting::DirectoryPort), 6800) << port;
    }
    Write("[System]\nDirectoryPort=65535\n");
    EXPECT_EQ(ReadSettingPort(ESetting::DirectoryPort), 65535);
}

struct SwitchCase {
    const char* name;
    EProfile asked;
    const char* text;
    bool on;
};

class SwitchRows : public SystemSettings, public testing::WithParamInterface<SwitchCase>
{
};

TEST_P(SwitchRows, GoByProfileAndKey)
{
    AskForProfile(GetParam().asked);
    Write(GetParam().text);
    EXPECT_EQ(ReadSettingSwitch(ESetting::SharedReceive), GetParam().on);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, SwitchRows,
    testing::Values(
        SwitchCase{"classic", EProfile::Classic, "", false},
        SwitchCase{"operator_asked", EProfile::Operator, "", true},
        SwitchCase{"operator_in_file", EProfile::Classic, "[System]\nProfile=Operator\n", true},
        SwitchCase{"the_file_goes_before", EProfile::Operator, "[System]\nProfile=classic\n", false},
        SwitchCase{"an_unknown_profile_is_classic", EProfile::Operator, "[System]\nProfile=x\n", false},
        SwitchCase{"on_in_system", EProfile::Classic, "[System]\nSharedReceive=1\n", true},
        SwitchCase{"off_in_system", EProfile::Operator, "[System]\nSharedReceive=0\n", false},
        SwitchCase{"on_in_operator", EProfile::Classic, "[Operator]\nSharedReceive=1\n", true},
        SwitchCase{"operator_goes_before_system", EProfile::Operator,
                   "[System]\nSharedReceive=1\n[Operator]\nSharedReceive=0\n", false}),
    [](const auto& row) { return std::string(row.param.name); });

}  // namespace
