// What a container's window does while its wall is in full screen.

#include <QDialog>
#include <QWindow>

#include "tests/managed/managed_support.h"

namespace
{

class ContainerTest : public EmbeddedTest
{
  protected:
    QRect ContainerOnScreen() const { return PlaceOnScreen(m_Container); }
};

TEST_F(ContainerTest, StaysWhereItIsAlsoAtTheScreensEdge)
{
    for (const QPoint& place : {QPoint(300, 200), QPoint(0, 0), QPoint(-50, -10), QPoint(700, 500)}) {
        const QRect before(place, m_Container.size());
        m_Container.setGeometry(before);
        ASSERT_TRUE(Until([&] { return ContainerOnScreen() == before; })) << place.x();
        for (int i = 0; i < 3; ++i) {
            ASSERT_TRUE(EnterFullScreen()) << place.x();
            ASSERT_TRUE(PressEscape(*m_Embedded));
            ASSERT_TRUE(Until([&] { return !m_Embedded->WallOnScreen().isEmpty(); }));
            Settle();
            EXPECT_EQ(ContainerOnScreen(), before) << place.x();
        }
    }
}

TEST_F(ContainerTest, GoesBackToWhereItWasWhenItIsMovedMeanwhile)
{
    const QRect before = ContainerOnScreen();
    ASSERT_TRUE(EnterFullScreen());
    m_Manager.Move(IdOf(m_Container), {40, 50});
    ASSERT_TRUE(Until([&] { return m_Container.geometry().left() < before.left() - 60; }));
    m_Manager.Activate(IdOf(m_Embedded->Wall()));
    ASSERT_TRUE(LeaveFullScreen());
    EXPECT_TRUE(Until([&] { return ContainerOnScreen() == before; }));
}

TEST_F(ContainerTest, StaysMaximised)
{
    m_Container.showMaximized();
    ASSERT_TRUE(
        Until([&] { return m_Container.isMaximized() && ContainerOnScreen().width() > SCREEN.width() - 20; }));
    Settle();
    const QRect before = ContainerOnScreen();
    ASSERT_TRUE(EnterFullScreen());
    ASSERT_TRUE(LeaveFullScreen());
    Settle();
    EXPECT_TRUE(m_Container.isMaximized());
    EXPECT_EQ(ContainerOnScreen(), before);
}

TEST_F(ContainerTest, ThatStaysOnTopIsBeneathTheWall)
{
    m_Container.setWindowFlag(Qt::WindowStaysOnTopHint);
    ASSERT_TRUE(Show(m_Container));
    m_Embedded->Wall().setFocus();
    ASSERT_TRUE(ComesBack(*m_Embedded));
    ASSERT_TRUE(EnterFullScreen());
    EXPECT_TRUE(LeaveFullScreen());
}

TEST_F(ContainerTest, ThatIsToldToStayOnTopMeanwhileTakesTheWallBack)
{
    for (const bool onTop : {true, false}) {
        ASSERT_TRUE(EnterFullScreen()) << onTop;
        m_Container.setWindowFlag(Qt::WindowStaysOnTopHint, onTop);
        Settle();
        m_Container.show();
        Settle();
        EXPECT_TRUE(m_Embedded->Wall().IsFullScreenOn()) << onTop;
        m_Manager.Activate(IdOf(m_Embedded->Wall()));
        ASSERT_TRUE(LeaveFullScreen()) << onTop;
    }
}

TEST_F(ContainerTest, ThatIsMinimisedLeavesTheWallAndIsShownWithItAgain)
{
    ASSERT_TRUE(EnterFullScreen());
    m_Manager.Minimise(IdOf(m_Container));
    ASSERT_TRUE(Until([&] { return m_Container.isMinimized() && ContainerOnScreen().isEmpty(); }));
    EXPECT_TRUE(ComesFull(*m_Embedded));
    m_Manager.Activate(IdOf(m_Embedded->Wall()));
    EXPECT_TRUE(LeaveFullScreen());
    EXPECT_FALSE(m_Container.isMinimized());
}

TEST_F(ContainerTest, ThatIsHiddenLeavesTheWallUntilItIsShownAgain)
{
    ASSERT_TRUE(EnterFullScreen());
    m_Container.hide();
    Settle();
    EXPECT_TRUE(ComesFull(*m_Embedded));
    ASSERT_TRUE(PressEscape(*m_Embedded));
    ASSERT_TRUE(Until([&] { return m_Embedded->WallOnScreen().isEmpty(); }));
    EXPECT_FALSE(m_Embedded->Wall().IsFullScreenOn());
    m_Container.show();
    EXPECT_TRUE(ComesBack(*m_Embedded));
}

TEST_F(ContainerTest, ThatIsClosedTakesTheWallAlong)
{
    ASSERT_TRUE(EnterFullScreen());
    m_Manager.Close(IdOf(m_Container));
    ASSERT_TRUE(Until([&] { return !m_Container.isVisible() && m_Embedded->WallOnScreen().isEmpty(); }));
    EXPECT_FALSE(m_Embedded->Wall().IsFullScreenOn());
    Settle();
    EXPECT_TRUE(m_Embedded->WallOnScreen().isEmpty());
    EXPECT_TRUE(Show(m_Container));
    EXPECT_TRUE(ComesBack(*m_Embedded));
}

TEST_F(ContainerTest, ThatIsDestroyedTakesTheWallAlong)
{
    auto container = std::make_unique<QWidget>();
    container->resize(800, 600);
    CEmbedded embedded(*container);
    ASSERT_TRUE(Show(*container));
    embedded.Wall().setFocus();
    ASSERT_TRUE(PressEscape(embedded));
    ASSERT_TRUE(ComesFull(embedded));
    const WId wall = IdOf(embedded.Wall());
    container.reset();
    QCoreApplication::removePostedEvents(qApp, QEvent::Quit);  // of its cells, as a host that goes on does
    EXPECT_TRUE(m_Manager.PlaceOf(wall).isEmpty());
    Settle();
}

// The wall belongs to a modal container, which keeps the input from all other windows; no longer than that.
TEST_F(ContainerTest, ThatIsModalOwnsTheWallForThatFullScreenAlone)
{
    QDialog container;
    container.resize(800, 600);
    container.setModal(true);
    CEmbedded embedded(container);
    for (const bool modal : {true, false, true}) {
        container.hide();
        container.setModal(modal);
        ASSERT_TRUE(Show(container)) << modal;
        embedded.Wall().setFocus();
        ASSERT_TRUE(PressEscape(embedded)) << modal;
        ASSERT_TRUE(ComesFull(embedded)) << modal;
        EXPECT_EQ(embedded.Wall().windowHandle()->transientParent() != nullptr, modal);
        if (!modal) {
            m_Manager.Minimise(IdOf(container));
            ASSERT_TRUE(Until([&] { return container.isMinimized(); }));
            Settle();
            EXPECT_TRUE(ComesFull(embedded)) << "a window that it owned would be minimised with it";
        }
        ASSERT_TRUE(PressEscape(embedded)) << modal;
        ASSERT_TRUE(ComesBack(embedded)) << modal;
    }
    embedded.End();
}

}  // namespace
