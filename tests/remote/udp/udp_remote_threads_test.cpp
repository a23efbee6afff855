// A channel that opens, asks and tells what became of it.

#include <gtest/gtest.h>

#include "tests/remote/udp/udp_remote_support.h"
#include "tests/support/thread_shortage.h"

namespace
{

TEST_F(UdpRemoteTest, DecodesAndShowsWhatArrivesInTheChannelsWindow)
{
    OpenAndWait(*m_pChannel);
    EXPECT_EQ(m_pChannel->GetStatus(), STATUS_OPEN);
    CLavcMpeg4Decoder oracle;
    for (std::size_t i = 0; i < m_Stream.size(); ++i) {
        SendPicture(0, i);
        ASSERT_TRUE(oracle.Decode(m_Stream[i]));
    }
    ASSERT_TRUE(WaitForShown(m_Stream.size()));
    EXPECT_EQ(m_Machine.Requests(), std::vector<std::int32_t>{0});
    EXPECT_EQ(m_pChannel->GetCounters().decoded, m_Stream.size());
    EXPECT_EQ(m_pChannel->GetCounters().refused, 0U);
    EXPECT_GE(m_pChannel->GetCounters().firstPictureMs, 0);
    {
        const std::lock_guard lock(m_Log.lock);
        EXPECT_EQ(m_Log.created, (std::vector<std::pair<std::int32_t, std::int32_t>>{{176, 144}}));
        EXPECT_TRUE(std::ranges::all_of(m_Log.shown, [](HWND window) { return window == CELL; }));
        EXPECT_GT(ComparePlane(m_Log.last, oracle.Picture(), 0).psnr, 30);
    }
}

TEST_F(UdpRemoteTest, StreamRequestIsTheHeaderWordAndTheChannelNumber)
{
    auto channel = MakeChannel(5);
    OpenAndWait(*channel);
    Bytes request;
    for (const Bytes& datagram : m_Machine.Peer().GetReceived())
        if (TypeOf(datagram) == P2PMSG_DATA && datagram.size() > 96)
            request.assign(datagram.begin() + 96, datagram.end());
    EXPECT_EQ(request, (Bytes{8, 0, 0, 0x45, 5, 0, 0, 0}));
}

TEST_F(UdpRemoteTest, ChannelOfNetId0ReachesThePeer0)
{
    CScriptedMachine machine("0");
    const auto session = std::make_shared<CP2PSession>(machine.Options());
    session->Start("12345");
    CUdpRemote channel(0, session, "", "");
    channel.m_iDevID = 0;
    channel.Open();
    EXPECT_TRUE(machine.WaitForRequest(0));
    ASSERT_TRUE(machine.Server().WaitFor(P2PMSG_PUNCH));
    for (const Bytes& datagram : machine.Server().GetReceived())
        if (TypeOf(datagram) == P2PMSG_PUNCH) {
            ASSERT_EQ(datagram.size(), 129U);
            EXPECT_STREQ(reinterpret_cast<const char*>(datagram.data() + 96), "0");
        }
}

TEST_F(UdpRemoteTest, OpenOfAnOpenChannelStartsNothingButTellsAgain)
{
    OpenAndWait(*m_pChannel);
    m_pChannel->m_bVisible = false;
    m_pChannel->Open();
    EXPECT_TRUE(m_pChannel->m_bVisible);
    SendPicture(0, 0);
    ASSERT_TRUE(WaitForShown(1));
    EXPECT_EQ(m_Machine.Requests().size(), 1U);
    EXPECT_EQ(m_Observer.Messages(), (std::vector<std::string>{"IDS_DeviceOpened", "IDS_DeviceOpened"}));
}

TEST_F(UdpRemoteTest, FirstPictureIsThatOfTheLastOpening)
{
    OpenAndWait(*m_pChannel);
    SendPicture(0, 0);
    ASSERT_TRUE(WaitForShown(1));
    ASSERT_TRUE(WaitUntil([&] { return m_pChannel->GetCounters().firstPictureMs >= 0; }));
    m_pChannel->Close();
    m_Machine.m_bReplies = false;
    OpenAndWait(*m_pChannel);
    EXPECT_EQ(m_pChannel->GetCounters().firstPictureMs, -1);
}

TEST_F(UdpRemoteTest, CloseOfAClosedChannelTellsAllTheSame)
{
    m_pChannel->Close();
    EXPECT_EQ(m_pChannel->GetStatus(), STATUS_CLOSED);
    EXPECT_EQ(m_Observer.Messages(), std::vector<std::string>{"IDS_DeviceClosed"});
    EXPECT_EQ(m_pChannel->GetRenderWnd(), CELL);
}

TEST_F(UdpRemoteTest, FailedConnectLetsTheStatusFallAndGivesTheCellBack)
{
    auto channel = std::make_unique<CUdpRemote>(99, m_pSession, "", "");  // a machine that nobody lists
    channel->m_iDevID = 0;
    channel->SetRenderWnd(CELL);
    channel->Open();
    ASSERT_TRUE(WaitUntil([&] { return m_Observer.Messages().size() == 2; }));
    EXPECT_EQ(channel->GetStatus(), STATUS_CLOSED);
    EXPECT_EQ(channel->GetRenderWnd(), HWND::Null);
    EXPECT_TRUE(IsCellFree());
    const auto messages = m_Observer.Messages();
    EXPECT_TRUE(std::ranges::is_permutation(messages, std::vector<std::string>{"IDS_DeviceOpened", ""}));
    channel->Open();  // and may be tried again
    channel->Close();
}

TEST_F(UdpRemoteTest, WithoutAThreadForItAChannelEndsAtOnceAndMayBeTriedAgain)
{
    {
        const CThreadShortage shortage;
        m_pChannel->Open();
    }
    EXPECT_EQ(m_pChannel->GetStatus(), STATUS_CLOSED);
    EXPECT_EQ(m_pChannel->GetRenderWnd(), HWND::Null);
    EXPECT_TRUE(IsCellFree());
    OpenAndWait(*m_pChannel);
}

TEST_F(UdpRemoteTest, ChannelOfASessionThatDidNotStartFailsToConnect)
{
    auto channel =
        std::make_unique<CUdpRemote>(4711, std::make_shared<CP2PSession>(m_Machine.Options()), "", "");
    channel->Open();
    ASSERT_TRUE(WaitUntil([&] { return m_Observer.Messages().size() == 2; }));
    EXPECT_EQ(channel->GetStatus(), STATUS_CLOSED);
}

TEST_F(UdpRemoteTest, ChannelThatEndsShutsTheRecordDatabaseAsIntended)  // oddity: channel-end-shuts-database
{
    ASSERT_NE(CNodeModel::GetInstance(), nullptr);
    ASSERT_NE(CNodeModel::GetDatabase(), nullptr);
    auto channel = std::make_unique<CUdpRemote>(99, m_pSession, "", "");
    channel->Open();
    ASSERT_TRUE(WaitUntil([&] { return m_Observer.Messages().size() == 2; }));
    EXPECT_EQ(CNodeModel::GetDatabase(), nullptr);
    EXPECT_NE(CNodeModel::GetInstance(), nullptr);
    EXPECT_EQ(CNodeModel::GetDatabase(), nullptr);  // it stays shut
}

TEST_F(UdpRemoteTest, LostReplyIsWaitedForThoughPicturesComeUntilTheChannelIsOpenedAgain)
{
    // Nobody sends a lost reply again. What comes instead doesn't fit the place of a reply and is dropped, so
    // the link stands still while datagrams flow and are acknowledged, for as long as they do.
    m_Machine.m_bReplies = false;
    OpenAndWait(*m_pChannel);
    for (std::uint64_t i = 1; i <= 20; ++i) {
        m_Machine.SendMessage(MakeUdpMessage(0, 1, Bytes(5000, 7)));
        ASSERT_TRUE(WaitUntil([&] { return m_pSession->GetCounters().dropped == i; }));
    }
    EXPECT_EQ(m_pSession->GetCounters().messages, 0U);
    EXPECT_EQ(m_pSession->GetCounters().datagrams, 100U);
    EXPECT_EQ(m_Machine.Requests().size(), 1U);
    EXPECT_EQ(m_pChannel->GetStatus(), STATUS_OPEN);
    m_pChannel->SetCloseWait(20000);
    m_pChannel->Close();
    EXPECT_FALSE(m_pSession->IsReceiveLockTaken());
    m_Machine.m_bReplies = true;
    m_pChannel->SetRenderWnd(CELL);
    OpenAndWait(*m_pChannel);
    SendPicture(0, 0);
    EXPECT_TRUE(WaitForShown(1));
}

TEST_F(UdpRemoteTest, SmallPicturePassesForALostReplyAsIntended)
{
    // A message that fits is the reply, whatever it is: this one's first bytes are a start code.
    m_Machine.m_bReplies = false;
    OpenAndWait(*m_pChannel);
    m_Machine.SendMessage(MakeUdpMessage(0, 1, Bytes{0, 0, 1, 0xB6, 1, 2, 3, 4}));
    ASSERT_TRUE(WaitUntil([&] {
        const std::lock_guard lock(m_Log.lock);
        return !m_Log.created.empty();
    }));
    const std::lock_guard lock(m_Log.lock);
    EXPECT_EQ(m_Log.created, (std::vector<std::pair<std::int32_t, std::int32_t>>{{0, 0xB601}}));
}

TEST_F(UdpRemoteTest, RecordingAndSnapshotAreAskedForWithoutEffect)
{
    OpenAndWait(*m_pChannel);
    m_pChannel->StartRecord(0x10);
    m_pChannel->SnapShot();
    SendPicture(0, 0);
    ASSERT_TRUE(WaitForShown(1));
    EXPECT_EQ(m_pChannel->GetStatus(), STATUS_OPEN);
    EXPECT_EQ(m_pChannel->GetState()->m_nFlags, FLAG_START_RECORD | FLAG_SNAPSHOT);
}

/// Asks, from the link thread that tells of its end, whether any lock is held.
class CLockWatcher final : public CObserver
{
  public:
    explicit CLockWatcher(CP2PSession& session) : m_Session(session) { AttachObserver(this); }
    ~CLockWatcher() override { DetachObserver(this); }
    void Update(CNode*, std::string message) override
    {
        if (message.empty()) m_bTaken = m_Session.IsReceiveLockTaken();
    }
    std::atomic<bool> m_bTaken{true};

  private:
    CP2PSession& m_Session;
};

TEST_F(UdpRemoteTest, NoLockIsHeldWhileObserversAreTold)
{
    CLockWatcher watcher(*m_pSession);
    OpenAndWait(*m_pChannel);
    ASSERT_TRUE(WaitUntil([&] { return m_pSession->IsReceiveLockTaken(); }));
    m_pSession->Shutdown();
    ASSERT_TRUE(WaitUntil([&] { return !watcher.m_bTaken; }));
}

}  // namespace
