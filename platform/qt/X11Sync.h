#pragma once

#include <cstdint>

// Apart from the rest, because the names of Xlib's macros stand in the toolkit's way.

/// Returns when the server has done everything that was asked of it over this connection (a Display).
void SyncX11(void* display);

/// Whether the server knows `child` as a child of the window `parent`, which stands.
bool IsChildInX11(void* display, std::uintptr_t parent, std::uintptr_t child);
