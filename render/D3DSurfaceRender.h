#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "inc/Mutex.h"
#include "platform/os/threads.h"
#include "render/DrawingEnd.h"
#include "render/FrameTurns.h"
#include "render/Render.h"
#include "render/device/SurfaceDevice.h"

/// The default renderer: one device for all streams; for each stream an off-screen picture, into which the
/// frame is converted directly, and a swap chain, from which it is shown scaled in whatever window the caller
/// names. Nothing waits: a busy device costs frames and never stalls a link thread. After a lost device
/// everything is rebuilt in place: the callers' surfaces stay valid.
///
/// States of the device (TestCooperativeLevel): *working*: frames are shown; *lost*: frames are dropped and the
/// device is left alone; *not reset*: the next frame rebuilds device and surfaces and is dropped itself. When
/// that fails, the state stays: one frame in REMAKE_FRAMES tries again, the others are refused; what failed is
/// told once.
///
/// The critical section covers CreateSurface, DestroySurface, the rebuilding, and each stretch with its
/// presentation, for which the streams take turns. The conversion runs outside of it, on a picture that only
/// the stream's own link thread writes; that picture is kept alive for as long as it is being written, so a
/// rebuilding on another thread costs its contents and nothing more.
class CD3DSurfaceRender : public CRender
{
  public:
    static constexpr std::uint32_t REMAKE_FRAMES = 256;

    /// `open` opens the display adapter at Init and again at each rebuilding.
    explicit CD3DSurfaceRender(SurfaceAdapterFactory open);
    ~CD3DSurfaceRender() override;

    std::int32_t Init(HWND window) override;
    std::int32_t Uninit() override;
    /// 0: shown, or dropped on purpose; -1: no window, no device, or a surface that could not be built.
    std::int32_t DisplayClient(const CodecFrame* frame, CSurface* surface, HWND window) override;
    /// Also a surface whose building failed in part is handed out (the user has seen the message):
    /// DisplayClient refuses it, DestroySurface takes it.
    CSurface* CreateSurface(std::int32_t width, std::int32_t height) override;
    void DestroySurface(CSurface* surface) override;
    /// A BMP of 32 bits a pixel, at the surface's full size, whatever the file's name says.
    std::int32_t SaveSnapshot(std::string path, CSurface* surface) override;

    /// Frames that are converted and wait for the device.
    std::size_t CountWaitingFrames() const { return m_Turns.CountWaiting(); }

  private:
    class CD3DSurface;
    // Texts for the user, gathered under the critical section and shown after it.
    using CMessages = std::vector<std::string>;

    bool CreateDevice(CMessages& messages) REQUIRES(m_csRender);
    void Build(CD3DSurface& surface, CMessages& messages) REQUIRES(m_csRender);
    bool IsToRemake();
    std::int32_t DropAndRecover(const ISurfaceDevice* found) EXCLUDES(m_csRender);
    void Recover(const ISurfaceDevice* found, CMessages& messages);
    // A person answers its boxes: no other stream may wait for that.
    void Show(const char* function, const CMessages& messages) const EXCLUDES(m_csRender);
    std::int32_t Display(const CodecFrame* frame, CSurface* surface, HWND window, EShowing& showing);
    static EShowing Upload(const CodecFrame& frame, const CSurface& surface, IOffscreenSurface& to);
    std::shared_ptr<ISurfaceDevice> GetDevice() const;
    void SetDevice(std::shared_ptr<ISurfaceDevice> device);

    const SurfaceAdapterFactory m_Open;
    CFrameTurns m_Turns;  // before m_csRender
    CCriticalSection m_csRender;
    CDrawingEnd m_End{m_csRender};
    std::atomic<bool> m_bDrawn = false;  // a frame was presented, and the driver has all that drawing needs

    std::vector<CSurface*> m_Surfaces GUARDED_BY(m_csRender);  // those handed out so far
    std::shared_ptr<ISurfaceAdapter> m_pD3D GUARDED_BY(m_csRender);
    PresentParameters m_Parameters GUARDED_BY(m_csRender);
    std::uint32_t m_dwBehaviourFlags GUARDED_BY(m_csRender) = 0;  // only ever or-ed
    ESurfaceFormat m_Format GUARDED_BY(m_csRender) = ESurfaceFormat::X8R8G8B8;

    std::atomic<bool> m_bNotReset{false};             // a rebuilding failed; set under m_csRender
    std::atomic<std::uint32_t> m_ulRefusedFrames{0};  // since then

    mutable CMutex m_csDevice;  // a leaf lock: frames read the pointer before they wait for m_csRender
    std::shared_ptr<ISurfaceDevice> m_pDevice GUARDED_BY(m_csDevice);
};
