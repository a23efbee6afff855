#include <gmock/gmock.h>

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QMouseEvent>
#include <QSignalSpy>
#include <algorithm>

#include "tests/panels/side_bar_support.h"

namespace
{

TEST_F(SideBarTest, FolderButtonsStandAtTheBottomTheLastLowest)
{
    Show();
    for (const char* name : {"a", "b", "c"})
        m_Bar->AddFolder(name, {});
    Paint();
    EXPECT_EQ(m_Bar->GetFolder(2).m_Rect, QRect(0, 376, 196, 24));
    EXPECT_EQ(m_Bar->GetFolder(1).m_Rect, QRect(0, 351, 196, 24));
    EXPECT_EQ(m_Bar->GetFolder(0).m_Rect, QRect(0, 326, 196, 24));
    m_Bar->SelectFolder(2, COutlook2Ctrl::EAnimation::Off);
    Paint();
    EXPECT_EQ(m_Bar->GetFolder(0).m_Rect, QRect(0, 326, 196, 24)) << "each keeps its place";
}

TEST_F(SideBarTest, PageHoldsHeadersLinesGapsAndSeparators)
{
    Show();
    m_Bar->AddFolder("folder", {});
    m_Bar->AddItem(0, "header");
    m_Bar->AddSubItem(0, 0, "one", {}, ELineStyle::Command, 1);
    m_Bar->AddSubItem(0, 0, "two", {}, ELineStyle::Command, 2);
    m_Bar->AddItem(0, "");
    m_Bar->AddSubItem(0, 1, "three", {}, ELineStyle::Command, 3);
    Paint();
    const auto& items = m_Bar->GetFolder(0).m_Items;
    EXPECT_EQ(items[0]->m_Rect, QRect(0, 35, 196, 24));
    EXPECT_EQ(Line(0, 0, 0).m_Rect, QRect(0, 59, 196, 17));
    EXPECT_EQ(Line(0, 0, 1).m_Rect, QRect(0, 76, 196, 17));
    EXPECT_EQ(items[1]->m_Rect, QRect(0, 93 + 7, 196, 8));
    EXPECT_EQ(Line(0, 1, 0).m_Rect, QRect(0, 108, 196, 17));
}

TEST_F(SideBarTest, NegativeIndexesMeanTheLast)
{
    Show();
    m_Bar->AddFolder("a", {});
    m_Bar->AddFolder("b", {});
    EXPECT_EQ(m_Bar->AddItem(-1, "first"), 0);
    EXPECT_EQ(m_Bar->AddItem(-1, "second"), 1);
    EXPECT_EQ(m_Bar->AddSubItem(-1, -1, "line", {}, ELineStyle::Command, 1), 0);
    EXPECT_TRUE(m_Bar->GetFolder(0).m_Items.empty());
    ASSERT_EQ(m_Bar->GetFolder(1).m_Items.size(), 2U);
    EXPECT_TRUE(m_Bar->GetFolder(1).m_Items[0]->m_SubItems.empty());
    EXPECT_EQ(m_Bar->GetFolder(1).m_Items[1]->m_SubItems.size(), 1U);
}

TEST_F(SideBarTest, UnknownPlacesAreRefused)
{
    Show();
    EXPECT_EQ(m_Bar->AddItem(-1, "x"), -1);
    m_Bar->AddFolder("a", {});
    EXPECT_EQ(m_Bar->AddItem(1, "x"), -1);
    EXPECT_EQ(m_Bar->AddSubItem(0, -1, "x", {}, ELineStyle::Command, 1), -1);
    EXPECT_EQ(m_Bar->AddSubItem(0, 0, nullptr), -1);
}

TEST_F(SideBarTest, ChildTallerThanThePageIsClipped)
{
    Show();
    m_Bar->AddFolder("a", {});
    m_Bar->AddItem(0, "header");
    auto* const child = new QLabel("child");
    m_Bar->AddSubItem(0, 0, child, 5000);
    Paint();
    EXPECT_EQ(child->geometry(), QRect(0, 59, 196, 5000)) << "it keeps its height";
    EXPECT_EQ(child->mask().boundingRect(), QRect(0, 0, 196, 400 - 59 - 25));
    EXPECT_EQ(m_Bar->childAt(10, 370), child);
    EXPECT_EQ(m_Bar->childAt(10, 380), nullptr);
    EXPECT_TRUE(child->isVisible());
    EXPECT_EQ(m_Bar->HitTest({10, 399}).kind, COutlook2Ctrl::EHit::Folder) << "the button is not covered";
    m_Bar->resize(200, 6000);
    Paint();
    EXPECT_EQ(m_Bar->childAt(10, 5000), child);
}

TEST_F(SideBarTest, ChildOfMinusOneTakesAllThatIsLeft)
{
    Show();
    auto* const child = new QLabel("child");
    m_Bar->AddFolder("a", {}, child);
    Paint();
    EXPECT_EQ(child->geometry().bottom(), 400 - 25 - 1);
    EXPECT_EQ(child->width(), 196);
}

TEST_F(SideBarTest, SelectingAFolderShowsItsChildrenOnly)
{
    Show();
    auto* const first = new QLabel("1");
    auto* const second = new QLabel("2");
    m_Bar->AddFolder("a", {}, first);
    m_Bar->AddFolder("b", {}, second);
    EXPECT_TRUE(first->isVisible());
    EXPECT_FALSE(second->isVisible());
    m_Bar->SelectFolder(1, COutlook2Ctrl::EAnimation::Off);
    EXPECT_FALSE(first->isVisible());
    EXPECT_TRUE(second->isVisible());
    EXPECT_EQ(m_Bar->accessibleName(), "b");
}

TEST_F(SideBarTest, SelectingTheSelectedOrAnUnknownFolderChangesNothing)
{
    Show();
    m_Bar->AddFolder("a", {});
    QSignalSpy selected(&*m_Bar, &COutlook2Ctrl::FolderSelected);
    for (const int index : {0, -1, 1})
        m_Bar->SelectFolder(index, COutlook2Ctrl::EAnimation::On);
    EXPECT_EQ(selected.count(), 0);
}

TEST_F(SideBarTest, SelectedButtonRunsFromLightToDarkBlueAndAPlainOneInGreys)
{
    Show();
    m_Bar->AddFolder("a", {});
    m_Bar->AddFolder("b", {});
    const QImage shown = m_Bar->grab().toImage();
    const auto near = [&shown](int y, QRgb wanted) {
        const QColor is = shown.pixelColor(190, y);
        EXPECT_NEAR(is.red(), qRed(wanted), 6) << y;
        EXPECT_NEAR(is.green(), qGreen(wanted), 6) << y;
        EXPECT_NEAR(is.blue(), qBlue(wanted), 6) << y;
    };
    near(351, 0x4AB0F2);
    near(374, 0x1D6E98);
    near(376, 0xD7D7D7);
    near(399, 0x9B9B9B);
}

TEST_F(SideBarTest, NameOfAPlainButtonIsDarkGrey)
{
    Show();
    m_Bar->AddFolder("a", {});
    m_Bar->AddFolder(QString(8, QChar(0x2588)), {});  // full blocks, so that a pixel is all ink
    const QImage button = m_Bar->grab(QRect(0, 376, 196, 24)).toImage();
    int darkest = 255;
    for (int y = 0; y < button.height(); ++y) {
        for (int x = 0; x < button.width(); ++x)
            darkest = std::min(darkest, button.pixelColor(x, y).lightness());
    }
    EXPECT_EQ(darkest, 0x32);
}

TEST_F(SideBarTest, KeysSelectFolders)
{
    ShowWithFocus();
    for (const char* name : {"a", "b", "c"})
        m_Bar->AddFolder(name, {});
    QTest::keyClick(&*m_Bar, Qt::Key_Down);
    EXPECT_EQ(m_Bar->GetSelectedFolder(), 1);
    QTest::keyClick(&*m_Bar, Qt::Key_3, Qt::ControlModifier);
    EXPECT_EQ(m_Bar->GetSelectedFolder(), 2);
    QTest::keyClick(&*m_Bar, Qt::Key_Up);
    EXPECT_EQ(m_Bar->GetSelectedFolder(), 1);
}

TEST_F(SideBarTest, ArrowsThatAControlOfThePageHasNoUseForAreNotTheBars)
{
    Show();
    auto* const field = new QLineEdit;
    m_Bar->AddFolder("a", {}, field);
    m_Bar->AddFolder("b", {});
    m_Bar->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&*m_Bar));
    field->setFocus();
    ASSERT_TRUE(field->hasFocus());
    for (const Qt::Key key : {Qt::Key_Left, Qt::Key_Right, Qt::Key_Up, Qt::Key_Down}) {
        QTest::keyClick(field, key);
        EXPECT_EQ(m_Bar->GetSelectedFolder(), 0) << key;
        EXPECT_EQ(m_Bar->GetLayoutSize().width(), 200) << key;  // the next key would undo it
    }
    QTest::keyClick(field, Qt::Key_2, Qt::ControlModifier);
    EXPECT_EQ(m_Bar->GetSelectedFolder(), 1) << "by its number a folder is selected from anywhere in the bar";
}

