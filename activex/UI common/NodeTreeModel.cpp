#include "activex/UI common/NodeTreeModel.h"

#include "model/tree/Folder.h"
#include "platform/qt/PanelsThread.h"
#include "remote/Device.h"

namespace
{

int StatusOf(CNode& node)
{
    auto* const device = dynamic_cast<CDevice*>(&node);
    return device != nullptr ? device->GetStatus() : CNodeTreeModel::NO_STATUS;
}

}  // namespace

CNodeTreeModel::CNodeTreeModel(QObject* parent) : QAbstractItemModel(parent) {}

CNodeTreeModel::~CNodeTreeModel() = default;

void CNodeTreeModel::Fill(CFolder* root)
{
    ASSERT_PANELS_THREAD();
    beginResetModel();
    m_Rows.clear();
    m_Top.children.clear();
    if (root != nullptr) Add(*root, m_Top);
    endResetModel();
}

void CNodeTreeModel::Add(CFolder& folder, Row& parent)
{
    const auto walk = folder.CreateIterator();
    for (; walk->HasNext(); walk->Next()) {
        CNode* const node = walk->CurrentItem();
        if (node == nullptr || !node->m_bVisible) continue;
        auto row = std::make_unique<Row>();
        row->node = node;
        row->name = QString::fromStdString(node->GetName());
        row->status = StatusOf(*node);
        row->parent = &parent;
        row->number = static_cast<int>(parent.children.size());
        m_Rows.insert(node, row.get());
        parent.children.push_back(std::move(row));
        if (auto* const children = dynamic_cast<CFolder*>(node)) Add(*children, *parent.children.back());
    }
}

void CNodeTreeModel::NodeGoes(const CNode& node)
{
    Row* const row = m_Rows.value(&node);
    if (row == nullptr) return;
    Row& parent = *row->parent;
    const int number = row->number;
    m_bTakingAway = true;
    beginRemoveRows(IndexOf(parent), number, number);
    Forget(*row);
    parent.children.erase(parent.children.begin() + number);
    for (std::size_t i = static_cast<std::size_t>(number); i < parent.children.size(); ++i)
        parent.children[i]->number = static_cast<int>(i);
    endRemoveRows();
    m_bTakingAway = false;
}

void CNodeTreeModel::Forget(const Row& row)
{
    m_Rows.remove(row.node);
    for (const auto& child : row.children)
        Forget(*child);
}

void CNodeTreeModel::RefreshIcons(const QModelIndex& first)
{
    ASSERT_PANELS_THREAD();
    for (QModelIndex index = first; index.isValid(); index = index.siblingAtRow(index.row() + 1)) {
        Row& row = *m_Rows.value(NodeOf(index));
        const int status = StatusOf(*row.node);
        if (status != row.status) {
            row.status = status;
            emit dataChanged(index, index, {STATUS_ROLE});
        }
        RefreshIcons(this->index(0, 0, index));
    }
}

const CNodeTreeModel::Row& CNodeTreeModel::RowOf(const QModelIndex& index) const
{
    return index.isValid() ? *static_cast<const Row*>(index.constInternalPointer()) : m_Top;
}

QModelIndex CNodeTreeModel::IndexOf(const Row& row) const
{
    return row.parent != nullptr ? createIndex(row.number, 0, &row) : QModelIndex();
}

CNode* CNodeTreeModel::NodeOf(const QModelIndex& index) const
{
    ASSERT_PANELS_THREAD();
    return RowOf(index).node;
}

QModelIndex CNodeTreeModel::index(int row, int column, const QModelIndex& parent) const
{
    const auto& children = RowOf(parent).children;
    const bool stands = column == 0 && row >= 0 && static_cast<std::size_t>(row) < children.size();
    return stands ? IndexOf(*children[static_cast<std::size_t>(row)]) : QModelIndex();
}

QModelIndex CNodeTreeModel::parent(const QModelIndex& index) const
{
    return index.isValid() ? IndexOf(*RowOf(index).parent) : QModelIndex();
}

int CNodeTreeModel::rowCount(const QModelIndex& parent) const
{
    return static_cast<int>(RowOf(parent).children.size());
}

int CNodeTreeModel::columnCount(const QModelIndex&) const
{
    return 1;
}

Qt::ItemFlags CNodeTreeModel::flags(const QModelIndex& index) const
{
    return index.isValid() ? Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsEditable : Qt::NoItemFlags;
}

QVariant CNodeTreeModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid()) return {};
    const Row& row = RowOf(index);
    if (role == Qt::DisplayRole || role == Qt::EditRole) return row.name;
    return role == STATUS_ROLE ? QVariant(row.status) : QVariant();
}

bool CNodeTreeModel::setData(const QModelIndex& index, const QVariant& value, int role)
{
    if (!index.isValid() || role != Qt::EditRole) return false;
    m_Rows.value(NodeOf(index))->name = value.toString();
    emit dataChanged(index, index, {Qt::DisplayRole, Qt::EditRole});
    return true;
}
