#include "platform/windows/message_queue.h"

#include <utility>
#include <vector>

constinit std::mutex g_WaitLock;

namespace
{

// A plain pointer, which stays readable while the thread's other thread-local objects are destroyed; the owner
// that follows has a destructor.
constinit thread_local CMessageQueue* t_pQueue = nullptr;
constinit thread_local bool t_bEnded = false;

struct XQueueOwner {
    std::shared_ptr<CMessageQueue> pQueue;
    ~XQueueOwner()
    {
        EndThreadQueue();
        t_bEnded = true;
    }
};
thread_local XQueueOwner t_Owner;

void Answer(XSentMessage& message, LRESULT result)
{
    message.lResult = result;
    message.bDone = true;
    message.pSender->Changed.notify_one();
}

}  // namespace

void CMessageQueue::CallWake()
{
    const std::lock_guard lock(WakeLock);
    if (Wake) Wake();
}

std::unordered_map<HWND, XWindow>& Windows()
{
    static auto& windows = *new std::unordered_map<HWND, XWindow>;
    return windows;
}

std::shared_ptr<CMessageQueue> MakeThreadQueue()
{
    if (t_bEnded) return nullptr;
    if (t_Owner.pQueue == nullptr) {
        t_Owner.pQueue = std::make_shared<CMessageQueue>();
        t_pQueue = t_Owner.pQueue.get();
    }
    return t_Owner.pQueue;
}

CMessageQueue* ThreadQueue()
{
    return t_pQueue;
}
bool ThreadHasQueue()
{
    return t_pQueue != nullptr;
}

void EndThreadQueue()
{
    if (t_pQueue == nullptr) return;
    const std::shared_ptr<CMessageQueue> queue = std::exchange(t_Owner.pQueue, nullptr);
    t_pQueue = nullptr;
    {
        const std::lock_guard lock(queue->WakeLock);
        queue->Wake = nullptr;
    }
    std::vector<XWindow> gone;  // destroyed after the lock: the procedures may hold anything
    const std::lock_guard lock(g_WaitLock);
    std::erase_if(Windows(), [&](auto& entry) {
        if (entry.second.pQueue != queue) return false;
        gone.push_back(std::move(entry.second));
        return true;
    });
    while (!queue->Sent.empty()) {
        Answer(*queue->Sent.front(), 0);
        queue->Sent.pop_front();
    }
    queue->Posted.clear();
}

LRESULT CallProcedure(const WNDPROC& procedure, const XMessage& message) noexcept
{
    return procedure(message.dwMessage, message.wParam, message.lParam);
}

bool ServeOneSent(CMessageQueue& queue, CWaitHold& hold)
{
    if (queue.Sent.empty()) return false;
    XSentMessage& message = *queue.Sent.front();
    queue.Sent.pop_front();
    const auto window = Windows().find(message.Message.Window);
    if (window == Windows().end()) {
        Answer(message, 0);
        return true;
    }
    // Kept while it runs: the procedure may take its own window out of the registry.
    std::shared_ptr<const WNDPROC> procedure = window->second.pProcedure;
    hold.unlock();
    const LRESULT result = CallProcedure(*procedure, message.Message);
    procedure.reset();
    hold.lock();
    Answer(message, result);
    return true;
}

void DropSent(CMessageQueue& queue, HWND window)
{
    std::erase_if(queue.Sent, [&](XSentMessage* message) {
        if (message->Message.Window != window) return false;
        Answer(*message, 0);
        return true;
    });
}

bool WaitServing(CWaitHold& hold, XWaiter& waiter, IWaitCondition& condition, const CDeadline& deadline)
{
    CMessageQueue* const queue = ThreadQueue();
    XWaiter* const outer = queue == nullptr ? nullptr : std::exchange(queue->pWaiter, &waiter);
    bool met = condition.IsMet();
    bool expired = false;
    while (!met && !expired) {
        const bool served = queue != nullptr && ServeOneSent(*queue, hold);
        expired = deadline && std::chrono::steady_clock::now() >= *deadline;
        if (served || expired) {
            met = condition.IsMet();
            continue;
        }
        if (deadline) {
            waiter.Changed.wait_until(hold, *deadline);
        } else {
            waiter.Changed.wait(hold);
        }
        met = condition.IsMet();
    }
    if (queue != nullptr) queue->pWaiter = outer;
    return met;
}
