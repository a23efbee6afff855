#pragma once

#include <functional>

#include "platform/windows/windows.h"

class QWidget;

/// A widget's handle: registered when this is made, taken away when it goes. Make it a member of the widget, or
/// of what owns the widget, so that no message reaches a widget that is going. Panels' thread only.
class CWindowHandle
{
  public:
    /// `procedure` answers the messages sent and posted to the window; an empty one answers each with 0.
    explicit CWindowHandle(QWidget& widget, WNDPROC procedure = {});
    ~CWindowHandle();
    CWindowHandle(const CWindowHandle&) = delete;
    CWindowHandle& operator=(const CWindowHandle&) = delete;

    HWND Get() const { return m_hWindow; }
    QWidget* Widget() const { return m_pWidget; }

  private:
    QWidget* m_pWidget;
    HWND m_hWindow;
};

/// The handle of the widget, or of its nearest ancestor that has one; Null without any. Panels' thread only.
HWND WindowOf(const QWidget* widget);

/// The widget of a handle; null when it is gone or has none. Panels' thread only.
QWidget* WidgetOf(HWND window);
