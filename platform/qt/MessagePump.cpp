#include "platform/qt/MessagePump.h"

#include <QApplication>
#include <QHash>
#include <QKeyEvent>
#include <QMouseEvent>
#include <algorithm>
#include <utility>
#include <vector>

#include "platform/qt/Keys.h"
#include "platform/qt/PanelsThread.h"
#include "platform/qt/WindowHandle.h"

namespace
{
struct Hook {
    HHOOK hook;
    HOOKPROC procedure;
};

// panels' thread only; to process end, as hooks may be taken away late
std::vector<Hook>& Hooks()
{
    static auto* const hooks = new std::vector<Hook>;
    return *hooks;
}

QHash<const QWidget*, IPreTranslate*>& Translators()
{
    static auto* const translators = new QHash<const QWidget*, IPreTranslate*>;
    return *translators;
}

HHOOK g_hRunning = HHOOK::Null;  // the hook that CallNextHookEx is called from
int g_iLastHook = 0;

/// Calls the newest hook that is older than `than`. Looked up by its number: a hook may take itself or others
/// away.
LRESULT CallHookOlderThan(HHOOK than, int code, WPARAM removed, MSG& message)
{
    const auto& hooks = Hooks();
    const auto older = [than](const Hook& one) { return one.hook < than; };
    const auto it = std::find_if(hooks.rbegin(), hooks.rend(), older);
    if (it == hooks.rend()) return 0;
    const HOOKPROC procedure = it->procedure;
    const HHOOK before = std::exchange(g_hRunning, it->hook);
    const LRESULT result = procedure(code, removed, message);
    g_hRunning = before;
    return result;
}

LPARAM PackPoint(QPointF point)
{
    const auto part = [](qreal value) {
        return static_cast<LPARAM>(static_cast<std::uint16_t>(qRound(value)));
    };
    return part(point.x()) | part(point.y()) << 16;
}

std::uint32_t MouseMessage(const QMouseEvent& event)
{
    const bool left = event.button() == Qt::LeftButton;
    if (!left && event.button() != Qt::RightButton) return WM_NULL;
    switch (event.type()) {
        case QEvent::MouseButtonPress:
            return left ? WM_LBUTTONDOWN : WM_RBUTTONDOWN;
        case QEvent::MouseButtonRelease:
            return left ? WM_LBUTTONUP : WM_RBUTTONUP;
        default:
            return left ? WM_LBUTTONDBLCLK : WM_RBUTTONDBLCLK;
    }
}

/// A key that a host may keep for its own commands also while a panel has the focus.
bool IsHostKey(const QKeyEvent& event)
{
    return event.modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier) ||
           (event.key() >= Qt::Key_F1 && event.key() <= Qt::Key_F35);
}

/// The key that takes an entry of an open list, which the toolkit's list does already when it is asked.
bool IsChoice(const QWidget& target, const QKeyEvent& event)
{
    return target.window()->windowType() == Qt::Popup && VirtualKey(event.key()) == VK_RETURN;
}
}  // namespace

void SetPreTranslator(const QWidget& widget, IPreTranslate* translator)
{
    ASSERT_PANELS_THREAD();
    if (translator) {
        Translators().insert(&widget, translator);
    } else {
        Translators().remove(&widget);
    }
}

EPreTranslate WalkPreTranslateTree(MSG& message)
{
    ASSERT_PANELS_THREAD();
    message.walked = true;
    message.said = EPreTranslate::PassOn;
    QPointer<QWidget> widget = message.target;
    while (widget && message.said == EPreTranslate::PassOn) {
        if (IPreTranslate* translator = Translators().value(widget))
            message.said = translator->PreTranslate(message);
        if (widget) widget = widget->parentWidget();  // a translator may have ended it
    }
    return message.said;
}

HHOOK SetWindowsHookExA(HOOKPROC hook)
{
    ASSERT_PANELS_THREAD();
    if (!hook) return HHOOK::Null;
    const HHOOK handle{++g_iLastHook};
    Hooks().push_back({handle, std::move(hook)});
    return handle;
}

bool UnhookWindowsHookEx(HHOOK hook)
{
    ASSERT_PANELS_THREAD();
    return std::erase_if(Hooks(), [hook](const Hook& one) { return one.hook == hook; }) > 0;
}

LRESULT CallNextHookEx(int code, WPARAM removed, MSG& message)
{
    ASSERT_PANELS_THREAD();
    return CallHookOlderThan(g_hRunning, code, removed, message);
}

EPreTranslate CMessagePump::Pump(MSG& message)
{
    CallHookOlderThan(HHOOK{g_iLastHook + 1}, HC_ACTION, PM_REMOVE, message);
    return message.message == WM_NULL ? EPreTranslate::Handled : message.said;
}

