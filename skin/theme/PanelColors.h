#pragma once

#include "skin/theme/Theme.h"

// What the panels draw in themselves, whatever theme is loaded. The theme file has the same values where it
// draws on the same grounds. A test holds the contrast of each pair that is drawn.

namespace panel_color
{

constexpr Color Rgb(unsigned value)
{
    return {static_cast<std::uint8_t>(value >> 16 & 0xFF), static_cast<std::uint8_t>(value >> 8 & 0xFF),
            static_cast<std::uint8_t>(value & 0xFF), 255};
}

// panels and side bar
inline constexpr Color GROUND = Rgb(0xC5C5C5);
inline constexpr Color INK = Rgb(0x323232);
inline constexpr Color PLAIN_TOP = Rgb(0xD7D7D7);  // a plain button runs from top to bottom
inline constexpr Color PLAIN_BOTTOM = Rgb(0x9B9B9B);
inline constexpr Color LIT_TOP = Rgb(0x4AB0F2);  // a selected one, or one under the mouse
inline constexpr Color LIT_BOTTOM = Rgb(0x1D6E98);
inline constexpr Color LIT_INK = Rgb(0x000000);  // the only ink that is read on both ends
inline constexpr Color ICON_INK = Rgb(0x2B333B);
inline constexpr Color CHECK_BOX = Rgb(0xFFFFFF);
inline constexpr Color CHECK_MARK = Rgb(0x1D6E98);

// device tree
inline constexpr Color ROW_EVEN = Rgb(0xFFFFFF);
inline constexpr Color ROW_ODD = Rgb(0xF2F2F2);
inline constexpr Color ROW_SELECTED = Rgb(0x4AB0F2);
inline constexpr Color TRIANGLE = Rgb(0x767676);
inline constexpr Color TREE_GROUND_AT_START = Rgb(0xFFFFFF);
inline constexpr Color TREE_INK_AT_START = Rgb(0x323232);
inline constexpr Color TREE_GROUND = Rgb(0x26292E);  // after a logon
inline constexpr Color TREE_INK = Rgb(0x9B9B9B);     // oddity: grey-names; 2.8 and 2.5 to 1 on the rows
inline constexpr Color CAMERA_CLOSED = Rgb(0x5A626A);
inline constexpr Color CAMERA_OPEN = Rgb(0x1D6E98);
inline constexpr Color CAMERA_RECORDING = Rgb(0xA82B2B);
inline constexpr Color RECORD_LIGHT = Rgb(0xC01818);
inline constexpr Color ICON_PAPER = Rgb(0xFFFFFF);  // the lens, and the rim of the light
// the same on the selected row
inline constexpr Color LIT_CAMERA_CLOSED = Rgb(0x1E2226);
inline constexpr Color LIT_CAMERA_OPEN = Rgb(0x08344B);
inline constexpr Color LIT_CAMERA_RECORDING = Rgb(0x6E0B0B);

// where the keyboard is
inline constexpr Color FOCUS_ON_LIGHT = Rgb(0x08141C);
inline constexpr Color FOCUS_ON_DARK = Rgb(0x4AB0F2);

// video wall
inline constexpr Color WALL_GROUND = Rgb(0x26292E);
inline constexpr Color WALL_OUTLINE = Rgb(0x323232);

/// The colour of the focus that stands out from `ground`.
Color FocusOn(Color ground);

}  // namespace panel_color
