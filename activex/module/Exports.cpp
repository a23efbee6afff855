// The only entries that a host's loader uses. Nothing else of the module is visible, and no exception leaves
// it.

#include <exception>

#include "activex/ActiveXApp.h"
#include "activex/Registration.h"
#include "inc/LogLine.h"
#include "platform/os/module_count.h"

#define WATCHWALL_EXPORT extern "C" __attribute__((visibility("default")))

namespace
{

// Module start comes first, as it would at loading: without its skin the module answers nothing. What the call
// alone has started ends with it.
template <typename WORK>
HRESULT Guarded(const char* name, WORK work)
{
    try {
        const CModuleLock lock;
        return GetApp().EnsureStarted() ? work() : E_FAIL;
    } catch (const std::exception& fault) {
        LogFault(name, fault.what());
        return E_FAIL;
    }
}

}  // namespace

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
    return Guarded("DllRegisterServer", RegisterServer);
}

WATCHWALL_EXPORT HRESULT DllUnregisterServer()
{
    return Guarded("DllUnregisterServer", UnregisterServer);
}
