#include "common/GridState.h"

#include <gmock/gmock.h>

namespace
{

std::vector<RECT> Cells(std::size_t count)
{
    std::vector<RECT> rects;
    for (std::size_t i = 0; i < count; ++i) {
        const auto at = static_cast<std::int32_t>(i) * 10;
        rects.push_back({at, at, at + 10, at + 8});
    }
    return rects;
}

// The yardstick, one cell, and the sizes given.
CGridState Grid(std::initializer_list<std::size_t> sizes)
{
    std::vector<std::vector<RECT>> layouts{{{0, 0, 600, 400}}, {{0, 0, 600, 400}}};
    for (const std::size_t size : sizes)
        layouts.push_back(Cells(size));
    return CGridState(layouts);
}

TEST(GridStateTest, StartsWithOneCellAndNoFocus)
{
    const CGridState grid = Grid({4, 16});
    EXPECT_EQ(grid.GetLayout(), 1);
    EXPECT_EQ(grid.GetPreviousLayout(), 1);
    EXPECT_EQ(grid.GetFocus(), -1);
    EXPECT_EQ(grid.GetPage(), 0);
    EXPECT_EQ(grid.GetCellCount(), 16);
}

TEST(GridStateTest, FourOnAPageOfSixteenGivesFourPagesThatWrap)
{
    CGridState grid = Grid({4, 16});
    grid.SelectLayout(2);
    EXPECT_EQ(grid.GetLastPage(), 3);
    grid.LastPage();
    grid.NextPage();
    EXPECT_EQ(grid.GetPage(), 0);
    grid.PrevPage();
    for (const int page : {3, 2, 1, 0, 3}) {
        EXPECT_EQ(grid.GetPage(), page);
        grid.PrevPage();
    }
}

TEST(GridStateTest, LastPageOfAnUnevenArrangementShowsTheRest)
{
    CGridState grid = Grid({6, 16});
    grid.SelectLayout(2);
    EXPECT_EQ(grid.GetLastPage(), 2);
    grid.LastPage();
    const auto placement = grid.Place(1.0F, 1.0F);
    EXPECT_EQ(placement.outlines.size(), 4U);
    for (std::size_t i = 0; i < 16; ++i)
        EXPECT_EQ(placement.cells[i] == RECT{}, i < 12) << i;
}

TEST(GridStateTest, CellsLieWithinTheirRectanglesByTwo)
{
    CGridState grid = Grid({4, 16});
    grid.SelectLayout(2);
    const auto placement = grid.Place(1.0F, 1.0F);
    EXPECT_EQ(placement.outlines[1], (RECT{10, 10, 20, 18}));
    EXPECT_EQ(placement.cells[1], (RECT{12, 12, 18, 16}));
    EXPECT_EQ(placement.cells[4], RECT{}) << "cells of other pages have no size";
}

TEST(GridStateTest, ScaledCoordinatesAreCut)
{
    EXPECT_EQ(ScaleRect({3, 5, 7, 9}, 1.5F, 0.5F), (RECT{4, 2, 10, 4}));
}

// A layout file may tell any; what lies farther no window reaches.
TEST(GridStateTest, ScaledCoordinatesStayWithinADisplays)
{
    EXPECT_EQ(ScaleRect({-800, 600, 2147483647, -2147483647}, 2e6F, 2e6F),
              (RECT{-32767, 32767, 32767, -32767}));
    EXPECT_EQ(ScaleRect({0, 0, 32767, 1}, 1.0F, 1.0F), (RECT{0, 0, 32767, 1}));
}

// In double precision 100 * 1.15 falls short of 115.
TEST(GridStateTest, ScaledCoordinatesAreComputedInSinglePrecision)
{
    EXPECT_EQ(ScaleRect({0, 0, 100, 180}, 1.15F, 1.15F), (RECT{0, 0, 115, 207}));
}

TEST(GridStateTest, LayoutForACountIsTheFirstWithCellsEnough)
{
    const CGridState grid = Grid({4, 6, 9, 16});
    EXPECT_EQ(grid.FindLayoutFor(1), grid.FindLayoutFor(4));
    EXPECT_EQ(grid.FindLayoutFor(4), 2);
    EXPECT_EQ(grid.FindLayoutFor(5), 3);
    EXPECT_EQ(grid.FindLayoutFor(16), 5);
    EXPECT_EQ(grid.FindLayoutFor(1000), 5);
    EXPECT_EQ(CGridState().FindLayoutFor(4), -1);
}

TEST(GridStateTest, LeavingTheSingleCellGoesToTheFirstPage)
{
    CGridState grid = Grid({4, 16});
    grid.SelectLayout(2);
    grid.SetPage(3);
    grid.SelectLayout(3);
    EXPECT_EQ(grid.GetPage(), 3) << "only the single cell's page is taken back";
    grid.SelectLayout(1);
    grid.SetPage(7);
    grid.SelectLayout(grid.GetPreviousLayout());
    EXPECT_EQ(grid.GetLayout(), 3);
    EXPECT_EQ(grid.GetPage(), 0);
}

TEST(GridStateTest, UnknownLayoutChangesNothing)
{
    CGridState grid = Grid({4});
    grid.SelectLayout(3);
    grid.SelectLayout(-5);
    EXPECT_EQ(grid.GetLayout(), 1);
}

// oddity: focus-over-all-pages. The frame's index is the cell's, over all pages, used directly on the page's
// rectangles.
TEST(GridStateTest, FocusedCellOfALaterPageHasNoFrame)
{
    CGridState grid = Grid({4, 16});
    grid.SelectLayout(2);
    RECT rect;
    EXPECT_FALSE(grid.GetFocusRect(1.0F, 1.0F, rect));
    grid.SetFocus(3);
    EXPECT_TRUE(grid.GetFocusRect(2.0F, 1.0F, rect));
    EXPECT_EQ(rect, (RECT{60, 30, 80, 38}));
    grid.SetFocus(5);
    grid.NextPage();
    EXPECT_FALSE(grid.GetFocusRect(1.0F, 1.0F, rect));
    grid.SetFocus(2);
    EXPECT_TRUE(grid.GetFocusRect(1.0F, 1.0F, rect))
        << "an index below the page's count draws on whatever page";
}

TEST(GridStateTest, GridWithoutArrangementsHoldsStill)
{
    CGridState grid;
    grid.NextPage();
    grid.PrevPage();
    grid.LastPage();
    grid.SelectLayout(0);
    EXPECT_EQ(grid.GetPage(), 0);
    EXPECT_TRUE(grid.Place(1.0F, 1.0F).cells.empty());
    EXPECT_EQ(grid.GetYardstick(), RECT{});
}

}  // namespace
