#include <gmock/gmock.h>

#include <QApplication>
#include <QEventLoop>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QRegion>

#include "tests/panels/side_bar_support.h"

using testing::ElementsAre;

namespace
{

TEST_F(SideBarTest, OnlyWhatWasDrawnCanBeHit)
{
    Show();
    m_Bar->AddFolder("a", {});
    m_Bar->AddItem(0, "header");
    for (int i = 0; i < 100; ++i)
        m_Bar->AddSubItem(0, 0, "line", {}, ELineStyle::Fire, 1);
    Paint();
    EXPECT_TRUE(Line(0, 0, 99).m_Rect.isEmpty());
    EXPECT_EQ(m_Bar->HitTest({10, 40}).kind, COutlook2Ctrl::EHit::Item);
    const auto hit = m_Bar->HitTest({10, 60});
    EXPECT_EQ(hit.kind, COutlook2Ctrl::EHit::SubItem);
    EXPECT_EQ(hit.subItem, 0);
    EXPECT_EQ(m_Bar->HitTest({10, 10}).kind, COutlook2Ctrl::EHit::None);
}

TEST_F(SideBarTest, LooksTheSameInAHostThatRunsRightToLeft)
{
    Show();
    m_Bar->setLayoutDirection(Qt::LeftToRight);  // as its panel has it
    m_Bar->AddFolder("page 1", {});
    m_Bar->AddItem(0, "4 lines");
    m_Bar->AddSubItem(0, 0, "1 line", {}, ELineStyle::Fire, 1);
    m_Bar->AddFolder("2 pages", {});
    const QImage usual = m_Bar->grab().toImage();
    QGuiApplication::setLayoutDirection(Qt::RightToLeft);
    const QImage there = m_Bar->grab().toImage();
    QGuiApplication::setLayoutDirection(Qt::LeftToRight);
    EXPECT_EQ(there, usual);
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
        QTest::mouseClick(&*m_Bar, Qt::LeftButton, {}, Middle(Line(0, 0, i).m_Rect));
    EXPECT_THAT(m_Commands, ElementsAre(102, 103));

    m_Commands.clear();
    m_Bar->SetUpdateHandler([](COL2CCmdUI& update) { update.Enable(true); });
    for (int i = 0; i < 4; ++i)
        QTest::mouseClick(&*m_Bar, Qt::LeftButton, {}, Middle(Line(0, 0, i).m_Rect));
    EXPECT_THAT(m_Commands, ElementsAre(100, 101, 102, 103));
}

TEST_F(SideBarTest, ClickAsksForNoStateOfAFiringLine)
{
    ShowWithFocus();
    m_Bar->AddFolder("a", {});
    m_Bar->AddItem(0, "header");
    for (std::uint32_t style = 0; style < 4; ++style)
        m_Bar->AddSubItem(0, 0, "line", {}, static_cast<ELineStyle>(style), style);
    Paint();
    std::vector<std::uint32_t> asked;
    m_Bar->SetUpdateHandler([&asked](COL2CCmdUI& update) { asked.push_back(update.m_dwCommand); });
    for (int i = 0; i < 4; ++i)
        Press(Middle(Line(0, 0, i).m_Rect));
    EXPECT_THAT(asked, ElementsAre(0U, 1U));
    EXPECT_THAT(m_Commands, ElementsAre(0, 1, 2, 3));
}

TEST_F(SideBarTest, CommandIsItsLowSixteenBits)
{
    Show();
    m_Bar->AddFolder("a", {});
    m_Bar->AddItem(0, "header");
    m_Bar->AddSubItem(0, 0, "line", {}, ELineStyle::Fire, 0x5177A);
    Paint();
    QTest::mouseClick(&*m_Bar, Qt::LeftButton, {}, Middle(Line(0, 0, 0).m_Rect));
    EXPECT_THAT(m_Commands, ElementsAre(0x177A));
}

TEST_F(SideBarTest, UpdateRecordsBits)
{
    COL2SubItem line;
    COL2CCmdUI update(line);
    update.Enable(false);  // oddity: enable-enables-always
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
        m_Bar->AddSubItem(0, 0, "line", {}, static_cast<ELineStyle>(style), style);
    m_Bar->AddFolder("b, which isn't selected", {});
    m_Bar->AddItem(1, "header");
    m_Bar->AddSubItem(1, 0, "line", {}, ELineStyle::Command, 9);
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

/// Collects what a widget paints.
class CPaints final : public QObject
{
  public:
    explicit CPaints(QWidget& widget) { widget.installEventFilter(this); }
    bool eventFilter(QObject*, QEvent* event) override
    {
        if (event->type() == QEvent::Paint) m_Region |= static_cast<QPaintEvent*>(event)->region();
        return false;
    }
    QRegion m_Region;
};

struct CPaintedLine final : COutlook2Ctrl {
    using COutlook2Ctrl::DrawSubItem;
};

// The page beneath has the same colour, so it is looked at over another one.
TEST_F(SideBarTest, LineThatIsOnStandsOnTheFaceColour)
{
    CPaintedLine bar;
    for (const std::uint32_t state : {std::uint32_t{0}, OL2_STATE_ON}) {
        QImage picture(100, COutlook2Ctrl::SUBITEM_HEIGHT, QImage::Format_RGB32);
        picture.fill(Qt::white);
        COL2SubItem line;
        line.m_Rect = picture.rect();
        line.m_dwState = state;
        QPainter painter(&picture);
        bar.DrawSubItem(painter, line, false);
        painter.end();
        const QColor ground = state == OL2_STATE_ON ? QColor(0xC5, 0xC5, 0xC5) : QColor(Qt::white);
        EXPECT_EQ(picture.pixelColor(picture.rect().bottomRight()), ground) << state;
        EXPECT_EQ(picture.pixelColor(0, 0), ground) << state;
    }
}

TEST_F(SideBarTest, LineWhoseStateChangesOrThatIsClickedIsPaintedAnew)
{
    ShowWithFocus();
    m_Bar->AddFolder("a", {});
    m_Bar->AddItem(0, "header");
    m_Bar->AddSubItem(0, 0, "line", {}, ELineStyle::Check, 1);
    std::int32_t check = 0;
    m_Bar->SetUpdateHandler([&check](COL2CCmdUI& update) { update.SetCheck(check); });
    CPaints paints(*m_Bar);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !paints.m_Region.isEmpty(); }));
    QApplication::processEvents();
    const QRect line = Line(0, 0, 0).m_Rect;
    paints.m_Region = {};
    m_Bar->UpdateLines();
    QApplication::processEvents();
    EXPECT_FALSE(paints.m_Region.intersects(line)) << "it is as it was";
    check = 1;
    m_Bar->UpdateLines();
    QApplication::processEvents();
    EXPECT_TRUE(paints.m_Region.contains(line));
    paints.m_Region = {};
    check = 0;
    Press(Middle(line));
    QApplication::processEvents();
    EXPECT_TRUE(paints.m_Region.contains(line)) << "clicked";
}

