#pragma once

#include <pthread.h>

#include <atomic>
#include <cassert>

// Checks at a function's entry of what its contract says of thread and lock. They are asserts: on in the debug
// build and under the sanitizers, nothing in a release.

/// The caller holds `lock`, a CMutex or a CCriticalSection.
#define ASSERT_HELD(lock) assert((lock).IsHeld() && "the caller must hold the lock")
/// The calling thread is that of the CThreadMark.
#define ASSERT_THREAD(mark) assert((mark).IsMine() && "called on a foreign thread")

#ifdef NDEBUG

class CThreadMark
{
  public:
    void Clear() {}
};

class CLockHolder
{
  public:
    void Take() {}
    void Leave() {}
};

#else

/// The one thread that may call certain functions: the first that is checked after the construction or Clear.
class CThreadMark
{
  public:
    bool IsMine()
    {
        pthread_t present = 0;
        return m_Thread.compare_exchange_strong(present, ::pthread_self()) || present == ::pthread_self();
    }
    void Clear() { m_Thread = 0; }

  private:
    std::atomic<pthread_t> m_Thread{0};  // 0: none yet
};

/// Who holds a lock. Take and Leave are called by the holder alone.
class CLockHolder
{
  public:
    constexpr CLockHolder() = default;
    void Take()
    {
        ++m_iDepth;
        m_Thread = ::pthread_self();
    }
    void Leave()
    {
        if (--m_iDepth == 0) m_Thread = 0;
    }
    bool IsMe() const { return m_Thread == ::pthread_self(); }

  private:
    std::atomic<pthread_t> m_Thread{0};
    int m_iDepth = 0;
};

#endif
