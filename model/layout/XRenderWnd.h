#pragma once

#include <cstdint>

#include "model/archive/NamedValue.h"
#include "model/archive/OwnedList.h"
#include "model/layout/XRect.h"
#include "model/layout/XSubRender.h"
#include "model/layout/XWnd.h"

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
