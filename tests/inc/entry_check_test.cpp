#include "inc/EntryCheck.h"

#include <gtest/gtest.h>

#include <latch>
#include <thread>

#include "inc/Mutex.h"

namespace
{

struct Guarded {
    void Change() REQUIRES(lock)
    {
        ASSERT_HELD(lock);
        ++value;
    }

    CMutex lock;
    int value GUARDED_BY(lock) = 0;
};

struct OneThreads {
    void Call()
    {
        ASSERT_THREAD(thread);
        ++calls;
    }

    CThreadMark thread;
    int calls = 0;
};

TEST(EntryCheck, LockThatIsHeldPasses)
{
    Guarded guarded;
    CMutexLock lock(guarded.lock);
    guarded.Change();
    lock.Unlock();
    lock.Lock();
    guarded.Change();
    EXPECT_EQ(guarded.value, 2);
}

TEST(EntryCheckDeathTest, LockThatNobodyHoldsEndsACheckedBuild)
{
    Guarded guarded;
    EXPECT_DEBUG_DEATH(guarded.Change(), "the caller must hold the lock");
}

TEST(EntryCheckDeathTest, LockThatAnotherThreadHoldsEndsACheckedBuild)
{
    Guarded guarded;
    std::latch held(1);
    std::latch done(1);
    std::thread other([&] {
        const CMutexLock lock(guarded.lock);
        held.count_down();
        done.wait();
    });
    held.wait();
    EXPECT_DEBUG_DEATH(guarded.Change(), "the caller must hold the lock");
    done.count_down();
    other.join();
}

TEST(EntryCheck, ThreadIsTheFirstCallersUntilTheMarkIsCleared)
{
    OneThreads object;
    object.Call();
    object.thread.Clear();
    std::thread second([&] {
        object.Call();
        object.Call();
    });
    second.join();
    EXPECT_EQ(object.calls, 3);
}

TEST(EntryCheckDeathTest, ForeignThreadEndsACheckedBuild)
{
    EXPECT_DEBUG_DEATH(
        {
            OneThreads own;
            own.Call();
            std::thread foreign([&] { own.Call(); });
            foreign.join();
        },
        "called on a foreign thread");
}

}  // namespace
