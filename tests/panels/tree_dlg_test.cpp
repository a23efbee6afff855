#include "activex/UI common/TreeDlg.h"

#include <gmock/gmock.h>

#include <QApplication>
#include <QLineEdit>
#include <QMenu>
#include <QTemporaryDir>
#include <QTest>
#include <optional>

#include "activex/UI common/TreeCtrlEx.h"
#include "model/Devices.h"
#include "model/NodeModel.h"
#include "platform/paths.h"
#include "platform/qt/QtPlatform.h"
#include "remote/RemoteStation.h"
#include "remote/TcpRemote.h"
#include "render/CellPool.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

std::vector<std::string> g_Calls;

void Called(const std::string& what)
{
    g_Calls.push_back(what);
}

// A channel that writes down what it is asked for and stores no parameter, as a channel over P2P does.
class CChannel : public CRemote
{
  public:
    explicit CChannel(std::string name) { SetName(std::move(name)); }
    ~CChannel() override { Called("deleted " + GetName()); }
    void Open() override
    {
        Called("open " + GetName() + " " + std::to_string(static_cast<int>(GetRenderWnd())));
        SetStatus(STATUS_OPEN);
    }
    void Close() override
    {
        Called("close " + GetName());
        SetStatus(STATUS_CLOSED);
    }
    void StartRecord(std::int32_t reason) override
    {
        Called("start " + GetName() + " " + std::to_string(reason));
    }
    void StopRecord(std::int32_t reason) override
    {
        Called("stop " + GetName() + " " + std::to_string(reason));
    }
    void SnapShot() override { Called("snapshot " + GetName()); }
    std::int32_t SetParam(std::int32_t, std::int32_t) override { return 0; }
};

class CTcpChannel : public CTcpRemote
{
  public:
    void Open() override
    {
        Called("open tcp " + std::to_string(GetParam(PARAM_RENDER_WND)));
        SetStatus(STATUS_OPEN);
    }
};

class CTestStation : public CRemoteStation
{
  public:
    bool Disconnect() override
    {
        Called("disconnect");
        return true;
    }
    ~CTestStation() override { Called("station deleted"); }
};

class TreeDlgTest : public testing::Test
{
  protected:
    TreeDlgTest()
    {
        StartQtPlatform();
        SetModuleDirectory(SystemPath(m_Home.path().toStdString()) + "\\");
        m_pParent = std::make_unique<QWidget>();
        m_pParent->resize(220, 500);
        m_ParentHandle.emplace(*m_pParent, [this](std::uint32_t message, WPARAM wParam, LPARAM) {
            m_Notices.push_back({message, static_cast<int>(wParam)});
            return LRESULT{0};
        });
        m_pParent->show();
        g_Calls.clear();
    }
    ~TreeDlgTest() override
    {
        m_Dlg.reset();
        m_ParentHandle.reset();
        m_pParent.reset();
        RemoveAllCells();
        CNodeModel::DestroyInstance();
        SetModuleDirectory("");
        StopQtPlatform();
    }

    // A station "1001" with a folder and the channels "a" and "b".
    void AddStation()
    {
        auto* const station = new CTestStation;
        station->SetName("1001");
        auto* const devices = new CDevices;
        devices->SetName("card");
        devices->m_bVisible = true;
        devices->Add(new CChannel("a"), nullptr);
        devices->Add(new CChannel("b"), nullptr);
        station->Add(devices, nullptr);
        CNodeModel::GetInstance()->GetRoot()->Add(station, nullptr);
    }
    void ShowDialog()
    {
        m_Dlg.emplace();
        ASSERT_TRUE(m_Dlg->Create(CTreeDlg::TEMPLATE, m_pParent.get()));
        m_Dlg->MoveWindow(0, 0, 200, 480);
    }
    CTreeCtrlEx& Tree() { return *m_Dlg->GetTree(); }
    QTreeWidgetItem* Item(std::initializer_list<int> path)
    {
        QTreeWidgetItem* item = nullptr;
        for (const int index : path)
            item = item == nullptr ? Tree().topLevelItem(index) : item->child(index);
        return item;
    }
    void Select(std::initializer_list<int> path) { Tree().setCurrentItem(Item(path)); }
    void Command(int id) { SendMessageA(m_Dlg->Handle(), WM_COMMAND, static_cast<WPARAM>(id), 0); }
    std::vector<int> MenuAt(const QPoint& place)
    {
        QContextMenuEvent event(QContextMenuEvent::Mouse, place, Tree().viewport()->mapToGlobal(place));
        QApplication::sendEvent(Tree().viewport(), &event);
        std::vector<int> ids;
        if (auto* const menu = qobject_cast<QMenu*>(QApplication::activePopupWidget())) {
            for (const QAction* action : menu->actions())
                ids.push_back(action->isSeparator() ? 0 : action->data().toInt());
            menu->close();
        }
        return ids;
    }

