// What the renderer notes of each picture: whether somebody can have seen it.

#include "render/D3DSurfaceRender.h"

#include <gtest/gtest.h>

#include "render/CellPool.h"
#include "render/device/MemorySurfaceDevice.h"
#include "tests/render/render_support.h"

namespace
{

constexpr HWND CELL{1};
constexpr std::int32_t WIDTH = 352;
constexpr std::int32_t HEIGHT = 288;

class D3DSurfaceShowingTest : public testing::Test
{
  protected:
    D3DSurfaceShowingTest()
    {
        m_Render.Init(CELL);
        m_pSurface = m_Render.CreateSurface(WIDTH, HEIGHT);
    }
    EShowing Show(const CodecFrame* frame, HWND window = CELL)
    {
        m_Render.DisplayClient(frame, m_pSurface, window);
        return m_pSurface->m_Showing;
    }

    CRecordingBackend m_Backend;
    std::shared_ptr<CMemorySurfaceAdapter> m_pAdapter = std::make_shared<CMemorySurfaceAdapter>();
    CD3DSurfaceRender m_Render{[this] { return m_pAdapter; }};
    CSurface* m_pSurface = nullptr;
    const CTestFrame m_Frame{WIDTH, HEIGHT, 90};
};

TEST_F(D3DSurfaceShowingTest, ShownIsWhatCameTheWholeWay)
{
    EXPECT_EQ(m_pSurface->m_Showing, EShowing::None);
    EXPECT_EQ(Show(&m_Frame.m_Frame), EShowing::Shown);
    EXPECT_EQ(Show(nullptr), EShowing::Dropped) << "the picture before, once more";
}

TEST_F(D3DSurfaceShowingTest, WithoutAWindowThereIsNoCell)
{
    EXPECT_EQ(Show(&m_Frame.m_Frame, HWND::Null), EShowing::WithoutCell);
    EXPECT_EQ(Show(&m_Frame.m_Frame), EShowing::Shown);
}

TEST_F(D3DSurfaceShowingTest, WhatTheDeviceIsFreeForTooLateIsNotPresented)
{
    m_pSurface->m_ShowBefore = std::chrono::steady_clock::now();
    EXPECT_EQ(m_Render.DisplayClient(&m_Frame.m_Frame, m_pSurface, CELL), 0);
    EXPECT_EQ(m_pSurface->m_Showing, EShowing::TooLate);
    EXPECT_EQ(m_pAdapter->GetPresentCount(), 0U);
    m_pSurface->m_ShowBefore += std::chrono::hours(1);
    EXPECT_EQ(Show(&m_Frame.m_Frame), EShowing::Shown);
}

TEST_F(D3DSurfaceShowingTest, WhatTheConversionRefusesIsPresentedAndNotShown)
{
    CodecFrame no_plane = m_Frame.m_Frame;
    no_plane.data[0] = nullptr;
    EXPECT_EQ(Show(&no_plane), EShowing::NotConvertible);
    CSurface* const odd = m_Render.CreateSurface(360, HEIGHT);
    const CTestFrame frame(360, HEIGHT, 90);
    EXPECT_EQ(m_Render.DisplayClient(&frame.m_Frame, odd, CELL), 0);
    EXPECT_EQ(odd->m_Showing, EShowing::NotConvertible);
    EXPECT_EQ(m_pAdapter->GetPresentCount(CELL), 2U);
}

TEST_F(D3DSurfaceShowingTest, EachStepThatFailsDropsThePicture)
{
    for (const EDeviceStep step : {EDeviceStep::LockRect, EDeviceStep::StretchRect, EDeviceStep::Present}) {
        m_pAdapter->SetFault(step, true);
        EXPECT_EQ(Show(&m_Frame.m_Frame), EShowing::Dropped) << static_cast<int>(step);
        m_pAdapter->SetFault(step, false);
        EXPECT_EQ(Show(&m_Frame.m_Frame), EShowing::Shown) << static_cast<int>(step);
    }
}

TEST_F(D3DSurfaceShowingTest, CellCountsAsDrawnIntoOnceSomethingCameToItsWindow)
{
    AddCell(CELL);
    EXPECT_EQ(TakeFreeCell(), CELL);
    m_pAdapter->SetFault(EDeviceStep::Present, true);
    Show(&m_Frame.m_Frame);
    EXPECT_FALSE(IsCellShown(CELL)) << "its empty picture has to stay";
    m_pAdapter->SetFault(EDeviceStep::Present, false);
    Show(&m_Frame.m_Frame);
    EXPECT_TRUE(IsCellShown(CELL));
    RemoveCell(CELL);
}

TEST_F(D3DSurfaceShowingTest, LostDeviceAndItsRebuildingDropThePicture)
{
    for (const EDeviceState state : {EDeviceState::Lost, EDeviceState::NotReset}) {
        m_pAdapter->SetState(state);
        EXPECT_EQ(Show(&m_Frame.m_Frame), EShowing::Dropped);
    }
    EXPECT_EQ(Show(&m_Frame.m_Frame), EShowing::Shown);
}

TEST_F(D3DSurfaceShowingTest, SurfaceThatCouldNotBeBuiltShowsNothing)
{
    m_pAdapter->SetFault(EDeviceStep::CreateAdditionalSwapChain, true);
    CSurface* const surface = m_Render.CreateSurface(WIDTH, HEIGHT);
    EXPECT_EQ(m_Render.DisplayClient(&m_Frame.m_Frame, surface, CELL), -1);
    EXPECT_EQ(surface->m_Showing, EShowing::Dropped);
    m_Render.Uninit();
    EXPECT_EQ(Show(&m_Frame.m_Frame), EShowing::Dropped) << "no device";
}

}  // namespace
