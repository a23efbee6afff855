// Channels that are opened and closed many times, with harm on the way and with a machine that never answers:
// nothing may be left over.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <thread>

#include "tests/links/udp_links_support.h"

namespace
{

class UdpSoakTest : public UdpLinksTest
{
  protected:
    struct SoakSetup {
        bool sharedReceive = false;
        std::uint64_t datagrams = 0;  // to wait for between opening and closing
        std::uint32_t closeWaitMs = CUdpRemote::CLOSE_WAIT_MS;
    };

    /// Logs on, opens and closes every channel over and over, and logs off; what all that needs once and for
    /// all is taken by a short run before.
    void Soak(const SoakSetup& soak)
    {
        // Counted beside a thread that lives: with the first one a sanitizer starts one of its own, which
        // stays.
        std::size_t threads = 0;
        std::thread([&] { threads = CountThreads() - 1; }).join();
        SessionOfItsOwn(soak, 3);
        ASSERT_FALSE(HasFailure());
        const std::size_t files = CountFiles();
        const std::size_t bytes = CountBytes();
        SessionOfItsOwn(soak, SOAK_ROUNDS);
        ASSERT_FALSE(HasFailure());
        // The system may still list a thread for a moment that was waited for.
        EXPECT_TRUE(WaitUntil([&] { return CountThreads() <= threads; })) << CountThreads();
        EXPECT_EQ(CountFiles(), files);
        // The allocator's own books differ a little from run to run.
        EXPECT_LE(CountBytes(), bytes + SLACK_BYTES);
        std::printf("threads %zu, files %zu, bytes %zu and %zu before; longest close %.1f ms\n", CountThreads(),
                    CountFiles(), CountBytes(), bytes, m_LongestMs);
    }

    std::uint64_t m_Shown = 0;  // by all channels, in the last session

  private:
    static constexpr std::size_t SLACK_BYTES = 4096;

    /// The allocator keeps what a thread has freed at hand for it, hundreds of kilobytes, and counts it as
    /// taken; it goes with the thread.
    void SessionOfItsOwn(const SoakSetup& soak, int rounds)
    {
        std::thread([&] { Session(soak, rounds); }).join();
    }

    void Session(const SoakSetup& soak, int rounds)
    {
        ASSERT_NO_FATAL_FAILURE(LogOn(soak.sharedReceive));
        for (CUdpRemote* const channel : m_Channels)
            channel->SetCloseWait(soak.closeWaitMs);
        for (int round = 0; round < rounds; ++round)
            ASSERT_NO_FATAL_FAILURE(OpenAndClose(soak.datagrams)) << "round " << round;
        m_Shown = 0;
        for (CUdpRemote* const channel : m_Channels)
            m_Shown += channel->GetCounters().shown;
        m_Channels.clear();
        m_pFolder.reset();
        m_pStation.reset();
        ReleaseRender();
        m_Seen.clear();
    }

    void OpenAndClose(std::uint64_t datagrams)
    {
        const CLinkCounters& counters = m_pStation->GetSession()->GetCounters();
        const auto before = counters.datagrams.load();
        for (CUdpRemote* const channel : m_Channels)
            Open(*channel);
        ASSERT_TRUE(WaitUntil([&] { return counters.datagrams >= before + datagrams; }))
            << "status " << m_Channels[0]->GetStatus() << ", datagrams " << counters.datagrams - before;
        for (CUdpRemote* const channel : m_Channels) {
            const auto start = std::chrono::steady_clock::now();
            channel->Close();
            const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
            m_LongestMs = std::max(m_LongestMs, took.count());
            ASSERT_EQ(channel->GetStatus(), STATUS_CLOSED);
            ASSERT_EQ(channel->GetRenderWnd(), HWND::Null);
        }
    }

    double m_LongestMs = 0;
};

TEST_F(UdpSoakTest, AllChannelsPlayDespiteLossReorderingAndGarbage)
{
    Start({"--channels", "4", "--fps", "50", "--gop", "5", "--loss", "1", "--reorder", "1", "--garbage", "1"},
          "128x96");
    Soak({.sharedReceive = true, .datagrams = 20});
    EXPECT_GT(m_Shown, 0U);
}

TEST_F(UdpSoakTest, OneChannelAtATimePlaysDespiteLoss)
{
    // Key pictures only: none of them is so small that it could pass for the reply of the next opening. An
    // opening whose reply is lost gets no message that fits, so its thread is left behind; the wait is short.
    Start({"--channels", "1", "--gop", "1", "--loss", "1"});
    Soak({.datagrams = 10, .closeWaitMs = 500});
    EXPECT_GT(m_Shown, 0U);
}

TEST_F(UdpSoakTest, MachineThatNeverAnswersLeavesThreadsBehindThatEndAllTheSame)
{
    Start({"--channels", "2", "--silent", "device"});
    Soak({.closeWaitMs = 1});
    EXPECT_EQ(m_Shown, 0U);
}

TEST_F(UdpSoakTest, MachineThatNeverAnswersWithSharedReceiving)
{
    Start({"--channels", "2", "--silent", "device"});
    Soak({.sharedReceive = true, .closeWaitMs = 60000});
    EXPECT_EQ(m_Shown, 0U);
}

}  // namespace
