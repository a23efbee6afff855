// The wall in full screen and other windows of the program.

#include <QMessageBox>
#include <QTimer>

#include "platform/windows/windows.h"
#include "tests/managed/managed_support.h"

namespace
{

constexpr int LOOK_MS = 20;

class WindowsTest : public EmbeddedTest
{
  protected:
    // Has a hand answer the next box that comes up, once it is seen on the screen.
    void AnswerTheNextBox()
    {
        m_pOwner = nullptr;
        QObject::connect(&m_Look, &QTimer::timeout, [this] {
            m_Manager.Sync();
            const auto* const box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            if (box == nullptr || !m_Manager.HasKeyboard(IdOf(*box))) return;
            const QRect place = PlaceOnScreen(*box);
            if (place.isEmpty() || ShowsPicture(place) || !box->isActiveWindow()) return;
            m_pOwner = box->parentWidget();
            m_Look.stop();
            m_Screen.Key(KEY_RETURN);
        });
        m_Look.start(LOOK_MS);
        // Not to wait for good for a box that can't be reached.
        m_GiveUp.setSingleShot(true);
        QObject::connect(&m_GiveUp, &QTimer::timeout, [] {
            ADD_FAILURE() << "the box can't be reached";
            if (auto* const box = QApplication::activeModalWidget()) box->close();
        });
        m_GiveUp.start(TIME_LIMIT_MS);
    }

    QTimer m_Look;
    QTimer m_GiveUp;
    const QWidget* m_pOwner = nullptr;
};

TEST_F(WindowsTest, BoxOfTheWallStandsAboveIt)
{
    CRenderWnd& wall = m_Embedded->Wall();
    ASSERT_TRUE(EnterFullScreen());
    wall.Lock();
    AnswerTheNextBox();
    ASSERT_TRUE(PressEscape(*m_Embedded));
    ASSERT_TRUE(Until([&] { return m_pOwner != nullptr && QApplication::activeModalWidget() == nullptr; }));
    EXPECT_EQ(m_pOwner, &wall);
    m_GiveUp.stop();
    wall.Unlock();
    EXPECT_TRUE(ComesFull(*m_Embedded)) << "and leaves it as it is";
    EXPECT_TRUE(LeaveFullScreen());
}

TEST_F(WindowsTest, BoxWithoutAnOwnerStandsAboveTheWall)
{
    ASSERT_TRUE(EnterFullScreen());
    ASSERT_TRUE(Until([&] { return m_Embedded->Wall().isActiveWindow(); }));
    AnswerTheNextBox();
    EXPECT_EQ(MessageBoxA(HWND::Null, "text", "", MB_OK), IDOK);
    EXPECT_EQ(m_pOwner, &m_Embedded->Wall());
    m_GiveUp.stop();
    EXPECT_TRUE(LeaveFullScreen());
}

TEST_F(WindowsTest, BoxOfAPanelStandsAboveTheWall)
{
    ASSERT_TRUE(EnterFullScreen());
    AnswerTheNextBox();
    EXPECT_EQ(MessageBoxA(m_Embedded->PanelWindow(), "text", "", MB_OK), IDOK);
    EXPECT_EQ(m_pOwner, &m_Container);
    m_GiveUp.stop();
    EXPECT_TRUE(LeaveFullScreen());
}

TEST_F(WindowsTest, WallThatIsLeftBeneathItsBoxGoesBack)
{
    CRenderWnd& wall = m_Embedded->Wall();
    ASSERT_TRUE(EnterFullScreen());
    QTimer::singleShot(0, &wall, [&wall] { wall.SetLayout(0); });
    AnswerTheNextBox();
    EXPECT_EQ(MessageBoxA(wall.Handle(), "text", "", MB_OK), IDOK);
    EXPECT_NE(m_pOwner, nullptr);
    m_GiveUp.stop();
    EXPECT_TRUE(ComesBack(*m_Embedded));
    EXPECT_TRUE(EnterFullScreen());
    EXPECT_TRUE(LeaveFullScreen());
}

TEST_F(WindowsTest, TwoControlsAreEachInAndOutOfFullScreenForThemselves)
{
    QWidget container;
    container.resize(800, 600);
    CEmbedded other(container);
    ASSERT_TRUE(Show(container, {400, 300}));
    other.Wall().setFocus();
    ASSERT_TRUE(PressEscape(other));
    ASSERT_TRUE(ComesFull(other));
    m_Manager.Activate(IdOf(m_Container));
    m_Embedded->Wall().SetLayout(0);
    ASSERT_TRUE(ComesFull(*m_Embedded)) << "the later one is in front";
    EXPECT_TRUE(other.Wall().IsFullScreenOn());
    m_Manager.Activate(IdOf(other.Wall()));
    ASSERT_TRUE(ComesFull(other));
    ASSERT_TRUE(PressEscape(other));
    ASSERT_TRUE(Until([&] { return !other.Wall().IsFullScreenOn(); }));
    EXPECT_TRUE(m_Embedded->Wall().IsFullScreenOn());
    m_Manager.Activate(IdOf(m_Embedded->Wall()));
    ASSERT_TRUE(ComesFull(*m_Embedded));
    ASSERT_TRUE(LeaveFullScreen());
    m_Manager.Activate(IdOf(container));
    EXPECT_TRUE(ComesBack(other));
    other.End();
}

}  // namespace
