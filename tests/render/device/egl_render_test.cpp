// The renderer over the EGL device, read back from the screen: what is shown, and that a device which is lost
// and rebuilt goes on in the same windows.

#include <gmock/gmock.h>

#include <atomic>

#include "render/D3DSurfaceRender.h"
#include "render/device/EglSurfaceDevice.h"
#include "tests/render/x_windows_support.h"
#include "tests/support/test_folder.h"

using testing::IsEmpty;

namespace
{

constexpr std::int32_t WIDTH = 352;
constexpr std::int32_t HEIGHT = 288;

// What the devices of a test say of themselves; each new device is a working one.
struct States {
    std::atomic<EDeviceState> now{EDeviceState::Working};
    std::atomic<int> devices{0};
};

// The real device, but for its state.
class CStatedDevice : public ISurfaceDevice
{
  public:
    CStatedDevice(std::shared_ptr<ISurfaceDevice> real, std::shared_ptr<States> states)
        : m_pReal(std::move(real)), m_pStates(std::move(states))
    {
    }
    EDeviceState TestCooperativeLevel() override
    {
        const EDeviceState real = m_pReal->TestCooperativeLevel();
        return real == EDeviceState::Working ? m_pStates->now.load() : real;
    }
    bool SetSamplerState(ETextureFilter magnify, ETextureFilter minify) override
    {
        return m_pReal->SetSamplerState(magnify, minify);
    }
    std::shared_ptr<IOffscreenSurface> CreateOffscreenPlainSurface(std::int32_t width, std::int32_t height,
                                                                   ESurfaceFormat format) override
    {
        return m_pReal->CreateOffscreenPlainSurface(width, height, format);
    }
    std::shared_ptr<ISwapChain> CreateAdditionalSwapChain(const PresentParameters& parameters) override
    {
        return m_pReal->CreateAdditionalSwapChain(parameters);
    }
    bool StretchRect(IOffscreenSurface& from, const RECT& source, IBackBuffer& to,
                     ETextureFilter filter) override
    {
        return m_pReal->StretchRect(from, source, to, filter);
    }

  private:
    const std::shared_ptr<ISurfaceDevice> m_pReal;
    const std::shared_ptr<States> m_pStates;
};

class CStatedAdapter : public ISurfaceAdapter
{
  public:
    explicit CStatedAdapter(std::shared_ptr<States> states)
        : m_pReal(OpenEglSurfaceAdapter()), m_pStates(std::move(states))
    {
    }
    bool GetAdapterDisplayMode(DisplayMode& mode) override { return m_pReal->GetAdapterDisplayMode(mode); }
    bool GetDeviceCaps(DeviceCaps& caps) override { return m_pReal->GetDeviceCaps(caps); }
    EDeviceResult CreateDevice(HWND focusWindow, std::uint32_t flags, const PresentParameters& parameters,
                               std::shared_ptr<ISurfaceDevice>& device) override
    {
        std::shared_ptr<ISurfaceDevice> real;
        const EDeviceResult result = m_pReal->CreateDevice(focusWindow, flags, parameters, real);
        if (result != EDeviceResult::Ok) return result;
        m_pStates->now = EDeviceState::Working;
        ++m_pStates->devices;
        device = std::make_shared<CStatedDevice>(std::move(real), m_pStates);
        return result;
    }

  private:
    const std::shared_ptr<ISurfaceAdapter> m_pReal;
    const std::shared_ptr<States> m_pStates;
};

class EglRenderTest : public testing::Test
{
  protected:
    void SetUp() override
    {
        ASSERT_NE(m_Windows.m_pDisplay, nullptr) << "these tests need a display: run them by ./test";
        ASSERT_NE(m_Render.Init(HWND{1000}), 0);
        m_pSurface = m_Render.CreateSurface(WIDTH, HEIGHT);
        ASSERT_THAT(m_Windows.TakeTexts(), IsEmpty());
    }
    std::int32_t Show(std::uint8_t luma, HWND window)
    {
        const CTestFrame frame(WIDTH, HEIGHT, luma);
        return m_Render.DisplayClient(&frame.m_Frame, m_pSurface, window);
    }

