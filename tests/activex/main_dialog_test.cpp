#include "activex/MainDialog.h"

#include <gmock/gmock.h>

#include <QApplication>
#include <QContextMenuEvent>
#include <QFile>
#include <QPushButton>
#include <QTest>
#include <functional>
#include <optional>
#include <thread>

#include "activex/UI common/NodeTreeModel.h"
#include "activex/UI common/Outlook2Ctrl.h"
#include "activex/UI common/TreeCtrlEx.h"
#include "common/RenderWnd.h"
#include "model/NodeModel.h"
#include "model/settings/GlobalSetting.h"
#include "model/settings/Language.h"
#include "model/tree/Devices.h"
#include "platform/files/profile.h"
#include "platform/os/paths.h"
#include "platform/qt/QtPlatform.h"
#include "remote/Remote.h"
#include "remote/RemoteStation.h"
#include "render/CellPool.h"
#include "render/D3DSurfaceRender.h"
#include "render/device/MemorySurfaceDevice.h"
#include "skin/Skin.h"
#include "tests/activex/home_support.h"
#include "tests/support/box_catcher.h"
#include "tests/support/test_variable.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

std::vector<std::string> g_Calls;
int g_iExit = 0;
std::uint16_t g_usSocketVersion = 0;

// A panel on a machine without sockets, which keeps what its start-up answered.
class CSocketlessPanel : public CMainDialog
{
  public:
    CSocketlessPanel() : CMainDialog(MakeStation, nullptr, Refuse) {}
    std::optional<bool> m_Answer;

  protected:
    bool OnInitDialog() override
    {
        m_Answer = CMainDialog::OnInitDialog();
        return *m_Answer;
    }

  private:
    static int Refuse(std::uint16_t version)
    {
        g_usSocketVersion = version;
        return WSAVERNOTSUPPORTED;
    }
};

class CToldRemote;
std::vector<CToldRemote*> g_Told;  // those alive

class CToldRemote : public CRemote
{
  public:
    CToldRemote(std::string name, std::int32_t status)
    {
        SetName(std::move(name));
        SetStatus(status);
        GetState()->m_bRunning = status != STATUS_CLOSED;
        g_Told.push_back(this);
    }
    ~CToldRemote() override
    {
        std::erase(g_Told, this);
        g_Calls.push_back("deleted " + GetName());
    }
    void LetGo() override
    {
        CRemote::LetGo();
        g_Calls.push_back("let go " + GetName());
        // No thread is woken while another is still to go on.
        for (CToldRemote* const other : g_Told)
            EXPECT_FALSE(other->GetState()->m_bRunning) << other->GetName();
    }
    void Close() override { g_Calls.push_back("close " + GetName()); }
};

class CToldStation : public CRemoteStation
{
  public:
    explicit CToldStation(std::string name) { SetName(std::move(name)); }
    ~CToldStation() override { g_Calls.push_back("deleted " + GetName()); }
};

