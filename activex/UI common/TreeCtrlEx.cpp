#include "activex/UI common/TreeCtrlEx.h"

#include <QContextMenuEvent>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPainter>
#include <QStyledItemDelegate>

#include "activex/UI common/PanelIcons.h"

namespace
{

constexpr int NODE_ROLE = Qt::UserRole;
constexpr int IMAGE_ROLE = Qt::UserRole + 1;
constexpr int NO_IMAGE = -1;
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
        const QTreeWidgetItem* const item = m_Tree.itemFromIndex(index);
        const QRect row = m_Tree.visualRect(index);
        editor->setGeometry(m_Tree.LabelLeft(item), row.top(),
                            m_Tree.viewport()->width() - m_Tree.LabelLeft(item), row.height());
    }

    // An empty text leaves all as it was.
    void setModelData(QWidget* editor, QAbstractItemModel*, const QModelIndex& index) const override
    {
        const QString text = static_cast<QLineEdit*>(editor)->text();
        QTreeWidgetItem* const item = m_Tree.itemFromIndex(index);
        if (text.isEmpty() || item == nullptr) return;
        item->setText(0, text);
        emit m_Tree.LabelEdited(item, text);
    }

  private:
    CTreeCtrlEx& m_Tree;
};

CTreeCtrlEx::CTreeCtrlEx(QWidget* parent)
    : QTreeWidget(parent), m_Icons{MakeDeviceIcon(0), MakeDeviceIcon(1), MakeDeviceIcon(2)}
{
    setHeaderHidden(true);
    setColumnCount(1);
    setUniformRowHeights(true);
    setIndentation(ICON_OFFSET);
    setEditTriggers(EditKeyPressed);
    setExpandsOnDoubleClick(false);
    setFrameShape(QFrame::NoFrame);
    setItemDelegate(new CLabelDelegate(*this));
}

QTreeWidgetItem* CTreeCtrlEx::AddItem(QTreeWidgetItem* parent, CNode* node)
{
    auto* const item = parent != nullptr ? new QTreeWidgetItem(parent) : new QTreeWidgetItem(this);
    item->setData(0, NODE_ROLE, QVariant::fromValue(static_cast<void*>(node)));
    item->setData(0, IMAGE_ROLE, NO_IMAGE);
    return item;
}

CNode* CTreeCtrlEx::NodeOf(const QTreeWidgetItem* item)
{
    return item != nullptr ? static_cast<CNode*>(item->data(0, NODE_ROLE).value<void*>()) : nullptr;
}

void CTreeCtrlEx::SetStatusImage(QTreeWidgetItem* item, int status)
{
    if (item->data(0, IMAGE_ROLE).toInt() == status) return;
    item->setData(0, IMAGE_ROLE, status);
    // The icon lies left of what the toolkit takes for the item's place and repaints by itself.
    if (QTreeWidget* const tree = item->treeWidget()) tree->viewport()->update();
}

int CTreeCtrlEx::GetStatusImage(const QTreeWidgetItem* item)
{
    return item->data(0, IMAGE_ROLE).toInt();
}

void CTreeCtrlEx::SetTreeColors(const QColor& ground, const QColor& text)
{
    m_GroundColor = ground;
    m_TextColor = text;
    viewport()->update();
}

int CTreeCtrlEx::LabelLeft(const QTreeWidgetItem* item) const
{
    return visualItemRect(item).left() + LABEL_PADDING;
}

QRect CTreeCtrlEx::GetLabelRect(const QTreeWidgetItem* item) const
{
    const QRect row = visualItemRect(item);
    const bool has_icon = item->childCount() == 0 && item->parent() != nullptr;
    const int left = has_icon ? LabelLeft(item) - ICON_OFFSET : LabelLeft(item);
    const int text = fontMetrics().horizontalAdvance(item->text(0));
    const int right = LabelLeft(item) + std::max(text, LEAST_LABEL);
    return {left, row.top(), right - left, row.height()};
}

int CTreeCtrlEx::RowNumber(const QTreeWidgetItem* item) const
{
    return (visualItemRect(item).top() + verticalOffset()) / ROW_HEIGHT;
}

