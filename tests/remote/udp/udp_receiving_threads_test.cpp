// Who receives for whom: one channel at a time, or one thread for all.

#include <gtest/gtest.h>

#include "tests/remote/udp/udp_remote_support.h"

namespace
{

TEST_F(UdpRemoteTest, OneChannelReceivesAtATimeByDefaultAsIntended)
{
    OpenAndWait(*m_pChannel);
    SendPicture(0, 0);
    ASSERT_TRUE(WaitForShown(1));
    ASSERT_TRUE(WaitUntil([&] { return m_pSession->HasWaitingReader(); }));
    auto second = MakeChannel(1);
    second->SetCloseWait(50);
    OpenAndWait(*second);
    for (std::size_t i = 0; i < 5; ++i) {
        SendPicture(1, i);
        SendPicture(0, i + 1);
    }
    ASSERT_TRUE(WaitForShown(6));
    EXPECT_EQ(second->GetCounters().messages, 0U);
    EXPECT_GE(m_pSession->GetCounters().foreign, 5U);
    second->Close();
}

TEST_F(UdpRemoteTest, ThreadThatEndsHandsTheReceivingToTheNextChannel)
{
    OpenAndWait(*m_pChannel);
    SendPicture(0, 0);
    ASSERT_TRUE(WaitForShown(1));
    ASSERT_TRUE(WaitUntil([&] { return m_pSession->HasWaitingReader(); }));
    auto second = MakeChannel(1);
    OpenAndWait(*second);
    m_pChannel.reset();
    m_pChannel = std::move(second);
    // Its reply was the first channel's to throw away, so the next small message counts as one.
    Bytes reply(4);
    WriteLittle16(reply.data(), 176);
    WriteLittle16(reply.data() + 2, 144);
    m_Machine.SendMessage(MakeUdpMessage(1, 1, reply));
    SendPicture(1, 0);
    EXPECT_TRUE(WaitForShown(1));
}

TEST_F(UdpSharedRemoteTest, AllOpenChannelsPlayAtOnce)
{
    std::vector<std::unique_ptr<CUdpRemote>> channels;
    for (std::int32_t i = 0; i < 16; ++i) {
        channels.push_back(MakeChannel(i));
        channels.back()->Open();
    }
    for (std::int32_t i = 0; i < 16; ++i)
        ASSERT_TRUE(m_Machine.WaitForRequest(i));
    for (std::size_t picture = 0; picture < m_Stream.size(); ++picture)
        for (std::int32_t i = 0; i < 16; ++i)
            SendPicture(i, picture);
    for (const auto& channel : channels) {
        EXPECT_TRUE(WaitUntil([&] { return channel->GetCounters().shown == m_Stream.size(); }));
        EXPECT_EQ(channel->GetCounters().refused, 0U);
    }
}

TEST_F(UdpSharedRemoteTest, RequestIsRepeatedUntilAReplyComes)
{
    EXPECT_EQ(SessionOptions{}.requestRepeatMs, 3000U);
    SessionOptions options = Options(true);
    options.requestRepeatMs = 20;
    m_pSession = std::make_shared<CP2PSession>(options);
    m_pSession->Start("12345");
    m_Machine.m_bReplies = false;
    m_pChannel = MakeChannel(0);
    m_pChannel->SetRenderWnd(CELL);
    m_pChannel->Open();
    ASSERT_TRUE(m_Machine.WaitForRequest(0, 3));
    m_Machine.m_bReplies = true;
    ASSERT_TRUE(WaitUntil([&] { return m_pChannel->GetCounters().width == 176; }));
    SendPicture(0, 0);
    EXPECT_TRUE(WaitForShown(1));
}

/// A channel whose first picture stands in the renderer until the gate is opened, so that what comes grows old.
class UdpAgeTest : public UdpSharedRemoteTest
{
  protected:
    UdpAgeTest()
    {
        m_Log.gate = &m_Gate;
        OpenAndWait(*m_pChannel);
        SendPicture(0, 0);
        EXPECT_TRUE(WaitUntil([&] { return m_Gate.Arrived() == 1; }));
    }
    ~UdpAgeTest() override { m_Gate.Open(); }

    const CLinkCounters& Counters() const { return m_pChannel->GetCounters(); }

