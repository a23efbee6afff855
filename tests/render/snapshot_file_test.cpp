#include "render/SnapshotFile.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/file_limit.h"
#include "tests/support/test_folder.h"

namespace
{

constexpr std::int32_t SIDE = 64;
constexpr std::int32_t PITCH = SIDE * 4;
constexpr std::size_t FILE_BYTES = 54 + SIDE * PITCH;

bool Write(const std::string& path)
{
    const std::vector<std::uint8_t> pixels(SIDE * PITCH, 0x40);
    return WriteSnapshotFile(path, pixels.data(), PITCH, SIDE, SIDE);
}

TEST(SnapshotFile, TakesThePlaceOfAnotherFile)
{
    const CTestFolder folder;
    folder.Write("a.jpg", std::string(2 * FILE_BYTES, 'x'));
    EXPECT_TRUE(Write(folder.Path("a.jpg")));
    EXPECT_EQ(std::filesystem::file_size(folder.Path("a.jpg")), FILE_BYTES);
}

// In the middle, and when the last bytes leave the buffer.
TEST(SnapshotFile, IsNotThereWhenTheDiskIsFull)
{
    const CTestFolder folder;
    for (const std::size_t room : {FILE_BYTES / 2, FILE_BYTES - 1}) {
        const CFileLimit full(room);
        EXPECT_FALSE(Write(folder.Path("a.jpg"))) << room;
        EXPECT_FALSE(std::filesystem::exists(folder.Path("a.jpg"))) << room;
    }
}

}  // namespace
