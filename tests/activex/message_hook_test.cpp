// The panel's message hook: keys and the left button reach the module's windows before the host's loop.

#include <gmock/gmock.h>

#include <ostream>

#include <QTest>

#include "platform/qt/MessagePump.h"
#include "platform/qt/QtPlatform.h"
#include "tests/activex/data_support.h"

using testing::ElementsAre;

namespace
{

// Takes every message that it is asked about, unless told otherwise.
struct CTakingWindow : IPreTranslate {
    EPreTranslate PreTranslate(MSG& message) override
    {
        asked.push_back(message.message);
        return answer;
    }
    std::vector<std::uint32_t> asked;
    EPreTranslate answer = EPreTranslate::Handled;
};

// A window of the module that takes what it is asked about, and a hook that was there before the panel's and so
// sees what that one leaves of each message.
class MessageHookTest : public CDataTest
{
  protected:
    MessageHookTest()
    {
        StartQtPlatform();
        SetPreTranslator(m_Window, &m_Taking);
        m_hSpy = SetWindowsHookExA([this](int code, WPARAM removed, MSG& message) {
            m_Spied.push_back(message.message);
            return CallNextHookEx(code, removed, message);
        });
    }
    ~MessageHookTest() override
    {
        UnhookWindowsHookEx(m_hSpy);
        SetPreTranslator(m_Window, nullptr);
        StopQtPlatform();
    }
    std::vector<std::uint32_t> SpiedOfAKey()
    {
        m_Spied.clear();
        QTest::keyClick(&m_Window, Qt::Key_Left);
        return m_Spied;
    }
    std::vector<std::uint32_t> SpiedOfAButton(Qt::MouseButton button)
    {
        m_Spied.clear();
        QTest::mouseClick(&m_Window, button);
        return m_Spied;
    }

    QWidget m_Window{&m_Container};
    CTakingWindow m_Taking;
    std::vector<std::uint32_t> m_Spied;
    HHOOK m_hSpy = HHOOK::Null;
};

TEST_F(MessageHookTest, KeysThatAWindowTakesAreNullFromTheStartToTheCloseOfThePanel)
{
    EXPECT_THAT(SpiedOfAKey(), ElementsAre(WM_KEYDOWN, WM_KEYUP));
    EXPECT_THAT(m_Taking.asked, testing::IsEmpty()) << "nobody asks the windows about keys";
    ASSERT_EQ(Start(), S_OK);
    EXPECT_THAT(SpiedOfAKey(), ElementsAre(WM_NULL, WM_NULL));
    EXPECT_THAT(m_Taking.asked, ElementsAre(WM_KEYDOWN, WM_KEYUP));
    SendMessageA(Panel().Handle(), WM_CLOSE, 0, 0);
    EXPECT_THAT(SpiedOfAKey(), ElementsAre(WM_KEYDOWN, WM_KEYUP));
    EXPECT_EQ(m_Taking.asked.size(), 2U);
}

TEST_F(MessageHookTest, LeftButtonThatAWindowTakesIsNullLikewiseAndItsReleaseIsNot)
{
    EXPECT_THAT(SpiedOfAButton(Qt::LeftButton), ElementsAre(WM_LBUTTONDOWN, WM_LBUTTONUP));
    ASSERT_EQ(Start(), S_OK);
    EXPECT_THAT(SpiedOfAButton(Qt::LeftButton), ElementsAre(WM_NULL, WM_LBUTTONUP));
    SendMessageA(Panel().Handle(), WM_CLOSE, 0, 0);
    EXPECT_THAT(SpiedOfAButton(Qt::LeftButton), ElementsAre(WM_LBUTTONDOWN, WM_LBUTTONUP));
}

TEST_F(MessageHookTest, RightButtonIsNeverChanged)
{
    ASSERT_EQ(Start(), S_OK);
    EXPECT_THAT(SpiedOfAButton(Qt::RightButton), ElementsAre(WM_RBUTTONDOWN, WM_RBUTTONUP));
}

TEST_F(MessageHookTest, WhatNoWindowTakesPassesUnchanged)
{
    SetPreTranslator(m_Window, nullptr);
    ASSERT_EQ(Start(), S_OK);
    EXPECT_THAT(SpiedOfAKey(), ElementsAre(WM_KEYDOWN, WM_KEYUP));
    EXPECT_THAT(SpiedOfAButton(Qt::LeftButton), ElementsAre(WM_LBUTTONDOWN, WM_LBUTTONUP));
}

TEST_F(MessageHookTest, EndOfThePanelTakesTheHookAway)
{
    ASSERT_EQ(Start(), S_OK);
    Panel().DestroyWindow();
    EXPECT_THAT(SpiedOfAKey(), ElementsAre(WM_KEYDOWN, WM_KEYUP));
}

TEST_F(MessageHookTest, TwoPanelsAskOnceAndTheLastOneTakesTheHookAway)
{
    m_Taking.answer = EPreTranslate::PassOn;
    ASSERT_EQ(Start(), S_OK);
    CMainDialog second;
    ASSERT_TRUE(second.Create(&m_Container));
    SpiedOfAKey();
    EXPECT_THAT(m_Taking.asked, ElementsAre(WM_KEYDOWN, WM_KEYUP));
    Panel().DestroyWindow();
    m_Taking.asked.clear();
    SpiedOfAKey();
    EXPECT_THAT(m_Taking.asked, ElementsAre(WM_KEYDOWN, WM_KEYUP));
    second.DestroyWindow();
    m_Taking.asked.clear();
    SpiedOfAKey();
    EXPECT_THAT(m_Taking.asked, testing::IsEmpty());
}

// A newer hook shows the panel's own any message with any code.
struct HookRow {
    int code;
    WPARAM removed;
    std::uint32_t message;
    bool taken;

