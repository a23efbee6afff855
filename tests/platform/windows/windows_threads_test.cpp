#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <latch>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "inc/OutputDebugString.h"
#include "platform/os/threads.h"
#include "platform/windows/answering.h"
#include "platform/windows/serving.h"
#include "platform/windows/windows.h"

namespace
{

constexpr std::uint32_t LONG_MS = 60000;
constexpr std::uint32_t MESSAGE = 0x7EA;

// A thread whose end the test waits for, serving messages.
class CThread
{
  public:
    explicit CThread(std::function<void()> body) : m_hThread(CreateThread(std::move(body), "test")) {}
    ~CThread() { Join(); }
    CThread(const CThread&) = delete;
    CThread& operator=(const CThread&) = delete;

    void Join()
    {
        if (m_hThread == nullptr) return;
        EXPECT_EQ(WaitForSingleObject(m_hThread, LONG_MS), WAIT_OBJECT_0);
        CloseHandle(m_hThread);
        m_hThread = nullptr;
    }

    /// Serves one message that waits.
    bool HasEnded() { return WaitForSingleObject(m_hThread, 0) == WAIT_OBJECT_0; }

  private:
    HANDLE m_hThread;
};

class CWindow
{
  public:
    explicit CWindow(WNDPROC procedure, void* native = nullptr)
        : m_hWindow(RegisterWindow(std::move(procedure), native))
    {
    }
    ~CWindow() { UnregisterWindow(m_hWindow); }
    CWindow(const CWindow&) = delete;
    CWindow& operator=(const CWindow&) = delete;
    operator HWND() const { return m_hWindow; }  // NOLINT: stands in for the handle

