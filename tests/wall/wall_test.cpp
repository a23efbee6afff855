#include <gtest/gtest.h>

#include "activex/UI common/TreeCtrlEx.h"
#include "common/RenderWnd.h"
#include "remote/Remote.h"
#include "tests/wall/wall_support.h"

// From the logon to live pictures, as an operator does it.

namespace
{

TEST(Wall, LogonByKeyboardAndChannelsByMenuGiveMovingPicturesInTheirCells)
{
    CWall wall;
    ASSERT_TRUE(wall.TypeAddress());
    wall.Screen().Key(KEY_RETURN);
    ASSERT_TRUE(CWall::Until([&] { return wall.Folder() != nullptr; }));
    EXPECT_EQ(wall.Station()->text(0), "1001");
    EXPECT_EQ(wall.Folder()->childCount(), 4);
    EXPECT_EQ(wall.Grid().GetState().GetRects().size(), 4U);
    for (int channel = 0; channel < 4; ++channel) {
        EXPECT_EQ(wall.ChannelInCell(channel), -1) << "nothing plays yet in cell " << channel;
        ASSERT_TRUE(wall.Open(channel)) << channel;
    }
    for (int channel = 0; channel < 4; ++channel)
        EXPECT_TRUE(wall.CellPlays(channel, channel)) << channel;
}

}  // namespace
