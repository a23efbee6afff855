#pragma once

#include <QColor>
#include <QIcon>
#include <QTreeWidget>
#include <array>

class CNode;

/// The device tree's control: rows in two shades, triangles and channel icons of its own. Each item carries the
/// pointer to its node, which is good until the tree is filled anew. Panels' thread only.
class CTreeCtrlEx : public QTreeWidget
{
    Q_OBJECT

  public:
    static constexpr int MAX_LABEL = 15;  // characters that the label edit takes
    static constexpr int ICON_SIZE = 24;
    static constexpr int ICON_OFFSET = 26;  // the icon's left edge, left of the label

    explicit CTreeCtrlEx(QWidget* parent = nullptr);

    QTreeWidgetItem* AddItem(QTreeWidgetItem* parent, CNode* node);
    static CNode* NodeOf(const QTreeWidgetItem* item);
    /// The icon by a device's status; -1 for an item without one.
    static void SetStatusImage(QTreeWidgetItem* item, int status);
    static int GetStatusImage(const QTreeWidgetItem* item);

    /// Where the item's label or icon is, in the viewport; a click beside it is no click on the item.
    QRect GetLabelRect(const QTreeWidgetItem* item) const;

    /// Colours of the tree as the main panel sets them after a logon.
    void SetTreeColors(const QColor& ground, const QColor& text);
    QColor GetGroundColor() const { return m_GroundColor; }
    QColor GetTextColor() const { return m_TextColor; }
    bool IsEditing() const { return state() == EditingState; }

  signals:
    void LabelEdited(QTreeWidgetItem* item, const QString& text);
    /// The menu is to open at `place` on the screen: at the cursor, or beneath the label when a key asked for
    /// it.
    void MenuRequested(QTreeWidgetItem* item, const QPoint& place);

  protected:
    void drawRow(QPainter* painter, const QStyleOptionViewItem& option,
                 const QModelIndex& index) const override;
    void drawBranches(QPainter* painter, const QRect& rect, const QModelIndex& index) const override;
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

  private:
    class CLabelDelegate;

    int LabelLeft(const QTreeWidgetItem* item) const;
    int RowNumber(const QTreeWidgetItem* item) const;
    void DrawTriangle(QPainter& painter, int label, int middle, bool expanded) const;

    QColor m_RowColor{0xFF, 0xFF, 0xFF};
    QColor m_OddRowColor{0xF2, 0xF2, 0xF2};
    QColor m_LineColor{0x76, 0x76, 0x76};
    QColor m_SelectionColor{0x4A, 0xB0, 0xF2};
    QColor m_GroundColor{0xFF, 0xFF, 0xFF};
    QColor m_TextColor{0x32, 0x32, 0x32};
    std::array<QIcon, 3> m_Icons;
};
