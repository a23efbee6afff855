#include <gmock/gmock.h>

#include <QApplication>
#include <QEventLoop>
#include <QLabel>
#include <QLineEdit>
#include <QMouseEvent>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QTimerEvent>
#include <optional>

#include "activex/UI common/Outlook2Ctrl.h"
#include "platform/files/profile.h"
#include "platform/os/paths.h"
#include "skin/Skin.h"
#include "tests/support/test_places.h"
#include "tests/support/test_variable.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

class SideBarTest : public testing::Test
{
  protected:
    SideBarTest()
    {
        m_hOwner = RegisterWindow([this](std::uint32_t message, WPARAM wParam, LPARAM) {
            if (message == WM_COMMAND) m_Commands.push_back(static_cast<int>(wParam));
            return LRESULT{0};
        });
    }
    ~SideBarTest() override
    {
        m_Bar.reset();
        UnregisterWindow(m_hOwner);
    }

    COutlook2Ctrl& Show(int width = 200, int height = 400)
    {
        m_Bar.emplace(nullptr, m_hOwner);
        m_Bar->resize(width, height);
        m_Bar->show();
        return *m_Bar;
    }
    void ShowWithFocus()
    {
        Show();
        m_Bar->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&*m_Bar));
        m_Bar->setFocus();
        ASSERT_TRUE(m_Bar->hasFocus());
    }
    void Paint() { m_Bar->grab(); }
    QPoint Middle(const QRect& rect) const { return rect.center(); }
    const COL2SubItem& Line(int folder, int item, int line) const
    {
        return *m_Bar->GetFolder(folder)
                    .m_Items.at(static_cast<std::size_t>(item))
                    ->m_SubItems.at(static_cast<std::size_t>(line));
    }

    QTemporaryDir m_Directory;
    const CTestVariable m_ConfigHome{"XDG_CONFIG_HOME", m_Directory.path().toUtf8().constData()};
    HWND m_hOwner;
    std::vector<int> m_Commands;
    std::optional<COutlook2Ctrl> m_Bar;
};

TEST_F(SideBarTest, WidthDefaultsToTwoHundredAndIsKeptInTheProfile)
{
    EXPECT_EQ(Show().GetLayoutSize(), QSize(200, 32767));
    m_Bar.reset();
    const std::string path = GetApplicationProfilePath();
    EXPECT_EQ(GetPrivateProfileIntA("Settings", "OutbarSize", 0, path.c_str()), 200);
    WritePrivateProfileStringA("Settings", "OutbarSize", "260", path.c_str());
    EXPECT_EQ(Show().GetLayoutSize().width(), 260);
}

