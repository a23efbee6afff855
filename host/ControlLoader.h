#pragma once

#include <QString>

#include "inc/host/ControlWindow.h"

/// Finds the control through its registration, loads its module and creates it through its class factory. A
/// control that isn't registered, whose registered module is gone, or that is registered with another module
/// than the program's own is registered first: the module `module`, or activex.ocx beside the program or in
/// "../lib/watchwall" from there. The module stays loaded to process end. On failure the result is empty
/// and `message` tells what is wrong and what to do.
CComPtr<IControlWindow> LoadControl(const QString& module, QString& message);
