#pragma once

#include <cstdint>
#include <string>

#include "model/archive/NamedValue.h"
#include "model/archive/OwnedList.h"

// What the two layout files hold. Plain values; a record owns what is in its lists. Fields bear the files'
// names. NOLINTBEGIN(readability-identifier-naming)

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

/// The geometry of the main panel: the element `m_XMainWnd` of "config\main_layout_800x600.xml".
struct XMainWnd {
    COwnedList<XWnd> list_wnd;

    template <class Archive>
    void Serialize(Archive& archive)
    {
        archive& Named("list_wnd", list_wnd);
    }
};

/// One arrangement of the grid.
struct XSubRender {
    COwnedList<XRect> list_rect;  // one for each cell of a page: left, top, right, bottom within the grid

    template <class Archive>
    void Serialize(Archive& archive)
    {
        archive& Named("list_rect", list_rect);
    }
};

/// The grid and its arrangements: the element `m_XRenderWnd` of "config\render_layout_800x600.xml".
struct XRenderWnd {
    XRect rect;                // the grid's place in the panel: left, top, right, bottom
    std::int32_t xfactor = 0;  // scale in thousandths, used by display modes 1 and 3
    std::int32_t yfactor = 0;  // the same for mode 2
    COwnedList<XSubRender> list_subrender;
    std::int32_t default_layout = 0;  // index of the arrangement to use first
    COwnedList<XWnd> list_wnd;        // entries of the layout menu, in the order of their commands

    template <class Archive>
    void Serialize(Archive& archive)
    {
        archive& Named("rect", rect) & Named("xfactor", xfactor) & Named("yfactor", yfactor) &
            Named("list_subrender", list_subrender) & Named("default_layout", default_layout) &
            Named("list_wnd", list_wnd);
    }
};
// NOLINTEND(readability-identifier-naming)
