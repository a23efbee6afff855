#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "inc/host/Component.h"

/// What the module starts and stops of the skin library; a test puts its own in.
struct SkinCalls {
    std::function<std::int32_t(const void* module, std::intptr_t, std::intptr_t)> start;
    std::function<std::int32_t(const std::string& path)> load;
    std::function<void()> stop;
};

/// The skin library's own calls.
SkinCalls DefaultSkinCalls();

/// The module object, one a process: starts the skin with the module's first object or lock and stops it when
/// the last one has gone. Panels' thread only.
class CActiveXApp
{
  public:
    explicit CActiveXApp(SkinCalls skin = DefaultSkinCalls());
    CActiveXApp(const CActiveXApp&) = delete;
    CActiveXApp& operator=(const CActiveXApp&) = delete;

    /// Starts the skin library and loads "config\skin.smf" of the module's directory. A failure of either keeps
    /// the module from starting: no control can be created then.
    bool InitInstance();
    /// Stops the skin library if InitInstance got as far as starting it.
    std::int32_t ExitInstance();

    /// InitInstance on the first call, its result on the others; a failed start is tried again.
    bool EnsureStarted();
    bool IsSkinStarted() const { return m_iSkinStarted != 0; }

  private:
    SkinCalls m_Skin;
    std::int32_t m_iSkinStarted = 0;
    bool m_bStarted = false;
};

/// The module object of this module; it is never destroyed.
CActiveXApp& GetApp();

/// Runs an entry's work once the module has started, as it would at loading: without its skin it answers E_FAIL
/// to everything, and so does work that throws. What the call alone has started ends with it.
HRESULT CallStarted(const char* name, const std::function<HRESULT()>& work);

/// What the exports answer with. Nothing of them throws.
HRESULT GetClassObject(const UUID& classId, const UUID& iid, void** factory);
/// S_OK when no object, no lock and no thread is left.
HRESULT CanUnloadNow();
/// For the first control window: the toolkit and the panels' thread keep addresses inside the module from then
/// on. A host that unloads the module all the same and loads it again finds it as it was.
void KeepModuleMapped();

/// The file that this code was loaded from, in the system's form: what is registered, wherever the module's
/// directory points.
std::string GetLoadedModulePath();
