#include "platform/qt/X11Sync.h"

#include <X11/Xlib.h>

void SyncX11(void* display)
{
    XSync(static_cast<Display*>(display), False);
}
