#include <QDir>
#include <QFile>
#include <map>

#include "model/settings/Language.h"
#include "model/tree/Observer.h"
#include "remote/UdpRemote.h"
#include "render/CellPool.h"
#include "tests/panels/tree_dlg_support.h"
#include "tests/support/test_places.h"
#include "tests/support/test_variable.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

TEST_F(TreeDlgTest, ShowsVisibleNodesInTheirOrderExpanded)
{
    AddStation();
    ShowDialog();
    ASSERT_EQ(Nodes().rowCount(), 1);
    EXPECT_EQ(Text({0}), "1001");
    EXPECT_TRUE(Tree().isExpanded(Item({0})));
    ASSERT_EQ(Nodes().rowCount(Item({0, 0})), 2);
    EXPECT_EQ(Text({0, 0, 0}), "a");
    EXPECT_EQ(Text({0, 0, 1}), "b");
}

TEST_F(TreeDlgTest, InvisibleNodeHidesAllBeneathIt)
{
    AddStation();
    CNodeModel::GetInstance()->FindByName("card")->m_bVisible = false;
    ShowDialog();
    EXPECT_EQ(Nodes().rowCount(Item({0})), 0);
}

TEST_F(TreeDlgTest, TreeTakesItsPlaceInThePanel)
{
    ShowDialog();
    EXPECT_EQ(Tree().geometry(), QRect(0, 0, 195, 329));
    EXPECT_EQ(m_Dlg->Widget()->grab().toImage().pixelColor(100, 400), QColor(0xC5, 0xC5, 0xC5)) << "beneath";
}

TEST_F(TreeDlgTest, IconsFollowTheStatus)
{
    AddStation();
    ShowDialog();
    EXPECT_EQ(Icon({0, 0, 0}), 0);
    EXPECT_EQ(Icon({0}), -1);
    static_cast<CRemote*>(CNodeModel::GetInstance()->FindByName("b"))->SetStatus(STATUS_RECORDING);
    m_Dlg->RefreshIcons(m_Dlg->GetRootItem());
    EXPECT_EQ(Icon({0, 0, 0}), 0);
    EXPECT_EQ(Icon({0, 0, 1}), 2);
}

TEST_F(TreeDlgTest, LooksTheSameInAHostThatRunsRightToLeft)
{
    AddStation();
    ShowDialog();
    const QImage usual = m_Dlg->Widget()->grab().toImage();
    QGuiApplication::setLayoutDirection(Qt::RightToLeft);
    const QImage there = m_Dlg->Widget()->grab().toImage();
    QGuiApplication::setLayoutDirection(Qt::LeftToRight);
    EXPECT_EQ(there, usual);
}

TEST_F(TreeDlgTest, RefillColoursTheTree)
{
    ShowDialog();
    m_Dlg->RefillTree();
    EXPECT_EQ(Tree().GetGroundColor(), (Color{0x26, 0x29, 0x2E, 255}));
    EXPECT_EQ(Tree().GetTextColor(), (Color{0x9B, 0x9B, 0x9B, 255}));
}

TEST_F(TreeDlgTest, SelectionIsNotedInTheModel)
{
    AddStation();
    ShowDialog();
    Select({0, 0, 1});
    EXPECT_EQ(CNodeModel::GetInstance()->GetCurrent(), CNodeModel::GetInstance()->FindByName("b"));
}

TEST_F(TreeDlgTest, SelectedRowStaysSelectedUntilAnotherOneIs)
{
    AddStation();
    ShowDialog();
    Select({0});
    const QPoint beneath(20, Tree().viewport()->height() - 5);
    ASSERT_FALSE(Tree().indexAt(beneath).isValid());
    QTest::mouseClick(Tree().viewport(), Qt::LeftButton, {}, beneath);
    EXPECT_TRUE(Tree().selectionModel()->isSelected(Item({0})));
    QTest::mouseClick(Tree().viewport(), Qt::LeftButton, Qt::ControlModifier,
                      Tree().visualRect(Item({0})).center());
    EXPECT_TRUE(Tree().selectionModel()->isSelected(Item({0})));
    QTest::keyClick(&Tree(), Qt::Key_Space, Qt::ControlModifier);
    EXPECT_TRUE(Tree().selectionModel()->isSelected(Item({0})));
    QTest::mouseClick(Tree().viewport(), Qt::LeftButton, Qt::ControlModifier,
                      Tree().visualRect(Item({0, 0})).center());
    EXPECT_TRUE(Tree().selectionModel()->isSelected(Item({0, 0})));
    EXPECT_FALSE(Tree().selectionModel()->isSelected(Item({0})));
    Tree().setCurrentIndex({});
    EXPECT_FALSE(Tree().selectionModel()->hasSelection());
}

