#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <latch>
#include <memory>
#include <vector>

#include "platform/component/counted_objects.h"
#include "platform/os/clock.h"
#include "platform/os/threads.h"
#include "platform/windows/windows.h"
#include "tests/support/thread_shortage.h"

namespace
{

constexpr std::uint32_t LONG_MS = 60000;

class CHandle
{
  public:
    explicit CHandle(HANDLE handle) : m_hObject(handle) {}
    ~CHandle() { CloseHandle(m_hObject); }
    CHandle(const CHandle&) = delete;
    CHandle& operator=(const CHandle&) = delete;
    operator HANDLE() const { return m_hObject; }  // NOLINT: stands in for the handle

  private:
    HANDLE m_hObject;
};

TEST(Threads, OneThatRunsKeepsItsModuleLoadedUntilItHasEnded)
{
    ASSERT_TRUE(CanUnloadComponentModule());
    std::latch go(1);
    const CHandle thread(CreateThread([&] { go.wait(); }, "worker"));
    EXPECT_FALSE(CanUnloadComponentModule());
    go.count_down();
    EXPECT_EQ(WaitForSingleObject(thread, LONG_MS), WAIT_OBJECT_0);
    EXPECT_TRUE(CanUnloadComponentModule());
}

TEST(Threads, HandleIsSignalledWhenTheThreadHasEndedAndStaysSo)
{
    std::latch go(1);
    const CHandle thread(CreateThread([&] { go.wait(); }, "worker"));
    EXPECT_EQ(WaitForSingleObject(thread, 0), WAIT_TIMEOUT);
    go.count_down();
    EXPECT_EQ(WaitForSingleObject(thread, LONG_MS), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(thread, 0), WAIT_OBJECT_0);
}

TEST(Threads, EntryIsDestroyedBeforeTheHandleIsSignalled)
{
    auto held = std::make_shared<int>(1);
    const std::weak_ptr<int> watch = held;
    const CHandle thread(CreateThread([held = std::move(held)] {}, "holder"));
    ASSERT_EQ(WaitForSingleObject(thread, LONG_MS), WAIT_OBJECT_0);
    EXPECT_TRUE(watch.expired());
}

TEST(Threads, ClosingTheHandleNeitherEndsNorWaitsForTheThread)
{
    std::latch go(1);
    std::latch done(1);
    const HANDLE thread = CreateThread(
        [&] {
            go.wait();
            done.count_down();
        },
        "a name that is longer than the system keeps");
    EXPECT_TRUE(CloseHandle(thread));
    EXPECT_FALSE(done.try_wait());
    go.count_down();
    done.wait();
}

TEST(Threads, EveryWaiterSeesTheEndOfAThread)
{
    std::latch go(1);
    const CHandle thread(CreateThread([&] { go.wait(); }, "awaited"));
    std::array<HANDLE, 4> waiters{};
    std::atomic<int> seen = 0;
    for (HANDLE& waiter : waiters) {
        waiter = CreateThread(
            [&] {
                if (WaitForSingleObject(thread, LONG_MS) == WAIT_OBJECT_0) ++seen;
            },
            "waiter");
    }
    go.count_down();
    for (const HANDLE waiter : waiters) {
        EXPECT_EQ(WaitForSingleObject(waiter, LONG_MS), WAIT_OBJECT_0);
        CloseHandle(waiter);
    }
    EXPECT_EQ(seen, 4);
}

std::atomic<int> g_iBrokenPipes = 0;

TEST(Threads, AWriteToWhoHasGoneFailsAndRaisesNoSignal)
{
    int ends[2] = {};
    ASSERT_EQ(::pipe(ends), 0);
    ::close(ends[0]);
    const auto former = std::signal(SIGPIPE, [](int) { ++g_iBrokenPipes; });
    int fault = 0;
    const CHandle thread(CreateThread([&] { fault = ::write(ends[1], "", 1) < 0 ? errno : 0; }, "writer"));
    EXPECT_EQ(WaitForSingleObject(thread, LONG_MS), WAIT_OBJECT_0);
    std::signal(SIGPIPE, former);
    ::close(ends[1]);
    EXPECT_EQ(fault, EPIPE);
    EXPECT_EQ(g_iBrokenPipes, 0);
}

TEST(Threads, WithoutRoomForAThreadThereIsNoHandle)
{
    const CThreadShortage shortage;
    const auto held = std::make_shared<int>(1);
    EXPECT_EQ(CreateThread([held] {}, "none"), nullptr);
    EXPECT_EQ(held.use_count(), 1);
}

TEST(Threads, NullHandleIsRefused)
{
    EXPECT_EQ(WaitForSingleObject(nullptr, 0), WAIT_FAILED);
    EXPECT_FALSE(CloseHandle(nullptr));
}

TEST(Threads, CriticalSectionIsRecursiveAndExclusive)
{
    CCriticalSection section;
    int counter = 0;
    std::vector<HANDLE> threads;
    for (int i = 0; i < 4; ++i) {
        threads.push_back(CreateThread(
            [&] {
                for (int n = 0; n < 1000; ++n) {
                    const CAutoLock outer(section);
                    const CAutoLock inner(section);
                    ++counter;
                }
            },
            "counter"));
    }
    for (const HANDLE thread : threads) {
        EXPECT_EQ(WaitForSingleObject(thread, LONG_MS), WAIT_OBJECT_0);
        CloseHandle(thread);
    }
    EXPECT_EQ(counter, 4000);
    ASSERT_TRUE(section.try_lock());
    std::atomic<bool> other = true;
    const CHandle thread(CreateThread([&] { other = section.try_lock(); }, "other"));
    EXPECT_EQ(WaitForSingleObject(thread, LONG_MS), WAIT_OBJECT_0);
    EXPECT_FALSE(other);
    section.unlock();
}

TEST(Threads, InterlockedCallsReturnTheNewValue)
{
    std::atomic<std::int32_t> value = 0;
    EXPECT_EQ(InterlockedIncrement(value), 1);
    EXPECT_EQ(InterlockedDecrement(value), 0);
    EXPECT_EQ(InterlockedDecrement(value), -1);
}

TEST(Clock, TheSystemsClockIsTheTickCount)
{
    IClock& clock = SystemClock();
    const std::uint32_t before = GetTickCount();
    clock.Sleep(2);
    const std::uint32_t between = clock.TickCount();
    EXPECT_GE(between - before, 1U);
    EXPECT_LT(GetTickCount() - between, 0x80000000U) << "one after the other";
}

TEST(Clock, AgeOfAStampIsZeroWithoutOneAndForOneToCome)
{
    IClock& clock = SystemClock();
    timespec stamp{};
    EXPECT_EQ(clock.SinceStamp(stamp), 0U);
    clock_gettime(CLOCK_REALTIME, &stamp);
    stamp.tv_sec += 3600;
    EXPECT_EQ(clock.SinceStamp(stamp), 0U);
    stamp.tv_sec -= 3600 + 5;
    EXPECT_GE(clock.SinceStamp(stamp), 5000U);
    EXPECT_LT(clock.SinceStamp(stamp), 3600000U);
    stamp.tv_sec = 1;
    EXPECT_EQ(clock.SinceStamp(stamp), 1U << 30) << "older than a tick count can tell";
}

TEST(Threads, SleepLastsAtLeastItsTimeByTheTickCount)
{
    const std::uint32_t before = GetTickCount();
    Sleep(20);
    EXPECT_GE(GetTickCount() - before, 19U) << "both are cut to milliseconds";
}

}  // namespace
