#pragma once

#include <cstdint>
#include <memory>

#include "render/device/EglTypes.h"

/// An X display of our own with EGL on it. X errors of this display (a window that went away) are ignored,
/// those of other connections go to the former handler. Every call but IsUsable is made under the
/// renderer's critical section, or, to learn the state of a lost device, under the lock of that one's context.
class CEglConnection
{
  public:
    /// Null when there is no display or no OpenGL ES on it.
    static std::shared_ptr<CEglConnection> Open();
    ~CEglConnection();
    CEglConnection(const CEglConnection&) = delete;
    CEglConnection& operator=(const CEglConnection&) = delete;

    /// Whether the X server still answers, as far as anybody has noticed. At any time from any thread.
    bool IsUsable() const;
    /// Whether the processor draws in place of a display adapter.
    bool IsSoftware() const { return m_bSoftware; }
    bool GetScreenSize(std::int32_t& width, std::int32_t& height) const;
    std::int32_t GetMaxTextureSize() const { return m_iMaxTextureSize; }

    /// EGL_NO_CONTEXT on failure; `robust` tells whether resets of the adapter will be reported.
    EGLContext CreateContext(bool& robust);
    void DestroyContext(EGLContext context);
    /// EGL_NO_SURFACE on failure, also for a window that the server doesn't know or that is larger than a
    /// texture can be.
    EGLSurface CreateWindowSurface(std::uintptr_t systemWindow);
    void DestroyWindowSurface(EGLSurface surface);
    void GetSurfaceSize(EGLSurface surface, std::int32_t& width, std::int32_t& height) const;

    /// EGL_NO_SURFACE draws to nothing; EGL_NO_CONTEXT releases the thread's context.
    bool MakeCurrent(EGLSurface surface, EGLContext context);
    /// Shows what was drawn, without waiting for the screen. False when the window is gone.
    bool SwapBuffers(EGLSurface surface);
    /// Whether the last call found the context lost.
    bool IsContextLost() const;
    /// Whether the adapter was reset; the context must be current.
    bool IsGraphicsReset() const;

  private:
    CEglConnection() = default;
    bool Initialize();
    bool IsDrawable(std::uintptr_t systemWindow) const;

    // NOLINTNEXTLINE(bugprone-reserved-identifier): the X library's own name for its Display
    struct _XDisplay* m_pXDisplay = nullptr;
    struct xcb_connection_t* m_pXcb = nullptr;  // the same connection
    EGLDisplay m_Display = EGL_NO_DISPLAY;
    EGLConfig m_Config = nullptr;
    bool m_bHasRobustness = false;
    bool m_bSoftware = false;
    std::int32_t m_iMaxTextureSize = 0;
    unsigned (*m_pGetResetStatus)() = nullptr;
};

/// The program that draws a part of a texture over the whole view: attribute "corner" (0 to 1 both ways, from
/// the top left), uniform "part" (left, top, right, bottom in texture units). 0 on failure; the context must be
/// current.
unsigned BuildPictureProgram();
