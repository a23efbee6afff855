#include <gmock/gmock.h>

#include <QApplication>
#include <QComboBox>
#include <QLineEdit>

#include "activex/UI common/NodeTreeModel.h"
#include "activex/UI common/Outlook2Ctrl.h"
#include "activex/UI common/TreeCtrlEx.h"
#include "common/HistoryCombo.h"
#include "common/RenderCell.h"
#include "common/RenderWnd.h"
#include "model/NodeModel.h"
#include "remote/Remote.h"
#include "remote/UdpRemote.h"
#include "render/CellPool.h"
#include "tests/wall/wall_support.h"

// From the logon to live pictures, as an operator does it by mouse and keyboard.

namespace
{

using testing::IsEmpty;

constexpr int CHANNELS = 4;

// Logged on, each channel in the cell of its own number, all of them playing.
class PlayingWall : public testing::Test
{
  protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_Wall.LogOn());
        for (int channel = 0; channel < CHANNELS; ++channel)
            m_Idle.push_back(m_Wall.GrabCell(channel));
        for (int channel = 0; channel < CHANNELS; ++channel)
            ASSERT_TRUE(m_Wall.Open(channel)) << channel;
        ExpectAllPlay();
    }
    void ExpectAllPlay()
    {
        for (int channel = 0; channel < CHANNELS; ++channel)
            EXPECT_TRUE(m_Wall.CellPlays(channel, channel)) << channel;
    }
    bool ComesToShow(int cell, const QImage& picture)
    {
        return CWall::Until([&] { return m_Wall.GrabCell(cell) == picture; });
    }

    CWall m_Wall;
    std::vector<QImage> m_Idle;  // of each of the four cells before anything played
};

TEST(Wall, LogonByKeyboardAndChannelsByMenuGiveMovingPicturesInTheirCells)
{
    CWall wall;
    ASSERT_TRUE(wall.TypeAddress());
    wall.Screen().Key(KEY_RETURN);
    ASSERT_TRUE(CWall::Until([&] { return wall.Folder().isValid(); }));
    EXPECT_EQ(wall.Station().data().toString(), "1001");
    EXPECT_EQ(wall.Tree().model()->rowCount(wall.Folder()), CHANNELS);
    EXPECT_EQ(wall.Grid().GetState().GetRects().size(), 4U);
    for (int channel = 0; channel < CHANNELS; ++channel) {
        EXPECT_EQ(wall.ChannelInCell(channel), -1) << "nothing plays yet in cell " << channel;
        ASSERT_TRUE(wall.Open(channel)) << channel;
    }
    for (int channel = 0; channel < CHANNELS; ++channel)
        EXPECT_TRUE(wall.CellPlays(channel, channel)) << channel;
}

TEST(Wall, LogonByMouseShowsTheDeviceListAndKeepsTheEntries)
{
    CWall wall;
    ASSERT_TRUE(wall.LogOn());
    EXPECT_EQ(wall.Panel().GetSideBar()->GetSelectedFolder(), 1) << "the device list";
    EXPECT_FALSE(wall.Control(IDOK)->isVisible());
    EXPECT_THAT(wall.m_Boxes, IsEmpty());
    auto* const address = wall.Control<CHistoryCombo>(CLogonRemoteDlg::ADDRESS);
    EXPECT_EQ(address->currentText(), "1001");
    EXPECT_EQ(address->itemText(0), "1001") << "and it is in the history";
    for (int channel = 0; channel < CHANNELS; ++channel) {
        EXPECT_EQ(wall.ChannelItem(channel).data().toString(), QStringLiteral("Channel %1").arg(channel + 1));
        EXPECT_EQ(wall.Channel(channel)->GetStatus(), STATUS_CLOSED);
    }
}

