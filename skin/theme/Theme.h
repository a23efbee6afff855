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

struct XColor {
    std::uint8_t r = 0;
    std::uint8_t g = 0;
    std::uint8_t b = 0;
    std::uint8_t a = 255;  // 0 is "nothing is drawn"
    friend bool operator==(const XColor&, const XColor&) = default;
};

inline constexpr XColor NO_COLOR{0, 0, 0, 0};

/// What fills an area: two equal colours are a plain fill, two different ones a gradient from top to bottom.
struct XFill {
    XColor top = NO_COLOR;
    XColor bottom = NO_COLOR;
    bool IsNone() const { return top.a == 0 && bottom.a == 0; }
    friend bool operator==(const XFill&, const XFill&) = default;
};

enum class EState { Normal, Hover, Pressed, Checked, Disabled };
inline constexpr std::size_t STATE_COUNT = static_cast<std::size_t>(EState::Disabled) + 1;

/// How an element looks in one state.
struct XLook {
    XFill fill;
    XColor border = NO_COLOR;
    XColor text{0, 0, 0, 255};
    XColor mark{0, 0, 0, 255};  // icons, arrows, ticks
    XColor ring = NO_COLOR;     // frame inside the border while the keyboard's focus is here
    friend bool operator==(const XLook&, const XLook&) = default;
};

struct XElement {
    std::string strName;
    std::string strIcon;  // "" when the element has none
    std::array<XLook, STATE_COUNT> looks;
    // pixels at 96 dots per inch
    int iBorder = 1;
    int iRadius = 0;
    int iPadX = 0;
    int iPadY = 0;
    int iWidth = 0;  // least size; 0 leaves it to the control
    int iHeight = 0;
    int iFontPercent = 100;  // of the system's font
    bool bBold = false;

    const XLook& Look(EState state) const { return looks[static_cast<std::size_t>(state)]; }
};

/// One step of an outline, in the icon's own units.
struct XPathStep {
    enum class EKind { Move, Line, Curve, Circle, Box, Close };
    EKind kind = EKind::Move;
    // Move, Line: x y. Curve: two control points and the end. Circle: centre and radius. Box: x y width height.
    std::array<float, 6> values{};
};

struct XShape {
    float fStroke = 0;  // pen width in the icon's units; 0 fills the outline
    std::vector<XPathStep> steps;
};

struct XIcon {
    std::string strName;
    float fWidth = 0;
    float fHeight = 0;
    std::vector<XShape> shapes;
};

class CTheme
{
  public:
    std::string m_strName;
    std::vector<XElement> m_Elements;  // few, looked up by name when a control is skinned: a plain list
    std::vector<XIcon> m_Icons;

    /// The element or icon of that name, compared exactly, or null. Valid as long as the theme is not changed.
    const XElement* FindElement(std::string_view name) const;
    const XIcon* FindIcon(std::string_view name) const;
};

/// The names of all elements that the control asks for; a theme without one of them is refused.
const std::vector<std::string_view>& RequiredElements();

/// `over` laid on `under`, by its alpha. The result is as opaque as `under`.
XColor Blend(XColor over, XColor under);

/// Contrast of two opaque colours, 1 to 21, by the relative luminance of the Web Content Accessibility
/// Guidelines 2.1.
double ContrastRatio(XColor one, XColor other);

/// The colour at `part` of a fill's height, 0 at the top and 1 at the bottom.
XColor ColorAt(const XFill& fill, double part);
