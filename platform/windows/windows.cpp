#include "platform/windows/windows.h"

#include <atomic>
#include <cassert>
#include <limits>
#include <string>
#include <utility>

#include "inc/Mutex.h"
#include "inc/OutputDebugString.h"
#include "platform/windows/message_queue.h"

namespace
{

// The last handle that was given away; guarded by g_csWait.
constinit std::int32_t g_iLastHandle = 0;

constinit std::atomic<IWindowBackend*> g_pBackend = nullptr;

class CAnswered final : public IWaitCondition
{
  public:
    explicit CAnswered(const SentMessage& message) : m_Message(message) {}
    bool IsMet() override { return m_Message.done; }

  private:
    const SentMessage& m_Message;
};

// Calls `operation` of the backend, or answers what stands for "there is none".
template <typename TResult, typename TOperation>
TResult AskBackend(TResult none, TOperation operation)
{
    IWindowBackend* const backend = g_pBackend.load();
    return backend == nullptr ? none : operation(*backend);
}

}  // namespace

HWND RegisterWindow(WNDPROC procedure, void* native)
{
    std::shared_ptr<CMessageQueue> queue = MakeThreadQueue();
    if (queue == nullptr || !procedure) return HWND::Null;
    auto shared = std::make_shared<const WNDPROC>(std::move(procedure));
    const CMutexLock lock(g_csWait);
    if (g_iLastHandle == std::numeric_limits<std::int32_t>::max()) return HWND::Null;
    const HWND window{++g_iLastHandle};
    Windows().emplace(window, Window{std::move(queue), std::move(shared), native});
    return window;
}

void UnregisterWindow(HWND window)
{
    Window gone;  // destroyed after the lock: the procedure may hold anything
    const CMutexLock lock(g_csWait);
    const auto found = Windows().find(window);
    if (found == Windows().end()) return;
    gone = std::move(found->second);
    Windows().erase(found);
    DropSent(*gone.queue, window);
}

void* GetNativeWindow(HWND window)
{
    const CMutexLock lock(g_csWait);
    const auto found = Windows().find(window);
    if (found == Windows().end()) return nullptr;
    assert(found->second.queue.get() == ThreadQueue() && "asked on a foreign thread");
    return found->second.native;
}

LRESULT SendMessageA(HWND window, std::uint32_t message, WPARAM wParam, LPARAM lParam)
{
    Waiter waiter;
    SentMessage sent{{window, message, wParam, lParam}, &waiter};
    CWaitHold hold(g_csWait);
    const auto found = Windows().find(window);
    if (found == Windows().end()) return 0;
    const std::shared_ptr<CMessageQueue> queue = found->second.queue;
    if (queue.get() == ThreadQueue()) {
        const std::shared_ptr<const WNDPROC> procedure = found->second.procedure;
        hold.Unlock();
        return CallProcedure(*procedure, sent.message);
    }
    queue->sent.push_back(&sent);
    if (queue->waiter != nullptr) queue->waiter->changed.notify_one();
    hold.Unlock();
    // The owner is woken even while it waits: its wait may end before it has come to this message.
    queue->CallWake();
    hold.Lock();
    CAnswered answered(sent);
    WaitServing(hold, waiter, answered, std::nullopt);
    hold.Unlock();
    return sent.result;
}

bool PostMessageA(HWND window, std::uint32_t message, WPARAM wParam, LPARAM lParam)
{
    std::shared_ptr<CMessageQueue> queue;
    {
        const CMutexLock lock(g_csWait);
        const auto found = Windows().find(window);
        if (found == Windows().end()) return false;
        queue = found->second.queue;
        queue->posted.push_back({window, message, wParam, lParam});
    }
    queue->CallWake();
    return true;
}

int ServeMessages(bool posted)
{
    CMessageQueue* const queue = ThreadQueue();
    if (queue == nullptr) return 0;
    int served = 0;
    CWaitHold hold(g_csWait);
    if (queue->sent.size() + (posted ? queue->posted.size() : 0) > 1) {
        // The first may have a loop of its own, a message box for one, which is to serve the others.
        hold.Unlock();
        queue->CallWake();
        hold.Lock();
    }
    // Only what is there now: each later message wakes the loop again, and a window that posts to itself must
    // not keep the loop from its other work.
    for (std::size_t rest = queue->sent.size(); rest > 0 && ServeOneSent(*queue, hold); --rest)
        ++served;
    for (std::size_t rest = posted ? queue->posted.size() : 0; rest > 0 && !queue->posted.empty(); --rest) {
        const Message message = queue->posted.front();
        queue->posted.pop_front();
        const auto found = Windows().find(message.window);
        if (found == Windows().end()) continue;
        std::shared_ptr<const WNDPROC> procedure = found->second.procedure;
        hold.Unlock();
        CallProcedure(*procedure, message);
        procedure.reset();
        hold.Lock();
        ++served;
    }
    return served;
}

void SetMessageWake(std::function<void()> wake)
{
    const std::shared_ptr<CMessageQueue> queue = MakeThreadQueue();
    if (queue == nullptr) return;
    const CMutexLock lock(queue->wakeLock);
    queue->wake = std::move(wake);
}

IWindowBackend* SetWindowBackend(IWindowBackend* backend)
{
    return g_pBackend.exchange(backend);
}

void ServeToolkitUntil(const std::function<bool()>& ended)
{
    if (IWindowBackend* const backend = g_pBackend.load()) backend->ServeUntil(ended);
}

bool SetWindowPos(HWND window, const RECT& rect)
{
    return AskBackend(false, [&](IWindowBackend& backend) { return backend.SetWindowPos(window, rect); });
}

std::int32_t MessageBoxA(HWND owner, std::string_view text, std::string_view caption, std::uint32_t type)
{
    if (IWindowBackend* const backend = g_pBackend.load()) {
        return backend->MessageBoxA(owner, text, caption, type);
    }
    OutputDebugStringA(std::string(caption) + ": " + std::string(text) + "\n");
    return IDOK;
}
