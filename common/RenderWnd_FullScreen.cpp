#include <QApplication>
#include <QCloseEvent>
#include <QScreen>
#include <QWindow>

#include "common/RenderCell.h"
#include "common/RenderWnd.h"
#include "platform/qt/PanelsThread.h"
#include "render/CellPool.h"

// Full screen, and cells as windows of their own. Mode 3 takes the grid out of its parent; the other modes blow
// the parent up with the grid alone in it.

namespace
{

constexpr std::int32_t MODE_LEAVES_PARENT = 3;
constexpr double SCREEN_MARGIN = 20.0;

// Who has the keyboard before the widget in the order of Tab; the widget itself when nobody else takes it.
QWidget* TakesTabBefore(QWidget* widget)
{
    QWidget* before = widget->previousInFocusChain();
    while (before != widget && (before->focusPolicy() == Qt::NoFocus || before->focusProxy() != nullptr))
        before = before->previousInFocusChain();
    return before;
}

float Quotient(double length, std::int32_t by)
{
    return by != 0 ? static_cast<float>(length / by) : 1.0F;
}

}  // namespace

void CRenderWnd::ToggleFullScreen()
{
    if (m_bFullScreen)
        LeaveFullScreen();
    else
        EnterFullScreen();
}

// The parent's other child windows; what stands on its own is none of them.
std::vector<QWidget*> CRenderWnd::GetSiblings() const
{
    std::vector<QWidget*> siblings;
    for (QObject* child : m_pParent->children()) {
        auto* const widget = qobject_cast<QWidget*>(child);
        if (widget != nullptr && widget != this && !widget->isWindow()) siblings.push_back(widget);
    }
    return siblings;
}

void CRenderWnd::EnterFullScreen()
{
    if (m_pParent == nullptr) return;
    QWidget* const outer = m_pParent->window();
    m_pSavedOuter = outer;
    m_SavedPlacement = outer->normalGeometry();
    m_SavedState = outer->windowState();
    const QScreen* const shownOn = screen() != nullptr ? screen() : QGuiApplication::primaryScreen();
    const QSize size = shownOn->size();
    m_WindowScaleX = Quotient(size.width(), m_Rect.right - m_Rect.left);
    m_WindowScaleY = Quotient(size.height(), m_Rect.bottom - m_Rect.top);
    const RECT whole = m_State.GetYardstick();
    m_CellScaleX = Quotient(size.width() - SCREEN_MARGIN, whole.right);
    m_CellScaleY = Quotient(size.height() - SCREEN_MARGIN, whole.bottom);
    m_bFullScreen = true;
    if (m_iMode == MODE_LEAVES_PARENT) {
        clearFocus();  // the toolkit would leave it noted in a window that no longer holds this one
        m_SavedFlags = windowFlags();
        m_pSavedBefore = TakesTabBefore(this);
        setParent(nullptr, Qt::Window | Qt::FramelessWindowHint);
        winId();  // the window stands
        // A modal window of the container's keeps the input from all but its own.
        if (QApplication::activeModalWidget() != nullptr)
            windowHandle()->setTransientParent(outer->windowHandle());
        m_pClosing = nullptr;
        qApp->installEventFilter(this);
        setGeometry(shownOn->geometry());
        showFullScreen();
    } else {
        for (QWidget* sibling : GetSiblings())
            sibling->hide();
        m_pParent->installEventFilter(this);  // the window manager takes its time
        outer->showMaximized();
        m_Place.Put(m_pParent->rect());
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
        qApp->removeEventFilter(this);
        setWindowState(Qt::WindowNoState);
        if (windowHandle() != nullptr) windowHandle()->setTransientParent(nullptr);
        // A window manager that hears of a hidden window puts it back onto the screen, also when it comes to
        // that only after the toolkit has put it into the parent: what goes there goes with a new X window.
        hide();
        if (windowHandle() != nullptr) windowHandle()->destroy();
        // A container that was closed meanwhile has no X windows: the toolkit would make them from the inside
        // out, some twice, and lose one of the two.
        m_pParent->winId();
        setParent(m_pParent, m_SavedFlags);
        if (m_pSavedBefore != nullptr && m_pSavedBefore->window() == window())
            setTabOrder(m_pSavedBefore, this);  // the toolkit has put it behind all others
    } else {
        m_pParent->removeEventFilter(this);
    }
    // Not by the toolkit's restoreGeometry, which moves a window off the screen's top to make room for a frame.
    if (m_pSavedOuter != nullptr) {
        m_pSavedOuter->setWindowState(m_SavedState);
        const bool normal = (m_SavedState & (Qt::WindowMaximized | Qt::WindowFullScreen)) == 0;
        const bool docked = !m_pSavedOuter->isWindow();  // meanwhile: its new window places it
        if (normal && !docked && m_pSavedOuter->geometry() != m_SavedPlacement)
            m_pSavedOuter->setGeometry(m_SavedPlacement);
    }
    m_Place.Put({m_Rect.left, m_Rect.top, m_Rect.right - m_Rect.left, m_Rect.bottom - m_Rect.top});
    show();
    // oddity: siblings-shown. All of them, in every mode: also one that was hidden before.
    for (QWidget* sibling : GetSiblings())
        sibling->show();
    outer->activateWindow();  // the keyboard was the full screen's, which is gone
    setFocus(Qt::OtherFocusReason);
}

