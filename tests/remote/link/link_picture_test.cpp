#include <gtest/gtest.h>

#include <cstdint>

#include "remote/link/LinkPicture.h"

namespace
{

TEST(LinkPicture, AreaIsBoundedAtSixtyFourMebiSamplesOfWholeMacroblocksInWhateverShape)
{
    const struct {
        std::int32_t width;
        std::int32_t height;
        bool within;
    } rows[] = {
        {0, 0, true},         {0, 65535, true},        {352, 288, true},       {16384, 4096, true},
        {16385, 4096, false}, {16384, 4097, false},    {4096, 16384, true},    {65535, 1024, true},
        {65535, 1025, false}, {16384, 16384, false},   {65535, 65535, false},  {-1, 1, false},
        {1, -1, false},       {-65535, -65535, false}, {0, 4194304, true},     {0, 4194305, false},
        {4194304, 1, true},   {4194305, 1, false},     {0, 0x7FFFFFFF, false}, {0x7FFFFFFF, 0x7FFFFFFF, false},
    };
    for (const auto& row : rows)
        EXPECT_EQ(IsWithinLimit(row.width, row.height), row.within) << row.width << "x" << row.height;
}

}  // namespace
