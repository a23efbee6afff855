#include "platform/windows/message_queue.h"

#include <utility>
#include <vector>

#include "inc/EntryCheck.h"
#include "inc/Mutex.h"
#include "platform/windows/answering.h"

constinit CMutex g_csWait;

namespace
{

// A plain pointer, which stays readable while the thread's other thread-local objects are destroyed; the owner
// that follows has a destructor.
constinit thread_local CMessageQueue* t_pQueue = nullptr;
constinit thread_local bool t_bEnded = false;

struct QueueOwner {
    std::shared_ptr<CMessageQueue> queue;
    ~QueueOwner()
    {
        EndThreadQueue();
        t_bEnded = true;
    }
};
thread_local QueueOwner t_Owner;

void Answer(SentMessage& message, LRESULT result) REQUIRES(g_csWait)
{
    ASSERT_HELD(g_csWait);
    message.result = result;
    message.done = true;
    message.sender->changed.notify_one();
}

}  // namespace

void CMessageQueue::CallWake()
{
    const CMutexLock lock(wakeLock);
    if (wake) wake();
}

std::unordered_map<HWND, Window>& Windows()
{
    ASSERT_HELD(g_csWait);
    static auto& windows = *new std::unordered_map<HWND, Window>;
    return windows;
}

std::shared_ptr<CMessageQueue> MakeThreadQueue()
{
    if (t_bEnded) return nullptr;
    if (t_Owner.queue == nullptr) {
        t_Owner.queue = std::make_shared<CMessageQueue>();
        t_pQueue = t_Owner.queue.get();
    }
    return t_Owner.queue;
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
    const std::shared_ptr<CMessageQueue> queue = std::exchange(t_Owner.queue, nullptr);
    t_pQueue = nullptr;
    {
        const CMutexLock lock(queue->wakeLock);
        queue->wake = nullptr;
    }
    std::vector<Window> gone;  // destroyed after the lock: the procedures may hold anything
    const CMutexLock lock(g_csWait);
    std::erase_if(Windows(), [&](auto& entry) REQUIRES(g_csWait) {
        if (entry.second.queue != queue) return false;
        gone.push_back(std::move(entry.second));
        return true;
    });
    while (!queue->sent.empty()) {
        Answer(*queue->sent.front(), 0);
        queue->sent.pop_front();
    }
    queue->posted.clear();
}

LRESULT CallProcedure(const WNDPROC& procedure, const Message& message) noexcept
{
    return procedure(message.message, message.wParam, message.lParam);
}

bool ServeOneSent(CMessageQueue& queue,
                  CWaitHold& hold) NO_THREAD_SAFETY_ANALYSIS  // `hold` is g_csWait's
{
    ASSERT_HELD(g_csWait);
    if (queue.sent.empty()) return false;
    SentMessage* sent = queue.sent.front();
    queue.sent.pop_front();
    const Message message = sent->message;  // the sender may go on before the procedure returns
    const auto window = Windows().find(message.window);
    if (window == Windows().end()) {
        Answer(*sent, 0);
        return true;
    }
    // Kept while it runs: the procedure may take its own window out of the registry.
    std::shared_ptr<const WNDPROC> procedure = window->second.procedure;
    SentMessage** const outer = std::exchange(queue.served, &sent);
    hold.Unlock();
    const LRESULT result = CallProcedure(*procedure, message);
    procedure.reset();
    hold.Lock();
    queue.served = outer;
    if (sent != nullptr) Answer(*sent, result);
    return true;
}

std::function<void(LRESULT)> AnswerOfServed()
{
    CMessageQueue* const queue = ThreadQueue();
    const CMutexLock lock(g_csWait);
    SentMessage** const served = queue == nullptr ? nullptr : queue->served;
    return [served](LRESULT result) {
        const CMutexLock answering(g_csWait);
        if (served != nullptr && *served != nullptr) Answer(*std::exchange(*served, nullptr), result);
    };
}

void DropSent(CMessageQueue& queue, HWND window)
{
    ASSERT_HELD(g_csWait);
    std::erase_if(queue.sent, [&](SentMessage* message) REQUIRES(g_csWait) {
        if (message->message.window != window) return false;
        Answer(*message, 0);
        return true;
    });
}

bool WaitServing(CWaitHold& hold, Waiter& waiter, IWaitCondition& condition,
                 const CDeadline& deadline) NO_THREAD_SAFETY_ANALYSIS  // `hold` is g_csWait's
{
    CMessageQueue* const queue = ThreadQueue();
    Waiter* const outer = queue == nullptr ? nullptr : std::exchange(queue->waiter, &waiter);
    bool met = condition.IsMet();
    bool expired = false;
    ASSERT_HELD(g_csWait);
    while (!met && !expired) {
        const bool served = queue != nullptr && ServeOneSent(*queue, hold);
        expired = deadline && std::chrono::steady_clock::now() >= *deadline;
        if (served || expired) {
            met = condition.IsMet();
            continue;
        }
        if (deadline) {
            hold.WaitUntil(waiter.changed, *deadline);
        } else {
            hold.Wait(waiter.changed);
        }
        met = condition.IsMet();
    }
    if (queue != nullptr) queue->waiter = outer;
    return met;
}