TEST_F(SideBarTest, HeaderLeavesWhatIsHotAsItIs)
{
    Show();
    m_Bar->AddFolder("a", {});
    m_Bar->AddFolder("b", {});
    m_Bar->AddItem(0, "header");
    Paint();
    const auto moveTo = [this](const QPoint& place) {
        QMouseEvent move(QEvent::MouseMove, place, m_Bar->mapToGlobal(place), Qt::NoButton, Qt::NoButton,
                         Qt::NoModifier);
        QApplication::sendEvent(&*m_Bar, &move);
    };
    const QRect button = m_Bar->GetFolder(1).m_Rect;
    const QImage plain = m_Bar->grab(button).toImage();
    moveTo(Middle(button));
    const QImage hot = m_Bar->grab(button).toImage();
    ASSERT_NE(hot, plain);
    moveTo(Middle(m_Bar->GetFolder(0).m_Items[0]->m_Rect));
    EXPECT_EQ(m_Bar->grab(button).toImage(), hot);
    moveTo({100, 200});
    EXPECT_EQ(m_Bar->grab(button).toImage(), plain) << "where nothing lies";
}

TEST_F(SideBarTest, HotLinesAndFoldersFollowTheMouse)
{
    Show();
    m_Bar->AddFolder("a", {});
    m_Bar->AddFolder("b", {});
    m_Bar->AddItem(0, "header");
    m_Bar->AddSubItem(0, 0, "line", {}, ELineStyle::Command, 1);
    Paint();
    const QRect button = m_Bar->GetFolder(1).m_Rect;
    const auto isHot = [&] {
        const QColor shown = m_Bar->grab().toImage().pixelColor(button.right() - 1, button.top());
        return shown.blue() > shown.red();  // blue, or a grey
    };
    EXPECT_FALSE(isHot());
    QTest::mouseMove(&*m_Bar, Middle(button));
    EXPECT_TRUE(QTest::qWaitFor(isHot));
    EXPECT_EQ(m_Bar->cursor().shape(), Qt::PointingHandCursor);
    const QImage plain = m_Bar->grab(Line(0, 0, 0).m_Rect).toImage();
    QTest::mouseMove(&*m_Bar, Middle(Line(0, 0, 0).m_Rect));
    EXPECT_TRUE(QTest::qWaitFor([&] { return !isHot(); }));
    EXPECT_NE(m_Bar->grab(Line(0, 0, 0).m_Rect).toImage(), plain) << "underlined";
    QTest::mouseMove(&*m_Bar, {198, 100});
    EXPECT_TRUE(QTest::qWaitFor([&] { return m_Bar->cursor().shape() == Qt::SplitHCursor; }));
}

