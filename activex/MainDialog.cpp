#include "activex/MainDialog.h"

#include <QCursor>
#include <QPainter>
#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <string>

#include "activex/UI common/Outlook2Ctrl.h"
#include "common/RenderWnd.h"
#include "inc/StandardError.h"
#include "model/NodeModel.h"
#include "model/archive/XMLInputArchive.h"
#include "model/layout/LayoutRecords.h"
#include "model/settings/Language.h"
#include "model/settings/SystemSettings.h"
#include "model/tree/CompositeIterator.h"
#include "model/tree/Devices.h"
#include "platform/os/paths.h"
#include "platform/qt/Menu.h"
#include "remote/Device.h"
#include "remote/UdpRemoteStation.h"
#include "skin/Skin.h"
#include "skin/SkinPaint.h"
#include "skin/theme/PanelColors.h"

// What the panel does once it stands, and its end. How it starts is in MainDialog_Start.cpp.

namespace
{

constexpr std::int32_t SEPARATOR_SLOT = 21;  // a menu entry of this slot has a separator before it
constexpr int DEVICE_LIST_FOLDER = 1;

// Actions of the layout menu, which follow its arrangements.
enum class EPageAction { First, Previous, Cycle, Next, Last };

// Nothing is taken down, so the user learns why from standard error alone.
void ExitProcess(int code)
{
    PrintError(
        "watchwall: the video grid can't be made with the renderer that is chosen or found; key \"Render\" in "
        "section \"System\" of \"" +
        HostPath(GetSettingsPath()) + "\" chooses it. The process ends with code " + std::to_string(code) +
        ".\n");
    std::_Exit(code);
}

}  // namespace

CMainDialog::CMainDialog(CLogonRemoteDlg::StationFactory stations, Exit exit, SocketStart startSockets)
    : CDialog(TEMPLATE),
      m_Logon(std::move(stations)),
      m_pExit(exit != nullptr ? exit : ExitProcess),
      m_pStartSockets(startSockets)
{
}

std::unique_ptr<CRemoteStation> CMainDialog::MakeStation()
{
    return std::make_unique<CUdpRemoteStation>();
}

CMainDialog::~CMainDialog()
{
    DestroyWindow();
}

void CMainDialog::Update(CNode* node, std::string)
{
    if (node != nullptr) SendMessageA(m_hSelf, MAIN_MESSAGE_DEVICE_CHANGED, 0, 0);
}

std::int32_t CMainDialog::OnCreate()
{
    SkinDialog(Widget(), "DialogMain");
    m_hSelf = Handle();
    return 0;
}

QColor CMainDialog::GetGround()
{
    return ToQColor(panel_color::GROUND);
}

void CMainDialog::OnPaint(QPainter& painter, const QRect& area)
{
    painter.fillRect(area, GetGround());
}

LRESULT CMainDialog::WindowProc(std::uint32_t message, WPARAM wParam, LPARAM lParam)
{
    switch (message) {
        case MAIN_MESSAGE_DEVICE_CHANGED:
            m_Tree.RefreshIcons(m_Tree.GetRootItem());
            return 0;
        case LOGON_MESSAGE_ADDED:
            OnStationAdded(static_cast<std::int32_t>(lParam));
            return 0;
        default:
            return CDialog::WindowProc(message, wParam, lParam);
    }
}

void CMainDialog::OnStationAdded(std::int32_t channels)
{
    if (m_pSideBar == nullptr || m_pRenderWnd == nullptr) return;
    m_pSideBar->SelectFolder(DEVICE_LIST_FOLDER, COutlook2Ctrl::EAnimation::Off);
    m_Tree.RefillTree();
    m_pRenderWnd->SetLayoutForCount(channels);
    // A locked grid refuses with a message box, in which the panel may go.
    if (m_pRenderWnd != nullptr) m_pRenderWnd->show();
}

bool CMainDialog::OnCommand(int id)
{
    if (id == MAIN_COMMAND_LAYOUT_MENU) {
        ShowLayoutMenu();
        return true;
    }
    if (id >= MAIN_COMMAND_LAYOUT_FIRST && id <= MAIN_COMMAND_LAYOUT_LAST) {
        OnLayoutCommand(id - MAIN_COMMAND_LAYOUT_FIRST);
        return true;
    }
    return CDialog::OnCommand(id);
}

