#include "recorder/protocol/DatagramRuns.h"

#include <gmock/gmock.h>

#include "tests/recorder/datagram_support.h"

namespace
{

using namespace recorder;
using testing::ElementsAre;

std::vector<Datagram> To(const Endpoint& to, const std::vector<size_t>& sizes)
{
    std::vector<Datagram> datagrams;
    for (const size_t size : sizes)
        datagrams.push_back({to, Bytes(size)});
    return datagrams;
}

std::vector<size_t> Runs(const std::vector<Datagram>& datagrams)
{
    std::vector<size_t> counts;
    for (std::span<const Datagram> left = datagrams; !left.empty(); left = left.subspan(counts.back()))
        counts.push_back(CountRun(left));
    return counts;
}

TEST(DatagramRunsTest, NoneMakeNoRun)
{
    EXPECT_EQ(CountRun({}), 0U);
}

TEST(DatagramRunsTest, EqualSizesMakeOneRunWithAShorterLast)
{
    EXPECT_THAT(Runs(To(ALICE, {1120})), ElementsAre(1));
    EXPECT_THAT(Runs(To(ALICE, {1120, 1120, 1120})), ElementsAre(3));
    EXPECT_THAT(Runs(To(ALICE, {1120, 1120, 97})), ElementsAre(3));
    EXPECT_THAT(Runs(To(ALICE, {1120, 97})), ElementsAre(2));
}

TEST(DatagramRunsTest, NothingFollowsTheShorterOne)
{
    EXPECT_THAT(Runs(To(ALICE, {1120, 1120, 97, 97, 96})), ElementsAre(3, 2));
    EXPECT_THAT(Runs(To(ALICE, {1120, 97, 1120})), ElementsAre(2, 1));
}

TEST(DatagramRunsTest, LongerOneBeginsAnew)
{
    EXPECT_THAT(Runs(To(ALICE, {97, 1120, 1120})), ElementsAre(1, 2));
}

TEST(DatagramRunsTest, AnotherEndpointBeginsAnew)
{
    auto datagrams = To(ALICE, {96, 96, 96, 96, 96});
    datagrams[2].to = BOB;
    EXPECT_THAT(Runs(datagrams), ElementsAre(2, 1, 2));
    datagrams[2].to = {ALICE.address + 1, ALICE.port};
    EXPECT_THAT(Runs(datagrams), ElementsAre(2, 1, 2));
}

TEST(DatagramRunsTest, EmptyOneIsAlone)
{
    EXPECT_THAT(Runs(To(ALICE, {0, 0, 5, 5, 0, 5})), ElementsAre(1, 1, 2, 1, 1));
}

TEST(DatagramRunsTest, RunHasNoMoreThan64)
{
    EXPECT_THAT(Runs(To(ALICE, std::vector<size_t>(130, 10))), ElementsAre(64, 64, 2));
}

TEST(DatagramRunsTest, RunFitsOneDatagram)
{
    EXPECT_THAT(Runs(To(ALICE, std::vector<size_t>(60, 1120))), ElementsAre(58, 2));
    EXPECT_THAT(Runs(To(ALICE, {65506, 1, 1})), ElementsAre(2, 1));
    EXPECT_THAT(Runs(To(ALICE, {65506, 2})), ElementsAre(1, 1));
}

std::vector<size_t> Segments(size_t bytes, size_t segment)
{
    const Bytes all(bytes);
    std::vector<size_t> sizes;
    std::span<const uint8_t> left = all;
    do
        sizes.push_back(TakeSegment(left, segment).size());
    while (!left.empty());
    return sizes;
}

TEST(DatagramRunsTest, BurstIsCutWithAShorterLast)
{
    EXPECT_THAT(Segments(300, 100), ElementsAre(100, 100, 100));
    EXPECT_THAT(Segments(250, 100), ElementsAre(100, 100, 50));
    EXPECT_THAT(Segments(100, 100), ElementsAre(100));
    EXPECT_THAT(Segments(50, 100), ElementsAre(50));
}

TEST(DatagramRunsTest, SingleDatagramIsNotCut)
{
    EXPECT_THAT(Segments(300, 0), ElementsAre(300));
    EXPECT_THAT(Segments(0, 0), ElementsAre(0));
}

TEST(DatagramRunsTest, SegmentsAreTheBytesInOrder)
{
    const Bytes all{1, 2, 3, 4, 5};
    std::span<const uint8_t> left = all;
    EXPECT_THAT(TakeSegment(left, 2), ElementsAre(1, 2));
    EXPECT_THAT(TakeSegment(left, 2), ElementsAre(3, 4));
    EXPECT_THAT(TakeSegment(left, 2), ElementsAre(5));
}

}  // namespace
