#pragma once

#include "model/archive/NamedValue.h"
#include "model/archive/OwnedList.h"
#include "model/layout/XWnd.h"

/// The geometry of the main panel: the element `m_XMainWnd` of "config\main_layout_800x600.xml".
struct XMainWnd {
    COwnedList<XWnd> list_wnd;

    template <class Archive>
    void Serialize(Archive& archive)
    {
        archive& Named("list_wnd", list_wnd);
    }
};
