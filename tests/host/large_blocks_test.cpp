#include "host/LargeBlocks.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <thread>
#include <vector>

namespace
{

constexpr std::size_t CELL_BYTES = std::size_t{1280} * 960 * 4;

// The sanitizers have a memory of their own.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::size_t OWN_BLOCKS = 0;
#else
constexpr std::size_t OWN_BLOCKS = 1;
#endif

// Blocks that the C library has from the system each by itself, and returns as such.
std::size_t CountOwnBlocks()
{
    return ::mallinfo2().hblks;
}

// The library would keep blocks of that size from the first one on that was freed.
TEST(LargeBlocksTest, BlockIsTheSystemsAlsoAfterOneWasFreed)
{
    GiveLargeBlocksBack();
    for (int i = 0; i < 3; ++i) {
        std::thread([i] {
            const std::size_t before = CountOwnBlocks();
            {
                const std::vector<char> cell(CELL_BYTES, 'c');
                EXPECT_EQ(CountOwnBlocks(), before + OWN_BLOCKS) << i;
                EXPECT_EQ(cell.back(), 'c');
            }
            EXPECT_EQ(CountOwnBlocks(), before) << i;
        }).join();
    }
}

}  // namespace
