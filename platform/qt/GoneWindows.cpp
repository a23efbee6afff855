#include "platform/qt/GoneWindows.h"

#include <QApplication>
#include <QPointer>
#include <QWidget>
#include <QWindow>
#include <vector>

#include "platform/qt/PanelsThread.h"
#include "platform/qt/X11Sync.h"

namespace
{

using Windows = std::vector<QPointer<QWindow>>;

// Parents first.
void AddShown(QWindow& window, Windows& shown)
{
    if (window.isVisible()) shown.emplace_back(&window);
    for (QWindow* const child : window.findChildren<QWindow*>(Qt::FindDirectChildrenOnly))
        AddShown(*child, shown);
}

// The child window of `top` that is around `window`, or null.
QWindow* FindBelow(const QWindow& top, QWindow* window)
{
    while (window != nullptr && window->parent() != &top)
        window = window->parent();
    return window;
}

}  // namespace

void RestoreGoneWindows(QWidget& widget)
{
    ASSERT_PANELS_THREAD();
    const auto* const x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    QWindow* const top = widget.window()->windowHandle();
    if (x11 == nullptr || x11->display() == nullptr || top == nullptr || top->handle() == nullptr) return;
    const QWindow* const below = FindBelow(*top, widget.windowHandle());
    if (below == nullptr || below->handle() == nullptr) return;
    if (IsChildInX11(x11->display(), top->winId(), below->winId())) return;
    const QPointer<QWidget> focus = widget.window()->focusWidget();
    Windows shown;
    Windows gone;
    for (QWindow* const child : top->findChildren<QWindow*>(Qt::FindDirectChildrenOnly)) {
        AddShown(*child, shown);
        gone.emplace_back(child);
    }
    // The container hears of each that is hidden or shown, and may end any.
    for (const QPointer<QWindow>& window : gone)
        if (window) window->destroy();
    for (const QPointer<QWindow>& window : shown)
        if (window) window->setVisible(true);
    if (focus) focus->setFocus(Qt::OtherFocusReason);
}
