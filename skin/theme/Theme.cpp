#include "skin/theme/Theme.h"

#include <algorithm>
#include <cmath>

const Element* CTheme::FindElement(std::string_view name) const
{
    const auto it = std::find_if(m_Elements.begin(), m_Elements.end(),
                                 [name](const Element& element) { return element.name == name; });
    return it == m_Elements.end() ? nullptr : &*it;
}

const Icon* CTheme::FindIcon(std::string_view name) const
{
    const auto it =
        std::find_if(m_Icons.begin(), m_Icons.end(), [name](const Icon& icon) { return icon.name == name; });
    return it == m_Icons.end() ? nullptr : &*it;
}

const std::vector<std::string_view>& RequiredElements()
{
    static const std::vector<std::string_view> names = {
        // windows
        "DialogMain", "DialogRender", "Menu", "ToolTip",
        // controls that a panel names when it attaches the skin
        "ButtonTop", "ButtonBottom", "ButtonLeft", "ButtonRight", "ButtonTopLeft", "ButtonTopRight",
        "ButtonBottomLeft", "ButtonBottomRight", "ButtonScan", "ButtonFocusIn", "ButtonFocusOut",
        "ButtonZoomIn", "ButtonZoomOut", "ButtonZoomText", "ButtonStatic", "ButtonText", "ButtonLayout",
        "ButtonConfig", "Slider",
        // controls that take their look from what they are
        "Button", "CheckBox", "Edit", "Combo", "ScrollBar", "Tree", "Calendar"};
    return names;
}

Color Blend(Color over, Color under)
{
    const auto mix = [&over](int top, int bottom) {
        return static_cast<std::uint8_t>((top * over.a + bottom * (255 - over.a) + 127) / 255);
    };
    return {mix(over.r, under.r), mix(over.g, under.g), mix(over.b, under.b), under.a};
}

namespace
{
double Luminance(Color color)
{
    const auto linear = [](std::uint8_t value) {
        const double part = value / 255.0;
        return part <= 0.03928 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.r) + 0.7152 * linear(color.g) + 0.0722 * linear(color.b);
}
}  // namespace

double ContrastRatio(Color one, Color other)
{
    const double first = Luminance(one);
    const double second = Luminance(other);
    return (std::max(first, second) + 0.05) / (std::min(first, second) + 0.05);
}

Color ColorAt(const Fill& fill, double part)
{
    const auto mix = [part](int top, int bottom) {
        return static_cast<std::uint8_t>(std::lround(top + (bottom - top) * part));
    };
    return {mix(fill.top.r, fill.bottom.r), mix(fill.top.g, fill.bottom.g), mix(fill.top.b, fill.bottom.b),
            mix(fill.top.a, fill.bottom.a)};
}
