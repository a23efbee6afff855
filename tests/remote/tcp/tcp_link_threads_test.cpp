#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <thread>

#include "platform/os/paths.h"
#include "remote/ptz/RemotePtz.h"
#include "render/CellPool.h"
#include "tests/remote/tcp/tcp_support.h"
#include "tests/support/file_limit.h"
#include "tests/support/interruption.h"

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

class TcpLink : public CTcpTest
{
};

struct RequestRow {
    std::int32_t mode;
    std::int32_t record;
    std::vector<std::int32_t> words;
};

class TcpRequest : public CTcpTest, public testing::WithParamInterface<RequestRow>
{
};

TEST_P(TcpRequest, SaysModeRecordAndChannel)
{
    const auto device = MakeDevice(GetParam().mode, GetParam().record);
    device->Open();
    EXPECT_EQ(m_Peer.Accept(), GetParam().words);
    m_Peer.HangUp();
    device->Close();
}

INSTANTIATE_TEST_SUITE_P(Modes, TcpRequest,
                         testing::Values(RequestRow{MODE_LIVE_MPEG4, 9, {16, 0, -1, 3}},
                                         RequestRow{MODE_QUERY, 9, {16, 1, -1, 3}},
                                         RequestRow{MODE_PLAYBACK, 9, {16, 2, 9, 0}},
                                         RequestRow{MODE_LIVE_H264, 9, {16, 3, -1, 3}}));

TEST_F(TcpLink, FactoryDeviceIsLiveH264AndPlaybackStaysOutOfTheTree)
{
    const CTcpRemote live;
    EXPECT_EQ(live.GetMode(), MODE_LIVE_H264);
    EXPECT_EQ(live.GetRecordID(), -1);
    EXPECT_TRUE(live.m_bVisible);
    const CTcpRemote playback(MODE_PLAYBACK, 5);
    EXPECT_EQ(playback.GetRecordID(), 5);
    EXPECT_FALSE(playback.m_bVisible);
}

TEST_F(TcpLink, FurtherOpensStartNoThread)
{
    const auto device = MakeDevice();
    OpenAndReply(*device);
    device->Open();
    EXPECT_FALSE(m_Peer.HasCaller());
    EXPECT_EQ(m_Events.CountOf("tell "), 1U);
    device->StartRecord(0);
    SendAndWait(0, 1);
    ASSERT_EQ(device->GetStatus(), STATUS_RECORDING);
    device->Open();
    EXPECT_FALSE(m_Peer.HasCaller());
    EXPECT_EQ(device->GetStatus(), STATUS_RECORDING);
    EXPECT_EQ(m_Events.CountOf("tell "), 1U);
    device->Close();
}

TEST_F(TcpLink, CloseMayBeFollowedByAnotherOpen)
{
    const auto device = MakeDevice();
    for (std::size_t round = 1; round <= 3; ++round) {
        device->Open();
        ASSERT_TRUE(m_Peer.AcceptAndReply());
        ASSERT_TRUE(m_Events.WaitFor("create 176x144", round));
        SendAndWait(0, 5);
        device->Close();
        EXPECT_TRUE(m_Peer.ClientIsGone());
    }
    EXPECT_EQ(m_Events.CountOf("destroy"), 3U);
}

std::size_t OpenSockets()
{
    std::size_t count = 0;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
        if (std::filesystem::read_symlink(entry.path(), error).string().starts_with("socket:")) ++count;
    return count;
}

TEST_F(TcpLink, ClosedDeviceKeepsNoSocket)
{
    const auto device = MakeDevice();
    const std::size_t before = OpenSockets();
    OpenAndReply(*device);
    EXPECT_EQ(OpenSockets(), before + 2) << "the device's and the peer's";
    device->Close();
    m_Peer.HangUp();
    EXPECT_EQ(OpenSockets(), before);
}

TEST_F(TcpLink, LinkThatHasEndedKeepsNoSocketThoughTheDeviceIsOpen)
{
    const auto device = MakeDevice();
    const std::size_t before = OpenSockets();
    OpenAndReply(*device);
    m_Peer.SendFrame(2, "");
    EXPECT_TRUE(m_Peer.ClientIsGone());
    ASSERT_TRUE(m_Events.WaitFor("destroy"));
    EXPECT_EQ(OpenSockets(), before + 1) << "the peer's";
    EXPECT_EQ(device->GetStatus(), STATUS_OPEN);
    device->LetGo();
    device->Close();
}

