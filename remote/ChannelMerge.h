#pragma once

#include <cstdint>
#include <string>

#include "model/tree/Devices.h"

class CDevice;

/// Adds a channel to a station's devices: the device with these two numbers if there is one, else a new CDevice
/// from the registered factory, named by the text of "IDS_Camera" and its place, at the end. Either way the
/// device becomes visible and takes the address, the next running number and the capabilities of the word.
/// Returns the device, which the folder owns. No caller at present; panels' thread only.
CDevice* MergeChannel(CDevices& devices, std::int32_t netId, std::int32_t devId, const std::string& address,
                      std::uint32_t capabilities);
