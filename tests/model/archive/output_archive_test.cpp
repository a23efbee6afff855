#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "model/archive/XMLInputArchive.h"
#include "model/archive/XMLOutputArchive.h"
#include "model/layout/LayoutRecords.h"
#include "model/settings/GlobalSetting.h"
#include "model/settings/SettingLeaves.h"
#include "model/tree/Devices.h"
#include "model/tree/Leaf.h"
#include "tests/model/model_support.h"

// Outside of the namespace below, whose name would stand in the class's.
class CUnregistered : public CLeaf
{
};

namespace
{

using testing::HasSubstr;
using testing::ThrowsMessage;
using namespace std::string_literals;

template <class T>
std::string Write(T value)
{
    XMLOutputArchive archive;
    archive& Named("v", value);
    return archive.GetText();
}

// What a field of the value `before` is after `value` was written and read back.
template <class T>
T RoundTrip(T value, T before)
{
    XMLOutputArchive out;
    out& Named("v", value);
    XMLInputArchive in(out.GetText(), "test");
    in& Named("v", before);
    return before;
}

TEST(OutputArchive, BeginsWithTheRootConfig)
{
    EXPECT_EQ(XMLOutputArchive().GetText(), "<config/>\n\n");
}

TEST(OutputArchive, WritesEachKindInItsForm)
{
    EXPECT_THAT(Write<std::int32_t>(-5), HasSubstr("<v>-5</v>"));
    EXPECT_THAT(Write<std::uint32_t>(4294967295), HasSubstr("<v>4294967295</v>"));
    EXPECT_THAT(Write<std::int64_t>(5000000000), HasSubstr("<v>5000000000</v>"));
    EXPECT_THAT(Write(true), HasSubstr("<v>True</v>"));
    EXPECT_THAT(Write(false), HasSubstr("<v>False</v>"));
    EXPECT_THAT(Write("a < b"s), HasSubstr("<v>a &lt; b</v>"));
    EXPECT_THAT(Write(std::bitset<26>(5)), HasSubstr("<v>00000000000000000000000101</v>"));
    EXPECT_THAT(Write(XRect{1, 2, 3, 4}), HasSubstr("<left>1</left>"));
}

TEST(OutputArchive, WhatIsWrittenIsReadBack)
{
    EXPECT_EQ(RoundTrip<std::int32_t>(-2147483647 - 1, 0), -2147483647 - 1);
    EXPECT_EQ(RoundTrip<std::uint32_t>(4294967295, 0), 4294967295);
    EXPECT_EQ(RoundTrip<std::int64_t>(5000000000, 0), 5000000000);
    EXPECT_TRUE(RoundTrip(true, false));
    EXPECT_FALSE(RoundTrip(false, true));
    EXPECT_EQ(RoundTrip(" <&>\"' \n\xE9\x80\x9A "s, ""s), " <&>\"' \n\xE9\x80\x9A ");
    EXPECT_EQ(RoundTrip(std::bitset<26>(0x2AAAAAA), {}), std::bitset<26>(0x2AAAAAA));
    EXPECT_EQ(RoundTrip(std::vector<std::int32_t>{1, -2, 3}, {9}), (std::vector<std::int32_t>{1, -2, 3}));
    EXPECT_EQ(RoundTrip(XRect{1, 2, 3, 4}, {}), (XRect{1, 2, 3, 4}));
}

TEST(OutputArchive, AnEmptyTextIsReadBackAsNoChange)
{
    EXPECT_EQ(RoundTrip(""s, "before"s), "before");
}

TEST(OutputArchive, WritesAListByTheRunTimeClassOfItsObjects)
{
    CFolder root;
    AddChild<CDevices>(root, "d");
    AddChild<CLogSetting>(root, "l");
    XMLOutputArchive archive;
    archive& Named("tree", root);
    EXPECT_EQ(archive.GetText(), R"(<config>
	<tree>
		<m_strNodeName>Unknown</m_strNodeName>
		<m_list>
			<item classname="CDevices">
				<m_strNodeName>d</m_strNodeName>
				<m_list/>
			</item>
			<item classname="CLogSetting">
				<m_strNodeName>l</m_strNodeName>
			</item>
		</m_list>
	</tree>
</config>

)");
}

TEST(OutputArchive, KeepsNullEntries)
{
    COwnedList<XRect> list;
    list.Append(nullptr);
    list.Append(std::make_unique<XRect>(XRect{1, 0, 0, 0}));
    XMLOutputArchive out;
    out& Named("v", list);
    COwnedList<XRect> read;
    XMLInputArchive in(out.GetText(), "test");
    in& Named("v", read);
    ASSERT_EQ(read.size(), 2u);
    EXPECT_EQ(read[0], nullptr);
    EXPECT_EQ(read[1]->left, 1);
}

TEST(OutputArchive, AnUnregisteredClassThrowsAndIsNamed)
{
    CFolder root;
    AddChild<CUnregistered>(root, "x");
    XMLOutputArchive archive;
    EXPECT_THAT([&] { archive& Named("v", root); },
                ThrowsMessage<std::runtime_error>(HasSubstr("CUnregistered\" to write")));
}

TEST(OutputArchive, SavesAndLoadsAFile)
{
    const CTestFolder folder;
    XMainWnd record;
    auto wnd = std::make_unique<XWnd>();
    wnd->skin_id = "Main_Bar";
    wnd->rect = {0, 60, 200, 540};
    record.list_wnd.Append(std::move(wnd));
    XMLOutputArchive out;
    out& Named("m_XMainWnd", record);
    ASSERT_TRUE(out.Save(folder.System("main.xml")));
    XMainWnd loaded;
    XMLInputArchive in(folder.System("main.xml"));
    in& Named("m_XMainWnd", loaded);
    ASSERT_EQ(loaded.list_wnd.size(), 1u);
    EXPECT_EQ(loaded.list_wnd[0]->rect, record.list_wnd[0]->rect);
    EXPECT_EQ(loaded.list_wnd[0]->skin_id, "Main_Bar");
}

TEST(OutputArchive, SaveTellsWhenTheFileCannotBeWritten)
{
    const CTestFolder folder;
    EXPECT_FALSE(XMLOutputArchive().Save(folder.System("no\\such\\folder.xml")));
}

TEST(OutputArchive, TheSettingsChainHasTheFormatsOrderNotTheRecords)
{
    CGlobalSetting setting;
    XMLOutputArchive archive;
    archive& Named("s", setting);
    const std::string text = archive.GetText();
    std::size_t at = 0;
    for (const char* name :
         {"m_strNodeName", "m_list", "m_szAccount", "m_szDDNS", "m_ulCtrlPort", "m_ulDataPort", "m_ulHttpPort",
          "m_bsStorageDrive", "m_limitDiskSpace", "m_iHdfAction", "m_bSoundAlarm", "m_iCycleInterval",
          "m_iDisplayMode", "m_bAutoRun", "m_bAutoShutdown", "m_bAutoLogon", "m_bMinimizeToTray",
          "m_iPackInterval", "m_szPicPath"}) {
        const std::size_t found = text.find("<"s + name);
        ASSERT_NE(found, std::string::npos) << name;
        EXPECT_GT(found, at) << name;
        at = found;
    }
}

TEST(OutputArchive, TheSettingsAreReadBackEachUnderItsOwnName)
{
    CGlobalSetting setting;
    setting.m_szDDNS = "host";
    setting.m_ulCtrlPort = 1;
    setting.m_ulDataPort = 2;
    setting.m_ulHttpPort = 3;
    setting.m_bsStorageDrive.set(3);
    setting.m_limitDiskSpace = 4;
    setting.m_iHdfAction = 5;
    setting.m_bSoundAlarm = true;
    setting.m_iCycleInterval = 6;
    setting.m_iDisplayMode = 7;
    setting.m_bAutoRun = true;
    setting.m_bMinimizeToTray = true;
    setting.m_iPackInterval = 8;
    setting.m_szAccount = "guest";
    setting.m_szPicPath = "d:\\pictures";
    AddChild<CLogSetting>(setting, "log");
    XMLOutputArchive out;
    out& Named("s", setting);
    const std::string text = out.GetText();
    for (const char* element :
         {"<m_szDDNS>host<", "<m_ulCtrlPort>1<", "<m_ulDataPort>2<", "<m_ulHttpPort>3<",
          "<m_bsStorageDrive>00000000000000000000001000<", "<m_limitDiskSpace>4<", "<m_iHdfAction>5<",
          "<m_bSoundAlarm>True<", "<m_iCycleInterval>6<", "<m_iDisplayMode>7<", "<m_bAutoRun>True<",
          "<m_bAutoShutdown>False<", "<m_bAutoLogon>False<", "<m_bMinimizeToTray>True<", "<m_iPackInterval>8<",
          "<m_szAccount>guest<", "<m_szPicPath>d:\\pictures<"}) {
        EXPECT_THAT(text, HasSubstr(element));
    }
    CGlobalSetting read;
    XMLInputArchive in(text, "test");
    in& Named("s", read);
    XMLOutputArchive again;
    again& Named("s", read);
    EXPECT_EQ(again.GetText(), text);
    EXPECT_EQ(read.m_ulDataPort, 2u);
    EXPECT_EQ(read.GetCount(), 1);
}

}  // namespace
