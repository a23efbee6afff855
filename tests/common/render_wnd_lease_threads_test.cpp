// The grid's windows while link threads draw into them with the real device.

#include <QScreen>
#include <QWindow>
#include <atomic>
#include <thread>
#include <vector>

#include "render/D3DSurfaceRender.h"
#include "render/Render.h"
#include "render/device/EglSurfaceDevice.h"
#include "tests/common/render_wnd_support.h"
#include "tests/render/render_support.h"

namespace
{

constexpr std::int32_t WIDTH = 352;
constexpr std::int32_t HEIGHT = 288;
constexpr int STREAMS = 6;

class RenderWndLeaseTest : public RenderWndTest
{
  protected:
    RenderWndLeaseTest()
    {
        SetRenderFactory([] { return std::make_unique<CD3DSurfaceRender>(OpenEglSurfaceAdapter); });
    }
    ~RenderWndLeaseTest() override { StopStreams(); }

    // Each in the next free cell, in a grey of its own, as fast as it goes.
    void StartStreams()
    {
        for (int i = 0; i < STREAMS; ++i) {
            m_Streams.emplace_back([this, cell = TakeFreeCell(), luma = Luma(i)] {
                const CTestFrame frame(WIDTH, HEIGHT, luma);
                const auto render = CreateRender();
                CSurface* const surface = render->CreateSurface(WIDTH, HEIGHT);
                while (!m_bStop)
                    render->DisplayClient(&frame.m_Frame, surface, cell);
                render->DestroySurface(surface);
            });
        }
    }
    void StopStreams()
    {
        m_bStop = true;
        for (auto& stream : m_Streams)
            stream.join();
        m_Streams.clear();
    }
    static std::uint8_t Luma(int stream) { return static_cast<std::uint8_t>(60 + 25 * stream); }

    QImage GrabCell(int stream)
    {
        const CRenderCell& cell = *m_Grid->GetCell(static_cast<std::size_t>(stream));
        const QRect all = cell.rect();
        return cell.screen()
            ->grabWindow(cell.windowHandle()->winId(), 0, 0, all.width(), all.height())
            .toImage();
    }
    static bool Has(const QImage& picture, const QPoint& place, std::uint32_t colour)
    {
        return picture.valid(place) && (picture.pixel(place) & 0xFFFFFF) == colour;
    }
    // Whether the stream's grey is on the screen in the middle of its cell.
    bool IsSeen(int stream)
    {
        const QImage cell = GrabCell(stream);
        return Has(cell, cell.rect().center(), GreyPixel(Luma(stream)));
    }
    bool EachIsSeen()
    {
        for (int i = 0; i < STREAMS; ++i) {
            if (!QTest::qWaitFor([&] { return IsSeen(i); }, 60000)) return false;
        }
        return true;
    }
    void PlayUntilTheFirstIsSeen()
    {
        Serve();
        StartStreams();
        ASSERT_TRUE(QTest::qWaitFor([&] { return IsSeen(0); }, 60000));
        StopStreams();
        Serve();
    }