// The next one in the order of the Tab key may be a container's.
TEST_F(SideBarTest, KeyboardOfAPageThatGoesStaysInTheBar)
{
    for (const auto animation : {COutlook2Ctrl::EAnimation::Off, COutlook2Ctrl::EAnimation::On}) {
        QWidget container;
        QLineEdit others(&container);
        COutlook2Ctrl bar(&container, m_hOwner);
        bar.resize(200, 400);
        auto* const field = new QLineEdit;
        bar.AddFolder("a", {}, field);
        bar.AddFolder("b", {});
        container.show();
        container.activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&container));
        field->setFocus();
        bar.SelectFolder(1, animation);
        EXPECT_TRUE(bar.hasFocus());
        others.setFocus();
        bar.SelectFolder(0, animation);
        EXPECT_TRUE(others.hasFocus()) << "which the bar doesn't take from others";
    }
}

// What the page has no use for comes to the bar, within which it lies.
TEST_F(SideBarTest, PressOnAPageIsNotTheBars)
{
    Show();
    auto* const page = new QWidget;
    m_Bar->AddFolder("a", {}, page);
    m_Bar->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&*m_Bar));
    page->setFocus();
    QTest::mousePress(page, Qt::LeftButton, {}, {50, 50});
    EXPECT_TRUE(page->hasFocus());
    QMouseEvent move(QEvent::MouseMove, QPointF(51, 50), page->mapToGlobal(QPointF(51, 50)), Qt::NoButton,
                     Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(page, &move);
    EXPECT_EQ(page->cursor().shape(), Qt::ArrowCursor);
    QTest::mouseRelease(page, Qt::LeftButton, {}, {51, 50});
}

