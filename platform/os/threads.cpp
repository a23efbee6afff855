#include "platform/os/threads.h"

#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "inc/EntryCheck.h"
#include "inc/Mutex.h"
#include "platform/os/module_count.h"
#include "platform/os/waiting.h"

struct WAITABLE {
    bool ended GUARDED_BY(g_csWait) = false;
    // One for the handle, one for the thread while it runs, one for each wait under way.
    int references GUARDED_BY(g_csWait) = 1;
    std::vector<Waiter*> waiters GUARDED_BY(g_csWait);
    std::thread thread GUARDED_BY(g_csWait);
};

namespace
{

void ReleaseObject(WAITABLE* object) REQUIRES(g_csWait)
{
    ASSERT_HELD(g_csWait);
    if (--object->references == 0) delete object;
}

CDeadline DeadlineIn(std::uint32_t ms)
{
    if (ms == INFINITE) return std::nullopt;
    return std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
}

class CThreadEnd final : public IWaitCondition
{
  public:
    explicit CThreadEnd(const WAITABLE& object) : m_Object(object) {}
    bool IsMet() override REQUIRES(g_csWait) { return m_Object.ended; }

  private:
    const WAITABLE& m_Object;
};

class CNeverMet final : public IWaitCondition
{
  public:
    bool IsMet() override { return false; }
};

// The libraries beneath, that of the display among them, write so that it comes, and it would end the host.
void HoldBrokenPipeSignal()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

void RunThread(WAITABLE* object, std::function<void()> entry, const std::string& name)
{
    pthread_setname_np(pthread_self(), name.c_str());
    HoldBrokenPipeSignal();
    entry();
    // What the entry holds goes, and its windows go, before anyone can see the thread as ended.
    entry = nullptr;
    EndThreadQueue();
    const CMutexLock lock(g_csWait);
    RemoveModuleThread();  // whoever waited for the thread finds the module released
    object->ended = true;
    for (Waiter* const waiter : object->waiters)
        waiter->changed.notify_one();
    ReleaseObject(object);
}

}  // namespace

HANDLE CreateThread(std::function<void()> entry, const char* name)
{
    constexpr std::size_t LONGEST_NAME = 15;
    auto* const object = new WAITABLE;
    std::string cut = std::string(name == nullptr ? "" : name).substr(0, LONGEST_NAME);
    const CMutexLock lock(g_csWait);
    ++object->references;
    AddModuleThread();
    try {
        object->thread = std::thread(RunThread, object, std::move(entry), std::move(cut));
    } catch (const std::system_error&) {
        RemoveModuleThread();
        delete object;
        return nullptr;
    }
    return object;
}

std::uint32_t WaitForSingleObject(HANDLE thread, std::uint32_t timeoutMs)
{
    if (thread == nullptr) return WAIT_FAILED;
    const CDeadline deadline = DeadlineIn(timeoutMs);
    Waiter waiter;
    CThreadEnd end(*thread);
    std::thread ended;
    CWaitHold hold(g_csWait);
    ++thread->references;
    thread->waiters.push_back(&waiter);
    const bool met = WaitServing(hold, waiter, end, deadline);
    if (met) ended = std::exchange(thread->thread, {});
    thread->waiters.erase(std::ranges::find(thread->waiters, &waiter));
    ReleaseObject(thread);
    hold.Unlock();
    // The thread has left our code but not yet the system's; whoever learns of its end may unload the module.
    if (ended.joinable()) ended.join();
    return met ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
}

bool CloseHandle(HANDLE thread)
{
    if (thread == nullptr) return false;
    const CMutexLock lock(g_csWait);
    if (thread->thread.joinable()) thread->thread.detach();
    ReleaseObject(thread);
    return true;
}

void Sleep(std::uint32_t ms)
{
    do {
        std::this_thread::sleep_for(std::chrono::milliseconds(ms));
    } while (ms == INFINITE);
}

void SleepServing(std::uint32_t ms)
{
    Waiter waiter;
    CNeverMet never;
    const CDeadline deadline = DeadlineIn(ms);
    CWaitHold hold(g_csWait);
    WaitServing(hold, waiter, never, deadline);
}

std::uint32_t GetTickCount()
{
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}
