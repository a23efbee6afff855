#include "render/device/MemorySurfaceDevice.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "inc/EntryCheck.h"
#include "inc/Mutex.h"

namespace
{

constexpr std::int32_t SCREEN_WIDTH = 1280;
constexpr std::int32_t SCREEN_HEIGHT = 1024;
constexpr std::int32_t BYTES_A_PIXEL = 4;
constexpr std::int32_t PITCH_ALIGNMENT = 64;  // as a display's memory has it, so pitch and width differ
constexpr std::size_t STEPS = static_cast<std::size_t>(EDeviceStep::Present) + 1;

}  // namespace

struct CMemorySurfaceAdapter::State {
    // Pixels that a surface, a back buffer and a window may show at once, so that a stretch to the same size
    // and a presentation copy nothing: a picture is written when the surface alone has it.
    struct Pixels {
        Pixels(std::int32_t columns, std::int32_t rows)
            : width(columns),
              height(rows),
              pitch((width * BYTES_A_PIXEL + PITCH_ALIGNMENT - 1) / PITCH_ALIGNMENT * PITCH_ALIGNMENT),
              bytes(static_cast<std::size_t>(pitch) * static_cast<std::size_t>(height))
        {
        }
        std::uint8_t* Row(std::int32_t y) { return bytes.data() + std::ptrdiff_t{y} * pitch; }

        const std::int32_t width;
        const std::int32_t height;
        const std::int32_t pitch;
        std::vector<std::uint8_t> bytes;
        ConvertHeld held{};
    };

    struct Window {
        std::shared_ptr<Pixels> pixels;
        std::uint32_t presents = 0;
    };

    mutable CMutex m_csState;  // a leaf lock
    std::array<bool, STEPS> m_Faults GUARDED_BY(m_csState){};
    std::array<std::uint32_t, STEPS> m_Calls GUARDED_BY(m_csState){};
    EDeviceResult m_CreateResult GUARDED_BY(m_csState) = EDeviceResult::Failed;
    EDeviceState m_DeviceState GUARDED_BY(m_csState) = EDeviceState::Working;
    std::uint32_t m_dwVertexCaps GUARDED_BY(m_csState) = 1;
    std::uint32_t m_dwBehaviourFlags GUARDED_BY(m_csState) = 0;
    PresentParameters m_Parameters GUARDED_BY(m_csState);
    std::map<HWND, Window> m_Windows GUARDED_BY(m_csState);
    std::uint32_t m_ulPresents GUARDED_BY(m_csState) = 0;

    // Counts the step; false when it shall fail.
    bool Take(EDeviceStep step)
    {
        const CMutexLock lock(m_csState);
        ++m_Calls[static_cast<std::size_t>(step)];
        return !m_Faults[static_cast<std::size_t>(step)];
    }
};

namespace
{

using StatePointer = std::shared_ptr<CMemorySurfaceAdapter::State>;

using PixelsPointer = std::shared_ptr<CMemorySurfaceAdapter::State::Pixels>;

PixelsPointer MakePixels(std::int32_t width, std::int32_t height)
{
    return std::make_shared<CMemorySurfaceAdapter::State::Pixels>(width, height);
}

// Nearest samples of the source rectangle over the whole target.
void CopyScaled(CMemorySurfaceAdapter::State::Pixels& from, const RECT& source,
                CMemorySurfaceAdapter::State::Pixels& to)
{
    const std::int32_t width = source.right - source.left;
    const std::int32_t height = source.bottom - source.top;
    for (std::int32_t y = 0; y < to.height; ++y) {
        const std::uint8_t* const row =
            from.Row(source.top + static_cast<std::int32_t>(std::int64_t{y} * height / to.height));
        std::uint8_t* const written = to.Row(y);
        for (std::int32_t x = 0; x < to.width; ++x) {
            const std::int32_t fromX =
                source.left + static_cast<std::int32_t>(std::int64_t{x} * width / to.width);
            std::memcpy(written + std::ptrdiff_t{x} * BYTES_A_PIXEL,
                        row + std::ptrdiff_t{fromX} * BYTES_A_PIXEL, BYTES_A_PIXEL);
        }
    }
}

class CMemorySurface : public IOffscreenSurface
{
  public:
    CMemorySurface(StatePointer state, std::int32_t width, std::int32_t height)
        : m_pState(std::move(state)), m_pPixels(MakePixels(width, height))
    {
    }

    bool Lock(ELockMode mode, LockedRect& locked) override NO_THREAD_SAFETY_ANALYSIS  // until Unlock
    {
        if (!m_pState->Take(EDeviceStep::LockRect) || !m_csPixels.try_lock()) return false;
        if (mode == ELockMode::Discard) m_pWritten = TakeFree();
        const auto& given = mode == ELockMode::Discard ? m_pWritten : m_pPixels;
        locked.pitch = given->pitch;
        locked.bits = given->bytes.data();
        locked.held = &given->held;
        return true;
    }