TEST_F(TreeDlgTest, RowThatTheKeyboardComesToIsSelected)
{
    ShowDialog();
    AddStation();
    m_Dlg->RefillTree();
    EXPECT_EQ(CNodeModel::GetInstance()->GetCurrent(), nullptr);
    m_pParent->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(m_pParent.get()));
    m_Dlg->Widget()->setFocus();
    Tree().setFocus(Qt::TabFocusReason);
    EXPECT_EQ(CNodeModel::GetInstance()->GetCurrent(), CNodeModel::GetInstance()->FindByName("1001"));
    EXPECT_TRUE(Tree().selectionModel()->isSelected(Item({0})));
}

TEST_F(TreeDlgTest, OpenWritesTheCellStraightIntoTheDevice)
{
    AddStation();
    ShowDialog();
    AddCell(HWND::Null);
    AddCell(HWND{71});
    AddCell(HWND{72});
    TakeFreeCell();
    TakeFreeCell();
    Select({0, 0, 0});
    Command(TREE_COMMAND_OPEN);
    EXPECT_THAT(TreeCalls(), ElementsAre("open a 72"));
    EXPECT_THAT(m_Notices, ElementsAre(std::pair(TREE_NOTICE_OPENING, 1))) << "used and with a window";
    Command(TREE_COMMAND_OPEN);
    EXPECT_THAT(TreeCalls(), ElementsAre("open a 72")) << "open already";
}

TEST_F(TreeDlgTest, WithoutAFreeCellTheDeviceOpensWithoutAWindow)
{
    AddStation();
    ShowDialog();
    Select({0, 0, 0});
    Command(TREE_COMMAND_OPEN);
    EXPECT_THAT(TreeCalls(), ElementsAre("open a 0"));
}

// oddity: open-all-without-windows. It goes through SetParam, which such a channel does not store; the cells
// are used up all the same.
TEST_F(TreeDlgTest, OpenAllOpensChannelsOverP2PWithoutWindowsAndUsesTheirCells)
{
    AddStation();
    ShowDialog();
    AddCell(HWND{71});
    AddCell(HWND{72});
    Select({0});
    Command(TREE_COMMAND_OPEN_ALL);
    EXPECT_THAT(TreeCalls(), ElementsAre("open a 0", "open b 0"));
    EXPECT_TRUE(IsCellUsed(HWND{71}));
    EXPECT_TRUE(IsCellUsed(HWND{72}));
}

/// In whose wait the container takes the whole tree down.
class CTakenDownChannel final : public CChannel
{
  public:
    using CChannel::CChannel;
    void Open() override
    {
        CChannel::Open();
        CNodeModel::GetInstance()->DeleteRoot();
    }
};

TEST_F(TreeDlgTest, OpenAllEndsWithTheTreeThatIsTakenDownMeanwhile)
{
    CFolder* const root = CNodeModel::GetInstance()->GetRoot();
    for (const char* const name : {"a", "b"})
        root->Add(new CTakenDownChannel(name), nullptr);
    ShowDialog();
    Command(TREE_COMMAND_OPEN_TREE);
    EXPECT_THAT(TreeCalls(), ElementsAre("open a 0", "deleted a", "deleted b"));
    EXPECT_FALSE(Item({0}).isValid());
}

