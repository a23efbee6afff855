#include "render/CellPool.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

class CellPoolTest : public testing::Test
{
  protected:
    CellPoolTest()
    {
        for (HWND& cell : m_hCells) {
            cell = RegisterWindow([this](std::uint32_t message, WPARAM, LPARAM) {
                m_Messages.push_back(message);
                return LRESULT{0};
            });
            AddCell(cell);
        }
    }
    ~CellPoolTest() override
    {
        RemoveAllCells();
        for (const HWND cell : m_hCells)
            UnregisterWindow(cell);
    }

    HWND m_hCells[3];
    std::vector<std::uint32_t> m_Messages;
};

TEST_F(CellPoolTest, FirstFreeCellIsTakenAndNullWhenAllAreUsed)
{
    for (const HWND cell : m_hCells) {
        EXPECT_FALSE(IsCellUsed(cell));
        EXPECT_EQ(TakeFreeCell(), cell);
        EXPECT_TRUE(IsCellUsed(cell));
    }
    EXPECT_EQ(TakeFreeCell(), HWND::Null);
    ReleaseCell(m_hCells[1]);
    EXPECT_EQ(TakeFreeCell(), m_hCells[1]);
}

TEST_F(CellPoolTest, ReleasedCellIsFreeAndPaintedAnew)
{
    TakeFreeCell();
    NoteCellShown(m_hCells[0]);
    ServeMessages(true);
    m_Messages.clear();
    ReleaseCell(m_hCells[0]);
    EXPECT_FALSE(IsCellUsed(m_hCells[0]));
    EXPECT_FALSE(IsCellShown(m_hCells[0]));
    EXPECT_THAT(m_Messages, IsEmpty()) << "posted";
    ServeMessages(true);
    EXPECT_THAT(m_Messages, ElementsAre(CELL_MESSAGE_CHANGED));
}

TEST_F(CellPoolTest, WindowThatIsNoCellsChangesNothing)
{
    for (const HWND window : {HWND::Null, HWND{987654}}) {
        ReleaseCell(window);
        NoteCellShown(window);
        EXPECT_FALSE(IsCellUsed(window));
        EXPECT_FALSE(IsCellShown(window));
    }
}

TEST_F(CellPoolTest, OnlyAUsedCellIsShownAndTellsItOnce)
{
    NoteCellShown(m_hCells[0]);
    EXPECT_FALSE(IsCellShown(m_hCells[0]));
    TakeFreeCell();
    NoteCellShown(m_hCells[0]);
    NoteCellShown(m_hCells[0]);
    EXPECT_TRUE(IsCellShown(m_hCells[0]));
    ServeMessages(true);
    EXPECT_THAT(m_Messages, ElementsAre(CELL_MESSAGE_CHANGED));
}

TEST_F(CellPoolTest, CellsStandInTheirOrder)
{
    TakeFreeCell();
    const auto cells = GetCells();
    ASSERT_EQ(cells.size(), 3U);
    for (std::size_t i = 0; i < cells.size(); ++i) {
        EXPECT_EQ(cells[i].m_hWnd, m_hCells[i]);
        EXPECT_EQ(cells[i].m_bUsed, i == 0);
    }
}

TEST_F(CellPoolTest, CellMayBeGivenBackAfterTheGridHasGone)
{
    const HWND cell = TakeFreeCell();
    RemoveAllCells();
    ReleaseCell(cell);
    EXPECT_EQ(TakeFreeCell(), HWND::Null);
}

TEST_F(CellPoolTest, OneCellGoesAndTheOthersStayAsTheyAre)
{
    TakeFreeCell();
    RemoveCell(m_hCells[1]);
    RemoveCell(m_hCells[1]);
    const auto cells = GetCells();
    ASSERT_EQ(cells.size(), 2U);
    EXPECT_EQ(cells[0].m_hWnd, m_hCells[0]);
    EXPECT_TRUE(cells[0].m_bUsed);
    EXPECT_EQ(cells[1].m_hWnd, m_hCells[2]);
    EXPECT_FALSE(cells[1].m_bUsed);
}

}  // namespace