TEST(Wall, KeyboardAloneDoesItAll)
{
    CWall wall;
    CScreen& screen = wall.Screen();
    const auto marked = [](const QString& text) {
        const auto* const menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
        return menu != nullptr && menu->activeAction() != nullptr && menu->activeAction()->text() == text;
    };
    const auto choose = [&](std::uint32_t opener, const QString& text) {
        screen.Key(opener);
        const bool chosen = CWall::Until([] { return QApplication::activePopupWidget() != nullptr; }) &&
                            wall.PressUntil(KEY_DOWN, [&] { return marked(text); });
        screen.Key(KEY_RETURN);
        return chosen && CWall::Until([] { return QApplication::activePopupWidget() == nullptr; });
    };
    const auto goTo = [&](const QModelIndex& item, std::uint32_t key) {
        return wall.TabTo(wall.Tree()) &&
               wall.PressUntil(key, [&] { return wall.Tree().currentIndex() == item; });
    };
    ASSERT_TRUE(wall.TabTo(*wall.Control<QComboBox>(CLogonRemoteDlg::ADDRESS)));
    screen.Type("1001");
    screen.Key(KEY_RETURN);
    ASSERT_TRUE(CWall::Until([&] { return wall.Folder().isValid(); }));
    ASSERT_TRUE(goTo(wall.ChannelItem(2), KEY_DOWN));
    ASSERT_TRUE(choose(KEY_MENU, "Open"));
    EXPECT_TRUE(wall.CellPlays(0, 2));

    const QRect place = wall.CellOnScreen(0);
    ASSERT_TRUE(wall.TabTo(wall.Grid()));
    screen.Key(KEY_RIGHT);
    EXPECT_TRUE(CWall::Until([&] { return wall.Grid().GetState().GetFocus() == 0; }));
    screen.Key(KEY_RETURN);
    EXPECT_TRUE(CWall::Until([&] { return wall.Grid().GetState().GetLayout() == 1; })) << "alone";
    screen.Key(KEY_RETURN);
    EXPECT_TRUE(CWall::Until([&] { return wall.CellOnScreen(0) == place; })) << "and back";
    ASSERT_TRUE(choose(KEY_MENU, "Full screen"));
    // Keys that come before the display has given the new window the keyboard go to the one that is gone.
    ASSERT_TRUE(CWall::Until([&] {
        return wall.Grid().isWindow() && QApplication::activeWindow() == &wall.Grid() && wall.Grid().hasFocus();
    }));
    EXPECT_TRUE(wall.CellPlays(0, 2));
    screen.Key(KEY_ESCAPE);
    ASSERT_TRUE(CWall::Until([&] { return wall.CellOnScreen(0) == place; }));

    ASSERT_TRUE(wall.TabTo(*wall.Control(MAIN_COMMAND_LAYOUT_MENU)));
    ASSERT_TRUE(choose(' ', "Next page"));
    EXPECT_TRUE(CWall::Until([&] { return wall.Grid().GetState().GetPage() == 1; }));

    ASSERT_TRUE(goTo(wall.ChannelItem(2), KEY_DOWN));
    ASSERT_TRUE(choose(KEY_MENU, "Close"));
    EXPECT_TRUE(CWall::Until([&] { return wall.Channel(2)->GetStatus() == STATUS_CLOSED; }));
    ASSERT_TRUE(goTo(wall.Station(), KEY_UP));
    ASSERT_TRUE(choose(KEY_MENU, "Delete"));
    EXPECT_TRUE(CWall::Until([&] { return !wall.Station().isValid(); }));
    ASSERT_TRUE(wall.TabTo(*wall.Panel().GetSideBar()));
    screen.Key(KEY_UP);
    EXPECT_TRUE(CWall::Until([&] { return wall.Control(IDOK)->isVisible(); })) << "the next logon";
}

// What the history completes can be taken back by the keys that take things back.
TEST(Wall, CompletedAddressCanBeShortened)
{
    CWall wall;
    ASSERT_TRUE(wall.LogOn());
    ASSERT_TRUE(wall.ShowFolder(0));
    auto* const field = wall.Control<QComboBox>(CLogonRemoteDlg::ADDRESS)->lineEdit();
    wall.Click(*field);
    ASSERT_TRUE(CWall::Until([field] { return field->hasFocus(); }));
    field->selectAll();
    wall.Screen().Type("10");
    ASSERT_TRUE(CWall::Until([field] { return field->text() == "1001" && field->selectedText() == "01"; }));
    wall.Screen().Key(KEY_BACKSPACE);
    EXPECT_TRUE(CWall::Until([field] { return field->text() == "10"; }));
    wall.Screen().Key(KEY_BACKSPACE);
    EXPECT_TRUE(CWall::Until([field] { return field->text() == "1"; }));
}