TEST_F(TreeDlgTest, OpenAllAndCloseAllLeaveThoseThatAreOpenOrClosedAlready)
{
    AddStation();
    ShowDialog();
    for (const int cell : {71, 72, 73})
        AddCell(HWND{cell});
    Select({0, 0, 1});
    Command(TREE_COMMAND_OPEN);
    Select({0});
    for (int i = 0; i < 2; ++i)
        Command(TREE_COMMAND_OPEN_ALL);
    EXPECT_THAT(TreeCalls(), ElementsAre("open b 71", "open a 0"));
    EXPECT_FALSE(IsCellUsed(HWND{73})) << "nor do they take another cell";
    TreeCalls().clear();
    for (int i = 0; i < 2; ++i)
        Command(TREE_COMMAND_CLOSE_ALL);
    EXPECT_THAT(TreeCalls(), ElementsAre("close a", "close b"));
}

TEST_F(TreeDlgTest, CommandsOfOneDeviceReachItAlone)
{
    AddStation();
    ShowDialog();
    Select({0, 0, 0});
    Command(TREE_COMMAND_CLOSE);
    Command(TREE_COMMAND_START_RECORD);
    EXPECT_THAT(TreeCalls(), IsEmpty()) << "only of a device that isn't closed";
    Command(TREE_COMMAND_STOP_RECORD);
    EXPECT_THAT(TreeCalls(), ElementsAre("stop a 64")) << "sent whatever the status";
    static_cast<CRemote*>(CNodeModel::GetInstance()->FindByName("a"))->SetStatus(STATUS_OPEN);
    Command(TREE_COMMAND_START_RECORD);
    Command(TREE_COMMAND_CLOSE);
    EXPECT_THAT(TreeCalls(), ElementsAre("stop a 64", "start a 16", "close a"));
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
    EXPECT_THAT(TreeCalls(), ElementsAre("close b", "start a 16", "start b 16", "stop a 64", "stop b 64",
                                         "snapshot a", "snapshot b"));
}

TEST_F(TreeDlgTest, WholeTreeCommandsNeedNoSelection)
{
    AddStation();
    ShowDialog();
    Command(TREE_COMMAND_OPEN_TREE);
    Command(TREE_COMMAND_CLOSE_TREE);
    EXPECT_THAT(TreeCalls(), ElementsAre("open a 0", "open b 0", "close a", "close b"));
}

// By these numbers others send to it and hear from it.
TEST_F(TreeDlgTest, WholeTreeCommandsAndNoticesHaveTheirNumbers)
{
    AddStation();
    ShowDialog();
    Command(218);
    Command(219);
    EXPECT_THAT(TreeCalls(), ElementsAre("open a 0", "open b 0", "close a", "close b"));
    Select({0, 0, 0});
    Command(10000);
    Select({0});
    Command(10011);
    EXPECT_TRUE(QTest::qWaitFor([this] { return m_Notices.size() == 2; }));
    EXPECT_THAT(m_Notices, ElementsAre(std::pair(0x138BU, 0), std::pair(0x138EU, 0)));
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
    EXPECT_EQ(Tree().currentIndex(), Item({0})) << "the item under the menu is selected";
}

TEST_F(TreeDlgTest, EachEntryOfTheMenuSaysWhatItDoesInTheSystemsLanguage)
{
    const CTestVariable locale("LC_ALL", "en_US.UTF-8");
    QDir(m_Home.path()).mkdir("config");
    ASSERT_TRUE(
        QFile::copy(QString::fromStdString(SourcePath("config/eng.ini")), m_Home.filePath("config/eng.ini")));
    AddStation();
    ShowDialog();
    CLanguage::Reset();  // the menu settles it
    std::map<int, std::string> texts;
    for (const auto& path : {std::initializer_list<int>{0}, {0, 0, 0}}) {
        Tree().setCurrentIndex(Item(path));
        QContextMenuEvent event(QContextMenuEvent::Keyboard, {}, {});
        QApplication::sendEvent(Tree().viewport(), &event);
        auto* const menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
        ASSERT_NE(menu, nullptr);
        for (const QAction* action : menu->actions()) {
            if (!action->isSeparator()) texts[action->data().toInt()] = action->text().toStdString();
        }
        menu->close();
    }
    CLanguage::Reset();
    const std::map<int, std::string> wanted = {{10000, "Open"},
                                               {10001, "Close"},
                                               {10002, "Start recording"},
                                               {10003, "Stop recording"},
                                               {10005, "Open all"},
                                               {10006, "Close all"},
                                               {10007, "Start recording all"},
                                               {10008, "Stop recording all"},
                                               {10009, "Snapshot of all"},
                                               {10010, "Rename"},
                                               {10011, "Delete"}};
    EXPECT_EQ(texts, wanted);
}

