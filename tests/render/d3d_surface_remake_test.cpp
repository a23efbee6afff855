// A device that can't be made again after its loss.

#include "render/D3DSurfaceRender.h"

#include <gmock/gmock.h>

#include "tests/render/d3d_surface_support.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

class D3DSurfaceRemakeTest : public D3DStreamFixture
{
  protected:
    D3DSurfaceRemakeTest()
    {
        m_pAdapter->SetState(EDeviceState::NotReset);
        m_pAdapter->SetFault(EDeviceStep::CreateDevice, true, EDeviceResult::NotAvailable);
        EXPECT_EQ(Show(), 0) << "the frame that rebuilds";
        EXPECT_THAT(m_Backend.TakeTexts(),
                    ElementsAre("CreateDevice failed: Not Available", "Create Off Screen Surface failed!"));
    }
    std::int32_t Show() { return m_Render.DisplayClient(&m_Frame.m_Frame, m_pSurface, CELL); }
    // The answers to that many frames: how many tried to remake the device.
    int CountTries(std::uint32_t frames)
    {
        int tries = 0;
        for (std::uint32_t i = 0; i < frames; ++i)
            tries += Show() == 0 ? 1 : 0;
        return tries;
    }
};

TEST_F(D3DSurfaceRemakeTest, IsTriedAgainWithFewFramesAndReportedOnce)
{
    constexpr int ROUNDS = 4;
    const std::uint32_t before = m_pAdapter->GetCallCount(EDeviceStep::CreateDevice);
    EXPECT_EQ(CountTries(ROUNDS * CD3DSurfaceRender::REMAKE_FRAMES), ROUNDS);
    EXPECT_EQ(m_pAdapter->GetCallCount(EDeviceStep::CreateDevice), before + ROUNDS);
    EXPECT_THAT(m_Backend.TakeTexts(), IsEmpty());
}

TEST_F(D3DSurfaceRemakeTest, ComesBackWhenItCanBeMadeAndTellsItsNextFailure)
{
    m_pAdapter->SetFault(EDeviceStep::CreateDevice, false);
    EXPECT_EQ(CountTries(CD3DSurfaceRender::REMAKE_FRAMES), 1);
    EXPECT_EQ(Show(), 0);
    EXPECT_EQ(m_pSurface->m_Showing, EShowing::Shown) << "its surface was rebuilt too";
    EXPECT_EQ(m_pAdapter->GetPresentCount(CELL), 1U);
    m_pAdapter->SetState(EDeviceState::NotReset);
    m_pAdapter->SetFault(EDeviceStep::CreateDevice, true, EDeviceResult::InvalidCall);
    Show();
    EXPECT_THAT(m_Backend.TakeTexts(),
                ElementsAre("CreateDevice failed: Invalid Call", "Create Off Screen Surface failed!"));
}

TEST_F(D3DSurfaceRemakeTest, UninitEndsTheTries)
{
    m_Render.Uninit();
    EXPECT_EQ(CountTries(2 * CD3DSurfaceRender::REMAKE_FRAMES), 0);
}

TEST_F(D3DSurfaceRemakeTest, RefusedFramesAreCountedAnewForEachLoss)
{
    EXPECT_EQ(CountTries(3), 0);
    m_pAdapter->SetFault(EDeviceStep::CreateDevice, false);
    m_Render.Uninit();
    ASSERT_EQ(m_Render.Init(CELL), 1);
    m_pAdapter->SetState(EDeviceState::NotReset);
    m_pAdapter->SetFault(EDeviceStep::CreateDevice, true, EDeviceResult::NotAvailable);
    ASSERT_EQ(Show(), 0) << "the frame that rebuilds";
    EXPECT_EQ(CountTries(CD3DSurfaceRender::REMAKE_FRAMES - 1), 0);
    EXPECT_EQ(CountTries(1), 1);
}

}  // namespace
