#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <atomic>
#include <memory>
#include <thread>

#include "platform/os/threads.h"
#include "platform/qt/QtPlatform.h"
#include "platform/qt/WindowHandle.h"
#include "platform/windows/message_queue.h"
#include "platform/windows/windows.h"

namespace
{
class WindowBackend : public testing::Test
{
  protected:
    void SetUp() override
    {
        ASSERT_TRUE(StartQtPlatform());
        m_Widget.resize(120, 80);
    }
    void TearDown() override { StopQtPlatform(); }

    /// Runs `work` on another thread while the event loop serves this one.
    template <typename TWork>
    void OnForeignThread(TWork work)
    {
        std::atomic<bool> done = false;
        std::thread thread([&] {
            work();
            done = true;
        });
        EXPECT_TRUE(QTest::qWaitFor([&] { return done.load(); }, 20000));
        thread.join();
    }

    QWidget m_Widget;
};

TEST_F(WindowBackend, OperationsReachTheWidgetFromTheOwnThread)
{
    const CWindowHandle handle(m_Widget);
    EXPECT_TRUE(SetWindowPos(handle.Get(), {10, 20, 110, 70}));
    EXPECT_EQ(m_Widget.geometry(), QRect(10, 20, 100, 50));
}

TEST_F(WindowBackend, OperationsReachTheWidgetFromAForeignThread)
{
    const CWindowHandle handle(m_Widget);
    OnForeignThread([&] { EXPECT_TRUE(SetWindowPos(handle.Get(), {0, 0, 60, 40})); });
    EXPECT_EQ(m_Widget.size(), QSize(60, 40));
}

TEST_F(WindowBackend, AWindowThatIsGoneAnswersNothing)
{
    HWND window = HWND::Null;
    {
        QWidget widget;
        const CWindowHandle handle(widget);
        window = handle.Get();
        EXPECT_EQ(WindowOf(&widget), window);
        EXPECT_EQ(WidgetOf(window), &widget);
    }
    EXPECT_FALSE(SetWindowPos(window, {0, 0, 60, 40}));
    EXPECT_EQ(WidgetOf(window), nullptr);
}

TEST_F(WindowBackend, TheEventLoopServesSentAndPostedMessages)
{
    std::vector<std::uint32_t> seen;
    const CWindowHandle handle(m_Widget, [&seen](std::uint32_t message, WPARAM, LPARAM) -> LRESULT {
        seen.push_back(message);
        return 42;
    });
    OnForeignThread([&] {
        EXPECT_TRUE(PostMessageA(handle.Get(), 0x9998, 0, 0));
        EXPECT_EQ(SendMessageA(handle.Get(), 0x7EA, 0, 0), 42);
    });
    EXPECT_TRUE(QTest::qWaitFor([&] { return seen.size() == 2; }));
}

TEST_F(WindowBackend, AWaitOfThePanelsThreadServesSentMessages)
{
    const CWindowHandle handle(m_Widget);
    bool moved = false;
    const HANDLE thread = CreateThread(
        [&] {
            moved = SetWindowPos(handle.Get(), {0, 0, 60, 40});
        },  // blocks until it is served
        "sender");
    EXPECT_EQ(WaitForSingleObject(thread, 10000), WAIT_OBJECT_0);
    EXPECT_TRUE(moved);
    CloseHandle(thread);
}

/// Presses a button of the message box that is on the screen as soon as it is.
void AnswerBox(QMessageBox::StandardButton button, QString* text = nullptr, QString* caption = nullptr)
{
    auto* timer = new QTimer(qApp);
    QObject::connect(timer, &QTimer::timeout, timer, [timer, button, text, caption] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box || !box->isVisible()) return;
        if (text) *text = box->windowTitle() + ": " + box->text();
        timer->deleteLater();
        timer->stop();
        ASSERT_NE(box->button(button), nullptr);
        if (caption) *caption = box->button(button)->text();
        QTest::mouseClick(box->button(button), Qt::LeftButton);
    });
    timer->start(5);
}

struct BoxCase {
    const char* name;
    std::uint32_t type;
    QMessageBox::StandardButton button;
    std::int32_t answer;
};

class MessageBoxes : public WindowBackend, public testing::WithParamInterface<BoxCase>
{
};

TEST_P(MessageBoxes, AnswerWithThePlatformsNumber)
{
    QString shown;
    AnswerBox(GetParam().button, &shown);
    EXPECT_EQ(MessageBoxA(HWND::Null, "a <b>text</b>", "caption", GetParam().type), GetParam().answer);
    EXPECT_EQ(shown, "caption: a <b>text</b>");
}