    CGate m_Gate;
};

TEST_F(UdpAgeTest, PicturesOlderThanTwoSecondsAreSkippedUpToTheNextKeyPictureAndCounted)
{
    SendPicture(0, 1);
    SendPicture(0, 0);  // a key picture, but old itself by then
    SendPicture(0, 1);
    m_Clock.Advance(2001);
    SendPicture(0, 1);  // young, but it needs one that was skipped
    SendPicture(0, 0);
    SendPicture(0, 1);
    m_Gate.Open();
    ASSERT_TRUE(WaitForShown(3));
    EXPECT_EQ(Counters().skipped, 4U);
    EXPECT_EQ(Counters().decoded, 3U);
    EXPECT_EQ(Counters().refused, 0U);
}

TEST_F(UdpAgeTest, PicturesOfTwoSecondsAreShown)
{
    for (std::size_t i = 1; i < 4; ++i)
        SendPicture(0, i);
    m_Clock.Advance(2000);
    m_Gate.Open();
    ASSERT_TRUE(WaitForShown(4));
    EXPECT_EQ(Counters().skipped, 0U);
}

TEST_F(UdpSharedRemoteTest, WhatWaitedInTheSocketsBufferIsAsOldAsItsWait)
{
    OpenAndWait(*m_pChannel);
    SendPicture(0, 0);
    ASSERT_TRUE(WaitForShown(1));
    m_Clock.SetWaited(2001);
    SendPicture(0, 1);
    SendPicture(0, 0);
    ASSERT_TRUE(WaitUntil([&] { return m_pChannel->GetCounters().skipped == 2; }));
    m_Clock.SetWaited(2000);
    SendPicture(0, 0);
    ASSERT_TRUE(WaitForShown(2));
    EXPECT_EQ(m_pChannel->GetCounters().decoded, 2U);
}

TEST_F(UdpSharedRemoteTest, WhatGrowsOldOnItsWayToTheRendererIsDecodedAndCountedAndNotShown)
{
    OpenAndWait(*m_pChannel);
    SendPicture(0, 0);
    ASSERT_TRUE(WaitForShown(1));
    m_Clock.SetStep(1500);  // the thread looks when it takes the message, and when it shows the picture
    SendPicture(0, 1);
    ASSERT_TRUE(WaitUntil([&] { return m_pChannel->GetCounters().skipped == 1; }));
    m_Clock.SetStep(0);
    SendPicture(0, 2);
    ASSERT_TRUE(WaitForShown(2));
    EXPECT_EQ(m_pChannel->GetCounters().decoded, 3U);
    EXPECT_EQ(m_pChannel->GetCounters().refused, 0U);
}

TEST_F(UdpAgeTest, PictureMayWaitForTheDeviceUntilItIsTwoSecondsOld)
{
    SendPicture(0, 1);
    ASSERT_TRUE(WaitUntil([&] { return m_pSession->GetCounters().messages == 3; })) << "the reply was one too";
    m_Clock.Advance(1500);
    const auto begun = std::chrono::steady_clock::now();
    m_Gate.Open();
    ASSERT_TRUE(WaitForShown(2));
    const std::lock_guard lock(m_Log.lock);
    EXPECT_GT(m_Log.before.at(1), begun + std::chrono::milliseconds(500));
    EXPECT_LE(m_Log.before.at(1), std::chrono::steady_clock::now() + std::chrono::milliseconds(501));
}

TEST_F(UdpHeldRemoteTest, WithoutSharedReceivingNothingIsSkippedHoweverOld)
{
    for (std::size_t i = 1; i < 4; ++i)
        SendPicture(0, i);
    m_Clock.Advance(100000);
    m_Gate.Open();
    ASSERT_TRUE(WaitForShown(4));
    EXPECT_EQ(m_pChannel->GetCounters().skipped, 0U);
    const std::lock_guard lock(m_Log.lock);
    EXPECT_EQ(m_Log.before.back(), std::chrono::steady_clock::time_point::max());
}

TEST_F(UdpSharedRemoteTest, CloseOfASilentChannelEndsItsThreadAtOnce)
{
    m_Machine.m_bReplies = false;
    OpenAndWait(*m_pChannel);
    m_pChannel->SetCloseWait(20000);
    m_pChannel->Close();
    EXPECT_TRUE(IsCellFree());
}

TEST_F(UdpSharedRemoteTest, PicturesOfAnEarlierOpeningAreNotTakenForTheReply)
{
    m_Machine.m_bReplies = false;
    OpenAndWait(*m_pChannel);
    m_Machine.SendMessage(
        MakeUdpMessage(0, 1, Bytes{0, 0, 1, 0xB6, 1, 2, 3, 4}));  // a picture that still was under way
    m_Machine.SendMessage(MakeUdpMessage(0, 1, Bytes(1021, 7)));  // the rest of one, longer than any reply
    Bytes reply(4);
    WriteLittle16(reply.data(), 176);
    WriteLittle16(reply.data() + 2, 144);
    m_Machine.SendMessage(MakeUdpMessage(0, 1, reply));
    SendPicture(0, 0);
    ASSERT_TRUE(WaitForShown(1));
    const std::lock_guard lock(m_Log.lock);
    EXPECT_EQ(m_Log.created, (std::vector<std::pair<std::int32_t, std::int32_t>>{{176, 144}}));
}

TEST_F(UdpSharedRemoteTest, ChannelsOpenAndCloseManyTimes)
{
    for (int round = 0; round < 20; ++round) {
        OpenAndWait(*m_pChannel);
        if (round % 2 == 0) SendPicture(0, 0);
        m_pChannel->SetCloseWait(20000);
        m_pChannel->Close();
        EXPECT_EQ(m_pChannel->GetRenderWnd(), HWND::Null);
    }
}

}  // namespace