    friend void PrintTo(const HookRow& row, std::ostream* out)
    {
        *out << "code " << row.code << ", flag " << row.removed << ", message 0x" << std::hex << row.message
             << std::dec;
    }
};

class HookRuleTest : public MessageHookTest, public testing::WithParamInterface<HookRow>
{
};

TEST_P(HookRuleTest, MessageIsTakenOrPassed)
{
    const HookRow& row = GetParam();
    ASSERT_EQ(Start(), S_OK);
    MSG shown;
    const HHOOK newer = SetWindowsHookExA([&](int, WPARAM, MSG& message) {
        shown = message;
        shown.message = row.message;
        shown.wParam = 5;
        shown.lParam = 6;
        return CallNextHookEx(row.code, row.removed, shown);
    });
    QTest::keyPress(&m_Window, Qt::Key_Left);
    UnhookWindowsHookEx(newer);
    EXPECT_EQ(shown.message, row.taken ? WM_NULL : row.message);
    EXPECT_EQ(shown.wParam, row.taken ? 0U : 5U);
    EXPECT_EQ(shown.lParam, row.taken ? 0 : 6);
    EXPECT_THAT(m_Spied, ElementsAre(shown.message)) << "the older hook gets it either way";
}

constexpr WPARAM PEEKED = 0;

INSTANTIATE_TEST_SUITE_P(
    Rows, HookRuleTest,
    testing::Values(HookRow{HC_ACTION, PM_REMOVE, 0x100, true}, HookRow{HC_ACTION, PM_REMOVE, 0x109, true},
                    HookRow{HC_ACTION, PM_REMOVE, 0xFF, false}, HookRow{HC_ACTION, PM_REMOVE, 0x10A, false},
                    HookRow{1, PM_REMOVE, 0x100, true}, HookRow{-1, PM_REMOVE, 0x100, false},
                    HookRow{HC_ACTION, PEEKED, 0x100, false}, HookRow{HC_ACTION, PM_REMOVE, 0x201, true},
                    HookRow{-1, PEEKED, 0x201, true},  // oddity: left-button-at-any-code
                    HookRow{HC_ACTION, PM_REMOVE, 0x202, false}, HookRow{HC_ACTION, PM_REMOVE, 0x204, false}));

}  // namespace
