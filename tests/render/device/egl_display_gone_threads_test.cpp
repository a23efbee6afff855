// The X server is killed while link threads draw.

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <memory>

#include "render/D3DSurfaceRender.h"
#include "render/device/EglSurfaceDevice.h"
#include "tests/render/device/egl_driver_support.h"
#include "tests/render/x_windows_support.h"
#include "tests/support/test_variable.h"
#include "tests/support/x_server.h"

namespace
{

constexpr std::int32_t WIDTH = 352;
constexpr std::int32_t HEIGHT = 288;
constexpr int STREAMS = 8;
constexpr int FRAMES = 100;

// Shared with the threads, one of which might never end.
struct Wall {
    std::atomic<bool> stop{false};
    std::array<std::atomic<int>, STREAMS> frames{};
    CD3DSurfaceRender render{OpenEglSurfaceAdapter};
};

// Whether each stream has come through that many frames more; false when one has not after a minute.
bool EachRuns(Wall& wall, int frames)
{
    std::array<int, STREAMS> goal{};
    for (int i = 0; i < STREAMS; ++i)
        goal[static_cast<std::size_t>(i)] = wall.frames[static_cast<std::size_t>(i)] + frames;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    for (int i = 0; i < STREAMS; ++i) {
        while (wall.frames[static_cast<std::size_t>(i)] < goal[static_cast<std::size_t>(i)]) {
            if (std::chrono::steady_clock::now() > deadline) return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
    return true;
}

// A write to the server that has gone raises no signal in link threads, nor in the container.
class EglDisplayGoneTest : public testing::Test
{
  protected:
    EglDisplayGoneTest() : m_Former(std::signal(SIGPIPE, SIG_IGN)) {}
    ~EglDisplayGoneTest() override { std::signal(SIGPIPE, m_Former); }
    EglDisplayGoneTest(const EglDisplayGoneTest&) = delete;
    EglDisplayGoneTest& operator=(const EglDisplayGoneTest&) = delete;

  private:
    void (*m_Former)(int);
};

TEST_F(EglDisplayGoneTest, EveryFrameEndsAndTheRestIsDropped)
{
    CXServer server;
    const CTestVariable display("DISPLAY", server.Name().c_str());
    const CTestVariable software("LIBGL_ALWAYS_SOFTWARE", "1");
    static auto* const windows = new CXWindows;  // kept: closing its connection would ask the server
    ASSERT_NE(windows->m_pDisplay, nullptr);
    auto wall = std::make_shared<Wall>();
    ASSERT_NE(wall->render.Init(HWND{1000}), 0);
    std::vector<std::thread> streams;
    for (int i = 0; i < STREAMS; ++i) {
        streams.emplace_back([wall, i, window = windows->Create(i * 100, 90, 90)] {
            const CTestFrame frame(WIDTH, HEIGHT, 120);
            CSurface* const surface = wall->render.CreateSurface(WIDTH, HEIGHT);
            while (!wall->stop) {
                EXPECT_EQ(wall->render.DisplayClient(&frame.m_Frame, surface, window), 0);
                ++wall->frames[static_cast<std::size_t>(i)];
            }
            wall->render.DestroySurface(surface);
        });
    }
    const bool drawn = EachRuns(*wall, 5);
    EXPECT_TRUE(drawn);
    server.Kill();
    const bool alive = EachRuns(*wall, FRAMES);
    EXPECT_TRUE(alive) << "a thread hangs";
    wall->stop = true;
    for (auto& stream : streams)
        alive ? stream.join() : stream.detach();
    EXPECT_TRUE(windows->TakeTexts().empty()) << "dropped frames are not told";
    SetWindowBackend(nullptr);
}

// Between the drawing and the swap: on a broken connection the driver would never come back from it.
TEST_F(EglDisplayGoneTest, NothingIsSwappedOnceTheDisplayHasGone)
{
    CXServer server;
    const CTestVariable display("DISPLAY", server.Name().c_str());
    const CTestVariable software("LIBGL_ALWAYS_SOFTWARE", "1");
    static auto* const windows = new CXWindows;
    ASSERT_NE(windows->m_pDisplay, nullptr);
    CD3DSurfaceRender render{OpenEglSurfaceAdapter};
    ASSERT_NE(render.Init(HWND{1000}), 0);
    const HWND window = windows->Create(0, 90, 90);
    CSurface* const surface = render.CreateSurface(WIDTH, HEIGHT);
    const CTestFrame frame(WIDTH, HEIGHT, 120);
    render.DisplayClient(&frame.m_Frame, surface, window);
    ASSERT_EQ(surface->m_Showing, EShowing::Shown);
    EglDriver().swaps = 0;
    EglDriver().swapError = EGL_BAD_SURFACE;
    EglDriver().onSizeQuestion = [&server] { server.Kill(); };
    EXPECT_EQ(render.DisplayClient(&frame.m_Frame, surface, window), 0);
    EXPECT_EQ(surface->m_Showing, EShowing::Dropped);
    EXPECT_EQ(EglDriver().swaps, 0);
    ResetEglDriver();
    SetWindowBackend(nullptr);
}

}  // namespace
