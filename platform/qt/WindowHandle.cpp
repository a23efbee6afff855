#include "platform/qt/WindowHandle.h"

#include <QHash>
#include <QWidget>
#include <utility>

#include "platform/qt/PanelsThread.h"

namespace
{
QHash<const QWidget*, HWND>& Handles()
{
    static auto* const handles = new QHash<const QWidget*, HWND>;  // to process end: widgets may go late
    return *handles;
}

LRESULT AnswerNothing(std::uint32_t, WPARAM, LPARAM)
{
    return 0;
}
}  // namespace

CWindowHandle::CWindowHandle(QWidget& widget, WNDPROC procedure)
    : m_pWidget(&widget),
      m_hWindow(RegisterWindow(procedure ? std::move(procedure) : WNDPROC(AnswerNothing), &widget))
{
    ASSERT_PANELS_THREAD();
    Handles().insert(m_pWidget, m_hWindow);
}

CWindowHandle::~CWindowHandle()
{
    ASSERT_PANELS_THREAD();
    Handles().remove(m_pWidget);
    UnregisterWindow(m_hWindow);
}

HWND WindowOf(const QWidget* widget)
{
    ASSERT_PANELS_THREAD();
    for (; widget; widget = widget->parentWidget()) {
        const auto it = Handles().constFind(widget);
        if (it != Handles().constEnd()) return *it;
    }
    return HWND::Null;
}

QWidget* WidgetOf(HWND window)
{
    ASSERT_PANELS_THREAD();
    return static_cast<QWidget*>(GetNativeWindow(window));
}
