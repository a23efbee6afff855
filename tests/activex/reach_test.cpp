#include <gmock/gmock.h>

#include <QAbstractItemView>
#include <QAccessible>
#include <QApplication>
#include <QLineEdit>
#include <QShortcut>
#include <QTest>
#include <QWindow>
#include <algorithm>
#include <set>

#include "activex/ActiveXCtrl.h"
#include "activex/UI common/Outlook2Ctrl.h"
#include "common/HistoryCombo.h"
#include "common/RenderWnd.h"
#include "model/NodeModel.h"
#include "model/settings/Language.h"
#include "render/D3DSurfaceRender.h"
#include "render/device/MemorySurfaceDevice.h"
#include "tests/activex/home_support.h"
#include "tests/support/model_state.h"
#include "tests/support/render_state.h"
#include "tests/support/test_variable.h"

namespace
{

// The whole control in a container, in the language of a locale.
class ReachTest : public testing::TestWithParam<const char*>
{
  protected:
    ReachTest()
    {
        auto* const made = new CActiveXCtrl;
        m_pDispatch = CComPtr<IDispatch>(made);
        made->Release();
        m_pControl = made;
        m_Container.resize(800, 600);
    }
    ~ReachTest() override
    {
        m_pDispatch.Reset();
        QCoreApplication::removePostedEvents(qApp, QEvent::Quit);
    }

    void Show()
    {
        ASSERT_EQ(m_pControl->CreateControlWindow(&m_Container), S_OK);
        m_pControl->SetBounds(0, 0, 800, 600);
        m_Container.show();
        m_Container.activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&m_Container));
    }
    COutlook2Ctrl& SideBar() { return *m_pControl->GetPanel().GetSideBar(); }

    // What the keyboard can get to at present.
    std::vector<QWidget*> Focusable() const
    {
        std::vector<QWidget*> found;
        for (QWidget* widget : m_Container.findChildren<QWidget*>()) {
            const bool takes = (widget->focusPolicy() & Qt::TabFocus) != 0 && widget->focusProxy() == nullptr;
            if (takes && widget->isVisible() && widget->isEnabled()) found.push_back(widget);
        }
        return found;
    }
    static std::string Describe(const QWidget* widget)
    {
        return std::string(widget->metaObject()->className()) + " " + widget->objectName().toStdString();
    }
    static std::string NameOf(QWidget* widget)
    {
        QString name;
        if (QAccessibleInterface* const reader = QAccessible::queryAccessibleInterface(widget))
            name = reader->text(QAccessible::Name);
        return (name.isEmpty() ? widget->toolTip() : name).toStdString();
    }

    CTestVariable m_Locale{"LC_ALL", GetParam()};
    CTestHome m_Home;
    std::shared_ptr<CMemorySurfaceAdapter> m_pAdapter = std::make_shared<CMemorySurfaceAdapter>();
    const CModelState m_Model;
    const CRenderState m_Render{m_pAdapter};
    QWidget m_Container;
    CComPtr<IDispatch> m_pDispatch;
    CActiveXCtrl* m_pControl = nullptr;
};

TEST_P(ReachTest, EachFocusableWidgetOfEachPageHasANameInThisLanguage)
{
    Show();
    for (int folder = 0; folder < SideBar().GetFolderCount(); ++folder) {
        SideBar().SelectFolder(folder, COutlook2Ctrl::EAnimation::Off);
        const auto widgets = Focusable();
        EXPECT_GE(widgets.size(), 4U);
        for (QWidget* widget : widgets) {
            EXPECT_NE(NameOf(widget), "") << Describe(widget);
            EXPECT_EQ(NameOf(widget).find("Not found"), std::string::npos) << Describe(widget);
            const bool latin = std::ranges::all_of(NameOf(widget), [](char c) { return (c & 0x80) == 0; });
            EXPECT_EQ(latin, std::string(GetParam()).starts_with("en")) << NameOf(widget);
        }
    }
}

TEST_P(ReachTest, TabComesByEachFocusableWidgetOfEachPage)
{
    Show();
    for (int folder = 0; folder < SideBar().GetFolderCount(); ++folder) {
        SideBar().SelectFolder(folder, COutlook2Ctrl::EAnimation::Off);
        const auto widgets = Focusable();
        SideBar().setFocus();
        std::set<QWidget*> reached;
        for (std::size_t i = 0; i < 2 * widgets.size(); ++i) {
            QWidget* const at = QApplication::focusWidget();
            ASSERT_NE(at, nullptr);
            reached.insert(at);
            QTest::keyClick(at, Qt::Key_Tab);
        }
        for (QWidget* widget : widgets)
            EXPECT_EQ(reached.count(widget), 1U) << folder << ": " << Describe(widget);
    }
}

TEST_P(ReachTest, TabGoesFromTheBarIntoThePage)
{
    Show();
    int pages = 0;
    for (int folder = 0; folder < SideBar().GetFolderCount(); ++folder) {
        if (SideBar().GetFolder(folder).m_Items.empty()) continue;
        ++pages;
        SideBar().SelectFolder(folder, COutlook2Ctrl::EAnimation::Off);
        SideBar().setFocus();
        QTest::keyClick(&SideBar(), Qt::Key_Tab);
        QWidget* const at = QApplication::focusWidget();
        ASSERT_NE(at, nullptr);
        EXPECT_TRUE(SideBar().isAncestorOf(at)) << folder << ": " << Describe(at);
        QTest::keyClick(at, Qt::Key_Backtab);
        EXPECT_EQ(QApplication::focusWidget(), &SideBar()) << folder;
    }
    EXPECT_EQ(pages, 2);
}

TEST_P(ReachTest, WallHasItsPlaceInTheTabOrderAgainAfterFullScreen)
{
    Show();
    const auto order = [this] {
        std::vector<QWidget*> found;
        const auto widgets = Focusable();
        for (QWidget* at = SideBar().nextInFocusChain(); at != &SideBar(); at = at->nextInFocusChain())
            if (std::ranges::count(widgets, at) == 1) found.push_back(at);
        return found;
    };
    QLineEdit behind(&m_Container);  // a field of the host's
    behind.show();
    auto& wall = *m_Container.findChild<CRenderWnd*>();
    const auto before = order();
    ASSERT_THAT(before, testing::Contains(&wall));
    for (int i = 0; i < 2; ++i)
        SendMessageA(wall.Handle(), GRID_MESSAGE_FULL_SCREEN, 0, 0);
    EXPECT_EQ(order(), before);
}

// Not of the host: while the list is open the key is its own.
TEST_P(ReachTest, ReturnInTheOpenListTakesTheNetId)
{
    Show();
    auto& combo = *m_Container.findChild<CHistoryCombo*>();
    combo.addItems({"gate-0", "gate-1", "gate-2"});
    combo.setEditText("1001");
    QShortcut hosts(QKeySequence(Qt::Key_Return), &m_Container);
    int times = 0;
    QObject::connect(&hosts, &QShortcut::activated, [&times] { ++times; });
    combo.showPopup();
    const QWidget* const list = combo.view()->window();
    QTest::keyClick(list->windowHandle(), Qt::Key_Down);
    QTest::keyClick(list->windowHandle(), Qt::Key_Return);
    EXPECT_FALSE(list->isVisible());
    EXPECT_EQ(combo.currentText(), "gate-1");
    EXPECT_EQ(times, 0);
}

INSTANTIATE_TEST_SUITE_P(Languages, ReachTest, testing::Values("en_US.UTF-8", "zh_CN.UTF-8", "zh_TW.UTF-8"));

}  // namespace
