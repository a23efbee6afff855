// A channel that is closed, destroyed or left behind while its link thread works or waits.

#include <gtest/gtest.h>

#include "tests/remote/udp/udp_remote_support.h"

namespace
{

TEST_F(UdpRemoteTest, CloseWhileDataFlowsEndsTheThreadAndGivesEverythingBack)
{
    OpenAndWait(*m_pChannel);
    SendPicture(0, 0);
    ASSERT_TRUE(WaitForShown(1));
    std::atomic<bool> flowing{true};
    std::thread stream([&] {
        for (std::size_t i = 1; flowing; ++i)
            SendPicture(0, i);
    });
    m_pChannel->SetCloseWait(20000);
    m_pChannel->Close();
    flowing = false;
    stream.join();
    EXPECT_EQ(m_pChannel->GetStatus(), STATUS_CLOSED);
    EXPECT_EQ(m_pChannel->GetRenderWnd(), HWND::Null);
    EXPECT_TRUE(IsCellFree());
    EXPECT_FALSE(m_pSession->IsReceiveLockTaken());
    {
        const std::lock_guard lock(m_Log.lock);
        EXPECT_EQ(m_Log.surfaces, 0);
    }
    EXPECT_EQ(m_pChannel->GetState()->m_pDecoder, nullptr);
    EXPECT_EQ(m_Observer.Messages(), (std::vector<std::string>{"IDS_DeviceOpened", "", "IDS_DeviceClosed"}));
}

TEST_F(UdpRemoteTest, CloseEndsTheWaitForASilentMachine)
{
    m_Machine.m_bReplies = false;
    OpenAndWait(*m_pChannel);
    ASSERT_TRUE(WaitUntil([&] { return m_pSession->IsReceiveLockTaken(); }));
    m_pChannel->SetCloseWait(20000);
    m_pChannel->Close();
    EXPECT_TRUE(IsCellFree());
    EXPECT_FALSE(m_pSession->IsReceiveLockTaken());
    EXPECT_EQ(m_Observer.Messages(), (std::vector<std::string>{"IDS_DeviceOpened", "", "IDS_DeviceClosed"}));
}

TEST_F(UdpRemoteTest, ChannelThatIsToEndOpensNoPictureWhateverComes)
{
    m_Machine.m_bReplies = false;
    OpenAndWait(*m_pChannel);
    ASSERT_TRUE(WaitUntil([&] { return m_pSession->HasWaitingReader(); }));
    m_pChannel->GetState()->m_bRunning = false;
    m_Machine.SendMessage(MakeUdpMessage(0, 1, Bytes{0, 0, 1, 0xB6, 1, 2, 3, 4}));
    ASSERT_TRUE(WaitUntil([&] { return IsCellFree(); }));
    const std::lock_guard lock(m_Log.lock);
    EXPECT_TRUE(m_Log.created.empty());
}

TEST_F(UdpRemoteTest, CloseEndsThePunchingOfAPath)
{
    m_Machine.m_bAnswersPunches = false;
    m_pChannel->Open();
    ASSERT_TRUE(m_Machine.Peer().WaitFor(P2PMSG_PUNCH));
    m_pChannel->SetCloseWait(20000);
    m_pChannel->Close();
    EXPECT_TRUE(IsCellFree());
    EXPECT_TRUE(m_Machine.Requests().empty());
}

TEST_F(UdpRemoteTest, CloseEndsTheWaitForTheChannelThatReceives)
{
    OpenAndWait(*m_pChannel);
    ASSERT_TRUE(WaitUntil([&] { return m_pSession->HasWaitingReader(); }));
    auto second = MakeChannel(1);
    OpenAndWait(*second);
    second->SetCloseWait(20000);
    second->Close();
    EXPECT_EQ(m_Observer.Messages().back(), "IDS_DeviceClosed");
    EXPECT_EQ(m_Observer.Messages()[2], "");  // the thread ended before the wait for it did
    SendPicture(0, 0);
    EXPECT_TRUE(WaitForShown(1));  // and the other goes on
}

TEST_F(UdpRemoteTest, ChannelsThatAreToldTogetherEndSideBySideWhileDataFlows)
{
    std::vector<std::unique_ptr<CUdpRemote>> channels;
    for (std::int32_t i = 0; i < 16; ++i) {
        channels.push_back(MakeChannel(i));
        OpenAndWait(*channels.back());
    }
    std::atomic<bool> flowing{true};
    std::thread stream([&] {
        for (std::size_t i = 0; flowing; ++i)
            SendPicture(static_cast<std::int32_t>(i % 16), i / 16);
    });
    ASSERT_TRUE(WaitUntil([&] { return m_pSession->GetCounters().foreign > 32; }));
    for (const auto& channel : channels)
        channel->LetGo();
    for (const auto& channel : channels)
        EXPECT_TRUE(WaitUntil([&] { return channel->GetStatus() == STATUS_CLOSED; })) << channel->m_iDevID;
    EXPECT_TRUE(WaitUntil([&] { return !m_pSession->IsReceiveLockTaken(); }));
    flowing = false;
    stream.join();
    channels.clear();
    m_pSession->Shutdown();
    EXPECT_TRUE(m_Machine.Server().WaitFor(P2PMSG_LOGOUT));
    EXPECT_TRUE(m_Machine.Peer().WaitFor(P2PMSG_LOGOUT));
}

TEST_F(UdpHeldRemoteTest, ThreadThatCantBeWokenIsLeftBehindAfter3000Milliseconds)
{
    EXPECT_EQ(CUdpRemote::CLOSE_WAIT_MS, 3000U);
    EXPECT_EQ(MakeChannel(1)->GetCloseWait(), 3000U);
    m_pChannel->Close();
    EXPECT_EQ(m_pChannel->GetStatus(), STATUS_CLOSED);
    EXPECT_FALSE(IsCellFree());  // the cell is the late thread's to give back
    EXPECT_EQ(m_pChannel->GetRenderWnd(), HWND::Null);
    EXPECT_EQ(m_Observer.Messages(), (std::vector<std::string>{"IDS_DeviceOpened", "IDS_DeviceClosed"}));
}

TEST_F(UdpHeldRemoteTest, DestructorWaitsForALateThread)
{
    m_pChannel->Close();
    std::thread opener([&] { m_Gate.Open(); });
    m_pChannel.reset();
    EXPECT_TRUE(IsCellFree());
    EXPECT_FALSE(m_pSession->IsReceiveLockTaken());
    EXPECT_EQ(m_Observer.Messages(), (std::vector<std::string>{"IDS_DeviceOpened", "IDS_DeviceClosed"}));
    opener.join();
}

TEST_F(UdpHeldRemoteTest, LateThreadEndsAndChangesNothingOfTheDevice)
{
    m_pChannel->Close();
    m_pChannel->SetRenderWnd(HWND{32});
    m_Gate.Open();
    ASSERT_TRUE(WaitUntil([&] { return IsCellFree(); }));
    EXPECT_EQ(m_pChannel->GetRenderWnd(), HWND{32});
}

TEST_F(UdpHeldRemoteTest, ChannelOpenedAgainAfterALateThreadPlays)
{
    m_pChannel->Close();
    m_Gate.Open();
    m_pChannel->SetRenderWnd(CELL);
    OpenAndWait(*m_pChannel);
    SendPicture(0, 0);
    EXPECT_TRUE(WaitForShown(2));
    EXPECT_EQ(m_pChannel->GetStatus(), STATUS_OPEN);
    EXPECT_EQ(m_pChannel->GetRenderWnd(), CELL);
}

TEST_F(UdpRemoteTest, DestructionOfAnOpenChannelEndsItsThread)
{
    OpenAndWait(*m_pChannel);
    SendPicture(0, 0);
    ASSERT_TRUE(WaitForShown(1));
    m_pChannel.reset();
    EXPECT_TRUE(IsCellFree());
    EXPECT_FALSE(m_pSession->IsReceiveLockTaken());
}

TEST_F(UdpRemoteTest, DestructionWhilePunchingEndsTheThread)
{
    m_Machine.m_bAnswersPunches = false;
    m_pChannel->Open();
    ASSERT_TRUE(m_Machine.Peer().WaitFor(P2PMSG_PUNCH));
    m_pChannel.reset();
    EXPECT_TRUE(IsCellFree());
}

TEST_F(UdpRemoteTest, ShutdownOfTheSessionEndsTheThread)
{
    OpenAndWait(*m_pChannel);
    SendPicture(0, 0);
    ASSERT_TRUE(WaitForShown(1));
    m_pSession->Shutdown();
    ASSERT_TRUE(WaitUntil([&] { return IsCellFree(); }));
    EXPECT_EQ(m_pChannel->GetRenderWnd(), HWND::Null);
}

}  // namespace
