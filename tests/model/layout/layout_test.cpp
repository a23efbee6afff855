#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "model/archive/XMLInputArchive.h"
#include "model/archive/XMLOutputArchive.h"
#include "model/layout/LayoutRecords.h"

namespace
{

TEST(LayoutRecords, HaveTheirDefaults)
{
    const XWnd wnd;
    EXPECT_EQ(wnd.rect, (XRect{0, 0, 0, 0}));
    EXPECT_EQ(wnd.resource_id, 0);
    EXPECT_EQ(wnd.skin_id, "");
    EXPECT_EQ(wnd.tool_tip, "");
    const XRenderWnd render;
    EXPECT_EQ(render.default_layout, 0);
    EXPECT_EQ(render.xfactor, 0);
    EXPECT_TRUE(render.list_subrender.empty());
}

TEST(LayoutRecords, TheMainFileIsReadByItsShape)
{
    XMLInputArchive archive(R"(<any><m_XMainWnd><list_wnd>
        <item classname="XWnd"><rect><left>10</left><top>20</top><right>100</right><bottom>50</bottom></rect>
        <resource_id>18</resource_id><skin_id>ButtonConfig</skin_id><tool_tip>IDS_CONFIG_TEXT</tool_tip></item>
        <item classname="XWnd"><skin_id>_Logo</skin_id></item></list_wnd></m_XMainWnd></any>)",
                            "test");
    XMainWnd main;
    archive& Named("m_XMainWnd", main);
    ASSERT_EQ(main.list_wnd.size(), 2u);
    // x, y, width, height, whatever the names of the last two say
    EXPECT_EQ(main.list_wnd[0]->rect, (XRect{10, 20, 100, 50}));
    EXPECT_EQ(main.list_wnd[0]->resource_id, 18);
    EXPECT_EQ(main.list_wnd[0]->skin_id, "ButtonConfig");
    EXPECT_EQ(main.list_wnd[0]->tool_tip, "IDS_CONFIG_TEXT");
    EXPECT_EQ(main.list_wnd[1]->skin_id, "_Logo");
    EXPECT_EQ(main.list_wnd[1]->resource_id, 0);
}

TEST(LayoutRecords, TheRenderFileIsReadByItsShape)
{
    XMLInputArchive archive(R"(<any><m_XRenderWnd><rect><left>1</left></rect><xfactor>1000</xfactor>
        <yfactor>500</yfactor><list_subrender><item classname="XSubRender"><list_rect>
        <item classname="XRect"><left>1</left><top>2</top><right>3</right><bottom>4</bottom></item>
        <item classname="XRect"><left>5</left></item></list_rect></item>
        <item classname="XSubRender"><list_rect/></item></list_subrender><default_layout>1</default_layout>
        <list_wnd><item classname="XWnd"><resource_id>21</resource_id></item></list_wnd></m_XRenderWnd></any>)",
                            "test");
    XRenderWnd render;
    archive& Named("m_XRenderWnd", render);
    EXPECT_EQ(render.rect, (XRect{1, 0, 0, 0}));
    EXPECT_EQ(render.xfactor, 1000);
    EXPECT_EQ(render.yfactor, 500);
    EXPECT_EQ(render.default_layout, 1);
    ASSERT_EQ(render.list_subrender.size(), 2u);
    ASSERT_EQ(render.list_subrender[0]->list_rect.size(), 2u);
    EXPECT_EQ(*render.list_subrender[0]->list_rect[0], (XRect{1, 2, 3, 4}));
    EXPECT_TRUE(render.list_subrender[1]->list_rect.empty());
    ASSERT_EQ(render.list_wnd.size(), 1u);
    EXPECT_EQ(render.list_wnd[0]->resource_id, 21);
}

TEST(LayoutRecords, AnEmptyListOfArrangementsLeavesNone)
{
    XMLInputArchive archive("<r><m_XRenderWnd><list_subrender/></m_XRenderWnd></r>", "test");
    XRenderWnd render;
    archive& Named("m_XRenderWnd", render);
    EXPECT_TRUE(render.list_subrender.empty());
}

TEST(LayoutRecords, AreWrittenInTheFilesOrder)
{
    XRenderWnd render;
    render.list_wnd.Append(std::make_unique<XWnd>());
    XMLOutputArchive archive;
    archive& Named("m_XRenderWnd", render);
    const std::string text = archive.GetText();
    std::size_t at = 0;
    for (const char* element :
         {"<m_XRenderWnd>", "<rect>", "<left>", "<top>", "<right>", "<bottom>", "<xfactor>", "<yfactor>",
          "<list_subrender/>", "<default_layout>", "<list_wnd>", "<item classname=\"XWnd\">", "<rect>",
          "<resource_id>", "<skin_id>", "<tool_tip>"}) {
        at = text.find(element, at);
        ASSERT_NE(at, std::string::npos) << element << " in\n" << text;
    }
}

TEST(LayoutRecords, ACopyIsPrivate)
{
    XRenderWnd render;
    render.list_subrender.Append(std::make_unique<XSubRender>());
    render.list_subrender[0]->list_rect.Append(std::make_unique<XRect>(XRect{1, 2, 3, 4}));
    render.list_wnd.Append(nullptr);
    XRenderWnd copy = render;
    copy.list_subrender[0]->list_rect[0]->left = 9;
    EXPECT_EQ(render.list_subrender[0]->list_rect[0]->left, 1);
    EXPECT_EQ(copy.list_wnd[0], nullptr);
    copy = render;
    EXPECT_EQ(copy.list_subrender[0]->list_rect[0]->left, 1);
    const XRenderWnd& self = copy;
    copy = self;
    EXPECT_EQ(copy.list_subrender.size(), 1u);
}

}  // namespace
