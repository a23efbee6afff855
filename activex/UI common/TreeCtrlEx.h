#pragma once

#include <QIcon>
#include <QTreeView>
#include <array>

#include "skin/theme/PanelColors.h"

/// The device tree's control: rows in two shades, triangles and channel icons of its own. Shows a
/// CNodeTreeModel. Panels' thread only.
class CTreeCtrlEx : public QTreeView
{
    Q_OBJECT

  public:
    static constexpr int MAX_LABEL = 15;  // characters that the label edit takes
    static constexpr int ICON_SIZE = 24;
    static constexpr int ICON_OFFSET = 26;  // the icon's left edge, left of the label

    explicit CTreeCtrlEx(QWidget* parent = nullptr);

    /// Where the row's label or icon is, in the viewport; a click beside it is no click on the row.
    QRect GetLabelRect(const QModelIndex& index) const;

    /// Colours of the tree as the main panel sets them after a logon.
    void SetTreeColors(XColor ground, XColor text);
    XColor GetGroundColor() const { return m_GroundColor; }
    XColor GetTextColor() const { return m_TextColor; }
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
    void mousePressEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

  private:
    class CLabelDelegate;

    int LabelLeft(const QModelIndex& index) const;
    bool HasTriangle(const QModelIndex& index) const;
    void DrawTriangle(QPainter& painter, int label, int middle, bool expanded) const;

    XColor m_GroundColor = panel_color::TREE_GROUND_AT_START;
    XColor m_TextColor = panel_color::TREE_INK_AT_START;
    std::array<QIcon, 3> m_Icons;
};
