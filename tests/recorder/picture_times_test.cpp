#include "recorder/media/PictureTimes.h"

#include <gmock/gmock.h>

#include <vector>

namespace
{

using recorder::PictureTimes;
using testing::ElementsAre;

constexpr double INTERVAL = 0.5;

// The times of some rounds of a file with these stamps.
std::vector<double> TimesOf(const std::vector<std::optional<double>>& stamps, int rounds = 2)
{
    PictureTimes times(INTERVAL);
    std::vector<double> all;
    for (int round = 0; round < rounds; ++round) {
        if (round > 0) times.Restart();
        for (const auto& stamp : stamps) {
            times.Next(stamp);
            all.push_back(times.Latest());
        }
    }
    return all;
}

TEST(PictureTimesTest, StampsCountFromTheFirstAndGrowOverRepeats)
{
    EXPECT_THAT(TimesOf({3.0, 3.25, 5.0}), ElementsAre(0, 0.25, 2, 2.5, 2.75, 4.5));
    EXPECT_THAT(TimesOf({-0.5, 0.0, 0.5}, 1), ElementsAre(0, 0.5, 1)) << "also from below zero";
}

TEST(PictureTimesTest, WithoutStampsThereIsOneIntervalFromPictureToPicture)
{
    EXPECT_THAT(TimesOf({{}, {}, {}}), ElementsAre(0, 0.5, 1, 1.5, 2, 2.5));
    EXPECT_THAT(TimesOf({0.0, {}, 2.0}, 1), ElementsAre(0, 0.5, 2)) << "or where one has none";
}

TEST(PictureTimesTest, NoPictureIsDueBeforeItsRoundBegan)
{
    EXPECT_THAT(TimesOf({4.0, 3.25}), ElementsAre(0, 0, 0.5, 0.5));
}

TEST(PictureTimesTest, StampsThatBeginAgainGoOnAfterTheLast)
{
    EXPECT_THAT(TimesOf({7.0, 7.5, 9.0, 1.0, 1.5, 3.0}, 1), ElementsAre(0, 0.5, 2, 2.5, 3, 4.5));
    EXPECT_THAT(TimesOf({4.0, 1.0, 1.25}, 1), ElementsAre(0, 0.5, 0.75)) << "at the first picture too";
    EXPECT_THAT(TimesOf({4.0, 4.5, 6.0, 1.0}), ElementsAre(0, 0.5, 2, 2.5, 3, 3.5, 5, 5.5));
}

TEST(PictureTimesTest, PictureThatOnlyComesOutOfOrderMovesNoOther)
{
    EXPECT_THAT(TimesOf({0.0, 2.0, 1.0, 3.0}, 1), ElementsAre(0, 2, 1, 3));
}

TEST(PictureTimesTest, GapIsWaitedForNoLongerThanFiveSeconds)
{
    EXPECT_THAT(TimesOf({0.0, 5.0, 10.25, 10.75, 95443.0, 95443.5}, 1), ElementsAre(0, 5, 10, 10.5, 15.5, 16));
}

}  // namespace
