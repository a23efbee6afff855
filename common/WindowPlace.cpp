#include "common/WindowPlace.h"

#include <QEvent>
#include <QWidget>

#include "platform/qt/PanelsThread.h"

CWindowPlace::CWindowPlace(QWidget& widget) : m_Widget(widget)
{
    widget.installEventFilter(this);
}

void CWindowPlace::Put(const QRect& place)
{
    ASSERT_PANELS_THREAD();
    m_Place = place;
    m_bPut = true;
    m_Widget.setGeometry(place);
}

bool CWindowPlace::eventFilter(QObject* watched, QEvent* event)
{
    const bool moved = event->type() == QEvent::Move || event->type() == QEvent::Resize;
    // Each late message of the server's costs one request, and the last request is for the place.
    if (moved && m_bPut && !m_Widget.isWindow() && m_Widget.geometry() != m_Place)
        m_Widget.setGeometry(m_Place);
    return QObject::eventFilter(watched, event);
}
