#include "platform/qt/X11Sync.h"

#include <X11/Xlib.h>

#include <algorithm>

void SyncX11(void* display)
{
    XSync(static_cast<Display*>(display), False);
}

bool IsChildInX11(void* display, std::uintptr_t parent, std::uintptr_t child)
{
    Window root = 0;
    Window grandParent = 0;
    Window* children = nullptr;
    unsigned count = 0;
    if (XQueryTree(static_cast<Display*>(display), parent, &root, &grandParent, &children, &count) == 0)
        return false;
    const bool found = std::find(children, children + count, child) != children + count;
    if (children != nullptr) XFree(children);
    return found;
}
