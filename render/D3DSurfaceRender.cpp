#include "render/D3DSurfaceRender.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "codec/convert/convert.h"
#include "inc/CxLog.h"
#include "inc/LogLine.h"
#include "inc/Mutex.h"
#include "model/settings/Language.h"
#include "platform/os/paths.h"
#include "render/CellPool.h"
#include "render/SnapshotFile.h"

namespace
{

constexpr std::int32_t FORMAT_BGR0 = 0x23;  // 32-bit pixels: blue, green, red, 0

struct Failure {
    EDeviceResult result;
    const char* text;
};

constexpr Failure CREATE_DEVICE_FAILURES[] = {
    {EDeviceResult::NotAvailable, "CreateDevice failed: Not Available"},
    {EDeviceResult::OutOfVideoMemory, "CreateDevice failed: Out Of Video Memory"},
    {EDeviceResult::DeviceLost, "CreateDevice failed: Device Lost"},
    {EDeviceResult::InvalidCall, "CreateDevice failed: Invalid Call"},
};

const char* CreateDeviceText(EDeviceResult result)
{
    for (const Failure& failure : CREATE_DEVICE_FAILURES) {
        if (failure.result == result) return failure.text;
    }
    return "CreateDevice failed: Unknown Error";
}

}  // namespace

// The three objects of one stream. A rebuilding replaces them while the link thread may be about to use them,
// so both sides go through the leaf lock and keep what they took.
class CD3DSurfaceRender::CD3DSurface : public CSurface
{
  public:
    using CSurface::CSurface;

    struct Objects {
        std::shared_ptr<IOffscreenSurface> offscreen;
        std::shared_ptr<ISwapChain> swapChain;
        std::shared_ptr<IBackBuffer> backBuffer;
    };

    Objects Get() const
    {
        const CMutexLock lock(m_csObjects);
        return m_Objects;
    }

    void Set(Objects objects)
    {
        {
            const CMutexLock lock(m_csObjects);
            std::swap(m_Objects, objects);
        }
        objects.backBuffer.reset();
        objects.swapChain.reset();
        objects.offscreen.reset();
    }

    PresentParameters m_Parameters;

  private:
    mutable CMutex m_csObjects;  // a leaf lock
    Objects m_Objects GUARDED_BY(m_csObjects);
};

CD3DSurfaceRender::CD3DSurfaceRender(SurfaceAdapterFactory open) : m_Open(std::move(open)) {}

CD3DSurfaceRender::~CD3DSurfaceRender()
{
    CD3DSurfaceRender::Uninit();
    for (CSurface* surface : m_Surfaces)
        delete surface;
}

std::shared_ptr<ISurfaceDevice> CD3DSurfaceRender::GetDevice() const
{
    const CMutexLock lock(m_csDevice);
    return m_pDevice;
}

void CD3DSurfaceRender::SetDevice(std::shared_ptr<ISurfaceDevice> device)
{
    const CMutexLock lock(m_csDevice);
    m_pDevice.swap(device);
}

std::int32_t CD3DSurfaceRender::Init(HWND window)
{
    CRender::Init(window);
    CMessages messages;
    bool created = false;
    {
        const CAutoLock lock(m_csRender);
        created = CreateDevice(messages);
    }
    Show("CD3DSurfaceRender::Init", messages);
    return created ? 1 : 0;
}

// No link thread calls any more.
std::int32_t CD3DSurfaceRender::Uninit() NO_THREAD_SAFETY_ANALYSIS
{
    m_bNotReset = false;
    SetDevice(nullptr);
    m_pD3D.reset();
    return 1;
}

// What failed goes to the log and to the user; `function` is the one in which it failed.
void CD3DSurfaceRender::Show(const char* function, const CMessages& messages) const
{
    for (const std::string& text : messages)
        LogLine(ELogLevel::Error, function, text);
    for (const std::string& text : messages)
        MessageBoxA(m_hWnd, text, "", MB_OK | MB_ICONERROR);
}

