#include "render/device/EglSurfaceDevice.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <mutex>
#include <vector>

#include "inc/Mutex.h"
#include "render/device/EglConnection.h"
#include "render/device/WindowLease.h"

// Terms: the *connection* is the X display with EGL on it; the *device* is one context on it; a *surface* is
// pixels in memory with a texture that follows them; a *back buffer* is no memory of its own but the note which
// part of which texture is to be shown: a stretch and the presentation that follows it, under one lock, are a
// single draw.
//
// 1. The context is current only within a CCurrentContext, and while a lost device is asked for its state; both
// hold m_csContext.
// 2. Textures are deleted by the next CCurrentContext, since the last owner of a surface may be any thread.
// 3. After a lost context nothing is deleted one by one: it went with the context.
// 4. States: *working*; a reset of the adapter or a broken connection leads to *lost*, which lasts as long as
// the reset is still reported (for good, with a broken connection); then *not reset*, for good: a new device
// has to be made.

namespace
{

constexpr std::int32_t BYTES_A_PIXEL = 4;

GLint FilterName(ETextureFilter filter)
{
    return filter == ETextureFilter::Linear ? GL_LINEAR : GL_NEAREST;
}

class CEglDevice;

class CEglSurface : public IOffscreenSurface, public std::enable_shared_from_this<CEglSurface>
{
  public:
    CEglSurface(std::shared_ptr<CEglDevice> device, std::int32_t width, std::int32_t height)
        : m_pDevice(std::move(device)),
          m_iWidth(width),
          m_iHeight(height),
          m_Pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * BYTES_A_PIXEL)
    {
    }
    ~CEglSurface() override;

    bool Lock(ELockMode, LockedRect& locked) override NO_THREAD_SAFETY_ANALYSIS  // until Unlock
    {
        if (!m_csPixels.try_lock()) return false;
        locked.pitch = m_iWidth * BYTES_A_PIXEL;
        locked.bits = m_Pixels.data();
        locked.held = &m_Held;
        return true;
    }

    void Unlock(bool written) override NO_THREAD_SAFETY_ANALYSIS
    {
        m_bChanged = m_bChanged || written;
        m_csPixels.unlock();
    }

    // Brings the texture up to date and binds it; false while the pixels are being written.
    bool BindTexture();

    const std::shared_ptr<CEglDevice> m_pDevice;
    const std::int32_t m_iWidth;
    const std::int32_t m_iHeight;

  private:
    CMutex m_csPixels;  // held between Lock and Unlock
    std::vector<std::uint8_t> m_Pixels GUARDED_BY(m_csPixels);
    ConvertHeld m_Held GUARDED_BY(m_csPixels){};
    bool m_bChanged GUARDED_BY(m_csPixels) = true;
    GLuint m_Texture = 0;  // under the renderer's critical section
};

class CEglBackBuffer : public IBackBuffer
{
  public:
    std::weak_ptr<CEglSurface> m_pShown;  // none until the first stretch; the stream owns both
    RECT m_Source;
    ETextureFilter m_Filter = ETextureFilter::Linear;
};

class CEglDevice : public ISurfaceDevice, public std::enable_shared_from_this<CEglDevice>
{
  public:
    CEglDevice(std::shared_ptr<CEglConnection> connection, EGLContext context, bool robust)
        : m_pConnection(std::move(connection)), m_bRobust(robust), m_Context(context)
    {
    }
    ~CEglDevice() override;

    bool Prepare();
    EDeviceState TestCooperativeLevel() override;
    void Release() override;
    bool SetSamplerState(ETextureFilter magnify, ETextureFilter minify) override;
    std::shared_ptr<IOffscreenSurface> CreateOffscreenPlainSurface(std::int32_t width, std::int32_t height,
                                                                   ESurfaceFormat format) override;
    std::shared_ptr<ISwapChain> CreateAdditionalSwapChain(const PresentParameters& parameters) override;
    bool StretchRect(IOffscreenSurface& from, const RECT& source, IBackBuffer& to,
                     ETextureFilter filter) override;
    bool Present(const CEglBackBuffer& buffer, HWND window);

    // Any thread: the texture goes with the next current context.
    void DeleteLater(GLuint texture);

  private:
    friend class CCurrentContext;
    struct Window {
        std::uint64_t lent;  // CWindowHold::GetNumber
        EGLSurface surface;
    };

