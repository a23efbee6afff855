#pragma once

#include <string>

/// The primary display adapter's identifier in the PCI hardware form,
/// "PCI\VEN_1002&DEV_9616&SUBSYS_...&REV_00", from the machine's DRM devices. Without such a device (virtual
/// machine, virtual frame buffer) the vendor is 0000.
std::string GetPrimaryDisplayAdapterId();

/// The same from another folder of the form of "/sys/class/drm", a path of this machine. The primary adapter is
/// the one that the firmware started with ("boot_vga"), else the PCI device with the lowest number.
std::string GetDisplayAdapterId(const std::string& drmFolder);
