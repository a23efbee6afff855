#include "activex/UI common/TreeRowDelegate.h"

#include <QKeyEvent>
#include <QLineEdit>
#include <QPainter>
#include <QTreeView>
#include <QValidator>
#include <algorithm>
#include <utility>

#include "activex/UI common/NodeTreeModel.h"
#include "activex/UI common/PanelIcons.h"
#include "activex/UI common/TextField.h"
#include "skin/SkinPaint.h"
#include "skin/theme/PanelColors.h"

namespace
{

constexpr int LABEL_PADDING = 3;

/// Bounds what is typed. A name that is longer already stays, may be shortened, and may come back.
class CLabelLimit final : public QValidator
{
  public:
    CLabelLimit(QLineEdit& edit, QString name) : QValidator(&edit), m_strName(std::move(name)) {}
    State validate(QString& text, int& cursor) const override
    {
        LeaveOutHalf(text, cursor);
        return text.size() <= CTreeRowDelegate::MAX_LABEL || IsLeftOfName(text) ? Acceptable : Invalid;
    }

  private:
    // The field cuts what is put in at its length, also within a character.
    static void LeaveOutHalf(QString& text, int& cursor)
    {
        if (cursor > 0 && text[cursor - 1].isHighSurrogate() && !text.isValidUtf16()) text.remove(--cursor, 1);
    }
    // Whether characters were taken away at the most.
    bool IsLeftOfName(const QString& text) const
    {
        qsizetype found = 0;
        for (const QChar character : m_strName)
            found += found < text.size() && text[found] == character ? 1 : 0;
        return found == text.size();
    }

    const QString m_strName;
};

}  // namespace

CTreeRowDelegate::CTreeRowDelegate(QTreeView& tree)
    : QStyledItemDelegate(&tree), m_Tree(tree), m_Icons{MakeDeviceIcon(0), MakeDeviceIcon(1), MakeDeviceIcon(2)}
{
}

int CTreeRowDelegate::LabelLeft(const QModelIndex& index) const
{
    return m_Tree.visualRect(index).left() + LABEL_PADDING;
}

bool CTreeRowDelegate::HasTriangle(const QModelIndex& index)
{
    return index.model()->hasChildren(index) || !index.parent().isValid();
}

QSize CTreeRowDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    return {QStyledItemDelegate::sizeHint(option, index).width() + ICON_OFFSET, ROW_HEIGHT};
}

// The shades count from the top row that is seen, so that they keep their places while the tree is scrolled.
void CTreeRowDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                             const QModelIndex& index) const
{
    const QRect& row = option.rect;
    const bool selected = option.state & QStyle::State_Selected;
    const Color shade = selected                          ? panel_color::ROW_SELECTED
                        : row.top() / ROW_HEIGHT % 2 == 0 ? panel_color::ROW_EVEN
                                                          : panel_color::ROW_ODD;
    painter->fillRect(row, ToQColor(shade));
    const int label = LabelLeft(index);
    const int middle = row.center().y();
    if (HasTriangle(index))
        DrawTriangle(*painter, label, middle, option.state & QStyle::State_Open);
    else
        DrawIcon(*painter, label, middle, option, index);
    painter->setPen(option.palette.color(selected ? QPalette::HighlightedText : QPalette::Text));
    painter->setLayoutDirection(option.direction);  // it begins with the host's
    painter->drawText(
        QRect(label, row.top(), row.right() - label, row.height()), Qt::AlignVCenter | Qt::TextSingleLine,
        option.fontMetrics.elidedText(index.data().toString(), Qt::ElideRight, row.right() - label));
    if (option.state & QStyle::State_HasFocus) PaintFocus(*painter, row, panel_color::FocusOn(shade));
}

void CTreeRowDelegate::DrawTriangle(QPainter& painter, int label, int middle, bool expanded) const
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

void CTreeRowDelegate::DrawIcon(QPainter& painter, int label, int middle, const QStyleOptionViewItem& option,
                                const QModelIndex& index) const
{
    const int status = index.data(CNodeTreeModel::STATUS_ROLE).toInt();
    if (status < 0 || static_cast<std::size_t>(status) >= m_Icons.size()) return;
    const QRect place(label - ICON_OFFSET, middle - ICON_SIZE / 2, ICON_SIZE, ICON_SIZE);
    const bool selected = option.state & QStyle::State_Selected;
    m_Icons[static_cast<std::size_t>(status)].paint(&painter, place, Qt::AlignCenter,
                                                    selected ? QIcon::Selected : QIcon::Normal);
}

QWidget* CTreeRowDelegate::createEditor(QWidget* parent, const QStyleOptionViewItem&,
                                        const QModelIndex& index) const
{
    const QString name = index.data(Qt::EditRole).toString();
    auto* const edit = new CTextField(parent);
    edit->setMaxLength(std::max(MAX_LABEL, static_cast<int>(name.size())));
    edit->setValidator(new CLabelLimit(*edit, name));
    return edit;
}

void CTreeRowDelegate::updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem&,
                                            const QModelIndex& index) const
{
    const QRect row = m_Tree.visualRect(index);
    const int left = LabelLeft(index);
    editor->setGeometry(left, row.top(), m_Tree.viewport()->width() - left, row.height());
}

void CTreeRowDelegate::setModelData(QWidget* editor, QAbstractItemModel* model, const QModelIndex& index) const
{
    const QString text = static_cast<QLineEdit*>(editor)->text();
    if (text.isEmpty() || !model->setData(index, text)) return;
    emit LabelEdited(index, text);
}

// At the Tab key the toolkit would go on with the next row's name.
bool CTreeRowDelegate::eventFilter(QObject* editor, QEvent* event)
{
    const int key = event->type() == QEvent::KeyPress ? static_cast<QKeyEvent*>(event)->key() : 0;
    if (key != Qt::Key_Tab && key != Qt::Key_Backtab) return QStyledItemDelegate::eventFilter(editor, event);
    emit commitData(static_cast<QWidget*>(editor));
    emit closeEditor(static_cast<QWidget*>(editor), NoHint);
    return true;
}
