// The ways in and out of full screen.

#include "render/CellPool.h"
#include "tests/managed/managed_support.h"

namespace
{

class FullScreenTest : public EmbeddedTest
{
};

TEST_F(FullScreenTest, EscapeLeadsInAndOutAgainAndAgain)
{
    const QRect place = m_Embedded->WallOnScreen();
    for (int i = 0; i < 10; ++i) {
        ASSERT_TRUE(PressEscape(*m_Embedded)) << i;
        ASSERT_TRUE(ComesFull(*m_Embedded)) << i;
        ASSERT_TRUE(PressEscape(*m_Embedded)) << i;
        ASSERT_TRUE(ComesBack(*m_Embedded)) << i;
        ASSERT_EQ(m_Embedded->WallOnScreen(), place) << "the container moves " << i;
    }
}

TEST_F(FullScreenTest, QuickSuccessionEndsWhereItEnds)
{
    for (int i = 0; i < 20; ++i) {
        m_Embedded->Wall().SetLayout(0);
        if (i % 3 == 0) QApplication::processEvents();
    }
    Settle();
    EXPECT_TRUE(ComesBack(*m_Embedded));
    for (int i = 0; i < 11; ++i) {
        m_Embedded->Wall().SetLayout(0);
        if (i % 3 == 0) QApplication::processEvents();
    }
    Settle();
    EXPECT_TRUE(ComesFull(*m_Embedded));
    EXPECT_TRUE(PressEscape(*m_Embedded));
    EXPECT_TRUE(ComesBack(*m_Embedded));
}

TEST_F(FullScreenTest, WindowManagerThatIsLateLeavesTheWallInItsWindow)
{
    ASSERT_TRUE(PressEscape(*m_Embedded));
    ASSERT_TRUE(ComesFull(*m_Embedded));
    m_Manager.Stop();
    m_Embedded->Wall().SetLayout(0);
    QApplication::sync();
    m_Manager.Continue();
    Settle();
    EXPECT_TRUE(ComesBack(*m_Embedded));
}

TEST_F(FullScreenTest, MenuLeadsInAndOut)
{
    ASSERT_TRUE(Choose(*m_Embedded, "Full screen"));
    ASSERT_TRUE(ComesFull(*m_Embedded));
    ASSERT_TRUE(Choose(*m_Embedded, "Exit full screen"));
    EXPECT_TRUE(ComesBack(*m_Embedded));
}

TEST_F(FullScreenTest, DoubleClickShowsOneCellOverTheScreenAndTheNextAllOfThem)
{
    TakeFreeCell(m_Embedded->Wall().Handle());
    ASSERT_TRUE(PressEscape(*m_Embedded));
    ASSERT_TRUE(ComesFull(*m_Embedded));
    ASSERT_TRUE(ComesToHaveKeyboard(*m_Embedded));
    DoubleClick(m_Embedded->CellOnScreen(0).center());
    ASSERT_TRUE(Until([&] { return m_Embedded->CellOnScreen(0).width() > SCREEN.width() - 40; }));
    EXPECT_TRUE(Until([&] { return ShowsPicture(m_Embedded->CellOnScreen(0)); }));
    EXPECT_TRUE(m_Embedded->Wall().IsFullScreenOn());
    DoubleClick(m_Embedded->CellOnScreen(0).center());
    EXPECT_TRUE(ComesFull(*m_Embedded));
    ASSERT_TRUE(PressEscape(*m_Embedded));
    EXPECT_TRUE(ComesBack(*m_Embedded));
}

// As a task bar does, or the keys of the window manager.
TEST_F(FullScreenTest, WindowManagerThatIsToldToCloseTheWallLeadsOut)
{
    ASSERT_TRUE(PressEscape(*m_Embedded));
    ASSERT_TRUE(ComesFull(*m_Embedded));
    m_Manager.Close(IdOf(m_Embedded->Wall()));
    EXPECT_TRUE(ComesBack(*m_Embedded));
}

TEST_F(FullScreenTest, WallThatIsMinimisedComesBackToTheWholeScreenOrIntoItsWindow)
{
    CRenderWnd& wall = m_Embedded->Wall();
    for (const bool shown : {true, false}) {
        ASSERT_TRUE(PressEscape(*m_Embedded)) << shown;
        ASSERT_TRUE(ComesFull(*m_Embedded)) << shown;
        m_Manager.Minimise(IdOf(wall));
        ASSERT_TRUE(Until([&] { return m_Embedded->WallOnScreen().isEmpty() && wall.isMinimized(); })) << shown;
        if (shown) {
            m_Manager.Activate(IdOf(wall));
            ASSERT_TRUE(ComesFull(*m_Embedded));
            ASSERT_TRUE(PressEscape(*m_Embedded));
        } else {
            wall.SetLayout(0);
        }
        ASSERT_TRUE(ComesBack(*m_Embedded)) << shown;
        EXPECT_EQ(wall.windowState(), Qt::WindowNoState) << shown;
    }
}

}  // namespace
