#include "render/Render.h"

#include <gtest/gtest.h>

namespace
{

class CCountingRender final : public CRender
{
  public:
    explicit CCountingRender(int& destroyed) : m_Destroyed(destroyed) {}
    ~CCountingRender() override { ++m_Destroyed; }
    std::int32_t DisplayClient(const CodecFrame*, CSurface*, HWND) override { return 0; }
    CSurface* CreateSurface(std::int32_t, std::int32_t) override { return nullptr; }
    void DestroySurface(CSurface*) override {}
    std::int32_t SaveSnapshot(std::string, CSurface*) override { return 0; }
    std::int32_t Init(HWND window) override
    {
        ++m_iInits;
        return CRender::Init(window);
    }
    int m_iInits = 0;
    HWND FocusWindow() const { return m_hWnd; }

  private:
    int& m_Destroyed;
};

class RenderTest : public testing::Test
{
  protected:
    void SetUp() override
    {
        SetRenderFactory([this]() -> std::unique_ptr<CRender> {
            ++m_iAsked;
            if (m_bNone) return nullptr;
            return std::make_unique<CCountingRender>(m_iDestroyed);
        });
    }
    void TearDown() override
    {
        ReleaseRender();
        SetRenderFactory({});
    }

    int m_iAsked = 0;
    int m_iDestroyed = 0;
    bool m_bNone = false;
};

TEST_F(RenderTest, SecondCallReturnsTheSameRendererAndAsksNobody)
{
    const auto first = CreateRender();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(CreateRender(), first);
    EXPECT_EQ(m_iAsked, 1);
}

TEST_F(RenderTest, NoRendererIsNullAndIsAskedForAgain)
{
    m_bNone = true;
    EXPECT_EQ(CreateRender(), nullptr);
    EXPECT_EQ(CreateRender(), nullptr);
    EXPECT_EQ(m_iAsked, 2);
}

TEST_F(RenderTest, RendererIsHandedOutWithoutInit)
{
    const auto render = CreateRender();
    CreateRender();
    EXPECT_EQ(static_cast<CCountingRender&>(*render).m_iInits, 0);
}

TEST_F(RenderTest, BaseInitKeepsTheWindowAndAnswersOne)
{
    const auto render = CreateRender();
    EXPECT_EQ(render->Init(HWND{7}), 1);
    EXPECT_EQ(static_cast<CCountingRender&>(*render).FocusWindow(), HWND{7});
    EXPECT_EQ(render->Uninit(), 1);
}

TEST_F(RenderTest, ReleasedRendererLivesAsLongAsALinkHoldsIt)
{
    auto held = CreateRender();
    ReleaseRender();
    EXPECT_EQ(m_iDestroyed, 0);
    EXPECT_NE(CreateRender(), held);
    held.reset();
    EXPECT_EQ(m_iDestroyed, 1);
}

TEST_F(RenderTest, AnotherFactoryLeavesTheRendererThatStands)
{
    const auto render = CreateRender();
    const CRenderFactory former = SetRenderFactory([] { return nullptr; });
    EXPECT_EQ(CreateRender(), render);
    SetRenderFactory(former);
    EXPECT_EQ(CreateRender(), render);
    EXPECT_EQ(m_iAsked, 1);
}

}  // namespace
