// Which operations of the device the renderer asks for, with what and in which order.

#include <gmock/gmock.h>

#include <sstream>

#include "render/D3DSurfaceRender.h"
#include "tests/render/render_support.h"

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

namespace
{

// All objects of a test write their calls and their ends here.
struct CallLog {
    std::vector<std::string> calls;
    std::string failing;  // the call that fails
    EDeviceState state = EDeviceState::Working;

    template <typename... PARTS>
    bool Note(const std::string& name, const PARTS&... parts)
    {
        std::ostringstream text;
        text << name;
        ((text << ' ' << parts), ...);
        calls.push_back(text.str());
        return name != failing;
    }
    std::vector<std::string> Take() { return std::exchange(calls, {}); }
};

const char* Name(ESurfaceFormat format)
{
    return format == ESurfaceFormat::X8R8G8B8 ? "x8r8g8b8" : "a8r8g8b8";
}

const char* Name(ETextureFilter filter)
{
    return filter == ETextureFilter::Linear ? "linear" : "point";
}

std::string Text(const PresentParameters& parameters)
{
    std::ostringstream text;
    text << parameters.backBufferWidth << 'x' << parameters.backBufferHeight << ' '
         << Name(parameters.backBufferFormat) << " buffers " << parameters.backBufferCount << " window "
         << static_cast<std::int32_t>(parameters.deviceWindow) << (parameters.windowed ? " windowed" : "")
         << " flags " << parameters.flags;
    return text.str();
}

class CLoggedPicture : public IOffscreenSurface
{
  public:
    CLoggedPicture(CallLog& log, std::int32_t width, std::int32_t height)
        : m_Log(log),
          m_iPitch(width * 4),
          m_Bytes(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4)
    {
    }
    ~CLoggedPicture() override { m_Log.Note("~picture"); }
    bool Lock(ELockMode mode, LockedRect& locked) override
    {
        locked.pitch = m_iPitch;
        locked.bits = m_Bytes.data();
        return m_Log.Note("lock", mode == ELockMode::Discard ? "to write" : "to read");
    }
    void Unlock(bool written) override { m_Log.Note("unlock", written ? "written" : "unwritten"); }

  private:
    CallLog& m_Log;
    const std::int32_t m_iPitch;
    std::vector<std::uint8_t> m_Bytes;
};

class CLoggedBuffer : public IBackBuffer
{
  public:
    explicit CLoggedBuffer(CallLog& log) : m_Log(log) {}
    ~CLoggedBuffer() override { m_Log.Note("~buffer"); }

  private:
    CallLog& m_Log;
};

class CLoggedChain : public ISwapChain
{
  public:
    explicit CLoggedChain(CallLog& log) : m_Log(log) {}
    ~CLoggedChain() override { m_Log.Note("~chain"); }
    std::shared_ptr<IBackBuffer> GetBackBuffer(std::uint32_t number) override
    {
        return m_Log.Note("buffer", number) ? std::make_shared<CLoggedBuffer>(m_Log) : nullptr;
    }
    bool Present(HWND window) override { return m_Log.Note("present", static_cast<std::int32_t>(window)); }

  private:
    CallLog& m_Log;
};

class CLoggedDevice : public ISurfaceDevice
{
  public:
    explicit CLoggedDevice(CallLog& log) : m_Log(log) {}
    ~CLoggedDevice() override { m_Log.Note("~device"); }
    EDeviceState TestCooperativeLevel() override { return m_Log.state; }
    bool SetSamplerState(ETextureFilter magnify, ETextureFilter minify) override
    {
        return m_Log.Note("sampler", Name(magnify), Name(minify));
    }
    std::shared_ptr<IOffscreenSurface> CreateOffscreenPlainSurface(std::int32_t width, std::int32_t height,
                                                                   ESurfaceFormat format) override
    {
        if (!m_Log.Note("picture", width, height, Name(format))) return nullptr;
        return std::make_shared<CLoggedPicture>(m_Log, width, height);
    }
    std::shared_ptr<ISwapChain> CreateAdditionalSwapChain(const PresentParameters& parameters) override
    {
        return m_Log.Note("chain", Text(parameters)) ? std::make_shared<CLoggedChain>(m_Log) : nullptr;
    }
    bool StretchRect(IOffscreenSurface&, const RECT& source, IBackBuffer&, ETextureFilter filter) override
    {
        return m_Log.Note("stretch", source.left, source.top, source.right, source.bottom, Name(filter));
    }

