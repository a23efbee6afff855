#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// What a theme file says, resolved: every element with all its states, every icon as a list of shapes. The
// parser (ThemeParser.h) fills it, the style draws with it. Plain values; one thread at a time per object, any
// thread.

struct Color {
    std::uint8_t r = 0;
    std::uint8_t g = 0;
    std::uint8_t b = 0;
    std::uint8_t a = 255;  // 0 is "nothing is drawn"
    friend bool operator==(const Color&, const Color&) = default;
};

inline constexpr Color NO_COLOR{0, 0, 0, 0};

/// What fills an area: two equal colours are a plain fill, two different ones a gradient from top to bottom.
struct Fill {
    Color top = NO_COLOR;
    Color bottom = NO_COLOR;
    bool IsNone() const { return top.a == 0 && bottom.a == 0; }
    friend bool operator==(const Fill&, const Fill&) = default;
};

enum class EState { Normal, Hover, Pressed, Checked, Disabled };
inline constexpr std::size_t STATE_COUNT = static_cast<std::size_t>(EState::Disabled) + 1;

/// How an element looks in one state.
struct Look {
    Fill fill;
    Color border = NO_COLOR;
    Color text{0, 0, 0, 255};
    Color mark{0, 0, 0, 255};  // icons, arrows, ticks
    Color ring = NO_COLOR;     // frame inside the border while the keyboard's focus is here
    friend bool operator==(const Look&, const Look&) = default;
};

struct Element {
    std::string name;
    std::string icon;  // "" when the element has none
    std::array<Look, STATE_COUNT> looks;
    // pixels at 96 dots per inch
    int border = 1;
    int radius = 0;
    int padX = 0;
    int padY = 0;
    int width = 0;  // least size; 0 leaves it to the control
    int height = 0;
    int fontPercent = 100;  // of the system's font
    bool bold = false;

    const Look& LookOf(EState state) const { return looks[static_cast<std::size_t>(state)]; }
};

/// One step of an outline, in the icon's own units.
struct PathStep {
    enum class EKind { Move, Line, Curve, Circle, Box, Close };
    EKind kind = EKind::Move;
    // Move, Line: x y. Curve: two control points and the end. Circle: centre and radius. Box: x y width height.
    std::array<float, 6> values{};
};

struct Shape {
    float stroke = 0;  // pen width in the icon's units; 0 fills the outline
    std::vector<PathStep> steps;
};

struct Icon {
    std::string name;
    float width = 0;
    float height = 0;
    std::vector<Shape> shapes;
};

class CTheme
{
  public:
    std::string m_strName;
    std::vector<Element> m_Elements;  // few, looked up by name when a control is skinned: a plain list
    std::vector<Icon> m_Icons;

    /// The element or icon of that name, compared exactly, or null. Valid as long as the theme is not changed.
    const Element* FindElement(std::string_view name) const;
    const Icon* FindIcon(std::string_view name) const;
};

/// The names of all elements that the control asks for; a theme without one of them is refused.
const std::vector<std::string_view>& RequiredElements();

/// `over` laid on `under`, by its alpha. The result is as opaque as `under`.
Color Blend(Color over, Color under);

/// Contrast of two opaque colours, 1 to 21, by the relative luminance of the Web Content Accessibility
/// Guidelines 2.1.
double ContrastRatio(Color one, Color other);

/// The colour at `part` of a fill's height, 0 at the top and 1 at the bottom.
Color ColorAt(const Fill& fill, double part);
