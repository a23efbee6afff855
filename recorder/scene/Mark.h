#pragma once

#include <cstdint>
#include <optional>

#include "recorder/scene/Picture.h"

namespace recorder
{

// The code of black and white blocks in the lower left corner by which a program can tell which picture it
// sees: 48 blocks of 8x8 pixels in three rows of sixteen, most significant bit first: 32 bits of the picture
// number, 8 of the channel, 8 of a checksum over these five bytes. The blocks lie on the grid of the transform,
// so that they come through any quantiser.
struct XMark {
    uint32_t m_ulPicture = 0;
    int m_iChannel = 0;

    bool operator==(const XMark&) const = default;
};

inline constexpr int MARK_WIDTH = 128;
inline constexpr int MARK_HEIGHT = 24;

// The picture must be at least MARK_WIDTH by MARK_HEIGHT.
void DrawMark(const XMark& mark, XPicture& picture);
// Nothing when there is no mark, or its checksum doesn't fit.
std::optional<XMark> ReadMark(const XPicture& picture);

}  // namespace recorder
