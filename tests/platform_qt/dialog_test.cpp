#include "platform/qt/Dialog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPainter>
#include <QPointer>
#include <QPushButton>
#include <QSlider>
#include <QTest>
#include <QTimer>
#include <stdexcept>
#include <string>
#include <vector>

#include "inc/OutputDebugString.h"
#include "platform/qt/Menu.h"
#include "platform/qt/QtPlatform.h"

namespace
{
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr int NUMBER = 202;
constexpr int BUTTON = 6018;
constexpr int EDIT = 1241;

class CTestDialog : public CDialog
{
  public:
    CTestDialog() : CDialog(NUMBER) {}
    ~CTestDialog() override { DestroyWindow(); }

    std::vector<std::string> m_Calls;
    std::int32_t m_iCreate = 0;
    std::string m_strFailIn;
    CDialog* m_pInner = nullptr;

  protected:
    void Said(const char* call)
    {
        m_Calls.emplace_back(call);
        if (m_strFailIn == call) throw std::runtime_error("a fault in " + m_strFailIn);
    }
    std::int32_t OnCreate() override
    {
        Said("create");
        return m_iCreate;
    }
    void OnCreateControls() override
    {
        Said("controls");
        AddControl(BUTTON, new QPushButton("Go"));
        AddControl(EDIT, new QLineEdit);
    }
    bool OnInitDialog() override
    {
        Said("init");
        if (m_pInner) m_pInner->Create(Widget());
        return true;
    }
    void OnDestroy() override { Said(GetDlgItem(BUTTON) ? "destroy with controls" : "destroy"); }
    bool OnCommand(int id) override
    {
        Said(("command " + std::to_string(id)).c_str());
        return CDialog::OnCommand(id);
    }
    void OnSize(int width, int height) override
    {
        Said(("size " + std::to_string(width) + "x" + std::to_string(height)).c_str());
    }
    void OnPaint(QPainter& painter, const QRect&) override
    {
        painter.fillRect(Widget()->rect(), QColor(0xC5, 0xC5, 0xC5));
        if (m_strFailIn == "paint") throw std::runtime_error("a fault in paint");
    }
    LRESULT WindowProc(std::uint32_t message, WPARAM wParam, LPARAM lParam) override
    {
        if (message == 0x9999) return static_cast<LRESULT>(lParam) + 1;
        if (message == 0x7EA) throw std::runtime_error("a fault in a message");
        return CDialog::WindowProc(message, wParam, lParam);
    }
};

class DialogTest : public testing::Test
{
  protected:
    void SetUp() override
    {
        ASSERT_TRUE(StartQtPlatform());
        m_Former = SetDebugListener([this](std::string_view text) { m_strDebug += text; });
    }
    void TearDown() override
    {
        SetDebugListener(m_Former);
        StopQtPlatform();
    }

