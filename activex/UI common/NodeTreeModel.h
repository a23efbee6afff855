#pragma once

#include <QAbstractItemModel>
#include <QHash>
#include <QString>
#include <memory>
#include <vector>

#include "model/tree/NodeView.h"

class CFolder;
class CNode;

/// The visible nodes of the tree as they stood at the last Fill: names and states of devices are copies, which
/// change only by Fill, RefreshIcons and an edit. A node that leaves its folder takes its row with it at once,
/// so the node of a row always stands. Panels' thread only.
class CNodeTreeModel final : public QAbstractItemModel, private CNodeView
{
    Q_OBJECT

  public:
    static constexpr int STATUS_ROLE = Qt::UserRole;  // int: a device's status, else NO_STATUS
    static constexpr int NO_STATUS = -1;

    explicit CNodeTreeModel(QObject* parent = nullptr);
    ~CNodeTreeModel() override;

    /// Replaces all rows by the visible nodes beneath `root`, which may be null. An invisible folder hides all
    /// beneath it.
    void Fill(CFolder* root);
    /// Takes over the status of the devices of `first`, of its following siblings and of all beneath them.
    void RefreshIcons(const QModelIndex& first);
    /// Null for an invalid index.
    CNode* NodeOf(const QModelIndex& index) const;
    /// Whether rows are being taken away: what the view selects then isn't the user's choice.
    bool IsTakingAway() const { return m_bTakingAway; }

    QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    QModelIndex parent(const QModelIndex& index) const override;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    /// Changes the text of the row alone; the other columns and roles are refused.
    bool setData(const QModelIndex& index, const QVariant& value, int role = Qt::EditRole) override;

    using QObject::parent;

  private:
    struct Row {
        CNode* node = nullptr;  // null for the invisible row above all others
        QString name;
        int status = NO_STATUS;
        Row* parent = nullptr;
        int number = 0;  // among its parent's children
        std::vector<std::unique_ptr<Row>> children;
    };

    void NodeGoes(const CNode& node) override;
    void Add(CFolder& folder, Row& parent);
    void Forget(const Row& row);
    const Row& RowOf(const QModelIndex& index) const;
    QModelIndex IndexOf(const Row& row) const;

    Row m_Top;
    QHash<const CNode*, Row*> m_Rows;
    bool m_bTakingAway = false;
};
