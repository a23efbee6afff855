#pragma once

#include <cstdint>

/// The clock by which protocols wait and poll. They take it as an argument, so that a test can run minutes of
/// resends and time-outs in microseconds.
class IClock
{
  public:
    virtual ~IClock() = default;
    /// Milliseconds, monotonic, wrapping.
    virtual std::uint32_t TickCount() = 0;
    /// Waits for `ms` milliseconds of this clock.
    virtual void Sleep(std::uint32_t ms) = 0;
};

/// The machine's own clock: GetTickCount and Sleep. Lives to process end; any thread.
IClock& SystemClock();
