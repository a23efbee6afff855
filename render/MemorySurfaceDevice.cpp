#include "render/MemorySurfaceDevice.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace
{

constexpr std::int32_t SCREEN_WIDTH = 1280;
constexpr std::int32_t SCREEN_HEIGHT = 1024;
constexpr std::int32_t BYTES_A_PIXEL = 4;
constexpr std::int32_t PITCH_ALIGNMENT = 64;  // as a display's memory has it, so pitch and width differ
constexpr std::size_t STEPS = static_cast<std::size_t>(DEVICE_STEP::Present) + 1;

}  // namespace

struct CMemorySurfaceAdapter::State {
    struct Window {
        XMemoryPicture m_Picture;
        std::uint32_t m_ulPresents = 0;
    };

    mutable std::mutex m_csState;  // a leaf lock; guards all below
    std::array<bool, STEPS> m_Faults{};
    std::array<std::uint32_t, STEPS> m_Calls{};
    DEVICE_RESULT m_CreateResult = DEVICE_RESULT::Failed;
    DEVICE_STATE m_DeviceState = DEVICE_STATE::Working;
    std::uint32_t m_dwVertexCaps = 1;
    std::uint32_t m_dwBehaviourFlags = 0;
    XPresentParameters m_Parameters;
    std::map<HWND, Window> m_Windows;
    std::uint32_t m_ulPresents = 0;

    // Counts the step; false when it shall fail.
    bool Take(DEVICE_STEP step)
    {
        const std::lock_guard lock(m_csState);
        ++m_Calls[static_cast<std::size_t>(step)];
        return !m_Faults[static_cast<std::size_t>(step)];
    }
};

namespace
{

using StatePointer = std::shared_ptr<CMemorySurfaceAdapter::State>;

class CMemorySurface : public IOffscreenSurface
{
  public:
    CMemorySurface(StatePointer state, std::int32_t width, std::int32_t height)
        : m_pState(std::move(state)),
          m_iWidth(width),
          m_iHeight(height),
          m_iPitch((width * BYTES_A_PIXEL + PITCH_ALIGNMENT - 1) / PITCH_ALIGNMENT * PITCH_ALIGNMENT),
          m_Pixels(static_cast<std::size_t>(m_iPitch) * static_cast<std::size_t>(height))
    {
    }

    bool Lock(XLockedRect& locked) override
    {
        if (!m_pState->Take(DEVICE_STEP::LockRect) || !m_csPixels.try_lock()) return false;
        locked.pitch = m_iPitch;
        locked.bits = m_Pixels.data();
        return true;
    }

    void Unlock() override { m_csPixels.unlock(); }

    // Runs `read` on the pixels while they are not being written; false when they are.
    template <typename READ>
    bool Read(READ read)
    {
        const std::unique_lock lock(m_csPixels, std::try_to_lock);
        if (!lock.owns_lock()) return false;
        read(m_Pixels.data(), m_iPitch, m_iWidth, m_iHeight);
        return true;
    }

  private:
    const StatePointer m_pState;
    const std::int32_t m_iWidth;
    const std::int32_t m_iHeight;
    const std::int32_t m_iPitch;
    std::mutex m_csPixels;  // held between Lock and Unlock
    std::vector<std::uint8_t> m_Pixels;
};

class CMemoryBackBuffer : public IBackBuffer
{
  public:
    CMemoryBackBuffer(std::int32_t width, std::int32_t height)
    {
        m_Picture.iWidth = width;
        m_Picture.iHeight = height;
        m_Picture.pixels.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) *
                                BYTES_A_PIXEL);
    }

    // Copies the source rectangle, clipped to the picture, over the whole buffer; nearest samples.
    void Stretch(const std::uint8_t* pixels, std::int32_t pitch, const RECT& source)
    {
        const std::int32_t width = source.right - source.left;
        const std::int32_t height = source.bottom - source.top;
        for (std::int32_t y = 0; y < m_Picture.iHeight; ++y) {
            const std::int32_t from_y =
                source.top + static_cast<std::int32_t>(std::int64_t{y} * height / m_Picture.iHeight);
            const std::uint8_t* const row = pixels + std::ptrdiff_t{from_y} * pitch;
            std::uint8_t* const to =
                m_Picture.pixels.data() + std::ptrdiff_t{y} * m_Picture.iWidth * BYTES_A_PIXEL;
            if (width == m_Picture.iWidth) {
                std::memcpy(to, row + std::ptrdiff_t{source.left} * BYTES_A_PIXEL,
                            static_cast<std::size_t>(width) * BYTES_A_PIXEL);
                continue;
            }
            for (std::int32_t x = 0; x < m_Picture.iWidth; ++x) {
                const std::int32_t from_x =
                    source.left + static_cast<std::int32_t>(std::int64_t{x} * width / m_Picture.iWidth);
                std::memcpy(to + std::ptrdiff_t{x} * BYTES_A_PIXEL,
                            row + std::ptrdiff_t{from_x} * BYTES_A_PIXEL, BYTES_A_PIXEL);
            }
        }
    }

    XMemoryPicture m_Picture;
};

