#pragma once

#include <cstdint>

#include "inc/host/Component.h"

// The window side of a control, as a container sees it. Toolkit objects cross as plain pointers, since both
// sides load the same toolkit; which ones they are stands at each call. All calls on the thread of the
// application object.

/// What a container gives to a control that it embeds. Both calls may answer with a failure: a control does not
/// need them.
class IControlSite : public IUnknown
{
  public:
    static constexpr UUID IID = MakeUuid("5b0f3a52-64c6-4f6b-9c54-3f2a3d1f27e1");

    /// The container itself, with a reference that the control gives back.
    virtual HRESULT GetContainer(IUnknown** container) = 0;
    /// The control became active in its place, or is no longer. The container may end the control then, and its
    /// own window with it.
    virtual HRESULT OnInPlaceActive(bool active) = 0;

  protected:
    ~IControlSite() = default;
};

/// A control's window, embedded in a window of the container.
class IControlWindow : public IUnknown
{
  public:
    static constexpr UUID IID = MakeUuid("0c6d9a3e-2a57-4c0e-8b1b-6f5e8f9d3c44");

    /// The site, which must stay valid until null is set; null is allowed.
    virtual HRESULT SetClientSite(IControlSite* site) = 0;
    /// Makes the control's window as a child of `parent` (a QWidget*), which makes all that the control shows.
    /// E_FAIL when it can't be made or the container has taken it down meanwhile, E_INVALIDARG for a null
    /// parent, S_FALSE when it stands already.
    virtual HRESULT CreateControlWindow(void* parent) = 0;
    /// Moves the window in its parent, in device-independent pixels. E_FAIL without a window.
    virtual HRESULT SetBounds(std::int32_t x, std::int32_t y, std::int32_t width, std::int32_t height) = 0;
    /// Draws the control into `painter` (a QPainter*) and fits what it shows to the bounds; a null painter does
    /// neither. The control's window calls it by itself on each paint.
    virtual HRESULT Draw(void* painter, std::int32_t x, std::int32_t y, std::int32_t width,
                         std::int32_t height) = 0;
    /// Takes the window down, with all that is in it. S_FALSE when there is none.
    virtual HRESULT DestroyControlWindow() = 0;
    /// The window (a QWidget*), or null; the control's.
    virtual void* GetControlWindow() = 0;

  protected:
    ~IControlWindow() = default;
};

/// The control's programmatic name and its identifiers. The three members and the event by their numbers.
inline constexpr const char* ACTIVEX_PROGID = "ActiveX.ActiveXCtrl.1";
inline constexpr UUID CLSID_ActiveXCtrl = MakeUuid("b7a4c7de-9d0f-4f5e-9f52-61f0d3a8e7c2");
inline constexpr UUID LIBID_ActiveXLib = MakeUuid("4e1f5f0b-31c9-4b8d-a7ea-93f0e5b5f6d1");
inline constexpr UUID DIID_DActiveX = MakeUuid("d21c8f64-7f0e-4b6b-8a0e-5c9e2f64b0a3");
inline constexpr UUID DIID_DActiveXEvents = MakeUuid("8f3d2f6e-0e8f-4a39-b7c1-2d6a91d54be5");
inline constexpr std::int32_t DISPID_InputParameter = 1;
inline constexpr std::int32_t DISPID_OutputParameter = 2;
inline constexpr std::int32_t DISPID_LoadParameter = 3;
inline constexpr std::int32_t DISPID_ParameterLoaded = 1;  // the event