void CTreeCtrlEx::paintEvent(QPaintEvent* event)
{
    QPainter(viewport()).fillRect(event->rect(), m_GroundColor);
    QTreeWidget::paintEvent(event);
}

void CTreeCtrlEx::drawBranches(QPainter*, const QRect&, const QModelIndex&) const {}

void CTreeCtrlEx::DrawTriangle(QPainter& painter, int label, int middle, bool expanded) const
{
    painter.setPen(m_LineColor);
    painter.setBrush(m_LineColor);
    if (expanded)
        painter.drawPolygon(
            QPolygon({{label - 14, middle - 2}, {label - 10, middle + 2}, {label - 6, middle - 2}}));
    else
        painter.drawPolygon(
            QPolygon({{label - 12, middle - 4}, {label - 12, middle + 4}, {label - 8, middle}}));
}

void CTreeCtrlEx::drawRow(QPainter* painter, const QStyleOptionViewItem&, const QModelIndex& index) const
{
    const QTreeWidgetItem* const item = itemFromIndex(index);
    if (item == nullptr) return;
    const QRect place = visualItemRect(item);
    const QRect row(0, place.top(), viewport()->width(), place.height());
    const bool selected = item->isSelected();
    painter->fillRect(row, selected ? m_SelectionColor : RowNumber(item) % 2 == 0 ? m_RowColor : m_OddRowColor);
    const int label = LabelLeft(item);
    const int middle = row.center().y();
    if (item->childCount() > 0 || item->parent() == nullptr) {
        DrawTriangle(*painter, label, middle, item->isExpanded());
    } else if (const int image = GetStatusImage(item); image >= 0 && image < static_cast<int>(m_Icons.size())) {
        m_Icons[static_cast<std::size_t>(image)].paint(
            painter, QRect(label - ICON_OFFSET, middle - ICON_SIZE / 2, ICON_SIZE, ICON_SIZE));
    }
    painter->setPen(selected ? palette().color(QPalette::HighlightedText) : m_TextColor);
    painter->drawText(QRect(label, row.top(), row.right() - label, row.height()),
                      Qt::AlignVCenter | Qt::TextSingleLine,
                      fontMetrics().elidedText(item->text(0), Qt::ElideRight, row.right() - label));
    if (item == currentItem() && hasFocus()) {
        painter->setPen(QPen(m_TextColor, 1, Qt::DotLine));
        painter->setBrush(Qt::NoBrush);
        painter->drawRect(row.adjusted(0, 0, -1, -1));
    }
}

// The triangles are our own, so what a click on one does is too.
void CTreeCtrlEx::mousePressEvent(QMouseEvent* event)
{
    const QPoint at = event->position().toPoint();
    QTreeWidgetItem* const item = itemAt(at);
    const bool on_triangle = item != nullptr && item->childCount() > 0 && at.x() < LabelLeft(item) &&
                             at.x() >= LabelLeft(item) - ICON_OFFSET;
    if (event->button() == Qt::LeftButton && on_triangle) {
        item->setExpanded(!item->isExpanded());
        return;
    }
    if (event->button() == Qt::RightButton) return;  // selects only on a label, when the menu comes
    QTreeWidget::mousePressEvent(event);
}

void CTreeCtrlEx::contextMenuEvent(QContextMenuEvent* event)
{
    const bool by_mouse = event->reason() == QContextMenuEvent::Mouse;
    QTreeWidgetItem* const item = by_mouse ? itemAt(event->pos()) : currentItem();
    if (item == nullptr || (by_mouse && !GetLabelRect(item).contains(event->pos()))) return;
    setCurrentItem(item);
    emit MenuRequested(
        item, by_mouse ? event->globalPos() : viewport()->mapToGlobal(GetLabelRect(item).bottomLeft()));
}

void CTreeCtrlEx::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        if (currentItem() != nullptr && !IsEditing()) emit itemDoubleClicked(currentItem(), 0);
        return;
    }
    QTreeWidget::keyPressEvent(event);
}
