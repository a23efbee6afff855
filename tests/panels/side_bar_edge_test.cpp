#include <gmock/gmock.h>

#include <QApplication>
#include <QLabel>
#include <QMessageBox>
#include <QMouseEvent>
#include <QSignalSpy>
#include <QWindow>
#include <algorithm>

#include "platform/files/profile.h"
#include "tests/panels/side_bar_support.h"

namespace
{

TEST_F(SideBarTest, WidthDefaultsToTwoHundredAndIsKeptInTheProfile)
{
    EXPECT_EQ(Show().GetLayoutSize(), QSize(200, 32767));
    m_Bar.reset();
    const std::string path = GetApplicationProfilePath();
    EXPECT_EQ(GetPrivateProfileIntA("Settings", "OutbarSize", 0, path.c_str()), 200);
    WritePrivateProfileStringA("Settings", "OutbarSize", "260", path.c_str());
    EXPECT_EQ(Show().GetLayoutSize().width(), 260);
}

TEST_F(SideBarTest, DraggingTheRightEdgeChangesTheWidth)
{
    Show();
    QSignalSpy laidOut(&*m_Bar, &COutlook2Ctrl::LayoutRequested);
    QTest::mousePress(&*m_Bar, Qt::LeftButton, {}, {198, 100});
    QTest::mouseMove(&*m_Bar, {240, 100});
    QTest::mouseRelease(&*m_Bar, Qt::LeftButton, {}, {250, 100});
    EXPECT_EQ(laidOut.count(), 1);
    EXPECT_EQ(m_Bar->GetLayoutSize().width(), 252);
    m_Bar.reset();
    EXPECT_EQ(GetPrivateProfileIntA("Settings", "OutbarSize", 0, GetApplicationProfilePath().c_str()), 252);
}

TEST_F(SideBarTest, WhileTheEdgeIsDraggedAnInvertedBandFollowsTheMouse)
{
    Show();
    m_Bar->AddFolder("a", {});
    const auto pixel = [&](int x) { return m_Bar->grab().toImage().pixelColor(x, 200); };
    const QColor ground(0xC5, 0xC5, 0xC5);
    const QColor inverted(0x3A, 0x3A, 0x3A);
    ASSERT_EQ(pixel(100), ground);
    QTest::mousePress(&*m_Bar, Qt::LeftButton, {}, {197, 100});  // three pixels from the edge
    QMouseEvent move(QEvent::MouseMove, QPointF(100, 100), m_Bar->mapToGlobal(QPointF(100, 100)), Qt::NoButton,
                     Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&*m_Bar, &move);
    EXPECT_EQ(pixel(94), ground);
    EXPECT_EQ(pixel(95), inverted);
    EXPECT_EQ(pixel(102), inverted);
    EXPECT_EQ(pixel(103), ground);
    QTest::mouseRelease(&*m_Bar, Qt::LeftButton, {}, {100, 100});
    EXPECT_EQ(pixel(97), ground);
}

// Above what stands on the page, and beyond the bar's own edge.
TEST_F(SideBarTest, InvertedBandIsSeenOverThePageAndOutsideOfTheBar)
{
    QWidget owner;
    owner.resize(400, 400);
    owner.setPalette(QPalette(QColor(0x10, 0x20, 0x30)));
    auto* const bar = new COutlook2Ctrl(&owner, m_hOwner);
    bar->resize(200, 400);
    auto* const page = new QWidget;
    page->setAutoFillBackground(true);
    page->setPalette(QPalette(QColor(0x26, 0x29, 0x2E)));
    bar->AddFolder("a", {}, page);
    owner.show();
    const auto pixel = [&](int x) { return owner.grab().toImage().pixelColor(x, 200); };
    const auto moveTo = [&](int x) {
        QMouseEvent move(QEvent::MouseMove, QPointF(x, 100), bar->mapToGlobal(QPointF(x, 100)), Qt::NoButton,
                         Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(bar, &move);
    };
    const QColor ground = pixel(300);
    ASSERT_EQ(pixel(100), QColor(0x26, 0x29, 0x2E)) << "the page covers the bar";
    QTest::mousePress(bar, Qt::LeftButton, {}, {198, 100});
    moveTo(100);
    EXPECT_EQ(pixel(97), QColor(0xD9, 0xD6, 0xD1));
    moveTo(300);
    EXPECT_EQ(pixel(97), QColor(0x26, 0x29, 0x2E));
    EXPECT_EQ(pixel(298), QColor(255 - ground.red(), 255 - ground.green(), 255 - ground.blue()));
    QTest::mouseRelease(bar, Qt::LeftButton, {}, {300, 100});
    EXPECT_EQ(pixel(298), ground);
}

// A message box that comes up meanwhile keeps the release from the bar.
TEST_F(SideBarTest, DragWhoseEndNeverComesIsGivenUp)
{
    for (const bool moved : {true, false}) {
        ShowWithFocus();
        QSignalSpy laidOut(&*m_Bar, &COutlook2Ctrl::LayoutRequested);
        QWindow* const window = m_Bar->windowHandle();
        const auto isTracked = [this] {
            return std::ranges::any_of(m_Bar->findChildren<QWidget*>(), &QWidget::isVisible);
        };
        QTest::mousePress(window, Qt::LeftButton, {}, {198, 100});
        QTest::mouseMove(window, {150, 100});
        ASSERT_TRUE(isTracked());
        {
            QMessageBox box;
            box.setModal(true);
            box.show();
            ASSERT_TRUE(QTest::qWaitForWindowExposed(&box));
            QTest::mouseRelease(window, Qt::LeftButton, {}, {150, 100});
        }
        ASSERT_EQ(laidOut.count(), 0);
        if (moved) {
            QTest::mouseMove(window, {100, 100});
            EXPECT_FALSE(isTracked()) << "no button is down";
        }
        QTest::mouseClick(window, Qt::LeftButton, {}, {120, 100});
        EXPECT_FALSE(isTracked());
        EXPECT_EQ(laidOut.count(), 0);
        EXPECT_EQ(m_Bar->GetLayoutSize().width(), 200);
        m_Bar.reset();
    }
}

TEST_F(SideBarTest, NeitherMouseNorKeysTakeTheWidthBeyondWhatItsOwnerHasRoomFor)
{
    ShowWithFocus();
    m_Bar->SetWidthLimit(220);
    QTest::mousePress(&*m_Bar, Qt::LeftButton, {}, {198, 100});
    QMouseEvent move(QEvent::MouseMove, QPointF(460, 100), m_Bar->mapToGlobal(QPointF(460, 100)), Qt::NoButton,
                     Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&*m_Bar, &move);
    const auto* const band = qobject_cast<const QWidget*>(m_Bar->children().constLast());
    ASSERT_NE(band, nullptr);
    EXPECT_EQ(band->geometry().right() + 1, 220) << "where the edge would come";
    QTest::mouseRelease(&*m_Bar, Qt::LeftButton, {}, {460, 100});
    EXPECT_EQ(m_Bar->GetLayoutSize().width(), 220);
    m_Bar->resize(220, 400);
    QTest::keyClick(&*m_Bar, Qt::Key_Right);
    EXPECT_EQ(m_Bar->GetLayoutSize().width(), 220);
    m_Bar->SetWidthLimit(180);
    EXPECT_EQ(m_Bar->GetLayoutSize().width(), 180);
    m_Bar.reset();
    EXPECT_EQ(GetPrivateProfileIntA("Settings", "OutbarSize", 0, GetApplicationProfilePath().c_str()), 180);
}

TEST_F(SideBarTest, CollapsedBarIsDraggedBack)
{
    WritePrivateProfileStringA("Settings", "OutbarSize", "3", GetApplicationProfilePath().c_str());
    Show(COutlook2Ctrl::RESIZE_BAND);
    m_Bar->AddFolder("a", {}, new QLabel("1"));
    Paint();
    EXPECT_EQ(m_Bar->GetLayoutSize().width(), 3);
    EXPECT_TRUE(m_Bar->GetFolder(0).m_Rect.isEmpty()) << "nothing is drawn, nothing can be hit";
    QTest::mousePress(&*m_Bar, Qt::LeftButton, {}, {2, 100});
    QTest::mouseRelease(&*m_Bar, Qt::LeftButton, {}, {180, 100});
    EXPECT_EQ(m_Bar->GetLayoutSize().width(), 182);
}

TEST_F(SideBarTest, KeysMoveTheRightEdge)
{
    ShowWithFocus();
    QSignalSpy laidOut(&*m_Bar, &COutlook2Ctrl::LayoutRequested);
    QTest::keyClick(&*m_Bar, Qt::Key_Left);
    EXPECT_EQ(m_Bar->GetLayoutSize().width(), 190);
    QTest::keyClick(&*m_Bar, Qt::Key_Right);
    EXPECT_EQ(m_Bar->GetLayoutSize().width(), 210) << "from where the owner has put it";
    EXPECT_EQ(laidOut.count(), 2);
    m_Bar->resize(COutlook2Ctrl::RESIZE_BAND, 400);
    QTest::keyClick(&*m_Bar, Qt::Key_Left);
    EXPECT_EQ(m_Bar->GetLayoutSize().width(), 0);
}

}  // namespace
