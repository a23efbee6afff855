#include <gtest/gtest.h>

#include <thread>

#include "remote/p2p/MessageRouter.h"

namespace
{

TEST(MessageRouterDeathTest, DataOfASecondReceivingThreadEndACheckedBuild)
{
    CLinkCounters counters;
    CMessageRouter router(counters);
    router.Feed("gate", {}, {}, 0);
    EXPECT_DEBUG_DEATH(std::thread([&router] { router.Feed("gate", {}, {}, 0); }).join(),
                       "called on a foreign thread");
}

}  // namespace
