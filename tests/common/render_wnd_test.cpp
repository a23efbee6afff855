#include "common/RenderWnd.h"

#include <gmock/gmock.h>

#include <QApplication>
#include <QMenu>
#include <QMessageBox>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <optional>

#include "common/BitmapFile.h"
#include "common/RenderCell.h"
#include "model/NodeModel.h"
#include "platform/paths.h"
#include "platform/qt/QtPlatform.h"
#include "remote/Remote.h"
#include "render/CellPool.h"
#include "render/D3DSurfaceRender.h"
#include "render/MemorySurfaceDevice.h"

using testing::ElementsAre;

namespace
{

// A record with the yardstick, one cell, and arrangements of the sizes given.
XRenderWnd Record(std::initializer_list<int> sizes)
{
    XRenderWnd record;
    const auto rect = [](int left, int top, int right, int bottom) {
        auto made = std::make_unique<XRect>();
        made->left = left;
        made->top = top;
        made->right = right;
        made->bottom = bottom;
        return made;
    };
    const auto add = [&record](std::unique_ptr<XSubRender> layout) {
        record.list_subrender.Append(std::move(layout));
    };
    for (int i = 0; i < 2; ++i) {
        auto whole = std::make_unique<XSubRender>();
        whole->list_rect.Append(rect(0, 0, 400, 300));
        add(std::move(whole));
    }
    for (const int size : sizes) {
        auto layout = std::make_unique<XSubRender>();
        const int across = size <= 4 ? 2 : 4;
        for (int i = 0; i < size; ++i) {
            const int width = 400 / across;
            const int height = 300 / across;
            const int x = i % across * width;
            const int y = i / across * height;
            layout->list_rect.Append(rect(x, y, x + width, y + height));
        }
        add(std::move(layout));
    }
    record.rect.left = 10;
    record.rect.top = 20;
    record.rect.right = 410;
    record.rect.bottom = 320;
    record.xfactor = 1000;
    record.yfactor = 500;
    record.default_layout = 2;
    return record;
}

// Closes the message box that comes next and keeps its text.
class CBoxCatcher
{
  public:
    CBoxCatcher()
    {
        m_Timer.setInterval(5);
        QObject::connect(&m_Timer, &QTimer::timeout, [this] {
            if (auto* const box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
                m_Texts.push_back(box->text().toStdString());
                box->accept();
            }
        });
        m_Timer.start();
    }
    std::vector<std::string> m_Texts;

  private:
    QTimer m_Timer;
};

class RenderWndTest : public testing::Test
{
  protected:
    RenderWndTest()
    {
        StartQtPlatform();
        SetModuleDirectory(SystemPath(m_Home.path().toStdString()) + "\\");
        m_pAdapter = std::make_shared<CMemorySurfaceAdapter>();
        SetRenderFactory(
            [this] { return std::make_unique<CD3DSurfaceRender>([adapter = m_pAdapter] { return adapter; }); });
        m_pParent = std::make_unique<QWidget>();
        m_pParent->resize(440, 360);
        m_ParentHandle.emplace(*m_pParent, [this](std::uint32_t message, WPARAM, LPARAM) {
            m_Notices.push_back(message);
            return LRESULT{0};
        });
        m_pParent->show();
    }
    ~RenderWndTest() override
    {
        m_Grid.reset();
        m_ParentHandle.reset();
        m_pParent.reset();
        ReleaseRender();
        SetRenderFactory({});
        CNodeModel::DestroyInstance();
        SetModuleDirectory("");
        QCoreApplication::removePostedEvents(qApp, QEvent::Quit);
        StopQtPlatform();
    }

    CRenderWnd& Grid(std::initializer_list<int> sizes = {4, 16}, std::int32_t mode = 3)
    {
        m_Grid.emplace();
        EXPECT_TRUE(m_Grid->Init(m_pParent.get(), Record(sizes), mode));
        return *m_Grid;
    }
    QRect CellRect(std::size_t index) { return m_Grid->GetCell(index)->geometry(); }
    void Serve() { QApplication::processEvents(); }

