#include <QImage>

#include "skin/theme/Theme.h"
#include "tests/common/render_wnd_support.h"

namespace
{

Color Edge(CRenderWnd& grid)
{
    const QColor color = grid.grab().toImage().pixelColor(0, grid.height() / 2);
    return {static_cast<std::uint8_t>(color.red()), static_cast<std::uint8_t>(color.green()),
            static_cast<std::uint8_t>(color.blue()), 255};
}

// Also while no cell of the page has the frame of the selection.
TEST_F(RenderWndTest, WallShowsThatItHasTheKeyboard)
{
    CRenderWnd& grid = Grid();
    m_pParent->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(m_pParent.get()));
    grid.clearFocus();
    const Color without = Edge(grid);
    grid.setFocus(Qt::TabFocusReason);
    ASSERT_TRUE(grid.hasFocus());
    EXPECT_GE(ContrastRatio(Edge(grid), without), 3.0);
    EXPECT_FALSE(CellRect(0).contains(0, grid.height() / 2)) << "in the margin beside the cells";
}

}  // namespace
