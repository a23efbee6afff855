#include "platform/os/module_count.h"

#include <atomic>
#include <cstdint>

namespace
{

constinit std::atomic<std::int32_t> g_iLocks = 0;
constinit std::atomic<std::int32_t> g_iThreads = 0;
constinit std::atomic<ModuleIdle> g_pIdle = nullptr;

}  // namespace

void LockComponentModule()
{
    ++g_iLocks;
}

void UnlockComponentModule()
{
    if (--g_iLocks > 0) return;
    if (const ModuleIdle idle = g_pIdle) idle();
}

void SetModuleIdleHandler(ModuleIdle handler)
{
    g_pIdle = handler;
}

void AddModuleThread()
{
    ++g_iThreads;
}

void RemoveModuleThread()
{
    --g_iThreads;
}

bool CanUnloadComponentModule()
{
    return g_iLocks == 0 && g_iThreads == 0;
}
