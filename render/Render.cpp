#include "render/Render.h"

#include <mutex>
#include <utility>

#include "render/RenderSelect.h"

std::int32_t CRender::Init(HWND window)
{
    m_hWnd = window;
    return 1;
}

std::int32_t CRender::Uninit()
{
    return 1;
}

namespace
{

// Link threads ask for the renderer while the panels' thread may be letting go of it.
struct XRenderSingleton {
    std::mutex m_cs;
    std::shared_ptr<CRender> m_pRender;  // guarded by m_cs
    CRenderFactory m_Factory;            // guarded by m_cs
};

XRenderSingleton& Singleton()
{
    // Never destroyed: link threads draw until the process ends.
    static auto& singleton = *new XRenderSingleton;
    return singleton;
}

}  // namespace

std::shared_ptr<CRender> CreateRender()
{
    auto& singleton = Singleton();
    const std::lock_guard lock(singleton.m_cs);
    if (!singleton.m_pRender)
        singleton.m_pRender = singleton.m_Factory ? singleton.m_Factory() : SelectRender();
    return singleton.m_pRender;
}

void ReleaseRender()
{
    auto& singleton = Singleton();
    std::shared_ptr<CRender> last;  // destroyed behind the lock
    const std::lock_guard lock(singleton.m_cs);
    last = std::move(singleton.m_pRender);
}

CRenderFactory SetRenderFactory(CRenderFactory factory)
{
    auto& singleton = Singleton();
    const std::lock_guard lock(singleton.m_cs);
    return std::exchange(singleton.m_Factory, std::move(factory));
}
