// The control's module behind one that says on standard error when the process comes to its exit handlers. With
// ENDS_WHILE_LOADING in the environment it ends the process as the toolkit does whose display goes.

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>

#include "inc/host/Component.h"

#define EXPORT extern "C" __attribute__((visibility("default")))

namespace
{

template <typename TEntry>
TEntry Real(const char* name)
{
    static void* const module = ::dlopen(WATCHWALL_MODULE, RTLD_NOW | RTLD_LOCAL);
    return module != nullptr ? reinterpret_cast<TEntry>(::dlsym(module, name)) : nullptr;
}

}  // namespace

EXPORT HRESULT DllGetClassObject(const UUID& classId, const UUID& iid, void** factory)
{
    if (std::getenv("ENDS_WHILE_LOADING") != nullptr) std::exit(1);
    const auto real = Real<DLLGETCLASSOBJECT>("DllGetClassObject");
    if (real == nullptr) return E_FAIL;
    std::atexit([] { std::fputs("the module is taken down\n", stderr); });
    return real(classId, iid, factory);
}

EXPORT HRESULT DllRegisterServer()
{
    const auto real = Real<DLLREGISTERSERVER>("DllRegisterServer");
    return real != nullptr ? real() : E_FAIL;
}