    EGLSurface FindWindowSurface(HWND window, const CWindowHold& hold);
    void DropWindow(HWND window);
    void DropGoneWindows();
    void LetDriverForget();
    bool IsContextGone() const;

    const std::shared_ptr<CEglConnection> m_pConnection;
    const bool m_bRobust;
    std::atomic<EDeviceState> m_State{EDeviceState::Working};

    CMutex m_csContext;                            // held while the context is current; before m_csGarbage
    EGLContext m_Context GUARDED_BY(m_csContext);  // none once released

    // under the renderer's critical section
    GLuint m_Program = 0;
    GLint m_PositionSlot = -1;
    GLint m_RectSlot = -1;
    ETextureFilter m_Magnify = ETextureFilter::Linear;
    ETextureFilter m_Minify = ETextureFilter::Linear;
    std::map<HWND, Window> m_Windows;

    CMutex m_csGarbage;  // a leaf lock
    std::vector<GLuint> m_Garbage GUARDED_BY(m_csGarbage);
};

// The context is current on this thread while one of these stands.
class SCOPED_CAPABILITY CCurrentContext
{
  public:
    CCurrentContext(CEglDevice& device, EGLSurface surface) ACQUIRE(device.m_csContext) : m_Device(device)
    {
        device.m_csContext.lock();
        if (device.m_Context == EGL_NO_CONTEXT) return;
        m_bCurrent = device.m_pConnection->MakeCurrent(surface, device.m_Context);
        if (!m_bCurrent) {
            if (device.m_pConnection->IsContextLost()) device.m_State = EDeviceState::Lost;
            return;
        }
        const CMutexLock lock(device.m_csGarbage);
        if (!device.m_Garbage.empty())
            glDeleteTextures(static_cast<GLsizei>(device.m_Garbage.size()), device.m_Garbage.data());
        device.m_Garbage.clear();
    }
    ~CCurrentContext() RELEASE()
    {
        if (m_bCurrent) m_Device.m_pConnection->MakeCurrent(EGL_NO_SURFACE, EGL_NO_CONTEXT);
        m_Device.m_csContext.unlock();
    }
    CCurrentContext(const CCurrentContext&) = delete;
    CCurrentContext& operator=(const CCurrentContext&) = delete;
    explicit operator bool() const { return m_bCurrent; }

  private:
    CEglDevice& m_Device;
    bool m_bCurrent = false;
};

class CEglSwapChain : public ISwapChain
{
  public:
    explicit CEglSwapChain(std::shared_ptr<CEglDevice> device) : m_pDevice(std::move(device)) {}

    std::shared_ptr<IBackBuffer> GetBackBuffer(std::uint32_t number) override
    {
        return number == 0 ? m_pBuffer : nullptr;
    }
    bool Present(HWND window) override { return m_pDevice->Present(*m_pBuffer, window); }

  private:
    const std::shared_ptr<CEglDevice> m_pDevice;
    const std::shared_ptr<CEglBackBuffer> m_pBuffer = std::make_shared<CEglBackBuffer>();
};

CEglSurface::~CEglSurface()
{
    if (m_Texture != 0) m_pDevice->DeleteLater(m_Texture);
}

bool CEglSurface::BindTexture()
{
    if (!m_csPixels.try_lock()) return false;
    const CMutexLock lock(m_csPixels, std::adopt_lock);
    const bool fresh = m_Texture == 0;
    if (fresh) glGenTextures(1, &m_Texture);
    glBindTexture(GL_TEXTURE_2D, m_Texture);
    if (fresh) {
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
        glTexImage2D(GL_TEXTURE_2D, 0, GL_BGRA_EXT, m_iWidth, m_iHeight, 0, GL_BGRA_EXT, GL_UNSIGNED_BYTE,
                     m_Pixels.data());
    } else if (m_bChanged) {
        glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, m_iWidth, m_iHeight, GL_BGRA_EXT, GL_UNSIGNED_BYTE,
                        m_Pixels.data());
    }
    m_bChanged = false;
    return true;
}

CEglDevice::~CEglDevice()
{
    CEglDevice::Release();
}

void CEglDevice::Release()
{
    const CMutexLock lock(m_csContext);
    if (m_Context == EGL_NO_CONTEXT) return;
    for (const auto& [handle, window] : m_Windows)
        m_pConnection->DestroyWindowSurface(window.surface);
    m_Windows.clear();
    m_pConnection->DestroyContext(m_Context);
    m_Context = EGL_NO_CONTEXT;
    m_State = EDeviceState::NotReset;
}

