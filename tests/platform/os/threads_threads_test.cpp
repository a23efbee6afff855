#include <gtest/gtest.h>
#include <pthread.h>

#include <array>
#include <atomic>
#include <memory>
#include <vector>

#include "platform/component/component.h"
#include "platform/os/clock.h"
#include "platform/os/threads.h"
#include "platform/windows/windows.h"

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
    const CHandle go(CreateEventA(true, false));
    const CHandle thread(CreateThread(
        [&] {
            WaitForSingleObject(go, INFINITE);
            return 0U;
        },
        "worker"));
    EXPECT_FALSE(CanUnloadComponentModule());
    SetEvent(go);
    EXPECT_EQ(WaitForSingleObject(thread, LONG_MS), WAIT_OBJECT_0);
    EXPECT_TRUE(CanUnloadComponentModule());
}

TEST(Threads, HandleIsSignalledWhenTheThreadHasEndedAndStaysSo)
{
    const CHandle go(CreateEventA(true, false));
    const CHandle thread(CreateThread(
        [&] {
            WaitForSingleObject(go, INFINITE);
            return 7U;
        },
        "worker"));
    std::uint32_t code = 0;
    EXPECT_EQ(WaitForSingleObject(thread, 0), WAIT_TIMEOUT);
    EXPECT_TRUE(GetExitCodeThread(thread, code));
    EXPECT_EQ(code, STILL_ACTIVE);
    SetEvent(go);
    EXPECT_EQ(WaitForSingleObject(thread, LONG_MS), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(thread, 0), WAIT_OBJECT_0);
    EXPECT_TRUE(GetExitCodeThread(thread, code));
    EXPECT_EQ(code, 7U);
}

TEST(Threads, EntryIsDestroyedBeforeTheHandleIsSignalled)
{
    auto held = std::make_shared<int>(1);
    const std::weak_ptr<int> watch = held;
    const CHandle thread(CreateThread([held = std::move(held)] { return 0U; }, "holder"));
    ASSERT_EQ(WaitForSingleObject(thread, LONG_MS), WAIT_OBJECT_0);
    EXPECT_TRUE(watch.expired());
}

TEST(Threads, ClosingTheHandleNeitherEndsNorWaitsForTheThread)
{
    const CHandle go(CreateEventA(true, false));
    const CHandle done(CreateEventA(true, false));
    const HANDLE thread = CreateThread(
        [&] {
            WaitForSingleObject(go, INFINITE);
            SetEvent(done);
            return 0U;
        },
        "a name that is longer than the system keeps");
    EXPECT_TRUE(CloseHandle(thread));
    EXPECT_EQ(WaitForSingleObject(done, 0), WAIT_TIMEOUT);
    SetEvent(go);
    EXPECT_EQ(WaitForSingleObject(done, LONG_MS), WAIT_OBJECT_0);
}

TEST(Threads, EveryWaiterSeesTheEndOfAThread)
{
    const CHandle go(CreateEventA(true, false));
    const CHandle thread(CreateThread([&] { return WaitForSingleObject(go, INFINITE); }, "awaited"));
    std::array<HANDLE, 4> waiters{};
    std::atomic<int> seen = 0;
    for (HANDLE& waiter : waiters) {
        waiter = CreateThread(
            [&] {
                if (WaitForSingleObject(thread, LONG_MS) == WAIT_OBJECT_0) ++seen;
                return 0U;
            },
            "waiter");
    }
    SetEvent(go);
    for (const HANDLE waiter : waiters) {
        EXPECT_EQ(WaitForSingleObject(waiter, LONG_MS), WAIT_OBJECT_0);
        CloseHandle(waiter);
    }
    EXPECT_EQ(seen, 4);
}

TEST(Threads, WithoutRoomForAThreadThereIsNoHandle)
{
    pthread_attr_t former;
    pthread_attr_t huge;
    ASSERT_EQ(::pthread_getattr_default_np(&former), 0);
    ASSERT_EQ(::pthread_getattr_default_np(&huge), 0);
    ASSERT_EQ(::pthread_attr_setstacksize(&huge, std::size_t{1} << 60), 0);
    ASSERT_EQ(::pthread_setattr_default_np(&huge), 0);
    const auto held = std::make_shared<int>(1);
    EXPECT_EQ(CreateThread([held] { return 0U; }, "none"), nullptr);
    EXPECT_EQ(held.use_count(), 1);
    EXPECT_EQ(::pthread_setattr_default_np(&former), 0);
    ::pthread_attr_destroy(&huge);
    ::pthread_attr_destroy(&former);
}

