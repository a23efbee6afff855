#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>

#include "inc/Mutex.h"
#include "inc/ThreadSafety.h"

// Threads, locks and time, named as the platform's own operations. What is left out: security attributes, named
// objects, exit codes, waiting for more than one thread.

/// A thread that can be waited for. Null is "none". Owned by whoever created it, until CloseHandle.
struct WAITABLE;
using HANDLE = WAITABLE*;

inline constexpr std::uint32_t INFINITE = 0xFFFFFFFF;
inline constexpr std::uint32_t WAIT_OBJECT_0 = 0;
inline constexpr std::uint32_t WAIT_TIMEOUT = 0x102;
inline constexpr std::uint32_t WAIT_FAILED = 0xFFFFFFFF;

/// Starts a thread that runs `entry`. `name` (at most 15 characters are kept) shows in debuggers. The handle is
/// signalled when the thread has ended and stays so. Null when the system has no more threads. Closing the
/// handle neither ends nor waits for the thread. A thread that runs keeps its module loaded. What it writes to
/// a pipe, a socket or a display whose other side has gone fails by itself, and its signal ends no host.
HANDLE CreateThread(std::function<void()> entry, const char* name);

/// Waits until the thread has ended or `timeoutMs` have passed: WAIT_OBJECT_0, WAIT_TIMEOUT, or WAIT_FAILED for
/// a null handle. On a thread that owns windows the wait goes on serving messages *sent* to these windows (see
/// SendMessageA), so that a thread which is waited for may still send to the waiting one.
std::uint32_t WaitForSingleObject(HANDLE thread, std::uint32_t timeoutMs);

/// Gives the handle back; null is allowed. False for null.
bool CloseHandle(HANDLE thread);

/// Waits for `ms` milliseconds and serves nothing.
void Sleep(std::uint32_t ms);

/// The same, but serves sent messages like WaitForSingleObject.
void SleepServing(std::uint32_t ms);

/// Milliseconds of a monotonic clock, wrapping after 49.7 days.
std::uint32_t GetTickCount();

/// A recursive lock.
using CCriticalSection = CCheckedMutex<std::recursive_mutex>;

/// Holds a critical section for the length of a scope.
class SCOPED_CAPABILITY CAutoLock
{
  public:
    explicit CAutoLock(CCriticalSection& section) ACQUIRE(section) : m_Section(section) { m_Section.lock(); }
    ~CAutoLock() RELEASE() { m_Section.unlock(); }
    CAutoLock(const CAutoLock&) = delete;
    CAutoLock& operator=(const CAutoLock&) = delete;

  private:
    CCriticalSection& m_Section;
};

/// Both return the new value.
inline std::int32_t InterlockedIncrement(std::atomic<std::int32_t>& value)
{
    return value.fetch_add(1) + 1;
}
inline std::int32_t InterlockedDecrement(std::atomic<std::int32_t>& value)
{
    return value.fetch_sub(1) - 1;
}
