#pragma once

#include <cassert>
#include <condition_variable>
#include <cstdint>
#include <thread>

#include "inc/Mutex.h"

/// The recursive lock of a session's receiving. Beside what a critical section gives, a wait for it can be
/// ended from outside, and a thread that ends can give it back however often it took it.
class CReceiveLock
{
  public:
    /// Takes the lock once more. False, without the lock, when `ended()` holds before it could be had; `ended`
    /// is asked again at each Wake.
    template <typename Ended>
    bool Lock(Ended ended)
    {
        const auto self = std::this_thread::get_id();
        CMutexLock lock(m_cs);
        lock.Wait(m_Changed, [&]() REQUIRES(m_cs) { return m_Depth == 0 || m_Owner == self || ended(); });
        if (m_Depth != 0 && m_Owner != self) return false;
        m_Owner = self;
        ++m_Depth;
        return true;
    }

    /// Gives back one taking; the caller holds the lock.
    void Unlock()
    {
        {
            const CMutexLock lock(m_cs);
            assert(m_Depth != 0 && m_Owner == std::this_thread::get_id() && "the caller must hold the lock");
            --m_Depth;
        }
        m_Changed.notify_all();
    }

    /// Gives back all of the calling thread's takings, if there are any.
    void UnlockAll()
    {
        {
            const CMutexLock lock(m_cs);
            if (m_Owner != std::this_thread::get_id()) return;
            m_Depth = 0;
        }
        m_Changed.notify_all();
    }

    /// Whether some thread has it.
    bool IsTaken()
    {
        const CMutexLock lock(m_cs);
        return m_Depth != 0;
    }

    /// Wakes the waiting threads so that they check `ended`.
    void Wake()
    {
        {
            const CMutexLock lock(m_cs);
        }
        m_Changed.notify_all();
    }

  private:
    CMutex m_cs;  // only ever held for a few instructions
    std::condition_variable m_Changed;
    std::thread::id m_Owner GUARDED_BY(m_cs);  // means something while m_Depth isn't 0
    std::uint64_t m_Depth GUARDED_BY(m_cs) =
        0;  // grows by one with every look into an empty queue, so it is wide
};
