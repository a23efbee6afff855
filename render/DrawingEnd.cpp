#include "render/DrawingEnd.h"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <thread>
#include <vector>

#include "inc/Mutex.h"

namespace
{

constexpr auto FRAME_WAIT = std::chrono::seconds(1);
constexpr auto LOOK = std::chrono::milliseconds(1);

struct Sections {
    CMutex lock;
    std::vector<CCriticalSection*> all GUARDED_BY(lock);  // one or two
};

// Never destroyed: renderers of link threads may go while the process ends.
Sections& Drawing()
{
    static auto& sections = *new Sections;
    return sections;
}

constinit std::atomic<bool> g_bEnded = false;

// Nothing is given back: the process ends. Renderers can't go either from here on.
void StopDrawing() NO_THREAD_SAFETY_ANALYSIS
{
    if (g_bEnded.exchange(true)) return;
    Drawing().lock.lock();
    const auto deadline = std::chrono::steady_clock::now() + FRAME_WAIT;
    for (CCriticalSection* const section : Drawing().all) {
        while (!section->try_lock() && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(LOOK);
    }
}

}  // namespace

CDrawingEnd::CDrawingEnd(CCriticalSection& section) : m_csRender(section)
{
    const CMutexLock lock(Drawing().lock);
    Drawing().all.push_back(&m_csRender);
}

CDrawingEnd::~CDrawingEnd()
{
    const CMutexLock lock(Drawing().lock);
    std::erase(Drawing().all, &m_csRender);
}

void CDrawingEnd::Watch()
{
    std::atexit(StopDrawing);
}