TEST_F(SideBarTest, FolderButtonsStandAtTheBottomTheLastLowest)
{
    Show();
    for (const char* name : {"a", "b", "c"})
        m_Bar->AddFolder(name, {});
    Paint();
    EXPECT_EQ(m_Bar->GetFolder(2).m_rect, QRect(0, 376, 196, 24));
    EXPECT_EQ(m_Bar->GetFolder(1).m_rect, QRect(0, 351, 196, 24));
    EXPECT_EQ(m_Bar->GetFolder(0).m_rect, QRect(0, 326, 196, 24));
    m_Bar->SelectFolder(2, COutlook2Ctrl::EAnimation::Off);
    Paint();
    EXPECT_EQ(m_Bar->GetFolder(0).m_rect, QRect(0, 326, 196, 24)) << "each keeps its place";
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
    EXPECT_EQ(items[0]->m_rect, QRect(0, 35, 196, 24));
    EXPECT_EQ(Line(0, 0, 0).m_rect, QRect(0, 59, 196, 17));
    EXPECT_EQ(Line(0, 0, 1).m_rect, QRect(0, 76, 196, 17));
    EXPECT_EQ(items[1]->m_rect, QRect(0, 93 + 7, 196, 8));
    EXPECT_EQ(Line(0, 1, 0).m_rect, QRect(0, 108, 196, 17));
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

TEST_F(SideBarTest, ClickOnAFolderSlidesItsPageIn)
{
    Show();
    m_Bar->AddFolder("a", {}, new QLabel("1"));
    auto* const second = new QLabel("2");
    m_Bar->AddFolder("b", {}, second);
    Paint();
    QTest::mouseClick(&*m_Bar, Qt::LeftButton, {}, Middle(m_Bar->GetFolder(1).m_rect));
    EXPECT_EQ(m_Bar->GetSelectedFolder(), 1);
    EXPECT_TRUE(m_Bar->IsSliding());
    EXPECT_FALSE(second->isVisible()) << "until the final picture";
    EXPECT_TRUE(QTest::qWaitFor([&] { return !m_Bar->IsSliding() && second->isVisible(); }));
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
    QTest::mouseClick(&*m_Bar, Qt::LeftButton, {}, Middle(m_Bar->GetFolder(1).m_rect));
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
        const auto shown_top = [&] {
            const QImage picture = m_Bar->grab(QRect(100, COutlook2Ctrl::TITLE_HEIGHT, 1, row.page)).toImage();
            int top = 0;
            while (top < picture.height() && picture.pixel(0, top) == qRgb(0xC5, 0xC5, 0xC5))
                ++top;
            return top;
        };
        EXPECT_EQ(shown_top(), row.page) << "the old page is empty";
        m_Bar->SelectFolder(1, COutlook2Ctrl::EAnimation::On);
        auto* const timer = m_Bar->findChild<QTimer*>();
        ASSERT_NE(timer, nullptr);
        EXPECT_EQ(timer->interval(), 30);
        std::vector<int> tops;
        while (m_Bar->IsSliding()) {
            ASSERT_LT(tops.size(), 100U);
            tops.push_back(shown_top());
            QTimerEvent tick(timer->timerId());
            QApplication::sendEvent(timer, &tick);
        }
        EXPECT_EQ(tops, row.tops) << row.page;
        EXPECT_EQ(shown_top(), 0);
        EXPECT_EQ(m_Bar->GetFolder(1).m_Items[0]->m_rect.top(), COutlook2Ctrl::TITLE_HEIGHT);
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

TEST_F(SideBarTest, SelectingTheSelectedOrAnUnknownFolderChangesNothing)
{
    Show();
    m_Bar->AddFolder("a", {});
    QSignalSpy selected(&*m_Bar, &COutlook2Ctrl::FolderSelected);
    for (const int index : {0, -1, 1})
        m_Bar->SelectFolder(index, COutlook2Ctrl::EAnimation::On);
    EXPECT_EQ(selected.count(), 0);
}

TEST_F(SideBarTest, OnlyWhatWasDrawnCanBeHit)
{
    Show();
    m_Bar->AddFolder("a", {});
    m_Bar->AddItem(0, "header");
    for (int i = 0; i < 100; ++i)
        m_Bar->AddSubItem(0, 0, "line", {}, ELineStyle::Fire, 1);
    Paint();
    EXPECT_TRUE(Line(0, 0, 99).m_rect.isEmpty());
    EXPECT_EQ(m_Bar->HitTest({10, 40}).kind, COutlook2Ctrl::EHit::Item);
    const auto hit = m_Bar->HitTest({10, 60});
    EXPECT_EQ(hit.kind, COutlook2Ctrl::EHit::SubItem);
    EXPECT_EQ(hit.subItem, 0);
    EXPECT_EQ(m_Bar->HitTest({10, 10}).kind, COutlook2Ctrl::EHit::None);
}

TEST_F(SideBarTest, LineThatIsOnFiresOnlyWithAFiringStyle)
{
    Show();
    m_Bar->AddFolder("a", {});
    m_Bar->AddItem(0, "header");
    const ELineStyle styles[] = {ELineStyle::Command, ELineStyle::Check, ELineStyle::Fire,
                                 ELineStyle::FireUpdated};
    for (const ELineStyle style : styles)
        m_Bar->AddSubItem(0, 0, "line", {}, style, 100 + static_cast<std::uint32_t>(style));
    m_Bar->SetUpdateHandler([](COL2CCmdUI& update) { update.SetCheck(1); });
    m_Bar->UpdateLines();
    ASSERT_EQ(Line(0, 0, 3).m_dwState, OL2_STATE_ON);
    Paint();
    for (int i = 0; i < 4; ++i)
        QTest::mouseClick(&*m_Bar, Qt::LeftButton, {}, Middle(Line(0, 0, i).m_rect));
    EXPECT_THAT(m_Commands, ElementsAre(102, 103));

    m_Commands.clear();
    m_Bar->SetUpdateHandler([](COL2CCmdUI& update) { update.Enable(true); });
    for (int i = 0; i < 4; ++i)
        QTest::mouseClick(&*m_Bar, Qt::LeftButton, {}, Middle(Line(0, 0, i).m_rect));
    EXPECT_THAT(m_Commands, ElementsAre(100, 101, 102, 103));
}

TEST_F(SideBarTest, CommandIsItsLowSixteenBits)
{
    Show();
    m_Bar->AddFolder("a", {});
    m_Bar->AddItem(0, "header");
    m_Bar->AddSubItem(0, 0, "line", {}, ELineStyle::Fire, 0x5177A);
    Paint();
    QTest::mouseClick(&*m_Bar, Qt::LeftButton, {}, Middle(Line(0, 0, 0).m_rect));
    EXPECT_THAT(m_Commands, ElementsAre(0x177A));
}

TEST_F(SideBarTest, UpdateRecordsBits)
{
    COL2SubItem line;
    COL2CCmdUI update(line);
    update.Enable(false);  // settled: sets its bit whatever it is told
    EXPECT_EQ(update.m_dwState, 1U);
    update.SetCheck(0);
    update.SetRadio(false);
    EXPECT_EQ(update.m_dwState, 1U);
    update.SetCheck(7);
    EXPECT_EQ(update.m_dwState, 3U);
    update.SetRadio(true);
    EXPECT_EQ(update.m_dwState, 7U);
    update.SetText("new");
    EXPECT_EQ(line.m_strText, "new");
}

TEST_F(SideBarTest, IdleUpdateAsksForEveryLineButThePlainFiringOnes)
{
    Show();
    m_Bar->AddFolder("a", {});
    m_Bar->AddItem(0, "header");
    for (std::uint32_t style = 0; style < 4; ++style)
        m_Bar->AddSubItem(0, 0, "line", {}, style, style);
    std::vector<std::uint32_t> asked;
    m_Bar->SetUpdateHandler([&asked](COL2CCmdUI& update) {
        asked.push_back(update.m_dwCommand);
        update.SetCheck(1);
    });
    m_Bar->UpdateLines();
    EXPECT_THAT(asked, ElementsAre(0U, 1U, 3U));
    EXPECT_EQ(Line(0, 0, 0).m_dwState, OL2_STATE_ON);
    EXPECT_EQ(Line(0, 0, 2).m_dwState, 0U);
}

TEST_F(SideBarTest, EventLoopWithNothingToDoUpdatesTheLines)
{
    Show();
    m_Bar->AddFolder("a", {});
    m_Bar->AddItem(0, "header");
    m_Bar->AddSubItem(0, 0, "line", {}, ELineStyle::Command, 1);
    QEventLoop loop;
    m_Bar->SetUpdateHandler([&loop](COL2CCmdUI& update) {
        update.SetText("updated");
        loop.quit();
    });
    loop.exec();
    EXPECT_EQ(Line(0, 0, 0).m_strText, "updated");
}

TEST_F(SideBarTest, HotLinesAndFoldersFollowTheMouse)
{
    Show();
    m_Bar->AddFolder("a", {});
    m_Bar->AddFolder("b", {});
    m_Bar->AddItem(0, "header");
    m_Bar->AddSubItem(0, 0, "line", {}, ELineStyle::Command, 1);
    Paint();
    const QRect button = m_Bar->GetFolder(1).m_rect;
    const auto is_hot = [&] {
        const QColor shown = m_Bar->grab().toImage().pixelColor(button.right() - 1, button.top());
        return shown.blue() > shown.red();  // blue, or a grey
    };
    EXPECT_FALSE(is_hot());
    QTest::mouseMove(&*m_Bar, Middle(button));
    EXPECT_TRUE(QTest::qWaitFor(is_hot));
    EXPECT_EQ(m_Bar->cursor().shape(), Qt::PointingHandCursor);
    const QImage plain = m_Bar->grab(Line(0, 0, 0).m_rect).toImage();
    QTest::mouseMove(&*m_Bar, Middle(Line(0, 0, 0).m_rect));
    EXPECT_TRUE(QTest::qWaitFor([&] { return !is_hot(); }));
    EXPECT_NE(m_Bar->grab(Line(0, 0, 0).m_rect).toImage(), plain) << "underlined";
    QTest::mouseMove(&*m_Bar, {198, 100});
    EXPECT_TRUE(QTest::qWaitFor([&] { return m_Bar->cursor().shape() == Qt::SplitHCursor; }));
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

TEST_F(SideBarTest, DraggingTheRightEdgeChangesTheWidth)
{
    Show();
    QSignalSpy laid_out(&*m_Bar, &COutlook2Ctrl::LayoutRequested);
    QTest::mousePress(&*m_Bar, Qt::LeftButton, {}, {198, 100});
    QTest::mouseMove(&*m_Bar, {240, 100});
    QTest::mouseRelease(&*m_Bar, Qt::LeftButton, {}, {250, 100});
    EXPECT_EQ(laid_out.count(), 1);
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
    const auto move_to = [&](int x) {
        QMouseEvent move(QEvent::MouseMove, QPointF(x, 100), bar->mapToGlobal(QPointF(x, 100)), Qt::NoButton,
                         Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(bar, &move);
    };
    const QColor ground = pixel(300);
    ASSERT_EQ(pixel(100), QColor(0x26, 0x29, 0x2E)) << "the page covers the bar";
    QTest::mousePress(bar, Qt::LeftButton, {}, {198, 100});
    move_to(100);
    EXPECT_EQ(pixel(97), QColor(0xD9, 0xD6, 0xD1));
    move_to(300);
    EXPECT_EQ(pixel(97), QColor(0x26, 0x29, 0x2E));
    EXPECT_EQ(pixel(298), QColor(255 - ground.red(), 255 - ground.green(), 255 - ground.blue()));
    QTest::mouseRelease(bar, Qt::LeftButton, {}, {300, 100});
    EXPECT_EQ(pixel(298), ground);
}

TEST_F(SideBarTest, NeitherMouseNorKeysTakeTheWidthBeyondWhatItsOwnerHasRoomFor)
{
    ShowWithFocus();
    m_Bar->SetWidthLimit(220);
    QTest::mousePress(&*m_Bar, Qt::LeftButton, {}, {198, 100});
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
    EXPECT_TRUE(m_Bar->GetFolder(0).m_rect.isEmpty()) << "nothing is drawn, nothing can be hit";
    QTest::mousePress(&*m_Bar, Qt::LeftButton, {}, {2, 100});
    QTest::mouseRelease(&*m_Bar, Qt::LeftButton, {}, {180, 100});
    EXPECT_EQ(m_Bar->GetLayoutSize().width(), 182);
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

TEST_F(SideBarTest, KeysMoveTheRightEdge)
{
    ShowWithFocus();
    QSignalSpy laid_out(&*m_Bar, &COutlook2Ctrl::LayoutRequested);
    QTest::keyClick(&*m_Bar, Qt::Key_Left);
    EXPECT_EQ(m_Bar->GetLayoutSize().width(), 190);
    QTest::keyClick(&*m_Bar, Qt::Key_Right);
    EXPECT_EQ(m_Bar->GetLayoutSize().width(), 210) << "from where the owner has put it";
    EXPECT_EQ(laid_out.count(), 2);
    m_Bar->resize(COutlook2Ctrl::RESIZE_BAND, 400);
    QTest::keyClick(&*m_Bar, Qt::Key_Left);
    EXPECT_EQ(m_Bar->GetLayoutSize().width(), 0);
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

TEST_F(SideBarTest, SeparatorIsABarOfThreePixelsInAStepOfEight)
{
    Show();
    m_Bar->AddFolder("a", {});
    m_Bar->AddItem(0, "");
    Paint();
    const QRect step = m_Bar->GetFolder(0).m_Items[0]->m_rect;
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
