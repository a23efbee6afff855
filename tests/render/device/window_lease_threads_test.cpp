#include "render/device/WindowLease.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>
#include <vector>

namespace
{

const HWND WINDOW{7001};

TEST(WindowLeaseTest, NothingIsLentBeforeAndAfter)
{
    EXPECT_EQ(CWindowHold(WINDOW).GetWindow(), 0U) << "no lease at all";
    {
        CWindowLease lease(WINDOW);
        EXPECT_EQ(CWindowHold(WINDOW).GetWindow(), 0U);
        lease.Lend(77);
        EXPECT_EQ(CWindowHold(WINDOW).GetWindow(), 77U);
        EXPECT_EQ(CWindowHold(HWND{7002}).GetWindow(), 0U);
        lease.TakeBack();
        EXPECT_EQ(CWindowHold(WINDOW).GetWindow(), 0U);
        lease.Lend(78);
    }
    EXPECT_EQ(CWindowHold(WINDOW).GetWindow(), 0U);
}

TEST(WindowLeaseTest, EachLendingHasItsNumberAlsoOfTheSameSystemWindow)
{
    CWindowLease lease(WINDOW);
    lease.Lend(77);
    const std::uint64_t first = CWindowHold(WINDOW).GetNumber();
    lease.Lend(77);
    EXPECT_EQ(CWindowHold(WINDOW).GetNumber(), first) << "it was lent all the time";
    lease.TakeBack();
    lease.Lend(77);
    const std::uint64_t second = CWindowHold(WINDOW).GetNumber();
    EXPECT_NE(second, first);
    CWindowLease other(HWND{7002});
    other.Lend(77);
    EXPECT_NE(CWindowHold(HWND{7002}).GetNumber(), second);
}

TEST(WindowLeaseTest, TakingBackWaitsForTheFrameInProgress)
{
    CWindowLease lease(WINDOW);
    lease.Lend(77);
    std::promise<void> held;
    std::promise<void> end;
    std::atomic<bool> ended{false};
    std::thread frame([&] {
        const CWindowHold hold(WINDOW);
        held.set_value();
        end.get_future().wait();
        ended = true;
    });
    held.get_future().wait();
    std::thread release([&] { end.set_value(); });
    lease.TakeBack();
    EXPECT_TRUE(ended);
    frame.join();
    release.join();
}

// A frame that finds nothing lent has nothing to keep: its owner need not wait for it.
TEST(WindowLeaseTest, FrameThatFindsNoWindowLentHoldsNobodyUp)
{
    CWindowLease lease(WINDOW);
    std::promise<void> held;
    std::promise<void> lent;
    std::future_status waited = std::future_status::timeout;
    std::thread frame([&] {
        const CWindowHold hold(WINDOW);
        held.set_value();
        waited = lent.get_future().wait_for(std::chrono::seconds(20));
    });
    held.get_future().wait();
    lease.Lend(77);
    lease.TakeBack();
    lent.set_value();
    frame.join();
    EXPECT_EQ(waited, std::future_status::ready) << "lent only when the frame had gone";
}

// The owner gets its window back although frames follow one another without a gap.
TEST(WindowLeaseTest, WindowIsNeverUsedAfterItWasTakenBack)
{
    CWindowLease lease(WINDOW);
    std::atomic<std::uintptr_t> standing{0};  // the window that there is
    std::atomic<bool> stop{false};
    std::atomic<int> wrong{0};
    std::atomic<int> frames{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            while (!stop) {
                const CWindowHold hold(WINDOW);
                if (hold.GetWindow() == 0) continue;
                if (standing != hold.GetWindow()) ++wrong;
                ++frames;
                std::this_thread::yield();
                if (standing != hold.GetWindow()) ++wrong;
            }
        });
    }
    for (std::uintptr_t window = 1; window < 200; ++window) {
        const int before = frames;
        standing = window;
        lease.Lend(window);
        while (frames == before)
            std::this_thread::yield();
        lease.TakeBack();
        standing = 0;
    }
    stop = true;
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
}

}  // namespace
