#include "skin/Skin.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollBar>
#include <QSlider>
#include <QStyle>
#include <QTest>
#include <QToolTip>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <fstream>
#include <initializer_list>
#include <string>

#include "inc/OutputDebugString.h"
#include "platform/os/paths.h"
#include "platform/qt/QtPlatform.h"
#include "skin/theme/Theme.h"
#include "tests/skin/theme_support.h"

namespace
{
using testing::HasSubstr;

QImage Shot(QWidget& widget)
{
    QCoreApplication::processEvents();
    return widget.grab().toImage().convertToFormat(QImage::Format_RGB32);
}

bool HasColor(const QImage& image, QColor color)
{
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (image.pixelColor(x, y) == color) return true;
        }
    }
    return false;
}

const int MODULE = 0;  // its address stands for the module

class SkinTest : public testing::Test
{
  protected:
    void SetUp() override
    {
        m_Former = SetDebugListener([this](std::string_view text) { m_strDebug += text; });
        ASSERT_NE(StartSkin(&MODULE, 0, 0), 0);
        ASSERT_NE(LoadSkin(SystemPath(DeliveredThemePath())), 0) << m_strDebug;
    }
    void TearDown() override
    {
        StopSkin();
        SetDebugListener(m_Former);
    }

    std::string m_strDebug;
    CDebugListener m_Former;
};

TEST(SkinStart, NeedsAModuleAndHappensOnce)
{
    EXPECT_EQ(StartSkin(nullptr, 0, 0), 0);
    EXPECT_NE(StartSkin(&MODULE, 0, 0), 0);
    EXPECT_EQ(StartSkin(&MODULE, 0, 0), 0);
    StopSkin();
    EXPECT_NE(StartSkin(&MODULE, 0, 0), 0);
    StopSkin();
    StopSkin();
}

TEST(SkinStart, NothingIsLoadedBeforeTheStart)
{
    EXPECT_EQ(LoadSkin(SystemPath(DeliveredThemePath())), 0);
    QWidget window;
    EXPECT_FALSE(SkinDialog(&window, "DialogMain"));
}

TEST(SkinStart, AMissingFileFailsTheLoadAndIsReported)
{
    std::string debug;
    const auto former = SetDebugListener([&debug](std::string_view text) { debug += text; });
    ASSERT_NE(StartSkin(&MODULE, 0, 0), 0);
    EXPECT_EQ(LoadSkin("c:\\nonexistent\\skin.smf"), 0);
    EXPECT_THAT(debug, HasSubstr("c:\\nonexistent\\skin.smf"));
    QWidget window;
    EXPECT_FALSE(SkinDialog(&window, "DialogMain"));
    StopSkin();
    SetDebugListener(former);
}

TEST_F(SkinTest, AFaultyFileLeavesTheFormerThemeAndItsLineIsReported)
{
    const std::string path =
        testing::TempDir() + "faulty_skin_" + std::to_string(QCoreApplication::applicationPid());
    std::ofstream(path) << "theme 1 \"Faulty\"\ncolor A #12\n";
    EXPECT_EQ(LoadSkin(SystemPath(path)), 0);
    EXPECT_THAT(m_strDebug, HasSubstr("line 2: "));
    QPushButton button;
    EXPECT_TRUE(SkinControl(&button, "Button"));
    std::remove(path.c_str());
}

TEST_F(SkinTest, UnknownElementsAndMissingWindowsAreRefused)
{
    QWidget window;
    EXPECT_FALSE(SkinDialog(nullptr, "DialogMain"));
    EXPECT_FALSE(SkinDialog(&window, nullptr));
    EXPECT_FALSE(SkinControl(&window, "ButtonOfNoTheme"));
    EXPECT_THAT(m_strDebug, HasSubstr("ButtonOfNoTheme"));
    EXPECT_FALSE(SkinPopupMenu(nullptr));
}

TEST_F(SkinTest, ADialogTakesTheThemesGroundAndItsControlsTheStyle)
{
    QWidget dialog;
    auto* before = new QPushButton("before", &dialog);
    ASSERT_TRUE(SkinDialog(&dialog, "DialogMain"));
    auto* after = new QPushButton("after", &dialog);
    dialog.resize(200, 100);
    dialog.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&dialog));
    EXPECT_EQ(Shot(dialog).pixelColor(199, 99), QColor(0xC5, 0xC5, 0xC5));
    EXPECT_NE(before->style(), QApplication::style());
    EXPECT_EQ(after->style(), before->style()) << "a control that came later is skinned when it is first shown";
}

