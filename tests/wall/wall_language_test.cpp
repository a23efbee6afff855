#include <gtest/gtest.h>

#include "activex/UI common/TreeCtrlEx.h"
#include "common/RenderWnd.h"
#include "tests/wall/wall_support.h"

// The whole way in another language: what is read on buttons and in menus, and that all of it works.

namespace
{

struct LanguageRow {
    const char* m_szName;
    const char* m_szLocale;
    const char* m_szAccept;
    const char* m_szFolder;
    const char* m_szChannel;
    std::vector<std::string> m_ChannelMenu;
    const char* m_szNextPage;
    const char* m_szFullScreen;
};

class WallLanguageTest : public testing::TestWithParam<LanguageRow>
{
};

TEST_P(WallLanguageTest, TextsFromTheLogonToTheMenus)
{
    const LanguageRow& row = GetParam();
    XWallSetup setup;
    setup.m_szLocale = row.m_szLocale;
    CWall wall(setup);
    EXPECT_EQ(wall.Panel().GetLogon().GetDlgItemText(IDOK), row.m_szAccept);
    ASSERT_TRUE(wall.LogOn());
    EXPECT_EQ(wall.Folder().data().toString().toStdString(), row.m_szFolder);
    EXPECT_EQ(wall.ChannelItem(1).data().toString().toStdString(), row.m_szChannel);

    std::vector<std::string> texts;
    wall.Screen().Click(wall.LabelOnScreen(wall.ChannelItem(1)), CScreen::BUTTON::Right);
    ASSERT_TRUE(wall.ChooseFromMenu([&](const QAction& action) {
        texts.push_back(action.text().toStdString());
        return texts.size() == row.m_ChannelMenu.size();  // the last: there is nothing to stop
    }));
    EXPECT_EQ(texts, row.m_ChannelMenu);
    ASSERT_TRUE(wall.Open(1));
    EXPECT_TRUE(wall.CellPlays(0, 1));
    ASSERT_TRUE(wall.ChooseLayout(QString::fromUtf8(row.m_szNextPage)));
    EXPECT_TRUE(CWall::Until([&] { return wall.Grid().GetState().GetPage() == 1; }));
    wall.Screen().Click(wall.CellOnScreen(4).center(), CScreen::BUTTON::Right);
    ASSERT_TRUE(wall.ChooseFromMenu(
        [&row](const QAction& action) { return action.text().toStdString() == row.m_szFullScreen; }));
    EXPECT_TRUE(CWall::Until([&] { return wall.Grid().isWindow(); }));
}

INSTANTIATE_TEST_SUITE_P(Languages, WallLanguageTest,
                         testing::Values(LanguageRow{"chs",
                                                     "zh_CN.UTF-8",
                                                     "登录",
                                                     "通道",
                                                     "通道2",
                                                     {"打开", "关闭", "开始录像", "停止录像"},
                                                     "下一页",
                                                     "全屏显示"},
                                         LanguageRow{"cht",
                                                     "zh_TW.UTF-8",
                                                     "登入",
                                                     "頻道",
                                                     "頻道2",
                                                     {"開啟", "關閉", "開始錄影", "停止錄影"},
                                                     "下一頁",
                                                     "全螢幕"}),
                         [](const auto& row) { return std::string(row.param.m_szName); });

}  // namespace