  private:
    CallLog& m_Log;
};

// Its display has a format other than the pictures', so that the two can be told apart.
class CLoggedAdapter : public ISurfaceAdapter
{
  public:
    explicit CLoggedAdapter(CallLog& log) : m_Log(log) {}
    ~CLoggedAdapter() override { m_Log.Note("~adapter"); }
    bool GetAdapterDisplayMode(DisplayMode& mode) override
    {
        mode = {1024, 768, ESurfaceFormat::A8R8G8B8};
        return m_Log.Note("mode");
    }
    bool GetDeviceCaps(DeviceCaps& caps) override
    {
        caps.VertexProcessingCaps = 1;
        return m_Log.Note("caps");
    }
    EDeviceResult CreateDevice(HWND focusWindow, std::uint32_t behaviourFlags,
                               const PresentParameters& parameters,
                               std::shared_ptr<ISurfaceDevice>& device) override
    {
        if (!m_Log.Note("device", static_cast<std::int32_t>(focusWindow), behaviourFlags, Text(parameters)))
            return EDeviceResult::Failed;
        device = std::make_shared<CLoggedDevice>(m_Log);
        m_Log.state = EDeviceState::Working;
        return EDeviceResult::Ok;
    }

  private:
    CallLog& m_Log;
};

class D3DSurfaceCallsTest : public testing::Test
{
  protected:
    CSurface* Surface(std::int32_t width, std::int32_t height)
    {
        m_Render.Init(HWND{7});
        CSurface* const surface = m_Render.CreateSurface(width, height);
        m_Log.Take();
        return surface;
    }