// Whether it is the container's window or one that it belongs to, as a dialog does to a main window.
bool CRenderWnd::IsAroundContainer(const QObject* watched) const
{
    const QWidget* around = m_pParent;
    while (around != nullptr && (around != watched || !around->isWindow()))
        around = around->parentWidget();
    return around != nullptr;
}

// A grid within its parent fills it whatever size that comes to. One that has left it goes back when the
// application is asked to end, which a window that stays open refuses, and with the container's window, or one
// that it belongs to, when that is closed: it would be left alone behind.
bool CRenderWnd::eventFilter(QObject* watched, QEvent* event)
{
    if (!m_bFullScreen || m_pParent == nullptr) return QWidget::eventFilter(watched, event);
    if (m_iMode != MODE_LEAVES_PARENT) {
        if (watched == m_pParent && event->type() == QEvent::Resize) m_Place.Put(m_pParent->rect());
        return QWidget::eventFilter(watched, event);
    }
    if (event->type() == QEvent::Close && IsAroundContainer(watched)) m_pClosing = watched;
    // A window that is minimised is hidden by the server.
    const bool closed = event->type() == QEvent::Hide && !event->spontaneous() && watched == m_pClosing;
    if (closed || event->type() == QEvent::Quit) {
        LeaveFullScreen();
        Redraw();
    }
    return QWidget::eventFilter(watched, event);
}

// Only a grid in full screen is a window that can be closed, and then that is what ends.
void CRenderWnd::closeEvent(QCloseEvent* event)
{
    event->ignore();
    if (m_bFullScreen) SetLayout(0);
}

void CRenderWnd::SetFloat(bool floating)
{
    ASSERT_PANELS_THREAD();
    m_bFloating = floating;
    for (CRenderCell* cell : m_Cells) {
        const bool used = IsCellUsed(cell->Handle());
        SetCellFloating(*cell, used && floating);
        if (!used) cell->Put({0, 0, 0, 0});
        cell->show();  // one that was closed too
    }
}

// Moves nothing on the screen.
void CRenderWnd::SetCellFloating(CRenderCell& cell, bool floating)
{
    if (cell.isWindow() == floating) return;
    const QSize size = cell.size();
    const QPoint onScreen = cell.mapToGlobal(QPoint(0, 0));
    cell.setParent(this, floating ? Qt::Window | Qt::WindowStaysOnTopHint : Qt::Widget);
    const QRect place(floating ? onScreen : mapFromGlobal(onScreen), size);
    if (floating)
        cell.setGeometry(place);
    else
        cell.Put(place);
}
