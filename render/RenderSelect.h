#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "render/Render.h"

/// Values of "Render" in section "System" of "config\system.ini".
enum class ERenderMode : std::int32_t {
    Automatic = 0,
    D3DSurface = 1,
    DDOffscreen = 2,
    DDOverlay = 3,
};

/// The mode for the adapter with this PCI hardware identifier ("PCI\\VEN_1002&DEV_4C57..."): D3DSurface, or
/// DDOffscreen for the adapters on which that path is not taken; Automatic for an empty identifier, which means
/// that there is no renderer. Hexadecimal digits may be of either case, and anything may follow them.
ERenderMode DetectRenderMode(const std::string& adapterId);

/// The renderer by "Render" of section "System" in "config\system.ini" and, when that is 0 or missing, by the
/// primary display adapter. Null when the value names none, there is no adapter, or the library was built
/// without what the renderer draws with. Its Init is the caller's business.
std::unique_ptr<CRender> SelectRender();
