#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "model/archive/XMLInputArchive.h"
#include "model/layout/LayoutRecords.h"
#include "platform/files/profile.h"
#include "platform/os/paths.h"
#include "tests/support/test_places.h"

namespace
{

using namespace std::string_literals;

// The keys that the system asks for, "MessgaeBOx" included: it is spelt so in code and files.
constexpr std::string_view KEYS = R"(
IDS_CONFIG_TEXT IDS_Client_Layout_Text IDS_Main_ColorSetting IDS_Main_DeviceList IDS_Main_PTZControl
IDS_Main_RemoteLogon IDS_Main_RemoteRecord IDS_Main_VideoWall IDS_GlobalSetting IDS_StorageSetting IDS_NetworkSetting IDS_SystemSetting
IDS_LogSetting IDS_Camera IDS_Card IDS_RemoteDevice IDS_DeviceOpened IDS_DeviceClosed IDS_NoDirectX9
IDS_NoDisplayDriver IDS_FullScreen IDS_QuitFullScreen IDS_Snapshot IDS_MainDlg_UnlockFirst IDS_NoStoragePath
IDS_RecordStarted IDS_RecordStopped IDS_CalendarTip IDS_Main_DevIDText IDS_Main_Find IDS_Main_NoLogonRemote
IDS_Main_RecordType1 IDS_Main_RecordType2 IDS_Main_RecordType3 IDS_Main_RecordType4 IDS_Main_RecordTypeText
IDS_Main_RemoteIDText IDS_Main_SelectDataText IDS_Main_TimeEndText IDS_Main_TimeStartText IDS_NoLogonRemote
IDS_NonSupportOrNoRecord IDS_Device_Close IDS_Device_Close_All IDS_Device_Open IDS_Device_Open_All
IDS_Device_Snapshot_All IDS_Device_StartRecord IDS_Device_StartRecord_All IDS_Device_StopRecord
IDS_Device_StopRecord_All IDS_Folder_Delete IDS_Folder_ReName IDS_IE_LogonRemoteDlg IDS_LogonDlg_Busy IDS_LogonDlg_CtrlPort
IDS_LogonDlg_DataPort IDS_LogonDlg_Mode IDS_LogonDlg_NetAddress IDS_LogonRemoteDlg IDS_MessageBox_ConnectFailed
IDS_MessageBox_NoDeviceInformation IDS_MessageBox_WrongUserName IDS_MessgaeBOx_ItemAlreadyExist IDS_Password
IDS_Username IDS_PTZConfig_Focus IDS_PTZConfig_Iris IDS_PTZConfig_Zoom IDS_ColorConfig_Bright
IDS_ColorConfig_Contrast IDS_ColorConfig_Hue IDS_ColorConfig_Saturation IDS_ToolTip_ColorSetting_Text IDS_Cancel
IDS_ChooseDirForStoreRecord_Text IDS_ChooseDirForStoreSnapshot_Text IDS_MessageBox_DirSetOk
IDS_MessageBox_PleaseCheckDir IDS_OK)";

const std::string CONFIG = SourcePath("config/");

std::vector<std::string> RequiredKeys()
{
    std::istringstream stream{std::string(KEYS)};
    return {std::istream_iterator<std::string>(stream), {}};
}

std::string ReadFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::string> KeysOf(const std::string& language)
{
    std::string names(65536, '\0');
    const std::string path = CONFIG + language + ".ini";
    const auto size = static_cast<std::uint32_t>(names.size());
    names.resize(GetPrivateProfileStringA("String", nullptr, "", names.data(), size, path.c_str()));
    std::vector<std::string> keys;
    std::istringstream stream(names);
    for (std::string key; std::getline(stream, key, '\0');)
        keys.push_back(key);
    return keys;
}

std::string TextOf(const std::string& language, const std::string& key)
{
    return GetProfileText("String", key.c_str(), "Not found", 1024, CONFIG + language + ".ini");
}

// The conversions of a format, in order: "%d%s"; each has two characters. None of the texts needs a percent
// sign of its own.
std::string FormatOf(const std::string& text)
{
    std::string format;
    for (std::size_t at = text.find('%'); at != std::string::npos; at = text.find('%', at + 1)) {
        format += text.substr(at, 2);
    }
    return format;
}

// The keys that stand as literals in the sources.
std::set<std::string> KeysInTheSources()
{
    static const std::regex pattern("\"(IDS_\\w+)\"");
    std::set<std::string> keys;
    for (const char* folder : {"activex", "common", "model", "record", "remote", "render", "skin"}) {
        const std::filesystem::path place = std::filesystem::path(SourcePath()) / folder;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(place)) {
            const auto extension = entry.path().extension();
            if (extension != ".cpp" && extension != ".h") continue;
            const std::string text = ReadFile(entry.path());
            for (auto at = std::sregex_iterator(text.begin(), text.end(), pattern);
                 at != std::sregex_iterator(); ++at) {
                keys.insert((*at)[1]);
            }
        }
    }
    return keys;
}

