#pragma once

#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <thread>

/// Interrupts what a thread waits for by a signal whose handler does nothing but count.
class CInterruption
{
  public:
    CInterruption()
    {
        struct sigaction count = {};
        count.sa_handler = [](int) { ++m_iTaken; };
        ::sigaction(SIGUSR1, &count, &m_Former);
    }
    ~CInterruption() { ::sigaction(SIGUSR1, &m_Former, nullptr); }
    CInterruption(const CInterruption&) = delete;
    CInterruption& operator=(const CInterruption&) = delete;

    /// Returns when the thread has taken the signal.
    static void Of(std::thread& thread)
    {
        Await([&] { ::pthread_kill(thread.native_handle(), SIGUSR1); });
    }
    /// The same of any thread but this one.
    static void OfAnother()
    {
        sigset_t held;
        sigset_t former;
        ::sigemptyset(&held);
        ::sigaddset(&held, SIGUSR1);
        ::pthread_sigmask(SIG_BLOCK, &held, &former);
        Await([] { ::kill(::getpid(), SIGUSR1); });
        ::pthread_sigmask(SIG_SETMASK, &former, nullptr);
    }

  private:
    template <class Send>
    static void Await(Send send)
    {
        const int before = m_iTaken;
        send();
        while (m_iTaken == before)
            std::this_thread::yield();
    }

    static inline std::atomic<int> m_iTaken = 0;
    struct sigaction m_Former = {};
};
