#include "host/Signals.h"

#include <sys/socket.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QSocketNotifier>
#include <atomic>
#include <cerrno>
#include <csignal>

#include "platform/qt/PanelsThread.h"

namespace
{

int g_iEnds[2] = {-1, -1};  // a signal handler may only write; the event loop reads the other end

constinit std::atomic<bool> g_bRequested = false;
static_assert(std::atomic<bool>::is_always_lock_free);

void HandleSignal(int)
{
    const int error = errno;  // of the thread that it interrupts
    g_bRequested = true;
    const char byte = 0;
    if (::write(g_iEnds[0], &byte, 1) < 0) {
        // Full: the event loop has been told often enough.
    }
    errno = error;
}

}  // namespace

void OnEndRequested(std::function<void()> handler)
{
    ASSERT_PANELS_THREAD();
    // Nobody reads behind the first signal: a write that waited for room would hold its thread for good.
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, g_iEnds) != 0) return;
    auto* const notifier = new QSocketNotifier(g_iEnds[1], QSocketNotifier::Read, QCoreApplication::instance());
    QObject::connect(notifier, &QSocketNotifier::activated, notifier, [notifier, handler = std::move(handler)] {
        notifier->setEnabled(false);
        handler();
    });
    struct sigaction action {
    };
    action.sa_handler = HandleSignal;
    action.sa_flags = SA_RESTART;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction former {
        };
        const bool ignored = sigaction(signal, nullptr, &former) == 0 && former.sa_handler == SIG_IGN;
        if (!ignored) sigaction(signal, &action, nullptr);
    }
}

bool IsEndRequested()
{
    return g_bRequested;
}
