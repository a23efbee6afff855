#include <gtest/gtest.h>

#include <thread>

#include "host/Signals.h"

namespace
{

#ifndef NDEBUG
// A release would change the process's signals.
TEST(SignalsDeathTest, HandlerNamedOnAForeignThreadEndsACheckedBuild)
{
    EXPECT_DEATH(std::thread([] { OnEndRequested([] {}); }).join(), "called on a foreign thread");
}
#endif

}  // namespace