// oddity: double-click-opens-direct. One over P2P is opened by the menu.
TEST(Wall, DoubleClickOnAChannelOverP2PChangesNothing)
{
    CWall wall;
    ASSERT_TRUE(wall.LogOn());
    wall.Screen().DoubleClick(wall.LabelOnScreen(wall.ChannelItem(2)));
    ASSERT_TRUE(CWall::Until([&] { return wall.Tree().currentIndex() == wall.ChannelItem(2); }));
    ASSERT_TRUE(wall.Open(0));
    EXPECT_TRUE(wall.CellPlays(0, 0)) << "the first cell was still free";
    EXPECT_EQ(wall.Channel(2)->GetStatus(), STATUS_CLOSED);
}

// oddity: open-all-without-windows. It goes through a parameter that channels over P2P don't store; the cells
// that were taken for them stay taken.
TEST(Wall, OpenAllRunsChannelsWithoutPicturesAndTheirCellsStayTaken)
{
    CWall wall;
    ASSERT_TRUE(wall.LogOn());
    std::vector<QImage> idle;
    for (int cell = 0; cell < CHANNELS; ++cell)
        idle.push_back(wall.GrabCell(cell));
    ASSERT_TRUE(wall.Choose(wall.Folder(), TREE_COMMAND_OPEN_ALL));
    for (int channel = 0; channel < CHANNELS; ++channel) {
        const auto& link = dynamic_cast<CUdpRemote&>(*wall.Channel(channel)).GetCounters();
        EXPECT_TRUE(CWall::Until([&link] { return link.decoded > 2; })) << channel;
        EXPECT_EQ(wall.ChannelItem(channel).data(CNodeTreeModel::STATUS_ROLE), STATUS_OPEN);
        EXPECT_EQ(wall.GrabCell(channel), idle[static_cast<std::size_t>(channel)]);
    }
    ASSERT_TRUE(wall.Choose(wall.Folder(), TREE_COMMAND_CLOSE_ALL));
    for (int channel = 0; channel < CHANNELS; ++channel) {
        EXPECT_TRUE(CWall::Until([&] { return wall.Channel(channel)->GetStatus() == STATUS_CLOSED; }));
        EXPECT_TRUE(IsCellUsed(wall.Grid().GetCell(static_cast<std::size_t>(channel))->Handle())) << channel;
    }
    ASSERT_TRUE(wall.Open(1));
    ASSERT_TRUE(wall.ChooseLayout("Next page"));
    ASSERT_TRUE(CWall::Until([&] { return wall.Grid().GetState().GetPage() == 1; }));
    EXPECT_TRUE(wall.CellPlays(4, 1)) << "the first cell of the second page was the next free one";
}

TEST_F(PlayingWall, ClosedChannelGivesItsCellBackToTheNextOne)
{
    ASSERT_TRUE(m_Wall.Choose(m_Wall.ChannelItem(1), TREE_COMMAND_CLOSE));
    EXPECT_TRUE(CWall::Until([&] { return m_Wall.Channel(1)->GetStatus() == STATUS_CLOSED; }));
    EXPECT_TRUE(ComesToShow(1, m_Idle[1])) << "the picture of an empty cell";
    EXPECT_EQ(m_Wall.ChannelItem(1).data(CNodeTreeModel::STATUS_ROLE), STATUS_CLOSED);
    for (const int channel : {0, 2, 3})
        EXPECT_TRUE(m_Wall.CellPlays(channel, channel)) << channel;
    ASSERT_TRUE(m_Wall.Choose(m_Wall.ChannelItem(3), TREE_COMMAND_CLOSE));
    EXPECT_TRUE(ComesToShow(3, m_Idle[3]));
    ASSERT_TRUE(m_Wall.Open(3));
    EXPECT_TRUE(m_Wall.CellPlays(1, 3));
}

