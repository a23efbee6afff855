#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "render/D3DSurfaceRender.h"
#include "render/MemorySurfaceDevice.h"
#include "tests/render/render_support.h"

namespace
{

// Sixteen streams draw while the device is lost and rebuilt again and again and surfaces come and go.
TEST(D3DSurfaceThreadsTest, StreamsSurviveRebuildings)
{
    constexpr int STREAMS = 16;
    constexpr int FRAMES = 60;
    CRecordingBackend backend;
    const auto adapter = std::make_shared<CMemorySurfaceAdapter>();
    CD3DSurfaceRender render([adapter] { return adapter; });
    ASSERT_NE(render.Init(HWND{1000}), 0);

    std::atomic<bool> done{false};
    std::thread breaker([&] {
        while (!done) {
            adapter->SetState(DEVICE_STATE::Lost);
            std::this_thread::yield();
            adapter->SetState(DEVICE_STATE::NotReset);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    std::vector<std::thread> streams;
    for (int stream = 0; stream < STREAMS; ++stream) {
        streams.emplace_back([&render, stream] {
            const CTestFrame frame(176, 144, static_cast<std::uint8_t>(40 + stream));
            for (int round = 0; round < 4; ++round) {
                CSurface* const surface = render.CreateSurface(176, 144);
                for (int i = 0; i < FRAMES; ++i)
                    render.DisplayClient(&frame.m_Frame, surface, HWND{1 + stream});
                render.DestroySurface(surface);
            }
        });
    }
    for (auto& stream : streams)
        stream.join();
    done = true;
    breaker.join();

    adapter->SetState(DEVICE_STATE::NotReset);
    CSurface* const surface = render.CreateSurface(176, 144);
    const CTestFrame frame(176, 144, 77);
    render.DisplayClient(&frame.m_Frame, surface, HWND{1});
    EXPECT_EQ(render.DisplayClient(&frame.m_Frame, surface, HWND{1}), 0);
    EXPECT_EQ(adapter->GetPicture(HWND{1}).pixels.at(0), GreyPixel(77) & 0xFF);
}

}  // namespace