void CEglDevice::DeleteLater(GLuint texture)
{
    const CMutexLock lock(m_csGarbage);
    m_Garbage.push_back(texture);
}

bool CEglDevice::Prepare()
{
    const CCurrentContext current(*this, EGL_NO_SURFACE);
    if (!current) return false;
    m_Program = BuildPictureProgram();
    if (m_Program == 0) return false;
    m_PositionSlot = glGetAttribLocation(m_Program, "corner");
    m_RectSlot = glGetUniformLocation(m_Program, "part");
    return true;
}

// The context must be current, or have refused to become it.
bool CEglDevice::IsContextGone() const
{
    return m_pConnection->IsContextLost() || (m_bRobust && m_pConnection->IsGraphicsReset());
}

EDeviceState CEglDevice::TestCooperativeLevel()
{
    if (m_State != EDeviceState::Lost || !m_pConnection->IsUsable()) return m_State;
    if (!m_csContext.try_lock()) return m_State;
    const CMutexLock lock(m_csContext, std::adopt_lock);
    if (m_State != EDeviceState::Lost) return m_State;
    // A context that can't even be made current can't be asked.
    bool lasting = false;
    if (m_bRobust && m_pConnection->MakeCurrent(EGL_NO_SURFACE, m_Context)) {
        lasting = m_pConnection->IsGraphicsReset();
        m_pConnection->MakeCurrent(EGL_NO_SURFACE, EGL_NO_CONTEXT);
    }
    if (!lasting && m_pConnection->IsUsable()) m_State = EDeviceState::NotReset;
    return m_State;
}

bool CEglDevice::SetSamplerState(ETextureFilter magnify, ETextureFilter minify)
{
    m_Magnify = magnify;
    m_Minify = minify;
    return true;
}

std::shared_ptr<IOffscreenSurface> CEglDevice::CreateOffscreenPlainSurface(std::int32_t width,
                                                                           std::int32_t height, ESurfaceFormat)
{
    const std::int32_t limit = m_pConnection->GetMaxTextureSize();
    if (width <= 0 || height <= 0 || width > limit || height > limit) return nullptr;
    return std::make_shared<CEglSurface>(shared_from_this(), width, height);
}

std::shared_ptr<ISwapChain> CEglDevice::CreateAdditionalSwapChain(const PresentParameters& parameters)
{
    if (parameters.backBufferWidth <= 0 || parameters.backBufferHeight <= 0) return nullptr;
    return std::make_shared<CEglSwapChain>(shared_from_this());
}

bool CEglDevice::StretchRect(IOffscreenSurface& from, const RECT& source, IBackBuffer& to,
                             ETextureFilter filter)
{
    auto* const surface = dynamic_cast<CEglSurface*>(&from);
    auto* const buffer = dynamic_cast<CEglBackBuffer*>(&to);
    if (surface == nullptr || buffer == nullptr || surface->m_pDevice.get() != this) return false;
    const bool inside = source.left >= 0 && source.top >= 0 && source.left < source.right &&
                        source.top < source.bottom && source.right <= surface->m_iWidth &&
                        source.bottom <= surface->m_iHeight;
    if (!inside) return false;
    buffer->m_pShown = surface->weak_from_this();
    buffer->m_Source = source;
    buffer->m_Filter = filter;
    return true;
}

EGLSurface CEglDevice::FindWindowSurface(HWND window, const CWindowHold& hold)
{
    const auto found = m_Windows.find(window);
    if (found != m_Windows.end() && hold.GetWindow() != 0 && found->second.lent == hold.GetNumber())
        return found->second.surface;
    DropWindow(window);
    if (hold.GetWindow() == 0) return EGL_NO_SURFACE;
    DropGoneWindows();
    LetDriverForget();
    const EGLSurface surface = m_pConnection->CreateWindowSurface(hold.GetWindow());
    // A failure is not kept: the next frame tries again.
    if (surface != EGL_NO_SURFACE) m_Windows[window] = {hold.GetNumber(), surface};
    return surface;
}

void CEglDevice::DropWindow(HWND window)
{
    const auto found = m_Windows.find(window);
    if (found == m_Windows.end()) return;
    m_pConnection->DestroyWindowSurface(found->second.surface);
    m_Windows.erase(found);
}

// Nobody draws into them any more, so no frame would find them: a host may keep one control and open and end
// others all day.
void CEglDevice::DropGoneWindows()
{
    std::erase_if(m_Windows, [this](const auto& entry) {
        const bool gone = !CWindowLease::Stands(entry.first);
        if (gone) m_pConnection->DestroyWindowSurface(entry.second.surface);
        return gone;
    });
}

