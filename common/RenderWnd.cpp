#include "common/RenderWnd.h"

#include <QCursor>
#include <QKeyEvent>
#include <QPainter>
#include <QTimerEvent>

#include "common/RenderCell.h"
#include "model/NodeModel.h"
#include "model/settings/GlobalSetting.h"
#include "model/settings/Language.h"
#include "platform/qt/PanelsThread.h"
#include "remote/IDevice.h"
#include "render/CellPool.h"
#include "render/Render.h"
#include "skin/Skin.h"
#include "skin/SkinPaint.h"
#include "skin/theme/PanelColors.h"

namespace
{

const QColor FOCUS(0x7F, 0, 0);
constexpr int OUTLINE_WIDTH = 4;
constexpr int FOCUS_WIDTH = 2;
constexpr double PER_MILLE = 1000.0;
constexpr int MS_A_SECOND = 1000;
constexpr std::int32_t MODE_SECOND_SCALE = 2;

int g_iRenderUsers = 0;  // grids that stand with the renderer

QRect ToQRect(const RECT& rect)
{
    return {QPoint(rect.left, rect.top), QPoint(rect.right - 1, rect.bottom - 1)};
}

}  // namespace

CRenderWnd::CRenderWnd()
{
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_OpaquePaintEvent);
}

CRenderWnd::~CRenderWnd()
{
    StopCycle();
    for (const CRenderCell* cell : m_Cells)
        RemoveCell(cell->Handle());
    for (CRenderCell* cell : m_Cells)
        delete cell;
    if (m_bUsesRender) --g_iRenderUsers;
    m_pRender.reset();
    if (g_iRenderUsers == 0) ReleaseRender();
}

// The grids of a process share the renderer: the first prepares it, the last releases it. One that was prepared
// again for another grid would lose the pictures that streams draw. It keeps the first one's window: a box of
// it is the active window's once that has gone.
bool CRenderWnd::TakeRender()
{
    const std::shared_ptr<CRender> render = CreateRender();
    m_pRender = render;
    // A failing one shows a message box, and the grid may go while it stands.
    if (render == nullptr || (g_iRenderUsers == 0 && render->Init(Handle()) == 0)) return false;
    ++g_iRenderUsers;
    m_bUsesRender = true;
    return true;
}

void CRenderWnd::CopyRecord(const XRenderWnd& record)
{
    m_Record = record;
    const auto scale =
        static_cast<float>((m_iMode == MODE_SECOND_SCALE ? record.yfactor : record.xfactor) / PER_MILLE);
    m_WindowScaleX = scale;
    m_WindowScaleY = scale;
    m_Rect =
        ScaleRect({record.rect.left, record.rect.top, record.rect.right, record.rect.bottom}, scale, scale);
    std::vector<std::vector<RECT>> layouts;
    for (std::size_t i = 0; i < record.list_subrender.size(); ++i) {
        std::vector<RECT> rects;
        const XSubRender* const layout = record.list_subrender[i];
        for (std::size_t j = 0; layout != nullptr && j < layout->list_rect.size(); ++j) {
            const XRect* const rect = layout->list_rect[j];
            rects.push_back(rect != nullptr
                                ? ScaleRect({rect->left, rect->top, rect->right, rect->bottom}, scale, scale)
                                : RECT{});
        }
        layouts.push_back(std::move(rects));
    }
    m_State = CGridState(std::move(layouts));
}

bool CRenderWnd::Init(QWidget* parent, const XRenderWnd& record, std::int32_t mode)
{
    ASSERT_PANELS_THREAD();
    m_iMode = mode;
    CopyRecord(record);
    m_pParent = parent;
    setParent(parent);
    setAttribute(Qt::WA_NativeWindow);
    setObjectName(QStringLiteral("VideoWall"));
    setAccessibleName(QString::fromStdString(CLanguage::GetString("IDS_Main_VideoWall")));
    m_pHandle =
        std::make_unique<CWindowHandle>(*this, [this](std::uint32_t message, WPARAM wParam, LPARAM lParam) {
            return WindowProc(message, wParam, lParam);
        });
    SkinRenderWindow(this, "DialogRender");
    CreateCells();
    if (!TakeRender()) return false;
    m_Place.Put(ToQRect(m_Rect));
    PlaceCells();
    show();
    return true;
}

void CRenderWnd::CreateCells()
{
    for (std::int32_t i = 0; i < m_State.GetCellCount(); ++i) {
        auto* const cell = new CRenderCell(this, Handle());
        cell->Put({0, 0, 0, 0});
        cell->setAccessibleName(QString::number(i + 1));
        cell->show();
        m_Cells.push_back(cell);
        AddCell(cell->Handle(), Handle());
    }
}

LRESULT CRenderWnd::WindowProc(std::uint32_t message, WPARAM wParam, LPARAM lParam)
{
    const HWND cell{static_cast<std::int32_t>(wParam)};
    switch (message) {
        case WM_COMMAND:
            OnCommand(static_cast<std::int32_t>(wParam & 0xFFFF));
            break;
        case GRID_MESSAGE_SELECT:
            OnSelect(cell, lParam, QCursor::pos());
            break;
        case GRID_MESSAGE_DOUBLE_CLICK:
            OnDoubleClick(cell);
            break;
        case GRID_MESSAGE_FULL_SCREEN:
            SetLayout(0);
            break;
        case GRID_MESSAGE_TIMER:
            if (wParam == CYCLE_TIMER) NextPage();
            break;
        case GRID_MESSAGE_FOCUS:
            setFocus(Qt::MouseFocusReason);
            break;
        default:
            break;
    }
    return 0;
}

