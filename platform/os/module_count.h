#pragma once

// What keeps this module loaded: its objects and the locks of its factories, and the threads that run in it
// (see CreateThread). At any time from any thread.

/// Counts an object or a lock.
void LockComponentModule();
/// Takes one back. Whoever takes the last one back calls the handler of SetModuleIdleHandler.
void UnlockComponentModule();

/// Holds a lock for a call from outside that makes no object.
class CModuleLock
{
  public:
    CModuleLock() { LockComponentModule(); }
    ~CModuleLock() { UnlockComponentModule(); }
    CModuleLock(const CModuleLock&) = delete;
    CModuleLock& operator=(const CModuleLock&) = delete;
};

/// Names what is called when the last object or lock has gone, on the thread that released it, threads or no
/// threads; null, the first state, calls nothing. It must not throw.
using ModuleIdle = void (*)();
void SetModuleIdleHandler(ModuleIdle handler);

/// Count the threads that run in the module.
void AddModuleThread();
void RemoveModuleThread();

/// True when there is no object, no lock and no thread.
bool CanUnloadComponentModule();