TEST_F(TreeDlgTest, MenuKeyOpensTheMenuOfTheSelectedNodeBeneathItsLabel)
{
    AddStation();
    ShowDialog();
    Select({0, 0, 1});
    QContextMenuEvent event(QContextMenuEvent::Keyboard, {}, {});
    QApplication::sendEvent(Tree().viewport(), &event);
    auto* const menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
    ASSERT_NE(menu, nullptr);
    EXPECT_EQ(menu->actions()[0]->data().toInt(), TREE_COMMAND_OPEN);
    EXPECT_EQ(menu->pos(), Tree().viewport()->mapToGlobal(Tree().GetLabelRect(Item({0, 0, 1})).bottomLeft()));
    menu->close();
}

TEST_F(TreeDlgTest, RightClickBesideALabelDoesNothing)
{
    AddStation();
    ShowDialog();
    const QRect label = Tree().GetLabelRect(Item({0, 0, 0}));
    EXPECT_THAT(MenuAt({label.right() + 10, label.center().y()}), IsEmpty());
    EXPECT_THAT(MenuAt({10, Tree().viewport()->height() - 5}), IsEmpty());
    Select({0});
    QTest::mouseClick(Tree().viewport(), Qt::RightButton, {}, {label.right() + 10, label.center().y()});
    EXPECT_EQ(Tree().currentIndex(), Item({0})) << "nor does its press select";
}

TEST_F(TreeDlgTest, StationWithoutANameHasItsMenuWhereItsNameWouldBe)
{
    auto* const station = new CTestStation;
    station->SetName("");
    CNodeModel::GetInstance()->GetRoot()->Add(station, nullptr);
    ShowDialog();
    const QRect label = Tree().GetLabelRect(Item({0}));
    EXPECT_THAT(MenuAt(label.center()), testing::Contains(TREE_COMMAND_DELETE));
    EXPECT_THAT(MenuAt({label.right() + 10, label.center().y()}), IsEmpty());
}

TEST_F(TreeDlgTest, StopRecordIsSentWhateverTheStatusAndStartRecordOnlyOnAnOpenDevice)
{
    AddStation();
    ShowDialog();
    Select({0, 0, 0});
    auto* const device = static_cast<CRemote*>(CNodeModel::GetInstance()->FindByName("a"));
    for (const std::int32_t status : {STATUS_CLOSED, STATUS_OPEN, STATUS_RECORDING}) {
        device->SetStatus(status);
        Command(TREE_COMMAND_STOP_RECORD);
        Command(TREE_COMMAND_START_RECORD);
    }
    EXPECT_THAT(TreeCalls(), ElementsAre("stop a 64", "stop a 64", "start a 16", "stop a 64", "start a 16"));
}

TEST_F(TreeDlgTest, DoubleClickOnAChannelOverP2PChangesNothingButTheIcons)
{
    auto* const channel = new CUdpRemote;
    CNodeModel::GetInstance()->GetRoot()->Add(channel, nullptr);
    ShowDialog();
    AddCell(HWND{71});
    channel->SetStatus(STATUS_RECORDING);
    m_Dlg->RefreshIcons(m_Dlg->GetRootItem());
    channel->SetStatus(STATUS_CLOSED);
    emit Tree().doubleClicked(Item({0}));
    EXPECT_EQ(channel->GetStatus(), STATUS_CLOSED);
    EXPECT_FALSE(IsCellUsed(HWND{71}));
    EXPECT_EQ(Icon({0}), STATUS_CLOSED);
}