TEST_F(TcpLink, FailedConnectLeavesTheStatusOpenAndGivesTheCellBack)
{
    RemoveAllCells();
    AddCell(static_cast<HWND>(71));
    const auto device = MakeDevice();
    device->m_strNetAddress = "127.63.255.253";
    device->SetRenderWnd(TakeFreeCell());
    const std::size_t sockets = OpenSockets();
    device->Open();
    EXPECT_EQ(OpenSockets(), sockets);
    EXPECT_EQ(device->GetStatus(), STATUS_OPEN);
    EXPECT_EQ(device->GetRenderWnd(), HWND::Null);
    EXPECT_FALSE(IsCellUsed(static_cast<HWND>(71)));
    device->Close();
    EXPECT_EQ(device->GetStatus(), STATUS_CLOSED);
    RemoveAllCells();
}

TEST_F(TcpLink, WithoutASocketTheStatusIsOpenAndTheCellIsGivenBack)
{
    RemoveAllCells();
    AddCell(static_cast<HWND>(71));
    const auto device = MakeDevice();
    // Once before: a sanitizer needs a descriptor when it meets the observers' type for the first time.
    device->m_strNetAddress = "localhost";
    device->Open();
    device->Close();
    device->m_strNetAddress = m_Peer.Address();
    device->SetRenderWnd(TakeFreeCell());
    {
        const CResourceLimit noFile(RLIMIT_NOFILE, 0);
        device->Open();
    }
    EXPECT_EQ(device->GetStatus(), STATUS_OPEN);
    EXPECT_EQ(device->GetRenderWnd(), HWND::Null);
    EXPECT_FALSE(IsCellUsed(static_cast<HWND>(71)));
    EXPECT_FALSE(m_Peer.HasCaller());
    RemoveAllCells();
}

TEST_F(TcpLink, OnlyDottedAddressesAreReached)
{
    const auto device = MakeDevice();
    device->m_strNetAddress = "localhost";
    device->Open();
    EXPECT_EQ(device->GetStatus(), STATUS_OPEN);
    EXPECT_FALSE(m_Peer.HasCaller());
    device->Close();
}

TEST_F(TcpLink, BrokenLinkKeepsTheStatusGivesTheCellBackAndTellsNobody)
{
    RemoveAllCells();
    AddCell(static_cast<HWND>(71));
    const auto device = MakeDevice();
    device->SetRenderWnd(TakeFreeCell());
    OpenAndReply(*device);
    SendAndWait(0, 2);
    m_Peer.HangUp();
    ASSERT_TRUE(m_Events.WaitFor("destroy"));
    device->Close();
    EXPECT_FALSE(IsCellUsed(static_cast<HWND>(71)));
    EXPECT_EQ(m_Events.CountOf("tell "), 2U) << "the opening and the closing";
    RemoveAllCells();
}

struct ReplyRow {
    const char* name;
    std::string bytes;
};

class TcpReply : public CTcpTest, public testing::WithParamInterface<ReplyRow>
{
};

TEST_P(TcpReply, EndsTheLink)
{
    const auto device = MakeDevice();
    device->Open();
    ASSERT_FALSE(m_Peer.Accept().empty());
    m_Peer.SendBytes(GetParam().bytes);
    EXPECT_TRUE(m_Peer.ClientIsGone());
    device->Close();
    EXPECT_EQ(m_Events.CountOf("create 176x144"), 0U);
}

INSTANTIATE_TEST_SUITE_P(Replies, TcpReply,
                         testing::Values(ReplyRow{"other_type", Words({24, 2, 176, 144, 0, 0})},
                                         ReplyRow{"no_type", Words({4})}, ReplyRow{"length_0", Words({0})},
                                         ReplyRow{"negative", Words({-1})},
                                         ReplyRow{"above_the_bound", Words({262145})},
                                         ReplyRow{"two_gigabytes", Words({0x7FFFFFFF})}),
                         [](const auto& row) { return row.param.name; });

TEST_F(TcpLink, ReplyOfAnotherLengthIsReportedAndAccepted)
{
    CDebugCapture told;
    const auto device = MakeDevice();
    device->Open();
    ASSERT_FALSE(m_Peer.Accept().empty());
    m_Peer.SendBytes(Words({16, 1, 176, 144}));
    ASSERT_TRUE(m_Events.WaitFor("create 176x144"));
    SendAndWait(0, 2);
    device->Close();
    EXPECT_NE(told.Text().find("reply of 16 bytes"), std::string::npos) << told.Text();
}

TEST_F(TcpLink, WordsThatAShortReplyLacksAreZero)
{
    const auto device = MakeDevice();
    device->Open();
    ASSERT_FALSE(m_Peer.Accept().empty());
    m_Peer.SendBytes(Words({8, 1}));
    ASSERT_TRUE(m_Events.WaitFor("create 0x0"));
    device->Close();
}

