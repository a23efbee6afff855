#pragma once

#include "model/tree/Folder.h"

/// The folder that holds a station's devices.
class CDevices : public CFolder
{
};
