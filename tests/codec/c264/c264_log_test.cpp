// The warning ring keeps the first text and the last 255 others.
#include "codec/c264/c264_log.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace
{
TEST(C264LogDeathTest, SecondTextGoesToSlot1)
{
    // the ring is the process's: a new one has an empty ring
    EXPECT_EXIT(
        {
            int32_t count = -1;
            const std::atomic<const char*>* const ring = c264_log_get(&count);
            const bool empty = count == 0;
            c264_log(C264_WARNING_CHECKSUM);
            c264_log(C264_WARNING_SEI);
            c264_log_get(&count);
            const bool both = count == 2 && ring[0] == C264_WARNING_CHECKSUM && ring[1] == C264_WARNING_SEI;
            std::exit(empty && both && !ring[2] ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST(C264Log, FirstTextStaysInSlot0AndTheOthersGoRound)
{
    static const char texts[600] = {};
    int32_t count = 0;
    c264_log_get(&count);
    const std::atomic<const char*>* ring = c264_log_get(&count);
    if (count == 0) c264_log("the first");
    const char* const first = c264_log_get(&count)[0].load();
    // 255 texts fill all other slots once, wherever the round stands
    for (int i = 0; i < 255; ++i)
        c264_log(texts + i);
    ring = c264_log_get(&count);
    EXPECT_EQ(count, 256);
    EXPECT_EQ(ring[0].load(), first);
    int place = 1;
    while (place < 256 && ring[place].load() != texts)
        ++place;
    ASSERT_LT(place, 256);
    for (int i = 0; i < 255; ++i)
        EXPECT_EQ(ring[1 + (place - 1 + i) % 255].load(), texts + i);
    // the next one takes the place of the oldest
    c264_log(texts + 599);
    EXPECT_EQ(ring[place].load(), texts + 599);
    EXPECT_EQ(ring[0].load(), first);
    EXPECT_EQ(ring[1 + place % 255].load(), texts + 1);
}
}  // namespace
