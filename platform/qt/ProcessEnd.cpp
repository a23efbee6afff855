#include "platform/qt/ProcessEnd.h"

#include <atomic>
#include <cstdlib>

#include "platform/qt/PanelsThread.h"

namespace
{

constinit std::atomic<bool> g_bEnding = false;

// A thread's own objects go first of all when it ends the process, or ends itself.
struct ThreadEnd {
    bool watched = false;
    ~ThreadEnd()
    {
        if (watched) g_bEnding = true;
    }
};
thread_local ThreadEnd t_End;

}  // namespace

void WatchProcessEnd()
{
    ASSERT_PANELS_THREAD();
    t_End.watched = true;
    // For an end that another thread brings about, as the X library does when the display goes.
    static const bool registered = std::atexit([] { g_bEnding = true; }) == 0;
    static_cast<void>(registered);
}

bool IsProcessEnding()
{
    return g_bEnding;
}
