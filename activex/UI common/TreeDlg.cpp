#include "activex/UI common/TreeDlg.h"

#include <QPainter>

#include "activex/UI common/TreeCtrlEx.h"
#include "model/NodeModel.h"
#include "model/settings/Language.h"
#include "model/tree/CompositeIterator.h"
#include "model/tree/Folder.h"
#include "model/tree/Observer.h"
#include "platform/os/language.h"
#include "platform/qt/Keys.h"
#include "platform/qt/Menu.h"
#include "remote/Remote.h"
#include "remote/RemoteStation.h"
#include "remote/TcpRemote.h"
#include "render/CellPool.h"
#include "skin/Skin.h"

namespace
{

const QColor PANEL_GROUND(0xC5, 0xC5, 0xC5);
const QColor TREE_GROUND(0x26, 0x29, 0x2E);  // 0x2E2926 with red in the low byte
const QColor TREE_TEXT(0x9B, 0x9B, 0x9B);
constexpr int WIDTH_LESS = 5;
constexpr int HEIGHT_LESS = 151;
constexpr int START_REASON = 0x10;
constexpr int STOP_REASON = 0x40;

enum class OFFERED_ON { Device, Folder, Station };

struct MenuRow {
    int m_iCommand;
    const char* m_szKey;
    OFFERED_ON m_On;
    bool m_bSeparatorBefore;
};

constexpr MenuRow MENU[] = {
    {TREE_COMMAND_OPEN, "IDS_Device_Open", OFFERED_ON::Device, false},
    {TREE_COMMAND_CLOSE, "IDS_Device_Close", OFFERED_ON::Device, false},
    {TREE_COMMAND_START_RECORD, "IDS_Device_StartRecord", OFFERED_ON::Device, false},
    {TREE_COMMAND_STOP_RECORD, "IDS_Device_StopRecord", OFFERED_ON::Device, false},
    {TREE_COMMAND_OPEN_ALL, "IDS_Device_Open_All", OFFERED_ON::Folder, false},
    {TREE_COMMAND_CLOSE_ALL, "IDS_Device_Close_All", OFFERED_ON::Folder, false},
    {TREE_COMMAND_START_RECORD_ALL, "IDS_Device_StartRecord_All", OFFERED_ON::Folder, false},
    {TREE_COMMAND_STOP_RECORD_ALL, "IDS_Device_StopRecord_All", OFFERED_ON::Folder, false},
    {TREE_COMMAND_SNAPSHOT_ALL, "IDS_Device_Snapshot_All", OFFERED_ON::Folder, false},
    {TREE_COMMAND_RENAME, "IDS_Folder_ReName", OFFERED_ON::Station, false},
    {TREE_COMMAND_DELETE, "IDS_Folder_Delete", OFFERED_ON::Station, true},
};

// The tests are made one by one: a station gets the folder's rows and its own.
bool IsOffered(CNode* node, OFFERED_ON on)
{
    switch (on) {
        case OFFERED_ON::Device:
            return dynamic_cast<IDevice*>(node) != nullptr;
        case OFFERED_ON::Folder:
            return dynamic_cast<CFolder*>(node) != nullptr;
        case OFFERED_ON::Station:
            return dynamic_cast<CStation*>(node) != nullptr;
    }
    return false;
}

int CountUsedCells()
{
    int used = 0;
    for (const CRenderSub& cell : GetCells())
        used += cell.m_hWnd != HWND::Null && cell.m_bUsed ? 1 : 0;
    return used;
}

CFolder* GetModelRoot()
{
    CNodeModel* const model = CNodeModel::GetInstance();
    return model != nullptr ? model->GetRoot() : nullptr;
}

}  // namespace

CTreeDlg::~CTreeDlg()
{
    DestroyWindow();
}

bool CTreeDlg::OnLoadTemplate(int templateNumber)
{
    if (templateNumber != TEMPLATE) return false;
    m_pTree = AddControl(TREE_CONTROL, new CTreeCtrlEx(Widget()));
    m_pTree->setAccessibleName(QString::fromStdString(CLanguage::GetString("IDS_Main_DeviceList")));
    QObject::connect(m_pTree, &CTreeCtrlEx::MenuRequested, m_pTree,
                     [this](QTreeWidgetItem* item, const QPoint& place) { ShowMenu(item, place); });
    QObject::connect(m_pTree, &CTreeCtrlEx::itemDoubleClicked, m_pTree,
                     [this](QTreeWidgetItem* item) { OnDoubleClick(item); });
    QObject::connect(m_pTree, &CTreeCtrlEx::LabelEdited, m_pTree,
                     [this](QTreeWidgetItem* item, const QString& text) { OnLabelEdited(item, text); });
    QObject::connect(m_pTree, &CTreeCtrlEx::currentItemChanged, m_pTree, [](QTreeWidgetItem* item) {
        CNodeModel* const model = CNodeModel::GetInstance();
        if (item != nullptr && model != nullptr) model->SetCurrent(CTreeCtrlEx::NodeOf(item));
    });
    return true;
}