/// Every element that panels name, on the kind of control that bears it.
TEST_F(SkinTest, EveryElementCanBeAttachedAndDrawsItself)
{
    for (const std::string_view name : RequiredElements()) {
        const std::string element(name);
        if (!element.starts_with("Button")) continue;
        QWidget panel;
        SkinDialog(&panel, "DialogMain");
        QPushButton button(&panel);
        button.setGeometry(4, 4, 30, 30);
        panel.resize(38, 38);
        const bool captions =
            element == "ButtonStatic" || element == "ButtonText" || element == "ButtonZoomText";
        if (captions) button.setText("Iris");
        ASSERT_TRUE(SkinControl(&button, element.c_str())) << element;
        panel.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&panel));
        const QImage image = Shot(panel);
        const QRgb ground = image.pixel(0, 0);
        int drawn = 0;
        for (int y = 8; y < 30; ++y) {
            for (int x = 8; x < 30; ++x)
                drawn += image.pixel(x, y) != ground;
        }
        EXPECT_GT(drawn, 20) << element << " draws nothing";
    }
}

TEST_F(SkinTest, NoTwoSteeringButtonsLookAlike)
{
    std::vector<std::pair<std::string, QImage>> shots;
    for (const char* element : {"ButtonTop", "ButtonBottom", "ButtonLeft", "ButtonRight", "ButtonTopLeft",
                                "ButtonTopRight", "ButtonBottomLeft", "ButtonBottomRight", "ButtonScan",
                                "ButtonFocusIn", "ButtonFocusOut", "ButtonZoomIn", "ButtonZoomOut",
                                "ButtonIrisOpen", "ButtonIrisClose", "ButtonLayout", "ButtonConfig"}) {
        QPushButton button;
        button.resize(30, 30);
        ASSERT_TRUE(SkinControl(&button, element));
        const QImage image = Shot(button);
        for (const auto& [other, shot] : shots)
            EXPECT_NE(image, shot) << element << " and " << other;
        shots.emplace_back(element, image);
    }
}

/// A control of a kind, to be shown with and without the keyboard's focus.
QWidget* MakeControl(const std::string& kind, QWidget* parent)
{
    if (kind == "button") return new QPushButton("Text", parent);
    if (kind == "check") return new QCheckBox("Text", parent);
    if (kind == "radio") return new QRadioButton("Text", parent);
    if (kind == "edit") return new QLineEdit(parent);
    if (kind == "slider") return new QSlider(Qt::Horizontal, parent);
    if (kind == "combo") {
        auto* combo = new QComboBox(parent);
        combo->addItem("Text");
        return combo;
    }
    auto* tree = new QTreeWidget(parent);
    tree->setHeaderHidden(true);
    new QTreeWidgetItem(tree, {"One"});
    return tree;
}

class SkinFocus : public SkinTest, public testing::WithParamInterface<const char*>
{
};

TEST_P(SkinFocus, IsSeen)
{
    QWidget dialog;
    auto* layout = new QVBoxLayout(&dialog);
    auto* other = new QPushButton("other");
    layout->addWidget(other);
    QWidget* control = MakeControl(GetParam(), &dialog);
    layout->addWidget(control);
    ASSERT_TRUE(SkinDialog(&dialog, "DialogMain"));
    dialog.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&dialog));
    dialog.activateWindow();
    dialog.raise();
    QApplication::setActiveWindow(&dialog);
    other->setFocus();
    ASSERT_TRUE(QTest::qWaitFor([&] { return other->hasFocus(); }));
    const QImage without = Shot(*control);
    control->setFocus(Qt::TabFocusReason);
    ASSERT_TRUE(QTest::qWaitFor([&] { return control->hasFocus(); }));
    const QImage with = Shot(*control);
    int changed = 0;
    for (int y = 0; y < with.height(); ++y) {
        for (int x = 0; x < with.width(); ++x)
            changed += with.pixel(x, y) != without.pixel(x, y);
    }
    EXPECT_GT(changed, 20) << "the focus is hardly seen";
}

INSTANTIATE_TEST_SUITE_P(Skin, SkinFocus,
                         testing::Values("button", "check", "radio", "edit", "slider", "combo", "tree"),
                         [](const auto& row) { return std::string(row.param); });

TEST_F(SkinTest, FocusOfARowIsDrawnBesideItsTextNotOverIt)
{
    QListWidget list;
    ASSERT_TRUE(SkinDialog(&list, "DialogMain"));
    list.addItem("gjpqy|");
    list.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&list));
    const QRect row = list.visualItemRect(list.item(0));
    const QImage image = Shot(*list.viewport());
    const QRect within = row.adjusted(2, 2, -2, -2);
    const QColor ground = image.pixelColor(row.topLeft());
    for (int y = row.top(); y <= row.bottom(); ++y) {
        for (int x = row.left(); x <= row.right(); ++x) {
            if (!within.contains(x, y)) {
                ASSERT_EQ(image.pixelColor(x, y), ground)
                    << x << ", " << y << " of a row " << row.height() << " high";
            }
        }
    }
}