class MainDialogTest : public testing::Test
{
  protected:
    MainDialogTest()
    {
        StartQtPlatform();
        CLanguage::Reset();
        SetRenderFactory([adapter = m_pAdapter] {
            return std::make_unique<CD3DSurfaceRender>([adapter] { return adapter; });
        });
        m_Container.resize(800, 600);
        g_Calls.clear();
        g_iExit = 0;
    }
    ~MainDialogTest() override
    {
        m_Panel.reset();
        SetRenderFactory({});
        CNodeModel::DestroyInstance();
        CLanguage::Reset();
        QCoreApplication::removePostedEvents(qApp, QEvent::Quit);
        StopQtPlatform();
    }
    CMainDialog& Start()
    {
        m_Panel.emplace(CMainDialog::MakeStation, [](int code) { g_iExit = code; });
        EXPECT_TRUE(m_Panel->Create(&m_Container));
        m_Panel->MoveWindow(0, 0, 800, 600);
        m_Container.show();
        return *m_Panel;
    }
    QByteArray ReadFile(const char* name) const
    {
        QFile file(m_Home.File(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    // In the file, so that it shows whether the start-up moves it.
    void PutLayoutButtonElsewhere() const
    {
        QByteArray layout = ReadFile("config/main_layout_800x600.xml");
        ASSERT_TRUE(layout.contains("<left>660</left><top>6</top>"));
        layout.replace("<left>660</left><top>6</top><right>56</right><bottom>36</bottom>",
                       "<left>300</left><top>40</top><right>9</right><bottom>8</bottom>");
        QFile file(m_Home.File("config/main_layout_800x600.xml"));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(layout);
    }
    void Layout(int index) const
    {
        SendMessageA(m_Panel->Handle(), WM_COMMAND, static_cast<WPARAM>(MAIN_COMMAND_LAYOUT_FIRST + index), 0);
    }
    void LoggedOn(int channels) const { SendMessageA(m_Panel->Handle(), LOGON_MESSAGE_ADDED, 0, channels); }
    QRect PlaceOf(int control) const { return m_Panel->GetDlgItem(control)->geometry(); }
    // A station with a channel of each of these states: 'o' open, 'c' closed.
    static void AddStation(const std::string& name, const std::string& states)
    {
        auto* const station = new CToldStation(name);
        auto* const devices = new CDevices;
        devices->m_bVisible = true;
        for (std::size_t i = 0; i < states.size(); ++i)
            devices->Add(
                new CToldRemote(name + std::to_string(i), states[i] == 'o' ? STATUS_OPEN : STATUS_CLOSED),
                nullptr);
        station->Add(devices, nullptr);
        CNodeModel::GetInstance()->GetRoot()->Add(station, nullptr);
    }

    CTestHome m_Home;
    std::shared_ptr<CMemorySurfaceAdapter> m_pAdapter = std::make_shared<CMemorySurfaceAdapter>();
    QWidget m_Container;
    std::optional<CMainDialog> m_Panel;
};

// ---- start-up

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

TEST_F(MainDialogTest, SideBarKeepsItsStoredWidthAsFarAsItsPlaceGoes)
{
    const struct {
        const char* stored;
        int width;
    } rows[] = {{"150", 150}, {"200", 200}, {"900", 200}, {"-7", 4}, {"3", 4}};
    for (const auto& row : rows) {
        WritePrivateProfileStringA("Settings", "OutbarSize", row.stored, GetApplicationProfilePath().c_str());
        Start();
        EXPECT_EQ(m_Panel->GetSideBar()->width(), row.width) << row.stored;
        EXPECT_EQ(m_Panel->GetLogon().Widget()->isVisible(), row.width > 4) << row.stored;
        if (row.width > 4) {
            EXPECT_EQ(m_Panel->GetSideBar()->GetLayoutSize().width(), row.width) << row.stored;
        }
        m_Panel.reset();
    }
}

TEST_F(MainDialogTest, DragBeyondItsPlaceStoresTheWidthThatIsShown)
{
    Start();
    COutlook2Ctrl* const bar = m_Panel->GetSideBar();
    QTest::mousePress(bar, Qt::LeftButton, {}, {198, 100});
    QTest::mouseRelease(bar, Qt::LeftButton, {}, {460, 100});
    EXPECT_EQ(bar->width(), 200);
    EXPECT_EQ(bar->GetLayoutSize().width(), 200);
    m_Panel.reset();
    EXPECT_EQ(GetPrivateProfileIntA("Settings", "OutbarSize", 0, GetApplicationProfilePath().c_str()), 200);
}

TEST_F(MainDialogTest, KeyboardStartsInTheNetId)
{
    Start();
    m_Container.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&m_Container));
    const QWidget* const address = m_Panel->GetLogon().GetDlgItem(CLogonRemoteDlg::ADDRESS);
    EXPECT_TRUE(address->hasFocus());
}

TEST_F(MainDialogTest, CollapsedSideBarIsDraggedBackAndItsPageComesWithIt)
{
    WritePrivateProfileStringA("Settings", "OutbarSize", "3", GetApplicationProfilePath().c_str());
    Start();
    COutlook2Ctrl* const bar = m_Panel->GetSideBar();
    EXPECT_FALSE(m_Panel->GetLogon().Widget()->isVisible());
    QTest::mousePress(bar, Qt::LeftButton, {}, {2, 100});
    QTest::mouseRelease(bar, Qt::LeftButton, {}, {170, 100});
    EXPECT_EQ(bar->width(), 172);
    EXPECT_TRUE(m_Panel->GetLogon().Widget()->isVisible());
    EXPECT_EQ(m_Panel->GetLogon().Widget()->width(), 168);
}

TEST_F(MainDialogTest, CollapsedSideBarComesBackByKeyboardToo)
{
    WritePrivateProfileStringA("Settings", "OutbarSize", "3", GetApplicationProfilePath().c_str());
    Start();
    COutlook2Ctrl* const bar = m_Panel->GetSideBar();
    m_Container.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&m_Container));
    bar->setFocus();
    for (int i = 0; i < 30; ++i)
        QTest::keyClick(bar, Qt::Key_Right);
    EXPECT_EQ(bar->width(), 200) << "as far as its place goes";
    EXPECT_TRUE(m_Panel->GetLogon().Widget()->isVisible());
    QTest::keyClick(bar, Qt::Key_Left);
    EXPECT_EQ(bar->width(), 190);
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
    EXPECT_EQ(g_usSocketVersion, 0x101);
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

