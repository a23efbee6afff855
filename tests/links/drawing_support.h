#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "recorder/scene/Mark.h"
#include "render/Render.h"

struct CodecFrame;

/// The number in a decoded picture's corner; nothing when it is damaged beyond reading.
std::optional<recorder::Mark> ReadMark(const CodecFrame& frame);

/// A picture that a link thread has drawn in `window`.
using DrawnPicture = std::function<void(HWND window, const CodecFrame& frame)>;

/// The default renderer over a device in memory. `drawn` is told of every picture that was shown.
std::unique_ptr<CRender> MakeDrawingRender(DrawnPicture drawn);