void CRenderWnd::OnCommand(std::int32_t id)
{
    if (id >= GRID_COMMAND_BASE && id <= GRID_COMMAND_LAST_LAYOUT) {
        SetLayout(id - GRID_COMMAND_BASE);
        return;
    }
    switch (id) {
        case GRID_COMMAND_FIRST_PAGE:
            FirstPage();
            break;
        case GRID_COMMAND_PREV_PAGE:
            PrevPage();
            break;
        case GRID_COMMAND_NEXT_PAGE:
            NextPage();
            break;
        case GRID_COMMAND_LAST_PAGE:
            LastPage();
            break;
        case GRID_COMMAND_FULL_SCREEN:
            SendMessageA(Handle(), GRID_MESSAGE_FULL_SCREEN, 0, 0);
            break;
        case GRID_COMMAND_SNAPSHOT:
            if (RefuseWhileLocked()) break;
            if (IDevice* const device = FindDeviceByWnd(FocusedCell())) device->SnapShot();
            break;
        default:
            break;
    }
}

bool CRenderWnd::RefuseWhileLocked()
{
    const bool locked = m_bLocked;  // the grid may go while the box stands
    if (locked)
        MessageBoxA(Handle(), CLanguage::GetString("IDS_MainDlg_UnlockFirst"), "", MB_OK | MB_ICONINFORMATION);
    return locked;
}

std::int32_t CRenderWnd::SetLayout(std::int32_t index)
{
    ASSERT_PANELS_THREAD();
    if (RefuseWhileLocked()) return 1;
    if (index == -1 && m_Record.default_layout != -1)
        SetLayout(m_Record.default_layout);
    else if (index <= 0)
        ToggleFullScreen();
    else
        m_State.SelectLayout(index);
    Redraw();
    return 1;
}

void CRenderWnd::SetLayoutForCount(std::int32_t cells)
{
    ASSERT_PANELS_THREAD();
    const std::int32_t layout = m_State.FindLayoutFor(cells);
    if (layout > 0) SetLayout(layout);
}

void CRenderWnd::Step(void (CGridState::*step)())
{
    ASSERT_PANELS_THREAD();
    if (m_bLocked) return;
    const CAutoLock lock(m_csPage);
    (m_State.*step)();
    Redraw();
}

void CRenderWnd::NextPage()
{
    Step(&CGridState::NextPage);
}
void CRenderWnd::PrevPage()
{
    Step(&CGridState::PrevPage);
}
void CRenderWnd::FirstPage()
{
    Step(&CGridState::FirstPage);
}
void CRenderWnd::LastPage()
{
    Step(&CGridState::LastPage);
}

void CRenderWnd::StartCycle()
{
    ASSERT_PANELS_THREAD();
    if (m_bLocked) return;
    StopCycle();
    CNodeModel* const model = CNodeModel::GetInstance();
    if (model != nullptr) m_iTimer = startTimer(model->GetGlobalSetting()->m_iCycleInterval * MS_A_SECOND);
}

void CRenderWnd::StopCycle()
{
    ASSERT_PANELS_THREAD();
    if (m_iTimer != 0) killTimer(m_iTimer);
    m_iTimer = 0;
}

void CRenderWnd::timerEvent(QTimerEvent* event)
{
    if (event->timerId() == m_iTimer) SendMessageA(Handle(), GRID_MESSAGE_TIMER, CYCLE_TIMER, 0);
}

void CRenderWnd::Redraw()
{
    PlaceCells();
    update();
}

void CRenderWnd::PlaceCells()
{
    const auto placement = m_State.Place(GetScaleX(), GetScaleY());
    for (std::size_t i = 0; i < m_Cells.size(); ++i) {
        if (!m_Cells[i]->isWindow())  // a floating cell stays where its owner put it
            m_Cells[i]->Put(ToQRect(placement.cells[i]));
    }
}

void CRenderWnd::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.fillRect(rect(), ToQColor(panel_color::WALL_GROUND));
    painter.setPen(QPen(ToQColor(panel_color::WALL_OUTLINE), OUTLINE_WIDTH));
    for (const RECT& outline : m_State.Place(GetScaleX(), GetScaleY()).outlines)
        painter.drawRect(ToQRect(outline));
    RECT focus;
    if (m_State.GetFocusRect(GetScaleX(), GetScaleY(), focus)) {
        // Drawn by inversion: a second drawing would erase it.
        painter.setCompositionMode(QPainter::RasterOp_NotSourceXorDestination);
        painter.setPen(QPen(FOCUS, FOCUS_WIDTH));
        painter.setBrush(Qt::NoBrush);
        painter.drawRect(ToQRect(focus));
        painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    }
    // In the margin that the cells leave free.
    if (hasFocus()) PaintFocus(painter, rect(), panel_color::FocusOn(panel_color::WALL_OUTLINE));
}

void CRenderWnd::resizeEvent(QResizeEvent*)
{
    PlaceCells();
}

void CRenderWnd::keyPressEvent(QKeyEvent* event)
{
    switch (event->key()) {
        case Qt::Key_Left:
            MoveFocus(-1, 0);
            break;
        case Qt::Key_Right:
            MoveFocus(1, 0);
            break;
        case Qt::Key_Up:
            MoveFocus(0, -1);
            break;
        case Qt::Key_Down:
            MoveFocus(0, 1);
            break;
        case Qt::Key_Return:
        case Qt::Key_Enter:
            if (FocusedCell() != HWND::Null) OnDoubleClick(FocusedCell());
            break;
        case Qt::Key_Escape:
            SetLayout(0);  // in and out of full screen
            break;
        case Qt::Key_Menu:
            if (const CRenderCell* const cell = GetFocusedCell())
                OnSelect(cell->Handle(), GRID_BUTTON_RIGHT, cell->mapToGlobal(cell->rect().center()));
            break;
        default:
            QWidget::keyPressEvent(event);
    }
}
