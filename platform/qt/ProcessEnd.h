#pragma once

/// Has IsProcessEnding learn of the process's end. Panels' thread only; further calls do nothing.
void WatchProcessEnd();

/// True once the panels' thread or the process has begun to end without a tidy end of the windows: the
/// toolkit's own objects may be gone, so no widget may be touched any more. What is left then goes with the
/// process.
bool IsProcessEnding();