TEST_F(SideBarTest, FreePlaceOfAPageGivesTheBarNoKeyboardByAnyButton)
{
    Show();
    auto* const page = new QWidget;
    auto* const field = new QLineEdit(page);
    m_Bar->AddFolder("a", {}, page);
    m_Bar->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&*m_Bar));
    for (const Qt::MouseButton button : {Qt::LeftButton, Qt::MiddleButton, Qt::RightButton}) {
        field->setFocus();
        QTest::mouseClick(page, button, {}, {50, 150});
        EXPECT_FALSE(m_Bar->hasFocus()) << button;
    }
    field->setFocus();
    QTest::mouseClick(&*m_Bar, Qt::LeftButton, {}, {50, 10});
    EXPECT_TRUE(m_Bar->hasFocus());
    EXPECT_TRUE(m_Bar->focusPolicy() & Qt::TabFocus);
}

TEST_F(SideBarTest, SeparatorIsABarOfThreePixelsInAStepOfEight)
{
    Show();
    m_Bar->AddFolder("a", {});
    m_Bar->AddItem(0, "");
    Paint();
    const QRect step = m_Bar->GetFolder(0).m_Items[0]->m_Rect;
    ASSERT_EQ(step, QRect(0, 35, 196, 8));
    const QImage shown = m_Bar->grab().toImage();
    int bar = 0;
    for (int y = step.top(); y <= step.bottom() + 8; ++y)
        bar += shown.pixelColor(100, y) == QColor(0xC5, 0xC5, 0xC5) ? 0 : 1;
    EXPECT_EQ(bar, 3);
}

TEST_F(SideBarTest, BandOnTopBearsTheNameOfTheSelectedFolder)
{
    Show();
    m_Bar->AddFolder("Hg", {});
    m_Bar->AddFolder("", {});
    const auto band = [&] { return m_Bar->grab(QRect(0, 0, 196, COutlook2Ctrl::TITLE_HEIGHT)).toImage(); };
    const QImage named = band();
    m_Bar->SelectFolder(1, COutlook2Ctrl::EAnimation::Off);
    const QImage empty = band();
    int first = -1;
    int last = -1;
    for (int y = 0; y < named.height(); ++y) {
        for (int x = 0; x < named.width(); ++x) {
            if (named.pixel(x, y) == empty.pixel(x, y)) continue;
            first = first < 0 ? y : first;
            last = y;
        }
    }
    QFont title = QApplication::font();
    title.setPixelSize(20);
    title.setWeight(QFont::DemiBold);
    const int ink = QFontMetrics(title).tightBoundingRect("Hg").height();
    EXPECT_NEAR(last - first + 1, ink, 2) << "twenty pixels high";
    EXPECT_NE(m_Bar->accessibleName(), "Hg");
}

}  // namespace
