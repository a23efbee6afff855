#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <latch>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "render/D3DSurfaceRender.h"
#include "render/device/MemorySurfaceDevice.h"
#include "tests/render/render_support.h"

namespace
{

// What the operations of a hooked device do besides succeeding.
struct DrawHooks {
    using CHook = std::function<void()>;
    CHook onPicture = [] {};  // the first step of building a surface
    CHook onBuffer = [] {};   // the last one
    CHook onUnlock = [] {};   // a frame was converted
    CHook onStretch = [] {};
    CHook onPresent = [] {};
    CHook onState = [] {};  // the device has been asked for its state
    std::atomic<EDeviceState> state{EDeviceState::Working};
    std::atomic<bool> makes = true;  // devices
};

class CHookedPicture : public IOffscreenSurface
{
  public:
    CHookedPicture(DrawHooks& hooks, std::int32_t width, std::int32_t height)
        : m_Hooks(hooks),
          m_iPitch(width * 4),
          m_Bytes(static_cast<std::size_t>(m_iPitch) * static_cast<std::size_t>(height))
    {
    }
    bool Lock(ELockMode, LockedRect& locked) override
    {
        locked.pitch = m_iPitch;
        locked.bits = m_Bytes.data();
        return true;
    }
    void Unlock(bool) override { m_Hooks.onUnlock(); }

  private:
    DrawHooks& m_Hooks;
    const std::int32_t m_iPitch;
    std::vector<std::uint8_t> m_Bytes;
};

class CHookedChain : public ISwapChain
{
  public:
    explicit CHookedChain(DrawHooks& hooks) : m_Hooks(hooks) {}
    std::shared_ptr<IBackBuffer> GetBackBuffer(std::uint32_t) override
    {
        m_Hooks.onBuffer();
        return std::make_shared<IBackBuffer>();
    }
    bool Present(HWND) override
    {
        m_Hooks.onPresent();
        return true;
    }

  private:
    DrawHooks& m_Hooks;
};

class CHookedDevice : public ISurfaceDevice
{
  public:
    explicit CHookedDevice(DrawHooks& hooks) : m_Hooks(hooks) {}
    EDeviceState TestCooperativeLevel() override
    {
        const EDeviceState state = m_Hooks.state;
        m_Hooks.onState();
        return state;
    }
    bool SetSamplerState(ETextureFilter, ETextureFilter) override { return true; }
    std::shared_ptr<IOffscreenSurface> CreateOffscreenPlainSurface(std::int32_t width, std::int32_t height,
                                                                   ESurfaceFormat) override
    {
        m_Hooks.onPicture();
        return std::make_shared<CHookedPicture>(m_Hooks, width, height);
    }
    std::shared_ptr<ISwapChain> CreateAdditionalSwapChain(const PresentParameters&) override
    {
        return std::make_shared<CHookedChain>(m_Hooks);
    }
    bool StretchRect(IOffscreenSurface&, const RECT&, IBackBuffer&, ETextureFilter) override
    {
        m_Hooks.onStretch();
        return true;
    }

  private:
    DrawHooks& m_Hooks;
};

class CHookedAdapter : public ISurfaceAdapter
{
  public:
    explicit CHookedAdapter(DrawHooks& hooks) : m_Hooks(hooks) {}
    bool GetAdapterDisplayMode(DisplayMode&) override { return true; }
    bool GetDeviceCaps(DeviceCaps&) override { return true; }
    EDeviceResult CreateDevice(HWND, std::uint32_t, const PresentParameters&,
                               std::shared_ptr<ISurfaceDevice>& device) override
    {
        if (!m_Hooks.makes) return EDeviceResult::Failed;
        device = std::make_shared<CHookedDevice>(m_Hooks);
        m_Hooks.state = EDeviceState::Working;
        return EDeviceResult::Ok;
    }

  private:
    DrawHooks& m_Hooks;
};

// Counts who comes in while another thread is inside.
class CSection
{
  public:
    void Enter()
    {
        std::thread::id none;
        if (!m_Inside.compare_exchange_strong(none, std::this_thread::get_id())) ++m_iClashes;
        std::this_thread::yield();
    }
    void Leave()
    {
        std::this_thread::yield();
        m_Inside = std::thread::id();
    }
    int GetClashes() const { return m_iClashes; }

