#include "render/RenderSelect.h"

#include <cstdio>

#include "inc/LogLine.h"
#include "model/settings/SystemSettings.h"
#include "platform/os/display.h"
#include "render/D3DSurfaceRender.h"
#include "render/device/EglSurfaceDevice.h"

namespace
{

struct Adapter {
    unsigned vendor;
    unsigned device;
};

// Adapters whose surfaces can't be stretched reliably; ended by a zero vendor.
constexpr Adapter RenderBlacklist[] = {
    {0x1039, 0x6300}, {0x1039, 0x6330}, {0x1023, 0x8500}, {0x1002, 0x4C57},
    {0x10DE, 0x002D}, {0x10DE, 0x0622}, {0, 0},
};

constexpr std::size_t VENDOR_AT = 8;   // after "PCI\VEN_"
constexpr std::size_t DEVICE_AT = 17;  // after "&DEV_"
constexpr std::size_t DIGITS = 4;

unsigned HexadecimalAt(const std::string& text, std::size_t at)
{
    unsigned value = 0;
    if (at < text.size()) std::sscanf(text.substr(at, DIGITS).c_str(), "%x", &value);
    return value;
}

std::unique_ptr<CRender> MakeRender(ERenderMode mode)
{
    switch (mode) {
#ifndef WATCHWALL_WITHOUT_EGL  // see CMakeLists.txt
        case ERenderMode::D3DSurface:
            return std::make_unique<CD3DSurfaceRender>(OpenEglSurfaceAdapter);
#endif
        default:
            return nullptr;
    }
}

}  // namespace

ERenderMode DetectRenderMode(const std::string& adapterId)
{
    if (adapterId.empty()) return ERenderMode::Automatic;
    const unsigned vendor = HexadecimalAt(adapterId, VENDOR_AT);
    const unsigned device = HexadecimalAt(adapterId, DEVICE_AT);
    for (const Adapter* listed = RenderBlacklist; listed->vendor != 0; ++listed) {
        if (listed->vendor == vendor && listed->device == device) return ERenderMode::DDOffscreen;
    }
    return ERenderMode::D3DSurface;
}

std::unique_ptr<CRender> SelectRender()
{
    auto mode = static_cast<ERenderMode>(ReadSettingNumber(ESetting::Render));
    if (mode == ERenderMode::Automatic) mode = DetectRenderMode(GetPrimaryDisplayAdapterId());
    auto render = MakeRender(mode);
    const std::string fault = mode == ERenderMode::Automatic
                                  ? "there is no renderer: no display adapter was found"
                                  : "there is no renderer " + std::to_string(static_cast<std::int32_t>(mode)) +
                                        " (key \"Render\" or the adapter chose it)";
    // Each stream that opens asks again.
    if (render == nullptr && IsNews(fault)) LogFault("CreateRender", fault);
    return render;
}
