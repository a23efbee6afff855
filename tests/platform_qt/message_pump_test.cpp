#include "platform/qt/MessagePump.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QApplication>
#include <QLineEdit>
#include <QShortcut>
#include <QTest>
#include <QVBoxLayout>
#include <memory>
#include <string>
#include <vector>

#include "platform/qt/Keys.h"
#include "platform/qt/QtPlatform.h"
#include "platform/qt/WindowHandle.h"

namespace
{
using testing::ElementsAre;
using testing::IsEmpty;

struct Seen {
    std::uint32_t message;
    WPARAM wParam;
    friend bool operator==(const Seen&, const Seen&) = default;
    friend void PrintTo(const Seen& seen, std::ostream* out)
    {
        *out << std::hex << "{0x" << seen.message << ", 0x" << seen.wParam << "}";
    }
};

/// Answers with what it is told to, and keeps what it was asked.
struct Translator : IPreTranslate {
    EPreTranslate PreTranslate(MSG& message) override
    {
        seen.push_back({message.message, message.wParam});
        return answer;
    }
    EPreTranslate answer = EPreTranslate::PassOn;
    std::vector<Seen> seen;
};

/// Counts the key presses that reach it and takes none.
class CKeyWidget : public QWidget
{
  public:
    using QWidget::QWidget;
    int m_iPresses = 0;
    int m_iReleases = 0;

  protected:
    void keyPressEvent(QKeyEvent* event) override
    {
        ++m_iPresses;
        event->ignore();
    }
    void keyReleaseEvent(QKeyEvent* event) override
    {
        ++m_iReleases;
        event->ignore();
    }
    void mousePressEvent(QMouseEvent* event) override { event->ignore(); }
};

class MessagePump : public testing::Test
{
  protected:
    void SetUp() override
    {
        ASSERT_TRUE(StartQtPlatform());
        m_Inner.setParent(&m_Outer);
        m_Inner.resize(50, 50);
        m_Outer.resize(100, 100);
    }
    void TearDown() override
    {
        UnhookWindowsHookEx(m_hHook);
        StopQtPlatform();
    }
    /// The keys come to the inner widget from here on.
    void ShowWithFocus()
    {
        m_Outer.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&m_Outer));
        QApplication::setActiveWindow(&m_Outer);
        m_Inner.setFocusPolicy(Qt::StrongFocus);
        m_Inner.setFocus();
        ASSERT_TRUE(QTest::qWaitFor([this] { return m_Inner.hasFocus(); }));
    }
    /// Puts a hook that keeps what it sees and nulls the messages named.
    void Hook(std::vector<std::uint32_t> handled = {})
    {
        m_hHook = SetWindowsHookExA([this, handled](int code, WPARAM removed, MSG& message) {
            EXPECT_EQ(code, HC_ACTION);
            EXPECT_EQ(removed, PM_REMOVE);
            m_Seen.push_back({message.message, message.wParam});
            m_Last = message;
            if (std::find(handled.begin(), handled.end(), message.message) != handled.end())
                message.message = WM_NULL;
            return CallNextHookEx(code, removed, message);
        });
    }

    CKeyWidget m_Outer;
    CKeyWidget m_Inner;
    HHOOK m_hHook = HHOOK::Null;
    std::vector<Seen> m_Seen;
    MSG m_Last;  // its target only as long as that stands
};

TEST_F(MessagePump, AKeyIsKeyDownCharacterAndKeyUp)
{
    Hook();
    QTest::keyClick(&m_Inner, Qt::Key_A, Qt::NoModifier);
    EXPECT_THAT(m_Seen, ElementsAre(Seen{WM_KEYDOWN, 'A'}, Seen{WM_CHAR, 'a'}, Seen{WM_KEYUP, 'A'}));
    EXPECT_EQ(m_Last.target, &m_Inner);
    EXPECT_EQ(m_Inner.m_iPresses, 1);
}

TEST_F(MessagePump, AnArrowHasNoCharacter)
{
    Hook();
    QTest::keyClick(&m_Inner, Qt::Key_Left);
    EXPECT_THAT(m_Seen, ElementsAre(Seen{WM_KEYDOWN, 0x25}, Seen{WM_KEYUP, 0x25}));
}

TEST_F(MessagePump, WithAltTheMessagesAreThoseOfTheSystem)
{
    Hook();
    QTest::keyClick(&m_Inner, Qt::Key_X, Qt::AltModifier);
    EXPECT_THAT(m_Seen, testing::Contains(Seen{WM_SYSKEYDOWN, 'X'}));
    EXPECT_THAT(m_Seen, testing::Contains(Seen{WM_SYSKEYUP, 'X'}));
    EXPECT_THAT(m_Seen, testing::Not(testing::Contains(Seen{WM_KEYDOWN, 'X'})));
}

