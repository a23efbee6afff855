#include "tests/common/server_windows_support.h"

#include <X11/Xlib.h>

#include "platform/qt/X11Sync.h"

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

void CServerWindows::PutOnScreen(std::uintptr_t window) const
{
    auto* const display = static_cast<Display*>(m_pDisplay);
    const auto before = XSetErrorHandler([](Display*, XErrorEvent*) { return 0; });
    XReparentWindow(display, window, DefaultRootWindow(display), 0, 0);
    XSync(display, False);
    XSetErrorHandler(before);
}

bool CServerWindows::IsWithin(std::uintptr_t parent, std::uintptr_t child) const
{
    return IsChildInX11(m_pDisplay, parent, child);
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
