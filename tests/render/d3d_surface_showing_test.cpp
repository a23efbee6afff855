// What the renderer notes of each picture: whether it can have been seen.

#include "render/D3DSurfaceRender.h"

#include <gtest/gtest.h>

#include "render/CellPool.h"
#include "tests/render/d3d_surface_support.h"

namespace
{

class D3DSurfaceShowingTest : public D3DStreamFixture
{
  protected:
    EShowing Show(const CodecFrame* frame, HWND window = CELL)
    {
        m_Render.DisplayClient(frame, m_pSurface, window);
        return m_pSurface->m_Showing;
    }
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

TEST_F(D3DSurfaceShowingTest, PictureThatGetsTheDeviceTooLateIsNotPresented)
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
    CodecFrame noPlane = m_Frame.m_Frame;
    noPlane.data[0] = nullptr;
    EXPECT_EQ(Show(&noPlane), EShowing::NotConvertible);
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

TEST_F(D3DSurfaceShowingTest, CellCountsAsDrawnIntoOnceSomethingWasPresentedInItsWindow)
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
