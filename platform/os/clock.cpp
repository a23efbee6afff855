#include "platform/os/clock.h"

#include "platform/os/threads.h"

namespace
{

class CSystemClock final : public IClock
{
  public:
    std::uint32_t TickCount() override { return ::GetTickCount(); }
    void Sleep(std::uint32_t ms) override { ::Sleep(ms); }
};

}  // namespace

IClock& SystemClock()
{
    static auto& clock = *new CSystemClock;
    return clock;
}
