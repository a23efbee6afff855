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

    // Whether the stream's grey is on the screen in the middle of its cell.
    bool IsSeen(int stream)
    {
        CRenderCell& cell = *m_Grid->GetCell(static_cast<std::size_t>(stream));
        const QPoint middle = cell.rect().center();
        const QImage pixel =
            cell.screen()->grabWindow(cell.windowHandle()->winId(), middle.x(), middle.y(), 1, 1).toImage();
        return !pixel.isNull() && (pixel.pixel(0, 0) & 0xFFFFFF) == GreyPixel(Luma(stream));
    }
    bool EachIsSeen()
    {
        for (int i = 0; i < STREAMS; ++i) {
            if (!QTest::qWaitFor([&] { return IsSeen(i); }, 60000)) return false;
        }
        return true;
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
