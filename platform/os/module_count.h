#pragma once

/// Counts what keeps this module loaded: live objects, locks of its factories, and threads that run (see
/// CreateThread). At any time from any thread.
void LockComponentModule();
void UnlockComponentModule();
/// True when the count is zero.
bool CanUnloadComponentModule();