TEST_F(PlayingWall, CloseAllEmptiesEveryCell)
{
    ASSERT_TRUE(m_Wall.Choose(m_Wall.Folder(), TREE_COMMAND_CLOSE_ALL));
    for (int channel = 0; channel < CHANNELS; ++channel) {
        EXPECT_TRUE(CWall::Until([&] { return m_Wall.Channel(channel)->GetStatus() == STATUS_CLOSED; }));
        EXPECT_TRUE(ComesToShow(channel, m_Idle[static_cast<std::size_t>(channel)])) << channel;
    }
    ASSERT_TRUE(m_Wall.Open(2));
    EXPECT_TRUE(m_Wall.CellPlays(0, 2));
}

TEST_F(PlayingWall, DoubleClickOnACellShowsItAloneAndBack)
{
    const QRect whole(m_Wall.Grid().mapToGlobal(QPoint(0, 0)), m_Wall.Grid().size());
    m_Wall.Screen().DoubleClick(m_Wall.CellOnScreen(2).center());
    ASSERT_TRUE(CWall::Until([&] { return m_Wall.Grid().GetState().GetLayout() == 1; }));
    EXPECT_EQ(m_Wall.CellOnScreen(2), whole.adjusted(2, 2, -2, -2));
    EXPECT_TRUE(m_Wall.CellPlays(2, 2));
    EXPECT_TRUE(m_Wall.CellOnScreen(0).isEmpty());
    m_Wall.Screen().DoubleClick(whole.center());
    ASSERT_TRUE(CWall::Until([&] { return m_Wall.Grid().GetState().GetLayout() != 1; }));
    EXPECT_EQ(m_Wall.Grid().GetState().GetPage(), 0);
    ExpectAllPlay();
}

TEST_F(PlayingWall, FullScreenByTheMenuAndBackByEscape)
{
    const QRect screen(0, 0, CVirtualDisplay::WIDTH, CVirtualDisplay::HEIGHT);
    std::vector<QRect> places;
    for (int cell = 0; cell < CHANNELS; ++cell)
        places.push_back(m_Wall.CellOnScreen(cell));
    m_Wall.Screen().Click(places[1].center(), CScreen::EButton::Right);
    ASSERT_TRUE(m_Wall.ChooseFromMenu([](const QAction& action) { return action.text() == "Full screen"; }));
    ASSERT_TRUE(CWall::Until([&] { return m_Wall.Grid().isWindow() && m_Wall.Grid().geometry() == screen; }));
    for (int cell = 0; cell < CHANNELS; ++cell) {
        const QRect place = m_Wall.CellOnScreen(cell);
        EXPECT_GT(place.width(), screen.width() / 2 - 20) << cell;
        EXPECT_TRUE(screen.contains(place)) << cell;
        EXPECT_TRUE(m_Wall.CellPlays(cell, cell)) << cell;
    }
    m_Wall.Screen().Key(KEY_ESCAPE);
    ASSERT_TRUE(CWall::Until([&] { return !m_Wall.Grid().isWindow(); }));
    for (int cell = 0; cell < CHANNELS; ++cell)
        EXPECT_EQ(m_Wall.CellOnScreen(cell), places[static_cast<std::size_t>(cell)]);
    ExpectAllPlay();
    m_Wall.Screen().Key(KEY_ESCAPE);
    EXPECT_TRUE(CWall::Until([&] { return m_Wall.Grid().isWindow() && m_Wall.Grid().geometry() == screen; }))
        << "Escape goes in as well";
    ExpectAllPlay();
    m_Wall.Screen().Click(m_Wall.CellOnScreen(0).center(), CScreen::EButton::Right);
    ASSERT_TRUE(
        m_Wall.ChooseFromMenu([](const QAction& action) { return action.text() == "Exit full screen"; }));
    ASSERT_TRUE(CWall::Until([&] { return !m_Wall.Grid().isWindow(); }));
    ASSERT_TRUE(m_Wall.Choose(m_Wall.ChannelItem(0), TREE_COMMAND_CLOSE)) << "the panels are there again";
    EXPECT_TRUE(ComesToShow(0, m_Idle[0]));
}

