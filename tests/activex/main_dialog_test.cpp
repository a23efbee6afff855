#include <gmock/gmock.h>

#include <QContextMenuEvent>
#include <QTest>
#include <functional>

#include "activex/UI common/Outlook2Ctrl.h"
#include "activex/UI common/TreeCtrlEx.h"
#include "common/RenderWnd.h"
#include "platform/os/paths.h"
#include "render/CellPool.h"
#include "skin/Skin.h"
#include "tests/activex/main_dialog_support.h"
#include "tests/support/box_catcher.h"
#include "tests/support/test_variable.h"

using testing::ElementsAre;

namespace
{

TEST_F(MainDialogTest, LanguageOfTheSystemIsWrittenAtEachStart)
{
    const struct {
        const char* locale;
        const char* file;
        const char* folder;
        const char* button;  // of a message box
    } rows[] = {{"zh_CN.UTF-8", "chs.ini", "远程登录", "确定"},
                {"zh_TW.UTF-8", "cht.ini", "遠端登入", "確定"},
                {"zh_HK.UTF-8", "cht.ini", "遠端登入", "確定"},
                {"en_US.UTF-8", "eng.ini", "Remote logon", "OK"},
                {"de_DE.UTF-8", "eng.ini", "Remote logon", "OK"}};
    for (const auto& row : rows) {
        const CTestVariable locale("LC_ALL", row.locale);
        CLanguage::Reset();
        Start();
        EXPECT_TRUE(ReadFile("config/system.ini").contains(row.file)) << row.locale;
        EXPECT_EQ(CLanguage::GetString("IDS_Main_RemoteLogon"), row.folder) << row.locale;
        EXPECT_EQ(GetButtonText(IDOK), row.button) << row.locale;
        m_Panel.reset();
    }
}

TEST_F(MainDialogTest, LayoutButtonIsMovedBesideTheOtherAndTheCaptionsBelow)
{
    PutLayoutButtonElsewhere();
    Start();
    EXPECT_EQ(PlaceOf(6018), QRect(736, 6, 56, 36));
    EXPECT_EQ(PlaceOf(6025), QRect(660, 6, 56, 36)) << "wherever the file puts it";
    EXPECT_EQ(PlaceOf(6061), QRect(734, 42, 60, 15));
    EXPECT_EQ(PlaceOf(62), QRect(658, 42, 60, 15));
    EXPECT_EQ(m_Panel->GetDlgItemText(6061), "Settings");
    EXPECT_EQ(m_Panel->GetDlgItemText(62), "Layout");
}

TEST_F(MainDialogTest, GroundIsPaleGreyWhereNothingStands)
{
    Start();
    QWidget& panel = *m_Panel->Widget();
    const QImage shown = panel.grab().toImage();
    int free = 0;
    for (int y = 5; y < panel.height(); y += 10) {
        for (int x = 5; x < panel.width(); x += 10) {
            if (panel.childAt(x, y) != nullptr) continue;
            ++free;
            ASSERT_EQ(shown.pixelColor(x, y), QColor(0xC5, 0xC5, 0xC5)) << x << " " << y;
        }
    }
    EXPECT_GT(free, 10);
}

TEST_F(MainDialogTest, SideBarHasItsFiveFoldersInOrder)
{
    CMainDialog& panel = Start();
    const COutlook2Ctrl& bar = *panel.GetSideBar();
    ASSERT_EQ(bar.GetFolderCount(), 5);
    EXPECT_EQ(bar.GetSelectedFolder(), 0) << "the logon is the first step";
    EXPECT_TRUE(panel.GetLogon().Widget()->isVisible());
    EXPECT_EQ(panel.GetLogon().Widget()->parentWidget(), panel.GetTree().Widget()->parentWidget());
    std::vector<std::string> names;
    std::vector<QImage> icons;
    for (int i = 0; i < bar.GetFolderCount(); ++i) {
        names.push_back(bar.GetFolder(i).m_strName.toStdString());
        icons.push_back(bar.GetFolder(i).m_Icon.pixmap(16, 16).toImage());
        EXPECT_FALSE(icons.back().isNull()) << i;
        for (int j = 0; j < i; ++j)
            EXPECT_NE(icons[static_cast<std::size_t>(j)], icons.back()) << i << " " << j;
    }
    EXPECT_THAT(names,
                ElementsAre("Remote logon", "Device list", "PTZ control", "Remote records", "Colour settings"));
    EXPECT_TRUE(panel.GetSideBar()->isAncestorOf(panel.GetTree().Widget()));
}

TEST_F(MainDialogTest, KeyboardStartsInTheNetId)
{
    Start();
    m_Container.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&m_Container));
    const QWidget* const address = m_Panel->GetLogon().GetDlgItem(CLogonRemoteDlg::ADDRESS);
    EXPECT_TRUE(address->hasFocus());
}

