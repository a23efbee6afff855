#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

#include "platform/os/clock.h"

/// For waits that somebody ends: each thread waits `speed` times as fast as the machine's clock for its first
/// 3 s, so that what answers at once costs the test little, and by the machine's clock thereafter, so that what
/// answers late on a busy machine is waited for as long as the product does.
class CFastClock final : public IClock
{
  public:
    explicit CFastClock(std::uint32_t speed) : m_ulSpeed(speed) {}
    std::uint32_t TickCount() override { return SystemClock().TickCount(); }
    void Sleep(std::uint32_t ms) override
    {
        m_ulWaitedMs += ms;
        std::this_thread::sleep_for(std::chrono::microseconds(ms * 1000 / SpeedOfThisThread(ms)));
    }
    /// How much of this clock's time was waited, by all threads together.
    std::uint32_t WaitedMs() const { return m_ulWaitedMs; }

  private:
    static constexpr std::uint32_t FAST_MS = 3000;

    std::uint32_t SpeedOfThisThread(std::uint32_t ms)
    {
        const std::lock_guard lock(m_cs);
        std::uint32_t& waited = m_Waited[std::this_thread::get_id()];
        waited += ms;
        return waited <= FAST_MS ? m_ulSpeed : 1;
    }

    const std::uint32_t m_ulSpeed;
    std::atomic<std::uint32_t> m_ulWaitedMs{0};
    std::mutex m_cs;
    std::map<std::thread::id, std::uint32_t> m_Waited;  // guarded by m_cs
};

/// For waits that nobody ends, or that the test ends itself: waiting takes no time. `meanwhile` is what happens
/// during each wait, on the waiting thread.
class CStepClock final : public IClock
{
  public:
    explicit CStepClock(std::function<void()> meanwhile = {}) : m_Meanwhile(std::move(meanwhile)) {}
    std::uint32_t TickCount() override { return m_ulWaitedMs; }
    void Sleep(std::uint32_t ms) override
    {
        m_ulWaitedMs += ms;
        if (m_Meanwhile) m_Meanwhile();
    }
    std::uint32_t WaitedMs() const { return m_ulWaitedMs; }

  private:
    const std::function<void()> m_Meanwhile;
    std::atomic<std::uint32_t> m_ulWaitedMs{0};
};
