#include "inc/Mutex.h"

#include <gtest/gtest.h>

#include <latch>
#include <thread>

namespace
{

using namespace std::chrono_literals;

struct Box {
    CMutex lock;
    std::condition_variable changed;
    int value GUARDED_BY(lock) = 0;
};

TEST(Mutex, WaitEndsWhenItsConditionIsMetAndHoldsTheLock)
{
    Box box;
    std::latch waiting(1);
    std::thread setter([&] {
        waiting.wait();
        const CMutexLock lock(box.lock);
        box.value = 1;
        box.changed.notify_all();
    });
    {
        CMutexLock lock(box.lock);
        waiting.count_down();
        lock.Wait(box.changed, [&]() REQUIRES(box.lock) { return box.value == 1; });
        ASSERT_HELD(box.lock);
        EXPECT_EQ(box.value, 1);
    }
    setter.join();
    EXPECT_TRUE(box.lock.try_lock()) << "given back";
    box.lock.unlock();
}

TEST(Mutex, WaitWithATimeEndsWithoutItsCondition)
{
    Box box;
    CMutexLock lock(box.lock);
    EXPECT_FALSE(lock.WaitFor(box.changed, 1ms, []() { return false; }));
    EXPECT_TRUE(lock.WaitFor(box.changed, 0ms, []() { return true; }))
        << "a condition that is met needs no time";
}

TEST(Mutex, LockThatWasTakenBeforeIsGivenBackByItsScope)
{
    CMutex mutex;
    ASSERT_TRUE(mutex.try_lock());
    {
        const CMutexLock lock(mutex, std::adopt_lock);
        bool had = true;
        std::thread([&] {
            had = mutex.try_lock();
            if (had) mutex.unlock();
        }).join();
        EXPECT_FALSE(had);
    }
    ASSERT_TRUE(mutex.try_lock());
    mutex.unlock();
}

TEST(Mutex, ThreadsTakeTurns)
{
    Box box;
    std::thread threads[4];
    for (std::thread& thread : threads)
        thread = std::thread([&] {
            for (int i = 0; i < 1000; ++i) {
                const CMutexLock lock(box.lock);
                ++box.value;
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    const CMutexLock lock(box.lock);
    EXPECT_EQ(box.value, 4000);
}

}  // namespace
