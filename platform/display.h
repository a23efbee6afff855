#pragma once

#include <string>

/// The primary display adapter's identifier in the PCI hardware form,
/// "PCI\VEN_1002&DEV_9616&SUBSYS_...&REV_00", from the machine's DRM devices. Without such a device (virtual
/// machine, virtual frame buffer) the vendor is 0000.
std::string GetPrimaryDisplayAdapterId();
