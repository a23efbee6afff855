// The only entries that a host's loader uses. Nothing else of the module is visible, and no exception leaves
// it.

#include "activex/ActiveXApp.h"
#include "activex/Registration.h"

#define WATCHWALL_EXPORT extern "C" __attribute__((visibility("default")))

WATCHWALL_EXPORT HRESULT DllCanUnloadNow()
{
    return CanUnloadNow();
}

WATCHWALL_EXPORT HRESULT DllGetClassObject(const UUID& classId, const UUID& iid, void** factory)
{
    return GetClassObject(classId, iid, factory);
}

WATCHWALL_EXPORT HRESULT DllRegisterServer()
{
    return CallStarted("DllRegisterServer", RegisterServer);
}

WATCHWALL_EXPORT HRESULT DllUnregisterServer()
{
    return CallStarted("DllUnregisterServer", UnregisterServer);
}
