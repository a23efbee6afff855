#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

#include <cstdlib>
#include <thread>

#include "render/D3DSurfaceRender.h"
#include "render/device/MemorySurfaceDevice.h"
#include "tests/render/render_support.h"

namespace
{

constexpr HWND WINDOW{1};
constexpr int DRAWN_NO_MORE = 7;
constexpr int STILL_DRAWN = 1;
constexpr int LOOKS = 2000;  // each lets others run, and many frames fit in

CMemorySurfaceAdapter* g_pAdapter = nullptr;

// In the place of a driver that takes down what drawing needs.
void EndDriver()
{
    const std::uint32_t presented = g_pAdapter->GetCallCount(EDeviceStep::Present);
    for (int i = 0; i < LOOKS; ++i) {
        if (g_pAdapter->GetCallCount(EDeviceStep::Present) != presented) ::_exit(STILL_DRAWN);
        sched_yield();
    }
    ::_exit(DRAWN_NO_MORE);
}

enum class EDriverSetUp { WithTheDevice, WithTheFirstFrame, NoFrameYet, WithTheNextDevicesFirstFrame };

void EndWhileALinkDraws(EDriverSetUp setUp)
{
    const auto adapter = std::make_shared<CMemorySurfaceAdapter>();
    g_pAdapter = adapter.get();
    auto* const render = new CD3DSurfaceRender([adapter, setUp] {
        if (setUp == EDriverSetUp::WithTheDevice || setUp == EDriverSetUp::NoFrameYet) std::atexit(EndDriver);
        return adapter;
    });
    adapter->SetFault(EDeviceStep::Present, setUp == EDriverSetUp::NoFrameYet);
    if (render->Init(HWND::Null) == 0) ::_exit(STILL_DRAWN);
    if (setUp == EDriverSetUp::WithTheFirstFrame) std::atexit(EndDriver);
    CSurface* const surface = render->CreateSurface(16, 16);
    const CTestFrame frame(16, 16, 100);
    if (setUp == EDriverSetUp::WithTheNextDevicesFirstFrame) {
        render->DisplayClient(&frame.m_Frame, surface, WINDOW);
        adapter->SetState(EDeviceState::NotReset);
        render->DisplayClient(&frame.m_Frame, surface, WINDOW);  // makes it
        std::atexit(EndDriver);
    }
    const std::uint32_t before = adapter->GetCallCount(EDeviceStep::Present);
    std::thread link([&] {
        for (;;)
            render->DisplayClient(&frame.m_Frame, surface, WINDOW);
    });
    constexpr std::uint32_t FRAMES = 3;  // what a frame does after its presentation is done then
    while (adapter->GetCallCount(EDeviceStep::Present) < before + FRAMES)
        sched_yield();
    std::exit(0);
}

class DrawingEndTest : public testing::TestWithParam<EDriverSetUp>
{
};

TEST_P(DrawingEndTest, NoFrameIsDrawnOnceTheDriverGoesWithTheProcess)
{
    EXPECT_EXIT(EndWhileALinkDraws(GetParam()), testing::ExitedWithCode(DRAWN_NO_MORE), "");
}

INSTANTIATE_TEST_SUITE_P(Driver, DrawingEndTest,
                         testing::Values(EDriverSetUp::WithTheDevice, EDriverSetUp::WithTheFirstFrame,
                                         EDriverSetUp::NoFrameYet, EDriverSetUp::WithTheNextDevicesFirstFrame));

}  // namespace
