#pragma once

#include <cstdint>
#include <optional>

#include "recorder/scene/Picture.h"

namespace recorder
{

/// The code of black and white blocks in the lower left corner by which a program can tell which picture it
/// sees: 48 blocks of 8x8 pixels in three rows of sixteen, most significant bit first: 32 bits of the picture
/// number, 8 of the channel, 8 of a checksum over these five bytes. The blocks lie on the grid of the
/// transform, so that they come through any quantiser.
struct Mark {
    uint32_t picture = 0;
    int channel = 0;

    bool operator==(const Mark&) const = default;
};

inline constexpr int MARK_WIDTH = 128;
inline constexpr int MARK_HEIGHT = 24;

/// The picture must be at least MARK_WIDTH by MARK_HEIGHT.
void DrawMark(const Mark& mark, Picture& picture);
/// Nothing when there is no mark, or its checksum doesn't fit.
std::optional<Mark> ReadMark(const Picture& picture);

}  // namespace recorder
