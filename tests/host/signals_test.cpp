#include "host/Signals.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace
{

// As a key that is held down asks, while a logon waits for a silent directory and the event loop for the logon.
TEST(SignalsDeathTest, AskedAgainAndAgainAThreadIsHeldByNoSignal)
{
    EXPECT_EXIT(
        {
            ::alarm(20);  // ends a thread that waits
            OnEndRequested([] {});
            errno = ENOENT;
            for (int i = 0; i < 5000; ++i)
                ::raise(SIGTERM);
            ::_exit(IsEndRequested() && errno == ENOENT ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

}  // namespace
