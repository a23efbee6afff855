#include "render/Render.h"
#include "tests/common/render_wnd_support.h"
#include "tests/support/box_catcher.h"

// A host may hold two controls: their grids share the pool of cells and the renderer.

namespace
{

class TwoGridsTest : public RenderWndTest, public testing::WithParamInterface<bool>
{
  protected:
    TwoGridsTest()
    {
        Grid({4});
        m_Second.emplace();
    }
    std::uint32_t Presented(const CRenderWnd& grid)
    {
        return m_pAdapter->GetPresentCount(grid.GetCell(0)->Handle());
    }

    std::optional<CRenderWnd> m_Second;
};

TEST_P(TwoGridsTest, StreamsGoOnWhenAnotherGridComes)
{
    const auto render = CreateRender();
    CSurface* const surface = render->CreateSurface(16, 16);
    ASSERT_TRUE(m_Second->Init(m_pParent.get(), MakeGridRecord({4}), 3));
    EXPECT_EQ(CreateRender(), render);
    EXPECT_EQ(m_pAdapter->GetCallCount(EDeviceStep::CreateDevice), 1U)
        << "what was made on the first device can't be shown by another";
    EXPECT_EQ(render->DisplayClient(nullptr, surface, m_Grid->GetCell(0)->Handle()), 0);
    EXPECT_EQ(Presented(*m_Grid), 1U);
    render->DestroySurface(surface);
}

TEST_P(TwoGridsTest, GridThatStaysKeepsItsCellsAndTheRenderer)
{
    ASSERT_TRUE(m_Second->Init(m_pParent.get(), MakeGridRecord({4}), 3));
    ASSERT_EQ(GetCells().size(), 8U);
    const auto render = CreateRender();
    const bool firstGoes = GetParam();
    (firstGoes ? m_Grid : m_Second).reset();
    const CRenderWnd& stays = *(firstGoes ? m_Second : m_Grid);

    ASSERT_EQ(GetCells().size(), 4U);
    EXPECT_EQ(TakeFreeCell(), stays.GetCell(0)->Handle());
    ASSERT_EQ(CreateRender(), render);
    CSurface* const surface = render->CreateSurface(16, 16);
    EXPECT_EQ(render->DisplayClient(nullptr, surface, stays.GetCell(0)->Handle()), 0);
    EXPECT_EQ(Presented(stays), 1U);
    render->DestroySurface(surface);

    m_Grid.reset();
    m_Second.reset();
    EXPECT_EQ(GetCells().size(), 0U);
    EXPECT_NE(CreateRender(), render) << "the last one releases it";
}

TEST_P(TwoGridsTest, CellsOfTheGridThatStaysKeepTheirEmptyPicture)
{
    QImage picture(352, 288, QImage::Format_RGB888);
    picture.fill(Qt::red);
    ASSERT_TRUE(picture.save(m_Home.filePath("dvr.bmp"), "BMP"));
    m_Grid.reset();
    Grid({4});
    ASSERT_TRUE(m_Second->Init(m_pParent.get(), MakeGridRecord({4}), 3));
    (GetParam() ? m_Grid : m_Second).reset();
    const CRenderWnd& stays = *(GetParam() ? m_Second : m_Grid);
    EXPECT_EQ(stays.GetCell(0)->grab().toImage().pixelColor(20, 20), QColor(Qt::red));
}

// Its focus window has gone then, and its box stands over whichever window is active.
TEST_P(TwoGridsTest, RendererTellsItsFailureAndIsRebuiltAfterTheGridThatPreparedItHasGone)
{
    ASSERT_TRUE(m_Second->Init(m_pParent.get(), MakeGridRecord({4}), 3));
    const auto render = CreateRender();
    CSurface* const surface = render->CreateSurface(16, 16);
    (GetParam() ? m_Grid : m_Second).reset();
    const CRenderWnd& stays = *(GetParam() ? m_Second : m_Grid);
    QCoreApplication::removePostedEvents(qApp, QEvent::Quit);  // would close the parent
    m_pParent->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(m_pParent.get()));

    const CBoxCatcher boxes;
    m_pAdapter->SetState(EDeviceState::NotReset);
    m_pAdapter->SetFault(EDeviceStep::GetBackBuffer, true);
    EXPECT_EQ(render->DisplayClient(nullptr, surface, stays.GetCell(0)->Handle()), 0);
    EXPECT_THAT(boxes.m_Texts, testing::ElementsAre("Get Back Buffer failed!"));
    EXPECT_EQ(boxes.m_pOwner, m_pParent.get());
    m_pAdapter->SetFault(EDeviceStep::GetBackBuffer, false);
    m_pAdapter->SetState(EDeviceState::NotReset);
    EXPECT_EQ(render->DisplayClient(nullptr, surface, stays.GetCell(0)->Handle()), 0);
    EXPECT_EQ(render->DisplayClient(nullptr, surface, stays.GetCell(0)->Handle()), 0);
    EXPECT_EQ(Presented(stays), 1U);
    render->DestroySurface(surface);
}

INSTANTIATE_TEST_SUITE_P(EitherOrder, TwoGridsTest, testing::Bool());

}  // namespace