class CMemorySwapChain : public ISwapChain
{
  public:
    CMemorySwapChain(StatePointer state, const XPresentParameters& parameters)
        : m_pState(std::move(state)),
          m_pBuffer(
              std::make_shared<CMemoryBackBuffer>(parameters.BackBufferWidth, parameters.BackBufferHeight))
    {
    }

    std::shared_ptr<IBackBuffer> GetBackBuffer(std::uint32_t number) override
    {
        if (!m_pState->Take(DEVICE_STEP::GetBackBuffer) || number != 0) return nullptr;
        return m_pBuffer;
    }

    bool Present(HWND window) override
    {
        if (!m_pState->Take(DEVICE_STEP::Present) || window == HWND::Null) return false;
        const std::lock_guard lock(m_pState->m_csState);
        auto& shown = m_pState->m_Windows[window];
        // The window keeps the buffer and the chain takes the window's former one: swapping costs no copy.
        std::swap(shown.m_Picture, m_pBuffer->m_Picture);
        m_pBuffer->m_Picture.iWidth = shown.m_Picture.iWidth;
        m_pBuffer->m_Picture.iHeight = shown.m_Picture.iHeight;
        m_pBuffer->m_Picture.pixels.resize(shown.m_Picture.pixels.size());
        ++shown.m_ulPresents;
        ++m_pState->m_ulPresents;
        return true;
    }

  private:
    const StatePointer m_pState;
    const std::shared_ptr<CMemoryBackBuffer> m_pBuffer;
};

class CMemorySurfaceDevice : public ISurfaceDevice
{
  public:
    explicit CMemorySurfaceDevice(StatePointer state) : m_pState(std::move(state)) {}

    DEVICE_STATE TestCooperativeLevel() override
    {
        const std::lock_guard lock(m_pState->m_csState);
        return m_pState->m_DeviceState;
    }

    bool SetSamplerState(TEXTURE_FILTER, TEXTURE_FILTER) override { return true; }

    std::shared_ptr<IOffscreenSurface> CreateOffscreenPlainSurface(std::int32_t width, std::int32_t height,
                                                                   SURFACE_FORMAT) override
    {
        if (!m_pState->Take(DEVICE_STEP::CreateOffscreenPlainSurface) || width <= 0 || height <= 0)
            return nullptr;
        return std::make_shared<CMemorySurface>(m_pState, width, height);
    }

    std::shared_ptr<ISwapChain> CreateAdditionalSwapChain(const XPresentParameters& parameters) override
    {
        const bool usable = parameters.BackBufferWidth > 0 && parameters.BackBufferHeight > 0;
        if (!m_pState->Take(DEVICE_STEP::CreateAdditionalSwapChain) || !usable) return nullptr;
        return std::make_shared<CMemorySwapChain>(m_pState, parameters);
    }

    bool StretchRect(IOffscreenSurface& from, const RECT& source, IBackBuffer& to, TEXTURE_FILTER) override
    {
        if (!m_pState->Take(DEVICE_STEP::StretchRect)) return false;
        auto* const surface = dynamic_cast<CMemorySurface*>(&from);
        auto* const buffer = dynamic_cast<CMemoryBackBuffer*>(&to);
        if (surface == nullptr || buffer == nullptr) return false;
        bool done = false;
        const bool free = surface->Read([&](const std::uint8_t* pixels, std::int32_t pitch, std::int32_t width,
                                            std::int32_t height) {
            const bool inside = source.left >= 0 && source.top >= 0 && source.left < source.right &&
                                source.top < source.bottom && source.right <= width && source.bottom <= height;
            if (inside) buffer->Stretch(pixels, pitch, source);
            done = inside;
        });
        return free && done;
    }

