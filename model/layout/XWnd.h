#pragma once

#include <cstdint>
#include <string>

#include "model/archive/NamedValue.h"
#include "model/layout/XRect.h"

/// A child window of the main panel, or an entry of the layout menu.
struct XWnd {
    XRect rect;                    // x, y, width, height, in this order
    std::int32_t resource_id = 0;  // index of the button slot; plus 6000, the button's command
    std::string skin_id;           // the skin's class name, which also selects what this record is
    std::string tool_tip;          // a language key

    template <class Archive>
    void Serialize(Archive& archive)
    {
        archive& Named("rect", rect) & Named("resource_id", resource_id) & Named("skin_id", skin_id) &
            Named("tool_tip", tool_tip);
    }
};
