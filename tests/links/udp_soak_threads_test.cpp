// Channels that are opened and closed many times, with harm on the way and with a machine that never answers:
// nothing may be left over.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "tests/links/links_fixture.h"

namespace
{

class UdpSoakTest : public UdpLinksTest
{
  protected:
    static constexpr int ROUNDS = 200;

    /// Opens and closes every channel so many times, each time when data has come, if data is to be waited for.
    void OpenAndClose(std::uint64_t datagrams)
    {
        double longest = 0;
        for (int round = 0; round < ROUNDS; ++round) {
            const auto before = m_pStation->GetSession()->GetCounters().m_ulDatagrams.load();
            for (CUdpRemote* const channel : m_Channels)
                Open(*channel);
            const CLinkCounters& counters = m_pStation->GetSession()->GetCounters();
            ASSERT_TRUE(WaitUntil([&] { return counters.m_ulDatagrams >= before + datagrams; }))
                << "round " << round << ", status " << m_Channels[0]->GetStatus() << ", logged in "
                << m_pStation->GetSession()->IsLoggedIn() << ", datagrams " << counters.m_ulDatagrams - before;
            for (CUdpRemote* const channel : m_Channels) {
                const auto start = std::chrono::steady_clock::now();
                channel->Close();
                const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
                longest = std::max(longest, took.count());
                ASSERT_EQ(channel->GetStatus(), STATUS_CLOSED) << "round " << round;
                ASSERT_EQ(channel->GetRenderWnd(), HWND::Null) << "round " << round;
            }
        }
        std::printf("longest close: %.1f ms\n", longest);
    }

    /// Gives up station and channels.
    void LogOff()
    {
        m_Channels.clear();
        m_pFolder.reset();
        m_pStation.reset();
    }

    void ExpectNothingLeftOver()
    {
        EXPECT_TRUE(WaitUntil([&] { return CountThreads() == m_ulThreads; }))
            << CountThreads() << " threads, " << m_ulThreads << " before";
        EXPECT_EQ(CountFiles(), m_ulFiles);
    }

    // Held before anything was started.
    const std::size_t m_ulThreads = CountThreads();
    const std::size_t m_ulFiles = CountFiles();
};

TEST_F(UdpSoakTest, AllChannelsWithLossReorderingAndGarbage)
{
    Start({"--channels", "4", "--fps", "50", "--gop", "5", "--loss", "1", "--reorder", "1", "--garbage", "1"},
          "128x96");
    LogOn(true);
    OpenAndClose(20);
    const auto pictures = m_Channels[0]->GetCounters().m_ulShown.load();
    EXPECT_GT(pictures, 0U);
    LogOff();
    ExpectNothingLeftOver();
}

TEST_F(UdpSoakTest, OneChannelAtATimeWithLoss)
{
    // Key pictures only: none of them is so small that it could pass for the reply of the next opening.
    Start({"--channels", "1", "--gop", "1", "--loss", "1"});
    LogOn(false);
    m_Channels[0]->SetCloseWait(500);
    OpenAndClose(10);
    LogOff();
    ExpectNothingLeftOver();
}

TEST_F(UdpSoakTest, MachineThatNeverAnswersLeavesThreadsBehindThatEndAllTheSame)
{
    Start({"--channels", "2", "--silent", "device"});
    LogOn(false);
    ASSERT_EQ(m_Channels.size(), 2U);
    for (CUdpRemote* const channel : m_Channels)
        channel->SetCloseWait(1);
    OpenAndClose(0);
    LogOff();
    ExpectNothingLeftOver();
}

TEST_F(UdpSoakTest, MachineThatNeverAnswersWithSharedReceiving)
{
    Start({"--channels", "2", "--silent", "device"});
    LogOn(true);
    for (CUdpRemote* const channel : m_Channels)
        channel->SetCloseWait(60000);
    OpenAndClose(0);
    LogOff();
    ExpectNothingLeftOver();
}

}  // namespace