TEST_F(MessagePump, ACharacterBeyondSixteenBitsIsTheUnicodeMessage)
{
    Hook();
    QKeyEvent event(QEvent::KeyPress, 0, Qt::NoModifier, QString::fromUtf8("\xF0\x9F\x8E\xA5"));
    QCoreApplication::sendEvent(&m_Inner, &event);
    EXPECT_THAT(m_Seen, ElementsAre(Seen{WM_UNICHAR, 0x1F3A5}));
}

TEST_F(MessagePump, AKeyThatAWidgetHandsToItsParentIsOneMessage)
{
    Hook();
    QTest::keyClick(&m_Inner, Qt::Key_Up);
    EXPECT_EQ(m_Outer.m_iPresses, 1) << "the parent has seen it";
    EXPECT_EQ(m_Seen.size(), 2U);
    QTest::keyClick(&m_Outer, Qt::Key_Up);
    EXPECT_EQ(m_Seen.size(), 4U) << "a new key to the parent is a message of its own";
}

TEST_F(MessagePump, ANulledMessageReachesNoWindow)
{
    Hook({WM_KEYDOWN, WM_KEYUP});
    QTest::keyClick(&m_Inner, Qt::Key_A);
    EXPECT_EQ(m_Inner.m_iPresses, 0);
    EXPECT_EQ(m_Inner.m_iReleases, 0);
    EXPECT_EQ(m_Outer.m_iPresses, 0);
    EXPECT_THAT(m_Seen, ElementsAre(Seen{WM_KEYDOWN, 'A'}, Seen{WM_KEYUP, 'A'})) << "and makes no character";
}

TEST_F(MessagePump, ANulledKeyIsNoAcceleratorOfTheHost)
{
    QShortcut shortcut(QKeySequence(Qt::Key_Down), &m_Outer);
    int activated = 0;
    QObject::connect(&shortcut, &QShortcut::activated, [&activated] { ++activated; });
    ASSERT_NO_FATAL_FAILURE(ShowWithFocus());
    QTest::keyClick(&m_Inner, Qt::Key_Down);
    ASSERT_EQ(activated, 1) << "without a hook the host takes it";
    Hook({WM_KEYDOWN});
    QTest::keyClick(&m_Inner, Qt::Key_Down);
    EXPECT_EQ(activated, 1);
    EXPECT_THAT(m_Seen, testing::Contains(Seen{WM_KEYDOWN, VK_DOWN}));
    EXPECT_EQ(std::count(m_Seen.begin(), m_Seen.end(), Seen{WM_KEYDOWN, VK_DOWN}), 1)
        << "asked once, not twice";
}

TEST_F(MessagePump, ADispatchedKeyGoesToItsTargetAndNotToTheHost)
{
    QShortcut plain(QKeySequence(Qt::Key_Down), &m_Outer);
    QShortcut command(QKeySequence("Ctrl+Q"), &m_Outer);
    int plainCount = 0;
    int commandCount = 0;
    QObject::connect(&plain, &QShortcut::activated, [&plainCount] { ++plainCount; });
    QObject::connect(&command, &QShortcut::activated, [&commandCount] { ++commandCount; });
    Translator translator;
    translator.answer = EPreTranslate::Dispatch;
    SetPreTranslator(m_Inner, &translator);
    m_hHook = SetWindowsHookExA([](int, WPARAM, MSG& message) -> LRESULT {
        WalkPreTranslateTree(message);
        return 0;
    });
    ASSERT_NO_FATAL_FAILURE(ShowWithFocus());
    QTest::keyClick(&m_Inner, Qt::Key_Down);
    EXPECT_EQ(plainCount, 0);
    EXPECT_EQ(m_Inner.m_iPresses, 1);
    QTest::keyClick(&m_Inner, Qt::Key_Q, Qt::ControlModifier);
    EXPECT_EQ(commandCount, 1) << "the host's commands go on working";
    SetPreTranslator(m_Inner, nullptr);
}

