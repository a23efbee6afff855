#include <gmock/gmock.h>

#include <QApplication>
#include <QLabel>
#include <QTest>

#include "common/RenderCell.h"
#include "common/RenderWnd.h"
#include "model/NodeModel.h"
#include "model/archive/XMLInputArchive.h"
#include "model/settings/Language.h"
#include "platform/os/paths.h"
#include "platform/qt/QtPlatform.h"
#include "remote/UdpRemote.h"
#include "remote/UdpRemoteStation.h"
#include "render/CellPool.h"
#include "tests/support/model_state.h"
#include "tests/wall/wall_support.h"

// The grid in the modes that the main panel doesn't use, whose full screen blows up the window around it. A
// host of its own holds it, between a bar and a line of text.

namespace
{

constexpr int CHANNELS = 4;
const QRect SCREEN(0, 0, CVirtualDisplay::WIDTH, CVirtualDisplay::HEIGHT);
const QRect WINDOW(150, 120, 800, 600);

// Grid and window with the four channels playing in the four cells.
class ModesWall : public testing::TestWithParam<std::int32_t>
{
  protected:
    ModesWall()
    {
        StartQtPlatform();
        WriteSettings(m_Home, m_Recorder, true);
        m_Window.setGeometry(WINDOW);
        m_Bar.setGeometry(0, 60, 200, 540);
        m_Text.setGeometry(0, 0, 800, 60);
    }
    ~ModesWall() override
    {
        for (CUdpRemote* channel : m_Channels)
            channel->Close();
        m_pFolder.reset();
        m_pStation.reset();
        m_Grid.reset();
        QCoreApplication::removePostedEvents(qApp, QEvent::Quit);
        StopQtPlatform();
    }
    void SetUp() override
    {
        XRenderWnd record;
        XMLInputArchive archive(GetModuleDirectory() + "config\\render_layout_800x600.xml");
        archive& Named("m_XRenderWnd", record);
        record.yfactor = 500;  // the scale of mode 2
        ASSERT_TRUE(m_Grid.emplace().Init(&m_Window, record, GetParam()));
        m_Grid->SetLayoutForCount(CHANNELS);
        m_Window.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&m_Window));
        m_Window.activateWindow();
        ASSERT_TRUE(CWall::Until([this] { return m_Window.isActiveWindow(); }));
        m_pStation = std::make_unique<CUdpRemoteStation>();
        ASSERT_TRUE(m_pStation->Connect("1001", 10060, 10061));
        ASSERT_TRUE(m_pStation->Logon("admin", ""));
        m_pFolder = m_pStation->EnumDevices();
        const auto walk = m_pFolder->CreateIterator();
        for (; walk->HasNext(); walk->Next())
            m_Channels.push_back(dynamic_cast<CUdpRemote*>(walk->CurrentItem()));
        ASSERT_EQ(m_Channels.size(), std::size_t{CHANNELS});
        for (CUdpRemote* channel : m_Channels) {
            channel->SetRenderWnd(TakeFreeCell());
            channel->Open();
        }
        m_Places = CellsOnScreen();
        ExpectAllPlay();
    }
    std::vector<QRect> CellsOnScreen() const
    {
        std::vector<QRect> places;
        for (std::size_t i = 0; i < CHANNELS; ++i)
            places.emplace_back(m_Grid->GetCell(i)->mapToGlobal(QPoint(0, 0)), m_Grid->GetCell(i)->size());
        return places;
    }
    void ExpectAllPlay() const
    {
        for (std::size_t i = 0; i < CHANNELS; ++i)
            EXPECT_TRUE(Plays(
                m_Screen, [this, i] { return CellsOnScreen()[i]; }, static_cast<int>(i)))
                << i;
    }
    // The display has no window manager: what one does to a window that asks to be maximised is done here.
    void ExpectFullScreen()
    {
        ASSERT_TRUE(CWall::Until([this] { return m_Grid->IsFullScreenOn(); }));
        ASSERT_TRUE(m_Window.windowState() & Qt::WindowMaximized);
        m_Window.setGeometry(SCREEN);
        ASSERT_TRUE(CWall::Until([this] { return m_Grid->mapToGlobal(QPoint(0, 0)) == SCREEN.topLeft(); }));
        EXPECT_EQ(m_Grid->parentWidget(), &m_Window);
        EXPECT_EQ(m_Grid->geometry(), m_Window.rect());
        EXPECT_FALSE(m_Bar.isVisible() || m_Text.isVisible());
        for (const QRect& place : CellsOnScreen()) {
            EXPECT_GT(place.width(), SCREEN.width() / 2 - 20);
            EXPECT_GT(place.height(), SCREEN.height() / 2 - 20);
            EXPECT_TRUE(SCREEN.contains(place));
        }
        ExpectAllPlay();
    }
    void ExpectBack()
    {
        ASSERT_TRUE(
            CWall::Until([this] { return !m_Grid->IsFullScreenOn() && m_Window.geometry() == WINDOW; }));
        EXPECT_FALSE(m_Window.windowState() & Qt::WindowMaximized);
        EXPECT_TRUE(m_Bar.isVisible() && m_Text.isVisible());
        ASSERT_TRUE(CWall::Until([this] { return CellsOnScreen() == m_Places; }));
        ExpectAllPlay();
    }
    bool Choose(const char* entry)
    {
        m_Screen.Click(CellsOnScreen()[1].center(), CScreen::EButton::Right);
        return ChooseFromMenu(m_Screen, [entry](const QAction& action) { return action.text() == entry; });
    }

    CTestHome m_Home;
    const CModelState m_Model;
    const CTestVariable m_Locale{"LC_ALL", "C"};
    CRecorderProcess m_Recorder{ColorRecorder()};
    CScreen m_Screen{qgetenv("DISPLAY").toStdString()};
    QWidget m_Window;
    QLabel m_Bar{"bar", &m_Window};
    QLabel m_Text{"text", &m_Window};
    std::optional<CRenderWnd> m_Grid;
    std::unique_ptr<CUdpRemoteStation> m_pStation;
    std::unique_ptr<CDevices> m_pFolder;
    std::vector<CUdpRemote*> m_Channels;
    std::vector<QRect> m_Places;
};

TEST_P(ModesWall, GridStandsAtTheRecordsScaleOfItsMode)
{
    const QRect wanted = GetParam() == 2 ? QRect(100, 30, 300, 270) : QRect(200, 60, 600, 540);
    EXPECT_EQ(m_Grid->geometry(), wanted);
    EXPECT_EQ(m_Places[0].topLeft(), WINDOW.topLeft() + wanted.topLeft() + QPoint(2, 2));
}

TEST_P(ModesWall, FullScreenByTheMenuAndBackByEscape)
{
    ASSERT_TRUE(Choose("Full screen"));
    ExpectFullScreen();
    m_Screen.Key(KEY_ESCAPE);
    ExpectBack();
}

TEST_P(ModesWall, FullScreenByEscapeAndBackByTheMenu)
{
    m_Screen.Click(m_Places[0].center());
    ASSERT_TRUE(CWall::Until([this] { return m_Grid->hasFocus(); }));
    m_Screen.Key(KEY_ESCAPE);
    ExpectFullScreen();
    ASSERT_TRUE(Choose("Exit full screen"));
    ExpectBack();
}

INSTANTIATE_TEST_SUITE_P(Modes, ModesWall, testing::Values(1, 2));

}  // namespace
