// What the renderers tell of a step that fails: a line at level 3, also where the user sees nothing of the
// step.

#include <gmock/gmock.h>

#include "inc/OutputDebugString.h"
#include "platform/os/paths.h"
#include "render/D3DSurfaceRender.h"
#include "render/device/EglSurfaceDevice.h"
#include "render/device/MemorySurfaceDevice.h"
#include "tests/render/render_support.h"
#include "tests/support/model_state.h"
#include "tests/support/render_state.h"
#include "tests/support/test_folder.h"
#include "tests/support/test_variable.h"

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace
{

class RenderLogTest : public testing::Test
{
  protected:
    RenderLogTest()
        : m_Former(SetDebugListener([this](std::string_view text) {
              if (text.find(" Error ") != std::string_view::npos) m_Lines.emplace_back(text);
          }))
    {
    }
    ~RenderLogTest() override { SetDebugListener(m_Former); }

    CTestFolder m_Home;
    const CModelState m_Model{m_Home.System()};
    const CRenderState m_Render;
    CRecordingBackend m_Backend;
    std::vector<std::string> m_Lines;
    const CDebugListener m_Former;
};

TEST_F(RenderLogTest, EachStepOfTheSurfaceRendererThatFails)
{
    const auto adapter = std::make_shared<CMemorySurfaceAdapter>();
    CD3DSurfaceRender render([&adapter] { return adapter; });
    adapter->SetFault(EDeviceStep::CreateDevice, true, EDeviceResult::NotAvailable);
    EXPECT_EQ(render.Init(HWND{1}), 0);
    EXPECT_THAT(m_Lines, ElementsAre(AllOf(HasSubstr("D3DSurfaceRender.cpp(CD3DSurfaceRender::Init, "),
                                           HasSubstr("): CreateDevice failed: Not Available\r\n"))));
    m_Lines.clear();
    adapter->SetFault(EDeviceStep::CreateDevice, false);
    ASSERT_NE(render.Init(HWND{1}), 0);
    adapter->SetFault(EDeviceStep::GetBackBuffer, true);
    render.CreateSurface(16, 16);
    EXPECT_THAT(m_Lines, ElementsAre(AllOf(HasSubstr("(CD3DSurfaceRender::CreateSurface, "),
                                           HasSubstr("Get Back Buffer failed!"))));
    m_Lines.clear();
    adapter->SetState(EDeviceState::NotReset);
    const CTestFrame frame(16, 16, 90);
    CSurface* const surface = render.CreateSurface(16, 16);
    m_Lines.clear();
    render.DisplayClient(&frame.m_Frame, surface, HWND{1});
    EXPECT_THAT(m_Lines, testing::Each(AllOf(HasSubstr("(CD3DSurfaceRender::DisplayClient, "),
                                             HasSubstr("Get Back Buffer failed!"))));
    EXPECT_EQ(m_Lines.size(), 2U) << "both surfaces were rebuilt";
}

TEST_F(RenderLogTest, DisplayThatDoesNotAnswer)
{
    ASSERT_NE(OpenEglSurfaceAdapter(), nullptr) << "these tests need a display: run them by ./test";
    const CTestVariable display("DISPLAY", ":98765");
    testing::internal::CaptureStderr();
    EXPECT_EQ(OpenEglSurfaceAdapter(), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "watchwall: the X display \":98765\" does not answer\n");
    EXPECT_THAT(m_Lines, ElementsAre(HasSubstr("the X display \":98765\" does not answer")));
}

// A wall whose adapter is gone tries again and again.
TEST_F(RenderLogTest, StepThatFailsIsReportedOnceUntilTheAdapterOpensAgain)
{
    for (int loss = 0; loss < 2; ++loss) {
        ASSERT_NE(OpenEglSurfaceAdapter(), nullptr) << "these tests need a display: run them by ./test";
        m_Lines.clear();
        const CTestVariable display("DISPLAY", ":98765");
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(OpenEglSurfaceAdapter(), nullptr);
        EXPECT_EQ(m_Lines.size(), 1U) << loss;
    }
}

TEST_F(RenderLogTest, MissingRendererIsReportedOnce)
{
    for (int i = 0; i < 2; ++i) {
        m_Home.Write("config/system.ini", "[System]\nRender=-7\n");
        EXPECT_EQ(CreateRender(), nullptr);
    }
    EXPECT_THAT(m_Lines,
                ElementsAre(AllOf(HasSubstr("(CreateRender, "), HasSubstr("there is no renderer -7"))));
}

}  // namespace
