#pragma once

#include <QTreeView>

#include "skin/theme/PanelColors.h"

class CTreeRowDelegate;

/// The device tree's control: shows a CNodeTreeModel in rows that its delegate draws over the whole width.
/// Panels' thread only.
class CTreeCtrlEx : public QTreeView
{
    Q_OBJECT

  public:
    explicit CTreeCtrlEx(QWidget* parent = nullptr);

    /// Where the row's label or icon is, in the viewport; a click beside it is no click on the row.
    QRect GetLabelRect(const QModelIndex& index) const;

    /// Colours of the tree as the main panel sets them after a logon.
    void SetTreeColors(Color ground, Color text);
    Color GetGroundColor() const { return m_GroundColor; }
    Color GetTextColor() const { return m_TextColor; }
    bool IsEditing() const { return state() == EditingState; }

  signals:
    void LabelEdited(const QModelIndex& index, const QString& text);
    /// The menu of the current row is to open at `place` on the screen: at the cursor, or beneath the label
    /// when a key asked for it.
    void MenuRequested(const QPoint& place);

  protected:
    void drawRow(QPainter* painter, const QStyleOptionViewItem& option,
                 const QModelIndex& index) const override;
    void drawBranches(QPainter* painter, const QRect& rect, const QModelIndex& index) const override;
    void dataChanged(const QModelIndex& topLeft, const QModelIndex& bottomRight,
                     const QList<int>& roles) override;
    void paintEvent(QPaintEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    QItemSelectionModel::SelectionFlags selectionCommand(const QModelIndex& index,
                                                         const QEvent* event) const override;

  private:
    bool ClickTriangle(const QMouseEvent& event);

    CTreeRowDelegate* m_pRows;  // the tree's
    Color m_GroundColor = panel_color::TREE_GROUND_AT_START;
    Color m_TextColor = panel_color::TREE_INK_AT_START;
};