void CMainDialog::ShowLayoutMenu()
{
    XRenderWnd record;
    XMLInputArchive archive(GetModuleDirectory() + "config\\render_layout_800x600.xml");
    archive& Named("m_XRenderWnd", record);
    CMenu menu;
    for (std::size_t i = 0; i < record.list_wnd.size(); ++i) {
        const XWnd* const entry = record.list_wnd[i];
        if (entry == nullptr) continue;
        if (entry->resource_id == SEPARATOR_SLOT) menu.AppendSeparator();
        menu.AppendItem(MAIN_COMMAND_LAYOUT_FIRST + static_cast<int>(i), CLanguage::GetString(entry->tool_tip));
    }
    SkinPopupMenu(menu.Widget());
    menu.Track(Handle(), QCursor::pos());
}

void CMainDialog::OnLayoutCommand(int index)
{
    if (m_pRenderWnd == nullptr) return;
    const int layouts = m_pRenderWnd->GetLayoutCount();
    if (index < layouts) {
        m_pRenderWnd->SetLayout(index);
        return;
    }
    switch (static_cast<EPageAction>(index - layouts)) {
        case EPageAction::First:
            m_pRenderWnd->FirstPage();
            break;
        case EPageAction::Previous:
            m_pRenderWnd->PrevPage();
            break;
        case EPageAction::Cycle:
            // oddity: cycle-flag-turns; also when the locked grid starts no timer
            m_bPageCycle = !m_bPageCycle;
            if (m_bPageCycle)
                m_pRenderWnd->StartCycle();
            else
                m_pRenderWnd->StopCycle();
            break;
        case EPageAction::Next:
            m_pRenderWnd->NextPage();
            break;
        case EPageAction::Last:
            m_pRenderWnd->LastPage();
            break;
        default:
            break;
    }
}

void CMainDialog::OnClose()
{
    RemoveHook();
    CDialog::OnClose();
}

void CMainDialog::OnDestroy()
{
    RemoveHook();
    CloseDevices();
    DetachObserver(this);
    m_hSelf = HWND::Null;
    // The language has no object to delete: its texts stay readable for link threads that end late.
    m_pRenderWnd.reset();
    if (m_bSocketsStarted) WSACleanup();
    m_bSocketsStarted = false;
    m_pSideBar = nullptr;
    m_Captions = {};
    m_Buttons = {};
    m_bPageCycle = false;
}

// Every device is closed, open ones by their Close; those of the first station go, then the station, then the
// root. The model and its database stay to process end.
void CMainDialog::CloseDevices()
{
    CNodeModel* const model = CNodeModel::GetInstance();
    if (model == nullptr) return;
    std::vector<CDevice*> devices;
    CDevices* first = nullptr;
    CCompositeIterator walk(model->GetRoot()->CreateIterator());
    for (; walk.HasNext(); walk.Next()) {
        CNode* const node = walk.CurrentItem();
        if (first == nullptr) first = dynamic_cast<CDevices*>(node);
        if (auto* const device = dynamic_cast<CDevice*>(node)) devices.push_back(device);
    }
    std::vector<CDevice*> open;
    std::ranges::copy_if(devices, std::back_inserter(open),
                         [](CDevice* device) { return device->GetStatus() != STATUS_CLOSED; });
    // All are told before the first is waited for, so that their threads end side by side; and none is woken
    // before all are told, so that no thread starts again with what another leaves it.
    for (CDevice* device : open)
        device->GetState()->m_bRunning = false;
    for (CDevice* device : open)
        device->LetGo();
    for (CDevice* device : open)
        device->Close();
    if (first != nullptr) {
        for (CDevice* device : devices)
            first->Remove(device);  // those of other stations aren't found there
        auto* const station = dynamic_cast<CRemoteStation*>(first->GetParent());
        if (station != nullptr) {
            station->Remove(first);
            model->GetRoot()->Remove(station);
        }
    }
    model->DeleteRoot();
}