    QTemporaryDir m_Home;
    std::unique_ptr<QWidget> m_pParent;
    std::optional<CWindowHandle> m_ParentHandle;
    std::vector<std::pair<std::uint32_t, int>> m_Notices;
    std::optional<CTreeDlg> m_Dlg;
};

TEST_F(TreeDlgTest, ShowsVisibleNodesInTheirOrderExpanded)
{
    AddStation();
    ShowDialog();
    ASSERT_EQ(Tree().topLevelItemCount(), 1);
    EXPECT_EQ(Item({0})->text(0), "1001");
    EXPECT_TRUE(Item({0})->isExpanded());
    ASSERT_EQ(Item({0, 0})->childCount(), 2);
    EXPECT_EQ(Item({0, 0, 0})->text(0), "a");
    EXPECT_EQ(Item({0, 0, 1})->text(0), "b");
}

TEST_F(TreeDlgTest, InvisibleNodeHidesAllBeneathIt)
{
    AddStation();
    CNodeModel::GetInstance()->FindByName("card")->m_bVisible = false;
    ShowDialog();
    EXPECT_EQ(Item({0})->childCount(), 0);
}

TEST_F(TreeDlgTest, TreeTakesItsPlaceInThePanel)
{
    ShowDialog();
    EXPECT_EQ(Tree().geometry(), QRect(0, 0, 195, 329));
}

TEST_F(TreeDlgTest, IconsFollowTheStatus)
{
    AddStation();
    ShowDialog();
    EXPECT_EQ(CTreeCtrlEx::GetStatusImage(Item({0, 0, 0})), 0);
    EXPECT_EQ(CTreeCtrlEx::GetStatusImage(Item({0})), -1);
    static_cast<CRemote*>(CNodeModel::GetInstance()->FindByName("b"))->SetStatus(STATUS_RECORDING);
    m_Dlg->RefreshIcons(m_Dlg->GetRootItem());
    EXPECT_EQ(CTreeCtrlEx::GetStatusImage(Item({0, 0, 0})), 0);
    EXPECT_EQ(CTreeCtrlEx::GetStatusImage(Item({0, 0, 1})), 2);
}

TEST_F(TreeDlgTest, RefillColoursTheTree)
{
    ShowDialog();
    m_Dlg->RefillTree();
    EXPECT_EQ(Tree().GetGroundColor(), QColor(0x26, 0x29, 0x2E));
    EXPECT_EQ(Tree().GetTextColor(), QColor(0x9B, 0x9B, 0x9B));
}

TEST_F(TreeDlgTest, SelectionIsNotedInTheModel)
{
    AddStation();
    ShowDialog();
    Select({0, 0, 1});
    EXPECT_EQ(CNodeModel::GetInstance()->GetCurrent(), CNodeModel::GetInstance()->FindByName("b"));
}

TEST_F(TreeDlgTest, OpenWritesTheCellStraightIntoTheDevice)
{
    AddStation();
    ShowDialog();
    AddCell(HWND{71});
    AddCell(HWND{72});
    TakeFreeCell();
    Select({0, 0, 0});
    Command(TREE_COMMAND_OPEN);
    EXPECT_THAT(g_Calls, ElementsAre("open a 72"));
    EXPECT_THAT(m_Notices, ElementsAre(std::pair(TREE_NOTICE_OPENING, 1)));
    Command(TREE_COMMAND_OPEN);
    EXPECT_THAT(g_Calls, ElementsAre("open a 72")) << "open already";
}

