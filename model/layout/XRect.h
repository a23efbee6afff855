#pragma once

#include <cstdint>

#include "model/archive/NamedValue.h"

/// A rectangle of a layout, in pixels. In the `rect` of an XWnd `right` is a width and `bottom` a height,
/// whatever their names say: that is the files' established meaning.
struct XRect {
    std::int32_t left = 0;
    std::int32_t top = 0;
    std::int32_t right = 0;
    std::int32_t bottom = 0;

    template <class Archive>
    void Serialize(Archive& archive)
    {
        archive& Named("left", left) & Named("top", top) & Named("right", right) & Named("bottom", bottom);
    }
    friend bool operator==(const XRect&, const XRect&) = default;
};
