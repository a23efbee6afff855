#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <thread>

#include "inc/Mutex.h"

/// Lets the program end though its display doesn't answer: once the end is due, a display that is silent
/// for a while counts as gone. The process's connections to it are broken then, so that
/// every thread that waits for an answer goes on. Says so on standard error.
class CDisplayWatch
{
  public:
    /// The end is due when `isDue` says so, which any thread may ask.
    explicit CDisplayWatch(std::function<bool()> isDue);
    ~CDisplayWatch();
    CDisplayWatch(const CDisplayWatch&) = delete;
    CDisplayWatch& operator=(const CDisplayWatch&) = delete;

    /// Whether there was a display to connect to when the object was made. Owner's thread.
    bool HasDisplay() const { return m_Thread.joinable(); }
    bool HasBroken() const { return m_bBroken; }

  private:
    class CProbe;

    void Watch();
    bool WaitForStop(std::chrono::milliseconds time);

    const std::function<bool()> m_IsDue;
    const std::unique_ptr<CProbe> m_pProbe;
    std::atomic<bool> m_bBroken = false;
    CMutex m_cs;
    std::condition_variable m_Wake;
    bool m_bStopped GUARDED_BY(m_cs) = false;
    std::thread m_Thread;
};