// A page is a window of its own within the bar.
TEST_F(SideBarTest, MouseThatComesToAPageIsOfTheBarNoMore)
{
    Show();
    auto* const page = new QWidget;
    m_Bar->AddFolder("a", {}, page);
    m_Bar->AddFolder("b", {});
    Paint();
    const QRect button = m_Bar->GetFolder(1).m_Rect;
    const QImage plain = m_Bar->grab(button).toImage();
    QTest::mouseMove(&*m_Bar, Middle(button));
    ASSERT_TRUE(QTest::qWaitFor([&] { return m_Bar->grab(button).toImage() != plain; }));
    QTest::mouseMove(page, {50, 50});
    EXPECT_TRUE(QTest::qWaitFor([&] { return m_Bar->grab(button).toImage() == plain; }));
    EXPECT_EQ(page->cursor().shape(), Qt::ArrowCursor);
    QTest::mouseMove(&*m_Bar, {198, 100});
    ASSERT_TRUE(QTest::qWaitFor([&] { return m_Bar->cursor().shape() == Qt::SplitHCursor; }));
    QTest::mouseMove(page, {50, 50});
    EXPECT_TRUE(QTest::qWaitFor([&] { return page->cursor().shape() == Qt::ArrowCursor; }));
}

TEST_F(SideBarTest, LineOfAnotherFolderIsNotHotInThePlaceOfOneThatWas)
{
    Show();
    for (const int folder : {0, 1}) {
        m_Bar->AddFolder("a", {});
        m_Bar->AddItem(folder, "header");
        m_Bar->AddSubItem(folder, 0, "line", {}, ELineStyle::Command, 1);
    }
    Paint();
    const QRect line = Line(0, 0, 0).m_Rect;
    const QImage plain = m_Bar->grab(line).toImage();
    QTest::mouseMove(&*m_Bar, Middle(line));
    ASSERT_TRUE(QTest::qWaitFor([&] { return m_Bar->grab(line).toImage() != plain; }));
    m_Bar->SelectFolder(1, COutlook2Ctrl::EAnimation::Off);
    EXPECT_EQ(m_Bar->grab(line).toImage(), plain);
}

}  // namespace
