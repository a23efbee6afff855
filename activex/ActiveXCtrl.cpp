#include "activex/ActiveXCtrl.h"

#include <QApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QWidget>
#include <exception>
#include <utility>

#include "activex/ActiveXApp.h"
#include "inc/LogLine.h"
#include "model/settings/SystemSettings.h"
#include "platform/component/component_registry.h"
#include "platform/os/paths.h"
#include "platform/qt/GoneWindows.h"
#include "platform/qt/HandlersAtWork.h"
#include "platform/qt/Keys.h"
#include "platform/qt/MessageBoxes.h"
#include "platform/qt/PanelsThread.h"
#include "platform/qt/ProcessEnd.h"
#include "platform/qt/QtPlatform.h"

namespace
{

// The number of the Tab key among the numbers of messages: no pump brings such a message. It stays.
constexpr std::uint32_t MESSAGE_9 = 9;

bool IsRoutedKey(WPARAM key)
{
    return key == VK_RETURN || (key >= VK_END && key <= VK_DOWN);
}

}  // namespace

// The control's own window: a plain static one, which paints nothing but its ground.
class CActiveXCtrl::CWidget : public QWidget
{
  public:
    CWidget(QWidget* parent, CActiveXCtrl& control) : QWidget(parent), m_Control(control)
    {
        setObjectName(QStringLiteral("STATIC"));
        setFocusPolicy(Qt::ClickFocus);
        connect(qApp, &QApplication::focusChanged, this, [this](const QWidget*, const QWidget* now) {
            // The container's other controls take over; a window that merely goes to the back changes nothing.
            if (now != nullptr && now->window() == window() && now != this && !isAncestorOf(now))
                m_Control.m_bUIActive = false;
        });
    }
    ~CWidget() override
    {
        if (IsProcessEnding()) {
            LeaveChildren();
            return;
        }
        disconnect(qApp, nullptr, this, nullptr);  // the control may be gone when the focus changes next
        m_Control.WindowGoes();
    }

  protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        m_Control.OnDraw(&painter, rect());
    }
    void showEvent(QShowEvent*) override
    {
        if (!std::exchange(m_bLooksForWindows, true)) LookForWindows();
        // A window that the control has been put into since its start knows nothing of the keyboard's place.
        const bool first = !std::exchange(m_bWasShown, true);
        if (first && window()->focusWidget() == nullptr) m_Control.m_Panel.GetLogon().TakeFocus();
    }
    void resizeEvent(QResizeEvent*) override { m_Control.m_Panel.MoveWindow(0, 0, width(), height()); }
    void mousePressEvent(QMouseEvent* event) override
    {
        const QPointer<QWidget> stands(this);
        m_Control.OnMouseActivate();
        if (stands) QWidget::mousePressEvent(event);  // the container may take it down when it hears of it
    }

    // What no panel took of the control's own keys is not the container's either.
    void keyPressEvent(QKeyEvent* event) override { event->setAccepted(IsRoutedKey(VirtualKey(event->key()))); }

  private:
    // A window of the container's that is shown with another place in the stack loses those within it, once its
    // widgets have been told.
    void LookForWindows()
    {
        const auto look = [stands = QPointer(this)] {
            RestoreGoneWindows(*stands);  // shows this again
            if (stands) stands->m_bLooksForWindows = false;
        };
        QMetaObject::invokeMethod(this, look, Qt::QueuedConnection);
    }

    // A host's window in static storage would take the panels along, whose links can't be waited for any more
    // and whose renderer has lost its driver.
    void LeaveChildren()
    {
        for (QObject* child : QObjectList(children()))
            child->setParent(nullptr);
    }

    CActiveXCtrl& m_Control;
    bool m_bWasShown = false;
    bool m_bLooksForWindows = false;
};

CActiveXCtrl::CActiveXCtrl()
{
    SetInterfaces(DIID_DActiveX, DIID_DActiveXEvents);
}

CActiveXCtrl::~CActiveXCtrl()
{
    CActiveXCtrl::DestroyControlWindow();
}

void CActiveXCtrl::SetInterfaces(const UUID& dispatch, const UUID& events)
{
    m_DispatchInterface = dispatch;
    m_EventInterface = events;
}

HRESULT CActiveXCtrl::QueryInterface(const UUID& iid, void** object)
{
    return CUnknown::QueryInterface(iid == m_DispatchInterface ? IDispatch::IID : iid, object);
}

// A host's static object may release the control when there is no toolkit any more to take its window down
// with.
std::uint32_t CActiveXCtrl::Release()
{
    if (m_pHandle != nullptr && IsProcessEnding()) return 0;
    return CUnknown::Release();
}

