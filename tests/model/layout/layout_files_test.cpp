#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "model/archive/XMLInputArchive.h"
#include "model/layout/LayoutRecords.h"
#include "platform/os/paths.h"
#include "tests/support/test_places.h"

namespace
{

using testing::ElementsAre;

const std::string MAIN_FILE = SourcePath("config/main_layout_800x600.xml");
const std::string RENDER_FILE = SourcePath("config/render_layout_800x600.xml");

constexpr std::int32_t PANEL_WIDTH = 800;
constexpr std::int32_t PANEL_HEIGHT = 600;

XMainWnd LoadMain()
{
    XMainWnd record;
    XMLInputArchive archive(SystemPath(MAIN_FILE));
    archive& Named("m_XMainWnd", record);
    return record;
}

XRenderWnd LoadRender()
{
    XRenderWnd record;
    XMLInputArchive archive(SystemPath(RENDER_FILE));
    archive& Named("m_XRenderWnd", record);
    return record;
}

const XWnd* FindSkin(const XMainWnd& record, const std::string& skin)
{
    for (std::size_t i = 0; i < record.list_wnd.size(); ++i) {
        if (record.list_wnd[i]->skin_id == skin) return record.list_wnd[i];
    }
    return nullptr;
}

// x, y, width, height within the panel.
bool FitsPanel(const XRect& rect)
{
    return rect.left >= 0 && rect.top >= 0 && rect.right > 0 && rect.bottom > 0 &&
           rect.left + rect.right <= PANEL_WIDTH && rect.top + rect.bottom <= PANEL_HEIGHT;
}

TEST(MainLayoutFile, HasBarLogoAndTheTwoButtons)
{
    const XMainWnd record = LoadMain();
    for (const char* skin : {"Main_Bar", "_Logo", "ButtonConfig", "ButtonLayout"}) {
        const XWnd* const wnd = FindSkin(record, skin);
        ASSERT_NE(wnd, nullptr) << skin;
        EXPECT_TRUE(FitsPanel(wnd->rect)) << skin;
        EXPECT_LT(wnd->resource_id, 72) << skin;  // the panel has so many slots
    }
    EXPECT_EQ(FindSkin(record, "ButtonConfig")->resource_id, 18);
    EXPECT_EQ(FindSkin(record, "ButtonLayout")->resource_id, 25);
    EXPECT_EQ(FindSkin(record, "Main_Bar")->rect.right, 200);
}

// The panel moves the layout button to 20 pixels left of the other and puts captions of 60 x 15 below both.
TEST(MainLayoutFile, LeavesRoomForTheCaptionsOfTheButtons)
{
    const XMainWnd record = LoadMain();
    const XRect config = FindSkin(record, "ButtonConfig")->rect;
    const XRect layout = FindSkin(record, "ButtonLayout")->rect;
    EXPECT_EQ(layout.left + layout.right, config.left - 20);
    EXPECT_EQ(layout.right, config.right);
    EXPECT_LE(config.left - 2 + 60, PANEL_WIDTH);
    EXPECT_LE(layout.left - 2 + 60, config.left - 2);
    EXPECT_LE(config.top + config.bottom + 15, LoadRender().rect.top);
}

TEST(RenderLayoutFile, PlacesTheGridBesideTheBar)
{
    const XRenderWnd render = LoadRender();
    const XMainWnd main = LoadMain();
    const XRect bar = FindSkin(main, "Main_Bar")->rect;
    EXPECT_EQ(render.rect, (XRect{bar.left + bar.right, bar.top, PANEL_WIDTH, PANEL_HEIGHT}));
    EXPECT_EQ(bar.top + bar.bottom, PANEL_HEIGHT);
    EXPECT_EQ(render.xfactor, 1000);
    EXPECT_EQ(render.yfactor, 1000);
}

TEST(RenderLayoutFile, HasTheYardstickThenOneArrangementForEachCount)
{
    const XRenderWnd render = LoadRender();
    std::vector<std::size_t> counts;
    for (std::size_t i = 0; i < render.list_subrender.size(); ++i) {
        counts.push_back(render.list_subrender[i]->list_rect.size());
    }
    EXPECT_THAT(counts, ElementsAre(1, 1, 4, 6, 8, 9, 10, 13, 16, 25, 36));
    const XRect area = *render.list_subrender[0]->list_rect[0];
    EXPECT_EQ(area, (XRect{0, 0, render.rect.right - render.rect.left, render.rect.bottom - render.rect.top}));
    EXPECT_EQ(render.list_subrender[static_cast<std::size_t>(render.default_layout)]->list_rect.size(), 8u);
}

// Every pixel of the video area belongs to exactly one cell of an arrangement.
TEST(RenderLayoutFile, EachArrangementTilesTheVideoArea)
{
    const XRenderWnd render = LoadRender();
    const XRect area = *render.list_subrender[0]->list_rect[0];
    for (std::size_t i = 0; i < render.list_subrender.size(); ++i) {
        std::vector<int> covered(static_cast<std::size_t>(area.right * area.bottom));
        const auto& cells = render.list_subrender[i]->list_rect;
        for (std::size_t j = 0; j < cells.size(); ++j) {
            const XRect& cell = *cells[j];
            ASSERT_TRUE(cell.left >= 0 && cell.top >= 0 && cell.right <= area.right &&
                        cell.bottom <= area.bottom);
            for (std::int32_t y = cell.top; y < cell.bottom; ++y) {
                for (std::int32_t x = cell.left; x < cell.right; ++x) {
                    ++covered[static_cast<std::size_t>(y * area.right + x)];
                }
            }
        }
        EXPECT_EQ(std::set<int>(covered.begin(), covered.end()), std::set<int>{1}) << "arrangement " << i;
    }
}

TEST(RenderLayoutFile, HasAMenuEntryForEachArrangementThenTheFiveActions)
{
    const XRenderWnd render = LoadRender();
    ASSERT_EQ(render.list_wnd.size(), render.list_subrender.size() + 5);
    std::vector<std::string> keys;
    std::vector<std::size_t> separators;
    for (std::size_t i = 0; i < render.list_wnd.size(); ++i) {
        keys.push_back(render.list_wnd[i]->tool_tip);
        if (render.list_wnd[i]->resource_id == 21) separators.push_back(i);
    }
    EXPECT_EQ(keys[0], "IDS_FullScreen");  // selecting arrangement 0 turns full screen on and off
    for (std::size_t i = 1; i < render.list_subrender.size(); ++i) {
        EXPECT_EQ(keys[i], "IDS_Layout_" + std::to_string(render.list_subrender[i]->list_rect.size()));
    }
    keys.erase(keys.begin(), keys.begin() + static_cast<std::ptrdiff_t>(render.list_subrender.size()));
    EXPECT_THAT(keys, ElementsAre("IDS_Layout_FirstPage", "IDS_Layout_PrevPage", "IDS_Layout_CyclePages",
                                  "IDS_Layout_NextPage", "IDS_Layout_LastPage"));
    EXPECT_THAT(separators, ElementsAre(render.list_subrender.size()));
}

std::string ReadFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// Reads both records out of a text, damaged or not; true when nothing was thrown.
bool ReadLayouts(const std::string& text)
{
    XMainWnd main;
    XRenderWnd render;
    try {
        XMLInputArchive archive(text, "damaged");
        archive& Named("m_XMainWnd", main) & Named("m_XRenderWnd", render);
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

class DamagedLayout : public testing::TestWithParam<std::string>
{
  protected:
    const std::string m_strText = ReadFile(GetParam());
};

TEST_P(DamagedLayout, CutAnywhereItThrowsUntilTheRootHasEnded)
{
    ASSERT_TRUE(ReadLayouts(m_strText));
    const std::size_t end = m_strText.find("</config>") + 9;
    for (std::size_t size = 0; size < m_strText.size(); size += 64) {
        EXPECT_EQ(ReadLayouts(m_strText.substr(0, size)), size >= end) << size;
    }
}

TEST_P(DamagedLayout, AZeroByteAnywhereEndsTheText)
{
    for (std::size_t at = m_strText.find("<config>") + 1; at < m_strText.find("</config>"); at += 64) {
        std::string text = m_strText;
        text[at] = '\0';
        EXPECT_FALSE(ReadLayouts(text)) << at;
    }
}

TEST_P(DamagedLayout, ABadByteAnywhereGivesAnExceptionOrARecord)
{
    for (std::size_t at = 0; at < m_strText.size(); at += 64) {
        for (const char byte : {'<', '>', '/', '"', '&', '\xFF', 'a'}) {
            std::string text = m_strText;
            text[at] = byte;
            ReadLayouts(text);
        }
    }
    SUCCEED();
}

INSTANTIATE_TEST_SUITE_P(Files, DamagedLayout, testing::Values(MAIN_FILE, RENDER_FILE),
                         [](const auto& test) { return test.index == 0 ? "Main" : "Render"; });

}  // namespace