TEST_F(TreeDlgTest, WithoutAFreeCellTheDeviceOpensWithoutAWindow)
{
    AddStation();
    ShowDialog();
    Select({0, 0, 0});
    Command(TREE_COMMAND_OPEN);
    EXPECT_THAT(g_Calls, ElementsAre("open a 0"));
}

// Settled: opening all goes through SetParam, which such a channel does not store; the cells are used up all
// the same.
TEST_F(TreeDlgTest, OpenAllOpensChannelsOverP2PWithoutWindowsAndUsesTheirCells)
{
    AddStation();
    ShowDialog();
    AddCell(HWND{71});
    AddCell(HWND{72});
    Select({0});
    Command(TREE_COMMAND_OPEN_ALL);
    EXPECT_THAT(g_Calls, ElementsAre("open a 0", "open b 0"));
    EXPECT_TRUE(IsCellUsed(HWND{71}));
    EXPECT_TRUE(IsCellUsed(HWND{72}));
}

TEST_F(TreeDlgTest, CommandsOfOneDevice)
{
    AddStation();
    ShowDialog();
    Select({0, 0, 0});
    Command(TREE_COMMAND_CLOSE);
    Command(TREE_COMMAND_START_RECORD);
    EXPECT_THAT(g_Calls, IsEmpty()) << "only of a device that isn't closed";
    Command(TREE_COMMAND_STOP_RECORD);
    EXPECT_THAT(g_Calls, ElementsAre("stop a 64")) << "sent whatever the status";
    static_cast<CRemote*>(CNodeModel::GetInstance()->FindByName("a"))->SetStatus(STATUS_OPEN);
    Command(TREE_COMMAND_START_RECORD);
    Command(TREE_COMMAND_CLOSE);
    EXPECT_THAT(g_Calls, ElementsAre("stop a 64", "start a 16", "close a"));
}

TEST_F(TreeDlgTest, CommandsOfAFolderReachEveryChannelBeneath)
{
    AddStation();
    ShowDialog();
    Select({0, 0});
    static_cast<CRemote*>(CNodeModel::GetInstance()->FindByName("b"))->SetStatus(STATUS_OPEN);
    for (const int id : {TREE_COMMAND_CLOSE_ALL, TREE_COMMAND_START_RECORD_ALL, TREE_COMMAND_STOP_RECORD_ALL,
                         TREE_COMMAND_SNAPSHOT_ALL})
        Command(id);
    EXPECT_THAT(g_Calls, ElementsAre("close b", "start a 16", "start b 16", "stop a 64", "stop b 64",
                                     "snapshot a", "snapshot b"));
}

TEST_F(TreeDlgTest, WholeTreeCommandsNeedNoSelection)
{
    AddStation();
    ShowDialog();
    Command(TREE_COMMAND_OPEN_TREE);
    Command(TREE_COMMAND_CLOSE_TREE);
    EXPECT_THAT(g_Calls, ElementsAre("open a 0", "open b 0", "close a", "close b"));
}

TEST_F(TreeDlgTest, MenuGoesByTheNode)
{
    AddStation();
    ShowDialog();
    EXPECT_THAT(MenuAt(Tree().GetLabelRect(Item({0, 0, 0})).center()), ElementsAre(10000, 10001, 10002, 10003));
    EXPECT_THAT(MenuAt(Tree().GetLabelRect(Item({0, 0})).center()),
                ElementsAre(10005, 10006, 10007, 10008, 10009));
    EXPECT_THAT(MenuAt(Tree().GetLabelRect(Item({0})).center()),
                ElementsAre(10005, 10006, 10007, 10008, 10009, 10010, 0, 10011));
    EXPECT_EQ(Tree().currentItem(), Item({0})) << "the item under the menu is selected";
}