std::int32_t CTreeDlg::OnCreate()
{
    SkinDialog(Widget(), "DialogMain");
    return 0;
}

bool CTreeDlg::OnInitDialog()
{
    PlaceTree(Widget()->width(), Widget()->height());
    ReloadTree();
    return true;
}

void CTreeDlg::OnDestroy()
{
    m_pTree = nullptr;
}

void CTreeDlg::OnSize(int width, int height)
{
    PlaceTree(width, height);
}

void CTreeDlg::OnPaint(QPainter& painter, const QRect& area)
{
    painter.fillRect(area, PANEL_GROUND);
}

void CTreeDlg::PlaceTree(int width, int height)
{
    if (m_pTree != nullptr)
        m_pTree->setGeometry(0, 0, std::max(width - WIDTH_LESS, 0), std::max(height - HEIGHT_LESS, 0));
}

EPreTranslate CTreeDlg::PreTranslateMessage(MSG& message)
{
    const bool accepts = message.message == WM_KEYDOWN && message.wParam == VK_RETURN;
    const bool ends = accepts || message.message == WM_LBUTTONDOWN;
    if (ends && m_pTree != nullptr && m_pTree->IsEditing()) {
        Widget()->setFocus(Qt::OtherFocusReason);
        if (accepts) return EPreTranslate::Handled;
    }
    return CDialog::PreTranslateMessage(message);
}

QTreeWidgetItem* CTreeDlg::GetRootItem() const
{
    return m_pTree != nullptr ? m_pTree->topLevelItem(0) : nullptr;
}

CNode* CTreeDlg::GetSelectedNode() const
{
    return m_pTree != nullptr ? CTreeCtrlEx::NodeOf(m_pTree->currentItem()) : nullptr;
}

void CTreeDlg::ReloadTree()
{
    if (m_pTree == nullptr) return;
    m_pTree->clear();
    if (CFolder* const root = GetModelRoot()) Fill(*root, nullptr);
}

void CTreeDlg::RefillTree()
{
    if (m_pTree == nullptr) return;
    m_pTree->SetTreeColors(TREE_GROUND, TREE_TEXT);
    ReloadTree();
    m_pTree->viewport()->update();
}

void CTreeDlg::Fill(CFolder& folder, QTreeWidgetItem* parent)
{
    const auto walk = folder.CreateIterator();
    for (; walk->HasNext(); walk->Next()) {
        CNode* const node = walk->CurrentItem();
        if (node == nullptr || !node->m_bVisible) continue;
        QTreeWidgetItem* const item = m_pTree->AddItem(parent, node);
        item->setText(0, QString::fromStdString(node->GetName()));
        item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsEditable);
        if (auto* const device = dynamic_cast<CDevice*>(node))
            CTreeCtrlEx::SetStatusImage(item, device->GetStatus());
        if (auto* const children = dynamic_cast<CFolder*>(node)) {
            Fill(*children, item);
            item->setExpanded(true);
        }
    }
}

void CTreeDlg::RefreshIcons(QTreeWidgetItem* item)
{
    while (item != nullptr) {
        if (auto* const device = dynamic_cast<CDevice*>(CTreeCtrlEx::NodeOf(item)))
            CTreeCtrlEx::SetStatusImage(item, device->GetStatus());
        RefreshIcons(item->child(0));
        QTreeWidgetItem* const parent = item->parent();
        item = parent != nullptr ? parent->child(parent->indexOfChild(item) + 1)
                                 : m_pTree->topLevelItem(m_pTree->indexOfTopLevelItem(item) + 1);
    }
}

void CTreeDlg::ShowMenu(QTreeWidgetItem* item, const QPoint& place)
{
    CNode* const node = CTreeCtrlEx::NodeOf(item);
    CLanguage::SetLanguage(
        GetLanguageName(GetSystemDefaultLangID()));  // counts only while no language is loaded
    CMenu menu;
    for (const MenuRow& row : MENU) {
        if (!IsOffered(node, row.m_On)) continue;
        if (row.m_bSeparatorBefore) menu.AppendSeparator();
        menu.AppendItem(row.m_iCommand, CLanguage::GetString(row.m_szKey));
    }
    SkinPopupMenu(menu.Widget());
    menu.Track(Handle(), place);
}