void CActiveXCtrl::Destroy()
{
    DestroyControlWindow();
    AfterHandlers([this] { delete this; });
}

bool CActiveXCtrl::PutText(std::string& text, const std::vector<std::string>& arguments)
{
    if (arguments.size() != 1) return false;
    text = arguments.front();
    return true;
}

HRESULT CActiveXCtrl::Invoke(std::int32_t dispid, EDispatch kind, const std::vector<std::string>& arguments,
                             std::string* result)
{
    ASSERT_PANELS_THREAD();
    if (dispid == DISPID_LoadParameter) {
        if (kind != EDispatch::Method) return DISP_E_MEMBERNOTFOUND;
        if (!arguments.empty()) return DISP_E_BADPARAMCOUNT;
        LoadParameter();
        return S_OK;
    }
    const bool known = dispid == DISPID_InputParameter || dispid == DISPID_OutputParameter;
    if (!known || kind == EDispatch::Method) return DISP_E_MEMBERNOTFOUND;
    std::string& text = dispid == DISPID_InputParameter ? m_strInputParameter : m_strOutputParameter;
    if (kind == EDispatch::PropertyPut) {
        if (!PutText(text, arguments)) return DISP_E_BADPARAMCOUNT;
        m_bModified = true;  // and nothing else: no part of the system reads the parameters
        return S_OK;
    }
    if (!arguments.empty()) return DISP_E_BADPARAMCOUNT;
    if (result != nullptr) *result = text;
    return S_OK;
}

void CActiveXCtrl::LoadParameter()
{
    m_strOutputParameter = m_strInputParameter;
    m_Events.Fire(DISPID_ParameterLoaded);
}

HRESULT CActiveXCtrl::SetClientSite(IControlSite* site)
{
    ASSERT_PANELS_THREAD();
    m_pSite = site;
    return S_OK;
}

HRESULT CActiveXCtrl::SetMessageSink(IMessageSink* sink)
{
    if (sink == nullptr)
        SetMessageTeller({});
    else
        SetMessageTeller([sink](std::string_view text, std::string_view caption) {
            sink->OnMessage(std::string(caption), std::string(text));
        });
    return S_OK;
}

HRESULT CActiveXCtrl::CreateControlWindow(void* parent)
{
    ASSERT_PANELS_THREAD();
    if (parent == nullptr) return E_INVALIDARG;
    if (m_pWidget != nullptr) return S_FALSE;
    m_bPlatformStarted = StartQtPlatform();
    if (!m_bPlatformStarted) return E_FAIL;
    KeepModuleMapped();
    // The container may let the control go while a message box of the start stands.
    const CHandlerAtWork atWork;
    HRESULT result = E_FAIL;
    // A start-up that fails, on a faulty layout file for one, ends here: nothing is thrown at the container.
    try {
        m_pWidget = new CWidget(static_cast<QWidget*>(parent), *this);
        m_pHandle = std::make_unique<CWindowHandle>(
            *m_pWidget, [this](std::uint32_t message, WPARAM wParam, LPARAM lParam) {
                return WindowProc(message, wParam, lParam);
            });
        SetPreTranslator(*m_pWidget, this);
        if (OnCreate() != -1) result = S_OK;
    } catch (const std::exception& fault) {
        LogFault("CActiveXCtrl::OnCreate", std::string("the control's start-up failed: ") + fault.what());
    } catch (...) {
        LogFault("CActiveXCtrl::OnCreate", "the control's start-up failed");
    }
    if (FAILED(result)) DestroyControlWindow();
    return result;
}

HRESULT CActiveXCtrl::SetProfile(const std::string& name)
{
    ASSERT_PANELS_THREAD();
    if (m_pWidget != nullptr) return E_FAIL;
    if (name != "classic" && name != "operator") return E_INVALIDARG;
    AskForProfile(name == "operator" ? EProfile::Operator : EProfile::Classic);
    return S_OK;
}

std::int32_t CActiveXCtrl::OnCreate()
{
    if (m_pSite != nullptr) {
        // The container is asked for and released at once; without one the control works as well.
        IUnknown* container = nullptr;
        if (SUCCEEDED(m_pSite->GetContainer(&container)) && container != nullptr) container->Release();
    }
    if (m_pWidget != nullptr) m_Panel.Create(m_pWidget);  // the result is not looked at
    if (m_pWidget != nullptr) OnActivateInPlace(true);
    return m_pWidget != nullptr ? 0 : -1;  // the container may take it down whenever it is asked or told
}