TEST_F(TreeDlgTest, RightClickBesideALabelDoesNothing)
{
    AddStation();
    ShowDialog();
    const QRect label = Tree().GetLabelRect(Item({0, 0, 0}));
    EXPECT_THAT(MenuAt({label.right() + 10, label.center().y()}), IsEmpty());
    EXPECT_THAT(MenuAt({10, Tree().viewport()->height() - 5}), IsEmpty());
}

TEST_F(TreeDlgTest, DoubleClickOpensTcpChannelsOnly)
{
    AddStation();
    CNodeModel::GetInstance()->GetRoot()->Add(new CTcpChannel, nullptr);
    ShowDialog();
    AddCell(HWND{71});
    emit Tree().itemDoubleClicked(Item({0, 0, 0}), 0);
    EXPECT_THAT(g_Calls, IsEmpty()) << "a channel over P2P changes nothing but the icons";
    emit Tree().itemDoubleClicked(Item({1}), 0);
    EXPECT_THAT(g_Calls, ElementsAre("open tcp 71"));
    EXPECT_EQ(CTreeCtrlEx::GetStatusImage(Item({1})), 1);
}

TEST_F(TreeDlgTest, RenamingAStationTakesFifteenCharacters)
{
    AddStation();
    ShowDialog();
    Select({0});
    Command(TREE_COMMAND_RENAME);
    auto* const edit = Tree().findChild<QLineEdit*>();
    ASSERT_NE(edit, nullptr);
    edit->selectAll();
    QTest::keyClicks(edit, "a name that is far too long");
    QTest::keyClick(edit, Qt::Key_Return);
    QApplication::processEvents();
    EXPECT_EQ(Item({0})->text(0), "a name that is ");
    EXPECT_NE(CNodeModel::GetInstance()->FindByName("a name that is "), nullptr);
    EXPECT_TRUE(QTest::qWaitFor([this] { return !m_Notices.empty(); }));
    EXPECT_THAT(m_Notices, ElementsAre(std::pair(TREE_NOTICE_CHANGED, 0)));
}

TEST_F(TreeDlgTest, EmptyNameLeavesAllAsItWas)
{
    AddStation();
    ShowDialog();
    Select({0});
    Command(TREE_COMMAND_RENAME);
    auto* const edit = Tree().findChild<QLineEdit*>();
    ASSERT_NE(edit, nullptr);
    edit->clear();
    QTest::keyClick(edit, Qt::Key_Return);
    QApplication::processEvents();
    EXPECT_EQ(Item({0})->text(0), "1001");
    EXPECT_THAT(m_Notices, IsEmpty());
}

TEST_F(TreeDlgTest, DeletingAStationClosesAndRemovesEverything)
{
    AddStation();
    ShowDialog();
    Select({0});
    Command(TREE_COMMAND_DELETE);
    QApplication::processEvents();
    EXPECT_EQ(g_Calls[0], "disconnect");
    EXPECT_EQ(g_Calls[1], "close a") << "whatever its status";
    EXPECT_EQ(g_Calls[2], "close b");
    EXPECT_EQ(g_Calls.back(), "station deleted");
    EXPECT_EQ(Tree().topLevelItemCount(), 0);
    EXPECT_EQ(CNodeModel::GetInstance()->GetCurrent(), CNodeModel::GetInstance()->GetRoot());
    EXPECT_TRUE(QTest::qWaitFor([this] { return !m_Notices.empty(); }));
    EXPECT_THAT(m_Notices, ElementsAre(std::pair(TREE_NOTICE_CHANGED, 0)));
}

TEST_F(TreeDlgTest, DeleteOfAStationThatIsNotRemoteOnlyReloads)
{
    auto* const station = new CStation;
    station->SetName("local");
    CNodeModel::GetInstance()->GetRoot()->Add(station, nullptr);
    ShowDialog();
    Select({0});
    Command(TREE_COMMAND_DELETE);
    EXPECT_EQ(Tree().topLevelItemCount(), 1);
    EXPECT_EQ(Item({0})->text(0), "local");
}

}  // namespace
