#include <QApplication>
#include <QIcon>
#include <QImage>
#include <QPainter>
#include <QPixmap>
#include <functional>

#include "tests/panels/side_bar_support.h"

// What stands in the title band, on the buttons and on the lines.

namespace
{

int CountDifferent(const QImage& one, const QImage& other)
{
    int different = 0;
    for (int y = 0; y < one.height(); ++y) {
        for (int x = 0; x < one.width(); ++x)
            different += one.pixel(x, y) == other.pixel(x, y) ? 0 : 1;
    }
    return different;
}

int CountOf(const QImage& image, const QColor& color)
{
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            count += image.pixelColor(x, y) == color ? 1 : 0;
    }
    return count;
}

QIcon RedIcon()
{
    QPixmap picture(16, 16);
    picture.fill(Qt::red);
    return {picture};
}

struct CPaintedBar final : COutlook2Ctrl {
    using COutlook2Ctrl::DrawItem;
    using COutlook2Ctrl::DrawSubItem;
};

QImage PaintOnGreen(const std::function<void(QPainter& painter, const QRect& place)>& paint)
{
    QImage picture(150, COutlook2Ctrl::ITEM_HEIGHT, QImage::Format_RGB32);
    picture.fill(Qt::green);
    QPainter painter(&picture);
    paint(painter, picture.rect());
    painter.end();
    return picture;
}

TEST_F(SideBarTest, BandOnTopIsInTheWeightOfATitle)
{
    const QString name = "Device list";
    Show();
    m_Bar->AddFolder(name, {});
    m_Bar->AddFolder("", {});
    const auto band = [&] { return m_Bar->grab(QRect(0, 0, 196, COutlook2Ctrl::TITLE_HEIGHT)).toImage(); };
    const QImage named = band();
    m_Bar->SelectFolder(1, COutlook2Ctrl::EAnimation::Off);
    const int ink = CountDifferent(named, band());

    const auto inkOf = [&name](QFont::Weight weight) {
        QFont font = QApplication::font();
        font.setPixelSize(20);
        font.setWeight(weight);
        QImage blank(180, COutlook2Ctrl::TITLE_HEIGHT, QImage::Format_RGB32);
        blank.fill(Qt::white);
        QImage picture = blank;
        QPainter painter(&picture);
        painter.setFont(font);
        painter.drawText(picture.rect(), Qt::AlignVCenter | Qt::TextSingleLine, name);
        painter.end();
        return CountDifferent(picture, blank);
    };
    const int wanted = inkOf(QFont::DemiBold);
    ASSERT_GT(wanted, inkOf(QFont::Normal) + 40) << "the font has both";
    EXPECT_NEAR(ink, wanted, 20);
}

TEST_F(SideBarTest, FolderButtonBearsItsIcon)
{
    Show();
    m_Bar->AddFolder("a", {});
    m_Bar->AddFolder("b", RedIcon());
    Paint();
    const QImage button = m_Bar->grab(m_Bar->GetFolder(1).m_Rect).toImage();
    EXPECT_EQ(CountOf(button, Qt::red), 16 * 16);
}

TEST_F(SideBarTest, LineBearsItsTextAndItsIconOrACheckBox)
{
    CPaintedBar bar;
    const auto paint = [&bar](ELineStyle style, const QString& text, std::uint32_t state = 0) {
        return PaintOnGreen([&](QPainter& painter, const QRect& place) {
            COL2SubItem line;
            line.m_Style = style;
            line.m_strText = text;
            line.m_Icon = RedIcon();
            line.m_dwState = state;
            line.m_Rect = QRect(0, 0, place.width(), COutlook2Ctrl::SUBITEM_HEIGHT);
            bar.DrawSubItem(painter, line, false);
        });
    };
    for (const ELineStyle style :
         {ELineStyle::Command, ELineStyle::Check, ELineStyle::Fire, ELineStyle::FireUpdated}) {
        const bool check = style == ELineStyle::Check;
        const QImage blank = paint(style, "");
        EXPECT_EQ(CountOf(blank, Qt::red) > 200, !check) << static_cast<int>(style);
        EXPECT_EQ(CountOf(blank, Qt::white) > 80, check) << static_cast<int>(style);
        EXPECT_GT(CountDifferent(paint(style, "text"), blank), 20) << static_cast<int>(style);
    }
    const int empty = CountOf(paint(ELineStyle::Check, ""), Qt::white);
    EXPECT_LT(CountOf(paint(ELineStyle::Check, "", OL2_STATE_ON), Qt::white), empty - 20) << "checked";
}

TEST_F(SideBarTest, HeaderBearsItsName)
{
    CPaintedBar bar;
    const auto paint = [&bar](const QString& name) {
        return PaintOnGreen([&](QPainter& painter, const QRect& place) {
            COL2Item item;
            item.m_strName = name;
            item.m_Rect = place;
            bar.DrawItem(painter, item);
        });
    };
    EXPECT_GT(CountDifferent(paint("header"), paint("")), 20);
}

TEST_F(SideBarTest, BandOfTheEdgeIsFourPixelsWide)
{
    Show();
    for (const char* name : {"a", "b", "c"})
        m_Bar->AddFolder(name, {});
    const QImage shown = m_Bar->grab().toImage();
    const QColor page(0xC5, 0xC5, 0xC5);
    for (int x = 190; x < 200; ++x)
        EXPECT_EQ(shown.pixelColor(x, 200) != page, x >= 196) << x;
    const int y = m_Bar->GetFolder(1).m_Rect.center().y();
    for (int x = 196; x < 200; ++x) {
        QTest::mousePress(&*m_Bar, Qt::LeftButton, {}, {x, y});
        QTest::mouseRelease(&*m_Bar, Qt::LeftButton, {}, {x - 10, y});
        EXPECT_EQ(m_Bar->GetLayoutSize().width(), 190) << x;
        EXPECT_EQ(m_Bar->GetSelectedFolder(), 0) << x;
    }
    QTest::mouseClick(&*m_Bar, Qt::LeftButton, {}, {195, y});
    EXPECT_EQ(m_Bar->GetSelectedFolder(), 1) << "the button's";
}

}  // namespace