bool CMessagePump::eventFilter(QObject* watched, QEvent* event)
{
    switch (event->type()) {
        case QEvent::ShortcutOverride:
        case QEvent::KeyPress:
        case QEvent::KeyRelease:
        case QEvent::MouseButtonPress:
        case QEvent::MouseButtonRelease:
        case QEvent::MouseButtonDblClick:
            break;
        default:
            return false;
    }
    auto* const target = qobject_cast<QWidget*>(watched);
    if (!target) {
        m_Last = {};  // the window system's own event, which comes before those of the widgets
        return false;
    }
    if (IsRepeated(*target, static_cast<QInputEvent&>(*event))) return false;
    if (event->type() == QEvent::MouseButtonPress || event->type() == QEvent::MouseButtonRelease ||
        event->type() == QEvent::MouseButtonDblClick) {
        return MouseEvent(*target, static_cast<QMouseEvent&>(*event));
    }

    const auto& key = static_cast<QKeyEvent&>(*event);
    const bool known = event->type() == QEvent::KeyPress && m_Asked.valid && m_Asked.key == key.key() &&
                       m_Asked.modifiers == key.modifiers() && m_Asked.time == key.timestamp();
    m_Asked.valid = false;
    const QPointer<QWidget> targetStands(target);
    const QPointer<CMessagePump> pumpStands(this);  // the last control may go, and the platform with it
    const EPreTranslate result = known ? m_Asked.result : KeyEvent(*target, key);
    const bool asks = event->type() == QEvent::ShortcutOverride;
    // The press of a target that has gone is nobody else's.
    if (asks && pumpStands)
        m_Asked = {true, key.key(), key.modifiers(), key.timestamp(),
                   targetStands ? result : EPreTranslate::Handled};
    if (!targetStands) {
        event->accept();
        return true;
    }
    if (asks) {
        if (result == EPreTranslate::PassOn || (result == EPreTranslate::Dispatch && IsHostKey(key)))
            return false;
        event->accept();  // no accelerator of the host: the press itself follows
        return result == EPreTranslate::Handled || !IsChoice(*target, key);
    }
    if (result != EPreTranslate::Handled) return false;
    event->accept();
    return true;
}

bool CMessagePump::IsRepeated(QWidget& receiver, const QInputEvent& event)
{
    const bool mouse = event.isPointerEvent();
    const QPointF place = mouse ? static_cast<const QMouseEvent&>(event).globalPosition() : QPointF();
    const bool same = mouse ? place == m_Last.place : &event == m_Last.event;
    const bool repeated = same && event.type() == m_Last.type && event.timestamp() == m_Last.time &&
                          m_Last.receiver && &receiver != m_Last.receiver &&
                          receiver.isAncestorOf(m_Last.receiver);
    m_Last = {&event, event.type(), event.timestamp(), place, &receiver};
    return repeated;
}

EPreTranslate CMessagePump::KeyEvent(QWidget& target, const QKeyEvent& event)
{
    const bool system = event.modifiers() & Qt::AltModifier;
    const bool release = event.type() == QEvent::KeyRelease;
    const QPointer<QWidget> stands(&target);
    const auto pump = [&stands](std::uint32_t number, WPARAM wParam) {
        if (!stands) return EPreTranslate::Handled;  // a hook has ended it
        MSG message;
        message.hwnd = WindowOf(stands);
        message.message = number;
        message.wParam = wParam;
        message.target = stands;
        return Pump(message);
    };
    EPreTranslate result = EPreTranslate::PassOn;
    if (const std::uint32_t number = VirtualKey(event.key())) {
        const std::uint32_t down = system ? WM_SYSKEYDOWN : WM_KEYDOWN;
        const std::uint32_t up = system ? WM_SYSKEYUP : WM_KEYUP;
        result = pump(release ? up : down, number);
    }
    if (release || result == EPreTranslate::Handled) return result;
    for (const uint code : event.text().toUcs4()) {
        const std::uint32_t character = system ? WM_SYSCHAR : WM_CHAR;
        if (pump(code > 0xFFFF ? WM_UNICHAR : character, code) == EPreTranslate::Handled)
            return EPreTranslate::Handled;
    }
    return result;
}

bool CMessagePump::MouseEvent(QWidget& target, const QMouseEvent& event)
{
    MSG message;
    message.message = MouseMessage(event);
    if (message.message == WM_NULL) return false;
    message.hwnd = WindowOf(&target);
    message.target = &target;
    message.lParam = PackPoint(event.position());
    const QPointer<QWidget> stands(&target);
    EPreTranslate result = Pump(message);
    if (!stands) return true;
    // The windows are asked once, whether a hook has done it or not.
    if (result != EPreTranslate::Handled && !message.walked) result = WalkPreTranslateTree(message);
    return result == EPreTranslate::Handled;
}
