#pragma once

/// Registers the devices and stations of this folder with the archives' registry; further calls do nothing.
/// Whoever reads or writes them, or merges channels, calls it at its start.
void RegisterRemoteClasses();
