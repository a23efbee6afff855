#include <gtest/gtest.h>

#include <thread>

#include "remote/p2p/ReceiveLock.h"

namespace
{

#ifndef NDEBUG

// A release would count below nothing.
TEST(ReceiveLockDeathTest, GivingBackWhatNobodyTookEndsACheckedBuild)
{
    CReceiveLock lock;
    EXPECT_DEATH(lock.Unlock(), "the caller must hold the lock");
}

#endif

TEST(ReceiveLockDeathTest, GivingBackAnothersTakingEndsACheckedBuild)
{
    CReceiveLock lock;
    lock.Lock([] { return false; });
    EXPECT_DEBUG_DEATH(std::thread([&lock] { lock.Unlock(); }).join(), "the caller must hold the lock");
}

}  // namespace
