#pragma once

#include <cstdint>
#include <ctime>

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
    /// Milliseconds since the network code stamped something with its time of day; 0 for a stamp of zero and
    /// for one that is still to come, as after the time of day was set back.
    virtual std::uint32_t SinceStamp(const timespec& stamp);
};

/// The machine's own clock: GetTickCount and Sleep. Lives to process end; any thread.
IClock& SystemClock();
