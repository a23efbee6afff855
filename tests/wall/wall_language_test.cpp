#include <gtest/gtest.h>

#include "activex/UI common/TreeCtrlEx.h"
#include "common/RenderWnd.h"
#include "tests/wall/wall_support.h"

// The whole way in another language: what is read on buttons and in menus, and that all of it works.

namespace
{

struct LanguageRow {
    const char* name;
    const char* locale;
    const char* accept;
    const char* folder;
    const char* channel;
    std::vector<std::string> channelMenu;
    const char* nextPage;
    const char* fullScreen;
};

class WallLanguageTest : public testing::TestWithParam<LanguageRow>
{
};

TEST_P(WallLanguageTest, TextsFromTheLogonToTheMenusAreInIt)
{
    const LanguageRow& row = GetParam();
    WallSetup setup;
    setup.locale = row.locale;
    CWall wall(setup);
    EXPECT_EQ(wall.Panel().GetLogon().GetDlgItemText(IDOK), row.accept);
    ASSERT_TRUE(wall.LogOn());
    EXPECT_EQ(wall.Folder().data().toString().toStdString(), row.folder);
    EXPECT_EQ(wall.ChannelItem(1).data().toString().toStdString(), row.channel);

    std::vector<std::string> texts;
    wall.Screen().Click(wall.LabelOnScreen(wall.ChannelItem(1)), CScreen::EButton::Right);
    ASSERT_TRUE(wall.ChooseFromMenu([&](const QAction& action) {
        texts.push_back(action.text().toStdString());
        return texts.size() == row.channelMenu.size();  // the last: there is nothing to stop
    }));
    EXPECT_EQ(texts, row.channelMenu);
    ASSERT_TRUE(wall.Open(1));
    EXPECT_TRUE(wall.CellPlays(0, 1));
    ASSERT_TRUE(wall.ChooseLayout(QString::fromUtf8(row.nextPage)));
    EXPECT_TRUE(CWall::Until([&] { return wall.Grid().GetState().GetPage() == 1; }));
    wall.Screen().Click(wall.CellOnScreen(4).center(), CScreen::EButton::Right);
    ASSERT_TRUE(wall.ChooseFromMenu(
        [&row](const QAction& action) { return action.text().toStdString() == row.fullScreen; }));
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
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