TEST_F(PlayingWall, PagesTurnByTheLayoutMenu)
{
    const auto& state = m_Wall.Grid().GetState();
    const int last = state.GetLastPage();
    ASSERT_EQ(state.GetCellCount(), 36);
    const struct {
        const char* entry;
        int page;
    } steps[] = {{"Next page", 1}, {"Previous page", 0}, {"Previous page", last},
                 {"Next page", 0}, {"Last page", last},  {"First page", 0}};
    for (const auto& step : steps) {
        ASSERT_TRUE(m_Wall.ChooseLayout(step.entry)) << step.entry;
        EXPECT_TRUE(CWall::Until([&] { return state.GetPage() == step.page; })) << step.entry;
        if (step.page == 0) {
            ExpectAllPlay();
        } else {
            const int first = step.page * CHANNELS;
            for (int cell = first; cell < first + CHANNELS; ++cell)
                EXPECT_TRUE(ComesToShow(cell, m_Idle[static_cast<std::size_t>(cell - first)])) << cell;
        }
    }
}

TEST_F(PlayingWall, ArrangementOfNineShowsAllInItsSmallCells)
{
    ASSERT_TRUE(m_Wall.ChooseLayout("9 pictures"));
    ASSERT_TRUE(CWall::Until([&] { return m_Wall.Grid().GetState().GetRects().size() == 9; }));
    ExpectAllPlay();
    ASSERT_TRUE(m_Wall.ChooseLayout("1 picture"));
    ASSERT_TRUE(CWall::Until([&] { return m_Wall.Grid().GetState().GetRects().size() == 1; }));
    EXPECT_TRUE(m_Wall.CellPlays(0, 0));
}

TEST_F(PlayingWall, DeletedStationTakesItsChannelsAndMayBeLoggedOnAgain)
{
    ASSERT_TRUE(m_Wall.Choose(m_Wall.Station(), TREE_COMMAND_DELETE));
    ASSERT_TRUE(CWall::Until([&] { return m_Wall.Tree().model()->rowCount() == 0; }));
    for (int cell = 0; cell < CHANNELS; ++cell)
        EXPECT_TRUE(ComesToShow(cell, m_Idle[static_cast<std::size_t>(cell)])) << cell;
    m_Wall.Panel().GetSideBar()->SelectFolder(0, COutlook2Ctrl::EAnimation::Off);
    m_Wall.Click(*m_Wall.Control(IDOK));
    ASSERT_TRUE(CWall::Until([&] { return m_Wall.Folder().isValid(); }));
    EXPECT_EQ(m_Wall.Panel().GetLogon().GetChannelsAdded(), 2 * CHANNELS) << "the total grows";
    ASSERT_TRUE(m_Wall.Open(3));
    EXPECT_TRUE(m_Wall.CellPlays(0, 3));
}

TEST_F(PlayingWall, SecondLogonToTheSameStationIsRefusedAndThePicturesGoOn)
{
    m_Wall.Panel().GetSideBar()->SelectFolder(0, COutlook2Ctrl::EAnimation::Off);
    m_Wall.Click(*m_Wall.Control(IDOK));
    ASSERT_TRUE(CWall::Until([&] { return !m_Wall.m_Boxes.empty(); }));
    EXPECT_EQ(m_Wall.m_Boxes.front(), "This station is in the list already.");
    EXPECT_EQ(m_Wall.Tree().model()->rowCount(), 1);
    ASSERT_TRUE(CWall::Until([&] { return m_Wall.Control(IDOK)->isEnabled(); }));
    ExpectAllPlay();
}

TEST_F(PlayingWall, WindowCloses)
{
    m_Wall.Close();
    EXPECT_TRUE(GetCells().empty());
}

TEST_F(PlayingWall, WindowClosesWhileTheWallIsInFullScreen)
{
    m_Wall.Screen().Click(m_Wall.CellOnScreen(0).center());
    ASSERT_TRUE(CWall::Until([&] { return m_Wall.Grid().hasFocus(); }));
    m_Wall.Screen().Key(KEY_ESCAPE);
    ASSERT_TRUE(CWall::Until([&] { return m_Wall.Grid().isWindow(); }));
    m_Wall.Close();
    EXPECT_TRUE(GetCells().empty());
}