// A driver may keep the pixels of a destroyed surface until the context becomes current, and take a new surface
// that has got the same address by then for the former one: its pixels would stay for as long as the context.
void CEglDevice::LetDriverForget()
{
    const CCurrentContext withoutSurface(*this, EGL_NO_SURFACE);
}

bool CEglDevice::Present(const CEglBackBuffer& buffer, HWND handle)
{
    const std::shared_ptr<CEglSurface> shown = buffer.m_pShown.lock();
    const CWindowHold hold(handle);
    if (m_State != EDeviceState::Working) return false;
    const EGLSurface surface = FindWindowSurface(handle, hold);
    if (shown == nullptr || surface == EGL_NO_SURFACE) return false;
    const CCurrentContext current(*this, surface);
    if (!current) {
        if (m_State == EDeviceState::Working) DropWindow(handle);  // the window was at fault, not the context
        return false;
    }
    if (!shown->BindTexture()) return false;

    std::int32_t width = 0;
    std::int32_t height = 0;
    m_pConnection->GetSurfaceSize(surface, width, height);
    if (std::max(width, height) > m_pConnection->GetMaxTextureSize()) {
        DropWindow(handle);  // until it is smaller
        return false;
    }
    glViewport(0, 0, width, height);
    const bool linear = buffer.m_Filter == ETextureFilter::Linear;
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER,
                    FilterName(linear ? m_Magnify : ETextureFilter::Point));
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER,
                    FilterName(linear ? m_Minify : ETextureFilter::Point));
    const auto across = static_cast<float>(shown->m_iWidth);
    const auto down = static_cast<float>(shown->m_iHeight);
    glUseProgram(m_Program);
    glUniform4f(m_RectSlot, static_cast<float>(buffer.m_Source.left) / across,
                static_cast<float>(buffer.m_Source.top) / down,
                static_cast<float>(buffer.m_Source.right) / across,
                static_cast<float>(buffer.m_Source.bottom) / down);
    static constexpr float CORNERS[] = {0, 0, 1, 0, 0, 1, 1, 1};
    glVertexAttribPointer(static_cast<GLuint>(m_PositionSlot), 2, GL_FLOAT, GL_FALSE, 0, CORNERS);
    glEnableVertexAttribArray(static_cast<GLuint>(m_PositionSlot));
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);

    const bool swapped = m_pConnection->SwapBuffers(surface);
    if (IsContextGone()) {
        m_State = EDeviceState::Lost;
        return false;
    }
    if (!swapped) DropWindow(handle);  // recreated with the next frame
    return swapped;
}

class CEglAdapter : public ISurfaceAdapter
{
  public:
    explicit CEglAdapter(std::shared_ptr<CEglConnection> connection) : m_pConnection(std::move(connection)) {}

    bool GetAdapterDisplayMode(DisplayMode& mode) override
    {
        mode.format = ESurfaceFormat::X8R8G8B8;
        return m_pConnection->GetScreenSize(mode.width, mode.height);
    }

    bool GetDeviceCaps(DeviceCaps& caps) override
    {
        caps.VertexProcessingCaps = m_pConnection->IsSoftware() ? 0 : 1;
        return m_pConnection->IsUsable();
    }

    EDeviceResult CreateDevice(HWND, std::uint32_t, const PresentParameters&,
                               std::shared_ptr<ISurfaceDevice>& device) override
    {
        device.reset();
        bool robust = false;
        const EGLContext context = m_pConnection->CreateContext(robust);
        if (context == EGL_NO_CONTEXT)
            return m_pConnection->IsUsable() ? EDeviceResult::NotAvailable : EDeviceResult::DeviceLost;
        auto made = std::make_shared<CEglDevice>(m_pConnection, context, robust);
        if (!made->Prepare())
            return m_pConnection->IsUsable() ? EDeviceResult::Failed : EDeviceResult::DeviceLost;
        device = std::move(made);
        return EDeviceResult::Ok;
    }

  private:
    const std::shared_ptr<CEglConnection> m_pConnection;
};

}  // namespace

std::shared_ptr<ISurfaceAdapter> OpenEglSurfaceAdapter()
{
    auto connection = CEglConnection::Open();
    return connection != nullptr ? std::make_shared<CEglAdapter>(std::move(connection)) : nullptr;
}
