#include <gmock/gmock.h>

#include <QApplication>
#include <QComboBox>

#include "activex/UI common/Outlook2Ctrl.h"
#include "common/RenderWnd.h"
#include "tests/wall/wall_support.h"

// The panels by real mouse and keyboard.

namespace
{

TEST(WallPanels, WhatIsTypedFirstGoesIntoTheNetId)
{
    CWall wall;
    wall.Screen().Type("1001");
    EXPECT_TRUE(CWall::Until(
        [&] { return wall.Control<QComboBox>(CLogonRemoteDlg::ADDRESS)->currentText() == "1001"; }));
}

// The wall is a window of its own: the mouse is over it when the edge is released.
TEST(WallPanels, EdgeThatIsDraggedOverTheWallStoresTheWidthThatIsShown)
{
    CWall wall;
    COutlook2Ctrl& bar = *wall.Panel().GetSideBar();
    const QRect place(bar.mapToGlobal(QPoint(0, 0)), bar.size());
    const int y = place.center().y();
    const auto widthsAre = [&bar](int width) {
        return CWall::Until([&] { return bar.width() == width && bar.GetLayoutSize().width() == width; });
    };
    wall.Screen().Press({place.left() + 198, y});
    wall.Screen().Release({place.left() + 148, y});
    EXPECT_TRUE(widthsAre(150)) << bar.width() << " " << bar.GetLayoutSize().width();
    wall.Screen().Press({place.left() + 148, y});
    wall.Screen().Release({place.left() + 460, y});
    EXPECT_TRUE(widthsAre(200)) << bar.width() << " " << bar.GetLayoutSize().width();
}

TEST(WallPanels, TrackerIsSeenOnTheScreenOverThePage)
{
    CWall wall;
    COutlook2Ctrl& bar = *wall.Panel().GetSideBar();
    const QRect place(bar.mapToGlobal(QPoint(0, 0)), bar.size());
    const QRect page(place.left() + 182, place.top() + 300, 10, 1);  // ground of the page beside the controls
    const auto shown = [&] { return wall.Screen().Grab(page).pixelColor(5, 0); };
    ASSERT_TRUE(CWall::Until([&] { return shown() == QColor(0xC5, 0xC5, 0xC5); }));
    wall.Screen().Press({place.left() + 198, place.top() + 100});
    wall.Screen().MoveTo({place.left() + 189, place.top() + 100});
    EXPECT_TRUE(CWall::Until([&] { return shown() == QColor(0x3A, 0x3A, 0x3A); }));
    wall.Screen().Release({place.left() + 198, place.top() + 100});
    EXPECT_TRUE(CWall::Until([&] { return shown() == QColor(0xC5, 0xC5, 0xC5); }));
}

}  // namespace