    QWidget m_Parent;
    std::string m_strDebug;
    CDebugListener m_Former;
};

TEST_F(DialogTest, TheWindowIsMadeFromItsTemplateInOrder)
{
    m_Parent.show();
    CTestDialog dialog;
    EXPECT_EQ(dialog.Widget(), nullptr);
    EXPECT_EQ(dialog.Handle(), HWND::Null);
    ASSERT_TRUE(dialog.Create(&m_Parent));
    EXPECT_THAT(dialog.m_Calls, testing::Not(IsEmpty()));
    dialog.m_Calls.resize(3);
    EXPECT_THAT(dialog.m_Calls, ElementsAre("create", "controls", "init"));
    EXPECT_TRUE(dialog.Widget()->isVisible());
    EXPECT_FALSE(dialog.Widget()->isWindow()) << "a modeless child";
    EXPECT_EQ(GetNativeWindow(dialog.Handle()), dialog.Widget());
    EXPECT_FALSE(dialog.Create(&m_Parent)) << "it has its window";
}

TEST_F(DialogTest, ItsWindowIsFoundByItsNumber)
{
    CTestDialog dialog;
    ASSERT_TRUE(dialog.Create(&m_Parent));
    EXPECT_EQ(m_Parent.findChild<QWidget*>("dialog202"), dialog.Widget());
}

TEST_F(DialogTest, WithoutAParentThereIsNoWindow)
{
    CTestDialog dialog;
    EXPECT_FALSE(dialog.Create(nullptr));
    EXPECT_EQ(dialog.Widget(), nullptr);
    EXPECT_TRUE(dialog.Create(&m_Parent)) << "and it may be tried again";
}

TEST_F(DialogTest, ACreateOfMinusOneEndsIt)
{
    CTestDialog dialog;
    dialog.m_iCreate = -1;
    EXPECT_FALSE(dialog.Create(&m_Parent));
    EXPECT_EQ(dialog.Widget(), nullptr);
    EXPECT_THAT(dialog.m_Calls, testing::Not(testing::Contains("init")));
}

TEST_F(DialogTest, AFaultOfTheStartUpReachesTheCallerAndLeavesNoWindow)
{
    CTestDialog dialog;
    dialog.m_strFailIn = "init";
    EXPECT_THROW(dialog.Create(&m_Parent), std::runtime_error);
    EXPECT_EQ(dialog.Widget(), nullptr);
    EXPECT_THROW(dialog.DoModal(nullptr), std::runtime_error);
    EXPECT_EQ(dialog.Widget(), nullptr);
    EXPECT_TRUE(m_Parent.children().isEmpty());
}

TEST_F(DialogTest, TheEndComesBeforeTheControlsGo)
{
    CTestDialog dialog;
    ASSERT_TRUE(dialog.Create(&m_Parent));
    const HWND window = dialog.Handle();
    EXPECT_TRUE(dialog.DestroyWindow());
    EXPECT_EQ(dialog.m_Calls.back(), "destroy with controls");
    EXPECT_EQ(GetNativeWindow(window), nullptr);
    EXPECT_EQ(dialog.GetDlgItem(BUTTON), nullptr);
    EXPECT_FALSE(dialog.DestroyWindow());
}

TEST_F(DialogTest, TheWindowGoesWithItsParentParentsFirst)
{
    std::vector<std::string> order;
    auto parent = std::make_unique<QWidget>();
    CTestDialog inner;
    CTestDialog outer;
    outer.m_pInner = &inner;
    ASSERT_TRUE(outer.Create(parent.get()));
    ASSERT_NE(inner.Widget(), nullptr);
    QObject::connect(inner.Widget(), &QObject::destroyed,
                     [&] { EXPECT_EQ(outer.m_Calls.back(), "destroy with controls"); });
    parent.reset();
    EXPECT_EQ(outer.Widget(), nullptr);
    EXPECT_EQ(inner.Widget(), nullptr);
    EXPECT_EQ(inner.m_Calls.back(), "destroy with controls");
}

TEST_F(DialogTest, AButtonIsACommandWithItsIdentifier)
{
    CTestDialog dialog;
    ASSERT_TRUE(dialog.Create(&m_Parent));
    QTest::mouseClick(dialog.GetDlgItem(BUTTON), Qt::LeftButton);
    EXPECT_EQ(dialog.m_Calls.back(), "command 6018");
}

TEST_F(DialogTest, ACommandMessageTakesTheLowSixteenBits)
{
    CTestDialog dialog;
    ASSERT_TRUE(dialog.Create(&m_Parent));
    SendMessageA(dialog.Handle(), WM_COMMAND, 0x10000 + 60001, 0);
    EXPECT_EQ(dialog.m_Calls.back(), "command 60001");
}

TEST_F(DialogTest, MessagesByNumberReachTheDialog)
{
    CTestDialog dialog;
    ASSERT_TRUE(dialog.Create(&m_Parent));
    EXPECT_EQ(SendMessageA(dialog.Handle(), 0x9999, 0, 8), 9);
    EXPECT_EQ(SendMessageA(dialog.Handle(), 0x9998, 0, 8), 0);
}

TEST_F(DialogTest, AFaultInAHandlerEndsThere)
{
    CTestDialog dialog;
    ASSERT_TRUE(dialog.Create(&m_Parent));
    EXPECT_EQ(SendMessageA(dialog.Handle(), 0x7EA, 0, 0), 0);
    EXPECT_THAT(m_strDebug, HasSubstr("a fault in a message"));
    dialog.m_strFailIn = "paint";
    dialog.Widget()->grab();
    EXPECT_THAT(m_strDebug, HasSubstr("a fault in paint"));
}

TEST_F(DialogTest, AFaultInACommandIsShownToTheUser)
{
    CTestDialog dialog;
    ASSERT_TRUE(dialog.Create(&m_Parent));
    dialog.m_strFailIn = "command 6018";
    QString shown;
    auto* timer = new QTimer(qApp);
    QObject::connect(timer, &QTimer::timeout, timer, [&shown, timer] {
        QWidget* box = QApplication::activeModalWidget();
        if (!box) return;
        timer->deleteLater();
        timer->stop();
        shown = box->findChild<QLabel*>("qt_msgbox_label")->text();
        box->close();
    });
    timer->start(5);
    dialog.GetDlgItem<QPushButton>(BUTTON)->click();
    EXPECT_EQ(shown, "a fault in command 6018");
}

TEST_F(DialogTest, ControlsAreFoundByIdentifierAndType)
{
    CTestDialog dialog;
    ASSERT_TRUE(dialog.Create(&m_Parent));
    EXPECT_NE(dialog.GetDlgItem<QPushButton>(BUTTON), nullptr);
    EXPECT_EQ(dialog.GetDlgItem<QLineEdit>(BUTTON), nullptr);
    EXPECT_EQ(dialog.GetDlgItem(207), nullptr);
    auto* combo = dialog.AddControl(1447, new QComboBox);
    delete combo;
    EXPECT_EQ(dialog.GetDlgItem(1447), nullptr);
}

TEST_F(DialogTest, TextsAreSetAndReadByIdentifier)
{
    CTestDialog dialog;
    ASSERT_TRUE(dialog.Create(&m_Parent));
    dialog.AddControl(1, new QLabel);
    dialog.AddControl(2, new QCheckBox);
    auto* combo = dialog.AddControl(3, new QComboBox);
    combo->setEditable(true);
    dialog.AddControl(4, new QGroupBox);
    dialog.AddControl(5, new QSlider);
    for (const int id : {1, 2, 3, 4, EDIT, BUTTON}) {
        EXPECT_TRUE(dialog.SetDlgItemText(id, "\xE4\xB8\xAD & text"));
        EXPECT_EQ(dialog.GetDlgItemText(id), "\xE4\xB8\xAD & text") << id;
    }
    EXPECT_FALSE(dialog.SetDlgItemText(5, "text"));
    EXPECT_FALSE(dialog.SetDlgItemText(207, "text")) << "a text for a control that isn't there shows nowhere";
    EXPECT_EQ(dialog.GetDlgItemText(207), "");
    dialog.SetWindowText("title");
    EXPECT_EQ(dialog.Widget()->windowTitle(), "title");
}

TEST_F(DialogTest, ReturnIsTheAcceptButtonAndEscapeIsCancel)
{
    CTestDialog dialog;
    ASSERT_TRUE(dialog.Create(&m_Parent));
    QTest::keyClick(dialog.GetDlgItem(EDIT), Qt::Key_Return);
    EXPECT_EQ(dialog.m_Calls.back(), "command 1");
    QTest::keyClick(dialog.GetDlgItem(EDIT), Qt::Key_Escape);
    EXPECT_EQ(dialog.m_Calls.back(), "command 2");
    EXPECT_NE(dialog.Widget(), nullptr) << "a modeless one stays";
    dialog.GetDlgItem<QPushButton>(BUTTON)->setDefault(true);
    QTest::keyClick(dialog.GetDlgItem(EDIT), Qt::Key_Enter);
    EXPECT_EQ(dialog.m_Calls.back(), "command 6018");
    auto* accept = dialog.AddControl(IDOK, new QPushButton);
    dialog.GetDlgItem<QPushButton>(BUTTON)->setDefault(false);
    accept->setEnabled(false);
    dialog.m_Calls.clear();
    QTest::keyClick(dialog.GetDlgItem(EDIT), Qt::Key_Return);
    EXPECT_THAT(dialog.m_Calls, IsEmpty()) << "a button that is off takes no return";
}

TEST_F(DialogTest, MovingTellsTheSize)
{
    m_Parent.resize(300, 300);
    m_Parent.show();
    CTestDialog dialog;
    ASSERT_TRUE(dialog.Create(&m_Parent));
    dialog.MoveWindow(5, 6, 70, 80);
    EXPECT_EQ(dialog.Widget()->geometry(), QRect(5, 6, 70, 80));
    EXPECT_EQ(dialog.m_Calls.back(), "size 70x80");
}

TEST_F(DialogTest, AModalDialogReturnsItsResult)
{
    CTestDialog dialog;
    QTimer::singleShot(0, qApp, [&] {
        EXPECT_TRUE(dialog.Widget()->isWindow());
        EXPECT_EQ(QApplication::activeModalWidget(), dialog.Widget());
        dialog.EndDialog(5);
        dialog.EndDialog(6);  // it has ended
    });
    EXPECT_EQ(dialog.DoModal(&m_Parent), 5);
    EXPECT_EQ(dialog.Widget(), nullptr);
    QTimer::singleShot(0, qApp, [&] { dialog.Widget()->close(); });
    EXPECT_EQ(dialog.DoModal(&m_Parent), IDCANCEL);
    QTimer::singleShot(0, qApp, [&] { QTest::keyClick(dialog.Widget(), Qt::Key_Return); });
    EXPECT_EQ(dialog.DoModal(&m_Parent), IDOK);
    dialog.m_iCreate = -1;
    EXPECT_EQ(dialog.DoModal(&m_Parent), -1);
}

TEST_F(DialogTest, AModalDialogWhoseOwnerGoesIsCancelled)
{
    auto owner = std::make_unique<QWidget>();
    owner->show();
    CTestDialog dialog;
    QTimer::singleShot(0, qApp, [&] { owner.reset(); });
    EXPECT_EQ(dialog.DoModal(owner.get()), IDCANCEL);
    EXPECT_EQ(dialog.Widget(), nullptr);
}

TEST_F(DialogTest, AModalDialogIsDecorated)
{
    QWidget* decorated = nullptr;
    SetDialogDecorator([&decorated](QWidget& widget) { decorated = &widget; });
    CTestDialog dialog;
    QTimer::singleShot(0, qApp, [&] {
        EXPECT_EQ(decorated, dialog.Widget());
        dialog.EndDialog(1);
    });
    dialog.DoModal(nullptr);
    SetDialogDecorator({});
}

TEST_F(DialogTest, KeysAreDispatchedToTheControlsAndMousePassedOn)
{
    struct CProbe : CTestDialog {
        using CDialog::PreTranslateMessage;
    } dialog;
    MSG message;
    message.message = WM_KEYDOWN;
    EXPECT_EQ(dialog.PreTranslateMessage(message), EPreTranslate::Dispatch);
    message.message = WM_UNICHAR;
    EXPECT_EQ(dialog.PreTranslateMessage(message), EPreTranslate::Dispatch);
    message.message = WM_LBUTTONDOWN;
    EXPECT_EQ(dialog.PreTranslateMessage(message), EPreTranslate::PassOn);
}

// Places and texts are made for it, whatever the host's application is.
TEST_F(DialogTest, AllIsLeftToRightInAHostThatIsNot)
{
    QGuiApplication::setLayoutDirection(Qt::RightToLeft);
    CTestDialog dialog;
    ASSERT_TRUE(dialog.Create(&m_Parent));
    EXPECT_EQ(m_Parent.layoutDirection(), Qt::RightToLeft) << "the host's own window stays";
    EXPECT_EQ(dialog.Widget()->layoutDirection(), Qt::LeftToRight);
    EXPECT_EQ(dialog.GetDlgItem(EDIT)->layoutDirection(), Qt::LeftToRight);
    CTestDialog modal;
    QTimer::singleShot(0, qApp, [&] {
        EXPECT_EQ(modal.Widget()->layoutDirection(), Qt::LeftToRight);
        modal.EndDialog(1);
    });
    modal.DoModal(&m_Parent);
    const CMenu menu;
    EXPECT_EQ(menu.Widget()->layoutDirection(), Qt::LeftToRight);
    Qt::LayoutDirection ofBox = Qt::RightToLeft;
    QTimer::singleShot(0, qApp, [&] {
        auto* const box = qobject_cast<QDialog*>(QApplication::activeModalWidget());
        ASSERT_NE(box, nullptr);
        ofBox = box->layoutDirection();
        box->reject();
    });
    MessageBoxA(HWND::Null, "text", "caption", MB_OK);
    EXPECT_EQ(ofBox, Qt::LeftToRight);
    QGuiApplication::setLayoutDirection(Qt::LeftToRight);
}

TEST_F(DialogTest, AMenuEntryIsACommandOfItsOwner)
{
    m_Parent.show();
    CTestDialog dialog;
    ASSERT_TRUE(dialog.Create(&m_Parent));
    CMenu menu;
    menu.AppendItem(60000, "One & only");
    menu.AppendSeparator();
    menu.AppendItem(60001, "Two");
    QMenu* shown = menu.Widget();
    EXPECT_EQ(shown->actions().at(0)->text(), "One && only");
    menu.Track(dialog.Handle(), QPoint(10, 10));
    ASSERT_TRUE(QTest::qWaitForWindowExposed(shown));
    QTest::keyClick(shown, Qt::Key_Down);
    QTest::keyClick(shown, Qt::Key_Down);
    QTest::keyClick(shown, Qt::Key_Return);
    EXPECT_TRUE(QTest::qWaitFor([&] { return dialog.m_Calls.back() == "command 60001"; }));
    EXPECT_EQ(menu.Widget(), nullptr);
}

TEST_F(DialogTest, AMenuGoesWithItsOwner)
{
    m_Parent.show();
    CTestDialog dialog;
    ASSERT_TRUE(dialog.Create(&m_Parent));
    CMenu menu;
    menu.AppendItem(1, "entry");
    const QPointer<QMenu> shown(menu.Widget());
    menu.Track(dialog.Handle(), QPoint(10, 10));
    ASSERT_EQ(QApplication::activePopupWidget(), shown);
    dialog.DestroyWindow();
    EXPECT_EQ(QApplication::activePopupWidget(), nullptr) << "its entries do nothing any more";
    EXPECT_TRUE(QTest::qWaitFor([&] { return shown == nullptr; }, 20000));
}
}  // namespace
