#include <QPushButton>
#include <cstdlib>
#include <limits>

#include "common/RenderCell.h"
#include "common/RenderWnd.h"
#include "model/NodeModel.h"
#include "model/settings/Language.h"
#include "model/tree/CompositeIterator.h"
#include "model/tree/Folder.h"
#include "platform/os/system_language.h"
#include "platform/qt/Menu.h"
#include "platform/qt/PanelsThread.h"
#include "remote/IDevice.h"
#include "render/CellPool.h"
#include "skin/Skin.h"

// What a click on a cell means, and the strip of buttons.

namespace
{

constexpr int PARAM_SINGLE_CELL = 7;
constexpr int TIP_WIDTH = 150;

}  // namespace

IDevice* FindDeviceByWnd(HWND window)
{
    CNodeModel* const model = CNodeModel::GetInstance();
    if (model == nullptr || window == HWND::Null) return nullptr;
    IDevice* found = nullptr;
    CCompositeIterator walk(model->GetRoot()->CreateIterator());
    for (; walk.HasNext(); walk.Next()) {
        auto* const device = dynamic_cast<IDevice*>(walk.CurrentItem());
        if (device != nullptr && device->GetParam(PARAM_RENDER_WND) == static_cast<std::int32_t>(window))
            found = device;
    }
    return found;
}

CRenderCell* CRenderWnd::GetFocusedCell() const
{
    const std::int32_t focus = m_State.GetFocus();
    const bool known = focus >= 0 && static_cast<std::size_t>(focus) < m_Cells.size();
    return known ? m_Cells[static_cast<std::size_t>(focus)] : nullptr;
}

HWND CRenderWnd::FocusedCell() const
{
    const CRenderCell* const cell = GetFocusedCell();
    return cell != nullptr ? cell->Handle() : HWND::Null;
}

void CRenderWnd::OnSelect(HWND window, LPARAM button, const QPoint& menuPlace)
{
    for (std::size_t i = 0; i < m_Cells.size(); ++i) {
        if (m_Cells[i]->Handle() == window) m_State.SetFocus(static_cast<std::int32_t>(i));
    }
    update();
    if (button == GRID_BUTTON_RIGHT) ShowMenu(menuPlace);
    PostMessageA(WindowOf(m_pParent), GRID_NOTICE_SELECTED, 0, 0);
}

void CRenderWnd::ShowMenu(const QPoint& place)
{
    CLanguage::SetLanguage(
        GetLanguageName(GetSystemDefaultLangID()));  // counts only while no language is loaded
    CMenu menu;
    menu.AppendItem(GRID_COMMAND_FULL_SCREEN,
                    CLanguage::GetString(m_bFullScreen ? "IDS_QuitFullScreen" : "IDS_FullScreen"));
    menu.AppendItem(GRID_COMMAND_SNAPSHOT, CLanguage::GetString("IDS_Snapshot"));
    SkinPopupMenu(menu.Widget());
    menu.Track(Handle(), place);
}

void CRenderWnd::OnDoubleClick(HWND window)
{
    // oddity: double-click-by-focus. It asks for the cell with the focus, whatever cell it is sent for.
    if (RefuseWhileLocked() || !IsCellUsed(FocusedCell())) return;
    const bool single = m_State.GetLayout() == CGridState::SINGLE_LAYOUT;
    IDevice* const device = FindDeviceByWnd(window);
    if (device != nullptr && device->Slot23()) device->SetParam(PARAM_SINGLE_CELL, single ? 0 : 1);
    if (single) {
        SetLayout(m_State.GetPreviousLayout());
        return;
    }
    m_State.SetPage(m_State.GetFocus());  // a page of one cell is the cell itself
    SetLayout(CGridState::SINGLE_LAYOUT);
}

// To the nearest cell of the page in that direction.
void CRenderWnd::MoveFocus(int dx, int dy)
{
    const auto& rects = m_State.GetRects();
    const auto onPage = static_cast<std::int32_t>(rects.size());
    const std::int32_t first = onPage * m_State.GetPage();
    const std::int32_t focus = m_State.GetFocus();
    if (focus < first || focus >= first + onPage) {
        if (first < m_State.GetCellCount())
            SendMessageA(Handle(), GRID_MESSAGE_SELECT,
                         static_cast<WPARAM>(m_Cells[static_cast<std::size_t>(first)]->Handle()),
                         GRID_BUTTON_LEFT);
        return;
    }
    const auto middle = [&rects](std::int32_t i) {
        const RECT& rect = rects[static_cast<std::size_t>(i)];
        return QPoint((rect.left + rect.right) / 2, (rect.top + rect.bottom) / 2);
    };
    std::int32_t nearest = -1;
    int least = std::numeric_limits<int>::max();
    for (std::int32_t i = 0; i < onPage && first + i < m_State.GetCellCount(); ++i) {
        const QPoint way = middle(i) - middle(focus - first);
        const int along = way.x() * dx + way.y() * dy;
        const int across = std::abs(way.x() * dy) + std::abs(way.y() * dx);
        if (along > 0 && along + 3 * across < least) {
            least = along + 3 * across;
            nearest = first + i;
        }
    }
    if (nearest >= 0)
        SendMessageA(Handle(), GRID_MESSAGE_SELECT,
                     static_cast<WPARAM>(m_Cells[static_cast<std::size_t>(nearest)]->Handle()),
                     GRID_BUTTON_LEFT);
}

void CRenderWnd::CreateButtons()
{
    ASSERT_PANELS_THREAD();
    for (std::size_t i = 0; i < m_Record.list_wnd.size(); ++i) {
        const XWnd* const wnd = m_Record.list_wnd[i];
        const bool slot =
            wnd != nullptr && wnd->resource_id >= 0 && static_cast<std::size_t>(wnd->resource_id) < BUTTONS;
        if (!slot || m_Buttons[static_cast<std::size_t>(wnd->resource_id)] != nullptr) continue;
        auto* const button = new QPushButton(this);
        const std::int32_t id = GRID_COMMAND_BASE + wnd->resource_id;
        button->setCheckable(wnd->skin_id == "ButtonPageCycle");
        const RECT place = ScaleRect({wnd->rect.left, wnd->rect.top, wnd->rect.right, wnd->rect.bottom},
                                     m_WindowScaleX, m_WindowScaleY);
        button->setGeometry(place.left, place.top, place.right, place.bottom);
        const QString tip = QString::fromStdString(CLanguage::GetString(wnd->tool_tip)).toHtmlEscaped();
        button->setToolTip(QStringLiteral("<div style='max-width:%1px'>%2</div>").arg(TIP_WIDTH).arg(tip));
        button->setAccessibleName(QString::fromStdString(CLanguage::GetString(wnd->tool_tip)));
        connect(button, &QPushButton::clicked, this,
                [this, id] { SendMessageA(Handle(), WM_COMMAND, static_cast<WPARAM>(id), 0); });
        button->show();
        m_Buttons[static_cast<std::size_t>(wnd->resource_id)] = button;
    }
}