TEST_F(TreeDlgTest, CommandsOnANodeOfTheWrongTypeEndSilently)
{
    AddStation();
    ShowDialog();
    Select({0, 0});
    for (const int id : {TREE_COMMAND_OPEN, TREE_COMMAND_CLOSE, TREE_COMMAND_START_RECORD,
                         TREE_COMMAND_STOP_RECORD, TREE_COMMAND_DELETE})
        Command(id);
    Select({0, 0, 0});
    for (const int id : {TREE_COMMAND_OPEN_ALL, TREE_COMMAND_CLOSE_ALL, TREE_COMMAND_START_RECORD_ALL,
                         TREE_COMMAND_STOP_RECORD_ALL, TREE_COMMAND_SNAPSHOT_ALL, TREE_COMMAND_DELETE})
        Command(id);
    Tree().setCurrentIndex({});
    Command(TREE_COMMAND_OPEN);
    Command(TREE_COMMAND_RENAME);
    EXPECT_THAT(TreeCalls(), IsEmpty());
    EXPECT_EQ(Nodes().rowCount(Item({0, 0})), 2);
}

TEST_F(TreeDlgTest, DoubleClickOpensTcpChannelsOnly)
{
    AddStation();
    CNodeModel::GetInstance()->GetRoot()->Add(new CTcpChannel, nullptr);
    ShowDialog();
    AddCell(HWND{71});
    emit Tree().doubleClicked(Item({0, 0, 0}));
    EXPECT_THAT(TreeCalls(), IsEmpty()) << "a channel over P2P changes nothing but the icons";
    emit Tree().doubleClicked(Item({1}));
    EXPECT_THAT(TreeCalls(), ElementsAre("open tcp 71"));
    EXPECT_EQ(Icon({1}), 1);
}

TEST_F(TreeDlgTest, DeletingAStationClosesAndRemovesEverything)
{
    AddStation();
    ShowDialog();
    Select({0});
    Command(TREE_COMMAND_DELETE);
    QApplication::processEvents();
    EXPECT_EQ(TreeCalls()[0], "disconnect");
    EXPECT_EQ(TreeCalls()[1], "close a") << "whatever its status";
    EXPECT_EQ(TreeCalls()[2], "close b");
    EXPECT_EQ(TreeCalls().back(), "station deleted");
    EXPECT_EQ(Nodes().rowCount(), 0);
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
    EXPECT_EQ(Nodes().rowCount(), 1);
    EXPECT_EQ(Text({0}), "local");
    EXPECT_TRUE(QTest::qWaitFor([this] { return !m_Notices.empty(); }));
    EXPECT_THAT(m_Notices, ElementsAre(std::pair(TREE_NOTICE_CHANGED, 0)));
}

TEST_F(TreeDlgTest, EachDeleteLetsTheObserversHearAgain)
{
    struct CListener : CObserver {
        void Update(CNode*, std::string) override { ++heard; }
        int heard = 0;
    } listener;
    AttachObserver(&listener);
    AddStation();
    ShowDialog();
    for (const auto& path : {std::initializer_list<int>{0, 0, 0}, {0}}) {
        DisableNotify();
        Select(path);
        Command(TREE_COMMAND_DELETE);
        Notify(nullptr, "");
    }
    EnableNotify();
    DetachObserver(&listener);
    EXPECT_EQ(listener.heard, 2) << "whatever the node is";
}

// 10004 among them, which no entry bears.
TEST_F(TreeDlgTest, RestOfTheRangeOfCommandsDoesNothing)
{
    AddStation();
    ShowDialog();
    for (const std::initializer_list<int>& path : {std::initializer_list<int>{0}, {0, 0}, {0, 0, 0}}) {
        Select(path);
        for (const int id : {10004, 10012, 11000, 11001, 217, 220})
            Command(id);
    }
    EXPECT_THAT(TreeCalls(), IsEmpty());
    EXPECT_THAT(m_Notices, IsEmpty());
    EXPECT_FALSE(Tree().IsEditing());
}

}  // namespace
