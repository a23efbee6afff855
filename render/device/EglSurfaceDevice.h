#pragma once

#include <memory>

#include "render/device/SurfaceDevice.h"

/// The device on a display: OpenGL ES through EGL on native X11 windows. One context serves all streams; it is
/// made current by whichever link thread draws and released again, so everything but Lock, Unlock and
/// TestCooperativeLevel relies on the renderer's critical section. Swapping never waits for the screen.
///
/// A context that the driver reports as lost (robustness extension) shows as Lost while the reset goes on and
/// as NotReset when a new device can be made; without that extension as NotReset at once. A broken connection
/// to the server shows as Lost for good. Windows that go away while they are drawn to cost their frame only.
///
/// Null when there is no X display, or none with OpenGL ES. The display connection is the adapter's own.
std::shared_ptr<ISurfaceAdapter> OpenEglSurfaceAdapter();