// Settled: the two captions look alike, and only the one beneath the settings button does something.
TEST_F(MainDialogTest, CaptionOfTheLayoutButtonIsALabelAsIntended)
{
    Start();
    const auto state = m_Panel->GetGrid()->GetState();
    QTest::mouseClick(m_Panel->GetDlgItem(MAIN_LABEL_LAYOUT), Qt::LeftButton);
    EXPECT_EQ(QApplication::activePopupWidget(), nullptr);
    EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
    EXPECT_EQ(m_Panel->GetGrid()->GetState().GetLayout(), state.GetLayout());
}

// ---- a station was added

TEST_F(MainDialogTest, LogonWithTwoChannelsGivesTheArrangementForFour)
{
    CMainDialog& panel = Start();
    LoggedOn(2);
    EXPECT_EQ(panel.GetGrid()->GetState().GetRects().size(), 4U);
}

TEST_F(MainDialogTest, LogonWithMoreChannelsThanAnyArrangementUsesTheLast)
{
    CMainDialog& panel = Start();
    LoggedOn(1000);
    EXPECT_EQ(panel.GetGrid()->GetState().GetLayout(), panel.GetGrid()->GetLayoutCount() - 1);
    EXPECT_EQ(panel.GetGrid()->GetState().GetRects().size(), 36U);
    LoggedOn(5);
    EXPECT_EQ(panel.GetGrid()->GetState().GetRects().size(), 6U);
    for (const int odd : {0, -1, -2147483647}) {
        LoggedOn(odd);
        EXPECT_EQ(panel.GetGrid()->GetState().GetRects().size(), 4U) << odd;
    }
}

TEST_F(MainDialogTest, LogonShowsTheDeviceListFilledAnew)
{
    CMainDialog& panel = Start();
    AddStation("gate", "cc");
    const QAbstractItemModel& nodes = *panel.GetTree().GetTree()->model();
    EXPECT_EQ(nodes.rowCount(), 0);
    panel.GetGrid()->hide();
    LoggedOn(2);
    EXPECT_EQ(panel.GetSideBar()->GetSelectedFolder(), 1);
    EXPECT_FALSE(panel.GetSideBar()->IsSliding());
    ASSERT_EQ(nodes.rowCount(), 1);
    EXPECT_EQ(nodes.rowCount(nodes.index(0, 0, nodes.index(0, 0))), 2);
    EXPECT_EQ(panel.GetTree().GetTree()->GetGroundColor(), (Color{0x26, 0x29, 0x2E, 255}));
    EXPECT_TRUE(panel.GetGrid()->isVisible());
}

