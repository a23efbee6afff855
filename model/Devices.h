#pragma once

#include "model/Folder.h"

/// The folder that holds a station's devices.
class CDevices : public CFolder
{
};