TEST_F(SkinTest, StatesDiffer)
{
    QPushButton button("Text");
    button.resize(80, 24);
    ASSERT_TRUE(SkinControl(&button, "Button"));
    const QImage normal = Shot(button);
    button.setDown(true);
    const QImage pressed = Shot(button);
    button.setDown(false);
    button.setEnabled(false);
    const QImage disabled = Shot(button);
    EXPECT_NE(normal, pressed);
    EXPECT_NE(normal, disabled);
    QCheckBox box("Text");
    box.resize(80, 24);
    SkinDialog(&box, "DialogMain");
    const QImage clear = Shot(box);
    box.setChecked(true);
    EXPECT_NE(Shot(box), clear);
}

TEST_F(SkinTest, ATextThatIsTooLongIsCutNotDrawnOverTheEdge)
{
    QWidget panel;
    SkinDialog(&panel, "DialogMain");
    QPushButton button("A text that is much longer than the button", &panel);
    panel.resize(80, 40);
    button.setGeometry(10, 8, 60, 24);
    panel.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&panel));
    const QImage image = Shot(panel);
    for (int y = 0; y < 40; ++y) {
        EXPECT_EQ(image.pixelColor(5, y), QColor(0xC5, 0xC5, 0xC5));
        EXPECT_EQ(image.pixelColor(75, y), QColor(0xC5, 0xC5, 0xC5));
    }
}

// A host may give its fonts in points or in pixels.
TEST_F(SkinTest, FontOfAnElementIsAShareOfTheApplicationsOfEitherKind)
{
    const QFont usual = QApplication::font();
    QFont points = usual;
    points.setPointSizeF(50);
    QFont pixels = usual;
    pixels.setPixelSize(50);
    for (const QFont& font : {points, pixels}) {
        QApplication::setFont(font);
        QLabel label;
        EXPECT_TRUE(SkinControl(&label, "ButtonZoomText"));  // 92 per cent, and bold
        EXPECT_EQ(label.font().pointSizeF(), font.pointSizeF() > 0 ? 46 : -1);
        EXPECT_EQ(label.font().pixelSize(), font.pixelSize() > 0 ? 46 : -1);
        EXPECT_TRUE(label.font().bold());
    }
    QApplication::setFont(usual);
}

TEST_F(SkinTest, ARenderWindowTakesOnlyItsGround)
{
    QWidget window;
    QStyle* const style = window.style();
    ASSERT_TRUE(SkinRenderWindow(&window, "DialogRender"));
    EXPECT_EQ(window.palette().color(QPalette::Window), QColor(0x10, 0x12, 0x14));
    EXPECT_EQ(window.style(), style);
}

TEST_F(SkinTest, AMenuAndItsSubmenusAreSkinned)
{
    QMenu menu;
    menu.addAction("One")->setCheckable(true);
    menu.addSeparator();
    QMenu submenu("More");
    submenu.addAction("Two");
    menu.addMenu(&submenu);
    ASSERT_TRUE(SkinPopupMenu(&menu));
    EXPECT_EQ(submenu.style(), menu.style());
    const QImage image = Shot(menu);
    EXPECT_TRUE(HasColor(image, QColor(0x26, 0x29, 0x2E))) << "the menu's ground";
    menu.actions().at(0)->setChecked(true);
    EXPECT_NE(Shot(menu), image) << "the tick is seen";
}

TEST_F(SkinTest, TextsGoByTheirWidgetsDirectionNotByTheApplications)
{
    QWidget dialog;
    dialog.setLayoutDirection(Qt::LeftToRight);
    QPushButton button("4 pictures", &dialog);
    ASSERT_TRUE(SkinDialog(&dialog, "DialogMain"));
    QMenu menu;
    menu.setLayoutDirection(Qt::LeftToRight);
    menu.addAction("16 pictures\tF2");
    ASSERT_TRUE(SkinPopupMenu(&menu));
    for (QWidget* const widget : std::initializer_list<QWidget*>{&button, &menu}) {
        const QImage usual = Shot(*widget);
        QGuiApplication::setLayoutDirection(Qt::RightToLeft);
        const QImage there = Shot(*widget);
        QGuiApplication::setLayoutDirection(Qt::LeftToRight);
        EXPECT_EQ(there, usual) << widget->metaObject()->className();
    }
}

TEST_F(SkinTest, AToolTipOfASkinnedControlCanBeRead)
{
    QWidget dialog;
    SkinDialog(&dialog, "DialogMain");
    dialog.resize(100, 100);
    dialog.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&dialog));
    QToolTip::showText(dialog.mapToGlobal(QPoint(10, 10)), "Brightness of the channel", &dialog);
    QLabel* tip = nullptr;
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (window->inherits("QTipLabel")) tip = qobject_cast<QLabel*>(window);
    }
    ASSERT_NE(tip, nullptr);
    EXPECT_TRUE(HasColor(Shot(*tip), QColor(0x26, 0x29, 0x2E)));
    EXPECT_EQ(tip->palette().color(QPalette::ToolTipText), QColor(0xF2, 0xF4, 0xF6));
    QToolTip::hideText();
}

