#pragma once

// Apart from the rest, because the names of Xlib's macros stand in the toolkit's way.

/// Returns when the server has done everything that was asked of it over this connection (a Display).
void SyncX11(void* display);
