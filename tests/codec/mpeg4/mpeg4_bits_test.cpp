// The bit reader of MPEG-4.
#include "codec/mpeg4/mpeg4_bits.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <vector>

namespace
{
uint32_t Naive(const std::vector<uint8_t>& bytes, uint64_t position, int n)
{
    uint32_t value = 0;
    for (; n > 0; --n, ++position)
        value =
            value << 1 | (position / 8 < bytes.size() ? bytes[position / 8] >> (7 - position % 8) & 1u : 0u);
    return value;
}

TEST(Mpeg4Bits, ReadsAsBitByBitFromBuffersOfAnyLength)
{
    std::mt19937 random(5);
    for (size_t size = 0; size < 40; ++size) {
        // a block of just this size, so that the sanitizer sees a read past it
        const std::unique_ptr<uint8_t[]> exact(new uint8_t[size ? size : 1]);
        std::vector<uint8_t> bytes(size);
        for (size_t i = 0; i < size; ++i)
            exact[i] = bytes[i] = static_cast<uint8_t>(random());
        for (int round = 0; round < 20; ++round) {
            mpeg4_bits bits;
            mpeg4_bits_init(&bits, exact.get(), size);
            uint64_t position = 0;
            while (position < size * 8 + 200) {
                const int n = 1 + static_cast<int>(random() % 32);
                ASSERT_EQ(mpeg4_bits_get(&bits, n), Naive(bytes, position, n));
                position += static_cast<uint64_t>(n);
                ASSERT_EQ(mpeg4_bits_position(&bits), position);
                ASSERT_EQ(mpeg4_bits_bytes_used(&bits), (position + 7) / 8);
                ASSERT_EQ(mpeg4_bits_overrun(&bits), position > size * 8);
                if (random() % 8 == 0) {
                    mpeg4_bits_align(&bits);
                    position = (position + 7) / 8 * 8;
                    ASSERT_EQ(mpeg4_bits_position(&bits), position);
                }
            }
        }
    }
}

TEST(Mpeg4Bits, RefillGivesEnoughForTheLongestRun)
{
    std::vector<uint8_t> bytes(100, 0xFF);
    mpeg4_bits bits;
    mpeg4_bits_init(&bits, bytes.data(), bytes.size());
    for (int taken = 0; taken < 100; ++taken) {
        mpeg4_bits_refill(&bits);
        ASSERT_GE(bits.count, MPEG4_WINDOW_BITS);
        mpeg4_bits_skip(&bits, taken % 56);
    }
}

TEST(Mpeg4Bits, TheEndItselfIsNoOverrun)
{
    const uint8_t bytes[3] = {1, 2, 3};
    mpeg4_bits bits;
    mpeg4_bits_init(&bits, bytes, 3);
    mpeg4_bits_get(&bits, 24);
    EXPECT_FALSE(mpeg4_bits_overrun(&bits));
    mpeg4_bits_get(&bits, 1);
    EXPECT_TRUE(mpeg4_bits_overrun(&bits));
}
}  // namespace