  private:
    HWND m_hWindow;
};

LRESULT Sum(std::uint32_t message, WPARAM wParam, LPARAM lParam)
{
    return static_cast<LRESULT>(message) + static_cast<LRESULT>(wParam) + lParam;
}

TEST(Windows, SendOnTheOwnersThreadIsAPlainCall)
{
    const CWindow window(Sum);
    EXPECT_EQ(SendMessageA(window, 1, 20, 300), 321);
}

TEST(Windows, HandlesAreNeverReused)
{
    std::set<HWND> seen;
    for (int i = 0; i < 1000; ++i) {
        const CWindow window(Sum);
        EXPECT_NE(window, HWND::Null);
        EXPECT_TRUE(seen.insert(window).second);
    }
}

TEST(Windows, EveryOperationOnAWindowThatIsGoneAnswersNothing)
{
    int native = 0;
    HWND gone = HWND::Null;
    {
        const CWindow window(Sum, &native);
        gone = window;
        EXPECT_EQ(GetNativeWindow(gone), &native);
    }
    for (const HWND window : {gone, HWND::Null, HWND{-5}, HWND{0x7FFFFFFF}}) {
        EXPECT_EQ(GetNativeWindow(window), nullptr);
        EXPECT_EQ(SendMessageA(window, 1, 2, 3), 0);
        EXPECT_FALSE(PostMessageA(window, 1, 2, 3));
        UnregisterWindow(window);
    }
}

TEST(Windows, AWindowWithoutAProcedureIsRefused)
{
    EXPECT_EQ(RegisterWindow(nullptr), HWND::Null);
}

TEST(Windows, AWaitServesWhatTheAwaitedThreadSends)
{
    // What closing a device does: the owner waits for a thread that notifies the owner before it ends.
    const CWindow window(Sum);
    std::atomic<LRESULT> answer = 0;
    CThread link([&] { answer = SendMessageA(window, MESSAGE, 1, 0); });
    link.Join();
    EXPECT_EQ(answer, MESSAGE + 1);
}

TEST(Windows, PlainSleepServesNothing)
{
    std::atomic<bool> handled = false;
    const CWindow window([&](std::uint32_t, WPARAM, LPARAM) {
        handled = true;
        return 1;
    });
    std::atomic<bool> sending = false;
    SetMessageWake([&] { sending = true; });
    CThread sender([&] { SendMessageA(window, MESSAGE, 0, 0); });
    while (!sending)
        Sleep(1);
    Sleep(1);
    EXPECT_FALSE(handled);
    SetMessageWake({});
    sender.Join();  // serves
    EXPECT_TRUE(handled);
}

TEST(Windows, AServingSleepServesSentMessages)
{
    std::atomic<bool> handled = false;
    const CWindow window([&](std::uint32_t, WPARAM, LPARAM) {
        handled = true;
        return 1;
    });
    CThread sender([&] { SendMessageA(window, MESSAGE, 0, 0); });
    while (!handled)
        SleepServing(1);
}

TEST(Windows, WorkThatIsWaitedForMaySendToTheWaitingThread)
{
    const CWindow window(Sum);
    LRESULT answer = 0;
    const auto caller = std::this_thread::get_id();
    std::thread::id worker = caller;
    RunServing([&] {
        worker = std::this_thread::get_id();
        answer = SendMessageA(window, MESSAGE, 1, 0);
    });
    EXPECT_EQ(answer, MESSAGE + 1);
    EXPECT_NE(worker, caller);
    EXPECT_THROW(RunServing([] { throw std::runtime_error("no"); }), std::runtime_error);
}

TEST(Windows, WorkOfAThreadWithoutWindowsRunsOnItself)
{
    std::thread::id worker;
    std::thread thread([&] { RunServing([&] { worker = std::this_thread::get_id(); }); });
    const auto self = thread.get_id();
    thread.join();
    EXPECT_EQ(worker, self);
}

TEST(Windows, PollingWithoutATimeServesToo)
{
    std::atomic<bool> handled = false;
    const CWindow window([&](std::uint32_t, WPARAM, LPARAM) {
        handled = true;
        return 1;
    });
    CThread sender([&] { SendMessageA(window, MESSAGE, 0, 0); });
    while (!handled)
        sender.HasEnded();
}

TEST(Windows, AWaitWithinAServedMessageServesTheNext)
{
    // The first message waits for what only the second brings, and the second comes while the first is served.
    std::latch second(1);
    const CWindow window([&](std::uint32_t message, WPARAM, LPARAM) -> LRESULT {
        if (message == 2) {
            second.count_down();
            return 2;
        }
        CThread([&] { second.wait(); }).Join();
        return 1;
    });
    std::atomic<LRESULT> first = 0;
    CThread one([&] { first = SendMessageA(window, 1, 0, 0); });
    CThread two([&] { SendMessageA(window, 2, 0, 0); });
    one.Join();
    two.Join();
    EXPECT_EQ(first, 1);
}

// As a message box in a procedure does, for whose end no sender is to wait.
TEST(Windows, AnEarlyAnswerIsTheInnermostServedMessagesAndNobodysOtherwise)
{
    const CWindow inner([](std::uint32_t, WPARAM, LPARAM) -> LRESULT { return 7; });
    std::atomic<LRESULT> innerAnswer = 0;
    std::atomic<LRESULT> outerAnswer = 0;
    const CWindow outer([&](std::uint32_t, WPARAM, LPARAM) -> LRESULT {
        CThread([&] { innerAnswer = SendMessageA(inner, MESSAGE, 0, 0); }).Join();
        AnswerOfServed()(55);
        return 1;
    });
    CThread([&] { outerAnswer = SendMessageA(outer, MESSAGE, 0, 0); }).Join();
    EXPECT_EQ(innerAnswer, 7);
    EXPECT_EQ(outerAnswer, 55);
    AnswerOfServed()(99);
    EXPECT_EQ(outerAnswer, 55);
}

TEST(Windows, AWaitDoesNotServePostedMessages)
{
    std::vector<std::uint32_t> handled;
    const CWindow window([&](std::uint32_t message, WPARAM, LPARAM) {
        handled.push_back(message);
        return 1;
    });
    CThread sender([&] {
        PostMessageA(window, 1, 0, 0);
        SendMessageA(window, 2, 0, 0);
    });
    sender.Join();
    EXPECT_EQ(handled, (std::vector<std::uint32_t>{2}));
    EXPECT_EQ(ServeMessages(false), 0);
    EXPECT_EQ(ServeMessages(true), 1);
    EXPECT_EQ(handled, (std::vector<std::uint32_t>{2, 1}));
}

TEST(Windows, TheBlockedSenderServesMessagesSentToItself)
{
    // Owner and link thread send to each other; each is served by the other's blocked send.
    std::atomic<HWND> back = HWND::Null;
    const CWindow window(
        [&](std::uint32_t, WPARAM wParam, LPARAM) { return SendMessageA(back, 1, wParam, 0) * 10; });
    std::atomic<LRESULT> answer = 0;
    CThread link([&] {
        const CWindow own(Sum);
        back = own;
        answer = SendMessageA(window, MESSAGE, 4, 0);
    });
    link.Join();
    EXPECT_EQ(answer, 50);
}

TEST(Windows, TwoThreadsThatSendToEachOtherAtOnceBothGoOn)
{
    constexpr int ROUNDS = 200;
    std::atomic<int> handled = 0;
    const auto count = [&](std::uint32_t, WPARAM, LPARAM) -> LRESULT { return ++handled; };
    const CWindow left(count);
    std::atomic<HWND> right = HWND::Null;
    std::latch ready(1);
    std::atomic<bool> finished = false;
    CThread other([&] {
        const CWindow own(count);
        right = own;
        ready.count_down();
        for (int i = 0; i < ROUNDS; ++i)
            SendMessageA(left, MESSAGE, 0, 0);
        while (!finished)
            SleepServing(1);
    });
    ready.wait();
    for (int i = 0; i < ROUNDS; ++i)
        EXPECT_NE(SendMessageA(right, MESSAGE, 0, 0), 0);
    finished = true;
    other.Join();
    EXPECT_EQ(handled, 2 * ROUNDS);
}

TEST(Windows, UnregisteringAnswersMessagesUnderWayWithNothing)
{
    std::latch woken(1);
    SetMessageWake([&] { woken.count_down(); });
    const HWND window = RegisterWindow(Sum);
    std::atomic<LRESULT> answer = -1;
    CThread sender([&] { answer = SendMessageA(window, MESSAGE, 1, 1); });
    woken.wait();  // serves nothing: the message stays in the queue
    UnregisterWindow(window);
    sender.Join();
    EXPECT_EQ(answer, 0);
    SetMessageWake(nullptr);
}

TEST(Windows, AThreadThatEndsTakesItsWindowsAlong)
{
    std::atomic<HWND> window = HWND::Null;
    CThread owner([&] { window = RegisterWindow(Sum); });
    owner.Join();
    EXPECT_NE(window, HWND::Null);
    EXPECT_FALSE(PostMessageA(window, MESSAGE, 0, 0));
    EXPECT_EQ(SendMessageA(window, MESSAGE, 0, 0), 0);
}

TEST(Windows, ASenderIsReleasedWhenTheOwnersThreadEnds)
{
    std::atomic<HWND> window = HWND::Null;
    std::latch ready(1);
    std::latch woken(1);
    CThread owner([&] {
        window = RegisterWindow(Sum);
        SetMessageWake([&] { woken.count_down(); });
        ready.count_down();
        woken.wait();  // serves nothing: the thread ends with the message in its queue
    });
    ready.wait();
    EXPECT_EQ(SendMessageA(window, MESSAGE, 1, 1), 0);
    owner.Join();
}

TEST(Windows, AProcedureMayUnregisterItsOwnWindow)
{
    std::string kept(100, 'x');
    HWND window = HWND::Null;
    window = RegisterWindow([&window, kept](std::uint32_t, WPARAM, LPARAM) {
        UnregisterWindow(window);
        return static_cast<LRESULT>(kept.size());
    });
    EXPECT_EQ(SendMessageA(window, MESSAGE, 0, 0), 100);
    EXPECT_FALSE(PostMessageA(window, MESSAGE, 0, 0));
}

TEST(Windows, PostedMessagesKeepTheirOrderAndGoWithTheirWindow)
{
    std::vector<std::uint32_t> handled;
    const auto keep = [&](std::uint32_t message, WPARAM, LPARAM) {
        handled.push_back(message);
        return 0;
    };
    const CWindow stays(keep);
    {
        const CWindow goes(keep);
        EXPECT_TRUE(PostMessageA(stays, 1, 0, 0));
        EXPECT_TRUE(PostMessageA(goes, 2, 0, 0));
        EXPECT_TRUE(PostMessageA(stays, 3, 0, 0));
    }
    EXPECT_EQ(ServeMessages(true), 2);
    EXPECT_EQ(handled, (std::vector<std::uint32_t>{1, 3}));
}

TEST(Windows, AMessagePostedWhileServingWaitsForTheNextTurn)
{
    HWND window = HWND::Null;
    window = RegisterWindow([&](std::uint32_t, WPARAM, LPARAM) {
        PostMessageA(window, MESSAGE, 0, 0);
        return 0;
    });
    PostMessageA(window, MESSAGE, 0, 0);
    EXPECT_EQ(ServeMessages(true), 1);
    EXPECT_EQ(ServeMessages(true), 1);
    UnregisterWindow(window);
    EXPECT_EQ(ServeMessages(true), 0);
}

TEST(Windows, EachArrivalWakesTheLoopUntilTheWakeIsTakenAway)
{
    std::atomic<int> wakes = 0;
    const CWindow window(Sum);
    SetMessageWake([&] { ++wakes; });
    PostMessageA(window, MESSAGE, 0, 0);
    EXPECT_EQ(wakes, 1) << "posting from the owner's own thread wakes too";
    CThread poster([&] { PostMessageA(window, MESSAGE, 0, 0); });
    poster.Join();
    EXPECT_EQ(wakes, 2);
    CThread sender([&] { SendMessageA(window, MESSAGE, 0, 0); });
    sender.Join();
    EXPECT_EQ(wakes, 3);
    SetMessageWake(nullptr);
    PostMessageA(window, MESSAGE, 0, 0);
    EXPECT_EQ(wakes, 3);
}

TEST(Windows, ManySendersAreAllAnswered)
{
    constexpr int SENDERS = 8;
    constexpr int MESSAGES = 50;
    int handled = 0;  // no lock: the procedure runs on this thread only
    const CWindow window([&](std::uint32_t, WPARAM, LPARAM lParam) {
        ++handled;
        return lParam + 1;
    });
    std::atomic<int> wrong = 0;
    std::vector<HANDLE> senders;
    for (int i = 0; i < SENDERS; ++i) {
        senders.push_back(CreateThread(
            [&, i] {
                for (int n = 0; n < MESSAGES; ++n) {
                    if (SendMessageA(window, MESSAGE, 0, i * MESSAGES + n) != i * MESSAGES + n + 1) ++wrong;
                }
            },
            "sender"));
    }
    for (const HANDLE sender : senders) {
        EXPECT_EQ(WaitForSingleObject(sender, LONG_MS), WAIT_OBJECT_0);
        CloseHandle(sender);
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(handled, SENDERS * MESSAGES);
}

TEST(Windows, WithoutABackendThereIsNoAnswerAndABoxGoesToTheDebugger)
{
    IWindowBackend* const former = SetWindowBackend(nullptr);
    std::string heard;
    const CDebugListener listener = SetDebugListener([&](std::string_view text) { heard += text; });
    const CWindow window(Sum);
    EXPECT_FALSE(SetWindowPos(window, {1, 2, 3, 4}));
    EXPECT_EQ(MessageBoxA(window, "no storage path", "Record", MB_OK), IDOK);
    EXPECT_EQ(heard, "Record: no storage path\n");
    SetDebugListener(listener);
    SetWindowBackend(former);
}

}  // namespace
