#include "common/WindowPlace.h"

#include <QTest>

#include "common/RenderCell.h"
#include "tests/common/render_wnd_support.h"
#include "tests/common/server_windows_support.h"

namespace
{

constexpr Geometry ELSEWHERE{30, 40, 111, 99};

class WindowPlaceTest : public RenderWndTest
{
  protected:
    // Whether the toolkit and the server both have the widget there, at once or later.
    bool Stands(const QWidget& widget, const QRect& place)
    {
        const Geometry wanted{place.x(), place.y(), place.width(), place.height()};
        return QTest::qWaitFor(
            [&] { return widget.geometry() == place && m_Server.Get(widget.winId()) == wanted; }, 10000);
    }

    // Has the server place the second cell at what `where` makes of its own place, from which it must go back.
    template <typename Where>
    void MoveCellAway(Where where)
    {
        CRenderWnd& grid = Grid({4});
        grid.SetLayout(2);
        const CRenderCell& cell = *grid.GetCell(1);
        const QRect place = cell.geometry();
        ASSERT_TRUE(Stands(cell, place));
        m_Server.Move(cell.winId(), where(place));
        EXPECT_TRUE(Stands(cell, place));
    }

    const CServerWindows m_Server;
};

TEST_F(WindowPlaceTest, CellGoesBackWhenTheServerTellsOfAnotherPlace)
{
    MoveCellAway([](const QRect&) { return ELSEWHERE; });
}

TEST_F(WindowPlaceTest, CellGoesBackAlsoWhenItKeepsItsSize)
{
    MoveCellAway([](const QRect& place) { return Geometry{30, 40, place.width(), place.height()}; });
}

TEST_F(WindowPlaceTest, WidgetThatWasNotPutGoesWhereItIsMoved)
{
    QWidget child(m_pParent.get());
    const CWindowPlace place(child);
    child.show();
    child.setGeometry(30, 40, 111, 99);
    Serve();
    EXPECT_EQ(child.geometry(), QRect(30, 40, 111, 99));
}

TEST_F(WindowPlaceTest, GridGoesBackWithItsCells)
{
    CRenderWnd& grid = Grid({4});
    grid.SetLayout(2);
    const QRect place = grid.geometry();
    const QRect cell = grid.GetCell(3)->geometry();
    ASSERT_TRUE(Stands(grid, place));
    m_Server.Move(grid.winId(), ELSEWHERE);
    EXPECT_TRUE(Stands(grid, place));
    EXPECT_TRUE(Stands(*grid.GetCell(3), cell));
}

// Each of these comes with a place that the one before has made stale.
TEST_F(WindowPlaceTest, CellsStandInTheGridAfterFullScreenInQuickSuccession)
{
    for (const int mode : {1, 3}) {
        CRenderWnd& grid = Grid({4}, mode);
        grid.SetLayout(2);
        const QRect place = grid.geometry();
        const QRect cell = grid.GetCell(3)->geometry();
        for (int i = 0; i < 20; ++i) {
            grid.SetLayout(0);
            if (i % 3 == 0) Serve();
        }
        EXPECT_TRUE(Stands(grid, place)) << "mode " << mode;
        EXPECT_TRUE(Stands(*grid.GetCell(3), cell)) << "mode " << mode;
    }
}

// It hears that the window was hidden when the toolkit has put it into its parent already.
TEST_F(WindowPlaceTest, WindowManagerThatComesLateTakesTheGridOutOfNoContainer)
{
    CRenderWnd& grid = Grid({4});
    grid.SetLayout(2);
    const QRect place = grid.geometry();
    grid.SetLayout(0);
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&grid));
    const WId managed = grid.winId();
    grid.SetLayout(0);
    m_Server.PutOnScreen(managed);
    EXPECT_TRUE(m_Server.IsWithin(m_pParent->winId(), grid.winId()));
    EXPECT_TRUE(Stands(grid, place));
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_TRUE(m_Server.IsWithin(grid.winId(), grid.GetCell(i)->winId())) << i;
        EXPECT_TRUE(grid.GetCell(i)->isVisible()) << i;
    }
}

}  // namespace
