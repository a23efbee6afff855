#include "activex/UI common/TreeCtrlEx.h"

#include <QContextMenuEvent>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPainter>
#include <QStyledItemDelegate>

#include "activex/UI common/NodeTreeModel.h"
#include "activex/UI common/PanelIcons.h"
#include "skin/SkinPaint.h"

namespace
{

constexpr int ROW_HEIGHT = 26;
constexpr int LABEL_PADDING = 3;
constexpr int LEAST_LABEL = 8;  // of a node without a name, which the mouse reaches too

}  // namespace

// Gives rows their height and the label edit its limit.
class CTreeCtrlEx::CLabelDelegate : public QStyledItemDelegate
{
  public:
    explicit CLabelDelegate(CTreeCtrlEx& tree) : QStyledItemDelegate(&tree), m_Tree(tree) {}

    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override
    {
        return {QStyledItemDelegate::sizeHint(option, index).width() + ICON_OFFSET, ROW_HEIGHT};
    }

    QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem&, const QModelIndex&) const override
    {
        auto* const edit = new QLineEdit(parent);
        edit->setMaxLength(MAX_LABEL);
        return edit;
    }

    void updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem&,
                              const QModelIndex& index) const override
    {
        const QRect row = m_Tree.visualRect(index);
        const int left = m_Tree.LabelLeft(index);
        editor->setGeometry(left, row.top(), m_Tree.viewport()->width() - left, row.height());
    }

    // An empty text leaves all as it was.
    void setModelData(QWidget* editor, QAbstractItemModel* model, const QModelIndex& index) const override
    {
        const QString text = static_cast<QLineEdit*>(editor)->text();
        if (text.isEmpty() || !model->setData(index, text)) return;
        emit m_Tree.LabelEdited(index, text);
    }

  protected:
    // The toolkit would go on with the next row's name.
    bool eventFilter(QObject* editor, QEvent* event) override
    {
        const int key = event->type() == QEvent::KeyPress ? static_cast<QKeyEvent*>(event)->key() : 0;
        if (key != Qt::Key_Tab && key != Qt::Key_Backtab)
            return QStyledItemDelegate::eventFilter(editor, event);
        emit commitData(static_cast<QWidget*>(editor));
        emit closeEditor(static_cast<QWidget*>(editor), NoHint);
        return true;
    }

  private:
    CTreeCtrlEx& m_Tree;
};

CTreeCtrlEx::CTreeCtrlEx(QWidget* parent)
    : QTreeView(parent), m_Icons{MakeDeviceIcon(0), MakeDeviceIcon(1), MakeDeviceIcon(2)}
{
    setHeaderHidden(true);
    setUniformRowHeights(true);
    setIndentation(ICON_OFFSET);
    setEditTriggers(EditKeyPressed);
    setVerticalScrollMode(ScrollPerItem);
    setExpandsOnDoubleClick(false);
    setFrameShape(QFrame::NoFrame);
    setItemDelegate(new CLabelDelegate(*this));
}

void CTreeCtrlEx::SetTreeColors(XColor ground, XColor text)
{
    m_GroundColor = ground;
    m_TextColor = text;
    viewport()->update();
}

int CTreeCtrlEx::LabelLeft(const QModelIndex& index) const
{
    return visualRect(index).left() + LABEL_PADDING;
}

bool CTreeCtrlEx::HasTriangle(const QModelIndex& index) const
{
    return model()->hasChildren(index) || !index.parent().isValid();
}

QRect CTreeCtrlEx::GetLabelRect(const QModelIndex& index) const
{
    const QRect row = visualRect(index);
    const int label = LabelLeft(index);
    const int left = HasTriangle(index) ? label : label - ICON_OFFSET;
    const int text = fontMetrics().horizontalAdvance(index.data().toString());
    return {left, row.top(), label + std::max(text, LEAST_LABEL) - left, row.height()};
}

void CTreeCtrlEx::paintEvent(QPaintEvent* event)
{
    QPainter(viewport()).fillRect(event->rect(), ToQColor(m_GroundColor));
    QTreeView::paintEvent(event);
    if (!hasFocus() || currentIndex().isValid()) return;
    QPainter painter(viewport());  // no row bears the focus
    PaintFocus(painter, viewport()->rect(), panel_color::FocusOn(m_GroundColor));
}

