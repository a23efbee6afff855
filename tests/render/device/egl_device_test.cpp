// Draws through the EGL device into real windows of the display that the suite runs on and reads the screen
// back.

#include "render/device/EglSurfaceDevice.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <tuple>
#include <vector>

#include "tests/render/x_windows_support.h"

namespace
{

constexpr std::int32_t WIDTH = 64;
constexpr std::int32_t HEIGHT = 48;

class EglDeviceTest : public testing::Test
{
  protected:
    void SetUp() override
    {
        ASSERT_NE(m_Windows.m_pDisplay, nullptr) << "these tests need a display: run them by ./test";
        m_pAdapter = OpenEglSurfaceAdapter();
        ASSERT_NE(m_pAdapter, nullptr);
        ASSERT_EQ(m_pAdapter->CreateDevice(HWND::Null, 0, {}, m_pDevice), EDeviceResult::Ok);
        m_pDevice->SetSamplerState(ETextureFilter::Linear, ETextureFilter::Linear);
        m_pSurface = m_pDevice->CreateOffscreenPlainSurface(WIDTH, HEIGHT, ESurfaceFormat::X8R8G8B8);
        ASSERT_NE(m_pSurface, nullptr);
        m_pChain = m_pDevice->CreateAdditionalSwapChain({WIDTH, HEIGHT});
        ASSERT_NE(m_pChain, nullptr);
        m_pBuffer = m_pChain->GetBackBuffer(0);
        ASSERT_NE(m_pBuffer, nullptr);
    }

    // The left half in one colour, the right half in another, the top row white.
    void Fill(std::uint32_t left, std::uint32_t right)
    {
        LockedRect locked;
        ASSERT_TRUE(m_pSurface->Lock(ELockMode::Discard, locked));
        for (int y = 0; y < HEIGHT; ++y) {
            auto* const row = reinterpret_cast<std::uint32_t*>(locked.bits + std::ptrdiff_t{y} * locked.pitch);
            for (int x = 0; x < WIDTH; ++x)
                row[x] = y < HEIGHT / 4 ? 0xFFFFFF : x < WIDTH / 2 ? left : right;
        }
        m_pSurface->Unlock(true);
    }

    bool Show(HWND window, const RECT& source = {0, 0, WIDTH, HEIGHT})
    {
        return m_pDevice->StretchRect(*m_pSurface, source, *m_pBuffer, ETextureFilter::Linear) &&
               m_pChain->Present(window);
    }