    std::vector<std::thread> m_Streams;
    std::atomic<bool> m_bStop{false};
};

TEST_F(RenderWndLeaseTest, CellsFloatAndComeBackWhileStreamsDraw)
{
    CRenderWnd& grid = Grid({16});
    grid.SetLayout(2);
    Serve();
    StartStreams();
    ASSERT_TRUE(EachIsSeen());
    for (int round = 0; round < 25; ++round) {
        grid.SetFloat(round % 2 == 0);
        Serve();
    }
    EXPECT_TRUE(EachIsSeen()) << "floating";
    grid.SetFloat(false);
    EXPECT_TRUE(EachIsSeen()) << "in the grid";
}

TEST_F(RenderWndLeaseTest, GridGoesToFullScreenAndBackWhileStreamsDraw)
{
    CRenderWnd& grid = Grid({16});
    grid.SetLayout(2);
    Serve();
    StartStreams();
    for (int round = 0; round < 10; ++round) {
        grid.SetLayout(0);
        Serve();
    }
    EXPECT_TRUE(EachIsSeen());
}

constexpr std::uint32_t GROUND = 0x010203;  // there is no "dvr.bmp" here

// The next picture may never come, as of a recorder that died.
TEST_F(RenderWndLeaseTest, CellOfAnotherSizeIsEmptyUntilTheNextPicture)
{
    CRenderWnd& grid = Grid({4, 16});
    grid.SetLayout(2);
    ASSERT_NO_FATAL_FAILURE(PlayUntilTheFirstIsSeen());
    for (const std::int32_t layout : {3, 2, 0}) {  // smaller, larger, and the whole screen
        NoteCellShown(grid.GetCell(0)->Handle());
        Serve();
        grid.SetLayout(layout);
        EXPECT_TRUE(QTest::qWaitFor(
            [&] {
                const QImage cell = GrabCell(0);
                return cell.size() == grid.GetCell(0)->size() && Has(cell, {0, 0}, GROUND) &&
                       Has(cell, cell.rect().center(), GROUND) && Has(cell, cell.rect().bottomRight(), GROUND);
            },
            60000))
            << layout;
    }
    const HWND taken = grid.GetCell(0)->Handle();
    const CTestFrame frame(WIDTH, HEIGHT, Luma(0));
    const auto render = CreateRender();
    CSurface* const surface = render->CreateSurface(WIDTH, HEIGHT);
    EXPECT_TRUE(QTest::qWaitFor(
        [&] {
            render->DisplayClient(&frame.m_Frame, surface, taken);
            return IsSeen(0) && grid.GetCell(0)->testAttribute(Qt::WA_PaintOnScreen);
        },
        60000));
    render->DestroySurface(surface);
}

TEST_F(RenderWndLeaseTest, UncoveredPartOfACellIsEmptyUntilTheNextPicture)
{
    CRenderWnd& grid = Grid({4});
    grid.SetLayout(2);
    ASSERT_NO_FATAL_FAILURE(PlayUntilTheFirstIsSeen());
    QWidget cover(nullptr, Qt::Window | Qt::BypassWindowManagerHint);
    cover.setGeometry(QRect(grid.GetCell(0)->mapToGlobal(QPoint(10, 10)), QSize(30, 30)));
    cover.show();
    const QPoint covered(20, 20);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !Has(GrabCell(0), covered, GreyPixel(Luma(0))); }, 60000));
    cover.hide();
    EXPECT_TRUE(QTest::qWaitFor([&] { return Has(GrabCell(0), covered, GROUND); }, 60000));
    EXPECT_TRUE(IsSeen(0)) << "what was not covered stays";
}

// Neither showing a picture nor giving the cell back needs the panels' thread, which serves nothing here.
TEST_F(RenderWndLeaseTest, StreamRunsToItsEndWhileThePanelsThreadIsBusy)
{
    Grid({16});
    const HWND cell = TakeFreeCell();
    std::thread([cell] {
        const CTestFrame frame(WIDTH, HEIGHT, 90);
        const auto render = CreateRender();
        CSurface* const surface = render->CreateSurface(WIDTH, HEIGHT);
        EXPECT_EQ(render->DisplayClient(&frame.m_Frame, surface, cell), 0);
        render->DestroySurface(surface);
        EXPECT_TRUE(IsCellShown(cell));
        ReleaseCell(cell);
    }).join();
    EXPECT_FALSE(IsCellUsed(cell));
}

// A cell's window is lent, and the server knows it, from the cell's making on.
TEST_F(RenderWndLeaseTest, FirstFrameIntoANewCellIsShown)
{
    CRenderWnd& grid = Grid({16});
    const auto render = CreateRender();
    CSurface* const surface = render->CreateSurface(WIDTH, HEIGHT);
    const CTestFrame frame(WIDTH, HEIGHT, 90);
    for (int i = 0; i < 5; ++i) {
        const CRenderCell cell(&grid, grid.Handle());
        render->DisplayClient(&frame.m_Frame, surface, cell.Handle());
        EXPECT_EQ(surface->m_Showing, EShowing::Shown) << i;
    }
    render->DestroySurface(surface);
}

TEST_F(RenderWndLeaseTest, GridGoesAwayWhileStreamsDraw)
{
    for (int round = 0; round < 3; ++round) {
        Grid({16}).SetLayout(2);
        Serve();
        m_bStop = false;
        StartStreams();
        ASSERT_TRUE(EachIsSeen());
        m_Grid.reset();
        StopStreams();
    }
}

}  // namespace