// ---- devices that change

class ChangingDeviceTest : public MainDialogTest
{
  protected:
    void SetUp() override
    {
        Start();
        AddStation("gate", "c");
        LoggedOn(1);
        m_pDevice = CNodeModel::GetInstance()->FindByName("gate0");
        ASSERT_NE(m_pDevice, nullptr);
        static_cast<CRemote*>(m_pDevice)->SetStatus(STATUS_RECORDING);
    }
    int Icon()
    {
        const QAbstractItemModel& nodes = *m_Panel->GetTree().GetTree()->model();
        const QModelIndex device = nodes.index(0, 0, nodes.index(0, 0, nodes.index(0, 0)));
        return device.data(CNodeTreeModel::STATUS_ROLE).toInt();
    }
    CNode* m_pDevice = nullptr;
};

TEST_F(ChangingDeviceTest, UpdateRefreshesTheIconsBeforeItReturnsWhateverTheText)
{
    m_Panel->Update(m_pDevice, "any");
    EXPECT_EQ(Icon(), 2);
}

TEST_F(ChangingDeviceTest, UpdateWithANullNodeSendsNothing)
{
    m_Panel->Update(nullptr, "IDS_DeviceOpened");
    EXPECT_EQ(Icon(), 0);
}

TEST_F(ChangingDeviceTest, UpdateOfALinkThreadIsServedByThePanelsThread)
{
    std::atomic<bool> through{false};
    std::thread link([&] {
        m_Panel->Update(m_pDevice, "");
        through = true;
    });
    EXPECT_TRUE(QTest::qWaitFor([&] { return through.load(); }));
    link.join();
    EXPECT_EQ(Icon(), 2);
}

TEST_F(ChangingDeviceTest, PanelIsTheObserverOfTheModel)
{
    Notify(m_pDevice, "");
    EXPECT_EQ(Icon(), 2);
}

// ---- layout commands

TEST_F(MainDialogTest, CommandsBelowTheCountSelectThatArrangement)
{
    CMainDialog& panel = Start();
    const int layouts = panel.GetGrid()->GetLayoutCount();
    for (int i = 1; i < layouts; ++i) {
        Layout(i);
        EXPECT_EQ(panel.GetGrid()->GetState().GetLayout(), i);
    }
}

TEST_F(MainDialogTest, CommandsBehindTheArrangementsTurnThePages)
{
    CMainDialog& panel = Start();
    LoggedOn(4);
    const CGridState& state = panel.GetGrid()->GetState();
    const int first = panel.GetGrid()->GetLayoutCount();
    const int last = state.GetLastPage();
    const std::pair<int, int> steps[] = {{3, 1}, {3, 2}, {1, 1}, {0, 0}, {1, last}, {3, 0}, {4, last}, {0, 0}};
    for (const auto& [step, page] : steps) {
        Layout(first + step);
        EXPECT_EQ(state.GetPage(), page) << step;
    }
}

TEST_F(MainDialogTest, PageCycleTwiceStartsTheTimerAndStopsIt)
{
    CMainDialog& panel = Start();
    const int cycle = panel.GetGrid()->GetLayoutCount() + 2;
    for (int i = 0; i < 2; ++i) {
        Layout(cycle);
        EXPECT_TRUE(panel.IsCycling());
        EXPECT_TRUE(panel.GetGrid()->IsCycling());
        Layout(cycle);
        EXPECT_FALSE(panel.IsCycling());
        EXPECT_FALSE(panel.GetGrid()->IsCycling());
    }
}

TEST_F(MainDialogTest, CycleTurnsThePageByItself)
{
    CMainDialog& panel = Start();
    LoggedOn(4);
    CNodeModel::GetInstance()->GetGlobalSetting()->m_iCycleInterval = 0;  // as often as the loop comes round
    Layout(panel.GetGrid()->GetLayoutCount() + 2);
    EXPECT_TRUE(QTest::qWaitFor([&] { return panel.GetGrid()->GetState().GetPage() == 2; }));
}