    CXWindows m_Windows;
    std::shared_ptr<ISurfaceAdapter> m_pAdapter;
    std::shared_ptr<ISurfaceDevice> m_pDevice;
    std::shared_ptr<IOffscreenSurface> m_pSurface;
    std::shared_ptr<ISwapChain> m_pChain;
    std::shared_ptr<IBackBuffer> m_pBuffer;
};

TEST_F(EglDeviceTest, AdapterTellsTheScreen)
{
    DisplayMode mode;
    ASSERT_TRUE(m_pAdapter->GetAdapterDisplayMode(mode));
    EXPECT_EQ(mode.width, DisplayWidth(m_Windows.m_pDisplay, DefaultScreen(m_Windows.m_pDisplay)));
    DeviceCaps caps;
    EXPECT_TRUE(m_pAdapter->GetDeviceCaps(caps));
    EXPECT_EQ(m_pDevice->TestCooperativeLevel(), EDeviceState::Working);
}

TEST_F(EglDeviceTest, NoteOfWhatPixelsHoldStaysWithThem)
{
    for (std::uint32_t picture = 1; picture < 4; ++picture) {
        LockedRect locked;
        ASSERT_TRUE(m_pSurface->Lock(ELockMode::Discard, locked));
        ASSERT_NE(locked.held, nullptr);
        EXPECT_EQ(locked.held->picture, picture - 1);
        locked.held->picture = picture;
        m_pSurface->Unlock(true);
    }
}

TEST_F(EglDeviceTest, PictureFillsTheWindowTheRightWayUpInItsColours)
{
    const HWND window = m_Windows.Create(0, 160, 120);
    Fill(0x2040C0, 0x10A030);
    ASSERT_TRUE(Show(window));
    EXPECT_PIXEL(window, 5, 100, 0x2040C0U);
    EXPECT_PIXEL(window, 155, 100, 0x10A030U);
    EXPECT_PIXEL(window, 5, 5, 0xFFFFFFU) << "the top row of the picture is the top row on the screen";
}

TEST_F(EglDeviceTest, PartOfThePictureFillsTheWindow)
{
    const HWND window = m_Windows.Create(0, 100, 100);
    Fill(0x2040C0, 0x10A030);
    ASSERT_TRUE(Show(window, {0, HEIGHT / 2, WIDTH / 4, HEIGHT}));
    for (const int at : {3, 50, 96})
        EXPECT_PIXEL(window, at, at, 0x2040C0U) << at;
}

// A window ten times as large and one of a third of the width: either way a pixel whose middle lies on the edge
// between the halves is a mixture of the two.
TEST_F(EglDeviceTest, ScalingIsLinearUpAndDown)
{
    for (const auto& [width, height, middle] : {std::tuple{640, 480, 320}, {21, 48, 10}}) {
        const HWND window = m_Windows.Create(0, width, height);
        Fill(0x000000, 0x0000FF);
        ASSERT_TRUE(Show(window));
        EXPECT_PIXEL(window, width - 1, height - 1, 0x0000FFU);
        const std::uint32_t mixed = m_Windows.Pixel(window, middle, height - 1);
        EXPECT_GT(mixed, 0x40U) << width;
        EXPECT_LT(mixed, 0xC0U) << width;
    }
}

TEST_F(EglDeviceTest, StretchToTheNearestPointMixesNothing)
{
    const HWND window = m_Windows.Create(0, 640, 480);
    Fill(0x000000, 0x0000FF);
    ASSERT_TRUE(m_pDevice->StretchRect(*m_pSurface, {0, 0, WIDTH, HEIGHT}, *m_pBuffer, ETextureFilter::Point));
    ASSERT_TRUE(m_pChain->Present(window));
    EXPECT_PIXEL(window, 320, 479, 0x0000FFU);
    EXPECT_PIXEL(window, 319, 479, 0x000000U);
}

TEST_F(EglDeviceTest, ResizedWindowIsFilledWhole)
{
    const HWND window = m_Windows.Create(0, 60, 60);
    Fill(0x2040C0, 0x10A030);
    ASSERT_TRUE(Show(window));
    m_Windows.Resize(window, 300, 200);
    ASSERT_TRUE(Show(window));  // the driver learns of the new size
    ASSERT_TRUE(Show(window));
    EXPECT_PIXEL(window, 295, 195, 0x10A030U);
}

// The software rasteriser goes beyond its own memory there.
TEST_F(EglDeviceTest, WindowBeyondTheDriversBoundsIsLeftAloneUntilItIsSmaller)
{
    const HWND window = m_Windows.Create(0, 20000, 60);
    Fill(0x2040C0, 0x10A030);
    EXPECT_FALSE(Show(window));
    m_Windows.Resize(window, 60, 60);
    ASSERT_TRUE(Show(window));
    EXPECT_PIXEL(window, 55, 55, 0x10A030U);
    m_Windows.Resize(window, 60, 20000);
    Show(window);  // the driver learns of the new size
    Show(window);
    EXPECT_FALSE(Show(window));
    m_Windows.Resize(window, 60, 60);
    EXPECT_TRUE(Show(window));
    EXPECT_PIXEL(window, 55, 55, 0x10A030U);
}

TEST_F(EglDeviceTest, HandleThatGetsAnotherWindowIsShownInThatOne)
{
    const HWND window = m_Windows.Create(0, 60, 60);
    Fill(0x2040C0, 0x10A030);
    ASSERT_TRUE(Show(window));
    m_Windows.Replace(window, 100, 80, 80);
    ASSERT_TRUE(Show(window));
    EXPECT_PIXEL(window, 75, 75, 0x10A030U);
}

TEST_F(EglDeviceTest, WindowThatIsGoneCostsItsFrameOnly)
{
    const HWND gone = m_Windows.Create(0, 100, 100);
    const HWND stays = m_Windows.Create(200, 100, 100);
    Fill(0x2040C0, 0x10A030);
    ASSERT_TRUE(Show(gone));
    m_Windows.Destroy(gone);
    Show(gone);
    m_Windows.Lease(gone).TakeBack();
    EXPECT_FALSE(Show(gone));
    EXPECT_TRUE(Show(stays));
    EXPECT_PIXEL(stays, 5, 95, 0x2040C0U);
}

TEST_F(EglDeviceTest, WindowThatTheServerDoesNotKnowYetCostsItsFramesUntilItDoes)
{
    const HWND window = m_Windows.Announce();
    Fill(0x2040C0, 0x10A030);
    for (int i = 0; i < 3; ++i)
        EXPECT_FALSE(Show(window)) << "nothing came to a window";
    m_Windows.MakeAnnounced(window, 100, 100);
    EXPECT_TRUE(Show(window)) << "a failure is not kept";
    EXPECT_PIXEL(window, 5, 95, 0x2040C0U);
}

TEST_F(EglDeviceTest, PictureBeingWrittenIsNotShown)
{
    const HWND window = m_Windows.Create(0, 100, 100);
    LockedRect locked;
    ASSERT_TRUE(m_pSurface->Lock(ELockMode::Discard, locked));
    LockedRect again;
    EXPECT_FALSE(m_pSurface->Lock(ELockMode::Discard, again));
    EXPECT_FALSE(Show(window));
    m_pSurface->Unlock(true);
    EXPECT_TRUE(Show(window));
}

TEST_F(EglDeviceTest, ImpossibleSizesAndRectanglesAreRefused)
{
    for (const std::int32_t size : {0, -1, 1 << 24})
        EXPECT_EQ(m_pDevice->CreateOffscreenPlainSurface(size, 16, ESurfaceFormat::X8R8G8B8), nullptr) << size;
    EXPECT_EQ(m_pDevice->CreateAdditionalSwapChain({0, 0}), nullptr);
    EXPECT_EQ(m_pChain->GetBackBuffer(1), nullptr);
    for (const RECT& source : {RECT{0, 0, WIDTH + 1, HEIGHT}, RECT{-1, 0, 5, 5}, RECT{5, 5, 5, 5}})
        EXPECT_FALSE(m_pDevice->StretchRect(*m_pSurface, source, *m_pBuffer, ETextureFilter::Linear));
}

// As a snapshot of a stream whose last picture came too late for the device.
TEST_F(EglDeviceTest, PictureThatWasReadBeforeItsTurnIsShownAllTheSame)
{
    const HWND window = m_Windows.Create(0, 100, 100);
    Fill(0x2040C0, 0x10A030);
    ASSERT_TRUE(Show(window));
    EXPECT_PIXEL(window, 5, 95, 0x2040C0U);
    Fill(0x10A030, 0x2040C0);
    LockedRect locked;
    ASSERT_TRUE(m_pSurface->Lock(ELockMode::ReadOnly, locked));
    m_pSurface->Unlock(false);
    ASSERT_TRUE(Show(window));
    EXPECT_PIXEL(window, 5, 95, 0x10A030U);
}

// One context for all: sixteen windows drawn by sixteen threads in turn, under one lock as the renderer has it.
TEST_F(EglDeviceTest, SixteenThreadsShareTheContext)
{
    constexpr int STREAMS = 16;
    std::vector<HWND> windows;
    for (int i = 0; i < STREAMS; ++i)
        windows.push_back(m_Windows.Create(i * 40, 40, 40));
    std::mutex section;
    std::vector<std::thread> threads;
    for (int i = 0; i < STREAMS; ++i) {
        threads.emplace_back([&, i] {
            std::shared_ptr<IOffscreenSurface> surface;
            std::shared_ptr<ISwapChain> chain;
            {
                const std::lock_guard lock(section);
                surface = m_pDevice->CreateOffscreenPlainSurface(16, 16, ESurfaceFormat::X8R8G8B8);
                chain = m_pDevice->CreateAdditionalSwapChain({16, 16});
            }
            for (int frame = 0; frame < 10; ++frame) {
                LockedRect locked;
                if (!surface->Lock(ELockMode::Discard, locked)) continue;
                std::fill_n(reinterpret_cast<std::uint32_t*>(locked.bits), 256,
                            static_cast<std::uint32_t>(i * 0x0A0500 + frame));
                surface->Unlock(true);
                const std::lock_guard lock(section);
                m_pDevice->StretchRect(*surface, {0, 0, 16, 16}, *chain->GetBackBuffer(0),
                                       ETextureFilter::Linear);
                chain->Present(windows[static_cast<std::size_t>(i)]);
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    for (int i = 0; i < STREAMS; ++i)
        EXPECT_PIXEL(windows[static_cast<std::size_t>(i)], 20, 20, static_cast<std::uint32_t>(i * 0x0A0500 + 9))
            << i;
}

}  // namespace
