// Full screen while the container's window is closed, hidden or minimised.

#include <QCloseEvent>
#include <QDialog>
#include <QDockWidget>
#include <QMainWindow>
#include <QPlatformSurfaceEvent>
#include <QTimer>
#include <algorithm>
#include <map>

#include "tests/common/render_wnd_support.h"

namespace
{

// In full screen it is a window of its own, which refuses to be closed.
TEST_F(RenderWndTest, FullScreenKeepsNoContainerThatEndsOrIsClosed)
{
    void (*const ends[])(QWidget & container) = {[](QWidget&) { QApplication::quit(); },
                                                 [](QWidget& container) { container.close(); }};
    for (const auto end : ends) {
        for (const bool shownFirst : {true, false}) {  // in either order the toolkit closes its windows
            QWidget container;
            m_pParent = std::make_unique<QWidget>(&container);
            container.setVisible(shownFirst);
            CRenderWnd& grid = Grid();
            container.show();
            grid.SetLayout(0);
            ASSERT_TRUE(QTest::qWaitForWindowExposed(&grid));
            QTimer::singleShot(0, &container, [&] { end(container); });
            QTimer rescue;
            QObject::connect(&rescue, &QTimer::timeout, [] { QApplication::exit(1); });
            rescue.start(20000);
            EXPECT_EQ(QApplication::exec(), 0) << shownFirst;
            EXPECT_FALSE(grid.IsFullScreenOn()) << shownFirst;
            EXPECT_EQ(grid.parentWidget(), m_pParent.get()) << shownFirst;
            m_Grid.reset();
            m_pParent.reset();
            QCoreApplication::removePostedEvents(qApp, QEvent::Quit);
        }
    }
}

// The window that ends the application may be one that the container's own belongs to.
TEST_F(RenderWndTest, FullScreenKeepsNoMainWindowOfItsContainerThatIsClosed)
{
    for (const bool fullScreen : {false, true}) {
        QWidget main;
        main.show();
        QDialog container(&main);
        m_pParent = std::make_unique<QWidget>(&container);
        CRenderWnd& grid = Grid();
        container.show();
        if (fullScreen) grid.SetLayout(0);
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&grid));
        QTimer::singleShot(0, &main, &QWidget::close);
        QTimer rescue;
        QObject::connect(&rescue, &QTimer::timeout, [] { QApplication::exit(1); });
        rescue.start(20000);
        EXPECT_EQ(QApplication::exec(), 0) << fullScreen;
        EXPECT_FALSE(grid.IsFullScreenOn()) << fullScreen;
        m_Grid.reset();
        m_pParent.reset();
        QCoreApplication::removePostedEvents(qApp, QEvent::Quit);
    }
}

// Minimising is no end, also of a window that has refused to be closed before.
TEST_F(RenderWndTest, FullScreenStaysWhenItsContainerRefusesToCloseAndIsMinimised)
{
    class CRefusing final : public QWidget
    {
        void closeEvent(QCloseEvent* event) override { event->ignore(); }
    } container;
    m_pParent = std::make_unique<QWidget>(&container);
    CRenderWnd& grid = Grid();
    container.show();
    grid.SetLayout(0);
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&grid));
    container.close();
    EXPECT_TRUE(grid.IsFullScreenOn());
    container.showMinimized();
    Serve();
    EXPECT_TRUE(container.isMinimized());
    EXPECT_TRUE(grid.IsFullScreenOn());
    container.hide();  // as one does that goes on in the tray
    EXPECT_FALSE(grid.IsFullScreenOn());
    m_Grid.reset();
    m_pParent.reset();
}

// What is no window of its own is only a part of one that goes on: the wall has left it.
TEST_F(RenderWndTest, FullScreenStaysWhenAFrameOrADockedDockAroundItsContainerIsClosed)
{
    QMainWindow main;
    main.setCentralWidget(new QWidget);
    auto* const frame = new QWidget(main.centralWidget());
    auto* const dock = new QDockWidget(&main);
    main.addDockWidget(Qt::LeftDockWidgetArea, dock);
    main.show();
    for (QWidget* around : {frame, static_cast<QWidget*>(dock)}) {
        m_pParent = std::make_unique<QWidget>(around);
        if (around == dock) dock->setWidget(m_pParent.get());
        CRenderWnd& grid = Grid();
        m_pParent->show();
        grid.SetLayout(0);
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&grid));
        around->close();
        EXPECT_FALSE(around->isVisible());
        EXPECT_TRUE(grid.IsFullScreenOn());
        EXPECT_TRUE(grid.isVisible());
        around->show();
        grid.SetLayout(0);
        EXPECT_EQ(grid.parentWidget(), m_pParent.get());
        EXPECT_TRUE(grid.isVisible());
        m_Grid.reset();
        m_pParent.reset();
    }
    dock->setFloating(true);
    m_pParent = std::make_unique<QWidget>();
    dock->setWidget(m_pParent.get());
    CRenderWnd& grid = Grid();
    m_pParent->show();
    grid.SetLayout(0);
    dock->close();
    EXPECT_FALSE(grid.IsFullScreenOn()) << "a dock that floats is a window";
    m_Grid.reset();
    m_pParent.reset();
}

// Counts the X windows that each of the toolkit's windows is given: one that is given a second loses the first,
// over whose end the toolkit crashes.
class CMadeWindows : public QObject
{
  public:
    CMadeWindows() { qApp->installEventFilter(this); }

    int m_iMost = 0;  // of one window

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::PlatformSurface &&
            static_cast<QPlatformSurfaceEvent*>(event)->surfaceEventType() ==
                QPlatformSurfaceEvent::SurfaceCreated)
            m_iMost = std::max(m_iMost, ++m_Times[watched]);
        return false;
    }

  private:
    std::map<QObject*, int> m_Times;
};

TEST_F(RenderWndTest, FullScreenIsLeftIntoAWindowThatWasClosedMeanwhile)
{
    QWidget outer;
    outer.setGeometry(30, 40, 700, 600);
    QWidget middle(&outer);
    m_pParent->setParent(&middle);
    outer.show();
    CRenderWnd& grid = Grid({4}, 3);
    for (int i = 0; i < 2; ++i) {
        grid.SetLayout(0);
        outer.hide();  // one that is closed while it is seen takes the grid along
        outer.close();
        ASSERT_TRUE(grid.IsFullScreenOn());
        CMadeWindows made;
        grid.SetLayout(0);
        EXPECT_EQ(made.m_iMost, 1);
        outer.show();
    }
    m_pParent->setParent(nullptr);
}

}  // namespace
