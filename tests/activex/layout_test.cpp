// The layout files as the main panel applies them: each test writes its own.

#include <gmock/gmock.h>

#include <QFile>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QWidget>

#include "activex/UI common/Outlook2Ctrl.h"
#include "common/RenderWnd.h"
#include "model/settings/Language.h"
#include "platform/windows/windows.h"
#include "tests/activex/data_support.h"
#include "tests/support/box_catcher.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace
{

constexpr const char* MAIN_FILE = "config/main_layout_800x600.xml";
constexpr const char* RENDER_FILE = "config/render_layout_800x600.xml";

std::string Wnd(const std::string& skin, int slot, const std::string& rect, const std::string& tip = "")
{
    return "<item classname=\"XWnd\"><rect>" + rect + "</rect><resource_id>" + std::to_string(slot) +
           "</resource_id><skin_id>" + skin + "</skin_id><tool_tip>" + tip + "</tool_tip></item>";
}

const std::string AT_10_20 = "<left>10</left><top>20</top><right>100</right><bottom>50</bottom>";

class LayoutTest : public CDataTest
{
  protected:
    void WriteMain(const std::string& items) const
    {
        Write(MAIN_FILE, "<any><m_XMainWnd><list_wnd>" + items + "</list_wnd></m_XMainWnd></any>");
    }
    void WriteRender(const std::string& content) const
    {
        Write(RENDER_FILE, "<any><m_XRenderWnd>" + content + "</m_XRenderWnd></any>");
    }
    int ButtonCount()
    {
        return static_cast<int>(
            Panel().Widget()->findChildren<QPushButton*>(QString(), Qt::FindDirectChildrenOnly).size());
    }
    QRect PlaceOf(int command)
    {
        auto* const button = Panel().GetDlgItem<QPushButton>(command);
        return button != nullptr ? button->geometry() : QRect();
    }
};

TEST_F(LayoutTest, RightIsAWidthAndBottomAHeightAsIntended)
{
    WriteMain(Wnd("ButtonConfig", 18, AT_10_20) + Wnd("_Logo", 1, AT_10_20) + Wnd("Main_Bar", 0, AT_10_20));
    ASSERT_EQ(Start(), S_OK);
    EXPECT_EQ(PlaceOf(6018), QRect(10, 20, 100, 50));
    EXPECT_EQ(Panel().GetDlgItem<QLabel>(275)->geometry(), QRect(10, 20, 100, 50));
    EXPECT_FALSE(Panel().GetDlgItem<QLabel>(275)->pixmap(Qt::ReturnByValue).isNull());
    EXPECT_EQ(Panel().GetDlgItem<COutlook2Ctrl>(19999)->pos(), QPoint(10, 20));
    EXPECT_EQ(Panel().GetDlgItem<COutlook2Ctrl>(19999)->height(), 50);
}

TEST_F(LayoutTest, AButtonWhoseSlotIsTakenIsNotCreatedTwice)
{
    WriteMain(Wnd("ButtonConfig", 18, AT_10_20) +
              Wnd("ButtonConfig", 18, "<left>300</left><top>5</top><right>7</right><bottom>8</bottom>") +
              Wnd("ButtonLayout", 18, "<left>300</left><top>5</top><right>7</right><bottom>8</bottom>"));
    ASSERT_EQ(Start(), S_OK);
    EXPECT_EQ(ButtonCount(), 1);
    EXPECT_EQ(PlaceOf(6018), QRect(10, 20, 100, 50));
}

TEST_F(LayoutTest, SlotsBeyondThe72AndUnknownSkinsAreIgnored)
{
    WriteMain(Wnd("ButtonConfig", 72, AT_10_20) + Wnd("ButtonConfig", -1, AT_10_20) +
              Wnd("ButtonConfig", 2147483647, AT_10_20) + Wnd("buttonconfig", 18, AT_10_20) +
              Wnd("ButtonOther", 19, AT_10_20) + Wnd("", 20, AT_10_20) + "<item/>" +
              Wnd("ButtonLayout", 71, AT_10_20));
    ASSERT_EQ(Start(), S_OK);
    EXPECT_EQ(ButtonCount(), 1);
    EXPECT_EQ(PlaceOf(6071), QRect(10, 20, 100, 50));
}

TEST_F(LayoutTest, AnEmptyListOfArrangementsLeavesTheGridWithNone)
{
    WriteRender(
        "<rect><left>0</left><top>0</top><right>600</right><bottom>540</bottom></rect>"
        "<xfactor>1000</xfactor><yfactor>1000</yfactor><list_subrender/>");
    ASSERT_EQ(Start(), S_OK);
    EXPECT_EQ(Panel().GetGrid()->GetLayoutCount(), 0);
    SendMessageA(Panel().Handle(), WM_COMMAND, 60000, 0);  // now the first of the actions
    SendMessageA(Panel().Handle(), WM_COMMAND, 60003, 0);
    EXPECT_THAT(m_strDebug, testing::Not(HasSubstr("failed")));
}

// The texts of the menu that the panel has up; "-" for a separator.
std::vector<std::string> MenuTexts(std::vector<int>* commands = nullptr)
{
    std::vector<std::string> texts;
    for (QWidget* const window : QApplication::topLevelWidgets()) {
        auto* const menu = qobject_cast<QMenu*>(window);
        if (menu == nullptr || !menu->isVisible()) continue;
        for (const QAction* const action : menu->actions()) {
            texts.push_back(action->isSeparator() ? "-" : action->text().toStdString());
            if (commands != nullptr && !action->isSeparator()) commands->push_back(action->data().toInt());
        }
        menu->close();
    }
    return texts;
}

TEST_F(LayoutTest, OnlyAnEntryOfSlot21HasASeparatorWhichDoesNotCountInTheCommands)
{
    ASSERT_EQ(Start(), S_OK);
    WriteRender("<list_wnd>" + Wnd("a", 1, "", "IDS_OK") + Wnd("b", 21, "", "IDS_Cancel") +
                Wnd("c", 20, "", "IDS_Password") + Wnd("d", 22, "", "IDS_Nowhere") +
                Wnd("e", 21, "", "IDS_Username") + "</list_wnd>");
    std::vector<int> commands;
    SendMessageA(Panel().Handle(), WM_COMMAND, 6025, 0);
    EXPECT_THAT(MenuTexts(&commands),
                ElementsAre(CLanguage::GetString("IDS_OK"), "-", CLanguage::GetString("IDS_Cancel"),
                            CLanguage::GetString("IDS_Password"), "Not found", "-",
                            CLanguage::GetString("IDS_Username")));
    EXPECT_THAT(commands, ElementsAre(60000, 60001, 60002, 60003, 60004));
}

TEST_F(LayoutTest, TheMenuIsReadAfreshOnEachOpening)
{
    ASSERT_EQ(Start(), S_OK);
    for (const char* key : {"IDS_OK", "IDS_Cancel"}) {
        WriteRender("<list_wnd>" + Wnd("a", 1, "", key) + "</list_wnd>");
        SendMessageA(Panel().Handle(), WM_COMMAND, 6025, 0);
        EXPECT_THAT(MenuTexts(), ElementsAre(CLanguage::GetString(key)));
    }
}

TEST_F(LayoutTest, AFileDamagedWhileInUseCostsTheMenuAndIsReported)
{
    CBoxCatcher boxes;
    ASSERT_EQ(Start(), S_OK);
    Write(RENDER_FILE, "<any>\n<m_XRenderWnd>\n");
    SendMessageA(Panel().Handle(), WM_COMMAND, 6025, 0);
    EXPECT_THAT(MenuTexts(), testing::IsEmpty());
    EXPECT_THAT(boxes.m_Texts, ElementsAre(HasSubstr("render_layout_800x600.xml, line 3: ")));
}

struct Harm {
    const char* name;
    const char* file;
    std::string (*harm)(const std::string& text);  // null: the file goes
    const char* told;
};

class HarmedLayoutTest : public LayoutTest, public testing::WithParamInterface<Harm>
{
};

TEST_P(HarmedLayoutTest, IsReportedByNameAndCostsTheControlNothingElse)
{
    const Harm& row = GetParam();
    const std::string whole = Read(row.file);
    std::string harmed;
    if (row.harm != nullptr) {
        harmed = row.harm(whole);
        Write(row.file, harmed);
    } else {
        ASSERT_TRUE(QFile::remove(m_Home.File(row.file)));
    }
    EXPECT_EQ(Start(), E_FAIL);
    EXPECT_EQ(m_pControl->GetControlWindow(), nullptr);
    EXPECT_TRUE(m_Container.children().isEmpty());
    EXPECT_THAT(m_strDebug, HasSubstr(row.told));
    if (row.harm != nullptr) {
        EXPECT_EQ(Read(row.file), harmed) << "the file is the user's";
    }
    Write(row.file, whole);
    EXPECT_EQ(Start(), S_OK) << "and it may be tried again";
}

std::string Half(const std::string& text)
{
    return text.substr(0, text.size() / 2);
}
std::string Nothing(const std::string&)
{
    return {};
}
std::string ZeroByte(const std::string& text)
{
    std::string harmed = text;
    harmed[text.size() / 2] = '\0';
    return harmed;
}
std::string UnknownClass(const std::string& text)
{
    std::string harmed = text;
    return harmed.replace(harmed.find("XWnd\""), 4, "XNew");
}
std::string LongLine(const std::string&)
{
    return "<any>" + std::string(1 << 20, 'x');
}

INSTANTIATE_TEST_SUITE_P(
    Rows, HarmedLayoutTest,
    testing::Values(Harm{"main_missing", MAIN_FILE, nullptr, "cannot open file "},
                    Harm{"main_cut", MAIN_FILE, Half, "main_layout_800x600.xml, line "},
                    Harm{"main_empty", MAIN_FILE, Nothing, "main_layout_800x600.xml"},
                    Harm{"main_zero_byte", MAIN_FILE, ZeroByte, "main_layout_800x600.xml, line "},
                    Harm{"main_long_line", MAIN_FILE, LongLine, "main_layout_800x600.xml, line 1: "},
                    Harm{"main_unknown_class", MAIN_FILE, UnknownClass, "no class named \"XNew\""},
                    Harm{"render_missing", RENDER_FILE, nullptr, "cannot open file "},
                    Harm{"render_cut", RENDER_FILE, Half, "render_layout_800x600.xml, line "},
                    Harm{"render_empty", RENDER_FILE, Nothing, "no element in "},
                    Harm{"render_unknown_class", RENDER_FILE, UnknownClass, "no class named \"XNew\""}),
    [](const auto& row) { return std::string(row.param.name); });

}  // namespace
