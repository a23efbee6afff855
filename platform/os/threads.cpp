#include "platform/os/threads.h"

#include <pthread.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "platform/os/module_count.h"
#include "platform/os/waiting.h"

namespace
{

enum class EReset {
    AfterOneWait,
    ByHand,
};

}  // namespace

// All of it is guarded by g_WaitLock.
struct WAITABLE {
    const EReset Reset;
    bool signalled;
    // One for the handle, one for a thread that runs, one for each wait under way.
    int references = 1;
    std::vector<Waiter*> waiters = {};
    std::thread Thread = {};
    std::uint32_t exitCode = STILL_ACTIVE;
};

namespace
{

void ReleaseObject(WAITABLE* object)
{
    if (--object->references == 0) delete object;
}

void Signal(WAITABLE* object)
{
    object->signalled = true;
    for (Waiter* const waiter : object->waiters)
        waiter->changed.notify_one();
}

CDeadline DeadlineIn(std::uint32_t ms)
{
    if (ms == INFINITE) return std::nullopt;
    return std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
}

// Up to two objects, the first signalled one of which ends the wait and is consumed.
class CObjectWait final : public IWaitCondition
{
  public:
    CObjectWait(HANDLE first, HANDLE second) : m_Objects{first, second} {}

    bool IsMet() override
    {
        for (std::size_t i = 0; i < m_Objects.size(); ++i) {
            WAITABLE* const object = m_Objects[i];
            if (object == nullptr || !object->signalled) continue;
            if (object->Reset == EReset::AfterOneWait) object->signalled = false;
            m_ulMet = static_cast<std::uint32_t>(i);
            return true;
        }
        return false;
    }

    std::uint32_t Run(std::uint32_t timeoutMs)
    {
        const CDeadline deadline = DeadlineIn(timeoutMs);
        std::thread ended;
        CWaitHold hold(g_WaitLock);
        for (WAITABLE* const object : m_Objects) {
            if (object == nullptr) continue;
            ++object->references;
            object->waiters.push_back(&m_Waiter);
        }
        const bool met = WaitServing(hold, m_Waiter, *this, deadline);
        if (met) ended = std::exchange(m_Objects[m_ulMet]->Thread, {});
        for (WAITABLE* const object : m_Objects) {
            if (object == nullptr) continue;
            object->waiters.erase(std::ranges::find(object->waiters, &m_Waiter));
            ReleaseObject(object);
        }
        hold.unlock();
        // The thread has left our code but not yet the system's; whoever learns of its end may unload the
        // module.
        if (ended.joinable()) ended.join();
        return met ? WAIT_OBJECT_0 + m_ulMet : WAIT_TIMEOUT;
    }

  private:
    Waiter m_Waiter;
    std::array<WAITABLE*, 2> m_Objects;
    std::uint32_t m_ulMet = 0;
};

class CNeverMet final : public IWaitCondition
{
  public:
    bool IsMet() override { return false; }
};

void RunThread(WAITABLE* object, std::function<std::uint32_t()> entry, const std::string& name)
{
    pthread_setname_np(pthread_self(), name.c_str());
    const std::uint32_t exitCode = entry();
    // What the entry holds goes, and its windows go, before anyone can see the thread as ended.
    entry = nullptr;
    EndThreadQueue();
    const std::lock_guard lock(g_WaitLock);
    object->exitCode = exitCode;
    RemoveModuleThread();  // whoever waited for the thread finds the module let go
    Signal(object);
    ReleaseObject(object);
}

}  // namespace

HANDLE CreateThread(std::function<std::uint32_t()> entry, const char* name)
{
    constexpr std::size_t LONGEST_NAME = 15;
    auto* const object = new WAITABLE{EReset::ByHand, false};
    std::string cut = std::string(name == nullptr ? "" : name).substr(0, LONGEST_NAME);
    const std::lock_guard lock(g_WaitLock);
    ++object->references;
    AddModuleThread();
    try {
        object->Thread = std::thread(RunThread, object, std::move(entry), std::move(cut));
    } catch (const std::system_error&) {
        RemoveModuleThread();
        delete object;
        return nullptr;
    }
    return object;
}

bool GetExitCodeThread(HANDLE thread, std::uint32_t& exitCode)
{
    if (thread == nullptr) return false;
    const std::lock_guard lock(g_WaitLock);
    exitCode = thread->exitCode;
    return true;
}

HANDLE CreateEventA(bool manualReset, bool initiallySet)
{
    return new WAITABLE{manualReset ? EReset::ByHand : EReset::AfterOneWait, initiallySet};
}

bool SetEvent(HANDLE event)
{
    if (event == nullptr) return false;
    const std::lock_guard lock(g_WaitLock);
    Signal(event);
    return true;
}

bool ResetEvent(HANDLE event)
{
    if (event == nullptr) return false;
    const std::lock_guard lock(g_WaitLock);
    event->signalled = false;
    return true;
}

std::uint32_t WaitForSingleObject(HANDLE object, std::uint32_t timeoutMs)
{
    if (object == nullptr) return WAIT_FAILED;
    return CObjectWait(object, nullptr).Run(timeoutMs);
}

std::uint32_t WaitForTwoObjects(HANDLE first, HANDLE second, std::uint32_t timeoutMs)
{
    if (first == nullptr || second == nullptr) return WAIT_FAILED;
    return CObjectWait(first, second).Run(timeoutMs);
}

bool CloseHandle(HANDLE object)
{
    if (object == nullptr) return false;
    const std::lock_guard lock(g_WaitLock);
    if (object->Thread.joinable()) object->Thread.detach();
    ReleaseObject(object);
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
    CWaitHold hold(g_WaitLock);
    WaitServing(hold, waiter, never, deadline);
}

std::uint32_t GetTickCount()
{
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}
