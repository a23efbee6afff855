// When the pictures of a record are due, with made-up times.

#include "recorder/server/RecordPace.h"

#include <gtest/gtest.h>

namespace
{

using namespace std::chrono_literals;
using recorder::RecordPace;

constexpr auto NOW = RecordPace::Clock::time_point(1h);

TEST(RecordPace, PicturesAreDueAtTheirDistances)
{
    RecordPace pace;
    EXPECT_EQ(pace.DueOf(200ms, NOW), NOW) << "the first is due at once";
    EXPECT_EQ(pace.DueOf(240ms, NOW), NOW + 40ms);
    EXPECT_EQ(pace.DueOf(300ms, NOW + 70ms), NOW + 100ms);
}

TEST(RecordPace, LittleThatWasMissedIsCaughtUp)
{
    RecordPace pace;
    pace.DueOf(0ms, NOW);
    EXPECT_EQ(pace.DueOf(40ms, NOW + 40ms + RecordPace::MOST_LATE), NOW + 40ms);
    EXPECT_EQ(pace.DueOf(80ms, NOW + 40ms + RecordPace::MOST_LATE), NOW + 80ms);
}

TEST(RecordPace, WhoWasVeryLateGoesOnAtTheRecordsPace)
{
    RecordPace pace;
    pace.DueOf(0ms, NOW);
    const auto late = NOW + 41ms + RecordPace::MOST_LATE;
    EXPECT_EQ(pace.DueOf(40ms, late), late);
    EXPECT_EQ(pace.DueOf(80ms, late), late + 40ms);
}

TEST(RecordPace, LongGapIsCutShort)
{
    RecordPace pace;
    pace.DueOf(0ms, NOW);
    EXPECT_EQ(pace.DueOf(RecordPace::MOST_WAIT, NOW), NOW + RecordPace::MOST_WAIT);
    EXPECT_EQ(pace.DueOf(1h, NOW), NOW + RecordPace::MOST_WAIT);
    EXPECT_EQ(pace.DueOf(1h + 40ms, NOW), NOW + RecordPace::MOST_WAIT) << "no longer from now, whichever it is";
    EXPECT_EQ(pace.DueOf(1h + 80ms, NOW + RecordPace::MOST_WAIT), NOW + RecordPace::MOST_WAIT + 40ms);
}

}  // namespace