TEST_F(MessagePump, TheNewestHookIsFirstAndPassesOn)
{
    std::vector<int> order;
    const HHOOK first = SetWindowsHookExA([&order](int code, WPARAM removed, MSG& message) {
        order.push_back(1);
        return CallNextHookEx(code, removed, message);
    });
    const HHOOK second = SetWindowsHookExA([&order](int code, WPARAM removed, MSG& message) {
        order.push_back(2);
        return CallNextHookEx(code, removed, message);
    });
    QTest::keyPress(&m_Inner, Qt::Key_Left);
    EXPECT_THAT(order, ElementsAre(2, 1));
    EXPECT_TRUE(UnhookWindowsHookEx(second));
    EXPECT_FALSE(UnhookWindowsHookEx(second));
    order.clear();
    QTest::keyRelease(&m_Inner, Qt::Key_Left);
    EXPECT_THAT(order, ElementsAre(1));
    EXPECT_TRUE(UnhookWindowsHookEx(first));
    EXPECT_EQ(SetWindowsHookExA({}), HHOOK::Null);
}

TEST_F(MessagePump, AHookMayTakeItselfAway)
{
    HHOOK self = HHOOK::Null;
    int calls = 0;
    self = SetWindowsHookExA([&](int code, WPARAM removed, MSG& message) {
        ++calls;
        UnhookWindowsHookEx(self);
        return CallNextHookEx(code, removed, message);
    });
    Hook();  // stands in front of it
    QTest::keyClick(&m_Inner, Qt::Key_Left);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(m_Seen.size(), 2U);
}

TEST_F(MessagePump, AHookMayEndTheTargetAtEachMessage)
{
    ASSERT_NO_FATAL_FAILURE(ShowWithFocus());
    for (const std::uint32_t at : {WM_KEYDOWN, WM_CHAR, WM_KEYUP, WM_LBUTTONDOWN, WM_LBUTTONUP}) {
        auto target = std::make_unique<CKeyWidget>(&m_Outer);
        target->setGeometry(60, 60, 30, 30);
        target->show();
        target->setFocus();
        int downs = 0;
        const HHOOK hook = SetWindowsHookExA([&](int, WPARAM, MSG& message) -> LRESULT {
            if (message.message == WM_KEYDOWN) ++downs;
            if (message.message == at && message.target == target.get()) target.reset();
            return 0;
        });
        QTest::keyClick(m_Outer.windowHandle(), Qt::Key_A);
        QTest::mouseClick(m_Outer.windowHandle(), Qt::LeftButton, {}, QPoint(70, 70));
        EXPECT_EQ(target, nullptr) << at;
        EXPECT_EQ(downs, 1) << "nobody else gets a key that was the target's: " << at;
        UnhookWindowsHookEx(hook);
    }
    EXPECT_EQ(m_Outer.m_iPresses, 3) << "those that a target which still stood has passed on";
}

TEST_F(MessagePump, AHookMayEndThePlatform)
{
    ASSERT_NO_FATAL_FAILURE(ShowWithFocus());
    m_hHook = SetWindowsHookExA([this](int, WPARAM, MSG& message) -> LRESULT {
        m_Seen.push_back({message.message, message.wParam});
        if (m_Seen.size() > 1) return 0;
        StopQtPlatform();
        EXPECT_TRUE(StartQtPlatform());  // where the former one was
        return 0;
    });
    QTest::keyPress(m_Outer.windowHandle(), Qt::Key_Down);
    EXPECT_EQ(m_Seen.size(), 2U) << "a new pump knows nothing of what the former one asked";
}

TEST_F(MessagePump, MouseButtonsAreMessagesWithTheirPlace)
{
    Hook();
    QTest::mouseClick(&m_Inner, Qt::LeftButton, Qt::NoModifier, QPoint(3, 7));
    EXPECT_THAT(m_Seen, ElementsAre(Seen{WM_LBUTTONDOWN, 0}, Seen{WM_LBUTTONUP, 0}));
    EXPECT_EQ(m_Last.lParam, 7 << 16 | 3);
    m_Seen.clear();
    QTest::mouseClick(&m_Inner, Qt::RightButton);
    QTest::mouseDClick(&m_Inner, Qt::LeftButton);
    EXPECT_THAT(m_Seen, testing::IsSupersetOf(
                            {Seen{WM_RBUTTONDOWN, 0}, Seen{WM_RBUTTONUP, 0}, Seen{WM_LBUTTONDBLCLK, 0}}));
    m_Seen.clear();
    QTest::mouseClick(&m_Inner, Qt::MiddleButton);
    EXPECT_THAT(m_Seen, IsEmpty());
}

TEST_F(MessagePump, InputOfTheWindowSystemIsOneMessageEach)
{
    ASSERT_NO_FATAL_FAILURE(ShowWithFocus());
    Hook();
    QTest::keyClick(m_Outer.windowHandle(), Qt::Key_Left);
    EXPECT_THAT(m_Seen, ElementsAre(Seen{WM_KEYDOWN, 0x25}, Seen{WM_KEYUP, 0x25}));
    m_Seen.clear();
    QTest::mouseClick(m_Outer.windowHandle(), Qt::LeftButton, Qt::NoModifier, QPoint(10, 10));
    QTest::mouseClick(m_Outer.windowHandle(), Qt::RightButton, Qt::NoModifier, QPoint(10, 10));
    EXPECT_THAT(m_Seen, ElementsAre(Seen{WM_LBUTTONDOWN, 0}, Seen{WM_LBUTTONUP, 0}, Seen{WM_RBUTTONDOWN, 0},
                                    Seen{WM_RBUTTONUP, 0}));
}