  private:
    std::atomic<std::thread::id> m_Inside{};
    std::atomic<int> m_iClashes{0};
};

// A stretch and its presentation, and the building of a surface, are each one piece, at the start of a stream
// and at a rebuilding.
TEST(D3DSurfaceThreadsTest, BuildingAndShowingExcludeEachOther)
{
    constexpr int STREAMS = 6;
    CRecordingBackend backend;
    CSection section;
    DrawHooks hooks;
    hooks.onPicture = hooks.onStretch = [&] { section.Enter(); };
    hooks.onBuffer = hooks.onPresent = [&] { section.Leave(); };
    CD3DSurfaceRender render([&hooks] { return std::make_shared<CHookedAdapter>(hooks); });
    ASSERT_NE(render.Init(HWND{1000}), 0);
    std::vector<std::thread> streams;
    for (int stream = 0; stream < STREAMS; ++stream) {
        streams.emplace_back([&, stream] {
            const CTestFrame frame(16, 16, 90);
            for (int round = 0; round < 20; ++round) {
                CSurface* const surface = render.CreateSurface(16, 16);
                for (int i = 0; i < 10; ++i)
                    render.DisplayClient(&frame.m_Frame, surface, HWND{1 + stream});
                if (stream == 0) hooks.state = EDeviceState::NotReset;
                render.DestroySurface(surface);
            }
        });
    }
    for (auto& stream : streams)
        stream.join();
    EXPECT_EQ(section.GetClashes(), 0);
}

TEST(D3DSurfaceThreadsTest, ConversionDoesNotWaitForAnotherStreamToBeShown)
{
    CRecordingBackend backend;
    std::mutex mutex;
    std::condition_variable changed;
    int converted = 0;
    bool showing = false;
    bool both = false;
    DrawHooks hooks;
    hooks.onUnlock = [&] {
        const std::lock_guard lock(mutex);
        ++converted;
        changed.notify_all();
    };
    hooks.onStretch = [&] {
        std::unique_lock lock(mutex);
        if (std::exchange(showing, true)) return;
        changed.notify_all();
        both = changed.wait_for(lock, std::chrono::seconds(20), [&] { return converted == 2; });
    };
    CD3DSurfaceRender render([&hooks] { return std::make_shared<CHookedAdapter>(hooks); });
    ASSERT_NE(render.Init(HWND{1000}), 0);
    const CTestFrame frame(16, 16, 90);
    const auto show = [&](int window) {
        render.DisplayClient(&frame.m_Frame, render.CreateSurface(16, 16), HWND{window});
    };
    CSurface* const second = render.CreateSurface(16, 16);
    std::thread first(show, 1);
    {
        std::unique_lock lock(mutex);
        ASSERT_TRUE(changed.wait_for(lock, std::chrono::seconds(20), [&] { return showing; }));
    }
    render.DisplayClient(&frame.m_Frame, second, HWND{2});
    first.join();
    EXPECT_TRUE(both) << "the second frame was converted while the first was being shown";
}

// Else a busy stream is shown again and again while another one's picture grows old.
TEST(D3DSurfaceThreadsTest, StreamsAreShownInTheOrderInWhichTheirPicturesWereReady)
{
    CRecordingBackend backend;
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<int> shown;
    bool held = true;
    thread_local int stream = 0;
    DrawHooks hooks;
    hooks.onPresent = [&] {
        std::unique_lock lock(mutex);
        shown.push_back(stream);
        changed.notify_all();
        changed.wait(lock, [&] { return !held; });
    };
    CD3DSurfaceRender render([&hooks] { return std::make_shared<CHookedAdapter>(hooks); });
    ASSERT_NE(render.Init(HWND{1000}), 0);
    const CTestFrame frame(16, 16, 90);
    CSurface* const surfaces[] = {render.CreateSurface(16, 16), render.CreateSurface(16, 16),
                                  render.CreateSurface(16, 16)};
    std::vector<std::thread> streams;
    const auto start = [&](int number, int frames) {
        streams.emplace_back([&, number, frames] {
            stream = number;
            for (int i = 0; i < frames; ++i)
                render.DisplayClient(&frame.m_Frame, surfaces[number], HWND{1 + number});
        });
    };
    const auto waitFor = [&](std::size_t waiting) {
        while (render.CountWaitingFrames() != waiting)
            std::this_thread::yield();
    };
    start(0, 2);
    {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return !shown.empty(); });
    }
    start(1, 1);
    waitFor(1);
    start(2, 1);
    waitFor(2);
    {
        const std::lock_guard lock(mutex);
        held = false;
    }
    changed.notify_all();
    for (auto& thread : streams)
        thread.join();
    EXPECT_EQ(shown, (std::vector<int>{0, 1, 2, 0}));
    EXPECT_EQ(render.CountWaitingFrames(), 0U);
}

