#include "inc/StandardError.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <ctime>

void PrintError(std::string_view text)
{
    sigset_t brokenPipe;
    sigset_t former;
    sigset_t pending;
    sigemptyset(&brokenPipe);
    sigaddset(&brokenPipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &brokenPipe, &former);
    sigpending(&pending);
    const bool hosts = sigismember(&pending, SIGPIPE) == 1;  // not of this text
    const bool printed = std::fwrite(text.data(), 1, text.size(), stderr) == text.size();
    const bool broken = (std::fflush(stderr) != 0 || !printed) && errno == EPIPE;
    const timespec atOnce{};
    while (broken && !hosts && sigtimedwait(&brokenPipe, nullptr, &atOnce) < 0 && errno == EINTR) {
    }
    pthread_sigmask(SIG_SETMASK, &former, nullptr);
}
