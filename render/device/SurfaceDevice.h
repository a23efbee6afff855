#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "codec/convert/convert.h"
#include "platform/windows/windows.h"

// The drawing device behind CD3DSurfaceRender, with exactly the operations which that renderer uses: off-screen
// pictures that are locked and written by the processor, one swap chain for each stream, a stretch from the one
// to the back buffer of the other, and a presentation into any window. Nothing here draws by itself and nothing
// waits.
//
// Every call but the locking of pictures and the question for the device's state is made under the renderer's
// critical section, from any thread. The picture of a stream is locked by that stream's link thread alone.
// Objects are shared, so that a picture which a link thread is writing outlives a device that is rebuilt at
// that moment.

/// What a set-up operation answers.
enum class EDeviceResult { Ok, NotAvailable, OutOfVideoMemory, DeviceLost, InvalidCall, Failed };

/// The device's state between two frames.
enum class EDeviceState {
    Working,
    Lost,      // nothing can be drawn or rebuilt yet
    NotReset,  // the device has to be rebuilt, and can be
};

enum class ESurfaceFormat { X8R8G8B8, A8R8G8B8 };  // 32 bits a pixel: blue, green, red, and unused or opacity
enum class ETextureFilter { Point, Linear };

inline constexpr std::uint32_t CREATE_SOFTWARE_VERTEXPROCESSING = 0x20;
inline constexpr std::uint32_t CREATE_HARDWARE_VERTEXPROCESSING = 0x40;
inline constexpr std::uint32_t PRESENTFLAG_VIDEO = 0x10;

/// How a device or a swap chain presents; swapping always discards the back buffer's contents.
struct PresentParameters {
    std::int32_t backBufferWidth = 0;
    std::int32_t backBufferHeight = 0;
    ESurfaceFormat backBufferFormat = ESurfaceFormat::X8R8G8B8;
    std::uint32_t backBufferCount = 0;
    HWND deviceWindow = HWND::Null;
    bool windowed = false;
    std::uint32_t flags = 0;
};

struct DisplayMode {
    std::int32_t width = 0;
    std::int32_t height = 0;
    ESurfaceFormat format = ESurfaceFormat::X8R8G8B8;
};

struct DeviceCaps {
    std::uint32_t VertexProcessingCaps = 0;  // 0: the processor does the vertex work
};

/// The pixels of a locked picture; rows are `pitch` bytes apart, top row first.
struct LockedRect {
    std::int32_t pitch = 0;
    std::uint8_t* bits = nullptr;
    /// What these very pixels hold, kept with them from lock to lock; the writer tells. Null when the
    /// device gives other pixels each time and keeps nothing.
    ConvertHeld* held = nullptr;
};

/// What a picture is locked for.
enum class ELockMode {
    Discard,   // to write a whole new one; the pixels that are given hold whatever was written to them last
    ReadOnly,  // to read the present one
};

/// An off-screen picture.
class IOffscreenSurface
{
  public:
    virtual ~IOffscreenSurface() = default;
    /// Gives the pixels; never waits. False when the picture is busy, locked or lost. Each success is followed
    /// by one Unlock, on the same thread.
    virtual bool Lock(ELockMode mode, LockedRect& locked) = 0;
    /// `written`: the pixels of a discarding lock are the picture from now on. Otherwise nothing may have been
    /// written, and the former picture stays.
    virtual void Unlock(bool written) = 0;
};

/// Back buffer number 0 of a swap chain.
class IBackBuffer
{
  public:
    virtual ~IBackBuffer() = default;
};

/// What presents one stream in its windows.
class ISwapChain
{
  public:
    virtual ~ISwapChain() = default;
    /// The back buffer with that number; null when there is none.
    virtual std::shared_ptr<IBackBuffer> GetBackBuffer(std::uint32_t number) = 0;
    /// Shows the back buffer in the whole client area of `window`, scaled; never waits. False when it was not
    /// shown.
    virtual bool Present(HWND window) = 0;
};

class ISurfaceDevice
{
  public:
    virtual ~ISurfaceDevice() = default;
    /// At any time from any thread; never waits.
    virtual EDeviceState TestCooperativeLevel() = 0;
    /// Gives back what the device holds of the adapter, though others still hold the device or what it made:
    /// all that fails from now on. Before another device is made.
    virtual void Release() {}
    virtual bool SetSamplerState(ETextureFilter magnify, ETextureFilter minify) = 0;
    /// Null on failure.
    virtual std::shared_ptr<IOffscreenSurface> CreateOffscreenPlainSurface(std::int32_t width,
                                                                           std::int32_t height,
                                                                           ESurfaceFormat format) = 0;
    virtual std::shared_ptr<ISwapChain> CreateAdditionalSwapChain(const PresentParameters& parameters) = 0;
    /// Copies `source` of the picture, scaled, over the whole back buffer.
    virtual bool StretchRect(IOffscreenSurface& from, const RECT& source, IBackBuffer& to,
                             ETextureFilter filter) = 0;
};

/// The adapter: what a device is made from.
class ISurfaceAdapter
{
  public:
    virtual ~ISurfaceAdapter() = default;
    virtual bool GetAdapterDisplayMode(DisplayMode& mode) = 0;
    virtual bool GetDeviceCaps(DeviceCaps& caps) = 0;
    /// On anything but Ok `device` is null.
    virtual EDeviceResult CreateDevice(HWND focusWindow, std::uint32_t behaviourFlags,
                                       const PresentParameters& parameters,
                                       std::shared_ptr<ISurfaceDevice>& device) = 0;
};

/// Opens the adapter; null when this machine has none. The renderer gets it at construction, so a test hands in
/// one with faults.
using SurfaceAdapterFactory = std::function<std::shared_ptr<ISurfaceAdapter>()>;
