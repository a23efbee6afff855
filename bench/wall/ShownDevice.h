#pragma once

#include <functional>
#include <memory>

#include "render/device/SurfaceDevice.h"

/// Called when a presentation has returned, on the thread that presented.
using Presented = std::function<void(HWND window, bool shown)>;

/// An adapter whose devices are those of `inner` and tell of each presentation.
std::shared_ptr<ISurfaceAdapter> MakeTellingAdapter(std::shared_ptr<ISurfaceAdapter> inner,
                                                    Presented presented);
