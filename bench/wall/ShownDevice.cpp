#include "bench/wall/ShownDevice.h"

#include <utility>

namespace
{

class CTellingSwapChain final : public ISwapChain
{
  public:
    CTellingSwapChain(std::shared_ptr<ISwapChain> inner, Presented presented)
        : m_pInner(std::move(inner)), m_Presented(std::move(presented))
    {
    }
    std::shared_ptr<IBackBuffer> GetBackBuffer(std::uint32_t number) override
    {
        return m_pInner->GetBackBuffer(number);
    }
    bool Present(HWND window) override
    {
        const bool shown = m_pInner->Present(window);
        m_Presented(window, shown);
        return shown;
    }

  private:
    const std::shared_ptr<ISwapChain> m_pInner;
    const Presented m_Presented;
};

class CTellingDevice final : public ISurfaceDevice
{
  public:
    CTellingDevice(std::shared_ptr<ISurfaceDevice> inner, Presented presented)
        : m_pInner(std::move(inner)), m_Presented(std::move(presented))
    {
    }
    EDeviceState TestCooperativeLevel() override { return m_pInner->TestCooperativeLevel(); }
    bool SetSamplerState(ETextureFilter magnify, ETextureFilter minify) override
    {
        return m_pInner->SetSamplerState(magnify, minify);
    }
    std::shared_ptr<IOffscreenSurface> CreateOffscreenPlainSurface(std::int32_t width, std::int32_t height,
                                                                   ESurfaceFormat format) override
    {
        return m_pInner->CreateOffscreenPlainSurface(width, height, format);
    }
    std::shared_ptr<ISwapChain> CreateAdditionalSwapChain(const PresentParameters& parameters) override
    {
        auto inner = m_pInner->CreateAdditionalSwapChain(parameters);
        if (inner == nullptr) return nullptr;
        return std::make_shared<CTellingSwapChain>(std::move(inner), m_Presented);
    }
    bool StretchRect(IOffscreenSurface& from, const RECT& source, IBackBuffer& to,
                     ETextureFilter filter) override
    {
        return m_pInner->StretchRect(from, source, to, filter);
    }

  private:
    const std::shared_ptr<ISurfaceDevice> m_pInner;
    const Presented m_Presented;
};

class CTellingAdapter final : public ISurfaceAdapter
{
  public:
    CTellingAdapter(std::shared_ptr<ISurfaceAdapter> inner, Presented presented)
        : m_pInner(std::move(inner)), m_Presented(std::move(presented))
    {
    }
    bool GetAdapterDisplayMode(DisplayMode& mode) override { return m_pInner->GetAdapterDisplayMode(mode); }
    bool GetDeviceCaps(DeviceCaps& caps) override { return m_pInner->GetDeviceCaps(caps); }
    EDeviceResult CreateDevice(HWND focusWindow, std::uint32_t behaviourFlags,
                               const PresentParameters& parameters,
                               std::shared_ptr<ISurfaceDevice>& device) override
    {
        std::shared_ptr<ISurfaceDevice> inner;
        const EDeviceResult result = m_pInner->CreateDevice(focusWindow, behaviourFlags, parameters, inner);
        if (inner != nullptr) device = std::make_shared<CTellingDevice>(std::move(inner), m_Presented);
        return result;
    }

  private:
    const std::shared_ptr<ISurfaceAdapter> m_pInner;
    const Presented m_Presented;
};

}  // namespace

std::shared_ptr<ISurfaceAdapter> MakeTellingAdapter(std::shared_ptr<ISurfaceAdapter> inner, Presented presented)
{
    return inner != nullptr ? std::make_shared<CTellingAdapter>(std::move(inner), std::move(presented))
                            : nullptr;
}
