#include <gtest/gtest.h>

#include <thread>

#include "remote/p2p/LinkCounters.h"
#include "remote/udp/ChannelReceiver.h"

namespace
{

// With either way of receiving.
class ChannelReceiverDeathTest : public testing::TestWithParam<bool>
{
};

TEST_P(ChannelReceiverDeathTest, CallOfAForeignThreadEndsACheckedBuild)
{
    SessionOptions options;
    options.sharedReceive = GetParam();
    CP2PSession session(options);
    CLinkCounters counters;
    const P2PCancel cancel{true};
    const auto receiver = CChannelReceiver::Make(session, counters, 0, cancel);
    EXPECT_TRUE(receiver->ReceiveMessage().empty());
    EXPECT_DEBUG_DEATH(std::thread([&] { receiver->ReceiveMessage(); }).join(), "called on a foreign thread");
    EXPECT_DEBUG_DEATH(std::thread([&] { receiver->ReceiveReply([] {}); }).join(),
                       "called on a foreign thread");
}

INSTANTIATE_TEST_SUITE_P(Ways, ChannelReceiverDeathTest, testing::Bool());

}  // namespace
