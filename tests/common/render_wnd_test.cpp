#include <QMenu>
#include <QPushButton>
#include <QScreen>
#include <QWindow>

#include "model/NodeModel.h"
#include "platform/os/paths.h"
#include "remote/Remote.h"
#include "render/Render.h"
#include "tests/common/render_wnd_support.h"
#include "tests/support/box_catcher.h"

using testing::ElementsAre;

namespace
{

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
    m_pAdapter->SetFault(EDeviceStep::CreateDevice, true, EDeviceResult::NotAvailable);
    m_Grid.emplace();
    EXPECT_FALSE(m_Grid->Init(m_pParent.get(), MakeGridRecord({4}), 3));
    EXPECT_THAT(boxes.m_Texts, ElementsAre("CreateDevice failed: Not Available"));
}

TEST_F(RenderWndTest, LayoutForACountOfOneBehavesAsForFour)
{
    CRenderWnd& grid = Grid({4, 6, 16});
    grid.SetLayout(4);
    grid.SetLayoutForCount(1);
    EXPECT_EQ(grid.GetState().GetLayout(), 2);
    grid.SetLayout(4);
    grid.SetLayoutForCount(4);
    EXPECT_EQ(grid.GetState().GetLayout(), 2);
}

TEST_F(RenderWndTest, LayoutForACountOfAThousandTakesTheLast)
{
    CRenderWnd& grid = Grid({4, 6, 16});
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

TEST_F(RenderWndTest, DoubleClickOnALaterPageShowsThatVeryCellAlone)
{
    CRenderWnd& grid = Grid();
    for (int i = 0; i < 16; ++i)
        TakeFreeCell();
    grid.SetLayout(2);
    grid.NextPage();
    QTest::mouseClick(grid.GetCell(6), Qt::LeftButton);
    QTest::mouseDClick(grid.GetCell(6), Qt::LeftButton);
    EXPECT_EQ(grid.GetState().GetLayout(), 1);
    EXPECT_EQ(grid.GetState().GetPage(), 6);
    EXPECT_EQ(CellRect(6), QRect(2, 2, 396, 296));
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

TEST_F(RenderWndTest, CellThatAStreamDrawsIntoIsLeftToIt)
{
    CRenderWnd& grid = Grid();
    const HWND window = TakeFreeCell();
    EXPECT_FALSE(grid.GetCell(0)->testAttribute(Qt::WA_PaintOnScreen));
    // What the server tells of the new window takes the first picture back.
    EXPECT_TRUE(QTest::qWaitFor([&] {
        NoteCellShown(window);
        Serve();
        return grid.GetCell(0)->testAttribute(Qt::WA_PaintOnScreen);
    }));
    ReleaseCell(window);
    Serve();
    EXPECT_FALSE(grid.GetCell(0)->testAttribute(Qt::WA_PaintOnScreen));
}

// Without waiting for what the server tells of it.
TEST_F(RenderWndTest, CellOfAnotherSizeHasLostItsPictureAtOnce)
{
    CRenderWnd& grid = Grid();
    const HWND window = TakeFreeCell();
    ASSERT_TRUE(QTest::qWaitFor([&] {
        NoteCellShown(window);
        Serve();
        return grid.GetCell(0)->testAttribute(Qt::WA_PaintOnScreen);
    }));
    grid.SetLayout(2);
    EXPECT_FALSE(IsCellShown(window));
    EXPECT_FALSE(grid.GetCell(0)->testAttribute(Qt::WA_PaintOnScreen));
}

TEST_F(RenderWndTest, CellLendsTheWindowThatItHas)
{
    CRenderWnd& grid = Grid();
    CRenderCell& cell = *grid.GetCell(0);
    const HWND window = cell.Handle();
    const auto former = cell.windowHandle()->winId();
    EXPECT_NE(former, 0U);
    EXPECT_EQ(CWindowHold(window).GetWindow(), former);
    TakeFreeCell();
    for (const bool floating : {true, false, true}) {
        grid.SetFloat(floating);
        Serve();
        EXPECT_EQ(CWindowHold(window).GetWindow(), cell.windowHandle()->winId()) << floating;
    }
    EXPECT_NE(cell.windowHandle()->winId(), former) << "the platform made it again";
    EXPECT_EQ(CWindowHold(window).GetWindow(), cell.windowHandle()->winId());
    cell.windowHandle()->destroy();
    EXPECT_EQ(CWindowHold(window).GetWindow(), 0U);
    cell.windowHandle()->create();
    EXPECT_EQ(CWindowHold(window).GetWindow(), cell.windowHandle()->winId());
    m_Grid.reset();
    EXPECT_EQ(CWindowHold(window).GetWindow(), 0U);
}

TEST_F(RenderWndTest, DestructionEmptiesThePoolAndReleasesTheRenderer)
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
    XRenderWnd record = MakeGridRecord({4});
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

TEST_F(RenderWndTest, ButtonsOfTheStripAreScaledByTheRecordAndInFullScreenToTheScreen)
{
    XRenderWnd record = MakeGridRecord({4});
    for (const std::int32_t slot : {0, 26}) {
        auto wnd = std::make_unique<XWnd>();
        wnd->resource_id = slot;
        wnd->rect.left = 100;
        wnd->rect.top = 40;
        wnd->rect.right = 20;
        wnd->rect.bottom = 10;
        record.list_wnd.Append(std::move(wnd));
    }
    m_Grid.emplace();
    ASSERT_TRUE(m_Grid->Init(m_pParent.get(), record, 2));
    m_Grid->CreateButtons();
    auto buttons = m_Grid->findChildren<QPushButton*>();
    ASSERT_EQ(buttons.size(), 2);
    EXPECT_EQ(buttons[0]->geometry(), QRect(50, 20, 10, 5));
    qDeleteAll(buttons);
    m_Grid->SetLayout(0);
    m_Grid->CreateButtons();
    buttons = m_Grid->findChildren<QPushButton*>();
    ASSERT_EQ(buttons.size(), 2) << "a slot whose window went gets another";
    const QSize screen = m_Grid->screen()->size();
    EXPECT_EQ(buttons[0]->x(), 100 * screen.width() / 200);
    EXPECT_EQ(buttons[0]->y(), 40 * screen.height() / 150);
    m_Grid->SetLayout(0);
}

}  // namespace
