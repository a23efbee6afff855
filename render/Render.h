#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/windows/windows.h"

struct CodecFrame;

/// What became of a picture.
enum class EShowing {
    None,            // there was none yet
    Shown,           // the whole way to the window
    WithoutCell,     // there was no window to show it in
    NotConvertible,  // its width, a plane or its rows are refused
    TooLate,         // the device was not free before CSurface::m_ShowBefore
    Dropped,         // anything else that a frame may meet: a lost or busy device, a window that goes
};

/// The picture area of one video stream. A renderer derives from it and keeps what else it needs behind the
/// size. It is bound to no window: the target comes with every picture, so a stream may move between cells.
class CSurface
{
  public:
    CSurface(std::int32_t width, std::int32_t height) : m_iWidth(width), m_iHeight(height) {}
    virtual ~CSurface() = default;
    CSurface(const CSurface&) = delete;
    CSurface& operator=(const CSurface&) = delete;

    const std::int32_t m_iWidth;   // pixels
    const std::int32_t m_iHeight;  // pixels

    /// For the thread that shows the stream alone: until when the next picture that DisplayClient is given may
    /// wait for the device, and what became of the last one.
    std::chrono::steady_clock::time_point m_ShowBefore = std::chrono::steady_clock::time_point::max();
    EShowing m_Showing = EShowing::None;
};

/// The one renderer, shared by every cell of the grid and every link thread. Init and Uninit belong to the
/// panels' thread; all other operations come from many link threads at once, and each renderer does its own
/// locking. Whoever draws holds the renderer by the shared pointer of CreateRender for as long as it holds a
/// surface of it.
class CRender
{
  public:
    CRender() = default;
    virtual ~CRender() = default;
    CRender(const CRender&) = delete;
    CRender& operator=(const CRender&) = delete;

    /// Prepares drawing; `window` is the grid's, the focus window of the renderer. Non-zero on success. There
    /// is no fall-back to another renderer after a failure.
    virtual std::int32_t Init(HWND window);

    /// Gives back what Init took. Non-zero.
    virtual std::int32_t Uninit();

    /// Shows a picture in `window`, scaled to it. Cells come and go on the panels' thread: whoever draws into
    /// one keeps a CWindowHold of it for the frame. The frame's planes are read during the call only. What the
    /// result means differs by renderer and callers ignore it: a picture that can't be shown is dropped in
    /// silence. What became of it is noted in the surface.
    virtual std::int32_t DisplayClient(const CodecFrame* frame, CSurface* surface, HWND window) = 0;

    /// A new surface for a stream of this size in pixels, or null. The renderer owns it until DestroySurface.
    virtual CSurface* CreateSurface(std::int32_t width, std::int32_t height) = 0;

    /// Gives a surface back, at the end of its stream; nobody draws with it any more.
    virtual void DestroySurface(CSurface* surface) = 0;

    /// Writes the surface's present picture into the file `path`, a path in the system's form. 0.
    virtual std::int32_t SaveSnapshot(std::string path, CSurface* surface) = 0;

  protected:
    HWND m_hWnd = HWND::Null;  // given to Init
};

/// The renderer, made on the first call; null when none can be made, and then the next call tries again. Later
/// calls return the same object. At any time from any thread. A link thread that outlives the grid keeps its
/// renderer alive by the result.
std::shared_ptr<CRender> CreateRender();

/// Releases the renderer, so that the next CreateRender makes a new one. For the owner that tears the grid
/// down.
void ReleaseRender();

/// Makes the renderer for CreateRender; null when there is none for this machine.
using CRenderFactory = std::function<std::unique_ptr<CRender>()>;

/// Installs what CreateRender makes from now on, in place of the renderer that the settings choose; an empty
/// function takes it away. Returns the former one. For headless runs and tests; a renderer that stands already
/// stays.
CRenderFactory SetRenderFactory(CRenderFactory factory);
