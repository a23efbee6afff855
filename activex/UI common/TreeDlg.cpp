#include "activex/UI common/TreeDlg.h"

#include <QPainter>
#include <algorithm>
#include <vector>

#include "activex/UI common/NodeTreeModel.h"
#include "activex/UI common/TreeCtrlEx.h"
#include "model/NodeModel.h"
#include "model/settings/Language.h"
#include "model/tree/CompositeIterator.h"
#include "model/tree/Folder.h"
#include "model/tree/Observer.h"
#include "platform/os/system_language.h"
#include "platform/qt/Keys.h"
#include "platform/qt/Menu.h"
#include "platform/qt/MessageBoxes.h"
#include "platform/qt/PanelsThread.h"
#include "remote/Remote.h"
#include "remote/RemoteStation.h"
#include "remote/TcpRemote.h"
#include "render/CellPool.h"
#include "skin/Skin.h"
#include "skin/SkinPaint.h"

namespace
{

constexpr int WIDTH_LESS = 5;
constexpr int HEIGHT_LESS = 151;
constexpr int START_REASON = 0x10;
constexpr int STOP_REASON = 0x40;

enum class EOfferedOn { Nothing, Device, Folder, Station };

// The tests are made one by one: a station gets the folder's rows and its own.
bool IsOffered(CNode* node, EOfferedOn on)
{
    switch (on) {
        case EOfferedOn::Nothing:
            return false;
        case EOfferedOn::Device:
            return dynamic_cast<IDevice*>(node) != nullptr;
        case EOfferedOn::Folder:
            return dynamic_cast<CFolder*>(node) != nullptr;
        case EOfferedOn::Station:
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

// Every channel beneath `node`, if that is a folder. The work on one may wait and serve the container, which
// may take nodes of the tree down, or all of it.
template <typename Work>
void ForEachRemote(CNode* node, Work work)
{
    auto* const folder = dynamic_cast<CFolder*>(node);
    if (folder == nullptr) return;
    std::vector<CRemote*> remotes;
    CCompositeIterator walk(folder->CreateIterator());
    for (; walk.HasNext(); walk.Next()) {
        if (auto* const remote = dynamic_cast<CRemote*>(walk.CurrentItem())) remotes.push_back(remote);
    }
    for (CRemote* const remote : remotes) {
        CNodeModel* const model = CNodeModel::GetInstance();
        if (model != nullptr && model->Contains(remote)) work(*remote);
    }
}

// oddity: open-all-without-windows. Through SetParam, which a channel over P2P does not store: such a channel
// opens without a window, and its cell is used all the same.
void OpenAll(CNode* node, HWND grid)
{
    ForEachRemote(node, [grid](CRemote& remote) {
        if (remote.GetStatus() != STATUS_CLOSED) return;
        remote.SetParam(PARAM_RENDER_WND, static_cast<std::int32_t>(TakeFreeCell(grid)));
        remote.Open();
    });
}

void CloseAll(CNode* node)
{
    ForEachRemote(node, [](CRemote& remote) {
        if (remote.GetStatus() != STATUS_CLOSED) remote.Close();
    });
}

}  // namespace

/// A command, what it does to the selected node (null without a selection), and where the menu offers it. A
/// node of another type is left alone.
struct CTreeDlg::Command {
    int id;
    const char* key;
    EOfferedOn on;
    bool separator;  // before it, in the menu
    void (*act)(CTreeDlg& panel, CNode* node);
};

std::span<const CTreeDlg::Command> CTreeDlg::Commands()
{
    static constexpr Command COMMANDS[] = {
        {TREE_COMMAND_OPEN, "IDS_Device_Open", EOfferedOn::Device, false,
         [](CTreeDlg& panel, CNode* node) {
             auto* const remote = dynamic_cast<CRemote*>(node);
             if (remote != nullptr && remote->GetStatus() == STATUS_CLOSED) panel.OpenDevice(*remote);
         }},
        {TREE_COMMAND_CLOSE, "IDS_Device_Close", EOfferedOn::Device, false,
         [](CTreeDlg&, CNode* node) {
             auto* const device = dynamic_cast<IDevice*>(node);
             if (device != nullptr && device->GetStatus() != STATUS_CLOSED) device->Close();
         }},
        {TREE_COMMAND_START_RECORD, "IDS_Device_StartRecord", EOfferedOn::Device, false,
         [](CTreeDlg&, CNode* node) {
             auto* const device = dynamic_cast<IDevice*>(node);
             if (device != nullptr && device->GetStatus() != STATUS_CLOSED) device->StartRecord(START_REASON);
         }},
        {TREE_COMMAND_STOP_RECORD, "IDS_Device_StopRecord", EOfferedOn::Device, false,
         [](CTreeDlg&, CNode* node) {
             if (auto* const device = dynamic_cast<IDevice*>(node)) device->StopRecord(STOP_REASON);
         }},
        {TREE_COMMAND_OPEN_ALL, "IDS_Device_Open_All", EOfferedOn::Folder, false,
         [](CTreeDlg& panel, CNode* node) { OpenAll(node, panel.m_hGrid); }},
        {TREE_COMMAND_CLOSE_ALL, "IDS_Device_Close_All", EOfferedOn::Folder, false,
         [](CTreeDlg&, CNode* node) { CloseAll(node); }},
        {TREE_COMMAND_START_RECORD_ALL, "IDS_Device_StartRecord_All", EOfferedOn::Folder, false,
         [](CTreeDlg&, CNode* node) {
             ForEachRemote(node, [](CRemote& remote) { remote.StartRecord(START_REASON); });
         }},
        {TREE_COMMAND_STOP_RECORD_ALL, "IDS_Device_StopRecord_All", EOfferedOn::Folder, false,
         [](CTreeDlg&, CNode* node) {
             ForEachRemote(node, [](CRemote& remote) { remote.StopRecord(STOP_REASON); });
         }},
        {TREE_COMMAND_SNAPSHOT_ALL, "IDS_Device_Snapshot_All", EOfferedOn::Folder, false,
         [](CTreeDlg&, CNode* node) { ForEachRemote(node, [](CRemote& remote) { remote.SnapShot(); }); }},
        {TREE_COMMAND_RENAME, "IDS_Folder_ReName", EOfferedOn::Station, false,
         [](CTreeDlg& panel, CNode*) { panel.RenameSelected(); }},
        {TREE_COMMAND_DELETE, "IDS_Folder_Delete", EOfferedOn::Station, true,
         [](CTreeDlg& panel, CNode* node) { panel.DeleteStation(node); }},
        {TREE_COMMAND_OPEN_TREE, nullptr, EOfferedOn::Nothing, false,
         [](CTreeDlg& panel, CNode*) { OpenAll(GetModelRoot(), panel.m_hGrid); }},
        {TREE_COMMAND_CLOSE_TREE, nullptr, EOfferedOn::Nothing, false,
         [](CTreeDlg&, CNode*) { CloseAll(GetModelRoot()); }},
    };
    return COMMANDS;
}

CTreeDlg::~CTreeDlg()
{
    DestroyWindow();
}

void CTreeDlg::OnCreateControls()
{
    m_pTree = AddControl(TREE_CONTROL, new CTreeCtrlEx(Widget()));
    m_pTree->setAccessibleName(QString::fromStdString(CLanguage::GetString("IDS_Main_DeviceList")));
    m_pNodes = new CNodeTreeModel(m_pTree);
    m_pTree->setModel(m_pNodes);
    QObject::connect(m_pTree, &CTreeCtrlEx::MenuRequested, m_pTree,
                     [this](const QPoint& place) { ShowMenu(place); });
    QObject::connect(m_pTree, &CTreeCtrlEx::doubleClicked, m_pTree,
                     [this](const QModelIndex& item) { OnDoubleClick(item); });
    QObject::connect(m_pTree, &CTreeCtrlEx::LabelEdited, m_pTree,
                     [this](const QModelIndex& item, const QString& text) { OnLabelEdited(item, text); });
    QObject::connect(m_pTree->selectionModel(), &QItemSelectionModel::currentChanged, m_pTree,
                     [this](const QModelIndex& item) {
                         CNodeModel* const model = CNodeModel::GetInstance();
                         const bool chosen = item.isValid() && !m_pNodes->IsTakingAway();
                         if (chosen && model != nullptr) model->SetCurrent(NodeOf(item));
                     });
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
    m_pNodes = nullptr;
}

void CTreeDlg::OnSize(int width, int height)
{
    PlaceTree(width, height);
}

void CTreeDlg::OnPaint(QPainter& painter, const QRect& area)
{
    painter.fillRect(area, ToQColor(panel_color::GROUND));
}

void CTreeDlg::PlaceTree(int width, int height)
{
    if (m_pTree != nullptr)
        m_pTree->setGeometry(0, 0, std::max(width - WIDTH_LESS, 0), std::max(height - HEIGHT_LESS, 0));
}

EPreTranslate CTreeDlg::PreTranslateMessage(MSG& message)
{
    const bool accepts = message.message == WM_KEYDOWN && message.wParam == VK_RETURN;
    // The edit field has a menu, which is a window of its own.
    const bool here = message.target != nullptr && message.target->window() == Widget()->window();
    const bool ends = here && (accepts || message.message == WM_LBUTTONDOWN);
    if (ends && m_pTree != nullptr && m_pTree->IsEditing()) {
        Widget()->setFocus(Qt::OtherFocusReason);
        if (accepts) return EPreTranslate::Handled;
    }
    return CDialog::PreTranslateMessage(message);
}

QModelIndex CTreeDlg::GetRootItem() const
{
    ASSERT_PANELS_THREAD();
    return m_pNodes != nullptr ? m_pNodes->index(0, 0) : QModelIndex();
}

CNode* CTreeDlg::NodeOf(const QModelIndex& item) const
{
    ASSERT_PANELS_THREAD();
    return m_pNodes != nullptr ? m_pNodes->NodeOf(item) : nullptr;
}

CNode* CTreeDlg::GetSelectedNode() const
{
    return m_pTree != nullptr ? NodeOf(m_pTree->currentIndex()) : nullptr;
}

// Names are shown as they are in any language, so the tree's font is bound to no character set of one; which
// regional forms of a character it draws goes by the system's language.
void CTreeDlg::ReloadTree()
{
    ASSERT_PANELS_THREAD();
    if (m_pTree == nullptr) return;
    m_pNodes->Fill(GetModelRoot());
    m_pTree->expandAll();
}

void CTreeDlg::RefillTree()
{
    ASSERT_PANELS_THREAD();
    if (m_pTree == nullptr) return;
    m_pTree->SetTreeColors(panel_color::TREE_GROUND, panel_color::TREE_INK);
    ReloadTree();
    m_pTree->viewport()->update();
}

void CTreeDlg::RefreshIcons(const QModelIndex& item)
{
    ASSERT_PANELS_THREAD();
    if (m_pNodes != nullptr) m_pNodes->RefreshIcons(item);
}

void CTreeDlg::ShowMenu(const QPoint& place)
{
    CNode* const node = GetSelectedNode();
    CLanguage::SetLanguage(
        GetLanguageName(GetSystemDefaultLangID()));  // counts only while no language is loaded
    CMenu menu;
    for (const Command& command : Commands()) {
        if (!IsOffered(node, command.on)) continue;
        if (command.separator) menu.AppendSeparator();
        menu.AppendItem(command.id, CLanguage::GetString(command.key));
    }
    SkinPopupMenu(menu.Widget());
    menu.Track(Handle(), place);
}

bool CTreeDlg::OnCommand(int id)
{
    const auto commands = Commands();
    const auto known = std::ranges::find(commands, id, &Command::id);
    if (known != commands.end()) {
        const CUnwaitedMessageBoxes unwaited;  // of links; the container could delete the node meanwhile
        known->act(*this, GetSelectedNode());
        return true;
    }
    return (id >= TREE_COMMAND_OPEN && id <= TREE_COMMAND_LAST) || CDialog::OnCommand(id);
}

// The cell's window is written straight into the device, not through SetParam: a channel over P2P stores
// nothing there, so only here does such a channel get its window.
void CTreeDlg::OpenDevice(CRemote& device)
{
    SendMessageA(WindowOf(Widget()->parentWidget()), TREE_NOTICE_OPENING, static_cast<WPARAM>(CountUsedCells()),
                 0);
    device.SetRenderWnd(TakeFreeCell(m_hGrid));
    device.Open();
}

// oddity: double-click-opens-direct. Direct channels alone; one over P2P is opened by the menu.
void CTreeDlg::OnDoubleClick(const QModelIndex& item)
{
    const CUnwaitedMessageBoxes unwaited;
    auto* const device = dynamic_cast<CTcpRemote*>(NodeOf(item));
    if (device != nullptr && device->GetStatus() == STATUS_CLOSED) {
        device->SetParam(PARAM_RENDER_WND, static_cast<std::int32_t>(TakeFreeCell(m_hGrid)));
        device->Open();
    }
    RefreshIcons(GetRootItem());
}

void CTreeDlg::RenameSelected()
{
    if (m_pTree->currentIndex().isValid()) m_pTree->edit(m_pTree->currentIndex());
}

// An edit of a row that is no station changes the text of the row alone.
void CTreeDlg::OnLabelEdited(const QModelIndex& item, const QString& text)
{
    auto* const station = dynamic_cast<CStation*>(NodeOf(item));
    if (station == nullptr) return;
    station->SetName(text.toStdString());
    PostToParent(TREE_NOTICE_CHANGED);
}

void CTreeDlg::DeleteStation(CNode* node)
{
    auto* const station = dynamic_cast<CRemoteStation*>(node);
    CNodeModel* const model = CNodeModel::GetInstance();
    if (station != nullptr && model != nullptr) {
        station->Disconnect();
        ForEachRemote(station, [](CRemote& remote) { remote.Close(); });
        std::vector<CNode*> nodes;
        CCompositeIterator walk(station->CreateIterator());
        for (; walk.HasNext(); walk.Next())
            nodes.push_back(walk.CurrentItem());
        // The deepest first, so that no folder deletes a child that is in the list too.
        for (auto beneath = nodes.rbegin(); beneath != nodes.rend(); ++beneath)
            delete *beneath;
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
