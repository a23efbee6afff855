// The states of the EGL device, over the real driver with resets of the adapter put in.

#include <gtest/gtest.h>

#include "render/D3DSurfaceRender.h"
#include "render/device/EglSurfaceDevice.h"
#include "tests/render/device/egl_driver_support.h"
#include "tests/render/x_windows_support.h"

namespace
{

constexpr std::int32_t WIDTH = 64;
constexpr std::int32_t HEIGHT = 48;

class EglResetTest : public testing::Test
{
  protected:
    EglResetTest()
    {
        ResetEglDriver();
        EglDriver().reportsResets = true;
    }
    ~EglResetTest() override { ResetEglDriver(); }
    void SetUp() override
    {
        ASSERT_NE(m_Windows.m_pDisplay, nullptr) << "these tests need a display: run them by ./test";
        m_hWindow = m_Windows.Create(0, 100, 100);
    }

    CXWindows m_Windows;
    HWND m_hWindow = HWND::Null;
};

class EglResetDeviceTest : public EglResetTest
{
  protected:
    void SetUp() override
    {
        EglResetTest::SetUp();
        m_pAdapter = OpenEglSurfaceAdapter();
        ASSERT_NE(m_pAdapter, nullptr);
        ASSERT_EQ(m_pAdapter->CreateDevice(HWND::Null, 0, {}, m_pDevice), EDeviceResult::Ok);
        m_pSurface = m_pDevice->CreateOffscreenPlainSurface(WIDTH, HEIGHT, ESurfaceFormat::X8R8G8B8);
        m_pChain = m_pDevice->CreateAdditionalSwapChain({WIDTH, HEIGHT});
        ASSERT_TRUE(Show());
    }
    bool Show() { return Show(m_hWindow); }
    bool Show(HWND window)
    {
        m_pDevice->StretchRect(*m_pSurface, {0, 0, WIDTH, HEIGHT}, *m_pChain->GetBackBuffer(0),
                               ETextureFilter::Linear);
        return m_pChain->Present(window);
    }

    std::shared_ptr<ISurfaceAdapter> m_pAdapter;
    std::shared_ptr<ISurfaceDevice> m_pDevice;
    std::shared_ptr<IOffscreenSurface> m_pSurface;
    std::shared_ptr<ISwapChain> m_pChain;
};

TEST_F(EglResetDeviceTest, LostForAsLongAsTheResetLastsThenNotResetForGood)
{
    EXPECT_EQ(m_pDevice->TestCooperativeLevel(), EDeviceState::Working);
    EglDriver().resetStatus = GL_INNOCENT_CONTEXT_RESET_EXT;
    EXPECT_FALSE(Show()) << "who knows what was on the screen";
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(m_pDevice->TestCooperativeLevel(), EDeviceState::Lost);
        EXPECT_FALSE(Show());
    }
    EglDriver().resetStatus = GL_NO_ERROR;
    EXPECT_EQ(m_pDevice->TestCooperativeLevel(), EDeviceState::NotReset);
    EXPECT_FALSE(Show());
    EXPECT_EQ(m_pDevice->TestCooperativeLevel(), EDeviceState::NotReset);
}

TEST_F(EglResetDeviceTest, DriverIsAskedForNothingWhileTheDeviceWorks)
{
    EglDriver().resetQuestions = 0;
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(m_pDevice->TestCooperativeLevel(), EDeviceState::Working);
    EXPECT_EQ(EglDriver().resetQuestions, 0);
    EXPECT_TRUE(Show());
    EXPECT_EQ(EglDriver().resetQuestions, 1) << "once for each frame";
}

TEST_F(EglResetDeviceTest, WindowThatRefusesTheContextCostsItsFrameOnly)
{
    EglDriver().makeCurrentError = EGL_BAD_NATIVE_WINDOW;
    EXPECT_FALSE(Show());
    EglDriver().makeCurrentError = EGL_SUCCESS;
    EXPECT_EQ(m_pDevice->TestCooperativeLevel(), EDeviceState::Working);
    EXPECT_TRUE(Show());
    EglDriver().swapError = EGL_BAD_SURFACE;
    EXPECT_FALSE(Show());
    EglDriver().swapError = EGL_SUCCESS;
    EXPECT_EQ(m_pDevice->TestCooperativeLevel(), EDeviceState::Working);
    EXPECT_TRUE(Show());
}

// A driver may give the name to the next stream: deleted once more, it would take that one's picture.
TEST_F(EglResetDeviceTest, TextureOfAStreamThatEndedIsDeletedOnce)
{
    m_pSurface = m_pDevice->CreateOffscreenPlainSurface(WIDTH, HEIGHT, ESurfaceFormat::X8R8G8B8);
    EXPECT_EQ(EglDriver().deletedTextures, 0) << "with the next frame, whose thread has the context";
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(Show());
    EXPECT_EQ(EglDriver().deletedTextures, 1);
}

// A host that keeps one control and opens and ends others leaves the device standing.
TEST_F(EglResetDeviceTest, WindowsThatHaveGoneKeepNothingOfTheDriver)
{
    const int before = EglDriver().windowSurfaces;
    for (int i = 0; i < 20; ++i) {
        const HWND window = m_Windows.Create(200, 100, 100);
        ASSERT_TRUE(Show(window));
        m_Windows.Remove(window);
        ASSERT_TRUE(Show());
    }
    EXPECT_LE(EglDriver().windowSurfaces, before + 1) << "the last one's goes with the next window";
    EXPECT_EQ(EglDriver().mistakable, 0);
}

