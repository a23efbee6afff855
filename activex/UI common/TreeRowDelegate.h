#pragma once

#include <QIcon>
#include <QStyledItemDelegate>
#include <array>

class QTreeView;

/// Draws the rows of the device tree and edits their names. A row is drawn over the whole width of the view:
/// the view sets the option's rectangle to it, and the palette's Text to the colour of the names. Panels'
/// thread only.
class CTreeRowDelegate final : public QStyledItemDelegate
{
    Q_OBJECT

  public:
    static constexpr int MAX_LABEL = 15;  // typed characters of a name; one that is longer already stays
    static constexpr int ROW_HEIGHT = 26;
    static constexpr int ICON_SIZE = 24;
    static constexpr int ICON_OFFSET = 26;  // the icon's left edge, left of the label

    /// `tree` owns the delegate.
    explicit CTreeRowDelegate(QTreeView& tree);

    /// Where the row's text begins, in the viewport.
    int LabelLeft(const QModelIndex& index) const;
    /// Rows with children, and those at the top, have a triangle; the others have the icon of their status.
    static bool HasTriangle(const QModelIndex& index);

    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem& option,
                          const QModelIndex& index) const override;
    void updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                              const QModelIndex& index) const override;
    /// An empty text leaves all as it was.
    void setModelData(QWidget* editor, QAbstractItemModel* model, const QModelIndex& index) const override;

  signals:
    void LabelEdited(const QModelIndex& index, const QString& text) const;

  protected:
    bool eventFilter(QObject* editor, QEvent* event) override;

  private:
    void DrawTriangle(QPainter& painter, int label, int middle, bool expanded) const;
    void DrawIcon(QPainter& painter, int label, int middle, const QStyleOptionViewItem& option,
                  const QModelIndex& index) const;

    QTreeView& m_Tree;
    // They stand in for an image list: drawn at the size that the rows show them in, on the screen's own
    // density.
    std::array<QIcon, 3> m_Icons;
};