  private:
    const StatePointer m_pState;
};

}  // namespace

CMemorySurfaceAdapter::CMemorySurfaceAdapter() : m_pState(std::make_shared<State>()) {}
CMemorySurfaceAdapter::~CMemorySurfaceAdapter() = default;

bool CMemorySurfaceAdapter::GetAdapterDisplayMode(XDisplayMode& mode)
{
    if (!m_pState->Take(DEVICE_STEP::GetAdapterDisplayMode)) return false;
    mode = {SCREEN_WIDTH, SCREEN_HEIGHT, SURFACE_FORMAT::X8R8G8B8};
    return true;
}

bool CMemorySurfaceAdapter::GetDeviceCaps(XDeviceCaps& caps)
{
    if (!m_pState->Take(DEVICE_STEP::GetDeviceCaps)) return false;
    const std::lock_guard lock(m_pState->m_csState);
    caps.VertexProcessingCaps = m_pState->m_dwVertexCaps;
    return true;
}

DEVICE_RESULT CMemorySurfaceAdapter::CreateDevice(HWND, std::uint32_t behaviourFlags,
                                                  const XPresentParameters& parameters,
                                                  std::shared_ptr<ISurfaceDevice>& device)
{
    device.reset();
    const bool works = m_pState->Take(DEVICE_STEP::CreateDevice);
    const std::lock_guard lock(m_pState->m_csState);
    m_pState->m_dwBehaviourFlags = behaviourFlags;
    m_pState->m_Parameters = parameters;
    if (!works) return m_pState->m_CreateResult;
    m_pState->m_DeviceState = DEVICE_STATE::Working;
    device = std::make_shared<CMemorySurfaceDevice>(m_pState);
    return DEVICE_RESULT::Ok;
}

void CMemorySurfaceAdapter::SetFault(DEVICE_STEP step, bool fail, DEVICE_RESULT result)
{
    const std::lock_guard lock(m_pState->m_csState);
    m_pState->m_Faults[static_cast<std::size_t>(step)] = fail;
    m_pState->m_CreateResult = result;
}

void CMemorySurfaceAdapter::SetState(DEVICE_STATE state)
{
    const std::lock_guard lock(m_pState->m_csState);
    m_pState->m_DeviceState = state;
}

void CMemorySurfaceAdapter::SetVertexProcessingCaps(std::uint32_t caps)
{
    const std::lock_guard lock(m_pState->m_csState);
    m_pState->m_dwVertexCaps = caps;
}

XMemoryPicture CMemorySurfaceAdapter::GetPicture(HWND window) const
{
    const std::lock_guard lock(m_pState->m_csState);
    const auto found = m_pState->m_Windows.find(window);
    return found != m_pState->m_Windows.end() ? found->second.m_Picture : XMemoryPicture{};
}

std::uint32_t CMemorySurfaceAdapter::GetPresentCount(HWND window) const
{
    const std::lock_guard lock(m_pState->m_csState);
    const auto found = m_pState->m_Windows.find(window);
    return found != m_pState->m_Windows.end() ? found->second.m_ulPresents : 0;
}

std::uint32_t CMemorySurfaceAdapter::GetPresentCount() const
{
    const std::lock_guard lock(m_pState->m_csState);
    return m_pState->m_ulPresents;
}

std::uint32_t CMemorySurfaceAdapter::GetCallCount(DEVICE_STEP step) const
{
    const std::lock_guard lock(m_pState->m_csState);
    return m_pState->m_Calls[static_cast<std::size_t>(step)];
}

std::uint32_t CMemorySurfaceAdapter::GetBehaviourFlags() const
{
    const std::lock_guard lock(m_pState->m_csState);
    return m_pState->m_dwBehaviourFlags;
}

XPresentParameters CMemorySurfaceAdapter::GetDeviceParameters() const
{
    const std::lock_guard lock(m_pState->m_csState);
    return m_pState->m_Parameters;
}
