#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>

#include "inc/EntryCheck.h"
#include "inc/ThreadSafety.h"

/// A mutex of the standard as a lock that clang's analysis and ASSERT_HELD know.
template <typename Mutex>
class CAPABILITY("mutex") CCheckedMutex
{
  public:
    constexpr CCheckedMutex() = default;
    CCheckedMutex(const CCheckedMutex&) = delete;
    CCheckedMutex& operator=(const CCheckedMutex&) = delete;

    // Named as the standard's locks call them.
    void lock() ACQUIRE()
    {
        m_Mutex.lock();
        m_Holder.Take();
    }
    bool try_lock() TRY_ACQUIRE(true)
    {
        if (!m_Mutex.try_lock()) return false;
        m_Holder.Take();
        return true;
    }
    void unlock() RELEASE()
    {
        m_Holder.Leave();
        m_Mutex.unlock();
    }

#ifndef NDEBUG
    bool IsHeld() const
    {
        return m_Holder.IsMe();
    }
#endif

  private:
    friend class CMutexLock;
    Mutex m_Mutex;
    [[no_unique_address]] CLockHolder m_Holder;
};

using CMutex = CCheckedMutex<std::mutex>;

/// Holds a CMutex for the length of a scope, and waits with it for a condition. What a wait asks is asked under
/// the lock; a lambda says so by REQUIRES after its parameters.
class SCOPED_CAPABILITY CMutexLock
{
  public:
    explicit CMutexLock(CMutex& mutex) ACQUIRE(mutex) : m_Mutex(mutex) { m_Mutex.lock(); }
    /// Takes over a lock that the caller has.
    CMutexLock(CMutex& mutex, std::adopt_lock_t) REQUIRES(mutex) : m_Mutex(mutex) {}
    ~CMutexLock() RELEASE()
    {
        if (m_bHeld) m_Mutex.unlock();
    }
    CMutexLock(const CMutexLock&) = delete;
    CMutexLock& operator=(const CMutexLock&) = delete;

    void Lock() ACQUIRE()
    {
        m_Mutex.lock();
        m_bHeld = true;
    }
    void Unlock() RELEASE()
    {
        m_bHeld = false;
        m_Mutex.unlock();
    }

    /// Blocks until `changed` is notified, or for no reason; the lock is free meanwhile.
    void Wait(std::condition_variable& changed)
    {
        CBorrowed borrowed(m_Mutex);
        changed.wait(borrowed.Get());
    }
    template <typename Time>
    void WaitUntil(std::condition_variable& changed, const Time& deadline)
    {
        CBorrowed borrowed(m_Mutex);
        changed.wait_until(borrowed.Get(), deadline);
    }

    template <typename Condition>
    void Wait(std::condition_variable& changed, Condition isMet) NO_THREAD_SAFETY_ANALYSIS  // the lock is held
    {
        while (!isMet())
            Wait(changed);
    }
    /// False when the condition isn't met at the deadline.
    template <typename Time, typename Condition>
    bool WaitUntil(std::condition_variable& changed, const Time& deadline,
                   Condition isMet) NO_THREAD_SAFETY_ANALYSIS  // the lock is held
    {
        while (!isMet()) {
            if (std::chrono::steady_clock::now() >= deadline) return false;
            WaitUntil(changed, deadline);
        }
        return true;
    }
    template <typename Duration, typename Condition>
    bool WaitFor(std::condition_variable& changed, Duration time, Condition isMet)
    {
        return WaitUntil(changed, std::chrono::steady_clock::now() + time, std::move(isMet));
    }

  private:
    /// The held mutex in the form that a condition variable takes.
    class CBorrowed
    {
      public:
        explicit CBorrowed(CMutex& mutex) : m_Mutex(mutex), m_Lock(mutex.m_Mutex, std::adopt_lock)
        {
            m_Mutex.m_Holder.Leave();
        }
        ~CBorrowed()
        {
            m_Lock.release();
            m_Mutex.m_Holder.Take();
        }
        CBorrowed(const CBorrowed&) = delete;
        CBorrowed& operator=(const CBorrowed&) = delete;
        std::unique_lock<std::mutex>& Get() { return m_Lock; }

      private:
        CMutex& m_Mutex;
        std::unique_lock<std::mutex> m_Lock;
    };

    CMutex& m_Mutex;
    bool m_bHeld = true;
};