// oddity: empty-look-keeps-lock. By the delivered configuration the channel that waits for its picture keeps
// the others from receiving.
TEST(Wall, WithoutSharedReceiveOneChannelOfAStationPlaysAtATime)
{
    WallSetup setup;
    setup.sharedReceive = false;
    CWall wall(setup);
    ASSERT_TRUE(wall.LogOn());
    const QImage idle = wall.GrabCell(1);
    ASSERT_TRUE(wall.Open(0));
    ASSERT_TRUE(wall.CellPlays(0, 0));
    ASSERT_TRUE(wall.Open(1));
    EXPECT_TRUE(wall.CellPlays(0, 0));
    EXPECT_EQ(wall.GrabCell(1), idle);
    // The other channel's reply has been discarded; a channel that has the station to itself plays.
    for (const int channel : {0, 1}) {
        ASSERT_TRUE(wall.Choose(wall.ChannelItem(channel), TREE_COMMAND_CLOSE));
        ASSERT_TRUE(CWall::Until([&] { return wall.Channel(channel)->GetStatus() == STATUS_CLOSED; }));
    }
    ASSERT_TRUE(CWall::Until([&] {
        return !IsCellUsed(wall.Grid().GetCell(0)->Handle()) && !IsCellUsed(wall.Grid().GetCell(1)->Handle());
    }));
    ASSERT_TRUE(wall.Open(2));
    EXPECT_TRUE(wall.CellPlays(0, 2));
}

// ---- names

class RenamingWall : public testing::Test
{
  protected:
    void SetUp() override { ASSERT_TRUE(m_Wall.LogOn()); }
    QLineEdit* Editor() { return m_Wall.Tree().viewport()->findChild<QLineEdit*>(); }
    bool WaitEditor()
    {
        return CWall::Until([&] { return Editor() != nullptr && Editor()->hasFocus(); });
    }
    bool StationIsCalled(const char* name)
    {
        return CWall::Until(
                   [&] { return Editor() == nullptr && m_Wall.Station().data().toString() == name; }) &&
               m_Wall.Panel().GetTree().NodeOf(m_Wall.Station())->GetName() == name;
    }

    CWall m_Wall;
};

TEST_F(RenamingWall, ByTheMenuAndReturn)
{
    ASSERT_TRUE(m_Wall.Choose(m_Wall.Station(), TREE_COMMAND_RENAME));
    ASSERT_TRUE(WaitEditor());
    m_Wall.Screen().Type("Gate");
    m_Wall.Screen().Key(KEY_RETURN);
    EXPECT_TRUE(StationIsCalled("Gate"));
}

TEST_F(RenamingWall, ByF2AndAPressBesideIt)
{
    m_Wall.Screen().Click(m_Wall.LabelOnScreen(m_Wall.Station()));
    ASSERT_TRUE(CWall::Until([&] { return m_Wall.Tree().hasFocus(); }));
    m_Wall.Screen().Key(KEY_F2);
    ASSERT_TRUE(WaitEditor());
    m_Wall.Screen().Type("yard");
    m_Wall.Screen().Click(m_Wall.LabelOnScreen(m_Wall.ChannelItem(1)));
    EXPECT_TRUE(StationIsCalled("yard"));
}

TEST_F(RenamingWall, MoreThanFifteenCharactersCannotBeTyped)
{
    ASSERT_TRUE(m_Wall.Choose(m_Wall.Station(), TREE_COMMAND_RENAME));
    ASSERT_TRUE(WaitEditor());
    m_Wall.Screen().Type("0123456789abcdefXYZ");
    m_Wall.Screen().Key(KEY_RETURN);
    EXPECT_TRUE(StationIsCalled("0123456789abcde"));
}

TEST_F(RenamingWall, EmptyTextLeavesTheName)
{
    ASSERT_TRUE(m_Wall.Choose(m_Wall.Station(), TREE_COMMAND_RENAME));
    ASSERT_TRUE(WaitEditor());
    m_Wall.Screen().Key(KEY_BACKSPACE);
    ASSERT_TRUE(CWall::Until([&] { return Editor()->text().isEmpty(); }));
    m_Wall.Screen().Key(KEY_RETURN);
    EXPECT_TRUE(StationIsCalled("1001"));
}

}  // namespace