bool CD3DSurfaceRender::CreateDevice(CMessages& messages)
{
    ASSERT_HELD(m_csRender);
    const auto fail = [&messages](std::string text) {
        messages.push_back(std::move(text));
        return false;
    };
    m_pD3D = m_Open();
    if (m_pD3D == nullptr) return fail(CLanguage::GetString("IDS_NoDirectX9"));
    DisplayMode mode;
    if (!m_pD3D->GetAdapterDisplayMode(mode)) return fail("GetAdapterDisplayMode failed");
    m_Format = mode.format;
    DeviceCaps caps;
    if (!m_pD3D->GetDeviceCaps(caps)) return fail(CLanguage::GetString("IDS_NoDisplayDriver"));
    m_dwBehaviourFlags |=
        caps.VertexProcessingCaps == 0 ? CREATE_SOFTWARE_VERTEXPROCESSING : CREATE_HARDWARE_VERTEXPROCESSING;
    m_Parameters = {mode.width, mode.height, m_Format, 1, m_hWnd, true, 0};
    std::shared_ptr<ISurfaceDevice> device;
    const EDeviceResult result = m_pD3D->CreateDevice(m_hWnd, m_dwBehaviourFlags, m_Parameters, device);
    if (result != EDeviceResult::Ok) return fail(CreateDeviceText(result));
    device->SetSamplerState(ETextureFilter::Linear, ETextureFilter::Linear);
    SetDevice(std::move(device));
    CDrawingEnd::Watch();
    m_bDrawn = false;
    return true;
}

CSurface* CD3DSurfaceRender::CreateSurface(std::int32_t width, std::int32_t height)
{
    CMessages messages;
    auto surface = std::make_unique<CD3DSurface>(width, height);
    CSurface* const handedOut = surface.get();
    {
        const CAutoLock lock(m_csRender);
        Build(*surface, messages);
        m_Surfaces.push_back(surface.release());
    }
    Show("CD3DSurfaceRender::CreateSurface", messages);
    return handedOut;
}

// Builds the three objects for the surface's size, as far as it goes.
void CD3DSurfaceRender::Build(CD3DSurface& surface, CMessages& messages)
{
    ASSERT_HELD(m_csRender);
    surface.Set({});
    CD3DSurface::Objects objects;
    const auto device = GetDevice();
    if (device != nullptr)
        objects.offscreen =
            device->CreateOffscreenPlainSurface(surface.m_iWidth, surface.m_iHeight, ESurfaceFormat::X8R8G8B8);
    if (objects.offscreen == nullptr) {
        messages.emplace_back("Create Off Screen Surface failed!");
        return;
    }
    surface.m_Parameters = {surface.m_iWidth, surface.m_iHeight, m_Format, 1, HWND::Null, true,
                            PRESENTFLAG_VIDEO};
    objects.swapChain = device->CreateAdditionalSwapChain(surface.m_Parameters);
    if (objects.swapChain == nullptr) {
        messages.emplace_back("Create Additional Swap Chain failed!");
    } else {
        objects.backBuffer = objects.swapChain->GetBackBuffer(0);
        if (objects.backBuffer == nullptr) messages.emplace_back("Get Back Buffer failed!");
    }
    surface.Set(std::move(objects));
}

void CD3DSurfaceRender::DestroySurface(CSurface* surface)
{
    if (surface == nullptr) return;
    const CAutoLock lock(m_csRender);
    const auto found = std::find(m_Surfaces.begin(), m_Surfaces.end(), surface);
    if (found == m_Surfaces.end()) return;
    static_cast<CD3DSurface*>(surface)->Set({});
    delete surface;
    m_Surfaces.erase(found);
}

// A new device, and every surface rebuilt in place with its own size. The device is recreated, not reset, and
// whether that succeeded shows at the next frame. `found` is the device that the frame used, null when none
// could be made before: several frames may have used it, and one rebuilds for all.
void CD3DSurfaceRender::Recover(const ISurfaceDevice* found, CMessages& messages)
{
    const CAutoLock lock(m_csRender);
    auto lost = GetDevice();
    if (lost.get() != found) return;  // another link thread was faster
    const bool needed =
        lost != nullptr ? lost->TestCooperativeLevel() == EDeviceState::NotReset : m_bNotReset.load();
    if (!needed) return;
    SetDevice(nullptr);
    if (lost != nullptr) lost->Release();  // though another link thread may still hold it
    lost.reset();
    m_pD3D.reset();
    CMessages failures;
    const bool made = CreateDevice(failures);
    for (CSurface* surface : m_Surfaces)
        Build(*static_cast<CD3DSurface*>(surface), failures);
    m_ulRefusedFrames = 0;
    if (!m_bNotReset.exchange(!made)) messages = std::move(failures);
}