bool CTreeDlg::OnCommand(int id)
{
    CNode* const node = GetSelectedNode();
    auto* const device = dynamic_cast<IDevice*>(node);
    auto* const folder = dynamic_cast<CFolder*>(node);
    switch (id) {
        case TREE_COMMAND_OPEN:
            if (auto* const remote = dynamic_cast<CRemote*>(node);
                remote != nullptr && remote->GetStatus() == 0)
                OpenDevice(*remote);
            return true;
        case TREE_COMMAND_CLOSE:
            if (device != nullptr && device->GetStatus() != 0) device->Close();
            return true;
        case TREE_COMMAND_START_RECORD:
            if (device != nullptr && device->GetStatus() != 0) device->StartRecord(START_REASON);
            return true;
        case TREE_COMMAND_STOP_RECORD:
            if (device != nullptr) device->StopRecord(STOP_REASON);
            return true;
        case TREE_COMMAND_OPEN_ALL:
        case TREE_COMMAND_OPEN_TREE:
            // Through SetParam, which a channel over P2P does not store: it opens without a window and its cell
            // is used all the same.
            ForEachRemote(id == TREE_COMMAND_OPEN_ALL ? folder : GetModelRoot(), [](CRemote& remote) {
                if (remote.GetStatus() != 0) return;
                remote.SetParam(PARAM_RENDER_WND, static_cast<std::int32_t>(TakeFreeCell()));
                remote.Open();
            });
            return true;
        case TREE_COMMAND_CLOSE_ALL:
        case TREE_COMMAND_CLOSE_TREE:
            ForEachRemote(id == TREE_COMMAND_CLOSE_ALL ? folder : GetModelRoot(), [](CRemote& remote) {
                if (remote.GetStatus() != 0) remote.Close();
            });
            return true;
        case TREE_COMMAND_START_RECORD_ALL:
            ForEachRemote(folder, [](CRemote& remote) { remote.StartRecord(START_REASON); });
            return true;
        case TREE_COMMAND_STOP_RECORD_ALL:
            ForEachRemote(folder, [](CRemote& remote) { remote.StopRecord(STOP_REASON); });
            return true;
        case TREE_COMMAND_SNAPSHOT_ALL:
            ForEachRemote(folder, [](CRemote& remote) { remote.SnapShot(); });
            return true;
        case TREE_COMMAND_RENAME:
            if (m_pTree->currentItem() != nullptr) m_pTree->editItem(m_pTree->currentItem(), 0);
            return true;
        case TREE_COMMAND_DELETE:
            DeleteStation();
            return true;
        default:
            return (id >= TREE_COMMAND_OPEN && id <= TREE_COMMAND_LAST) || CDialog::OnCommand(id);
    }
}

// The cell's window is written straight into the device, not through SetParam: a channel over P2P stores
// nothing there, so this is the one road on which such a channel gets its window.
void CTreeDlg::OpenDevice(CRemote& device)
{
    SendMessageA(WindowOf(Widget()->parentWidget()), TREE_NOTICE_OPENING, static_cast<WPARAM>(CountUsedCells()),
                 0);
    device.SetRenderWnd(TakeFreeCell());
    device.Open();
}

void CTreeDlg::ForEachRemote(CFolder* folder, const std::function<void(CRemote&)>& work)
{
    if (folder == nullptr) return;
    CCompositeIterator walk(folder->CreateIterator());
    for (; walk.HasNext(); walk.Next()) {
        if (auto* const remote = dynamic_cast<CRemote*>(walk.CurrentItem())) work(*remote);
    }
}

void CTreeDlg::OnDoubleClick(QTreeWidgetItem* item)
{
    auto* const device = dynamic_cast<CTcpRemote*>(CTreeCtrlEx::NodeOf(item));
    if (device != nullptr && device->GetStatus() == 0) {
        device->SetParam(PARAM_RENDER_WND, static_cast<std::int32_t>(TakeFreeCell()));
        device->Open();
    }
    RefreshIcons(GetRootItem());
}

void CTreeDlg::OnLabelEdited(QTreeWidgetItem* item, const QString& text)
{
    auto* const station = dynamic_cast<CStation*>(CTreeCtrlEx::NodeOf(item));
    if (station == nullptr) return;
    station->SetName(text.toStdString());
    PostToParent(TREE_NOTICE_CHANGED);
}

void CTreeDlg::DeleteStation()
{
    auto* const station = dynamic_cast<CRemoteStation*>(GetSelectedNode());
    CNodeModel* const model = CNodeModel::GetInstance();
    if (station != nullptr && model != nullptr) {
        station->Disconnect();
        ForEachRemote(station, [](CRemote& remote) { remote.Close(); });
        // The items' pointers go with the station: the tree lets go of them before it dies.
        m_pTree->clear();
        std::vector<CNode*> nodes;
        CCompositeIterator walk(station->CreateIterator());
        for (; walk.HasNext(); walk.Next())
            nodes.push_back(walk.CurrentItem());
        // The deepest first, so that no folder takes a child along that is deleted by itself.
        for (auto node = nodes.rbegin(); node != nodes.rend(); ++node)
            delete *node;
        model->GetRoot()->Remove(station);
        model->SetCurrent(model->GetRoot());
    }
    ReloadTree();
    EnableNotify();
    PostToParent(TREE_NOTICE_CHANGED);
}

void CTreeDlg::PostToParent(std::uint32_t message)
{
    PostMessageA(WindowOf(Widget()->parentWidget()), message, 0, 0);
}
