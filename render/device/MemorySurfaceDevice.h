#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "render/device/SurfaceDevice.h"

/// A picture in memory: 32-bit pixels (blue, green, red, 0), rows of width * 4 bytes, top row first.
struct MemoryPicture {
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::vector<std::uint8_t> pixels;
};

/// The operations of the device that can be told to fail.
enum class EDeviceStep {
    GetAdapterDisplayMode,
    GetDeviceCaps,
    CreateDevice,
    CreateOffscreenPlainSurface,
    CreateAdditionalSwapChain,
    GetBackBuffer,
    LockRect,
    StretchRect,
    Present,
};

/// The device without a display: it keeps the last picture that each window was shown, at the picture's own
/// size, and counts the rest. Headless runs count and save pictures with it; tests put faults in. At any time
/// from any thread.
///
/// It is also the shortest complete example of a device. One adapter may make several devices one after
/// another, as a renderer does which rebuilds a lost one; all of them show into the same windows.
class CMemorySurfaceAdapter : public ISurfaceAdapter
{
  public:
    CMemorySurfaceAdapter();
    ~CMemorySurfaceAdapter() override;

    bool GetAdapterDisplayMode(DisplayMode& mode) override;
    bool GetDeviceCaps(DeviceCaps& caps) override;
    EDeviceResult CreateDevice(HWND focusWindow, std::uint32_t behaviourFlags,
                               const PresentParameters& parameters,
                               std::shared_ptr<ISurfaceDevice>& device) override;

    /// Lets the step fail from now on (`fail` false: work again). CreateDevice then answers `result`.
    void SetFault(EDeviceStep step, bool fail, EDeviceResult result = EDeviceResult::Failed);
    /// What every device of this adapter says of its state until the next device is created, which starts
    /// working.
    void SetState(EDeviceState state);
    void SetVertexProcessingCaps(std::uint32_t caps);

    /// The last picture shown in `window`; without pixels when there was none.
    MemoryPicture GetPicture(HWND window) const;
    /// How often `window` was presented to.
    std::uint32_t GetPresentCount(HWND window) const;
    std::uint32_t GetPresentCount() const;
    /// How often the step was asked for, failures included.
    std::uint32_t GetCallCount(EDeviceStep step) const;
    /// The flags and parameters of the last CreateDevice.
    std::uint32_t GetBehaviourFlags() const;
    PresentParameters GetDeviceParameters() const;

    struct State;

  private:
    std::shared_ptr<State> m_pState;  // shared with the devices and all that they made
};
