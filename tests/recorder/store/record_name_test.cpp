#include "recorder/store/RecordName.h"

#include <gtest/gtest.h>

namespace
{

using namespace recorder;
using namespace std::chrono;

constexpr local_seconds START = local_days(2026y / 11 / 22) + 6h + 55min + 3s;

TEST(RecordName, ComesBackAsItWas)
{
    const RecordName names[] = {
        {42, 2, START}, {1, 0, {}}, {MAX_RECORD_ID, 63, local_days(9999y / 12 / 31) + 23h + 59min + 59s}};
    EXPECT_EQ(FileNameOf(names[0]), "000000042-ch03-20261122-065503.mkv");
    for (const RecordName& name : names)
        EXPECT_EQ(ParseFileName(FileNameOf(name)), name);
}

TEST(RecordName, NothingElseIsARecord)
{
    const char* const rows[] = {"",
                                ".mkv",
                                "000000042-ch03-20261122-065503.avi",
                                "000000042-ch03-20261122-065503.mkv.part",
                                "x00000042-ch03-20261122-065503.mkv",
                                "-00000042-ch03-20261122-065503.mkv",
                                "+00000042-ch03-20261122-065503.mkv",
                                "000000000-ch03-20261122-065503.mkv",
                                "000000042-ch00-20261122-065503.mkv",
                                "000000042-ch65-20261122-065503.mkv",
                                "000000042-ch03-20261322-065503.mkv",
                                "000000042-ch03-20260230-065503.mkv",
                                "000000042-ch03-20261122-245503.mkv",
                                "000000042-ch03-20261122-066003.mkv",
                                "000000042-ch03-20261122-065560.mkv",
                                "000000042_ch03-20261122-065503.mkv",
                                "000000042-ch03-20261122"};
    for (const char* const row : rows)
        EXPECT_EQ(ParseFileName(row), std::nullopt) << row;
}

TEST(RecordName, TimeIsGivenAsTheClockOnTheWallShowsIt)
{
    EXPECT_EQ(TimeText(START), "2026-11-22 06:55:03");
}

}  // namespace
