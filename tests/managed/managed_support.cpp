#include "tests/managed/managed_support.h"

#include <QWindow>

namespace
{

constexpr QRgb PICTURE = 0xFFC03060;
constexpr int CELLS = 4;

}  // namespace

bool Until(const std::function<bool()>& condition)
{
    return QTest::qWaitFor(condition, TIME_LIMIT_MS);
}

WId IdOf(const QWidget& widget)
{
    QWindow* const window = widget.windowHandle();
    return window != nullptr && window->handle() != nullptr ? window->winId() : 0;
}

QRect PlaceOnScreen(const QWidget& widget)
{
    return CWindowManager::Get().PlaceOf(IdOf(widget));
}

CEmbedded::CEmbedded(QWidget& frame) : m_Frame(frame), m_pControl(new CActiveXCtrl), m_pWindow(m_pControl)
{
    m_pControl->Release();
    EXPECT_EQ(m_pWindow->CreateControlWindow(&frame), S_OK);
    m_pWindow->SetBounds(0, 0, 800, 600);
    Wall().SetLayoutForCount(CELLS);
}

ManagedTest::ManagedTest()
{
    QImage picture(352, 288, QImage::Format_RGB888);
    picture.fill(PICTURE);
    EXPECT_TRUE(picture.save(m_Home.File("dvr.bmp"), "BMP"));
}

ManagedTest::~ManagedTest()
{
    QCoreApplication::removePostedEvents(qApp, QEvent::Quit);
}

bool ManagedTest::Show(QWidget& window, const QPoint& place)
{
    // A window that comes back before the toolkit has heard that it went would be no active one.
    const bool gone = Until([&] {
        return window.windowHandle() == nullptr || QGuiApplication::focusWindow() != window.windowHandle();
    });
    if (!gone) return false;
    window.move(place);
    window.show();
    if (!QTest::qWaitForWindowExposed(&window)) return false;
    m_Manager.Activate(IdOf(window));
    return Until([&] { return window.isActiveWindow(); });
}

bool ManagedTest::ShowsPicture(const QRect& area) const
{
    const QImage picture = m_Screen.Grab(area);
    if (picture.size() != area.size() || area.isEmpty()) return false;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x)
            if ((picture.pixel(x, y) | 0xFF000000) != PICTURE) return false;
    }
    return true;
}

bool ManagedTest::IsFull(const CEmbedded& embedded) const
{
    if (!embedded.Wall().IsFullScreenOn() || embedded.WallOnScreen() != SCREEN) return false;
    for (std::size_t i = 0; i < CELLS; ++i) {
        const QRect cell = embedded.CellOnScreen(i);
        if (cell.width() < SCREEN.width() / 2 - 20 || cell.height() < SCREEN.height() / 2 - 20) return false;
        if (!ShowsPicture(cell)) return false;
    }
    return true;
}

bool ManagedTest::IsBack(const CEmbedded& embedded) const
{
    const CRenderWnd& wall = embedded.Wall();
    const RECT place = wall.GetGridRect();
    const QRect inFrame(place.left, place.top, place.right - place.left, place.bottom - place.top);
    const QRect frame = PlaceOnScreen(*embedded.Frame().window());
    const QPoint corner = frame.topLeft() + embedded.Frame().mapTo(embedded.Frame().window(), QPoint(0, 0));
    if (wall.IsFullScreenOn() || frame.isEmpty()) return false;
    if (embedded.WallOnScreen() != inFrame.translated(corner)) return false;
    for (std::size_t i = 0; i < CELLS; ++i) {
        const QRect cell = embedded.CellOnScreen(i);
        if (cell != wall.GetCell(i)->geometry().translated(embedded.WallOnScreen().topLeft())) return false;
        if (cell.width() < inFrame.width() / 2 - 20 || !ShowsPicture(cell)) return false;
    }
    return true;
}

bool ManagedTest::ComesToHaveKeyboard(const CEmbedded& embedded)
{
    const CRenderWnd& wall = embedded.Wall();
    return Until([&] {
        m_Manager.Sync();  // it may still have to give the keyboard to others in between
        return wall.hasFocus() && m_Manager.HasKeyboard(IdOf(*wall.window()));
    });
}

bool ManagedTest::PressEscape(const CEmbedded& embedded)
{
    const bool ready = ComesToHaveKeyboard(embedded);
    if (ready) m_Screen.Key(KEY_ESCAPE);
    return ready;
}

// The window manager looks at the first click before it hands it on, and takes a second one meanwhile for its
// own.
void ManagedTest::DoubleClick(const QPoint& place)
{
    const int interval = QApplication::doubleClickInterval();
    QApplication::setDoubleClickInterval(TIME_LIMIT_MS);
    m_Screen.Click(place);
    Settle();
    m_Screen.Click(place);
    Settle();
    QApplication::setDoubleClickInterval(interval);
}

bool ManagedTest::Choose(const CEmbedded& embedded, const char* entry)
{
    m_Screen.Click(embedded.CellOnScreen(1).center(), CScreen::EButton::Right);
    const auto open = [] { return qobject_cast<QMenu*>(QApplication::activePopupWidget()); };
    if (!Until([&] { return open() != nullptr && QTest::qWaitForWindowExposed(open()); })) return false;
    const QPointer<QMenu> menu = open();
    for (QAction* action : menu->actions()) {
        if (action->text() != entry) continue;
        m_Screen.Click(menu->mapToGlobal(menu->actionGeometry(action).center()));
        return Until([&menu] { return menu == nullptr || !menu->isVisible(); });
    }
    menu->close();
    return false;
}

void ManagedTest::Settle() const
{
    for (int i = 0; i < 3; ++i) {
        QApplication::sync();
        m_Manager.Sync();
        QApplication::processEvents();
    }
}
