#include "model/tree/Observer.h"

#include <atomic>
#include <mutex>
#include <vector>

#include "platform/os/threads.h"

namespace
{

struct XObservers {
    std::mutex m_Mutex;  // a leaf lock: nothing is called while it is held
    std::vector<CObserver*> m_List;
    std::atomic<int> m_iInside{0};  // threads inside Notify, nested calls counted
    std::atomic<bool> m_bEnabled{true};
};

// Never destroyed: link threads may notify until the process ends.
XObservers& Observers()
{
    static auto* const observers = new XObservers;
    return *observers;
}

thread_local int t_iInside = 0;  // how many calls of Notify this thread is inside of

// Counts one call of Notify out again, however it ends.
struct XInside {
    XInside() { ++t_iInside; }
    ~XInside()
    {
        --t_iInside;
        --Observers().m_iInside;
    }
    XInside(const XInside&) = delete;
    XInside& operator=(const XInside&) = delete;
};

}  // namespace

void AttachObserver(CObserver* observer)
{
    XObservers& observers = Observers();
    const std::lock_guard lock(observers.m_Mutex);
    observers.m_List.push_back(observer);
}

void DetachObserver(CObserver* observer)
{
    XObservers& observers = Observers();
    {
        const std::lock_guard lock(observers.m_Mutex);
        std::erase(observers.m_List, observer);
    }
    while (observers.m_iInside.load() > t_iInside)
        SleepServing(1);  // what they send to this thread has to be answered
}

void Notify(CNode* node, const std::string& message)
{
    XObservers& observers = Observers();
    if (!observers.m_bEnabled) return;
    std::vector<CObserver*> list;
    {
        const std::lock_guard lock(observers.m_Mutex);
        list = observers.m_List;
        ++observers.m_iInside;
    }
    const XInside inside;
    for (CObserver* observer : list)
        observer->Update(node, message);
}

void EnableNotify()
{
    Observers().m_bEnabled = true;
}

void DisableNotify()
{
    Observers().m_bEnabled = false;
}
