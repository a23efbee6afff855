#pragma once

#include <QModelIndex>
#include <QString>
#include <span>

#include "platform/qt/Dialog.h"

class CFolder;
class CNode;
class CNodeTreeModel;
class CRemote;
class CTreeCtrlEx;
class QPoint;

// Commands of the device tree's menu; the panel takes the whole range to 11000.
inline constexpr int TREE_COMMAND_OPEN = 10000;
inline constexpr int TREE_COMMAND_CLOSE = 10001;
inline constexpr int TREE_COMMAND_START_RECORD = 10002;
inline constexpr int TREE_COMMAND_STOP_RECORD = 10003;
inline constexpr int TREE_COMMAND_OPEN_ALL = 10005;  // 10004 is left free
inline constexpr int TREE_COMMAND_CLOSE_ALL = 10006;
inline constexpr int TREE_COMMAND_START_RECORD_ALL = 10007;
inline constexpr int TREE_COMMAND_STOP_RECORD_ALL = 10008;
inline constexpr int TREE_COMMAND_SNAPSHOT_ALL = 10009;
inline constexpr int TREE_COMMAND_RENAME = 10010;
inline constexpr int TREE_COMMAND_DELETE = 10011;
inline constexpr int TREE_COMMAND_LAST = 11000;
/// Every channel of the whole tree; no control of the panel has these numbers.
inline constexpr int TREE_COMMAND_OPEN_TREE = 218;
inline constexpr int TREE_COMMAND_CLOSE_TREE = 219;

// Notices to the panel's parent that nothing takes up at present.
inline constexpr std::uint32_t TREE_NOTICE_OPENING = 0x138B;  // the count of used cells
inline constexpr std::uint32_t TREE_NOTICE_CHANGED = 0x138E;

/// The device tree panel: the visible nodes of the model, with a menu that opens, closes, records and
/// photographs channels and renames and deletes stations. It shows the nodes as they stood at the last logon or
/// delete, less those that have gone since, by any panel. Panels' thread only.
class CTreeDlg : public CDialog
{
  public:
    static constexpr int TEMPLATE = 207;
    static constexpr int TREE_CONTROL = 203;

    CTreeDlg() : CDialog(TEMPLATE) {}
    ~CTreeDlg() override;

    /// The wall on which this panel shows what it opens; without one, whichever there is.
    void SetGrid(HWND grid) { m_hGrid = grid; }
    /// Empties the tree and fills it from the root.
    void ReloadTree();
    /// The same in the colours that the tree has after a logon.
    void RefillTree();
    /// Sets the icons of `item`, its following siblings and all beneath them by their devices' status.
    void RefreshIcons(const QModelIndex& item);
    QModelIndex GetRootItem() const;
    CTreeCtrlEx* GetTree() const { return m_pTree; }
    /// Null for an invalid index.
    CNode* NodeOf(const QModelIndex& item) const;

  protected:
    void OnCreateControls() override;
    std::int32_t OnCreate() override;
    bool OnInitDialog() override;
    void OnDestroy() override;
    void OnSize(int width, int height) override;
    void OnPaint(QPainter& painter, const QRect& area) override;
    bool OnCommand(int id) override;
    /// While a name is edited, Return and a press of the left button, in the edit field too, take the keyboard
    /// back to the panel, which ends the edit. Return does nothing else.
    EPreTranslate PreTranslateMessage(MSG& message) override;

  private:
    struct Command;
    static std::span<const Command> Commands();

    void PlaceTree(int width, int height);
    void ShowMenu(const QPoint& place);
    void OnDoubleClick(const QModelIndex& item);
    void OnLabelEdited(const QModelIndex& item, const QString& text);
    CNode* GetSelectedNode() const;
    void OpenDevice(CRemote& device);
    void DeleteStation(CNode* node);
    void RenameSelected();
    void PostToParent(std::uint32_t message);

    HWND m_hGrid = HWND::Null;
    CTreeCtrlEx* m_pTree = nullptr;      // the window's
    CNodeTreeModel* m_pNodes = nullptr;  // the tree's
};
