#include "recorder/protocol/SendQueue.h"

#include <gmock/gmock.h>

#include "tests/recorder/datagram_support.h"

namespace
{

using namespace recorder;

std::vector<size_t> TakeAll(SendQueue& queue, TimeUs now)
{
    std::vector<size_t> sizes;
    while (const auto piece = queue.Next(now)) {
        sizes.push_back(piece->bytes.size());
        queue.Acknowledged();
    }
    return sizes;
}

TEST(SendQueueTest, MessagesAreCutAt1024Bytes)
{
    SendQueue queue;
    queue.Push(0, Message(0, 1024));
    queue.Push(0, Message(0, 1025));
    EXPECT_THAT(TakeAll(queue, MILLISECOND), testing::ElementsAre(1024, 1024, 1));
    EXPECT_EQ(queue.QueuedBytes(), 0U);
}

TEST(SendQueueTest, PiecesOfTwoMessagesAreNotMixed)
{
    SendQueue queue;
    queue.Push(0, Message(0, 2000, 0xAA));
    queue.Push(1, Message(1, 2000, 0xBB));
    Bytes all;
    while (const auto piece = queue.Next(MILLISECOND))
        all.insert(all.end(), piece->bytes.begin(), piece->bytes.end());
    Bytes expected = *Message(0, 2000, 0xAA);
    const Bytes second = *Message(1, 2000, 0xBB);
    expected.insert(expected.end(), second.begin(), second.end());
    EXPECT_EQ(all, expected);
}

TEST(SendQueueTest, PiecesAreSpreadOverTime)
{
    SendQueue queue;
    queue.Push(0, Message(0, 40 * 1024));
    EXPECT_EQ(TakeAll(queue, 10 * MILLISECOND).size(), SendQueue::BURST);
    EXPECT_EQ(queue.Due(10 * MILLISECOND), 11 * MILLISECOND);
    EXPECT_EQ(TakeAll(queue, 11 * MILLISECOND).size(), SendQueue::BURST);
    EXPECT_EQ(TakeAll(queue, 12 * MILLISECOND).size(), 40 - 2 * SendQueue::BURST);
    EXPECT_EQ(queue.Due(12 * MILLISECOND), NEVER);
}

TEST(SendQueueTest, AClientThatDoesNotAcknowledgeIsNotFlooded)
{
    SendQueue queue;
    queue.Push(0, Message(0, 90 * 1024));
    size_t sent = 0;
    for (TimeUs now = MILLISECOND; now < 20 * MILLISECOND; now += MILLISECOND)
        while (queue.Next(now))
            ++sent;
    EXPECT_EQ(sent, SendQueue::WINDOW);
    EXPECT_EQ(queue.Due(20 * MILLISECOND), MILLISECOND + SendQueue::ACK_TIMEOUT);
    queue.Acknowledged();
    EXPECT_TRUE(queue.Next(20 * MILLISECOND)) << "an acknowledgement lets the next one go";
    EXPECT_FALSE(queue.Next(20 * MILLISECOND));
    EXPECT_FALSE(queue.Next(MILLISECOND + SendQueue::ACK_TIMEOUT)) << "no acknowledgement came: it backs off";
    EXPECT_TRUE(queue.Next(2 * MILLISECOND + 2 * SendQueue::ACK_TIMEOUT)) << "but doesn't stop";
}

TEST(SendQueueTest, SilenceHalvesTheWindowEachTimeAndAnAcknowledgementOpensIt)
{
    SendQueue queue;
    queue.Push(0, Message(0, 1 << 20));
    const auto takeBetween = [&](TimeUs from, TimeUs to) {
        size_t count = 0;
        for (TimeUs now = from; now < to; now += MILLISECOND)
            while (queue.Next(now))
                ++count;
        return count;
    };
    EXPECT_EQ(takeBetween(MILLISECOND, SECOND), 48U + 24 + 12 + 6 + 3);
    EXPECT_EQ(takeBetween(10 * SECOND, 20 * SECOND), 13 * 3U) << "three each 800 ms";
    queue.Acknowledged();
    EXPECT_GE(takeBetween(20 * SECOND, 20 * SECOND + SendQueue::ACK_TIMEOUT), 45U);
}

TEST(SendQueueTest, AClientThatIsBehindLosesMessages)
{
    SendQueue queue;
    for (size_t i = 0; i < SendQueue::MAX_PER_CHANNEL; ++i)
        EXPECT_TRUE(queue.Push(0, Message(0, 100)));
    EXPECT_FALSE(queue.Push(0, Message(0, 100)));
    EXPECT_TRUE(queue.Push(1, Message(1, 100))) << "another channel has room";
}

TEST(SendQueueTest, BytesAreBounded)
{
    SendQueue queue;
    int pushed = 0;
    for (int channel = 0; channel < 64; ++channel)
        while (queue.Push(channel, Message(channel, 100'000)))
            ++pushed;
    EXPECT_EQ(pushed, static_cast<int>(SendQueue::MAX_BYTES / 100'000));
}

TEST(SendQueueTest, WhatWaitsForASecondIsDroppedWithAllAfterItInItsChannel)
{
    SendQueue queue;
    queue.Push(0, Message(0, 2000), 0);
    ASSERT_TRUE(queue.Next(0)) << "begun, so it goes on";
    queue.Push(0, Message(0, 500), MILLISECOND);
    queue.Push(1, Message(1, 600), 2 * MILLISECOND);
    queue.Push(0, Message(0, 700), 900 * MILLISECOND);
    queue.Push(0, Message(0, 8));
    EXPECT_TRUE(queue.DropStale(MILLISECOND + SECOND - 1).empty());
    EXPECT_EQ(queue.DropStale(MILLISECOND + SECOND), (std::map<int, size_t>{{0, 2}}));
    EXPECT_EQ(queue.QueuedBytes(), 976U + 600U + 8U);
    EXPECT_EQ(queue.DropStale(60 * SECOND), (std::map<int, size_t>{{1, 1}}));
    EXPECT_EQ(queue.QueuedBytes(), 976U + 8U) << "an answer doesn't grow stale";
}

TEST(SendQueueTest, ForgetLeavesWhatIsOnItsWay)
{
    SendQueue queue;
    queue.Push(0, Message(0, 1500));
    queue.Push(0, Message(0, 700));
    queue.Push(1, Message(1, 300));
    EXPECT_EQ(queue.Next(MILLISECOND)->bytes.size(), 1024U);
    queue.Forget(0);
    EXPECT_THAT(TakeAll(queue, MILLISECOND), testing::ElementsAre(1500 - 1024, 300));
}

}  // namespace
