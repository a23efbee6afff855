#pragma once

#include <QPointer>
#include <cstdint>
#include <memory>
#include <string>

#include "activex/MainDialog.h"
#include "inc/host/ControlMessages.h"
#include "inc/host/ControlProfile.h"
#include "inc/host/ControlReport.h"
#include "inc/host/ControlWindow.h"
#include "platform/component/counted_objects.h"
#include "platform/qt/MessagePump.h"
#include "platform/qt/WindowHandle.h"

class QPainter;
class QRect;
class QWidget;

/// What the control registers of itself.
inline constexpr std::uint32_t ACTIVEX_MISC_STATUS = 0x20191;
inline constexpr std::uint32_t ACTIVEX_APARTMENT_THREADING = 2;
inline constexpr std::uint32_t ACTIVEX_TYPE_NAME = 1;  // a string of the module
inline constexpr std::uint32_t ACTIVEX_BITMAP = 203;
inline constexpr std::uint32_t ACTIVEX_PROPERTY_VERSION = 0x10000;

/// The properties that the control keeps when a container saves it: the version and nothing else. Neither
/// parameter survives a save.
struct PropertySet {
    std::uint32_t version = 0;
};

/// The control, one for each embedding: a parameter interface that hands a text through, and a window with the
/// main panel in it. All that the system does is started by the operator in that panel; nothing reads the
/// parameters. On the host's thread only.
class CActiveXCtrl : public CUnknown<IDispatch, IEventSource, IControlWindow, IControlReport, IControlMessages,
                                     IControlProfile>,
                     public IPreTranslate
{
  public:
    class CActiveXCtrlFactory;

    CActiveXCtrl();
    ~CActiveXCtrl() override;

    /// Answers the control's own dispatch interface as IDispatch.
    HRESULT QueryInterface(const UUID& iid, void** object) override;
    /// While the process ends a control whose window stands is left to it.
    std::uint32_t Release() override;
    // IDispatch
    HRESULT Invoke(std::int32_t dispid, EDispatch kind, const std::vector<std::string>& arguments,
                   std::string* result) override;
    // IEventSource
    HRESULT Advise(IEventSink* sink) override { return m_Events.Advise(sink); }
    HRESULT Unadvise() override { return m_Events.Unadvise(); }
    UUID GetEventInterface() override { return m_EventInterface; }
    // IControlWindow
    HRESULT SetClientSite(IControlSite* site) override;
    HRESULT CreateControlWindow(void* parent) override;
    HRESULT SetBounds(std::int32_t x, std::int32_t y, std::int32_t width, std::int32_t height) override;
    HRESULT Draw(void* painter, std::int32_t x, std::int32_t y, std::int32_t width,
                 std::int32_t height) override;
    HRESULT DestroyControlWindow() override;
    void* GetControlWindow() override;
    // IControlProfile
    HRESULT SetProfile(const std::string& name) override;
    // IControlReport
    HRESULT GetChannels(std::vector<ChannelReport>& channels) override;
    HRESULT GetStations(std::vector<StationReport>& stations) override;
    // IControlMessages
    HRESULT SetMessageSink(IMessageSink* sink) override;

    void DoPropExchange(PropertySet& properties) const { properties.version = ACTIVEX_PROPERTY_VERSION; }
    bool IsModified() const { return m_bModified; }
    bool IsUIActive() const { return m_bUIActive; }
    CMainDialog& GetPanel() { return m_Panel; }
    HWND Handle() const { return m_pHandle != nullptr ? m_pHandle->Get() : HWND::Null; }

    /// Key down, key up and message 9 of Return, End, Home and the arrows go to the control's own window and
    /// are handled, so that the host does not take them; characters go there too and pass on all the same. The
    /// left button on any panel activates a control that has lost the container's attention.
    EPreTranslate PreTranslate(MSG& message) override;

  protected:
    /// Takes the window down at once; the rest goes when no handler of a panel is at work in it.
    void Destroy() override;
    /// What is sent to the control's own window: a plain static one, which answers 0 to everything, also to the
    /// commands that its container reflects to it.
    virtual LRESULT WindowProc(std::uint32_t message, WPARAM wParam, LPARAM lParam);

  private:
    class CWidget;

    void SetInterfaces(const UUID& dispatch, const UUID& events);
    void LoadParameter();
    static bool PutText(std::string& text, const std::vector<std::string>& arguments);
    std::int32_t OnCreate();
    void OnDraw(QPainter* painter, const QRect& bounds);
    void OnMouseActivate();
    void OnActivateInPlace(bool uiActive);
    void WindowGoes();
    void TellEnd();

    // in this order
    CMainDialog m_Panel;       // lives and dies with the control
    std::string m_strUnnamed;  // constructed and destroyed, otherwise untouched
    std::string m_strInputParameter;
    std::string m_strOutputParameter;

    UUID m_DispatchInterface;
    UUID m_EventInterface;
    CEventPoint m_Events;
    IControlSite* m_pSite = nullptr;  // the container's
    bool m_bModified = false;
    bool m_bUIActive = false;
    bool m_bPlatformStarted = false;
    bool m_bTakenDown = false;    // by DestroyControlWindow, which is at it
    QPointer<QWidget> m_pWidget;  // the container's window owns it
    std::unique_ptr<CWindowHandle> m_pHandle;
};

/// Creates one control for each request.
class CActiveXCtrl::CActiveXCtrlFactory final : public CClassFactory
{
  public:
    CActiveXCtrlFactory();

    /// Registers the class under its programmatic name, with the status word, the type library and the
    /// threading flag; or takes it out.
    static bool UpdateRegistry(bool registered);
};