TEST_F(MainDialogTest, PanelsAndTheirControlsBearTheirElementsOfTheSkin)
{
    const char module = 0;
    ASSERT_NE(StartSkin(&module, 0, 0), 0);
    ASSERT_NE(LoadSkin(GetModuleDirectory() + "config\\skin.smf"), 0);
    Start();
    QCoreApplication::processEvents();
    const auto element = [](const QWidget* widget) {
        return widget != nullptr ? widget->property("_watchwall_skin_element").toString().toStdString() : "";
    };
    for (QWidget* const panel : {m_Panel->Widget(), m_Panel->GetLogon().Widget(), m_Panel->GetTree().Widget()})
        EXPECT_NE(panel->style(), QApplication::style()) << "DialogMain";
    EXPECT_EQ(element(m_Panel->GetDlgItem(6018)), "ButtonConfig");
    EXPECT_EQ(element(m_Panel->GetDlgItem(6025)), "ButtonLayout");
    EXPECT_EQ(element(m_Panel->GetDlgItem(6061)), "ButtonText");
    EXPECT_EQ(element(m_Panel->GetDlgItem(62)), "ButtonText");
    for (int label = 1000; label <= 1004; ++label)
        EXPECT_EQ(element(m_Panel->GetLogon().GetDlgItem(label)), "ButtonStatic") << label;
    EXPECT_NE(m_Panel->GetGrid()->palette().color(QPalette::Window),
              m_Panel->Widget()->palette().color(QPalette::Window))
        << "DialogRender";

    AddStation("gate", "c");
    LoggedOn(1);
    CTreeCtrlEx& tree = *m_Panel->GetTree().GetTree();
    tree.setCurrentIndex(tree.model()->index(0, 0));
    const std::function<void()> openers[] = {
        [&] { SendMessageA(m_Panel->Handle(), WM_COMMAND, MAIN_COMMAND_LAYOUT_MENU, 0); },
        [&] {
            QContextMenuEvent event(QContextMenuEvent::Keyboard, {}, {});
            QApplication::sendEvent(tree.viewport(), &event);
        },
        [&] {
            SendMessageA(m_Panel->GetGrid()->Handle(), GRID_MESSAGE_SELECT,
                         static_cast<WPARAM>(GetCells().front().m_hWnd), GRID_BUTTON_RIGHT);
        }};
    for (const auto& open : openers) {
        open();
        QWidget* const menu = QApplication::activePopupWidget();
        ASSERT_NE(menu, nullptr);
        EXPECT_EQ(menu->style(), m_Panel->Widget()->style());
        menu->close();
    }
    m_Panel.reset();
    StopSkin();
}

TEST_F(MainDialogTest, GridStartsWithTheArrangementForEight)
{
    CMainDialog& panel = Start();
    EXPECT_EQ(panel.GetGrid()->GetState().GetRects().size(), 8U);
    EXPECT_TRUE(panel.GetGrid()->isVisible());
    EXPECT_EQ(panel.GetGrid()->geometry(), QRect(200, 60, 600, 540));
    EXPECT_EQ(g_iExit, 0);
    EXPECT_FALSE(panel.IsCycling());
}

TEST_F(MainDialogTest, GridThatCannotBeBuiltEndsTheProcessWithMinusOne)
{
    CBoxCatcher boxes;
    m_pAdapter->SetFault(EDeviceStep::CreateDevice, true, EDeviceResult::NotAvailable);
    Start();
    EXPECT_EQ(g_iExit, -1);
    EXPECT_THAT(boxes.m_Texts, ElementsAre("CreateDevice failed: Not Available"));
}

// The start-up ends in the middle: what comes before the sockets stands, the rest never comes.
TEST_F(MainDialogTest, WithoutSocketsTheGridStandsAndNoPanelOfTheSideBarDoes)
{
    PutLayoutButtonElsewhere();
    CSocketlessPanel panel;
    ASSERT_TRUE(panel.Create(&m_Container));
    EXPECT_EQ(panel.m_Answer, false);
    EXPECT_EQ(g_SocketVersion, 0x101);
    ASSERT_NE(panel.GetGrid(), nullptr);
    EXPECT_EQ(panel.GetGrid()->GetState().GetLayout(), 1) << "no arrangement was chosen";
    ASSERT_NE(panel.GetSideBar(), nullptr);
    EXPECT_EQ(panel.GetSideBar()->GetFolderCount(), 0);
    EXPECT_EQ(panel.GetLogon().Widget(), nullptr);
    EXPECT_EQ(panel.GetTree().Widget(), nullptr);
    EXPECT_NE(panel.GetDlgItem(MAIN_COMMAND_CONFIG), nullptr);
    ASSERT_NE(panel.GetDlgItem(MAIN_COMMAND_LAYOUT_MENU), nullptr);
    EXPECT_EQ(panel.GetDlgItem(MAIN_COMMAND_LAYOUT_MENU)->geometry(), QRect(300, 40, 9, 8))
        << "where the file puts it";
    EXPECT_EQ(panel.GetDlgItem(MAIN_COMMAND_CONFIG_CAPTION), nullptr);
    EXPECT_EQ(panel.GetDlgItem(MAIN_LABEL_LAYOUT), nullptr);
}

TEST_F(MainDialogTest, WithoutSocketsThePanelBearsItsMessagesAndItsEnd)
{
    ASSERT_EQ(WSAStartup(0x101), 0);
    CSocketlessPanel panel;
    ASSERT_TRUE(panel.Create(&m_Container));
    AddStation("gate", "c");
    panel.Update(CNodeModel::GetInstance()->FindByName("gate0"), "");
    SendMessageA(panel.Handle(), LOGON_MESSAGE_ADDED, 0, 9);
    EXPECT_EQ(panel.GetGrid()->GetState().GetRects().size(), 9U);
    EXPECT_TRUE(panel.DestroyWindow());
    EXPECT_THAT(g_Calls, ElementsAre("deleted gate0", "deleted gate"));
    EXPECT_EQ(WSACleanup(), 0) << "the panel ends no start that it has not made";
}

// oddity: caption-without-handler. The two captions look the same, and only the one beneath the settings button
// does something.
TEST_F(MainDialogTest, CaptionOfTheLayoutButtonIsALabelAsIntended)
{
    Start();
    const auto state = m_Panel->GetGrid()->GetState();
    QTest::mouseClick(m_Panel->GetDlgItem(MAIN_LABEL_LAYOUT), Qt::LeftButton);
    EXPECT_EQ(QApplication::activePopupWidget(), nullptr);
    EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
    EXPECT_EQ(m_Panel->GetGrid()->GetState().GetLayout(), state.GetLayout());
}

}  // namespace