class LanguageFile : public testing::TestWithParam<const char*>
{
};

TEST_P(LanguageFile, LacksNoKey)
{
    const auto keys = KeysOf(GetParam());
    for (const std::string& key : RequiredKeys())
        EXPECT_THAT(keys, testing::Contains(key));
}

TEST_P(LanguageFile, LacksNoKeyThatTheSourcesName)
{
    const std::set<std::string> named = KeysInTheSources();
    EXPECT_GT(named.size(), 30U);
    const auto keys = KeysOf(GetParam());
    for (const std::string& key : named)
        EXPECT_THAT(keys, testing::Contains(key));
}

TEST_P(LanguageFile, HoldsEachKeyOnceAndAllBeginAlike)
{
    const auto keys = KeysOf(GetParam());
    EXPECT_EQ(std::set(keys.begin(), keys.end()).size(), keys.size());
    for (const std::string& key : keys)
        EXPECT_TRUE(key.starts_with("IDS_")) << key;
}

TEST_P(LanguageFile, HoldsTheSameKeysAsTheEnglishOneInTheSameOrder)
{
    EXPECT_EQ(KeysOf(GetParam()), KeysOf("eng"));
}

TEST_P(LanguageFile, HasATextThatIsNotCutForEachKey)
{
    for (const std::string& key : KeysOf(GetParam())) {
        const std::string text = TextOf(GetParam(), key);
        EXPECT_FALSE(text.empty()) << key;
        EXPECT_NE(text, "Not found") << key;
        EXPECT_LT(text.size(), 1000u) << key;
    }
}

// Two texts are formats; every other goes through as it is and must hold no conversion.
std::string ExpectedFormat(const std::string& key)
{
    if (key == "IDS_RemoteDevice") return "%d";   // the channel's number
    if (key == "IDS_LogonDlg_Busy") return "%1";  // the station's address
    return "";
}

TEST_P(LanguageFile, HasTheConversionsThatTheCodeFillsAndNoOthers)
{
    for (const std::string& key : KeysOf(GetParam())) {
        EXPECT_EQ(FormatOf(TextOf(GetParam(), key)), ExpectedFormat(key)) << key;
    }
}

// Devices' names become folders and files of recordings and snapshots.
TEST_P(LanguageFile, NamesDevicesWithoutCharactersThatPathsForbid)
{
    for (const char* key : {"IDS_RemoteDevice", "IDS_Camera"}) {
        EXPECT_EQ(TextOf(GetParam(), key).find_first_of("\\/:*?\"<>|"), std::string::npos) << key;
    }
}

TEST_P(LanguageFile, IsUtf8WithoutAMark)
{
    const std::string text = ReadFile(CONFIG + GetParam() + ".ini");
    ASSERT_FALSE(text.empty());
    EXPECT_FALSE(text.starts_with("\xEF\xBB\xBF"));
    for (std::size_t i = 0; i < text.size();) {
        const auto lead = static_cast<unsigned char>(text[i]);
        const int more = lead < 0x80 ? 0 : lead >> 5 == 6 ? 1 : lead >> 4 == 14 ? 2 : lead >> 3 == 30 ? 3 : -1;
        ASSERT_GE(more, 0) << "at byte " << i;
        for (int j = 1; j <= more; ++j)
            ASSERT_EQ(text.at(i + static_cast<std::size_t>(j)) & 0xC0, 0x80) << "at byte " << i;
        i += static_cast<std::size_t>(more) + 1;
    }
}

TEST_P(LanguageFile, HasATextForEveryToolTipOfTheLayouts)
{
    XMainWnd main;
    XRenderWnd render;
    XMLInputArchive mainFile(SystemPath(CONFIG + "main_layout_800x600.xml"));
    mainFile& Named("m_XMainWnd", main);
    XMLInputArchive renderFile(SystemPath(CONFIG + "render_layout_800x600.xml"));
    renderFile& Named("m_XRenderWnd", render);
    const auto keys = KeysOf(GetParam());
    for (const auto* list : {&main.list_wnd, &render.list_wnd}) {
        for (std::size_t i = 0; i < list->size(); ++i) {
            const std::string& key = (*list)[i]->tool_tip;
            EXPECT_TRUE(key.empty() || std::ranges::count(keys, key) == 1) << key;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, LanguageFile, testing::Values("chs", "cht", "eng"),
                         [](const auto& test) { return std::string(test.param); });

}  // namespace
