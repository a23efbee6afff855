#include "render/Render.h"

#include <utility>

#include "inc/Mutex.h"
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
struct RenderSingleton {
    CMutex lock;
    std::shared_ptr<CRender> render GUARDED_BY(lock);
    CRenderFactory factory GUARDED_BY(lock);
};

RenderSingleton& Singleton()
{
    // Never destroyed: link threads draw until the process ends.
    static auto& singleton = *new RenderSingleton;
    return singleton;
}

}  // namespace

std::shared_ptr<CRender> CreateRender()
{
    auto& singleton = Singleton();
    const CMutexLock lock(singleton.lock);
    if (!singleton.render) singleton.render = singleton.factory ? singleton.factory() : SelectRender();
    return singleton.render;
}

void ReleaseRender()
{
    auto& singleton = Singleton();
    std::shared_ptr<CRender> last;  // destroyed outside the lock
    const CMutexLock lock(singleton.lock);
    last = std::move(singleton.render);
}

CRenderFactory SetRenderFactory(CRenderFactory factory)
{
    auto& singleton = Singleton();
    const CMutexLock lock(singleton.lock);
    return std::exchange(singleton.factory, std::move(factory));
}