    CRecordingBackend m_Backend;
    CallLog m_Log;
    CD3DSurfaceRender m_Render{[this] {
        m_Log.Note("open");
        return std::make_shared<CLoggedAdapter>(m_Log);
    }};
};

constexpr const char* DEVICE_CALLS[] = {"open", "mode", "caps",
                                        "device 7 64 1024x768 a8r8g8b8 buffers 1 window 7 windowed flags 0",
                                        "sampler linear linear"};

TEST_F(D3DSurfaceCallsTest, DeviceIsMadeStepByStepInTheScreensSizeAndFormat)
{
    EXPECT_EQ(m_Render.Init(HWND{7}), 1);
    EXPECT_THAT(m_Log.Take(), ElementsAreArray(DEVICE_CALLS));
}

TEST_F(D3DSurfaceCallsTest, SetUpStopsAtTheStepThatFails)
{
    std::size_t steps = 2;
    for (const char* failing : {"mode", "caps", "device"}) {
        m_Log.failing = failing;
        EXPECT_EQ(m_Render.Init(HWND{7}), 0);
        m_Render.Uninit();
        std::vector<std::string> calls(DEVICE_CALLS, DEVICE_CALLS + steps++);
        calls.emplace_back("~adapter");
        EXPECT_EQ(m_Log.Take(), calls) << failing;
        EXPECT_EQ(m_Backend.TakeTexts().size(), 1U) << failing;
    }
}

TEST_F(D3DSurfaceCallsTest, SurfaceIsMadeStepByStepInItsOwnSize)
{
    m_Render.Init(HWND{7});
    m_Log.Take();
    m_Render.CreateSurface(352, 288);
    EXPECT_THAT(m_Log.Take(),
                ElementsAre("picture 352 288 x8r8g8b8",
                            "chain 352x288 a8r8g8b8 buffers 1 window 0 windowed flags 16", "buffer 0"));
}

TEST_F(D3DSurfaceCallsTest, SurfaceIsMadeUpToTheStepThatFails)
{
    m_Render.Init(HWND{7});
    m_Log.Take();
    m_Log.failing = "picture";
    m_Render.CreateSurface(352, 288);
    EXPECT_THAT(m_Log.Take(), ElementsAre("picture 352 288 x8r8g8b8"));
    m_Log.failing = "chain";
    m_Render.CreateSurface(352, 288);
    EXPECT_EQ(m_Log.Take().size(), 2U);
}

TEST_F(D3DSurfaceCallsTest, FrameIsWrittenStretchedAndPresented)
{
    CSurface* const surface = Surface(352, 288);
    const CTestFrame frame(352, 288, 90);
    EXPECT_EQ(m_Render.DisplayClient(&frame.m_Frame, surface, HWND{5}), 0);
    EXPECT_THAT(m_Log.Take(),
                ElementsAre("lock to write", "unlock written", "stretch 0 0 352 288 linear", "present 5"));
    EXPECT_EQ(m_Render.DisplayClient(nullptr, surface, HWND{6}), 0);
    EXPECT_THAT(m_Log.Take(), ElementsAre("stretch 0 0 352 288 linear", "present 6"));
}

TEST_F(D3DSurfaceCallsTest, StretchGoesByTheFramesSizeLargerOrSmallerThanTheSurface)
{
    CSurface* const surface = Surface(352, 288);
    CTestFrame frame(704, 576, 90);
    EXPECT_EQ(m_Render.DisplayClient(&frame.m_Frame, surface, HWND{5}), 0);
    EXPECT_THAT(m_Log.Take(),
                ElementsAre("lock to write", "unlock written", "stretch 0 0 704 576 linear", "present 5"));
    frame.m_Frame.width = 176;
    frame.m_Frame.height = 144;
    EXPECT_EQ(m_Render.DisplayClient(&frame.m_Frame, surface, HWND{5}), 0);
    EXPECT_THAT(m_Log.Take(),
                ElementsAre("lock to write", "unlock written", "stretch 0 0 176 144 linear", "present 5"));
}

// What the surface holds is shown, whether or not the frame came into it.
TEST_F(D3DSurfaceCallsTest, RefusedWidthIsNotWrittenAndYetPresented)
{
    CSurface* const surface = Surface(360, 288);
    const CTestFrame frame(360, 288, 90);
    EXPECT_EQ(m_Render.DisplayClient(&frame.m_Frame, surface, HWND{5}), 0);
    EXPECT_THAT(m_Log.Take(),
                ElementsAre("lock to write", "unlock unwritten", "stretch 0 0 360 288 linear", "present 5"));
}

TEST_F(D3DSurfaceCallsTest, FailedStepOfAFrameKeepsNoOtherStepFromRunning)
{
    CSurface* const surface = Surface(352, 288);
    const CTestFrame frame(352, 288, 90);
    m_Log.failing = "lock";
    EXPECT_EQ(m_Render.DisplayClient(&frame.m_Frame, surface, HWND{5}), 0);
    EXPECT_THAT(m_Log.Take(), ElementsAre("lock to write", "stretch 0 0 352 288 linear", "present 5"));
    for (const char* failing : {"stretch", "present"}) {
        m_Log.failing = failing;
        EXPECT_EQ(m_Render.DisplayClient(&frame.m_Frame, surface, HWND{5}), 0);
        EXPECT_EQ(m_Log.Take().size(), 4U) << failing;
    }
    EXPECT_THAT(m_Backend.TakeTexts(), IsEmpty());
}

// The picture stands though the buffer failed: it is written, and nothing is shown.
TEST_F(D3DSurfaceCallsTest, FrameOfASurfaceWithoutBufferIsWrittenAndRefused)
{
    m_Log.failing = "buffer";
    CSurface* const surface = Surface(352, 288);
    const CTestFrame frame(352, 288, 90);
    EXPECT_EQ(m_Render.DisplayClient(&frame.m_Frame, surface, HWND{5}), -1);
    EXPECT_THAT(m_Log.Take(), ElementsAre("lock to write", "unlock written"));
}

TEST_F(D3DSurfaceCallsTest, DestroyedSurfaceGivesBackBufferChainAndPictureInThisOrder)
{
    CSurface* const surface = Surface(352, 288);
    m_Render.DestroySurface(surface);
    EXPECT_THAT(m_Log.Take(), ElementsAre("~buffer", "~chain", "~picture"));
}

TEST_F(D3DSurfaceCallsTest, UninitGivesBackTheDeviceBeforeTheAdapter)
{
    m_Render.Init(HWND{7});
    m_Log.Take();
    EXPECT_EQ(m_Render.Uninit(), 1);
    EXPECT_THAT(m_Log.Take(), ElementsAre("~device", "~adapter"));
}

TEST_F(D3DSurfaceCallsTest, RebuildingGivesTheDeviceBackFirstAndTakesTheSurfacesInTheirOrder)
{
    CSurface* const first = Surface(352, 288);
    m_Render.CreateSurface(704, 576);
    const CTestFrame frame(352, 288, 90);
    m_Log.Take();
    m_Log.state = EDeviceState::NotReset;
    EXPECT_EQ(m_Render.DisplayClient(&frame.m_Frame, first, HWND{5}), 0);
    std::vector<std::string> calls{"~device", "~adapter"};
    calls.insert(calls.end(), std::begin(DEVICE_CALLS), std::end(DEVICE_CALLS));
    for (const std::string size : {"352 288", "704 576"}) {
        std::string across = size;
        across[3] = 'x';
        for (const std::string& call :
             {std::string("~buffer"), std::string("~chain"), std::string("~picture"),
              "picture " + size + " x8r8g8b8",
              "chain " + across + " a8r8g8b8 buffers 1 window 0 windowed flags 16", std::string("buffer 0")})
            calls.push_back(call);
    }
    EXPECT_EQ(m_Log.Take(), calls);
}

}  // namespace