TEST_F(TcpLink, QueryEndsAfterAGoodReplyWithoutDecoderAndRenderer)
{
    const auto device = MakeDevice(MODE_QUERY);
    device->Open();
    ASSERT_TRUE(m_Peer.AcceptAndReply());
    EXPECT_TRUE(m_Peer.ClientIsGone());
    device->Close();
    EXPECT_EQ(m_Events.CountOf("create 176x144"), 0U);
}

TEST_F(TcpLink, UnknownModeEndsAfterTheReply)
{
    const auto device = MakeDevice(4);
    device->Open();
    ASSERT_TRUE(m_Peer.AcceptAndReply());
    EXPECT_TRUE(m_Peer.ClientIsGone());
    device->Close();
}

/// A device that has no recording.
class CUnrecordable final : public CTcpRemote
{
  public:
    CUnrecordable() : CTcpRemote(MODE_LIVE_MPEG4, -1) {}
    bool CanRecord() override { return false; }
};

TEST_F(TcpLink, RequestsToRecordAreClearedWhereADeviceCannot)
{
    CUnrecordable device;
    device.m_strNetAddress = m_Peer.Address();
    device.GetSetup().clock = &m_Clock;
    device.Open();
    ASSERT_TRUE(m_Peer.AcceptAndReply());
    ASSERT_TRUE(m_Events.WaitFor("create 176x144"));
    device.GetState()->m_nFlags.SetBits(FLAG_START_RECORD | FLAG_STOP_RECORD);
    SendAndWait(0, 2);
    EXPECT_EQ(device.GetState()->m_nFlags, 0U);
    EXPECT_EQ(device.GetStatus(), STATUS_OPEN);
    // A recording that stands already goes on.
    device.SetStatus(STATUS_RECORDING);
    device.StopRecord(0);
    SendAndWait(2, 3);
    EXPECT_EQ(device.GetState()->m_nFlags, 0U);
    EXPECT_EQ(device.GetStatus(), STATUS_RECORDING);
    device.Close();
    EXPECT_THAT(Recordings(), IsEmpty());
}

TEST_F(TcpLink, FrameOfTypeOneServesFlagsAndIsNotDecoded)
{
    const auto device = MakeDevice();
    OpenAndReply(*device);
    device->SnapShot();
    m_Peer.SendFrame(1, "anything");
    ASSERT_TRUE(m_Events.WaitFor("snapshot"));
    SendAndWait(0, 1);
    device->Close();
    EXPECT_EQ(device->GetCounters().messages, 1U);
}

TEST_F(TcpLink, FrameOfAnotherTypeServesFlagsAndEndsTheLink)
{
    std::size_t served = 0;
    for (const std::int32_t type : {2, -1, 0x7FFFFFFF}) {
        const auto device = MakeDevice();
        device->Open();
        ASSERT_TRUE(m_Peer.AcceptAndReply());
        device->SnapShot();
        m_Peer.SendFrame(type, type < 0 ? "" : "x");  // one that has a type and no more, too
        EXPECT_TRUE(m_Peer.ClientIsGone()) << type;
        device->Close();
        EXPECT_EQ(m_Events.CountOf("snapshot"), ++served);
    }
}

class TcpLength : public CTcpTest, public testing::WithParamInterface<std::int32_t>
{
};

TEST_P(TcpLength, WithoutATypeServesFlagsAndIsNotDecoded)
{
    const auto device = MakeDevice();
    OpenAndReply(*device);
    device->SnapShot();
    std::string frame = Words({GetParam()});
    if (GetParam() > 4) frame.append(static_cast<std::size_t>(GetParam() - 4), '\0');
    m_Peer.SendBytes(frame);
    ASSERT_TRUE(m_Events.WaitFor("snapshot"));
    SendAndWait(0, 2);
    device->Close();
    EXPECT_EQ(device->GetCounters().messages, 2U);
}

INSTANTIATE_TEST_SUITE_P(Lengths, TcpLength, testing::Values(1, 2, 3, 4, 5, 7, -1, -262144));

TEST_F(TcpLink, LengthsOutOfBoundsEndTheLink)
{
    for (const std::int32_t length : {0, 262145, 0x7FFFFFFF}) {
        const auto device = MakeDevice();
        device->Open();
        ASSERT_TRUE(m_Peer.AcceptAndReply());
        m_Peer.SendBytes(Words({length}));
        EXPECT_TRUE(m_Peer.ClientIsGone()) << length;
        device->Close();
    }
}

TEST_F(TcpLink, LongestFrameIsTaken)
{
    const auto device = MakeDevice();
    OpenAndReply(*device);
    SendAndWait(0, 1);
    Mpeg4Packet longest = m_Stream[0];
    longest.resize(262144 - 8);
    m_Peer.SendVideo(longest);
    EXPECT_TRUE(m_Events.WaitFor("show", 2));
    device->Close();
}

