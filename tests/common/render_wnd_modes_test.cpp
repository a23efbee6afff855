#include <QAbstractEventDispatcher>
#include <QMenu>
#include <QScreen>
#include <QTimerEvent>

#include "model/NodeModel.h"
#include "model/settings/GlobalSetting.h"
#include "remote/Remote.h"
#include "tests/common/render_wnd_support.h"
#include "tests/support/box_catcher.h"

// Full screen, cycle, lock, and cells as windows of their own.

namespace
{

TEST_F(RenderWndTest, EscapeOutsideFullScreenEntersItAndTheNextLeavesIt)
{
    CRenderWnd& grid = Grid();
    grid.SetLayout(2);
    QTest::keyClick(&grid, Qt::Key_Escape);
    EXPECT_TRUE(grid.IsFullScreenOn());
    EXPECT_EQ(grid.parentWidget(), nullptr);
    EXPECT_TRUE(QTest::qWaitFor([&] { return grid.size() == grid.screen()->size(); }));
    const QSize screen = grid.screen()->size();
    EXPECT_EQ(CellRect(3).right(), static_cast<int>(400 * ((screen.width() - 20.0) / 400)) - 3);
    QTest::keyClick(&grid, Qt::Key_Escape);
    EXPECT_FALSE(grid.IsFullScreenOn());
    EXPECT_EQ(grid.parentWidget(), m_pParent.get());
    EXPECT_EQ(grid.geometry(), QRect(10, 20, 400, 300));
    EXPECT_EQ(CellRect(3), QRect(202, 152, 196, 146));
}

TEST_F(RenderWndTest, FullScreenOfModeThreeStretchesTheCellsToTheScreenLessTwenty)
{
    CRenderWnd& grid = Grid();
    const QSize screen = grid.screen()->size();
    grid.SetLayout(0);
    EXPECT_TRUE(QTest::qWaitFor([&] { return grid.size() == screen; }));
    // One cell of 400 by 300, a margin of 2 on each side.
    EXPECT_NEAR(CellRect(0).width(), screen.width() - 20 - 4, 1);
    EXPECT_NEAR(CellRect(0).height(), screen.height() - 20 - 4, 1);
    grid.SetLayout(0);
}

TEST_F(RenderWndTest, ClosingTheFullScreenLeavesItAndKeepsTheGrid)
{
    CRenderWnd& grid = Grid();
    grid.SetLayout(0);
    EXPECT_FALSE(grid.close());
    EXPECT_FALSE(grid.IsFullScreenOn());
    EXPECT_TRUE(grid.isVisible());
    EXPECT_EQ(grid.parentWidget(), m_pParent.get());
}

// A grid that goes in full screen would leave its former window with a focus that is gone.
TEST_F(RenderWndTest, FullScreenTakesTheFocusOutOfAWindowThatIsNotActive)
{
    ASSERT_FALSE(m_pParent->isActiveWindow());
    CRenderWnd& grid = Grid();
    grid.setFocus();
    ASSERT_EQ(m_pParent->focusWidget(), &grid);
    grid.SetLayout(0);
    EXPECT_EQ(m_pParent->focusWidget(), nullptr);
    grid.SetLayout(0);
}

TEST_F(RenderWndTest, FullScreenSurvivesAChangeOfTheArrangement)
{
    CRenderWnd& grid = Grid();
    grid.SetLayout(0);
    grid.SetLayout(2);
    EXPECT_TRUE(grid.IsFullScreenOn());
    EXPECT_GT(CellRect(3).left(), 400);
    grid.SetLayout(0);
    EXPECT_EQ(CellRect(3), QRect(202, 152, 196, 146));
}

TEST_F(RenderWndTest, FullScreenOfTheOtherModesHidesTheSiblings)
{
    QWidget sibling(m_pParent.get());
    sibling.show();
    CRenderWnd& grid = Grid({4}, 1);
    SendMessageA(grid.Handle(), GRID_MESSAGE_FULL_SCREEN, 0, 0);
    EXPECT_TRUE(grid.IsFullScreenOn());
    EXPECT_FALSE(sibling.isVisible());
    EXPECT_EQ(grid.parentWidget(), m_pParent.get());
    SendMessageA(grid.Handle(), GRID_MESSAGE_FULL_SCREEN, 0, 0);
    EXPECT_TRUE(sibling.isVisible());
}

TEST_F(RenderWndTest, FullScreenOfTheOtherModesMaximisesTheParentAndFillsItAtAnySize)
{
    for (const std::int32_t mode : {1, 2}) {
        CRenderWnd& grid = Grid({4}, mode);
        grid.SetLayout(0);
        EXPECT_TRUE(m_pParent->windowState() & Qt::WindowMaximized) << mode;
        m_pParent->resize(700, 500);
        EXPECT_EQ(grid.geometry(), QRect(0, 0, 700, 500)) << mode;
        grid.SetLayout(0);
        EXPECT_FALSE(m_pParent->windowState() & Qt::WindowMaximized) << mode;
        const RECT place = grid.GetGridRect();
        EXPECT_EQ(grid.geometry(),
                  QRect(place.left, place.top, place.right - place.left, place.bottom - place.top));
        m_pParent->resize(440, 360);
        EXPECT_EQ(grid.geometry().left(), place.left) << "out of full screen it stays where it is";
        m_Grid.reset();
    }
}

TEST_F(RenderWndTest, OnlyModeThreeLeavesTheSiblingsAsTheyAre)
{
    for (const std::int32_t mode : {1, 2, 3}) {
        QWidget sibling(m_pParent.get());
        sibling.show();
        CRenderWnd& grid = Grid({4}, mode);
        grid.SetLayout(0);
        EXPECT_EQ(sibling.isVisible(), mode == 3) << mode;
        EXPECT_TRUE(grid.isVisible()) << mode;
        grid.SetLayout(0);
        m_Grid.reset();
    }
}

TEST_F(RenderWndTest, FullScreenPutsBackTheParentsPlacementAndTheGridsStyle)
{
    for (const std::int32_t mode : {1, 2, 3}) {
        m_pParent->setGeometry(30, 40, 450, 370);
        CRenderWnd& grid = Grid({4}, mode);
        const Qt::WindowFlags style = grid.windowFlags();
        grid.SetLayout(0);
        EXPECT_EQ(grid.windowFlags().testFlag(Qt::FramelessWindowHint), mode == 3) << mode;
        EXPECT_EQ(grid.isWindow(), mode == 3) << mode;
        if (mode != 3) m_pParent->resize(700, 500);
        grid.SetLayout(0);
        EXPECT_EQ(m_pParent->geometry(), QRect(30, 40, 450, 370)) << mode;
        EXPECT_EQ(grid.windowFlags(), style) << mode;
        EXPECT_TRUE(grid.isVisible()) << mode;
        m_Grid.reset();
    }
}

// A dock of the container's that floats is another window.
TEST_F(RenderWndTest, FullScreenPutsBackTheWindowThatItWasEnteredIn)
{
    for (const std::int32_t mode : {1, 2, 3}) {
        QWidget former;
        former.setGeometry(30, 40, 450, 370);
        m_pParent->setParent(&former);
        former.show();
        CRenderWnd& grid = Grid({4}, mode);
        grid.SetLayout(0);
        m_pParent->setParent(nullptr);
        m_pParent->setGeometry(60, 70, 600, 500);
        m_pParent->show();
        grid.SetLayout(0);
        EXPECT_EQ(m_pParent->geometry(), QRect(60, 70, 600, 500)) << mode;
        EXPECT_EQ(former.geometry(), QRect(30, 40, 450, 370)) << mode;
        EXPECT_FALSE(former.windowState() & Qt::WindowMaximized) << mode;
        m_Grid.reset();
    }
}

TEST_F(RenderWndTest, FullScreenLeavesAWindowThatIsDockedByThenInItsPlace)
{
    QWidget main;
    main.setGeometry(30, 40, 700, 600);
    m_pParent->setGeometry(60, 70, 600, 500);
    CRenderWnd& grid = Grid({4}, 3);
    grid.SetLayout(0);
    m_pParent->setParent(&main);
    m_pParent->setGeometry(0, 20, 500, 400);
    main.show();
    grid.SetLayout(0);
    EXPECT_EQ(m_pParent->geometry(), QRect(0, 20, 500, 400));
    m_pParent->setParent(nullptr);
}

TEST_F(RenderWndTest, FullScreenGivesTheGridTheKeyboard)
{
    m_pParent->setFocusPolicy(Qt::StrongFocus);
    CRenderWnd& grid = Grid({4}, 1);
    m_pParent->setFocus();
    ASSERT_NE(m_pParent->focusWidget(), &grid);
    grid.SetLayout(0);
    EXPECT_EQ(m_pParent->focusWidget(), &grid);
    grid.SetLayout(0);
}

TEST_F(RenderWndTest, FullScreenDrawsOutlinesAndFocusStretchedAsTheCells)
{
    CRenderWnd& grid = Grid({4}, 1);
    grid.SetLayout(0);
    grid.SetLayout(2);
    const QSize screen = grid.screen()->size();
    m_pParent->resize(screen);
    const auto at = [](int length, int of, int extent) {
        return static_cast<int>(static_cast<float>(length) * static_cast<float>((extent - 20.0) / of));
    };
    const QPoint right(at(200, 400, screen.width()), at(75, 300, screen.height()));
    EXPECT_EQ(grid.grab().toImage().pixelColor(right), QColor(0x32, 0x32, 0x32));
    SendMessageA(grid.Handle(), GRID_MESSAGE_SELECT, static_cast<WPARAM>(grid.GetCell(0)->Handle()), 0);
    EXPECT_EQ(grid.grab().toImage().pixelColor(right), QColor(0xB2, 0xCD, 0xCD));
    grid.SetLayout(0);
}

// oddity: siblings-shown. All of the parent's children are shown on the way out, in every mode.
TEST_F(RenderWndTest, LeavingFullScreenShowsAlsoASiblingThatWasHiddenBefore)
{
    for (const std::int32_t mode : {1, 3}) {
        QWidget sibling(m_pParent.get());
        sibling.hide();
        CRenderWnd& grid = Grid({4}, mode);
        grid.SetLayout(0);
        EXPECT_FALSE(sibling.isVisible());
        grid.SetLayout(0);
        EXPECT_TRUE(sibling.isVisible()) << mode;
        m_Grid.reset();
    }
}

TEST_F(RenderWndTest, CycleRunsAndStops)
{
    CRenderWnd& grid = Grid();
    grid.StartCycle();
    EXPECT_TRUE(grid.IsCycling());
    grid.StopCycle();
    EXPECT_FALSE(grid.IsCycling());
}

TEST_F(RenderWndTest, CycleTurnsThePageAtTheSettingsInterval)
{
    CNodeModel::GetInstance()->GetGlobalSetting()->m_iCycleInterval = 7;
    CRenderWnd& grid = Grid();
    grid.SetLayout(2);
    grid.StartCycle();
    const auto timers = QAbstractEventDispatcher::instance()->registeredTimers(&grid);
    ASSERT_EQ(timers.size(), 1);
    EXPECT_EQ(timers[0].interval, 7000);
    QTimerEvent tick(timers[0].timerId);
    for (const int page : {1, 2, 3, 0}) {
        QApplication::sendEvent(&grid, &tick);
        EXPECT_EQ(grid.GetState().GetPage(), page);
    }
    grid.StopCycle();
    EXPECT_TRUE(QAbstractEventDispatcher::instance()->registeredTimers(&grid).isEmpty());
}

TEST_F(RenderWndTest, CycleThatIsStartedTwiceHasOneTimerOfTenSeconds)
{
    CRenderWnd& grid = Grid();
    grid.StartCycle();
    grid.StartCycle();
    const auto timers = QAbstractEventDispatcher::instance()->registeredTimers(&grid);
    ASSERT_EQ(timers.size(), 1);
    EXPECT_EQ(timers[0].interval, 10000);
    grid.StopCycle();
    EXPECT_TRUE(QAbstractEventDispatcher::instance()->registeredTimers(&grid).isEmpty());
}

TEST_F(RenderWndTest, OnlyTheCyclesTimerTurnsThePage)
{
    CRenderWnd& grid = Grid();
    grid.SetLayout(2);
    SendMessageA(grid.Handle(), GRID_MESSAGE_TIMER, 0x400, 0);
    EXPECT_EQ(grid.GetState().GetPage(), 0);
    SendMessageA(grid.Handle(), GRID_MESSAGE_TIMER, 0x401, 0);
    EXPECT_EQ(grid.GetState().GetPage(), 1);
}

TEST_F(RenderWndTest, LockedGridRefusesWithAMessageAndStepsSilently)
{
    CRenderWnd& grid = Grid();
    grid.SetLayout(2);
    grid.Lock();
    CBoxCatcher boxes;
    EXPECT_EQ(grid.SetLayout(3), 1);
    EXPECT_EQ(boxes.m_Texts.size(), 1U);
    grid.NextPage();
    grid.StartCycle();
    EXPECT_EQ(grid.GetState().GetLayout(), 2);
    EXPECT_EQ(grid.GetState().GetPage(), 0);
    EXPECT_FALSE(grid.IsCycling());
    EXPECT_EQ(boxes.m_Texts.size(), 1U);
    grid.Unlock();
    grid.NextPage();
    EXPECT_EQ(grid.GetState().GetPage(), 1);
}

TEST_F(RenderWndTest, LockedGridRefusesItsMenusCommandsAndDoubleClicks)
{
    CRenderWnd& grid = Grid();
    grid.SetLayout(2);
    TakeFreeCell();
    QTest::mouseClick(grid.GetCell(0), Qt::LeftButton);
    grid.Lock();
    CBoxCatcher boxes;
    SendMessageA(grid.Handle(), WM_COMMAND, GRID_COMMAND_FULL_SCREEN, 0);
    SendMessageA(grid.Handle(), WM_COMMAND, GRID_COMMAND_SNAPSHOT, 0);
    SendMessageA(grid.Handle(), GRID_MESSAGE_DOUBLE_CLICK, static_cast<WPARAM>(grid.GetCell(0)->Handle()), 0);
    EXPECT_EQ(boxes.m_Texts.size(), 3U);
    EXPECT_FALSE(grid.IsFullScreenOn());
    EXPECT_EQ(grid.GetState().GetLayout(), 2);
}

TEST_F(RenderWndTest, EachPageStepIsSilentWhileLocked)
{
    CRenderWnd& grid = Grid();
    grid.SetLayout(2);
    grid.NextPage();
    grid.Lock();
    CBoxCatcher boxes;
    for (const std::int32_t command :
         {GRID_COMMAND_FIRST_PAGE, GRID_COMMAND_PREV_PAGE, GRID_COMMAND_NEXT_PAGE, GRID_COMMAND_LAST_PAGE})
        SendMessageA(grid.Handle(), WM_COMMAND, static_cast<WPARAM>(command), 0);
    EXPECT_EQ(grid.GetState().GetPage(), 1);
    EXPECT_TRUE(boxes.m_Texts.empty());
}

TEST_F(RenderWndTest, FloatingCellsAreWindowsOfTheirOwn)
{
    CRenderWnd& grid = Grid();
    grid.SetLayout(2);
    TakeFreeCell();
    grid.SetFloat(true);
    EXPECT_TRUE(grid.GetCell(0)->isWindow());
    EXPECT_FALSE(grid.GetCell(1)->isWindow());
    EXPECT_TRUE(CellRect(1).isEmpty());
    grid.GetCell(0)->close();
    EXPECT_FALSE(grid.GetCell(0)->isVisible()) << "closing only hides";
    grid.SetFloat(false);
    EXPECT_FALSE(grid.GetCell(0)->isWindow());
    EXPECT_TRUE(grid.GetCell(0)->isVisible());
}

// It is its owner's to place, whatever the grid shows meanwhile.
TEST_F(RenderWndTest, FloatingCellStaysWhereItWasPut)
{
    CRenderWnd& grid = Grid();
    grid.SetLayout(2);
    TakeFreeCell();
    grid.SetFloat(true);
    const QRect place(30, 40, 120, 90);
    grid.GetCell(0)->setGeometry(place);
    grid.NextPage();
    EXPECT_EQ(CellRect(0), place);
    grid.SetLayout(3);
    EXPECT_EQ(CellRect(0), place);
}

TEST_F(RenderWndTest, FloatingCellThatIsPutBackIntoTheGridMovesNothingOnTheScreenUntilTheNextLayout)
{
    CRenderWnd& grid = Grid();
    grid.SetLayout(2);
    TakeFreeCell();
    grid.SetFloat(true);
    const QRect onScreen(grid.mapToGlobal(QPoint(30, 40)), QSize(120, 90));
    grid.GetCell(0)->setGeometry(onScreen);
    Serve();
    grid.SetFloat(false);
    Serve();
    EXPECT_EQ(CellRect(0), QRect(30, 40, 120, 90));
    grid.SetLayout(2);
    EXPECT_EQ(CellRect(0), QRect(2, 2, 196, 146));
}

TEST_F(RenderWndTest, FloatingCellThatWasClosedComesBackWithTheNextFloat)
{
    CRenderWnd& grid = Grid();
    TakeFreeCell();
    grid.SetFloat(true);
    grid.GetCell(0)->close();
    grid.SetFloat(true);
    EXPECT_TRUE(grid.GetCell(0)->isVisible());
    EXPECT_TRUE(grid.GetCell(0)->windowFlags() & Qt::WindowStaysOnTopHint);
}

TEST_F(RenderWndTest, FloatingCellThatWasGivenBackReturnsToTheGrid)
{
    CRenderWnd& grid = Grid();
    const HWND window = TakeFreeCell();
    grid.SetFloat(true);
    ReleaseCell(window);
    grid.SetFloat(false);
    EXPECT_FALSE(grid.GetCell(0)->isWindow());
    EXPECT_TRUE(CellRect(0).isEmpty()) << "a free cell has no size until the next layout";
    grid.SetLayout(2);
    EXPECT_EQ(CellRect(0), QRect(2, 2, 196, 146));
}

}  // namespace
