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
struct RenderSingleton {
    std::mutex lock;
    std::shared_ptr<CRender> render;  // guarded by lock
    CRenderFactory factory;           // guarded by lock
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
    const std::lock_guard lock(singleton.lock);
    if (!singleton.render) singleton.render = singleton.factory ? singleton.factory() : SelectRender();
    return singleton.render;
}

void ReleaseRender()
{
    auto& singleton = Singleton();
    std::shared_ptr<CRender> last;  // destroyed behind the lock
    const std::lock_guard lock(singleton.lock);
    last = std::move(singleton.render);
}

CRenderFactory SetRenderFactory(CRenderFactory factory)
{
    auto& singleton = Singleton();
    const std::lock_guard lock(singleton.lock);
    return std::exchange(singleton.factory, std::move(factory));
}
