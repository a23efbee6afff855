#pragma once

#include "model/archive/NamedValue.h"
#include "model/archive/OwnedList.h"
#include "model/layout/XRect.h"

/// One arrangement of the grid.
struct XSubRender {
    COwnedList<XRect> list_rect;  // one for each cell of a page: left, top, right, bottom within the grid

    template <class Archive>
    void Serialize(Archive& archive)
    {
        archive& Named("list_rect", list_rect);
    }
};
