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

TEST(PictureTimesTest, StampsThatBeginAnewGoOnFromTheOneBefore)
{
    EXPECT_THAT(TimesOf({4.0, 5.0, 1.0, 2.0}), ElementsAre(0, 1, 1.5, 2.5, 3, 4, 4.5, 5.5));
    EXPECT_THAT(TimesOf({0.0, 1.0, 0.25, 1.5}, 1), ElementsAre(0, 1, 1, 1.5)) << "those out of order don't";
}

TEST(PictureTimesTest, TheOnlyPictureOfAFileComesAgainOnceASecond)
{
    EXPECT_THAT(TimesOf({0.0}, 4), ElementsAre(0, 1, 2, 3));
    EXPECT_THAT(TimesOf({std::nullopt}, 4), ElementsAre(0, 1, 2, 3));
    EXPECT_THAT(TimesOf({0.0, 0.5}, 2), ElementsAre(0, 0.5, 1, 1.5)) << "two are none";
}

TEST(PictureTimesTest, TheLastPictureHasItsOwnTime)
{
    PictureTimes times(INTERVAL);
    std::vector<double> all;
    const auto next = [&](std::optional<double> stamp, double lasts) {
        times.Next(stamp, lasts);
        all.push_back(times.Latest());
    };
    for (int round = 0; round < 2; ++round) {
        if (round > 0) times.Restart();
        next(0.0, 3);
        next(3.0, 4);
    }
    times.Restart();
    next(0.0, 0.25);
    next(0.25, 0.25);
    times.Restart();
    next(5.0, 90000);
    next(2.0, 1);
    next({}, 7);
    next({}, 7);
    EXPECT_THAT(all, ElementsAre(0, 3, 7, 10, 14, 14.25, 14.75, 24.75, 25.75, 26.25));
}

TEST(PictureTimesTest, AGapIsCutShort)
{
    EXPECT_THAT(TimesOf({1.0, 11.0, 90000.0, 90000.5}, 1), ElementsAre(0, 10, 20, 20.5));
}

}  // namespace
