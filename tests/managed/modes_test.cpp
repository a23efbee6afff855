// The modes whose full screen blows up the window around the wall.

#include "tests/common/render_wnd_support.h"
#include "tests/managed/managed_support.h"

namespace
{

class ModesTest : public RenderWndTest, public testing::WithParamInterface<std::int32_t>
{
  protected:
    CScreen m_Screen{qgetenv("DISPLAY").toStdString()};
    CWindowManager& m_Manager = CWindowManager::Get();
};

TEST_P(ModesTest, WindowIsMaximisedWithTheWallAloneInItAndComesBack)
{
    QWidget sibling(m_pParent.get());
    sibling.show();
    CRenderWnd& grid = Grid({4}, GetParam());
    m_pParent->setGeometry(150, 120, 700, 500);
    m_Manager.Activate(IdOf(*m_pParent));
    ASSERT_TRUE(Until([&] {
        return m_pParent->isActiveWindow() && PlaceOnScreen(*m_pParent).topLeft() == QPoint(150, 120);
    }));
    const QRect window = PlaceOnScreen(*m_pParent);
    const QRect wall = PlaceOnScreen(grid);
    ASSERT_FALSE(wall.isEmpty());
    grid.setFocus();
    for (int i = 0; i < 5; ++i) {
        m_Screen.Key(KEY_ESCAPE);
        ASSERT_TRUE(Until([&] {
            return PlaceOnScreen(*m_pParent).width() > SCREEN.width() - 20 &&
                   PlaceOnScreen(grid) == PlaceOnScreen(*m_pParent);
        })) << i;
        EXPECT_TRUE(grid.IsFullScreenOn());
        EXPECT_TRUE(m_pParent->isMaximized());
        EXPECT_FALSE(sibling.isVisible());
        m_Screen.Key(KEY_ESCAPE);
        ASSERT_TRUE(Until([&] { return PlaceOnScreen(*m_pParent) == window && PlaceOnScreen(grid) == wall; }))
            << i;
        EXPECT_FALSE(m_pParent->isMaximized());
        EXPECT_TRUE(sibling.isVisible());
    }
}

INSTANTIATE_TEST_SUITE_P(Modes, ModesTest, testing::Values(1, 2));

}  // namespace
