#include "activex/ActiveXApp.h"

#include <dlfcn.h>

#include <exception>

#include "activex/ActiveXCtrl.h"
#include "inc/LogLine.h"
#include "platform/component/counted_objects.h"
#include "platform/os/module_count.h"
#include "platform/os/module_place.h"
#include "platform/os/paths.h"
#include "platform/qt/PanelsThread.h"
#include "remote/RemoteClasses.h"
#include "skin/Skin.h"

namespace
{

const char MODULE_MARK = 0;  // its address stands for the module

// The file that the module was loaded from; null when the loader doesn't tell.
const char* LoadedFile()
{
    Dl_info info{};
    return dladdr(&MODULE_MARK, &info) != 0 ? info.dli_fname : nullptr;
}

}  // namespace

SkinCalls DefaultSkinCalls()
{
    return {StartSkin, LoadSkin, StopSkin};
}

CActiveXApp::CActiveXApp(SkinCalls skin) : m_Skin(std::move(skin)) {}

bool CActiveXApp::InitInstance()
{
    ASSERT_PANELS_THREAD();
    RegisterRemoteClasses();  // the model's own classes register with the archives
    m_iSkinStarted = 0;
    if (m_Skin.start(&MODULE_MARK, 0, 0) == 0) return false;
    m_iSkinStarted = 1;
    return m_Skin.load(GetModuleDirectory() + "config\\skin.smf") != 0;
}

std::int32_t CActiveXApp::ExitInstance()
{
    ASSERT_PANELS_THREAD();
    if (m_iSkinStarted != 0) m_Skin.stop();
    m_iSkinStarted = 0;
    m_bStarted = false;
    return 0;
}

bool CActiveXApp::EnsureStarted()
{
    ASSERT_PANELS_THREAD();
    if (m_bStarted) return true;
    if (m_iSkinStarted != 0) ExitInstance();  // an earlier start that failed in part
    m_bStarted = InitInstance();
    return m_bStarted;
}

std::string GetLoadedModulePath()
{
    const char* const file = LoadedFile();
    if (file == nullptr) return GetModuleFileNameA();
    return SystemPath(AbsoluteLoadedPath(file));
}

CActiveXApp& GetApp()
{
    // Never destroyed: a host may end by exit() while a control stands, when the toolkit can't be called any
    // more.
    static auto& app = *[] {
        SetModuleIdleHandler([] { GetApp().ExitInstance(); });
        return new CActiveXApp;
    }();
    return app;
}

HRESULT CallStarted(const char* name, const std::function<HRESULT()>& work)
{
    try {
        const CModuleLock lock;
        return GetApp().EnsureStarted() ? work() : E_FAIL;
    } catch (const std::exception& fault) {
        LogFault(name, fault.what());
        return E_FAIL;
    }
}

HRESULT GetClassObject(const UUID& classId, const UUID& iid, void** factory)
{
    if (factory == nullptr) return E_POINTER;
    *factory = nullptr;
    if (classId != CLSID_ActiveXCtrl) return CLASS_E_CLASSNOTAVAILABLE;
    return CallStarted("DllGetClassObject", [&] {
        auto* const made = new CActiveXCtrl::CActiveXCtrlFactory;
        const HRESULT result = made->QueryInterface(iid, factory);
        made->Release();
        return result;
    });
}

HRESULT CanUnloadNow()
{
    return CanUnloadComponentModule() ? S_OK : S_FALSE;
}

void KeepModuleMapped()
{
    // The handle is not given back. A program that has the control linked into it is no module, and the loader
    // refuses: nothing can unload it either.
    if (const char* const file = LoadedFile()) dlopen(file, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE);
}
