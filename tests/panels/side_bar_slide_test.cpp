#include <gmock/gmock.h>

#include <QApplication>
#include <QLabel>
#include <QTimer>
#include <QTimerEvent>

#include "platform/os/paths.h"
#include "skin/Skin.h"
#include "tests/panels/side_bar_support.h"
#include "tests/support/test_places.h"

namespace
{

TEST_F(SideBarTest, ClickOnAFolderSlidesItsPageIn)
{
    Show();
    m_Bar->AddFolder("a", {}, new QLabel("1"));
    auto* const second = new QLabel("2");
    m_Bar->AddFolder("b", {}, second);
    Paint();
    QTest::mouseClick(&*m_Bar, Qt::LeftButton, {}, Middle(m_Bar->GetFolder(1).m_Rect));
    EXPECT_EQ(m_Bar->GetSelectedFolder(), 1);
    EXPECT_TRUE(m_Bar->IsSliding());
    EXPECT_FALSE(second->isVisible()) << "until the final picture";
    EXPECT_TRUE(QTest::qWaitFor([&] { return !m_Bar->IsSliding() && second->isVisible(); }));
}

TEST_F(SideBarTest, ClickWhileAPageSlidesInIsNotLost)
{
    Show();
    m_Bar->AddFolder("a", {}, new QLabel("1"));
    auto* const second = new QLabel("2");
    m_Bar->AddFolder("b", {}, second);
    auto* const third = new QLabel("3");
    m_Bar->AddFolder("c", {}, third);
    Paint();
    QTest::mouseClick(&*m_Bar, Qt::LeftButton, {}, Middle(m_Bar->GetFolder(1).m_Rect));
    ASSERT_TRUE(m_Bar->IsSliding());
    QTest::mouseClick(&*m_Bar, Qt::LeftButton, {}, Middle(m_Bar->GetFolder(2).m_Rect));
    EXPECT_EQ(m_Bar->GetSelectedFolder(), 2);
    EXPECT_TRUE(m_Bar->IsSliding());
    EXPECT_TRUE(QTest::qWaitFor([&] { return !m_Bar->IsSliding() && third->isVisible(); }));
    EXPECT_FALSE(second->isVisible());
}

TEST_F(SideBarTest, SlideRunsWithTheSkinToo)
{
    const char module = 0;
    ASSERT_NE(StartSkin(&module, 0, 0), 0);
    ASSERT_NE(LoadSkin(SystemPath(SourcePath("config/skin.smf"))), 0);
    Show();
    ASSERT_TRUE(SkinDialog(&*m_Bar, "DialogMain"));
    m_Bar->AddFolder("a", {}, new QLabel("1"));
    auto* const second = new QLabel("2");
    m_Bar->AddFolder("b", {}, second);
    Paint();
    QTest::mouseClick(&*m_Bar, Qt::LeftButton, {}, Middle(m_Bar->GetFolder(1).m_Rect));
    EXPECT_TRUE(m_Bar->IsSliding());
    EXPECT_TRUE(QTest::qWaitFor([&] { return !m_Bar->IsSliding() && second->isVisible(); }));
    m_Bar.reset();
    StopSkin();
}

// From ten pixels above the page's end upward by an eighth of the page, one step at each tick of the timer.
TEST_F(SideBarTest, SlideRisesByAnEighthOfThePageEveryThirtyMilliseconds)
{
    const struct {
        int page;
        std::vector<int> tops;  // of the new page, until the final picture
    } rows[] = {{315, {305, 266, 227, 188, 149, 110, 71, 32}}, {17, {7, 5, 3, 1}}, {10, {0}}, {6, {0}}};
    for (const auto& row : rows) {
        Show(200, COutlook2Ctrl::TITLE_HEIGHT + row.page + 2 * 25);
        m_Bar->AddFolder("a", {});
        m_Bar->AddFolder("b", {});
        m_Bar->AddItem(1, "header");  // at the page's top, in a gradient that the plain page hasn't
        const auto shownTop = [&] {
            const QImage picture = m_Bar->grab(QRect(100, COutlook2Ctrl::TITLE_HEIGHT, 1, row.page)).toImage();
            int top = 0;
            while (top < picture.height() && picture.pixel(0, top) == qRgb(0xC5, 0xC5, 0xC5))
                ++top;
            return top;
        };
        EXPECT_EQ(shownTop(), row.page) << "the old page is empty";
        m_Bar->SelectFolder(1, COutlook2Ctrl::EAnimation::On);
        auto* const timer = m_Bar->findChild<QTimer*>();
        ASSERT_NE(timer, nullptr);
        EXPECT_EQ(timer->interval(), 30);
        std::vector<int> tops;
        while (m_Bar->IsSliding()) {
            ASSERT_LT(tops.size(), 100U);
            tops.push_back(shownTop());
            QTimerEvent tick(timer->timerId());
            QApplication::sendEvent(timer, &tick);
        }
        EXPECT_EQ(tops, row.tops) << row.page;
        EXPECT_EQ(shownTop(), 0);
        EXPECT_EQ(m_Bar->GetFolder(1).m_Items[0]->m_Rect.top(), COutlook2Ctrl::TITLE_HEIGHT);
    }
}

TEST_F(SideBarTest, PageThatSlidesInIsShownOnlyAtTheEnd)
{
    Show();
    auto* const first = new QLabel("1");
    auto* const second = new QLabel("2");
    m_Bar->AddFolder("a", {}, first);
    m_Bar->AddFolder("b", {}, second);
    m_Bar->SelectFolder(1, COutlook2Ctrl::EAnimation::On);
    auto* const timer = m_Bar->findChild<QTimer*>();
    for (int tick = 0; tick < 8; ++tick) {
        EXPECT_TRUE(m_Bar->IsSliding()) << tick;
        EXPECT_FALSE(first->isVisible() || second->isVisible()) << tick;
        QTimerEvent event(timer->timerId());
        QApplication::sendEvent(timer, &event);
    }
    EXPECT_FALSE(m_Bar->IsSliding());
    EXPECT_TRUE(second->isVisible());
    EXPECT_FALSE(first->isVisible());
}

TEST_F(SideBarTest, PageThatSlidesInIsHitOnlyAtTheEnd)
{
    Show();
    for (const int folder : {0, 1}) {
        m_Bar->AddFolder("a", {});
        m_Bar->AddItem(folder, "");
        m_Bar->AddSubItem(folder, 0, "line", {}, ELineStyle::Fire, 1);
    }
    Paint();
    const QPoint place = Middle(Line(0, 0, 0).m_Rect);
    m_Bar->SelectFolder(1, COutlook2Ctrl::EAnimation::On);
    ASSERT_TRUE(m_Bar->IsSliding());
    EXPECT_NE(m_Bar->HitTest(place).kind, COutlook2Ctrl::EHit::SubItem);
    ASSERT_TRUE(QTest::qWaitFor([this] { return !m_Bar->IsSliding(); }));
    EXPECT_EQ(m_Bar->HitTest(place).kind, COutlook2Ctrl::EHit::SubItem);
}

TEST_F(SideBarTest, PageThatGoesIsSeenAboveTheOneThatSlidesIn)
{
    Show();
    const auto add = [this](Qt::GlobalColor color) {
        auto* const page = new QLabel;
        page->setAutoFillBackground(true);
        page->setPalette(QPalette(color));
        m_Bar->AddFolder("a", {}, page);
    };
    add(Qt::red);
    add(Qt::green);
    Paint();
    m_Bar->SelectFolder(1, COutlook2Ctrl::EAnimation::On);
    QTimerEvent tick(m_Bar->findChild<QTimer*>()->timerId());
    for (int i = 0; i < 3; ++i)
        QApplication::sendEvent(m_Bar->findChild<QTimer*>(), &tick);
    const int bottom = m_Bar->GetFolder(0).m_Rect.top() - 2;
    const QImage picture = m_Bar->grab().toImage();
    EXPECT_EQ(picture.pixelColor(100, COutlook2Ctrl::TITLE_HEIGHT + 20), QColor(Qt::red));
    EXPECT_EQ(picture.pixelColor(100, bottom), QColor(Qt::green));
}

TEST_F(SideBarTest, PageThatGoesBeforeItHasSlidInIsSeenToo)
{
    Show();
    for (const Qt::GlobalColor color : {Qt::red, Qt::green, Qt::blue}) {
        auto* const page = new QLabel;
        page->setAutoFillBackground(true);
        page->setPalette(QPalette(color));
        m_Bar->AddFolder("a", {}, page);
    }
    Paint();
    m_Bar->SelectFolder(1, COutlook2Ctrl::EAnimation::On);
    m_Bar->SelectFolder(2, COutlook2Ctrl::EAnimation::On);
    const QImage picture = m_Bar->grab().toImage();
    EXPECT_EQ(picture.pixelColor(100, COutlook2Ctrl::TITLE_HEIGHT + 20), QColor(Qt::green));
}

TEST_F(SideBarTest, CollapsedBarChangesItsFolderWithoutTheSlide)
{
    Show(4);
    m_Bar->AddFolder("a", {});
    m_Bar->AddFolder("b", {});
    m_Bar->SelectFolder(1, COutlook2Ctrl::EAnimation::On);
    EXPECT_EQ(m_Bar->GetSelectedFolder(), 1);
    EXPECT_FALSE(m_Bar->IsSliding());
    m_Bar->resize(5, 400);
    m_Bar->SelectFolder(0, COutlook2Ctrl::EAnimation::On);
    EXPECT_TRUE(m_Bar->IsSliding());
}

}  // namespace