void CActiveXCtrl::OnActivateInPlace(bool uiActive)
{
    m_bUIActive = uiActive;
    if (m_pWidget != nullptr) m_pWidget->show();
    if (m_pSite != nullptr) m_pSite->OnInPlaceActive(true);
}

void CActiveXCtrl::OnMouseActivate()
{
    if (!m_bUIActive) OnActivateInPlace(true);
}

void CActiveXCtrl::OnDraw(QPainter* painter, const QRect& bounds)
{
    if (painter == nullptr) return;
    painter->fillRect(bounds, CMainDialog::GetGround());
    m_Panel.MoveWindow(bounds.x(), bounds.y(), bounds.width(), bounds.height());
}

HRESULT CActiveXCtrl::SetBounds(std::int32_t x, std::int32_t y, std::int32_t width, std::int32_t height)
{
    ASSERT_PANELS_THREAD();
    if (m_pWidget == nullptr) return E_FAIL;
    m_pWidget->setGeometry(x, y, width, height);
    return S_OK;
}

HRESULT CActiveXCtrl::Draw(void* painter, std::int32_t x, std::int32_t y, std::int32_t width,
                           std::int32_t height)
{
    OnDraw(static_cast<QPainter*>(painter), QRect(x, y, width, height));
    return S_OK;
}

HRESULT CActiveXCtrl::DestroyControlWindow()
{
    ASSERT_PANELS_THREAD();
    if (m_pWidget == nullptr || IsProcessEnding()) return S_FALSE;
    const CHandlerAtWork atWork;
    m_bTakenDown = true;
    delete m_pWidget.data();
    m_bTakenDown = false;
    // The container's own window may go when it hears of the end, which that window must not be in any more.
    TellEnd();
    return S_OK;
}

// Reached from the window's own end too, when the container's window takes it along.
void CActiveXCtrl::WindowGoes()
{
    m_pWidget.clear();  // a window that goes can't be taken down
    const CHandlerAtWork atWork;
    const CNoMessageBoxes none;  // a link that fails while it is closed would wait for a user indefinitely
    m_Panel.DestroyWindow();
    if (m_pHandle != nullptr) SetPreTranslator(*m_pHandle->Widget(), nullptr);
    m_pHandle.reset();
    m_bUIActive = false;
    if (m_bPlatformStarted) StopQtPlatform();
    m_bPlatformStarted = false;
    if (!m_bTakenDown) TellEnd();
}

// The container may take windows down, or let the control go, when it hears of it.
void CActiveXCtrl::TellEnd()
{
    if (m_pSite != nullptr) m_pSite->OnInPlaceActive(false);
}

void* CActiveXCtrl::GetControlWindow()
{
    ASSERT_PANELS_THREAD();
    return m_pWidget.data();
}

LRESULT CActiveXCtrl::WindowProc(std::uint32_t, WPARAM, LPARAM)
{
    return 0;
}

EPreTranslate CActiveXCtrl::PreTranslate(MSG& message)
{
    if (message.message == WM_LBUTTONDOWN) OnMouseActivate();  // on whatever panel it was
    const bool routed =
        message.message == WM_KEYDOWN || message.message == WM_KEYUP || message.message == MESSAGE_9;
    if (routed && IsRoutedKey(message.wParam)) {
        SendMessageA(Handle(), message.message, message.wParam, message.lParam);
        return EPreTranslate::Handled;
    }
    if (message.message == WM_CHAR) SendMessageA(Handle(), message.message, message.wParam, message.lParam);
    return EPreTranslate::PassOn;
}

CActiveXCtrl::CActiveXCtrlFactory::CActiveXCtrlFactory()
    : CClassFactory([]() -> IUnknown* { return static_cast<IDispatch*>(new CActiveXCtrl); })
{
}

bool CActiveXCtrl::CActiveXCtrlFactory::UpdateRegistry(bool registered)
{
    if (!registered) return SUCCEEDED(ComponentRegistry().UnregisterClass(CLSID_ActiveXCtrl));
    ClassRegistration entry;
    entry.id = CLSID_ActiveXCtrl;
    entry.programmaticName = ACTIVEX_PROGID;
    entry.module = GetLoadedModulePath();
    entry.miscStatus = ACTIVEX_MISC_STATUS;
    entry.threading = ACTIVEX_APARTMENT_THREADING;
    entry.typeLibrary = LIBID_ActiveXLib;
    entry.typeName = ACTIVEX_TYPE_NAME;
    entry.bitmap = ACTIVEX_BITMAP;
    return SUCCEEDED(ComponentRegistry().RegisterClass(entry));
}
