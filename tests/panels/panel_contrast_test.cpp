#include <QImage>
#include <QPainter>

#include "activex/UI common/Outlook2Ctrl.h"
#include "activex/UI common/PanelIcons.h"
#include "platform/os/paths.h"
#include "skin/Skin.h"
#include "tests/panels/tree_dlg_support.h"
#include "tests/support/test_places.h"
#include "tests/support/test_variable.h"

// What is drawn, measured: icons and the text of a selected folder on their grounds, and the focus of every
// control that the keyboard reaches.

namespace
{

Color At(const QImage& image, int x, int y)
{
    const QColor color = image.pixelColor(x, y);
    return {static_cast<std::uint8_t>(color.red()), static_cast<std::uint8_t>(color.green()),
            static_cast<std::uint8_t>(color.blue()), 255};
}

// How many pixels stand out from the ground by that much.
int StandOut(const QImage& image, Color ground, double least)
{
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            count += ContrastRatio(At(image, x, y), ground) >= least ? 1 : 0;
    }
    return count;
}

TEST(PanelContrast, ChannelIconsStandOutOnEveryRow)
{
    const struct {
        Color ground;
        QIcon::Mode mode;
    } rows[] = {{panel_color::ROW_EVEN, QIcon::Normal},
                {panel_color::ROW_ODD, QIcon::Normal},
                {panel_color::ROW_SELECTED, QIcon::Selected}};
    for (const auto& row : rows) {
        for (int status = 0; status < 3; ++status) {
            QImage image(24, 24, QImage::Format_RGB32);
            image.fill(QColor(row.ground.r, row.ground.g, row.ground.b));
            QPainter painter(&image);
            MakeDeviceIcon(status).paint(&painter, image.rect(), Qt::AlignCenter, row.mode);
            painter.end();
            EXPECT_GE(StandOut(image, row.ground, 3.0), 60) << status << " " << int{row.ground.r};
        }
    }
}

class BarContrast : public testing::Test
{
  protected:
    QTemporaryDir m_Directory;
    const CTestVariable m_ConfigHome{"XDG_CONFIG_HOME", m_Directory.path().toUtf8().constData()};
};

// A button runs from light to dark: each row that the letters reach is measured against its own ground.
TEST_F(BarContrast, NameOfTheSelectedFolderIsReadOnBothEndsOfItsGround)
{
    COutlook2Ctrl named;
    COutlook2Ctrl empty;
    for (COutlook2Ctrl* bar : {&named, &empty}) {
        bar->resize(200, 400);
        bar->AddFolder(bar == &named ? QStringLiteral("Remote logon gj 远程登录") : QString(), {});
    }
    const QImage letters = named.grab().toImage();
    const QImage ground = empty.grab().toImage();
    const QRect button = named.GetFolder(0).m_Rect;
    int rows = 0;
    for (int y = button.top(); y <= button.bottom(); ++y) {
        double most = 1;
        for (int x = button.left(); x <= button.right(); ++x)
            most = std::max(most, ContrastRatio(At(letters, x, y), At(ground, x, y)));
        if (most < 3.0) continue;  // no letter, or the faint edge of one
        ++rows;
        EXPECT_GE(most, 4.5) << y - button.top();
    }
    EXPECT_GE(rows, 8);
}

TEST_F(BarContrast, BarShowsThatItHasTheKeyboard)
{
    QWidget window;
    COutlook2Ctrl bar(&window);
    bar.resize(200, 400);
    bar.AddFolder("a", {});
    window.resize(200, 400);
    window.show();
    window.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    bar.clearFocus();
    const QImage without = bar.grab().toImage();
    bar.setFocus();
    ASSERT_TRUE(bar.hasFocus());
    const QImage with = bar.grab().toImage();
    const QRect button = bar.GetFolder(0).m_Rect;
    for (const int y : {button.top() + 1, button.center().y(), button.bottom() - 1})
        EXPECT_GE(ContrastRatio(At(with, button.left() + 1, y), At(without, button.left() + 1, y)), 3.0) << y;
}

class TreeContrast : public TreeDlgTest
{
  protected:
    void SetUp() override
    {
        ASSERT_NE(StartSkin(this, 0, 0), 0);
        ASSERT_NE(LoadSkin(SystemPath(SourcePath("config/skin.smf"))), 0);
    }
    void TearDown() override
    {
        m_Dlg.reset();
        StopSkin();
    }
    void TakeFocus()
    {
        m_pParent->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(m_pParent.get()));
        Tree().setFocus(Qt::TabFocusReason);
        ASSERT_TRUE(Tree().hasFocus());
    }
    Color Shown(int x, int y) { return At(Tree().viewport()->grab().toImage(), x, y); }
};

TEST_F(TreeContrast, EmptyTreeShowsThatItHasTheKeyboard)
{
    ShowDialog();
    for (const bool filled : {false, true}) {
        if (filled) m_Dlg->RefillTree();
        Tree().clearFocus();
        const Color without = Shown(1, 100);
        TakeFocus();
        EXPECT_GE(ContrastRatio(Shown(1, 100), without), 3.0) << filled;
    }
}

TEST_F(TreeContrast, CurrentRowShowsThatTheTreeHasTheKeyboard)
{
    AddStation();
    ShowDialog();
    m_Dlg->RefillTree();
    for (const bool selected : {false, true}) {
        if (selected) Select({0});
        Tree().clearFocus();
        const Color without = Shown(1, 13);
        TakeFocus();
        ASSERT_EQ(Tree().currentIndex(), Item({0}));
        EXPECT_GE(ContrastRatio(Shown(1, 13), without), 3.0) << selected;
    }
}

TEST_F(TreeContrast, NameOfTheSelectedRowIsReadable)
{
    AddStation();
    ShowDialog();
    m_Dlg->RefillTree();
    Select({0});
    const QRect label = Tree().GetLabelRect(Item({0})).adjusted(0, 3, 0, -3);
    EXPECT_GE(StandOut(Tree().viewport()->grab(label).toImage(), panel_color::ROW_SELECTED, 4.5), 10);
}

}  // namespace