// Whether a device that could not be made again is to be tried once more with this frame.
bool CD3DSurfaceRender::IsToRemake()
{
    return m_bNotReset && ++m_ulRefusedFrames % REMAKE_FRAMES == 0;
}

std::int32_t CD3DSurfaceRender::DropAndRecover(const ISurfaceDevice* found)
{
    CMessages messages;
    Recover(found, messages);
    Show("CD3DSurfaceRender::DisplayClient", messages);
    return 0;
}

std::int32_t CD3DSurfaceRender::DisplayClient(const CodecFrame* frame, CSurface* surface, HWND window)
{
    EShowing showing = EShowing::Dropped;
    const std::int32_t result = Display(frame, surface, window, showing);
    if (surface != nullptr) surface->m_Showing = showing;
    return result;
}

std::int32_t CD3DSurfaceRender::Display(const CodecFrame* frame, CSurface* surface, HWND window,
                                        EShowing& showing)
{
    if (window == HWND::Null) {
        showing = EShowing::WithoutCell;
        return -1;
    }
    auto device = GetDevice();
    if (device == nullptr) return IsToRemake() ? DropAndRecover(nullptr) : -1;
    switch (device->TestCooperativeLevel()) {
        case EDeviceState::Lost:
            return 0;
        case EDeviceState::NotReset: {
            const ISurfaceDevice* const found = device.get();
            device.reset();
            return DropAndRecover(found);
        }
        case EDeviceState::Working:
            break;
    }
    if (surface == nullptr) return -1;
    auto& stream = *static_cast<CD3DSurface*>(surface);
    const CD3DSurface::Objects objects = stream.Get();
    if (frame != nullptr && objects.offscreen != nullptr) showing = Upload(*frame, stream, *objects.offscreen);
    if (objects.offscreen == nullptr || objects.backBuffer == nullptr) {
        showing = EShowing::Dropped;
        return -1;
    }
    // The upload went by the surface's size, the stretch goes by the frame's.
    const RECT source{0, 0, frame != nullptr ? frame->width : stream.m_iWidth,
                      frame != nullptr ? frame->height : stream.m_iHeight};
    bool stretched = false;
    bool presented = false;
    {
        const CFrameTurn turn(m_Turns);
        const CAutoLock lock(m_csRender);
        if (std::chrono::steady_clock::now() >= stream.m_ShowBefore) {
            showing = EShowing::TooLate;
            return 0;
        }
        stretched =
            device->StretchRect(*objects.offscreen, source, *objects.backBuffer, ETextureFilter::Linear);
        presented = objects.swapChain->Present(window);
    }
    if (presented && !m_bDrawn.exchange(true)) CDrawingEnd::Watch();
    if (presented) NoteCellShown(window);
    if (showing == EShowing::Shown && !(stretched && presented)) showing = EShowing::Dropped;
    return 0;
}

// A picture that is busy keeps what it holds; so does one whose width the conversion refuses. Shown: if the
// rest of the way succeeds.
EShowing CD3DSurfaceRender::Upload(const CodecFrame& frame, const CSurface& surface, IOffscreenSurface& to)
{
    LockedRect locked;
    if (!to.Lock(ELockMode::Discard, locked)) return EShowing::Dropped;
    ConvertTarget target{};
    target.data[0] = locked.bits;
    target.linesize[0] = locked.pitch;
    target.format = FORMAT_BGR0;
    const bool converted =
        ConvertChanges(target, frame, surface.m_iWidth, surface.m_iHeight, locked.held) == CONVERT_OK;
    to.Unlock(converted);
    return converted ? EShowing::Shown : EShowing::NotConvertible;
}

std::int32_t CD3DSurfaceRender::SaveSnapshot(std::string path, CSurface* surface)
{
    if (surface == nullptr) return 0;
    auto& stream = *static_cast<CD3DSurface*>(surface);
    const auto picture = stream.Get().offscreen;
    LockedRect locked;
    if (picture == nullptr || !picture->Lock(ELockMode::ReadOnly, locked)) return 0;
    WriteSnapshotFile(HostPath(path), locked.bits, locked.pitch, stream.m_iWidth, stream.m_iHeight);
    picture->Unlock(false);
    return 0;
}
