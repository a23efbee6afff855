#include "activex/Registration.h"

#include "activex/ActiveXApp.h"
#include "activex/ActiveXCtrl.h"
#include "platform/component/component_registry.h"
#include "platform/os/paths.h"

namespace
{

const Category CATEGORIES[] = {
    {CATID_SafeForInitializing, "Controls safely initializable from persistent data!"},
    {CATID_SafeForScripting, "Controls safely scriptable!"},
};

}  // namespace

HRESULT RegisterServer()
{
    IComponentRegistry& registry = ComponentRegistry();
    TypeLibrary library;
    library.id = LIBID_ActiveXLib;
    library.name = "ActiveXLib";
    library.version = "1.0";
    library.helpFile = "ActiveX.hlp";
    library.path = GetLoadedModulePath();
    library.controlName = "ActiveX Control";
    library.interfaces = {
        {DIID_DActiveX, "_DActiveX", "Dispatch interface for ActiveX Control", {}},
        {DIID_DActiveXEvents, "_DActiveXEvents", "Event interface for ActiveX Control", {}},
    };
    if (FAILED(registry.RegisterTypeLibrary(library))) return SELFREG_E_TYPELIB;
    if (!CActiveXCtrl::CActiveXCtrlFactory::UpdateRegistry(true)) return SELFREG_E_CLASS;
    for (const Category& category : CATEGORIES) {
        HRESULT result = registry.RegisterCategories(1, &category);
        if (SUCCEEDED(result))
            result = registry.RegisterClassImplCategories(CLSID_ActiveXCtrl, 1, &category.id);
        if (FAILED(result)) return result;
    }
    return S_OK;
}

HRESULT UnregisterServer()
{
    IComponentRegistry& registry = ComponentRegistry();
    if (FAILED(registry.UnregisterTypeLibrary(LIBID_ActiveXLib))) return SELFREG_E_TYPELIB;
    if (!CActiveXCtrl::CActiveXCtrlFactory::UpdateRegistry(false)) return SELFREG_E_CLASS;
    for (const Category& category : CATEGORIES) {
        const HRESULT result = registry.UnRegisterClassImplCategories(CLSID_ActiveXCtrl, 1, &category.id);
        if (FAILED(result)) return result;
    }
    return S_OK;
}