    QTemporaryDir m_Home;
    std::shared_ptr<CMemorySurfaceAdapter> m_pAdapter;
    std::unique_ptr<QWidget> m_pParent;
    std::optional<CWindowHandle> m_ParentHandle;
    std::vector<std::uint32_t> m_Notices;
    std::optional<CRenderWnd> m_Grid;
};

TEST_F(RenderWndTest, InitBuildsACellForEachOfTheLastArrangement)
{
    CRenderWnd& grid = Grid();
    EXPECT_EQ(GetCells().size(), 16U);
    EXPECT_EQ(grid.GetLayoutCount(), 4);
    EXPECT_EQ(grid.geometry(), QRect(10, 20, 400, 300));
    EXPECT_EQ(CellRect(0), QRect(2, 2, 396, 296)) << "arrangement 1 shows one cell";
    EXPECT_TRUE(CellRect(1).isEmpty());
}

TEST_F(RenderWndTest, ModeTwoTakesTheSecondScale)
{
    CRenderWnd& grid = Grid({4}, 2);
    EXPECT_EQ(grid.GetGridRect(), (RECT{5, 10, 205, 160}));
    EXPECT_EQ(CellRect(0), QRect(2, 2, 196, 146));
}

TEST_F(RenderWndTest, RendererThatFailsFailsInit)
{
    CBoxCatcher boxes;
    m_pAdapter->SetFault(DEVICE_STEP::CreateDevice, true, DEVICE_RESULT::NotAvailable);
    m_Grid.emplace();
    EXPECT_FALSE(m_Grid->Init(m_pParent.get(), Record({4}), 3));
    EXPECT_THAT(boxes.m_Texts, ElementsAre("CreateDevice failed: Not Available"));
}

TEST_F(RenderWndTest, LayoutForOneBehavesAsForFourAndForAThousandTakesTheLast)
{
    CRenderWnd& grid = Grid({4, 6, 16});
    grid.SetLayoutForCount(1);
    EXPECT_EQ(grid.GetState().GetLayout(), 2);
    grid.SetLayoutForCount(1000);
    EXPECT_EQ(grid.GetState().GetLayout(), 4);
}

TEST_F(RenderWndTest, PagesShowTheirCellsAndWrap)
{
    CRenderWnd& grid = Grid();
    grid.SetLayout(2);
    EXPECT_EQ(CellRect(3), QRect(202, 152, 196, 146));
    SendMessageA(grid.Handle(), WM_COMMAND, GRID_COMMAND_NEXT_PAGE, 0);
    EXPECT_TRUE(CellRect(3).isEmpty());
    EXPECT_EQ(CellRect(4), QRect(2, 2, 196, 146));
    SendMessageA(grid.Handle(), WM_COMMAND, GRID_COMMAND_LAST_PAGE, 0);
    EXPECT_EQ(grid.GetState().GetPage(), 3);
    SendMessageA(grid.Handle(), WM_COMMAND, GRID_COMMAND_NEXT_PAGE, 0);
    EXPECT_EQ(grid.GetState().GetPage(), 0);
    SendMessageA(grid.Handle(), WM_COMMAND, GRID_COMMAND_PREV_PAGE, 0);
    EXPECT_EQ(grid.GetState().GetPage(), 3);
    SendMessageA(grid.Handle(), WM_COMMAND, GRID_COMMAND_FIRST_PAGE, 0);
    EXPECT_EQ(grid.GetState().GetPage(), 0);
}

TEST_F(RenderWndTest, CommandsChooseArrangementsAndMinusOneTheDefault)
{
    CRenderWnd& grid = Grid();
    SendMessageA(grid.Handle(), WM_COMMAND, GRID_COMMAND_BASE + 3, 0);
    EXPECT_EQ(grid.GetState().GetLayout(), 3);
    EXPECT_EQ(grid.SetLayout(-1), 1);
    EXPECT_EQ(grid.GetState().GetLayout(), 2);
}

TEST_F(RenderWndTest, LockedGridRefusesWithAMessageAndStepsSilently)
{
    CRenderWnd& grid = Grid();
    grid.SetLayout(2);
    grid.Lock();
    CBoxCatcher boxes;
    EXPECT_EQ(grid.SetLayout(3), 1);
    EXPECT_EQ(boxes.m_Texts.size(), 1U);
    grid.NextPage();
    grid.StartCycle();
    EXPECT_EQ(grid.GetState().GetLayout(), 2);
    EXPECT_EQ(grid.GetState().GetPage(), 0);
    EXPECT_FALSE(grid.IsCycling());
    EXPECT_EQ(boxes.m_Texts.size(), 1U);
    grid.Unlock();
    grid.NextPage();
    EXPECT_EQ(grid.GetState().GetPage(), 1);
}

TEST_F(RenderWndTest, ClickSelectsTheCellAndTellsTheParent)
{
    CRenderWnd& grid = Grid();
    grid.SetLayout(2);
    QTest::mouseClick(grid.GetCell(2), Qt::LeftButton);
    Serve();
    EXPECT_EQ(grid.GetState().GetFocus(), 2);
    EXPECT_EQ(CRenderCell::GetLastClicked(), grid.GetCell(2)->Handle());
    EXPECT_THAT(m_Notices, ElementsAre(GRID_NOTICE_SELECTED));
}

TEST_F(RenderWndTest, RightClickOpensTheMenu)
{
    CRenderWnd& grid = Grid();
    grid.SetLayout(2);
    QTest::mouseClick(grid.GetCell(1), Qt::RightButton);
    auto* const menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
    ASSERT_NE(menu, nullptr);
    ASSERT_EQ(menu->actions().size(), 2);
    EXPECT_EQ(menu->actions()[0]->data().toInt(), GRID_COMMAND_FULL_SCREEN);
    EXPECT_EQ(menu->actions()[1]->data().toInt(), GRID_COMMAND_SNAPSHOT);
    menu->close();
    EXPECT_EQ(grid.GetState().GetFocus(), 1);
}

TEST_F(RenderWndTest, DoubleClickOnAnUnusedCellDoesNothing)
{
    CRenderWnd& grid = Grid();
    grid.SetLayout(2);
    QTest::mouseClick(grid.GetCell(0), Qt::LeftButton);
    QTest::mouseDClick(grid.GetCell(0), Qt::LeftButton);
    EXPECT_EQ(grid.GetState().GetLayout(), 2);
}

TEST_F(RenderWndTest, DoubleClickShowsTheUsedCellAloneAndBack)
{
    CRenderWnd& grid = Grid();
    grid.SetLayout(2);
    for (int i = 0; i < 3; ++i)
        TakeFreeCell();
    QTest::mouseClick(grid.GetCell(2), Qt::LeftButton);
    QTest::mouseDClick(grid.GetCell(2), Qt::LeftButton);
    EXPECT_EQ(grid.GetState().GetLayout(), 1);
    EXPECT_EQ(grid.GetState().GetPage(), 2) << "a page of one cell is the cell itself";
    EXPECT_EQ(CellRect(2), QRect(2, 2, 396, 296));
    QTest::mouseDClick(grid.GetCell(2), Qt::LeftButton);
    EXPECT_EQ(grid.GetState().GetLayout(), 2);
    EXPECT_EQ(grid.GetState().GetPage(), 0);
}

TEST_F(RenderWndTest, EscapeGoesIntoFullScreenAndBack)
{
    CRenderWnd& grid = Grid();
    grid.SetLayout(2);
    QTest::keyClick(&grid, Qt::Key_Escape);
    EXPECT_TRUE(grid.IsFullScreenOn());
    EXPECT_EQ(grid.parentWidget(), nullptr);
    EXPECT_TRUE(QTest::qWaitFor([&] { return grid.size() == grid.screen()->size(); }));
    const QSize screen = grid.screen()->size();
    EXPECT_EQ(CellRect(3).right(), static_cast<int>(400 * ((screen.width() - 20.0) / 400)) - 3);
    QTest::keyClick(&grid, Qt::Key_Escape);
    EXPECT_FALSE(grid.IsFullScreenOn());
    EXPECT_EQ(grid.parentWidget(), m_pParent.get());
    EXPECT_EQ(grid.geometry(), QRect(10, 20, 400, 300));
    EXPECT_EQ(CellRect(3), QRect(202, 152, 196, 146));
}

TEST_F(RenderWndTest, FullScreenOfTheOtherModesHidesTheSiblings)
{
    QWidget sibling(m_pParent.get());
    sibling.show();
    CRenderWnd& grid = Grid({4}, 1);
    SendMessageA(grid.Handle(), GRID_MESSAGE_FULL_SCREEN, 0, 0);
    EXPECT_TRUE(grid.IsFullScreenOn());
    EXPECT_FALSE(sibling.isVisible());
    EXPECT_EQ(grid.parentWidget(), m_pParent.get());
    SendMessageA(grid.Handle(), GRID_MESSAGE_FULL_SCREEN, 0, 0);
    EXPECT_TRUE(sibling.isVisible());
}

TEST_F(RenderWndTest, CycleRunsAndStops)
{
    CRenderWnd& grid = Grid();
    grid.StartCycle();
    EXPECT_TRUE(grid.IsCycling());
    grid.StopCycle();
    EXPECT_FALSE(grid.IsCycling());
}

TEST_F(RenderWndTest, ArrowKeysMoveTheFocusOverThePage)
{
    CRenderWnd& grid = Grid();
    grid.SetLayout(2);
    for (const auto& [key, cell] : {std::pair{Qt::Key_Right, 0},
                                    {Qt::Key_Right, 1},
                                    {Qt::Key_Down, 3},
                                    {Qt::Key_Left, 2},
                                    {Qt::Key_Up, 0}}) {
        QTest::keyClick(&grid, key);
        EXPECT_EQ(grid.GetState().GetFocus(), cell);
    }
}

TEST_F(RenderWndTest, FloatingCellsAreWindowsOfTheirOwn)
{
    CRenderWnd& grid = Grid();
    grid.SetLayout(2);
    TakeFreeCell();
    grid.SetFloat(true);
    EXPECT_TRUE(grid.GetCell(0)->isWindow());
    EXPECT_FALSE(grid.GetCell(1)->isWindow());
    EXPECT_TRUE(CellRect(1).isEmpty());
    grid.GetCell(0)->close();
    EXPECT_FALSE(grid.GetCell(0)->isVisible()) << "closing only hides";
    grid.SetFloat(false);
    EXPECT_FALSE(grid.GetCell(0)->isWindow());
    EXPECT_TRUE(grid.GetCell(0)->isVisible());
}

TEST_F(RenderWndTest, CellThatAStreamDrawsIntoIsLeftToIt)
{
    CRenderWnd& grid = Grid();
    const HWND window = TakeFreeCell();
    EXPECT_FALSE(grid.GetCell(0)->testAttribute(Qt::WA_PaintOnScreen));
    NoteCellShown(window);
    Serve();
    EXPECT_TRUE(grid.GetCell(0)->testAttribute(Qt::WA_PaintOnScreen));
    ReleaseCell(window);
    Serve();
    EXPECT_FALSE(grid.GetCell(0)->testAttribute(Qt::WA_PaintOnScreen));
}

TEST_F(RenderWndTest, CellsAreReachedByTheirSystemWindowFromOtherThreads)
{
    CRenderWnd& grid = Grid();
    EXPECT_EQ(GetSystemWindow(grid.GetCell(5)->Handle()), grid.GetCell(5)->internalWinId());
    EXPECT_NE(grid.GetCell(5)->internalWinId(), 0U);
}

TEST_F(RenderWndTest, DestructionEmptiesThePoolAndLetsGoOfTheRenderer)
{
    Grid();
    const std::weak_ptr<CRender> render = CreateRender();
    m_Grid.reset();
    EXPECT_TRUE(GetCells().empty());
    EXPECT_TRUE(render.expired());
}

TEST_F(RenderWndTest, DeviceIsFoundByItsWindowTheLastOne)
{
    Grid();
    CNodeModel* const model = CNodeModel::GetInstance();
    ASSERT_NE(model, nullptr);
    auto* const first = new CRemote;
    auto* const second = new CRemote;
    model->GetRoot()->Add(first, nullptr);
    model->GetRoot()->Add(second, nullptr);
    const HWND window = TakeFreeCell();
    EXPECT_EQ(FindDeviceByWnd(window), nullptr);
    first->SetParam(PARAM_RENDER_WND, static_cast<std::int32_t>(window));
    second->SetParam(PARAM_RENDER_WND, static_cast<std::int32_t>(window));
    EXPECT_EQ(FindDeviceByWnd(window), second);
    EXPECT_EQ(FindDeviceByWnd(HWND::Null), nullptr);
}

TEST_F(RenderWndTest, ButtonsOfTheStripAreMadeOnce)
{
    XRenderWnd record = Record({4});
    for (const char* skin : {"ButtonPageNext", "ButtonPageCycle", "ButtonPageCycle"}) {
        auto wnd = std::make_unique<XWnd>();
        wnd->skin_id = skin;
        wnd->resource_id = std::string(skin) == "ButtonPageNext" ? 24 : 23;
        record.list_wnd.Append(std::move(wnd));
    }
    auto beyond = std::make_unique<XWnd>();
    beyond->resource_id = 27;
    record.list_wnd.Append(std::move(beyond));
    m_Grid.emplace();
    ASSERT_TRUE(m_Grid->Init(m_pParent.get(), record, 3));
    m_Grid->CreateButtons();
    m_Grid->CreateButtons();
    const auto buttons = m_Grid->findChildren<QPushButton*>();
    ASSERT_EQ(buttons.size(), 2);
    EXPECT_FALSE(buttons[0]->isCheckable());
    EXPECT_TRUE(buttons[1]->isCheckable());
    m_Grid->SetLayout(1);
    buttons[0]->click();
    EXPECT_EQ(m_Grid->GetState().GetPage(), 1);
}

TEST_F(RenderWndTest, BitmapFileIsTakenOnlyWhole)
{
    const std::string path = SystemPath(m_Home.filePath("dvr.bmp").toStdString());
    EXPECT_EQ(LoadBitmapFile(path), nullptr) << "missing";
    QImage(352, 288, QImage::Format_RGB888).save(m_Home.filePath("dvr.bmp"), "BMP");
    const auto whole = LoadBitmapFile(path);
    ASSERT_NE(whole, nullptr);
    QFile file(m_Home.filePath("dvr.bmp"));
    ASSERT_TRUE(file.resize(static_cast<qint64>(whole->m_Bytes.size()) - 1));
    EXPECT_EQ(LoadBitmapFile(path), nullptr) << "cut";
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("MB garbage that is long enough");
    file.close();
    EXPECT_EQ(LoadBitmapFile(path), nullptr);
    EXPECT_TRUE(Grid().GetCell(0)->grab().toImage().pixelColor(5, 5).isValid());
}

}  // namespace
