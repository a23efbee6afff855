#include <gtest/gtest.h>

#include <thread>

#include "render/device/WindowLease.h"

namespace
{

TEST(WindowLeaseDeathTest, LendingAndTakingBackOnAForeignThreadEndACheckedBuild)
{
    CWindowLease lease(static_cast<HWND>(0x7E57));
    lease.Lend(1);
    EXPECT_DEBUG_DEATH(std::thread([&lease] { lease.Lend(1); }).join(), "called on a foreign thread");
    EXPECT_DEBUG_DEATH(std::thread([&lease] { lease.TakeBack(); }).join(), "called on a foreign thread");
}

}  // namespace