TEST_F(TcpLink, FrameThatTricklesInIsShownWhole)
{
    const auto device = MakeDevice();
    OpenAndReply(*device);
    const std::string frame = Words({static_cast<std::int32_t>(m_Stream[0].size()) + 8, 0}) +
                              std::string(m_Stream[0].begin(), m_Stream[0].end());
    for (const char c : frame)
        m_Peer.SendBytes({&c, 1});
    EXPECT_TRUE(m_Events.WaitFor("show"));
    device->Close();
}

TEST_F(TcpLink, SignalEndsNoLinkThatWaits)
{
    const CInterruption interruption;
    const auto device = MakeDevice();
    OpenAndReply(*device);
    for (int i = 0; i < 10; ++i) {
        SendAndWait(0, 1);
        CInterruption::OfAnother();
    }
    SendAndWait(0, 1);
    device->Close();
}

TEST_F(TcpLink, RequestsAreTakenOnlyInTheirStatus)
{
    const auto device = MakeDevice();
    device->SnapShot();
    device->StartRecord(0);
    device->StopRecord(0);
    EXPECT_EQ(device->GetState()->m_nFlags, 0U);
    OpenAndReply(*device);
    device->StopRecord(0);
    EXPECT_EQ(device->GetState()->m_nFlags, 0U);
    device->StartRecord(0);
    SendAndWait(0, 1);
    EXPECT_EQ(device->GetStatus(), STATUS_RECORDING);
    device->StartRecord(0);
    EXPECT_EQ(device->GetState()->m_nFlags, 0U);
    device->Close();
}

TEST_F(TcpLink, RequestsSurviveCloseAndOpen)
{
    const auto device = MakeDevice();
    OpenAndReply(*device);
    device->SnapShot();
    device->Close();
    EXPECT_EQ(m_Events.CountOf("snapshot"), 0U);
    device->Open();
    ASSERT_TRUE(m_Peer.AcceptAndReply());
    m_Peer.SendFrame(1, "");
    EXPECT_TRUE(m_Events.WaitFor("snapshot"));
    device->Close();
}

TEST_F(TcpLink, PtzIsMadeOnceForTheSavedAddress)
{
    const auto device = MakeDevice();
    CControlPeer control(10060);
    IPtz* const ptz = device->GetPtz();
    ASSERT_NE(ptz, nullptr);
    device->m_strNetAddress = "127.63.255.250";
    EXPECT_EQ(device->GetPtz(), ptz);
    ptz->LeftStart();
    EXPECT_EQ(control.NextCommand(), Words({15}) + "LeftStart:3");
}

TEST_F(TcpLink, SnapshotIsServedBeforeThatFrameIsDecoded)
{
    const auto device = MakeDevice();
    OpenAndReply(*device);
    SendAndWait(0, 1);
    device->SnapShot();
    device->SnapShot();
    SendAndWait(1, 3);
    device->Close();
    EXPECT_EQ(m_Events.CountOf("snapshot"), 1U) << "two requests before a frame give one file";
    const auto events = m_Events.All();
    const auto first = std::ranges::find(events, "snapshot");
    EXPECT_EQ(std::ranges::count(events.begin(), first, "show"), 1);
}

// snapshot-path-joined
TEST_F(TcpLink, SnapshotPathIsTheSettingFollowedByTheName)
{
    m_Folder.Write("config/system.ini",
                   "[System]\r\nDirectoryPort=9\r\nPicturePath=" + m_Folder.System("pics") + "\r\n");
    const auto device = MakeDevice();
    OpenAndReply(*device);
    device->SnapShot();
    m_Peer.SendFrame(1, "");
    ASSERT_TRUE(m_Events.WaitFor("snapshot"));
    device->Close();
    const std::string path = device->GetState()->m_strPictureFile;
    EXPECT_TRUE(path.starts_with(m_Folder.System("pics") + m_Folder.System("snapshot") + "\\cam1-")) << path;
    EXPECT_TRUE(path.ends_with(".jpg"));
    EXPECT_TRUE(PathIsDirectoryA(path.substr(0, path.rfind('\\'))));
    EXPECT_EQ(m_Events.CountOf("snapshot " + path), 1U);
    EXPECT_TRUE(std::filesystem::is_directory(m_Folder.Path("snapshot"))) << "made although nothing goes there";
}

TEST_F(TcpLink, DeviceThatSendsNothingServesNoFlag)
{
    const auto device = MakeDevice();
    OpenAndReply(*device);
    device->SnapShot();
    device->Close();
    EXPECT_EQ(device->GetState()->m_nFlags, FLAG_SNAPSHOT);
    EXPECT_EQ(m_Events.CountOf("snapshot"), 0U);
}

}  // namespace