TEST(Threads, NullHandles)
{
    const CHandle event(CreateEventA(true, true));
    std::uint32_t code = 0;
    EXPECT_EQ(WaitForSingleObject(nullptr, 0), WAIT_FAILED);
    EXPECT_EQ(WaitForTwoObjects(nullptr, event, 0), WAIT_FAILED);
    EXPECT_EQ(WaitForTwoObjects(event, nullptr, 0), WAIT_FAILED);
    EXPECT_FALSE(SetEvent(nullptr));
    EXPECT_FALSE(ResetEvent(nullptr));
    EXPECT_FALSE(CloseHandle(nullptr));
    EXPECT_FALSE(GetExitCodeThread(nullptr, code));
}

TEST(Events, ManualResetStaysSetUntilReset)
{
    const CHandle event(CreateEventA(true, false));
    EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_TIMEOUT);
    SetEvent(event);
    EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0);
    ResetEvent(event);
    EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_TIMEOUT);
}

TEST(Events, AutoResetReleasesOneWaitForEachSet)
{
    const CHandle event(CreateEventA(false, true));
    EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_TIMEOUT);
    SetEvent(event);
    SetEvent(event);  // sets are not counted
    EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_TIMEOUT);
}

TEST(Events, AutoResetIsHandedFromThreadToThread)
{
    constexpr int ROUNDS = 500;
    const CHandle ping(CreateEventA(false, false));
    const CHandle pong(CreateEventA(false, false));
    int turns = 0;  // no lock: the events order the two threads
    const CHandle thread(CreateThread(
        [&] {
            for (int i = 0; i < ROUNDS; ++i) {
                WaitForSingleObject(ping, INFINITE);
                ++turns;
                SetEvent(pong);
            }
            return 0U;
        },
        "pong"));
    for (int i = 0; i < ROUNDS; ++i) {
        ++turns;
        SetEvent(ping);
        ASSERT_EQ(WaitForSingleObject(pong, LONG_MS), WAIT_OBJECT_0);
    }
    EXPECT_EQ(WaitForSingleObject(thread, LONG_MS), WAIT_OBJECT_0);
    EXPECT_EQ(turns, 2 * ROUNDS);
}

TEST(Events, OfTwoObjectsTheFirstWinsATie)
{
    const CHandle first(CreateEventA(false, true));
    const CHandle second(CreateEventA(false, true));
    EXPECT_EQ(WaitForTwoObjects(first, second, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForTwoObjects(first, second, 0), WAIT_OBJECT_0 + 1) << "a tie consumes the first only";
    EXPECT_EQ(WaitForTwoObjects(first, second, 0), WAIT_TIMEOUT);
}

TEST(Events, OneObjectTwiceInAWait)
{
    const CHandle event(CreateEventA(false, true));
    EXPECT_EQ(WaitForTwoObjects(event, event, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForTwoObjects(event, event, 1), WAIT_TIMEOUT);
}

TEST(Events, TheSecondOfTwoObjectsWakesABlockedWait)
{
    const CHandle first(CreateEventA(true, false));
    const CHandle second(CreateEventA(true, false));
    std::atomic<std::uint32_t> result = 0;
    const CHandle thread(CreateThread(
        [&] {
            result = WaitForTwoObjects(first, second, INFINITE);
            return 0U;
        },
        "two"));
    SetEvent(second);
    EXPECT_EQ(WaitForSingleObject(thread, LONG_MS), WAIT_OBJECT_0);
    EXPECT_EQ(result, WAIT_OBJECT_0 + 1);
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
                return 0U;
            },
            "counter"));
    }
    for (const HANDLE thread : threads) {
        EXPECT_EQ(WaitForSingleObject(thread, LONG_MS), WAIT_OBJECT_0);
        CloseHandle(thread);
    }
    EXPECT_EQ(counter, 4000);
    ASSERT_TRUE(section.TryLock());
    std::atomic<bool> other = true;
    const CHandle thread(CreateThread(
        [&] {
            other = section.TryLock();
            return 0U;
        },
        "other"));
    EXPECT_EQ(WaitForSingleObject(thread, LONG_MS), WAIT_OBJECT_0);
    EXPECT_FALSE(other);
    section.Unlock();
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