    CXWindows m_Windows;
    std::shared_ptr<States> m_pStates = std::make_shared<States>();
    CD3DSurfaceRender m_Render{[this] { return std::make_shared<CStatedAdapter>(m_pStates); }};
    CSurface* m_pSurface = nullptr;
};

TEST_F(EglRenderTest, FrameFillsTheWindowWhateverItsSize)
{
    for (const auto& [width, height] : {std::pair{80, 300}, {500, 40}}) {
        const HWND window = m_Windows.Create(0, width, height);
        EXPECT_EQ(Show(200, window), 0);
        for (const int x : {0, width - 1}) {
            EXPECT_PIXEL(window, x, 0, GreyPixel(200));
            EXPECT_PIXEL(window, x, height - 1, GreyPixel(200));
        }
    }
}

TEST_F(EglRenderTest, ColoursAreThoseOfTheConversion)
{
    const HWND window = m_Windows.Create(0, 50, 50);
    const CTestFrame blue(WIDTH, HEIGHT, 41, 240, 110);
    EXPECT_EQ(m_Render.DisplayClient(&blue.m_Frame, m_pSurface, window), 0);
    // Each channel clipped to its byte: red and green end at zero and below, blue above 255.
    EXPECT_PIXEL(window, 25, 25, 0x0000FFU);
}

TEST_F(EglRenderTest, WidthThatTheConversionRefusesLeavesTheScreenAsItWas)
{
    const HWND window = m_Windows.Create(0, 60, 60);
    EXPECT_EQ(Show(200, window), 0);
    EXPECT_PIXEL(window, 30, 30, GreyPixel(200));
    CSurface* const odd = m_Render.CreateSurface(360, HEIGHT);
    const CTestFrame frame(360, HEIGHT, 90);
    EXPECT_EQ(m_Render.DisplayClient(&frame.m_Frame, odd, window), 0);
    EXPECT_PIXEL(window, 30, 30, 0U) << "its surface holds nothing yet";
    m_Render.DestroySurface(odd);
}

TEST_F(EglRenderTest, LostDeviceDropsFramesTheFirstAfterItRebuildsAndTheSecondIsShown)
{
    const HWND window = m_Windows.Create(0, 60, 60);
    const HWND other = m_Windows.Create(100, 60, 60);
    CSurface* const second = m_Render.CreateSurface(704, 576);
    const CTestFrame large(704, 576, 120);
    EXPECT_EQ(Show(60, window), 0);
    EXPECT_PIXEL(window, 30, 30, GreyPixel(60));

    m_pStates->now = EDeviceState::Lost;
    EXPECT_EQ(Show(200, window), 0);
    EXPECT_EQ(m_pStates->devices, 1) << "left alone";
    m_pStates->now = EDeviceState::NotReset;
    EXPECT_EQ(Show(210, window), 0);
    EXPECT_EQ(m_pStates->devices, 2);
    EXPECT_EQ(m_Windows.Pixel(window, 30, 30), GreyPixel(60)) << "three frames were dropped";

    EXPECT_EQ(Show(220, window), 0);
    EXPECT_PIXEL(window, 30, 30, GreyPixel(220));
    EXPECT_EQ(m_Render.DisplayClient(&large.m_Frame, second, other), 0);
    EXPECT_PIXEL(other, 59, 59, GreyPixel(120)) << "the other stream's surface was rebuilt too";
    EXPECT_THAT(m_Windows.TakeTexts(), IsEmpty());
}

TEST_F(EglRenderTest, DeviceIsRebuiltAgainAndAgain)
{
    const HWND window = m_Windows.Create(0, 60, 60);
    for (int round = 0; round < 5; ++round) {
        m_pStates->now = EDeviceState::NotReset;
        EXPECT_EQ(Show(16, window), 0);
        const auto luma = static_cast<std::uint8_t>(100 + 20 * round);
        EXPECT_EQ(Show(luma, window), 0);
        EXPECT_PIXEL(window, 5, 5, GreyPixel(luma)) << round;
    }
    EXPECT_EQ(m_pStates->devices, 6);
}

TEST_F(EglRenderTest, SnapshotIsTheUploadedPictureNotTheWindow)
{
    const HWND window = m_Windows.Create(0, 60, 60);
    EXPECT_EQ(Show(150, window), 0);
    const CTestFolder folder;
    EXPECT_EQ(m_Render.SaveSnapshot(folder.System("snapshot.jpg"), m_pSurface), 0);
    const std::string bytes = folder.Read("snapshot.jpg").value_or("");
    ASSERT_EQ(bytes.size(), 54U + WIDTH * HEIGHT * 4U);
    EXPECT_EQ(bytes.substr(0, 2), "BM");
    EXPECT_EQ(static_cast<std::uint8_t>(bytes.back() & 0xFF), 0xFF);
    EXPECT_EQ(static_cast<std::uint8_t>(bytes[bytes.size() - 2]), GreyPixel(150) & 0xFF);
}

TEST_F(EglRenderTest, WindowThatWentAwayCostsItsFrameInSilence)
{
    const HWND window = m_Windows.Create(0, 60, 60);
    EXPECT_EQ(Show(150, window), 0);
    m_Windows.Lease(window).TakeBack();
    EXPECT_EQ(Show(150, window), 0);
    EXPECT_THAT(m_Windows.TakeTexts(), IsEmpty());
}

}  // namespace
