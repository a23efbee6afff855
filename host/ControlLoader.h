#pragma once

#include <QString>

#include "inc/host/ControlWindow.h"

/// Loads the module `module`, or without a name the program's own (activex.ocx beside the program or in
/// "../lib/watchwall" from there), or without an own one the registered one, and creates the control through
/// its class factory. When nothing is registered, or a module that is gone, the module is registered first;
/// what another install has registered stays. The module stays loaded to process end. On failure the result is
/// empty and `message` tells what is wrong and what to do; with a control it tells why that could not be
/// registered, or nothing.
CComPtr<IControlWindow> LoadControl(const QString& module, QString& message);

/// Registers the module `module`, or without a name the program's own, whatever was registered before.
/// `message` tells what was done or what is wrong.
bool RegisterControl(const QString& module, QString& message);

/// Takes the registration out, whichever module it names, by way of that module, or of `module`, or when it is
/// gone of the program's own. `message` as above; when nothing is registered that is no failure.
bool UnregisterControl(const QString& module, QString& message);