    void Unlock(bool written) override NO_THREAD_SAFETY_ANALYSIS
    {
        if (written) m_pPixels.swap(m_pWritten);
        if (m_pWritten != nullptr) m_Former.push_back(std::move(m_pWritten));
        m_pWritten.reset();
        m_csPixels.unlock();
    }

    // The picture, unless it is being written.
    PixelsPointer Get()
    {
        if (!m_csPixels.try_lock()) return nullptr;
        const CMutexLock lock(m_csPixels, std::adopt_lock);
        return m_pPixels;
    }

  private:
    // Pixels that nobody shows any more. What a window releases is seen here by the thread that presented.
    PixelsPointer TakeFree() REQUIRES(m_csPixels)
    {
        ASSERT_HELD(m_csPixels);
        const auto free =
            std::ranges::find_if(m_Former, [](const auto& former) { return former.use_count() == 1; });
        if (free == m_Former.end()) return MakePixels(m_pPixels->width, m_pPixels->height);
        PixelsPointer taken = std::move(*free);
        m_Former.erase(free);
        return taken;
    }

    const StatePointer m_pState;
    CMutex m_csPixels;  // held between Lock and Unlock
    PixelsPointer m_pPixels GUARDED_BY(m_csPixels);
    PixelsPointer m_pWritten GUARDED_BY(m_csPixels);  // between Lock and Unlock
    std::vector<PixelsPointer> m_Former GUARDED_BY(m_csPixels);
};

class CMemoryBackBuffer : public IBackBuffer
{
  public:
    CMemoryBackBuffer(std::int32_t width, std::int32_t height) : m_iWidth(width), m_iHeight(height) {}

    void Stretch(const PixelsPointer& from, const RECT& source)
    {
        const RECT whole{0, 0, m_iWidth, m_iHeight};
        if (source == whole && from->width == m_iWidth && from->height == m_iHeight) {
            m_pPixels = from;
            return;
        }
        m_pPixels = MakePixels(m_iWidth, m_iHeight);
        CopyScaled(*from, source, *m_pPixels);
    }

    // The buffer's contents, which a presentation discards; black when nothing was drawn.
    PixelsPointer Take()
    {
        PixelsPointer taken = std::move(m_pPixels);
        m_pPixels.reset();
        return taken != nullptr ? taken : MakePixels(m_iWidth, m_iHeight);
    }

  private:
    const std::int32_t m_iWidth;
    const std::int32_t m_iHeight;
    PixelsPointer m_pPixels;
};

class CMemorySwapChain : public ISwapChain
{
  public:
    CMemorySwapChain(StatePointer state, const PresentParameters& parameters)
        : m_pState(std::move(state)),
          m_pBuffer(
              std::make_shared<CMemoryBackBuffer>(parameters.backBufferWidth, parameters.backBufferHeight))
    {
    }

    std::shared_ptr<IBackBuffer> GetBackBuffer(std::uint32_t number) override
    {
        if (!m_pState->Take(EDeviceStep::GetBackBuffer) || number != 0) return nullptr;
        return m_pBuffer;
    }

