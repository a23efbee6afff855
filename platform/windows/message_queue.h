#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <unordered_map>

#include "inc/Mutex.h"
#include "platform/os/waiting.h"
#include "platform/windows/windows.h"

// The queues of messages behind windows.h. Internal to this folder.

struct Message {
    HWND window = HWND::Null;
    std::uint32_t message = 0;
    WPARAM wParam = 0;
    LPARAM lParam = 0;
};

/// A message whose sender is blocked; it lies on the sender's stack and is its own again once done is set.
struct SentMessage {
    Message message;
    Waiter* sender = nullptr;
    LRESULT result = 0;
    bool done = false;
};

/// What waits for one thread that owns windows.
struct CMessageQueue {
    std::deque<SentMessage*> sent GUARDED_BY(g_csWait);
    std::deque<Message> posted GUARDED_BY(g_csWait);
    Waiter* waiter GUARDED_BY(g_csWait) = nullptr;  // the innermost wait of the thread
    // The sent message that the thread serves, the innermost one; what it points to is null once it is
    // answered.
    SentMessage** served GUARDED_BY(g_csWait) = nullptr;

    CMutex wakeLock;  // held while wake runs: once it is replaced it is called no more
    std::function<void()> wake GUARDED_BY(wakeLock);

    void CallWake();
};

struct Window {
    std::shared_ptr<CMessageQueue> queue;
    std::shared_ptr<const WNDPROC> procedure;
    void* native = nullptr;
};

/// The registry. Lives to process end.
std::unordered_map<HWND, Window>& Windows() REQUIRES(g_csWait);

/// The calling thread's queue, made at first use; null on a thread that is past its end (its thread-local
/// objects are going).
std::shared_ptr<CMessageQueue> MakeThreadQueue();

/// The calling thread's queue, or null when it has none.
CMessageQueue* ThreadQueue();

/// The backend's ServeUntil; nothing without a backend.
void ServeToolkitUntil(const std::function<bool()>& ended) EXCLUDES(g_csWait);

/// Answers one message sent to the calling thread; false when there is none. `hold` is given free while the
/// window's procedure runs.
bool ServeOneSent(CMessageQueue& queue, CWaitHold& hold) REQUIRES(g_csWait);

/// Answers every message that was sent to `window` and is still in the queue with 0.
void DropSent(CMessageQueue& queue, HWND window) REQUIRES(g_csWait);

/// Calls the procedure; nothing may leave it, a sender would never be answered.
LRESULT CallProcedure(const WNDPROC& procedure, const Message& message) noexcept EXCLUDES(g_csWait);
