#include "model/tree/Observer.h"

#include <atomic>
#include <vector>

#include "inc/Mutex.h"
#include "platform/os/threads.h"

namespace
{

struct ObserverList {
    CMutex lock;  // a leaf lock: nothing is called while it is held
    std::vector<CObserver*> list GUARDED_BY(lock);
    std::atomic<int> inside{0};  // threads inside Notify, nested calls counted
    std::atomic<bool> enabled{true};
};

// Never destroyed: link threads may notify until the process ends.
ObserverList& Observers()
{
    static auto* const observers = new ObserverList;
    return *observers;
}

thread_local int t_iInside = 0;  // how many calls of Notify this thread is inside of

// Counts one call of Notify out again, however it ends.
struct CInside {
    CInside() { ++t_iInside; }
    ~CInside()
    {
        --t_iInside;
        --Observers().inside;
    }
    CInside(const CInside&) = delete;
    CInside& operator=(const CInside&) = delete;
};

}  // namespace

void AttachObserver(CObserver* observer)
{
    ObserverList& observers = Observers();
    const CMutexLock lock(observers.lock);
    observers.list.push_back(observer);
}

void DetachObserver(CObserver* observer)
{
    ObserverList& observers = Observers();
    {
        const CMutexLock lock(observers.lock);
        std::erase(observers.list, observer);
    }
    while (observers.inside.load() > t_iInside)
        SleepServing(1);  // what they send to this thread has to be answered
}

void Notify(CNode* node, const std::string& message)
{
    ObserverList& observers = Observers();
    if (!observers.enabled) return;
    std::vector<CObserver*> list;
    {
        const CMutexLock lock(observers.lock);
        list = observers.list;
        ++observers.inside;
    }
    const CInside inside;
    for (CObserver* observer : list)
        observer->Update(node, message);
}

void EnableNotify()
{
    Observers().enabled = true;
}

void DisableNotify()
{
    Observers().enabled = false;
}
