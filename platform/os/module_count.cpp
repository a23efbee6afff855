#include "platform/os/module_count.h"

#include <atomic>
#include <cstdint>

namespace
{

constinit std::atomic<std::int32_t> g_iModuleLocks = 0;

}  // namespace

void LockComponentModule()
{
    ++g_iModuleLocks;
}
void UnlockComponentModule()
{
    --g_iModuleLocks;
}
bool CanUnloadComponentModule()
{
    return g_iModuleLocks == 0;
}
