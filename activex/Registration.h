#pragma once

#include "inc/host/Component.h"

/// Registers, in this order: the type library (failure: SELFREG_E_TYPELIB), the classes of all factories
/// (SELFREG_E_CLASS), and for each of the two safety categories the category and the class in it (failure: the
/// category call's code). Stops at the first failure.
HRESULT RegisterServer();

/// Takes out the same, in the same order and with the same codes; the categories themselves stay.
HRESULT UnregisterServer();