INSTANTIATE_TEST_SUITE_P(Backend, MessageBoxes,
                         testing::Values(BoxCase{"ok", MB_OK | MB_ICONERROR, QMessageBox::Ok, IDOK},
                                         BoxCase{"ok_cancel_ok", MB_OKCANCEL, QMessageBox::Ok, IDOK},
                                         BoxCase{"ok_cancel_cancel", MB_OKCANCEL | MB_ICONWARNING,
                                                 QMessageBox::Cancel, IDCANCEL},
                                         BoxCase{"yes", MB_YESNO | MB_ICONQUESTION, QMessageBox::Yes, IDYES},
                                         BoxCase{"no", MB_YESNO | MB_ICONINFORMATION, QMessageBox::No, IDNO}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(WindowBackend, AMessageBoxMayBeAskedForOnAnyThread)
{
    const CWindowHandle handle(m_Widget);
    AnswerBox(QMessageBox::No);
    OnForeignThread([&] { EXPECT_EQ(MessageBoxA(handle.Get(), "text", "caption", MB_YESNO), IDNO); });
}

TEST_F(WindowBackend, WhileAMessageBoxStandsOtherThreadsAreServed)
{
    const CWindowHandle handle(m_Widget);
    std::atomic<bool> answered = false;
    std::thread other;
    QTimer::singleShot(0, qApp, [&] {
        other = std::thread([&] {
            answered = SetWindowPos(handle.Get(), {0, 0, 60, 40});
            PostMessageA(handle.Get(), 1, 0, 0);
        });
    });
    auto* timer = new QTimer(qApp);
    QObject::connect(timer, &QTimer::timeout, timer, [&answered, timer] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box || !answered) return;
        timer->deleteLater();
        timer->stop();
        box->button(QMessageBox::Ok)->click();
    });
    timer->start(5);
    EXPECT_EQ(MessageBoxA(handle.Get(), "text", "caption", MB_OK), IDOK);
    EXPECT_TRUE(answered);
    other.join();
}

TEST_F(WindowBackend, WhatWasSentTogetherWithTheRequestForABoxIsServedWhileItStands)
{
    const std::shared_ptr<CMessageQueue> queue = MakeThreadQueue();
    const auto awaitSent = [&queue](std::size_t count) {
        for (;;) {
            const CMutexLock lock(g_csWait);
            if (queue->sent.size() == count) return;
        }
    };
    bool served = false;
    const HWND window = RegisterWindow([&served](std::uint32_t, WPARAM, LPARAM) -> LRESULT {
        served = QApplication::activeModalWidget() != nullptr;
        return 0;
    });
    std::thread asking([] { MessageBoxA(HWND::Null, "text", "caption", MB_OK); });
    awaitSent(1);
    std::thread sending([window] { SendMessageA(window, 0x7EA, 0, 0); });
    awaitSent(2);
    QElapsedTimer standing;
    QTimer answering;
    QObject::connect(&answering, &QTimer::timeout, [&] {
        auto* const box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (box == nullptr) return;
        if (!standing.isValid()) standing.start();
        if (served || standing.elapsed() > 10000) box->accept();
    });
    answering.start(5);
    EXPECT_TRUE(
        QTest::qWaitFor([&] { return standing.isValid() && !QApplication::activeModalWidget(); }, 20000));
    EXPECT_TRUE(served);
    asking.join();
    sending.join();
    UnregisterWindow(window);
}

// A thread that is left behind may have the backend in its hand when the last control goes.
TEST_F(WindowBackend, ThreadOnItsWayInFindsItStopped)
{
    const CWindowHandle handle(m_Widget);
    IWindowBackend* const taken = SetWindowBackend(nullptr);
    SetWindowBackend(taken);
    StopQtPlatform();
    OnForeignThread([&] {
        EXPECT_FALSE(taken->SetWindowPos(handle.Get(), {0, 0, 60, 40}));
        EXPECT_EQ(taken->MessageBoxA(handle.Get(), "text", "caption", MB_YESNO), IDOK);
    });
    EXPECT_EQ(m_Widget.size(), QSize(120, 80));
    ASSERT_TRUE(StartQtPlatform());
}

TEST_F(WindowBackend, ButtonsOfAMessageBoxTakeTheTextsThatAreGiven)
{
    const struct {
        QMessageBox::StandardButton button;
        std::uint32_t type;
        std::string text;
    } rows[] = {{QMessageBox::Ok, MB_OK, "text 1"},
                {QMessageBox::Cancel, MB_OKCANCEL, "text 2"},
                {QMessageBox::Yes, MB_YESNO, "text 6"}};
    SetButtonTexts([](std::int32_t id) { return id == IDNO ? "" : "text " + std::to_string(id); });
    QString shown;
    for (const auto& row : rows) {
        AnswerBox(row.button, nullptr, &shown);
        MessageBoxA(HWND::Null, "text", "caption", row.type);
        EXPECT_EQ(shown.toStdString(), row.text);
    }
    AnswerBox(QMessageBox::No, nullptr, &shown);
    MessageBoxA(HWND::Null, "text", "caption", MB_YESNO);
    const QString own = shown;
    SetButtonTexts({});
    AnswerBox(QMessageBox::No, nullptr, &shown);
    MessageBoxA(HWND::Null, "text", "caption", MB_YESNO);
    EXPECT_EQ(shown, own) << "the toolkit's own where none is given";
    EXPECT_FALSE(own.isEmpty());
}

TEST_F(WindowBackend, TextOfAMessageBoxIsShownAsItStands)
{
    Qt::TextFormat format = Qt::AutoText;
    SetDialogDecorator([&format](QWidget& box) { format = dynamic_cast<QMessageBox&>(box).textFormat(); });
    AnswerBox(QMessageBox::Ok);
    MessageBoxA(HWND::Null, "<b>text</b>", "caption", MB_OK);
    SetDialogDecorator({});
    EXPECT_EQ(format, Qt::PlainText);
}

TEST_F(WindowBackend, TheDecoratorSeesEachMessageBox)
{
    int decorated = 0;
    SetDialogDecorator([&decorated](QWidget&) { ++decorated; });
    AnswerBox(QMessageBox::Ok);
    MessageBoxA(HWND::Null, "text", "caption", MB_OK);
    SetDialogDecorator({});
    EXPECT_EQ(decorated, 1);
}
}  // namespace