TEST_F(MessagePump, WindowsAreAskedFromTheTargetUpOncePerMouseMessage)
{
    Translator inner;
    Translator outer;
    SetPreTranslator(m_Inner, &inner);
    SetPreTranslator(m_Outer, &outer);
    QTest::mousePress(&m_Inner, Qt::LeftButton);
    EXPECT_EQ(inner.seen.size(), 1U);
    EXPECT_EQ(outer.seen.size(), 1U);
    inner.answer = EPreTranslate::Handled;
    QTest::mouseRelease(&m_Inner, Qt::LeftButton);
    EXPECT_EQ(inner.seen.size(), 2U);
    EXPECT_EQ(outer.seen.size(), 1U) << "handled below";
    SetPreTranslator(m_Inner, nullptr);
    SetPreTranslator(m_Outer, nullptr);
}

TEST_F(MessagePump, AHookThatAsksTheWindowsAsksForAll)
{
    Translator inner;
    SetPreTranslator(m_Inner, &inner);
    m_hHook = SetWindowsHookExA([](int, WPARAM, MSG& message) -> LRESULT {
        WalkPreTranslateTree(message);
        return 0;
    });
    QTest::mouseClick(&m_Inner, Qt::LeftButton);
    EXPECT_THAT(inner.seen, ElementsAre(Seen{WM_LBUTTONDOWN, 0}, Seen{WM_LBUTTONUP, 0}));
    SetPreTranslator(m_Inner, nullptr);
}

TEST_F(MessagePump, KeysReachTheWindowsThroughHooksOnly)
{
    Translator inner;
    SetPreTranslator(m_Inner, &inner);
    QTest::keyClick(&m_Inner, Qt::Key_A);
    EXPECT_THAT(inner.seen, IsEmpty());
    SetPreTranslator(m_Inner, nullptr);
}

TEST_F(MessagePump, TheMessagesWindowIsTheNearestWithAHandle)
{
    CWindowHandle handle(m_Outer);
    Hook();
    QTest::keyPress(&m_Inner, Qt::Key_Left);
    EXPECT_EQ(m_Last.hwnd, handle.Get());
}

struct KeyCase {
    int key;
    std::uint32_t number;
};

class VirtualKeys : public testing::TestWithParam<KeyCase>
{
};

TEST_P(VirtualKeys, AreThePlatforms)
{
    EXPECT_EQ(VirtualKey(GetParam().key), GetParam().number);
}

INSTANTIATE_TEST_SUITE_P(
    Keys, VirtualKeys,
    testing::Values(KeyCase{Qt::Key_Return, 0x0D}, KeyCase{Qt::Key_Enter, 0x0D}, KeyCase{Qt::Key_PageUp, 0x21},
                    KeyCase{Qt::Key_PageDown, 0x22}, KeyCase{Qt::Key_End, 0x23}, KeyCase{Qt::Key_Home, 0x24},
                    KeyCase{Qt::Key_Left, 0x25}, KeyCase{Qt::Key_Up, 0x26}, KeyCase{Qt::Key_Right, 0x27},
                    KeyCase{Qt::Key_Down, 0x28}, KeyCase{Qt::Key_Insert, 0x2D}, KeyCase{Qt::Key_Delete, 0x2E},
                    KeyCase{Qt::Key_0, '0'}, KeyCase{Qt::Key_Z, 'Z'}, KeyCase{Qt::Key_F1, 0x70},
                    KeyCase{Qt::Key_F24, 0x87}, KeyCase{Qt::Key_F25, 0}, KeyCase{Qt::Key_unknown, 0}));

TEST(QtPlatform, StartsAreCounted)
{
    EXPECT_TRUE(StartQtPlatform());
    EXPECT_TRUE(StartQtPlatform());
    StopQtPlatform();
    QWidget widget;
    const CWindowHandle handle(widget);
    EXPECT_TRUE(SetWindowPos(handle.Get(), {0, 0, 60, 40})) << "one start is left";
    StopQtPlatform();
    EXPECT_FALSE(SetWindowPos(handle.Get(), {0, 0, 60, 40}));
    StopQtPlatform();
}
}  // namespace
