#include "recorder/protocol/Faults.h"

#include <gmock/gmock.h>

#include <algorithm>

#include "tests/recorder/datagram_support.h"

namespace
{

using namespace recorder;

// What becomes of numbered datagrams, each passed one millisecond after the other.
std::vector<Bytes> Pass(Faults& faults, int count)
{
    std::vector<Datagram> ready;
    for (int i = 0; i < count; ++i) {
        Bytes bytes(100, 0);
        WriteU32(bytes.data(), static_cast<uint32_t>(i));
        faults.Pass(i * MILLISECOND, {ALICE, bytes}, ready);
        faults.Release(i * MILLISECOND, ready);
    }
    faults.Release(3600 * SECOND, ready);
    std::vector<Bytes> all;
    for (const Datagram& datagram : ready)
        all.push_back(datagram.bytes);
    return all;
}

std::vector<uint32_t> Numbers(const std::vector<Bytes>& all)
{
    std::vector<uint32_t> numbers;
    for (const Bytes& bytes : all)
        numbers.push_back(ReadU32(bytes.data()));
    return numbers;
}

TEST(FaultsTest, WithoutRatesEverythingPassesUnchanged)
{
    Faults faults({}, 1);
    const auto numbers = Numbers(Pass(faults, 100));
    ASSERT_EQ(numbers.size(), 100U);
    EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()));
    EXPECT_FALSE(FaultRates().Any());
}

TEST(FaultsTest, LossComesAtItsRate)
{
    FaultRates rates;
    rates.loss = 10;
    Faults faults(rates, 1);
    const size_t left = Pass(faults, 10'000).size();
    EXPECT_NEAR(static_cast<double>(left), 9'000, 150);
    EXPECT_EQ(faults.Counts().lost, 10'000 - left);
}

TEST(FaultsTest, DuplicatesComeAtTheirRate)
{
    FaultRates rates;
    rates.duplicate = 5;
    Faults faults(rates, 1);
    EXPECT_NEAR(static_cast<double>(Pass(faults, 10'000).size()), 10'500, 120);
}

TEST(FaultsTest, ReorderedOnesAreOvertakenByUpToThreeButNotLost)
{
    FaultRates rates;
    rates.reorder = 20;
    Faults faults(rates, 1);
    const auto numbers = Numbers(Pass(faults, 1000));
    EXPECT_EQ(numbers.size(), 1000U);
    EXPECT_FALSE(std::is_sorted(numbers.begin(), numbers.end()));
    EXPECT_GT(faults.Counts().reordered, 100U);
    auto sorted = numbers;
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(std::unique(sorted.begin(), sorted.end()), sorted.end());
}

TEST(FaultsTest, AHeldDatagramGoesWhenNoneFollows)
{
    FaultRates rates;
    rates.reorder = 100;
    Faults faults(rates, 1);
    std::vector<Datagram> ready;
    faults.Pass(0, {ALICE, {1}}, ready);
    EXPECT_TRUE(ready.empty());
    const TimeUs due = faults.Release(0, ready);
    ASSERT_NE(due, NEVER);
    EXPECT_EQ(faults.Release(due, ready), NEVER);
    EXPECT_EQ(ready.size(), 1U);
}

TEST(FaultsTest, DelayKeepsTheOrder)
{
    FaultRates rates;
    rates.delay = 5 * MILLISECOND;
    Faults faults(rates, 1);
    std::vector<Datagram> ready;
    faults.Pass(0, {ALICE, {1}}, ready);
    faults.Pass(MILLISECOND, {ALICE, {2}}, ready);
    EXPECT_EQ(faults.Release(4 * MILLISECOND, ready), 5 * MILLISECOND);
    EXPECT_TRUE(ready.empty());
    EXPECT_EQ(faults.Release(5 * MILLISECOND, ready), 6 * MILLISECOND);
    EXPECT_EQ(faults.Release(6 * MILLISECOND, ready), NEVER);
    ASSERT_EQ(ready.size(), 2U);
    EXPECT_EQ(ready[0].bytes, Bytes{1});
}

TEST(FaultsTest, DelayIsBounded)
{
    FaultRates rates;
    rates.delay = 3600 * SECOND;
    Faults faults(rates, 1);
    std::vector<Datagram> ready;
    for (int i = 0; i < 10'000; ++i)
        faults.Pass(0, {ALICE, {1}}, ready);
    EXPECT_EQ(faults.Counts().lost, 10'000U - 8192U);
}

TEST(FaultsTest, GarbageChangesDatagrams)
{
    FaultRates rates;
    rates.garbage = 100;
    Faults faults(rates, 1);
    std::vector<Datagram> ready;
    const Bytes good(200, 0x55);
    size_t shorter = 0;
    for (int i = 0; i < 200; ++i)
        faults.Pass(0, {ALICE, good}, ready);
    for (const Datagram& datagram : ready) {
        EXPECT_NE(datagram.bytes, good);
        if (datagram.bytes.size() < good.size()) ++shorter;
    }
    EXPECT_EQ(ready.size(), 200U);
    EXPECT_GT(shorter, 20U);
    faults.Pass(0, {ALICE, {}}, ready);  // nothing in it to change
}

TEST(FaultsTest, WrongLengthsTouchOnlyTheLength)
{
    FaultRates rates;
    rates.wrongLength = 100;
    Faults faults(rates, 1);
    const uint32_t word = PackHeader({true, 17, 5000});
    size_t changed = 0;
    for (int i = 0; i < 100; ++i) {
        const HeaderWord header = UnpackHeader(faults.SpoilHeader(word));
        EXPECT_TRUE(header.direction);
        EXPECT_EQ(header.channel, 17);
        if (header.length != 5000) ++changed;
    }
    EXPECT_GT(changed, 95U);
    EXPECT_EQ(Faults({}, 1).SpoilHeader(word), word);
}

TEST(FaultsTest, SameSeedDoesTheSameHarm)
{
    FaultRates rates;
    rates.loss = 10;
    rates.reorder = 10;
    rates.duplicate = 10;
    rates.garbage = 10;
    Faults first(rates, 7);
    Faults second(rates, 7);
    Faults other(rates, 8);
    const auto expected = Pass(first, 500);
    EXPECT_EQ(Pass(second, 500), expected);
    EXPECT_NE(Pass(other, 500), expected);
}

}  // namespace