TEST(D3DSurfaceThreadsTest, PictureThatGrowsOldWhileItWaitsForTheDeviceIsNotPresented)
{
    CRecordingBackend backend;
    std::mutex mutex;
    std::condition_variable changed;
    int presented = 0;
    bool held = true;
    DrawHooks hooks;
    hooks.onPresent = [&] {
        std::unique_lock lock(mutex);
        ++presented;
        changed.notify_all();
        changed.wait(lock, [&] { return !held; });
    };
    CD3DSurfaceRender render([&hooks] { return std::make_shared<CHookedAdapter>(hooks); });
    ASSERT_NE(render.Init(HWND{1000}), 0);
    const CTestFrame frame(16, 16, 90);
    CSurface* const first = render.CreateSurface(16, 16);
    CSurface* const second = render.CreateSurface(16, 16);
    std::thread showing([&] { render.DisplayClient(&frame.m_Frame, first, HWND{1}); });
    {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return presented == 1; });
    }
    const auto before = std::chrono::steady_clock::now() + std::chrono::milliseconds(200);
    second->m_ShowBefore = before;
    std::thread waiting([&] { render.DisplayClient(&frame.m_Frame, second, HWND{2}); });
    while (render.CountWaitingFrames() != 1)
        std::this_thread::yield();
    std::this_thread::sleep_until(before);
    {
        const std::lock_guard lock(mutex);
        held = false;
    }
    changed.notify_all();
    showing.join();
    waiting.join();
    EXPECT_EQ(first->m_Showing, EShowing::Shown);
    EXPECT_EQ(second->m_Showing, EShowing::TooLate);
    EXPECT_EQ(presented, 1);
}

// Whether the new device can be made or not: the second stream finds that the first was faster.
TEST(D3DSurfaceThreadsTest, DeviceThatTwoStreamsFindNotResetIsRebuiltOnce)
{
    for (const bool makes : {true, false}) {
        CRecordingBackend backend;
        DrawHooks hooks;
        std::latch both(2);
        std::atomic<int> asked{0};
        std::atomic<int> opened{0};
        hooks.onState = [&] {
            if (asked++ < 2) both.arrive_and_wait();
        };
        CD3DSurfaceRender render([&] {
            ++opened;
            return std::make_shared<CHookedAdapter>(hooks);
        });
        ASSERT_NE(render.Init(HWND{1000}), 0);
        CSurface* const surfaces[] = {render.CreateSurface(16, 16), render.CreateSurface(16, 16)};
        hooks.state = EDeviceState::NotReset;
        hooks.makes = makes;
        const CTestFrame frame(16, 16, 90);
        const auto show = [&](int i) {
            EXPECT_EQ(render.DisplayClient(&frame.m_Frame, surfaces[i], HWND{1 + i}), 0) << "a dropped frame";
        };
        std::thread first(show, 0);
        show(1);
        first.join();
        EXPECT_EQ(opened, 2) << (makes ? "made again" : "tried again") << " by one of them";
    }
}

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
            adapter->SetState(EDeviceState::Lost);
            std::this_thread::yield();
            adapter->SetState(EDeviceState::NotReset);
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

    adapter->SetState(EDeviceState::NotReset);
    CSurface* const surface = render.CreateSurface(176, 144);
    const CTestFrame frame(176, 144, 77);
    render.DisplayClient(&frame.m_Frame, surface, HWND{1});
    EXPECT_EQ(render.DisplayClient(&frame.m_Frame, surface, HWND{1}), 0);
    EXPECT_EQ(adapter->GetPicture(HWND{1}).pixels.at(0), GreyPixel(77) & 0xFF);
}

}  // namespace
