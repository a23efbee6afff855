#include "platform/os/clock.h"

#include <algorithm>

#include "platform/os/threads.h"

namespace
{

class CSystemClock final : public IClock
{
  public:
    std::uint32_t TickCount() override { return ::GetTickCount(); }
    void Sleep(std::uint32_t ms) override { ::Sleep(ms); }
};

constexpr std::int64_t MS_PER_SECOND = 1000;
constexpr std::int64_t NS_PER_MS = 1'000'000;
constexpr std::int64_t LONGEST_MS = 1LL << 30;  // whatever is older is as old

}  // namespace

std::uint32_t IClock::SinceStamp(const timespec& stamp)
{
    if (stamp.tv_sec == 0 && stamp.tv_nsec == 0) return 0;
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const std::int64_t ms = (std::int64_t{now.tv_sec} - stamp.tv_sec) * MS_PER_SECOND +
                            (std::int64_t{now.tv_nsec} - stamp.tv_nsec) / NS_PER_MS;
    return static_cast<std::uint32_t>(std::clamp<std::int64_t>(ms, 0, LONGEST_MS));
}

IClock& SystemClock()
{
    static auto& clock = *new CSystemClock;
    return clock;
}