TEST_F(MainDialogTest, OtherCommandsOfTheRangeDoNothing)
{
    CMainDialog& panel = Start();
    LoggedOn(4);
    const int first = panel.GetGrid()->GetLayoutCount();
    const int layout = panel.GetGrid()->GetState().GetLayout();
    for (const int beyond : {first + 5, first + 6, 1000})
        Layout(beyond);
    EXPECT_EQ(panel.GetGrid()->GetState().GetLayout(), layout);
    EXPECT_EQ(panel.GetGrid()->GetState().GetPage(), 0);
    EXPECT_FALSE(panel.GetGrid()->IsCycling());
}

// Settled: the panel's own flag turns although the locked grid starts no timer.
TEST_F(MainDialogTest, LockedGridIgnoresPageActionsAndRefusesArrangementsWithAMessage)
{
    CBoxCatcher boxes;
    CMainDialog& panel = Start();
    LoggedOn(4);
    panel.GetGrid()->Lock();
    const int first = panel.GetGrid()->GetLayoutCount();
    for (const int step : {0, 1, 2, 3, 4})
        Layout(first + step);
    EXPECT_EQ(panel.GetGrid()->GetState().GetPage(), 0);
    EXPECT_FALSE(panel.GetGrid()->IsCycling());
    EXPECT_TRUE(panel.IsCycling());
    EXPECT_THAT(boxes.m_Texts, IsEmpty());
    const int layout = panel.GetGrid()->GetState().GetLayout();
    Layout(1);
    EXPECT_THAT(boxes.m_Texts, ElementsAre("The screen is locked. Please unlock it first."));
    EXPECT_EQ(panel.GetGrid()->GetState().GetLayout(), layout);
}

// ---- shut-down

TEST_F(MainDialogTest, ShutDownWithoutAStationDeletesTheRootAndNothingElse)
{
    Start();
    CNodeModel* const model = CNodeModel::GetInstance();
    auto* const leaf = new CToldRemote("alone", STATUS_CLOSED);
    model->GetRoot()->Add(leaf, nullptr);
    m_Panel->DestroyWindow();
    EXPECT_THAT(g_Calls, ElementsAre("deleted alone"));
    EXPECT_EQ(CNodeModel::GetInstance(), model) << "the model stays";
    EXPECT_EQ(model->GetRoot()->GetCount(), 0);
}

TEST_F(MainDialogTest, ShutDownLetsAllOpenDevicesGoThenClosesThemThenDeletesTheFirstStationThenTheRest)
{
    Start();
    AddStation("gate", "oc");
    AddStation("yard", "co");
    LoggedOn(4);
    m_Panel->DestroyWindow();
    EXPECT_THAT(g_Calls,
                ElementsAre("let go gate0", "let go yard1", "close gate0", "close yard1", "deleted gate0",
                            "deleted gate1", "deleted gate", "deleted yard", "deleted yard0", "deleted yard1"));
    EXPECT_EQ(m_Panel->GetGrid(), nullptr);
    EXPECT_THAT(GetCells(), IsEmpty());
}

TEST_F(MainDialogTest, PanelMayBeStartedAgain)
{
    Start();
    AddStation("gate", "o");
    m_Panel->DestroyWindow();
    EXPECT_FALSE(m_Panel->DestroyWindow());
    g_Calls.clear();
    ASSERT_TRUE(m_Panel->Create(&m_Container));
    EXPECT_EQ(m_Panel->GetSideBar()->GetFolderCount(), 5);
    EXPECT_EQ(m_Panel->GetTree().GetTree()->model()->rowCount(), 0);
    EXPECT_EQ(m_Panel->GetGrid()->GetState().GetRects().size(), 8U);
}

TEST_F(MainDialogTest, MessagesBeforeTheWindowStandsDoNothing)
{
    CMainDialog panel;
    CFolder node;
    panel.Update(&node, "");
    EXPECT_FALSE(panel.DestroyWindow());
    EXPECT_EQ(panel.GetGrid(), nullptr);
}

}  // namespace
