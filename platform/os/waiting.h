#pragma once

#include <chrono>
#include <condition_variable>
#include <optional>

#include "inc/Mutex.h"

// What threads.h and windows.h share: a wait that serves the messages sent to the waiting thread. Internal to
// the platform layer.
//
// One lock guards the state of all waitable objects, of all queues of messages and of the registry of windows.
// A waiting thread looks at an object and at its queue at once, which takes one lock for both or an order among
// many; some tens of threads that wait a few times a second don't contend for it. It is a leaf lock, held for a
// few instructions: no foreign code runs under it.

extern CMutex g_csWait;

using CWaitHold = CMutexLock;
using CDeadline = std::optional<std::chrono::steady_clock::time_point>;

/// A blocked thread, on its own stack. Whoever changes what it waits for notifies it under the lock.
struct Waiter {
    std::condition_variable changed;
};

/// What ends a wait; asked under the lock.
class IWaitCondition
{
  public:
    virtual ~IWaitCondition() = default;
    virtual bool IsMet() REQUIRES(g_csWait) = 0;
};

/// Waits with `hold` (which is given free while it blocks or serves) until the condition is met (true) or the
/// deadline has passed (false; without one it waits indefinitely), serving messages sent to the calling thread.
/// A deadline in the past still serves one message. Whatever meets the condition has to notify `waiter`.
bool WaitServing(CWaitHold& hold, Waiter& waiter, IWaitCondition& condition, const CDeadline& deadline)
    REQUIRES(g_csWait);

/// True when the calling thread may be sent messages, so that its waits have to look for them.
bool ThreadHasQueue();

/// Takes the calling thread's windows out of the registry and answers what was sent to them; a thread that ends
/// does this before it counts as ended.
void EndThreadQueue();