TEST_F(SkinTest, AScrollBarHasNoLineButtonsAndAHandleOfUsableSize)
{
    QScrollBar bar(Qt::Vertical);
    bar.setRange(0, 1000000);
    bar.setPageStep(1);
    SkinControl(&bar, "ScrollBar");
    bar.resize(bar.sizeHint().width(), 200);
    QStyleOptionSlider option;
    option.initFrom(&bar);
    option.minimum = 0;
    option.maximum = 1000000;
    option.pageStep = 1;
    option.orientation = Qt::Vertical;
    const auto part = [&](QStyle::SubControl control) {
        return bar.style()->subControlRect(QStyle::CC_ScrollBar, &option, control, &bar);
    };
    EXPECT_TRUE(part(QStyle::SC_ScrollBarAddLine).isEmpty());
    EXPECT_EQ(part(QStyle::SC_ScrollBarGroove), bar.rect());
    EXPECT_EQ(part(QStyle::SC_ScrollBarSlider), QRect(0, 0, bar.width(), 28));
    option.sliderPosition = 1000000;
    EXPECT_EQ(part(QStyle::SC_ScrollBarSlider).bottom(), bar.rect().bottom());
    option.maximum = 0;
    EXPECT_EQ(part(QStyle::SC_ScrollBarSlider), bar.rect())
        << "nothing to scroll: the handle is all of the bar";
}

TEST_F(SkinTest, IconsAreDrawnAtAnySize)
{
    EXPECT_TRUE(SkinIcon("NoSuchIcon").isNull());
    const QIcon icon = SkinIcon("ZoomIn");
    ASSERT_FALSE(icon.isNull());
    for (const int size : {16, 32, 100})
        EXPECT_EQ(icon.pixmap(size, size).size(), QSize(size, size));
    EXPECT_TRUE(HasColor(icon.pixmap(48, 48).toImage(), QColor(0xF2, 0xF4, 0xF6)));
}

TEST_F(SkinTest, StoppingGivesTheWindowsTheirOwnLookBack)
{
    QWidget dialog;
    QPushButton button("Text", &dialog);
    QStyle* const style = button.style();
    const QPalette palette = dialog.palette();
    SkinDialog(&dialog, "DialogMain");
    SkinControl(&button, "ButtonTop");
    ASSERT_NE(button.style(), style);
    StopSkin();
    EXPECT_EQ(button.style(), style);
    EXPECT_EQ(dialog.palette().color(QPalette::Window), palette.color(QPalette::Window));
    EXPECT_FALSE(SkinControl(&button, "ButtonTop")) << "nothing is attached after the stop";
    button.resize(40, 20);
    Shot(button);
}

TEST_F(SkinTest, ASecondLoadChangesWhatIsAttached)
{
    QPushButton button("Text");
    button.resize(80, 24);
    SkinControl(&button, "Button");
    const QImage before = Shot(button);
    std::string text = DeliveredTheme();
    const std::string metal = "gradient Metal    #4A5159 #31363C";
    const std::size_t at = text.find(metal);
    ASSERT_NE(at, std::string::npos);
    text.replace(at, metal.size(), "gradient Metal #AA0000 #AA0000");
    const std::string path =
        testing::TempDir() + "red_skin_" + std::to_string(QCoreApplication::applicationPid());
    std::ofstream(path) << text;
    ASSERT_NE(LoadSkin(SystemPath(path)), 0);
    EXPECT_TRUE(HasColor(Shot(button), QColor(0xAA, 0, 0)));
    EXPECT_FALSE(HasColor(before, QColor(0xAA, 0, 0)));
    std::remove(path.c_str());
}

TEST_F(SkinTest, ModalDialogsAreSkinnedUntilTheStop)
{
    QWidget dialog;
    DecorateDialog(dialog);
    EXPECT_EQ(dialog.palette().color(QPalette::Window), QColor(0xC5, 0xC5, 0xC5));
    StopSkin();
    QWidget later;
    DecorateDialog(later);
    EXPECT_NE(later.palette().color(QPalette::Window), QColor(0xC5, 0xC5, 0xC5));
}

TEST_F(SkinTest, AnAttachedWindowMayGoAtAnyTime)
{
    {
        QWidget dialog;
        SkinDialog(&dialog, "DialogMain");
    }
    EXPECT_NE(LoadSkin(SystemPath(DeliveredThemePath())), 0);
    QWidget next;
    EXPECT_TRUE(SkinDialog(&next, "DialogMain"));
}
}  // namespace