    bool Present(HWND window) override
    {
        if (!m_pState->Take(EDeviceStep::Present) || window == HWND::Null) return false;
        PixelsPointer presented = m_pBuffer->Take();
        const CMutexLock lock(m_pState->m_csState);
        auto& shown = m_pState->m_Windows[window];
        shown.pixels = std::move(presented);
        ++shown.presents;
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

    EDeviceState TestCooperativeLevel() override
    {
        const CMutexLock lock(m_pState->m_csState);
        return m_pState->m_DeviceState;
    }

    bool SetSamplerState(ETextureFilter, ETextureFilter) override { return true; }

    std::shared_ptr<IOffscreenSurface> CreateOffscreenPlainSurface(std::int32_t width, std::int32_t height,
                                                                   ESurfaceFormat) override
    {
        if (!m_pState->Take(EDeviceStep::CreateOffscreenPlainSurface) || width <= 0 || height <= 0)
            return nullptr;
        return std::make_shared<CMemorySurface>(m_pState, width, height);
    }

    std::shared_ptr<ISwapChain> CreateAdditionalSwapChain(const PresentParameters& parameters) override
    {
        const bool usable = parameters.backBufferWidth > 0 && parameters.backBufferHeight > 0;
        if (!m_pState->Take(EDeviceStep::CreateAdditionalSwapChain) || !usable) return nullptr;
        return std::make_shared<CMemorySwapChain>(m_pState, parameters);
    }

    bool StretchRect(IOffscreenSurface& from, const RECT& source, IBackBuffer& to, ETextureFilter) override
    {
        if (!m_pState->Take(EDeviceStep::StretchRect)) return false;
        auto* const surface = dynamic_cast<CMemorySurface*>(&from);
        auto* const buffer = dynamic_cast<CMemoryBackBuffer*>(&to);
        if (surface == nullptr || buffer == nullptr) return false;
        const PixelsPointer pixels = surface->Get();
        if (pixels == nullptr) return false;
        const bool inside = source.left >= 0 && source.top >= 0 && source.left < source.right &&
                            source.top < source.bottom && source.right <= pixels->width &&
                            source.bottom <= pixels->height;
        if (inside) buffer->Stretch(pixels, source);
        return inside;
    }

  private:
    const StatePointer m_pState;
};

}  // namespace

CMemorySurfaceAdapter::CMemorySurfaceAdapter() : m_pState(std::make_shared<State>()) {}
CMemorySurfaceAdapter::~CMemorySurfaceAdapter() = default;

bool CMemorySurfaceAdapter::GetAdapterDisplayMode(DisplayMode& mode)
{
    if (!m_pState->Take(EDeviceStep::GetAdapterDisplayMode)) return false;
    mode = {SCREEN_WIDTH, SCREEN_HEIGHT, ESurfaceFormat::X8R8G8B8};
    return true;
}

bool CMemorySurfaceAdapter::GetDeviceCaps(DeviceCaps& caps)
{
    if (!m_pState->Take(EDeviceStep::GetDeviceCaps)) return false;
    const CMutexLock lock(m_pState->m_csState);
    caps.VertexProcessingCaps = m_pState->m_dwVertexCaps;
    return true;
}

EDeviceResult CMemorySurfaceAdapter::CreateDevice(HWND, std::uint32_t behaviourFlags,
                                                  const PresentParameters& parameters,
                                                  std::shared_ptr<ISurfaceDevice>& device)
{
    device.reset();
    const bool works = m_pState->Take(EDeviceStep::CreateDevice);
    const CMutexLock lock(m_pState->m_csState);
    m_pState->m_dwBehaviourFlags = behaviourFlags;
    m_pState->m_Parameters = parameters;
    if (!works) return m_pState->m_CreateResult;
    m_pState->m_DeviceState = EDeviceState::Working;
    device = std::make_shared<CMemorySurfaceDevice>(m_pState);
    return EDeviceResult::Ok;
}

void CMemorySurfaceAdapter::SetFault(EDeviceStep step, bool fail, EDeviceResult result)
{
    const CMutexLock lock(m_pState->m_csState);
    m_pState->m_Faults[static_cast<std::size_t>(step)] = fail;
    m_pState->m_CreateResult = result;
}

void CMemorySurfaceAdapter::SetState(EDeviceState state)
{
    const CMutexLock lock(m_pState->m_csState);
    m_pState->m_DeviceState = state;
}

void CMemorySurfaceAdapter::SetVertexProcessingCaps(std::uint32_t caps)
{
    const CMutexLock lock(m_pState->m_csState);
    m_pState->m_dwVertexCaps = caps;
}

MemoryPicture CMemorySurfaceAdapter::GetPicture(HWND window) const
{
    const CMutexLock lock(m_pState->m_csState);
    const auto found = m_pState->m_Windows.find(window);
    if (found == m_pState->m_Windows.end()) return {};
    // Copied under the lock, so that the pixels are no longer read when the next presentation releases them.
    State::Pixels& pixels = *found->second.pixels;
    MemoryPicture picture{pixels.width, pixels.height, {}};
    const std::ptrdiff_t row = std::ptrdiff_t{pixels.width} * BYTES_A_PIXEL;
    picture.pixels.reserve(static_cast<std::size_t>(row) * static_cast<std::size_t>(pixels.height));
    for (std::int32_t y = 0; y < pixels.height; ++y)
        picture.pixels.insert(picture.pixels.end(), pixels.Row(y), pixels.Row(y) + row);
    return picture;
}

std::uint32_t CMemorySurfaceAdapter::GetPresentCount(HWND window) const
{
    const CMutexLock lock(m_pState->m_csState);
    const auto found = m_pState->m_Windows.find(window);
    return found != m_pState->m_Windows.end() ? found->second.presents : 0;
}

std::uint32_t CMemorySurfaceAdapter::GetPresentCount() const
{
    const CMutexLock lock(m_pState->m_csState);
    return m_pState->m_ulPresents;
}

std::uint32_t CMemorySurfaceAdapter::GetCallCount(EDeviceStep step) const
{
    const CMutexLock lock(m_pState->m_csState);
    return m_pState->m_Calls[static_cast<std::size_t>(step)];
}

std::uint32_t CMemorySurfaceAdapter::GetBehaviourFlags() const
{
    const CMutexLock lock(m_pState->m_csState);
    return m_pState->m_dwBehaviourFlags;
}

PresentParameters CMemorySurfaceAdapter::GetDeviceParameters() const
{
    const CMutexLock lock(m_pState->m_csState);
    return m_pState->m_Parameters;
}