// The driver looks for surfaces that were destroyed when a context becomes current, by their addresses: one
// that a new surface has got by then counts as alive, and its pixels stay for good. So it was with each full
// screen.
TEST_F(EglResetDeviceTest, SurfaceIsMadeOnceTheDriverHasForgottenTheFormerOnes)
{
    const HWND other = m_Windows.Create(200, 100, 100);
    ASSERT_TRUE(Show(other));
    const int before = EglDriver().windowSurfaces;
    for (int i = 0; i < 3; ++i) {
        m_Windows.Replace(m_hWindow, 0, 100, 100);
        m_Windows.Replace(other, 200, 100, 100);
        ASSERT_TRUE(Show());
        ASSERT_TRUE(Show(other));
    }
    EXPECT_EQ(EglDriver().mistakable, 0);
    EXPECT_EQ(EglDriver().windowSurfaces, before) << "each has one";
}

TEST_F(EglResetDeviceTest, WindowThatIsNotLentIsAskedForNothing)
{
    m_Windows.Lease(m_hWindow).TakeBack();
    EglDriver().swaps = 0;
    EXPECT_FALSE(Show());
    EXPECT_EQ(EglDriver().swaps, 0) << "nothing to swap on";
    EXPECT_EQ(m_pDevice->TestCooperativeLevel(), EDeviceState::Working);
}

TEST_F(EglResetDeviceTest, LostContextThatCantBeAskedIsNotReset)
{
    EglDriver().makeCurrentError = EGL_CONTEXT_LOST;
    EXPECT_FALSE(Show());
    EXPECT_EQ(m_pDevice->TestCooperativeLevel(), EDeviceState::NotReset);
}

TEST_F(EglResetDeviceTest, ReleasedDeviceGivesItsContextAndSurfacesBackAndFails)
{
    const int before = EglDriver().contexts;
    const int surfaces = EglDriver().windowSurfaces;
    m_pDevice->Release();
    EXPECT_EQ(EglDriver().contexts, before - 1);
    EXPECT_EQ(EglDriver().windowSurfaces, surfaces - 1);
    EXPECT_FALSE(Show());
    EXPECT_EQ(m_pDevice->TestCooperativeLevel(), EDeviceState::NotReset);
    m_pDevice->Release();
    m_pSurface.reset();
    m_pChain.reset();
    m_pDevice.reset();
    EXPECT_EQ(EglDriver().contexts, before - 1);
}

TEST_F(EglResetTest, DriverThatReportsNoResetsIsNotResetWithTheLossItself)
{
    EglDriver().reportsResets = false;
    const auto adapter = OpenEglSurfaceAdapter();
    std::shared_ptr<ISurfaceDevice> device;
    ASSERT_EQ(adapter->CreateDevice(HWND::Null, 0, {}, device), EDeviceResult::Ok);
    const auto surface = device->CreateOffscreenPlainSurface(WIDTH, HEIGHT, ESurfaceFormat::X8R8G8B8);
    const auto chain = device->CreateAdditionalSwapChain({WIDTH, HEIGHT});
    device->StretchRect(*surface, {0, 0, WIDTH, HEIGHT}, *chain->GetBackBuffer(0), ETextureFilter::Linear);
    EXPECT_TRUE(chain->Present(m_hWindow));
    EglDriver().swapError = EGL_CONTEXT_LOST;
    EXPECT_FALSE(chain->Present(m_hWindow));
    EXPECT_EQ(device->TestCooperativeLevel(), EDeviceState::NotReset);
    EXPECT_EQ(EglDriver().resetQuestions, 0);
}

// The renderer through a reset that lasts: frames are dropped, one remaking, and never two contexts.
TEST_F(EglResetTest, RendererWaitsForTheEndOfTheResetAndRemakesOnce)
{
    int opened = 0;
    CD3DSurfaceRender render([&opened] {
        ++opened;
        return OpenEglSurfaceAdapter();
    });
    ASSERT_NE(render.Init(HWND{1000}), 0);
    CSurface* const surface = render.CreateSurface(WIDTH, HEIGHT);
    const auto show = [&](std::uint8_t luma) {
        const CTestFrame frame(WIDTH, HEIGHT, luma);
        EXPECT_EQ(render.DisplayClient(&frame.m_Frame, surface, m_hWindow), 0);
        return surface->m_Showing;
    };
    EXPECT_EQ(show(90), EShowing::Shown);
    EglDriver().mostContexts = EglDriver().contexts.load();
    const int contexts = EglDriver().contexts;

    EglDriver().resetStatus = GL_UNKNOWN_CONTEXT_RESET_EXT;
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(show(100), EShowing::Dropped);
    EXPECT_EQ(opened, 1);
    EglDriver().resetStatus = GL_NO_ERROR;
    EXPECT_EQ(show(110), EShowing::Dropped) << "the one that rebuilds";
    EXPECT_EQ(opened, 2);
    EXPECT_EQ(show(150), EShowing::Shown);
    EXPECT_PIXEL(m_hWindow, 50, 50, GreyPixel(150));
    EXPECT_EQ(opened, 2);
    EXPECT_EQ(EglDriver().mostContexts, contexts);
    EXPECT_EQ(EglDriver().contexts, contexts);
    EXPECT_TRUE(m_Windows.TakeTexts().empty());
    render.DestroySurface(surface);
}

}  // namespace
