#include <gmock/gmock.h>

#include <QComboBox>
#include <QFile>
#include <QLineEdit>
#include <QSignalSpy>

#include "activex/UI common/Outlook2Ctrl.h"
#include "activex/UI common/TreeCtrlEx.h"
#include "common/RenderCell.h"
#include "common/RenderWnd.h"
#include "host/Report.h"
#include "remote/UdpRemote.h"
#include "render/CellPool.h"
#include "tests/wall/wall_support.h"

// What goes wrong around the wall, and that the operator can go on.

namespace
{

constexpr int CHANNELS = 4;

void OpenAndSee(CWall& wall, int channels)
{
    ASSERT_TRUE(wall.LogOn());
    for (int channel = 0; channel < channels; ++channel)
        ASSERT_TRUE(wall.Open(channel)) << channel;
    for (int channel = 0; channel < channels; ++channel)
        ASSERT_TRUE(wall.CellPlays(channel, channel)) << channel;
}

// There is no reconnect: the last pictures stand until their cells are uncovered or placed anew, and the
// channels until the operator closes them.
TEST(WallFault, RecorderThatDiesLeavesTheLastPicturesAndAPanelThatWorks)
{
    CWall wall;
    OpenAndSee(wall, CHANNELS);
    wall.Recorder().Kill();
    const auto shown = [&wall](int channel) {
        return dynamic_cast<CUdpRemote&>(*wall.Channel(channel)).GetCounters().shown.load();
    };
    for (int channel = 0; channel < CHANNELS; ++channel) {
        EXPECT_EQ(wall.ChannelInCell(channel), channel) << "the last picture";
        EXPECT_EQ(wall.Channel(channel)->GetStatus(), STATUS_OPEN);
        EXPECT_GT(shown(channel), 0U);
    }
    ASSERT_TRUE(wall.ChooseLayout("6 pictures"));
    ASSERT_TRUE(CWall::Until([&] { return wall.Grid().GetState().GetRects().size() == 6; }));
    ASSERT_TRUE(wall.Choose(wall.Folder(), TREE_COMMAND_CLOSE_ALL));
    for (int channel = 0; channel < CHANNELS; ++channel) {
        EXPECT_TRUE(CWall::Until([&] { return wall.Channel(channel)->GetStatus() == STATUS_CLOSED; }));
        EXPECT_TRUE(CWall::Until([&] { return wall.ChannelInCell(channel) == -1; })) << "an empty cell";
    }

    // Nobody answers a new logon either.
    wall.Panel().GetSideBar()->SelectFolder(0, COutlook2Ctrl::EAnimation::Off);
    wall.Click(*wall.Control(IDOK));
    ASSERT_TRUE(CWall::Until([&] { return !wall.m_Boxes.empty(); }));
    EXPECT_EQ(wall.m_Boxes.front(), "The station cannot be reached.");
    ASSERT_TRUE(CWall::Until([&] { return wall.Control(IDOK)->isEnabled(); }));

    // A new recorder takes its place once the station was deleted.
    wall.StartRecorder(ColorRecorder());
    wall.Panel().GetSideBar()->SelectFolder(1, COutlook2Ctrl::EAnimation::Off);
    ASSERT_TRUE(wall.Choose(wall.Station(), TREE_COMMAND_DELETE));
    ASSERT_TRUE(CWall::Until([&] { return !wall.Station().isValid(); }));
    wall.Panel().GetSideBar()->SelectFolder(0, COutlook2Ctrl::EAnimation::Off);
    wall.Click(*wall.Control(IDOK));
    ASSERT_TRUE(CWall::Until([&] { return wall.Folder().isValid(); }));
    ASSERT_TRUE(wall.Open(1));
    EXPECT_TRUE(wall.CellPlays(0, 1));
}

// oddity: any-net-id. Nothing refuses a text, and a station that the directory doesn't know comes without
// channels.
TEST(WallFault, AnyTextIsLoggedOnWithAndGivesAStationWithoutChannels)
{
    CWall wall;
    int stations = 0;
    for (const QString& address : {QString(), QStringLiteral("gate %s%n"), QString(10000, 'x')}) {
        ASSERT_TRUE(stations == 0 || wall.ShowFolder(0));
        wall.Control<QComboBox>(CLogonRemoteDlg::ADDRESS)->setEditText(address);
        wall.Click(*wall.Control(IDOK));
        ++stations;
        ASSERT_TRUE(CWall::Until([&] { return wall.Tree().model()->rowCount() == stations; }));
        const QAbstractItemModel& nodes = *wall.Tree().model();
        const QModelIndex station = nodes.index(stations - 1, 0);
        EXPECT_EQ(station.data().toString(), address);
        ASSERT_EQ(nodes.rowCount(station), 1);
        EXPECT_EQ(nodes.rowCount(nodes.index(0, 0, station)), 0);
        EXPECT_FALSE(wall.Tree().grab().isNull());
    }
    EXPECT_THAT(wall.m_Boxes, testing::IsEmpty());

    // An account of that length does no harm either.
    ASSERT_TRUE(wall.ShowFolder(0));
    for (const int field : {CLogonRemoteDlg::USER, CLogonRemoteDlg::PASSWORD})
        wall.Control<QLineEdit>(field)->setText(QString(10000, 'y'));
    auto* const address = wall.Control<QComboBox>(CLogonRemoteDlg::ADDRESS);
    address->setEditText("1001");
    wall.Click(*wall.Control(IDOK));
    ASSERT_TRUE(CWall::Until([&] { return wall.Tree().model()->rowCount() == stations + 1; }));
    const QAbstractItemModel& nodes = *wall.Tree().model();
    wall.Tree().setCurrentIndex(nodes.index(0, 0, nodes.index(0, 0, nodes.index(stations, 0))));
    SendMessageA(wall.Panel().GetTree().Handle(), WM_COMMAND, TREE_COMMAND_OPEN, 0);
    EXPECT_TRUE(wall.CellPlays(0, 0));
}

TEST(WallFault, RecorderThatDiesDoesNotHoldUpTheEnd)
{
    CWall wall;
    OpenAndSee(wall, 2);
    wall.Recorder().Kill();
    wall.Close();
    EXPECT_TRUE(GetCells().empty());
}

TEST(WallFault, HundredsOfResizesWhileAllChannelsPlay)
{
    CWall wall;
    OpenAndSee(wall, CHANNELS);
    constexpr int RESIZES = 300;
    for (int i = 0; i < RESIZES; ++i) {
        wall.Window().resize(800 + i * 37 % 400, 600 + i * 53 % 300);
        if (i % 10 == 0) wall.Grid().SetLayout(1 + i / 10 % (wall.Grid().GetLayoutCount() - 1));
        if (i % 3 == 0) QCoreApplication::processEvents();
    }
    wall.Window().resize(800, 600);
    ASSERT_TRUE(wall.ChooseLayout("4 pictures"));
    ASSERT_TRUE(CWall::Until([&] { return wall.Grid().GetState().GetRects().size() == 4; }));
    for (int channel = 0; channel < CHANNELS; ++channel)
        EXPECT_TRUE(wall.CellPlays(channel, channel)) << channel;
}

TEST(WallFault, ChannelBeyondTheLastCellRunsWithoutAWindowAndTakesTheNextFreeOne)
{
    WallSetup setup;
    // Only the arrangements of one and of four, so that there are four cells.
    setup.prepare = [](const CTestHome& home) {
        QFile file(home.File("config/render_layout_800x600.xml"));
        ASSERT_TRUE(file.open(QIODevice::ReadWrite));
        QByteArray text = file.readAll();
        const auto begin = text.indexOf("<!-- 6:");
        const auto end = text.indexOf("</list_subrender>");
        ASSERT_TRUE(begin > 0 && end > begin);
        text.remove(begin, end - begin);
        file.resize(0);
        file.seek(0);
        file.write(text);
    };
    setup.recorder = ColorRecorder(6);
    CWall wall(setup);
    ASSERT_EQ(wall.Grid().GetState().GetCellCount(), 4);
    OpenAndSee(wall, 4);
    for (const int channel : {4, 5}) {
        ASSERT_TRUE(wall.Open(channel));
        const auto& link = dynamic_cast<CUdpRemote&>(*wall.Channel(channel)).GetCounters();
        EXPECT_TRUE(CWall::Until([&link] { return link.decoded > 2; })) << channel;
        EXPECT_EQ(wall.Channel(channel)->GetRenderWnd(), HWND::Null);
    }
    for (int channel = 0; channel < 4; ++channel)
        EXPECT_TRUE(wall.CellPlays(channel, channel)) << channel;
    for (const int channel : {2, 5}) {
        ASSERT_TRUE(wall.Choose(wall.ChannelItem(channel), TREE_COMMAND_CLOSE));
        ASSERT_TRUE(CWall::Until([&] { return wall.Channel(channel)->GetStatus() == STATUS_CLOSED; }));
    }
    ASSERT_TRUE(wall.Open(5));
    EXPECT_TRUE(wall.CellPlays(2, 5 % static_cast<int>(CHANNEL_COLORS.size())));
}

// The report tells apart what was shown, and what was decoded for nobody.
TEST(WallFault, OfFortyChannelsThoseBeyondTheLastCellShowNothing)
{
    constexpr int CELLS = 36;
    constexpr int ALL = 40;
    WallSetup setup;
    setup.recorder = {"--channels", std::to_string(ALL), "--size", "128x96", "--fps", "4", "--loop", "1"};
    CWall wall(setup);
    ASSERT_EQ(wall.Grid().GetState().GetCellCount(), CELLS);
    ASSERT_TRUE(wall.LogOn());
    // One after the other: a folder's own command opens without cells.
    for (int channel = 0; channel < ALL; ++channel)
        ASSERT_TRUE(wall.Open(channel)) << channel;
    const auto report = [&wall](int channel) {
        return wall.Window().GetChannels().at(static_cast<std::size_t>(channel));
    };
    for (int channel = 0; channel < ALL; ++channel)
        ASSERT_TRUE(CWall::Until([&] {
            return (channel < CELLS ? report(channel).shown : report(channel).withoutCell) > 2;
        })) << channel;
    QList<int> all;
    QList<int> beyond;
    for (int channel = 0; channel < ALL; ++channel) {
        all << channel + 1;
        const bool cell = channel < CELLS;
        if (!cell) beyond << channel + 1;
        const ChannelReport told = report(channel);
        EXPECT_EQ(told.shown > 0, cell) << channel;
        EXPECT_EQ(told.withoutCell > 0, !cell) << channel;
        EXPECT_EQ(told.firstPictureMs >= 0, cell) << channel;
    }
    EXPECT_EQ(FindUnshown(wall.Window().GetChannels(), all), beyond);
}

// Messages of a length that no buffer holds, among others.
TEST(WallFault, WhatAStationHadNoRoomForIsReported)
{
    WallSetup setup;
    for (const char* word : {"--wrong-length", "30", "--seed", "7"})
        setup.recorder.emplace_back(word);
    CWall wall(setup);
    EXPECT_TRUE(wall.Window().GetStations().empty());
    OpenAndSee(wall, 1);
    const auto report = [&wall] { return wall.Window().GetStations().at(0); };
    EXPECT_TRUE(CWall::Until([&] { return report().dropped > 0; }));
    EXPECT_EQ(report().name, "1001");
}

TEST(WallFault, LossyGarbledAndReorderedTransportKeepsPlaying)
{
    WallSetup setup;
    for (const char* word : {"--loss", "2", "--garbage", "1", "--reorder", "2", "--seed", "7"})
        setup.recorder.emplace_back(word);
    CWall wall(setup);
    OpenAndSee(wall, CHANNELS);
    for (int channel = 0; channel < CHANNELS; ++channel)
        EXPECT_TRUE(wall.CellPlays(channel, channel)) << "and later again: " << channel;
}

}  // namespace
