#include <QMouseEvent>
#include <QPushButton>
#include <QTimerEvent>
#include <fstream>

#include "common/BitmapFile.h"
#include "model/settings/Language.h"
#include "platform/os/paths.h"
#include "render/Render.h"
#include "skin/Skin.h"
#include "tests/common/render_wnd_support.h"
#include "tests/skin/theme_support.h"
#include "tests/support/box_catcher.h"

using testing::Each;
using testing::ElementsAre;
using testing::SizeIs;

// The grid's messages and commands by their numbers, and the edges of what they do.

namespace
{

WPARAM Window(const CRenderWnd& grid, std::size_t cell)
{
    return static_cast<WPARAM>(grid.GetCell(cell)->Handle());
}

void SpeakEnglish(const QTemporaryDir& home, const std::string& strings)
{
    QDir(home.path()).mkdir("config");
    std::ofstream(home.filePath("config/eng.ini").toStdString()) << "[String]\n" << strings;
    CLanguage::SetLanguage("eng");
}

TEST_F(RenderWndTest, PageCommandsHaveTheirNumbers)
{
    CRenderWnd& grid = Grid();
    grid.SetLayout(2);
    for (const auto& [id, page] :
         {std::pair{6024, 1}, {6025, 3}, {6022, 2}, {6023, 2}, {6020, 2}, {6026, 2}, {6021, 0}}) {
        SendMessageA(grid.Handle(), WM_COMMAND, static_cast<WPARAM>(id), 0);
        EXPECT_EQ(grid.GetState().GetPage(), page) << id;
    }
}

TEST_F(RenderWndTest, ArrangementCommandsReachFrom6000To6012)
{
    CRenderWnd& grid = Grid({4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 16});
    ASSERT_EQ(grid.GetLayoutCount(), 14);
    for (const int layout : {1, 2, 12}) {
        SendMessageA(grid.Handle(), WM_COMMAND, static_cast<WPARAM>(6000 + layout), 0);
        EXPECT_EQ(grid.GetState().GetLayout(), layout);
    }
    SendMessageA(grid.Handle(), WM_COMMAND, 6013, 0);
    EXPECT_EQ(grid.GetState().GetLayout(), 12);
    EXPECT_FALSE(grid.IsFullScreenOn());
    SendMessageA(grid.Handle(), WM_COMMAND, 6000, 0);
    EXPECT_TRUE(grid.IsFullScreenOn());
    SendMessageA(grid.Handle(), WM_COMMAND, 6000, 0);
    EXPECT_FALSE(grid.IsFullScreenOn());
}

TEST_F(RenderWndTest, FullScreenIsToggledByTheCommand7000AndTheMessage0x405)
{
    CRenderWnd& grid = Grid();
    SendMessageA(grid.Handle(), WM_COMMAND, 7000, 0);
    EXPECT_TRUE(grid.IsFullScreenOn());
    SendMessageA(grid.Handle(), 0x405, 0, 0);
    EXPECT_FALSE(grid.IsFullScreenOn());
}

TEST_F(RenderWndTest, EveryOtherIndexBelowNoughtTogglesFullScreenToo)
{
    CRenderWnd& grid = Grid();
    grid.SetLayout(2);
    EXPECT_EQ(grid.SetLayout(-2), 1);
    EXPECT_TRUE(grid.IsFullScreenOn());
    EXPECT_EQ(grid.GetState().GetLayout(), 2);
    grid.SetLayout(-100);
    EXPECT_FALSE(grid.IsFullScreenOn());
}

TEST_F(RenderWndTest, CellsClicksHaveTheirNumbers)
{
    CRenderWnd& grid = Grid();
    grid.SetLayout(2);
    TakeFreeCell();
    SendMessageA(grid.Handle(), 0x402, Window(grid, 0), 0);
    EXPECT_EQ(grid.GetState().GetFocus(), 0);
    EXPECT_EQ(QApplication::activePopupWidget(), nullptr);
    SendMessageA(grid.Handle(), 0x403, Window(grid, 0), 0);
    EXPECT_EQ(grid.GetState().GetLayout(), 1);
    SendMessageA(grid.Handle(), 0x402, Window(grid, 0), 1);
    ASSERT_NE(QApplication::activePopupWidget(), nullptr);
    QApplication::activePopupWidget()->close();
}

// oddity: double-click-by-focus. It asks whether the cell with the focus is used, whatever cell it is sent for.
TEST_F(RenderWndTest, DoubleClickGoesByTheCellWithTheFocus)
{
    CRenderWnd& grid = Grid();
    grid.SetLayout(2);
    SendMessageA(grid.Handle(), 0x403, Window(grid, 0), 0);
    EXPECT_EQ(grid.GetState().GetLayout(), 2) << "no cell has the focus";
    TakeFreeCell();
    SendMessageA(grid.Handle(), 0x402, Window(grid, 1), 0);
    SendMessageA(grid.Handle(), 0x403, Window(grid, 0), 0);
    EXPECT_EQ(grid.GetState().GetLayout(), 2) << "the cell with the focus is free";
    SendMessageA(grid.Handle(), 0x402, Window(grid, 0), 0);
    SendMessageA(grid.Handle(), 0x403, Window(grid, 1), 0);
    EXPECT_EQ(grid.GetState().GetLayout(), 1);
    EXPECT_EQ(grid.GetState().GetPage(), 0);
}

TEST_F(RenderWndTest, OnlyTheLeftButtonsDoubleClickCountsAndItSelectsNothing)
{
    CRenderWnd& grid = Grid();
    grid.SetLayout(2);
    TakeFreeCell();
    SendMessageA(grid.Handle(), 0x402, Window(grid, 0), 0);
    for (const auto& [button, layout] : {std::pair{Qt::RightButton, 2}, {Qt::LeftButton, 1}}) {
        QMouseEvent twice(QEvent::MouseButtonDblClick, QPointF(5, 5), QPointF(5, 5), button, button,
                          Qt::NoModifier);
        QApplication::sendEvent(grid.GetCell(1), &twice);
        EXPECT_EQ(grid.GetState().GetLayout(), layout);
        EXPECT_EQ(grid.GetState().GetFocus(), 0);
        EXPECT_EQ(QApplication::activePopupWidget(), nullptr);
    }
}

TEST_F(RenderWndTest, RightClickIsRememberedAndGivesTheGridTheKeyboardToo)
{
    CRenderWnd& grid = Grid();
    grid.SetLayout(2);
    QTest::mouseClick(grid.GetCell(3), Qt::LeftButton);
    m_pParent->setFocusPolicy(Qt::StrongFocus);
    m_pParent->setFocus();
    ASSERT_NE(m_pParent->focusWidget(), &grid);
    QTest::mouseClick(grid.GetCell(1), Qt::RightButton);
    ASSERT_NE(QApplication::activePopupWidget(), nullptr);
    QApplication::activePopupWidget()->close();
    EXPECT_EQ(CRenderCell::GetLastClicked(), grid.GetCell(1)->Handle());
    EXPECT_EQ(m_pParent->focusWidget(), &grid);
}

TEST_F(RenderWndTest, KeyboardIsTakenAtTheMessage7)
{
    m_pParent->setFocusPolicy(Qt::StrongFocus);
    CRenderWnd& grid = Grid();
    m_pParent->setFocus();
    ASSERT_NE(m_pParent->focusWidget(), &grid);
    SendMessageA(grid.Handle(), 0x7, 0, 0);
    EXPECT_EQ(m_pParent->focusWidget(), &grid);
}

TEST_F(RenderWndTest, NoticeOfASelectionIsPostedAndHasNoParameters)
{
    std::vector<std::vector<std::int64_t>> notices;
    m_ParentHandle.reset();
    m_ParentHandle.emplace(*m_pParent, [&](std::uint32_t message, WPARAM wParam, LPARAM lParam) {
        notices.push_back({message, static_cast<std::int64_t>(wParam), static_cast<std::int64_t>(lParam)});
        return LRESULT{0};
    });
    CRenderWnd& grid = Grid();
    SendMessageA(grid.Handle(), 0x402, Window(grid, 0), 0);
    EXPECT_THAT(notices, testing::IsEmpty()) << "it is posted, not sent";
    Serve();
    EXPECT_THAT(notices, ElementsAre(ElementsAre(5001, 0, 0)));
    m_ParentHandle.reset();
}

TEST_F(RenderWndTest, EachRefusalOfALockedGridHasTheSameText)
{
    SpeakEnglish(m_Home, "IDS_MainDlg_UnlockFirst=unlock it first\n");
    CRenderWnd& grid = Grid();
    grid.SetLayout(2);
    grid.Lock();
    CBoxCatcher boxes;
    for (const int id : {6000, 6003, 7000, 7001})
        SendMessageA(grid.Handle(), WM_COMMAND, static_cast<WPARAM>(id), 0);
    SendMessageA(grid.Handle(), 0x403, Window(grid, 0), 0);
    QTest::keyClick(&grid, Qt::Key_Escape);
    grid.SetLayoutForCount(16);
    EXPECT_THAT(boxes.m_Texts, SizeIs(7));
    EXPECT_THAT(boxes.m_Texts, Each(std::string("unlock it first")));
    EXPECT_EQ(grid.GetState().GetLayout(), 2);
    EXPECT_FALSE(grid.IsFullScreenOn());
}

TEST_F(RenderWndTest, LockedGridMayGoWhileItsRefusalStands)
{
    using Refused = void (*)(CRenderWnd&);
    const Refused refusals[] = {
        [](CRenderWnd& grid) { grid.SetLayoutForCount(16); },
        [](CRenderWnd& grid) { SendMessageA(grid.Handle(), WM_COMMAND, GRID_COMMAND_SNAPSHOT, 0); },
        [](CRenderWnd& grid) { QTest::keyClick(&grid, Qt::Key_Escape); },
        [](CRenderWnd& grid) { QTest::mouseDClick(grid.GetCell(0), Qt::LeftButton); },
    };
    for (const Refused refuse : refusals) {
        auto grid = std::make_unique<CRenderWnd>();
        ASSERT_TRUE(grid->Init(m_pParent.get(), MakeGridRecord({4}), 3));
        grid->SetLayout(2);
        grid->Lock();
        QTimer going;
        QObject::connect(&going, &QTimer::timeout, [&] {
            if (qobject_cast<QMessageBox*>(QApplication::activeModalWidget()) == nullptr) return;
            grid.reset();
            QCoreApplication::removePostedEvents(qApp, QEvent::Quit);
        });
        going.start(5);
        refuse(*grid);
        EXPECT_EQ(grid, nullptr);
        EXPECT_EQ(QApplication::activeModalWidget(), nullptr) << "the box went with it";
    }
}

TEST_F(RenderWndTest, LockedGridStillSelectsCells)
{
    CRenderWnd& grid = Grid();
    grid.SetLayout(2);
    grid.Lock();
    QTest::mouseClick(grid.GetCell(2), Qt::LeftButton);
    EXPECT_EQ(grid.GetState().GetFocus(), 2);
}

TEST_F(RenderWndTest, CycleRunsOnWhileLockedWithoutTurningAndMayBeStopped)
{
    CRenderWnd& grid = Grid();
    grid.SetLayout(2);
    grid.StartCycle();
    grid.Lock();
    EXPECT_TRUE(grid.IsCycling());
    SendMessageA(grid.Handle(), 0x113, 0x401, 0);
    EXPECT_EQ(grid.GetState().GetPage(), 0);
    grid.Unlock();
    SendMessageA(grid.Handle(), 0x113, 0x401, 0);
    EXPECT_EQ(grid.GetState().GetPage(), 1);
    grid.Lock();
    grid.StopCycle();
    EXPECT_FALSE(grid.IsCycling());
}

TEST_F(RenderWndTest, ModesOneAndThreeTakeTheFirstScale)
{
    for (const std::int32_t mode : {1, 3}) {
        XRenderWnd record = MakeGridRecord({4});
        record.xfactor = 500;
        record.yfactor = 1000;
        m_Grid.emplace();
        ASSERT_TRUE(m_Grid->Init(m_pParent.get(), record, mode));
        EXPECT_EQ(m_Grid->GetGridRect(), (RECT{5, 10, 205, 160})) << mode;
        m_Grid.reset();
    }
}

TEST_F(RenderWndTest, GridAndItsMenuTakeTheirSkins)
{
    const int module = 0;  // its address stands for the module
    ASSERT_NE(StartSkin(&module, 0, 0), 0);
    ASSERT_NE(LoadSkin(SystemPath(DeliveredThemePath())), 0);
    EXPECT_EQ(Grid().palette().color(QPalette::Window), QColor(0x10, 0x12, 0x14));
    SendMessageA(m_Grid->Handle(), 0x402, Window(*m_Grid, 0), 1);
    QWidget* const menu = QApplication::activePopupWidget();
    ASSERT_NE(menu, nullptr);
    EXPECT_NE(menu->style(), QApplication::style()) << "the menu is drawn by the skin";
    menu->close();
    m_Grid.reset();
    StopSkin();
}

TEST_F(RenderWndTest, WithoutARendererInitFails)
{
    SetRenderFactory([] { return nullptr; });
    m_Grid.emplace();
    EXPECT_FALSE(m_Grid->Init(m_pParent.get(), MakeGridRecord({4}), 3));
}

TEST_F(RenderWndTest, CellWithoutSizeGetsItsFramesAllTheSame)
{
    CRenderWnd& grid = Grid();
    grid.SetLayout(2);
    ASSERT_TRUE(CellRect(9).isEmpty());
    const auto render = CreateRender();
    CSurface* const surface = render->CreateSurface(16, 16);
    EXPECT_EQ(render->DisplayClient(nullptr, surface, grid.GetCell(9)->Handle()), 0);
    EXPECT_EQ(m_pAdapter->GetPresentCount(grid.GetCell(9)->Handle()), 1U);
    render->DestroySurface(surface);
}

TEST_F(RenderWndTest, TipOfAButtonIsItsLanguageTextAndAtMost150Wide)
{
    SpeakEnglish(m_Home, "IDS_Next=to the <next> page\n");
    XRenderWnd record = MakeGridRecord({4});
    auto wnd = std::make_unique<XWnd>();
    wnd->resource_id = 24;
    wnd->tool_tip = "IDS_Next";
    record.list_wnd.Append(std::move(wnd));
    m_Grid.emplace();
    ASSERT_TRUE(m_Grid->Init(m_pParent.get(), record, 3));
    m_Grid->CreateButtons();
    const QString tip = m_Grid->findChild<QPushButton*>()->toolTip();
    EXPECT_TRUE(tip.contains("to the &lt;next&gt; page")) << tip.toStdString();
    EXPECT_TRUE(tip.contains("max-width:150px")) << tip.toStdString();
}

TEST_F(RenderWndTest, BitmapFileNeedsItsTwoLettersAndItsSize)
{
    const std::string path = SystemPath(m_Home.filePath("dvr.bmp").toStdString());
    const std::string good("BM\x14\0\0\0 fourteen more", 20);
    const auto load = [&](const std::string& bytes) {
        std::ofstream(HostPath(path), std::ios::binary) << bytes;
        return LoadBitmapFile(path);
    };
    const auto whole = load(good);
    ASSERT_NE(whole, nullptr);
    EXPECT_EQ(std::string(whole->bytes.begin(), whole->bytes.end()), good);
    for (const std::size_t at : {0, 1, 2, 3, 4, 5}) {
        std::string bad = good;
        ++bad[at];
        EXPECT_EQ(load(bad), nullptr) << at;
    }
    EXPECT_EQ(load(good + "more"), nullptr) << "it tells of less than there is";
}

}  // namespace
