#include "activex/UI common/TreeCtrlEx.h"

#include <QContextMenuEvent>
#include <QMouseEvent>
#include <QPainter>

#include "activex/UI common/NodeTreeModel.h"
#include "activex/UI common/TreeRowDelegate.h"
#include "platform/qt/PanelsThread.h"
#include "skin/SkinPaint.h"

namespace
{

constexpr int LEAST_LABEL = 8;  // of a node without a name, which the mouse reaches too

}  // namespace

CTreeCtrlEx::CTreeCtrlEx(QWidget* parent) : QTreeView(parent), m_pRows(new CTreeRowDelegate(*this))
{
    setHeaderHidden(true);
    setUniformRowHeights(true);
    setIndentation(CTreeRowDelegate::ICON_OFFSET);
    setEditTriggers(EditKeyPressed);
    setVerticalScrollMode(ScrollPerItem);
    setExpandsOnDoubleClick(false);
    setFrameShape(QFrame::NoFrame);
    setItemDelegate(m_pRows);
    connect(m_pRows, &CTreeRowDelegate::LabelEdited, this, &CTreeCtrlEx::LabelEdited);
    // What commands act on stays seen.
    connect(this, &QTreeView::collapsed, this, [this](const QModelIndex& row) {
        QModelIndex above = currentIndex().parent();
        while (above.isValid() && above != row)
            above = above.parent();
        if (above.isValid()) setCurrentIndex(row);
    });
}

void CTreeCtrlEx::SetTreeColors(Color ground, Color text)
{
    ASSERT_PANELS_THREAD();
    m_GroundColor = ground;
    m_TextColor = text;
    viewport()->update();
}

QRect CTreeCtrlEx::GetLabelRect(const QModelIndex& index) const
{
    ASSERT_PANELS_THREAD();
    const QRect row = visualRect(index);
    const int label = m_pRows->LabelLeft(index);
    const int left = CTreeRowDelegate::HasTriangle(index) ? label : label - CTreeRowDelegate::ICON_OFFSET;
    const int text = fontMetrics().horizontalAdvance(index.data().toString());
    return {left, row.top(), label + std::max(text, LEAST_LABEL) - left, row.height()};
}

void CTreeCtrlEx::paintEvent(QPaintEvent* event)
{
    QPainter(viewport()).fillRect(event->rect(), ToQColor(m_GroundColor));
    QTreeView::paintEvent(event);
    if (!hasFocus() || currentIndex().isValid()) return;
    QPainter painter(viewport());  // no row has the focus
    PaintFocus(painter, viewport()->rect(), panel_color::FocusOn(m_GroundColor));
}

void CTreeCtrlEx::drawBranches(QPainter*, const QRect&, const QModelIndex&) const {}

void CTreeCtrlEx::drawRow(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    const QRect place = visualRect(index);
    QStyleOptionViewItem row = option;
    row.rect = QRect(0, place.top(), viewport()->width(), place.height());
    row.palette.setColor(QPalette::Text, ToQColor(m_TextColor));
    row.fontMetrics = fontMetrics();
    row.state.setFlag(QStyle::State_Selected, selectionModel()->isSelected(index));
    row.state.setFlag(QStyle::State_HasFocus, hasFocus() && index == currentIndex());
    row.state.setFlag(QStyle::State_Open, isExpanded(index));
    m_pRows->paint(painter, row, index);
}

// The icon lies left of what the toolkit takes for the row's place and repaints by itself; and it would put the
// row's name back into the field in which another is being typed.
void CTreeCtrlEx::dataChanged(const QModelIndex& topLeft, const QModelIndex& bottomRight,
                              const QList<int>& roles)
{
    if (roles != QList<int>{CNodeTreeModel::STATUS_ROLE}) QTreeView::dataChanged(topLeft, bottomRight, roles);
    viewport()->update();
}

// A tree without a current row gets one from the toolkit, which doesn't select it, though commands act on it.
void CTreeCtrlEx::focusInEvent(QFocusEvent* event)
{
    QTreeView::focusInEvent(event);
    if (currentIndex().isValid()) setCurrentIndex(currentIndex());
}

// The triangles are our own, so what a click on one does is too.
bool CTreeCtrlEx::ClickTriangle(const QMouseEvent& event)
{
    const QPoint at = event.position().toPoint();
    const QModelIndex index = indexAt(at);
    const bool onTriangle = index.isValid() && model()->hasChildren(index) &&
                            at.x() < m_pRows->LabelLeft(index) &&
                            at.x() >= m_pRows->LabelLeft(index) - CTreeRowDelegate::ICON_OFFSET;
    if (event.button() != Qt::LeftButton || !onTriangle) return false;
    setExpanded(index, !isExpanded(index));
    return true;
}

void CTreeCtrlEx::mousePressEvent(QMouseEvent* event)
{
    if (ClickTriangle(*event)) return;
    if (event->button() == Qt::RightButton) return;  // selects only on a label, when the menu comes
    QTreeView::mousePressEvent(event);
}

// A quick second click comes as this one alone.
void CTreeCtrlEx::mouseDoubleClickEvent(QMouseEvent* event)
{
    if (!ClickTriangle(*event)) QTreeView::mouseDoubleClickEvent(event);
}

void CTreeCtrlEx::contextMenuEvent(QContextMenuEvent* event)
{
    const bool byMouse = event->reason() == QContextMenuEvent::Mouse;
    const QModelIndex index = byMouse ? indexAt(event->pos()) : currentIndex();
    if (!index.isValid() || (byMouse && !GetLabelRect(index).contains(event->pos()))) return;
    setCurrentIndex(index);
    emit MenuRequested(byMouse ? event->globalPos()
                               : viewport()->mapToGlobal(GetLabelRect(index).bottomLeft()));
}

void CTreeCtrlEx::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        if (currentIndex().isValid() && !IsEditing()) emit doubleClicked(currentIndex());
        return;
    }
    QTreeView::keyPressEvent(event);
}

// The toolkit would deselect the row at a click beneath the rows and with the control key, though commands go
// on to act on it.
QItemSelectionModel::SelectionFlags CTreeCtrlEx::selectionCommand(const QModelIndex& index,
                                                                  const QEvent* event) const
{
    const QItemSelectionModel::SelectionFlags command = QTreeView::selectionCommand(index, event);
    const bool deselects =
        command.testFlag(QItemSelectionModel::Deselect) || (event != nullptr && !index.isValid());
    return deselects ? QItemSelectionModel::NoUpdate : command;
}
