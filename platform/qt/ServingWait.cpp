#include "platform/qt/ServingWait.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QEvent>
#include <QEventLoop>
#include <QSocketNotifier>
#include <QThread>
#include <QTimerEvent>
#include <QWidget>
#include <QWindow>
#include <algorithm>
#include <memory>
#include <utility>

#include "platform/qt/PanelsThread.h"
#include "platform/qt/WindowHandle.h"

namespace
{
int g_iWaits = 0;  // panels' thread only

// The message boxes that are up, one over the other.
std::vector<QPointer<QWidget>>& ServedBoxes()
{
    static auto& boxes = *new std::vector<QPointer<QWidget>>;
    return boxes;
}

/// Whether an event is for the innermost message box, its window or what is in it, or closes another one, which
/// only a program does.
bool IsOfServedBox(const QObject* object, const QEvent& event)
{
    if (event.type() == QEvent::Close &&
        std::ranges::any_of(ServedBoxes(), [object](const QWidget* box) { return box == object; }))
        return true;
    const QWidget* const box = ServedBoxes().empty() ? nullptr : ServedBoxes().back();
    if (box == nullptr) return false;
    if (object->isWindowType()) return object == static_cast<const QObject*>(box->windowHandle());
    return object->isWidgetType() && static_cast<const QWidget*>(object)->window() == box;
}

/// Whether a timer is the panels' own, or the window system's, which paints by it.
bool IsServed(const QObject* object)
{
    if (object->isWindowType()) return true;
    for (; object; object = object->parent()) {
        if (object->isWidgetType() && WindowOf(static_cast<const QWidget*>(object)) != HWND::Null) return true;
    }
    return false;
}

/// Whether something is a panel's widget. A dialog of the host's over a panel is none.
bool IsOfPanel(const QObject* object)
{
    if (!object->isWidgetType()) return false;
    const auto* const widget = static_cast<const QWidget*>(object);
    const QWidget* const panel = WidgetOf(WindowOf(widget));
    return panel != nullptr && panel->window() == widget->window();
}

template <typename T>
void AddOnce(std::vector<T>& list, T one)
{
    if (std::ranges::find(list, one) == list.end()) list.push_back(std::move(one));
}
}  // namespace

CServingWait::CServingWait()
    : m_iWait(++g_iWaits), m_iLoops(QThread::currentThread()->loopLevel()), m_Boxes(ServedBoxes().size())
{
    ASSERT_PANELS_THREAD();
    qApp->installEventFilter(this);
    const QAbstractEventDispatcher* const dispatcher = QCoreApplication::eventDispatcher();
    connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, this, [this] { OnLook(false); });
    connect(dispatcher, &QAbstractEventDispatcher::awake, this, [this] { OnLook(true); });
}

CServingWait::~CServingWait()
{
    --g_iWaits;
    qApp->removeEventFilter(this);
    HandOn(true);
}

bool CServingWait::IsHostLooping() const
{
    if (m_iLooks > 1) return true;
    const auto loops = static_cast<std::size_t>(QThread::currentThread()->loopLevel());
    return loops + m_Boxes > static_cast<std::size_t>(m_iLoops) + ServedBoxes().size();
}

// The host may look for events by itself, again and again, which is no loop of the toolkit's. By its kind the
// dispatcher is awake when a look begins, or is about to block then and awake at its end; one that doesn't wait
// is awake when it begins, with either kind.
void CServingWait::OnLook(bool awake)
{
    if (g_iWaits == m_iWait && QThread::currentThread()->loopLevel() == m_iLoops) {
        if (m_iLooks == 0) m_bAwakeFirst = awake;
        if (awake || !m_bAwakeFirst) ++m_iLooks;
    }
    // What the host's loop waits for may be held back, so that nothing comes any more.
    const bool mayBeItsEnd = m_iLooks == 2 && awake && !m_bAwakeFirst;
    if (IsHostLooping() && !mayBeItsEnd) HandOn(false);
}

void CServingWait::HandOn(bool panelsToo)
{
    for (const auto& [object, timer] : std::exchange(m_Timers, {})) {
        if (object) QCoreApplication::postEvent(object, std::make_unique<QTimerEvent>(timer).release());
    }
    for (const auto& notifier : std::exchange(m_Notifiers, {})) {
        if (notifier) notifier->setEnabled(true);
    }
    std::erase_if(m_Closing, [panelsToo](const QPointer<QWidget>& widget) {
        if (widget && !panelsToo && IsOfPanel(widget)) return false;
        if (widget) QMetaObject::invokeMethod(widget.data(), &QWidget::close, Qt::QueuedConnection);
        return true;
    });
    if (std::exchange(m_bQuit, false))
        QCoreApplication::postEvent(qApp, std::make_unique<QEvent>(QEvent::Quit).release());
}

CServingWait::CServedBox::CServedBox(QWidget& box)
{
    ASSERT_PANELS_THREAD();
    ServedBoxes().emplace_back(&box);
}

CServingWait::CServedBox::~CServedBox()
{
    ServedBoxes().pop_back();
}

bool CServingWait::IsRunning()
{
    return g_iWaits > 0;
}

void CServingWait::Run(const std::function<bool()>& ended)
{
    constexpr auto FLAGS = QEventLoop::ExcludeUserInputEvents | QEventLoop::WaitForMoreEvents;
    for (; !ended(); m_iLooks = 0)
        QCoreApplication::eventDispatcher()->processEvents(FLAGS);
}

bool CServingWait::eventFilter(QObject* watched, QEvent* event)
{
    if (IsOfServedBox(watched, *event)) return false;
    if (IsHostLooping() && !IsOfPanel(watched)) {
        HandOn(false);
        return false;
    }
    switch (event->type()) {
        case QEvent::Timer:
            if (IsServed(watched)) return false;
            AddOnce(m_Timers, {watched, static_cast<QTimerEvent*>(event)->timerId()});
            return true;
        case QEvent::SockAct:
            if (auto* const notifier = qobject_cast<QSocketNotifier*>(watched)) {
                notifier->setEnabled(false);
                m_Notifiers.emplace_back(notifier);
            }
            return true;
        case QEvent::Close:
            if (!watched->isWidgetType()) return false;
            event->ignore();
            AddOnce(m_Closing, QPointer<QWidget>(static_cast<QWidget*>(watched)));
            return true;
        case QEvent::Quit:
            m_bQuit = true;
            return true;
        case QEvent::ShortcutOverride:
        case QEvent::Shortcut:
        case QEvent::KeyPress:
        case QEvent::KeyRelease:
        case QEvent::MouseButtonPress:
        case QEvent::MouseButtonRelease:
        case QEvent::MouseButtonDblClick:
        case QEvent::MouseMove:
        case QEvent::Wheel:
        case QEvent::ContextMenu:
            // Real input stays with the window system; this was sent by a program, which finds the panels busy.
            return true;
        default:
            return false;
    }
}