void CTreeCtrlEx::drawBranches(QPainter*, const QRect&, const QModelIndex&) const {}

void CTreeCtrlEx::DrawTriangle(QPainter& painter, int label, int middle, bool expanded) const
{
    painter.setPen(ToQColor(panel_color::TRIANGLE));
    painter.setBrush(ToQColor(panel_color::TRIANGLE));
    if (expanded)
        painter.drawPolygon(
            QPolygon({{label - 14, middle - 2}, {label - 10, middle + 2}, {label - 6, middle - 2}}));
    else
        painter.drawPolygon(
            QPolygon({{label - 12, middle - 4}, {label - 12, middle + 4}, {label - 8, middle}}));
}

// The channel icons stand in for an image list: drawn at the size that the rows show them in, on the screen's
// own density. The shades count from the top row that is seen, so that they keep their places while the tree is
// scrolled.
void CTreeCtrlEx::drawRow(QPainter* painter, const QStyleOptionViewItem&, const QModelIndex& index) const
{
    const QRect place = visualRect(index);
    const QRect row(0, place.top(), viewport()->width(), place.height());
    const bool selected = selectionModel()->isSelected(index);
    const XColor shade = selected                            ? panel_color::ROW_SELECTED
                         : place.top() / ROW_HEIGHT % 2 == 0 ? panel_color::ROW_EVEN
                                                             : panel_color::ROW_ODD;
    painter->fillRect(row, ToQColor(shade));
    const int label = LabelLeft(index);
    const int middle = row.center().y();
    if (HasTriangle(index)) {
        DrawTriangle(*painter, label, middle, isExpanded(index));
    } else if (const int image = index.data(CNodeTreeModel::STATUS_ROLE).toInt();
               image >= 0 && image < static_cast<int>(m_Icons.size())) {
        m_Icons[static_cast<std::size_t>(image)].paint(
            painter, QRect(label - ICON_OFFSET, middle - ICON_SIZE / 2, ICON_SIZE, ICON_SIZE), Qt::AlignCenter,
            selected ? QIcon::Selected : QIcon::Normal);
    }
    painter->setPen(selected ? palette().color(QPalette::HighlightedText) : ToQColor(m_TextColor));
    painter->drawText(QRect(label, row.top(), row.right() - label, row.height()),
                      Qt::AlignVCenter | Qt::TextSingleLine,
                      fontMetrics().elidedText(index.data().toString(), Qt::ElideRight, row.right() - label));
    if (index == currentIndex() && hasFocus()) PaintFocus(*painter, row, panel_color::FocusOn(shade));
}

// The icon lies left of what the toolkit takes for the row's place and repaints by itself.
void CTreeCtrlEx::dataChanged(const QModelIndex& topLeft, const QModelIndex& bottomRight,
                              const QList<int>& roles)
{
    QTreeView::dataChanged(topLeft, bottomRight, roles);
    viewport()->update();
}

// The triangles are our own, so what a click on one does is too.
void CTreeCtrlEx::mousePressEvent(QMouseEvent* event)
{
    const QPoint at = event->position().toPoint();
    const QModelIndex index = indexAt(at);
    const bool on_triangle = index.isValid() && model()->hasChildren(index) && at.x() < LabelLeft(index) &&
                             at.x() >= LabelLeft(index) - ICON_OFFSET;
    if (event->button() == Qt::LeftButton && on_triangle) {
        setExpanded(index, !isExpanded(index));
        return;
    }
    if (event->button() == Qt::RightButton) return;  // selects only on a label, when the menu comes
    QTreeView::mousePressEvent(event);
}

void CTreeCtrlEx::contextMenuEvent(QContextMenuEvent* event)
{
    const bool by_mouse = event->reason() == QContextMenuEvent::Mouse;
    const QModelIndex index = by_mouse ? indexAt(event->pos()) : currentIndex();
    if (!index.isValid() || (by_mouse && !GetLabelRect(index).contains(event->pos()))) return;
    setCurrentIndex(index);
    emit MenuRequested(by_mouse ? event->globalPos()
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
