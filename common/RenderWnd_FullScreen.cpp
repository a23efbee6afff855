#include <QGuiApplication>
#include <QScreen>

#include "common/RenderCell.h"
#include "common/RenderWnd.h"
#include "render/CellPool.h"

// Full screen, and cells as windows of their own. Mode 3 takes the grid out of its parent; the other modes blow
// the parent up with the grid alone in it.

namespace
{

constexpr std::int32_t MODE_LEAVES_PARENT = 3;
constexpr double SCREEN_MARGIN = 20.0;

double Quotient(double length, std::int32_t by)
{
    return by != 0 ? length / by : 1.0;
}

}  // namespace

void CRenderWnd::ToggleFullScreen()
{
    if (m_bFullScreen)
        LeaveFullScreen();
    else
        EnterFullScreen();
}

void CRenderWnd::EnterFullScreen()
{
    if (m_pParent == nullptr) return;
    QWidget* const outer = m_pParent->window();
    m_SavedPlacement = outer->saveGeometry();
    m_SavedState = outer->windowState();
    const QScreen* const shown_on = screen() != nullptr ? screen() : QGuiApplication::primaryScreen();
    const QSize size = shown_on->size();
    m_dWindowScaleX = Quotient(size.width(), m_Rect.right - m_Rect.left);
    m_dWindowScaleY = Quotient(size.height(), m_Rect.bottom - m_Rect.top);
    const RECT whole = m_State.GetYardstick();
    m_dCellScaleX = Quotient(size.width() - SCREEN_MARGIN, whole.right);
    m_dCellScaleY = Quotient(size.height() - SCREEN_MARGIN, whole.bottom);
    m_bFullScreen = true;
    if (m_iMode == MODE_LEAVES_PARENT) {
        m_SavedFlags = windowFlags();
        setParent(nullptr, Qt::Window | Qt::FramelessWindowHint);
        setGeometry(shown_on->geometry());
        showFullScreen();
    } else {
        m_HiddenSiblings.clear();
        for (QObject* child : m_pParent->children()) {
            auto* const widget = qobject_cast<QWidget*>(child);
            if (widget == nullptr || widget == this || !widget->isVisibleTo(m_pParent)) continue;
            widget->hide();
            m_HiddenSiblings.emplace_back(widget);
        }
        outer->showMaximized();
        setGeometry(m_pParent->rect());
    }
    raise();
    activateWindow();
    setFocus(Qt::OtherFocusReason);
}

void CRenderWnd::LeaveFullScreen()
{
    m_bFullScreen = false;
    if (m_pParent == nullptr) return;
    QWidget* const outer = m_pParent->window();
    if (m_iMode == MODE_LEAVES_PARENT) {
        setWindowState(Qt::WindowNoState);
        setParent(m_pParent, m_SavedFlags);
    } else {
        outer->setWindowState(m_SavedState);
    }
    outer->restoreGeometry(m_SavedPlacement);
    setGeometry(m_Rect.left, m_Rect.top, m_Rect.right - m_Rect.left, m_Rect.bottom - m_Rect.top);
    show();
    for (const auto& sibling : m_HiddenSiblings) {
        if (sibling != nullptr) sibling->show();
    }
    m_HiddenSiblings.clear();
    setFocus(Qt::OtherFocusReason);
}

void CRenderWnd::SetFloat(bool floating)
{
    m_bFloating = floating;
    for (CRenderCell* cell : m_Cells) {
        if (!IsCellUsed(cell->Handle())) {
            cell->setGeometry(0, 0, 0, 0);
            continue;
        }
        const QRect place = cell->geometry();
        const QPoint on_screen = cell->mapToGlobal(QPoint(0, 0));
        const bool was_floating = cell->isWindow();
        if (was_floating == floating) continue;
        if (floating) {
            cell->setParent(this, Qt::Window | Qt::WindowStaysOnTopHint);
            cell->setGeometry(QRect(on_screen, place.size()));
        } else {
            cell->setParent(this, Qt::Widget);
            cell->setGeometry(QRect(mapFromGlobal(on_screen), place.size()));
        }
        cell->show();
    }
}
