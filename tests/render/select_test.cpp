#include "render/RenderSelect.h"

#include <gtest/gtest.h>

#include "platform/os/paths.h"
#include "render/D3DSurfaceRender.h"
#include "tests/support/model_state.h"
#include "tests/support/render_state.h"
#include "tests/support/test_folder.h"

namespace
{

struct AdapterRow {
    const char* id;
    ERenderMode mode;
};

class AdapterTest : public testing::TestWithParam<AdapterRow>
{
};

TEST_P(AdapterTest, ChoosesTheMode)
{
    EXPECT_EQ(DetectRenderMode(GetParam().id), GetParam().mode) << GetParam().id;
}

INSTANTIATE_TEST_SUITE_P(
    Listed, AdapterTest,
    testing::Values(AdapterRow{"PCI\\VEN_1039&DEV_6300&SUBSYS_63001039&REV_00", ERenderMode::DDOffscreen},
                    AdapterRow{"PCI\\VEN_1039&DEV_6330", ERenderMode::DDOffscreen},
                    AdapterRow{"PCI\\VEN_1023&DEV_8500", ERenderMode::DDOffscreen},
                    AdapterRow{"PCI\\VEN_1002&DEV_4C57&SUBSYS_0", ERenderMode::DDOffscreen},
                    AdapterRow{"PCI\\VEN_10DE&DEV_002D", ERenderMode::DDOffscreen},
                    AdapterRow{"PCI\\VEN_10DE&DEV_0622", ERenderMode::DDOffscreen}));
INSTANTIATE_TEST_SUITE_P(DigitsOfEitherCase, AdapterTest,
                         testing::Values(AdapterRow{"PCI\\VEN_10de&DEV_002d", ERenderMode::DDOffscreen},
                                         AdapterRow{"PCI\\VEN_1002&DEV_4c57", ERenderMode::DDOffscreen}));
INSTANTIATE_TEST_SUITE_P(AnySuffix, AdapterTest,
                         testing::Values(AdapterRow{"PCI\\VEN_10DE&DEV_0622FFFF whatever",
                                                    ERenderMode::DDOffscreen}));
INSTANTIATE_TEST_SUITE_P(
    Others, AdapterTest,
    testing::Values(AdapterRow{"PCI\\VEN_1002&DEV_9616&SUBSYS_0&REV_00", ERenderMode::D3DSurface},
                    AdapterRow{"PCI\\VEN_1039&DEV_002D", ERenderMode::D3DSurface},
                    AdapterRow{"PCI\\VEN_0000&DEV_0000", ERenderMode::D3DSurface},
                    AdapterRow{"PCI", ERenderMode::D3DSurface}, AdapterRow{"x", ERenderMode::D3DSurface}));
INSTANTIATE_TEST_SUITE_P(NoAdapter, AdapterTest, testing::Values(AdapterRow{"", ERenderMode::Automatic}));

class SelectRenderTest : public testing::Test
{
  protected:
    void Configure(const std::string& render)
    {
        m_Home.Write("config/system.ini", "[System]\nRender=" + render + "\n");
    }

    CTestFolder m_Home;
    const CModelState m_Model{m_Home.System()};
    const CRenderState m_Render;
};

TEST_F(SelectRenderTest, KeyOfOneIsTheSurfaceRenderer)
{
    Configure("1");
    EXPECT_NE(dynamic_cast<CD3DSurfaceRender*>(CreateRender().get()), nullptr);
}

TEST_F(SelectRenderTest, MissingFileDetects)
{
    EXPECT_NE(dynamic_cast<CD3DSurfaceRender*>(CreateRender().get()), nullptr);
}

TEST_F(SelectRenderTest, KeyOfZeroDetects)
{
    Configure("0");
    EXPECT_NE(dynamic_cast<CD3DSurfaceRender*>(CreateRender().get()), nullptr);
}

TEST_F(SelectRenderTest, UnknownValuesYieldNoRenderer)
{
    for (const char* value : {"4", "-1", "1000"}) {
        Configure(value);
        EXPECT_EQ(CreateRender(), nullptr) << value;
    }
}

TEST_F(SelectRenderTest, SecondCallReturnsTheSameAndReadsNoConfiguration)
{
    Configure("1");
    const auto first = CreateRender();
    ASSERT_NE(first, nullptr);
    Configure("4");
    EXPECT_EQ(CreateRender(), first);
}

}  // namespace
