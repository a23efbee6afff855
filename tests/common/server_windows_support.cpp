#include "tests/common/server_windows_support.h"

#include <X11/Xlib.h>

CServerWindows::CServerWindows() : m_pDisplay(XOpenDisplay(nullptr)) {}

CServerWindows::~CServerWindows()
{
    if (m_pDisplay != nullptr) XCloseDisplay(static_cast<Display*>(m_pDisplay));
}

void CServerWindows::Move(std::uintptr_t window, const Geometry& place) const
{
    auto* const display = static_cast<Display*>(m_pDisplay);
    XMoveResizeWindow(display, window, place.x, place.y, static_cast<unsigned>(place.width),
                      static_cast<unsigned>(place.height));
    XSync(display, False);
}

Geometry CServerWindows::Get(std::uintptr_t window) const
{
    Window root = 0;
    Geometry place;
    unsigned width = 0;
    unsigned height = 0;
    unsigned border = 0;
    unsigned depth = 0;
    XGetGeometry(static_cast<Display*>(m_pDisplay), window, &root, &place.x, &place.y, &width, &height, &border,
                 &depth);
    place.width = static_cast<int>(width);
    place.height = static_cast<int>(height);
    return place;
}
