#include "common/RenderCell.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QGuiApplication>
#include <QMouseEvent>
#include <QPainter>
#include <QPlatformSurfaceEvent>
#include <QWindow>
#include <map>

#include "common/BitmapFile.h"
#include "common/RenderWnd.h"
#include "inc/CxLog.h"
#include "inc/LogLine.h"
#include "platform/os/paths.h"
#include "platform/qt/PanelsThread.h"
#include "platform/qt/X11Sync.h"
#include "render/CellPool.h"

namespace
{

// 0x030201 with red in the low byte: what the overlay renderer shows through, and the ground of a cell without
// a picture.
const QColor CELL_GROUND(1, 2, 3);
const QSize PICTURE_SIZE(352, 288);

// "dvr.bmp", loaded with a grid's first cell and freed with any cell of it that goes.
struct EmptyPicture {
    std::unique_ptr<BitmapFile> file;
    QImage image;
};

// Of the grid with that window. Never destroyed itself: cells may go while the process ends.
std::map<HWND, EmptyPicture>& EmptyPictures()
{
    static auto& pictures = *new std::map<HWND, EmptyPicture>;
    return pictures;
}

HWND g_hLastClicked = HWND::Null;

void LoadPicture(HWND grid)
{
    EmptyPicture& empty = EmptyPictures()[grid];
    if (empty.file != nullptr) return;
    const std::string path = GetModuleDirectory() + "dvr.bmp";
    empty.file = LoadBitmapFile(path);
    if (empty.file != nullptr)
        empty.image.loadFromData(empty.file->bytes.data(), static_cast<int>(empty.file->bytes.size()), "BMP");
    if (!empty.image.isNull()) return;
    const std::string fault = path + " is missing or no bitmap: cells without a stream stay dark";
    if (IsNews(fault)) LogLine(ELogLevel::Warning, "CRenderCell::LoadPicture", fault);  // each cell looks again
}

// The pixels that are shown: 352 by 288 from the file's first row on, which is the picture's lowest.
QRect PicturePart(const QImage& image)
{
    return {QPoint(0, image.height() - PICTURE_SIZE.height()), PICTURE_SIZE};
}

}  // namespace

CRenderCell::CRenderCell(QWidget* grid, HWND gridWindow)
    : QWidget(grid),
      m_hGrid(gridWindow),
      m_Handle(*this, [this](std::uint32_t message, WPARAM, LPARAM) { return WindowProc(message); })
{
    LoadPicture(gridWindow);
    setAttribute(Qt::WA_NativeWindow);
    setAttribute(Qt::WA_DontCreateNativeAncestors, false);
    setAttribute(Qt::WA_OpaquePaintEvent);
    setAttribute(Qt::WA_NoSystemBackground);
    winId();  // the window stands before the first stream asks for it
}

CRenderCell::~CRenderCell()
{
    EmptyPictures().erase(m_hGrid);  // oddity: picture-goes-with-any-cell; loaded once for all of the grid
    // oddity: cell-end-quits. The event loop is asked to end, whatever other windows there are.
    // NOLINTNEXTLINE(bugprone-unhandled-exception-at-new): without memory for it the process ends as well
    QCoreApplication::postEvent(QCoreApplication::instance(), new QEvent(QEvent::Quit));
}

HWND CRenderCell::GetLastClicked()
{
    ASSERT_PANELS_THREAD();
    return g_hLastClicked;
}

LRESULT CRenderCell::WindowProc(std::uint32_t message)
{
    if (message == CELL_MESSAGE_CHANGED) {
        setAttribute(Qt::WA_PaintOnScreen, IsCellShown(Handle()));
        update();
    }
    return 0;
}

bool CRenderCell::event(QEvent* event)
{
    if (event->type() == QEvent::WinIdChange && internalWinId() != 0) {
        windowHandle()->installEventFilter(this);  // the widget itself is told of the end when it is too late
        LendWindow();
    }
    return QWidget::event(event);
}

bool CRenderCell::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == windowHandle() && event->type() == QEvent::PlatformSurface) {
        const auto change = static_cast<QPlatformSurfaceEvent*>(event)->surfaceEventType();
        if (change == QPlatformSurfaceEvent::SurfaceAboutToBeDestroyed)
            m_Lease.TakeBack();
        else
            LendWindow();
    }
    if (watched == windowHandle() && event->type() == QEvent::Paint)
        LosePicture(static_cast<QPaintEvent*>(event)->region());  // the server has uncovered it
    return QWidget::eventFilter(watched, event);
}

// A window of its own that is shown with another place in the stack gets a new X window then, and neither the
// widget nor its window object is told.
void CRenderCell::setVisible(bool visible)
{
    ASSERT_PANELS_THREAD();
    if (isWindow()) m_Lease.TakeBack();
    QWidget::setVisible(visible);
    if (windowHandle() != nullptr) LendWindow();
}

// The renderer speaks to the server over a connection of its own: the window has to stand there before.
void CRenderCell::LendWindow()
{
    const auto* const x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    if (x11 == nullptr || x11->display() == nullptr || windowHandle()->handle() == nullptr) return;
    SyncX11(x11->display());
    m_Lease.Lend(windowHandle()->winId());
}

void CRenderCell::paintEvent(QPaintEvent*)
{
    if (testAttribute(Qt::WA_PaintOnScreen)) return;
    QPainter painter(this);
    painter.fillRect(rect(), CELL_GROUND);  // beside a picture that is smaller too
    const auto empty = EmptyPictures().find(m_hGrid);
    if (empty != EmptyPictures().end() && !empty->second.image.isNull())
        painter.drawImage(rect(), empty->second.image, PicturePart(empty->second.image));
}

// The server has cut what was drawn, or left it beside new ground.
void CRenderCell::resizeEvent(QResizeEvent*)
{
    LosePicture(rect());
}

// The stream draws there with its next picture only, and that may never come: until then it is an empty cell.
void CRenderCell::LosePicture(const QRegion& part)
{
    ForgetCellShown(Handle());
    setAttribute(Qt::WA_PaintOnScreen, false);
    update(part);
}

void CRenderCell::mousePressEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton)
        Click(GRID_MESSAGE_SELECT, GRID_BUTTON_LEFT);
    else if (event->button() == Qt::RightButton)
        Click(GRID_MESSAGE_SELECT, GRID_BUTTON_RIGHT);
}

void CRenderCell::mouseDoubleClickEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton)
        SendMessageA(m_hGrid, GRID_MESSAGE_DOUBLE_CLICK, static_cast<WPARAM>(Handle()), GRID_BUTTON_LEFT);
}

void CRenderCell::Click(std::uint32_t message, LPARAM button)
{
    g_hLastClicked = Handle();
    SendMessageA(m_hGrid, message, static_cast<WPARAM>(Handle()), button);
    SendMessageA(m_hGrid, GRID_MESSAGE_FOCUS, 0, 0);
}

// A floating cell that is closed only hides.
void CRenderCell::closeEvent(QCloseEvent* event)
{
    event->ignore();
    hide();
}
