// What is printed on standard error when nobody reads it any longer.

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <csignal>

#include "inc/LogLine.h"
#include "inc/OutputDebugString.h"
#include "tests/support/test_variable.h"

namespace
{

std::atomic<int> g_iBrokenPipes = 0;

bool IsPending(int signal)
{
    sigset_t pending;
    sigpending(&pending);
    return sigismember(&pending, signal) == 1;
}

// Standard error is a pipe whose reader has gone, for the length of a test.
class UnreadStandardError : public testing::Test
{
  protected:
    UnreadStandardError()
    {
        g_iBrokenPipes = 0;
        m_Former = std::signal(SIGPIPE, [](int) { ++g_iBrokenPipes; });
        int ends[2] = {};
        EXPECT_EQ(::pipe(ends), 0);
        ::dup2(ends[1], STDERR_FILENO);
        ::close(ends[0]);
        ::close(ends[1]);
    }
    ~UnreadStandardError() override
    {
        ::dup2(m_iStandardError, STDERR_FILENO);
        ::close(m_iStandardError);
        std::signal(SIGPIPE, m_Former);
    }

  private:
    const int m_iStandardError = ::dup(STDERR_FILENO);
    void (*m_Former)(int) = SIG_DFL;
};

TEST_F(UnreadStandardError, EndsNoHostThatIsToldAFault)
{
    LogFault("CSome::Start", "the folder can't be written");
    EXPECT_EQ(g_iBrokenPipes, 0);
    EXPECT_FALSE(IsPending(SIGPIPE));
}

TEST_F(UnreadStandardError, EndsNoHostThatIsWatched)
{
    const CTestVariable watched("WATCHWALL_DEBUG", "1");
    OutputDebugStringA("step\n");
    EXPECT_EQ(g_iBrokenPipes, 0);
    EXPECT_FALSE(IsPending(SIGPIPE));
}

// A host may hold the signal back and ask for it later.
TEST_F(UnreadStandardError, LeavesAHostsOwnSignalToTheHost)
{
    sigset_t held;
    sigset_t former;
    sigemptyset(&held);
    sigaddset(&held, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &held, &former);
    std::raise(SIGPIPE);
    LogFault("CSome::Start", "the folder can't be written");
    EXPECT_TRUE(IsPending(SIGPIPE));
    pthread_sigmask(SIG_SETMASK, &former, nullptr);
    EXPECT_EQ(g_iBrokenPipes, 1);
    std::raise(SIGPIPE);
    EXPECT_EQ(g_iBrokenPipes, 2) << "the thread's mask is what it was";
}

}  // namespace
