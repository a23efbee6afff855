// The code tables of MPEG-4: what can be computed from the standard's own rules is computed here again.
#include "codec/mpeg4/mpeg4_tables.h"

#include <gtest/gtest.h>

#include <array>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

namespace
{
/// The share of all bit patterns that a table of `width` bits has no code for.
template <class Table>
size_t CountMissing(const Table& table)
{
    size_t missing = 0;
    for (const auto& entry : table)
        missing += entry.length == 0;
    return missing;
}

/// Each code must fill exactly the entries that begin with it: 2^(width - length) of them, side by side.
template <class Table, class Key>
void ExpectWholeCodes(const Table& table, int width, int extra, Key key)
{
    std::map<decltype(key(table[0])), std::pair<size_t, size_t>> places;  // first, count
    for (size_t i = 0; i < table.size(); ++i) {
        if (table[i].length == 0) continue;
        auto& place = places.try_emplace(key(table[i]), i, 0).first->second;
        EXPECT_EQ(i, place.first + place.second) << "the entries of a code are not in one piece";
        ++place.second;
    }
    for (const auto& [value, place] : places)
        EXPECT_EQ(place.second, size_t{1} << (width - table[place.first].length + extra));
}

TEST(Mpeg4Tables, McbpcIntraLeavesOutTheStuffingOnly)
{
    EXPECT_EQ(CountMissing(mpeg4_mcbpc_intra), 1u);  // 000000: stuffing begins so
    ExpectWholeCodes(mpeg4_mcbpc_intra, 6, 0, [](mpeg4_code code) { return code.value; });
    EXPECT_EQ(mpeg4_mcbpc_intra[0b100000].value, 3);
    EXPECT_EQ(mpeg4_mcbpc_intra[0b000011].value, 4 | 3 << 4);
}

TEST(Mpeg4Tables, McbpcInterHasAllTwentyCodes)
{
    std::set<int> values;
    for (const mpeg4_code& code : mpeg4_mcbpc_inter) {
        if (code.length) values.insert(code.value);
    }
    EXPECT_EQ(values.size(), 20u);
    for (int value : values)
        EXPECT_LE(value & 7, 4);
    EXPECT_EQ(CountMissing(mpeg4_mcbpc_inter), 2u);  // 000000000 and the stuffing
    EXPECT_EQ(mpeg4_mcbpc_inter[0].length, 0);
    EXPECT_EQ(mpeg4_mcbpc_inter[1].length, 0);
    EXPECT_EQ(mpeg4_mcbpc_inter[256].length, 1);
    EXPECT_EQ(mpeg4_mcbpc_inter[256].value, 0);
}

TEST(Mpeg4Tables, CbpyHasAllSixteenPatterns)
{
    std::set<int> values;
    for (const mpeg4_code& code : mpeg4_cbpy) {
        if (code.length) values.insert(code.value);
    }
    EXPECT_EQ(values.size(), 16u);
    EXPECT_EQ(CountMissing(mpeg4_cbpy), 2u);
    ExpectWholeCodes(mpeg4_cbpy, 6, 0, [](mpeg4_code code) { return code.value; });
}

TEST(Mpeg4Tables, VectorDifferencesAreSymmetric)
{
    // every index of the short table that isn't also the long one's
    std::map<int, int> lengths;
    for (size_t i = 16; i < 256; ++i)
        lengths[mpeg4_mvd_short[i].value] = mpeg4_mvd_short[i].length;
    for (const mpeg4_code& code : mpeg4_mvd_long) {
        if (code.length) lengths[code.value] = code.length;
    }
    ASSERT_EQ(lengths.size(), 65u);
    for (int magnitude = 1; magnitude <= 32; ++magnitude) {
        EXPECT_EQ(lengths.at(magnitude), lengths.at(-magnitude));
        EXPECT_GE(lengths.at(magnitude), magnitude > 1 ? lengths.at(magnitude - 1) : 3);
    }
    EXPECT_EQ(lengths.at(0), 1);
    EXPECT_EQ(lengths.at(32), 13);
    // all codes below 0000 0000 001 are missing but the two longest magnitudes
    EXPECT_EQ(CountMissing(mpeg4_mvd_long), 4u);
}

TEST(Mpeg4Tables, DcSizesAreUnaryAfterTheFirstThree)
{
    for (const auto& table : mpeg4_dc_size) {
        std::map<int, int> lengths;
        for (const mpeg4_code& code : table) {
            if (code.length) lengths[code.value] = code.length;
        }
        ASSERT_EQ(lengths.size(), 13u);
        for (int size = 5; size <= 12; ++size)
            EXPECT_EQ(lengths[size], lengths[size - 1] + 1);
    }
    EXPECT_EQ(CountMissing(mpeg4_dc_size[0]), 2u);
    EXPECT_EQ(CountMissing(mpeg4_dc_size[1]), 1u);
}

/// The largest level for each run and the largest run for each level, as tables B-19 to B-22 print them.
struct Limits {
    std::vector<int> maxLevel[2];
    std::vector<int> maxRun[2];
};

const Limits intraLimits = {{{27, 10, 5, 4, 3, 3, 3, 3, 2, 2, 1, 1, 1, 1, 1},
                             {8, 3, 2, 2, 2, 2, 2, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1}},
                            {{14, 9, 7, 3, 2, 1, 1, 1, 1, 1}, {20, 6, 1, 0, 0, 0, 0, 0}}};
const Limits interLimits = {{{12, 6, 4, 3, 3, 3, 3, 2, 2, 2, 2, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1},
                             std::vector<int>(41, 1)},
                            {{26, 10, 6, 2, 1, 1}, {40, 1, 0}}};

TEST(Mpeg4Tables, EscapeLimitsAreTheStandards)
{
    Limits expected[2] = {intraLimits, interLimits};
    expected[1].maxLevel[1][0] = 3;
    expected[1].maxLevel[1][1] = 2;
    for (size_t table = 0; table < 2; ++table) {
        for (int last = 0; last < 2; ++last) {
            const std::vector<int>& levels = expected[table].maxLevel[last];
            for (size_t run = 0; run < 64; ++run)
                EXPECT_EQ(mpeg4_escapes[table].max_level[last][run], run < levels.size() ? levels[run] : 0);
            const std::vector<int>& runs = expected[table].maxRun[last];
            for (size_t level = 1; level <= runs.size(); ++level)
                EXPECT_EQ(mpeg4_escapes[table].max_run[last][level], runs[level - 1]) << table << last << level;
        }
    }
}

TEST(Mpeg4Tables, RunLevelCodesAreAHundredAndTwoOfThePossible)
{
    for (const auto& table : mpeg4_run_level_codes) {
        std::set<std::tuple<int, int>> codes;
        size_t missing = 0;
        for (const mpeg4_run_level& code : table) {
            if (code.length)
                codes.insert({code.step, code.level});
            else
                ++missing;
        }
        EXPECT_EQ(codes.size(), 102u);
        // the escape's 2^5 entries, and those of 000000000
        EXPECT_EQ(missing, 32u + 8u);
        for (size_t i = 3 << 5; i < 4 << 5; ++i)
            EXPECT_EQ(table[i].length, 0);
        ExpectWholeCodes(table, 12, 1,
                         [](const mpeg4_run_level& code) { return std::tuple(code.step, code.level); });
    }
}

/// The level of the single code that `bits`, 12 of them, begin with.
int SignedLevel(const mpeg4_run_level& code, size_t bits)
{
    return bits >> (12 - code.length) & 1 ? -code.level : code.level;
}

TEST(Mpeg4Tables, PairsAreWhatTheSingleCodesGiveOneByOne)
{
    for (size_t table = 0; table < 2; ++table) {
        size_t twos = 0;
        for (size_t bits = 0; bits < 4096; ++bits) {
            const mpeg4_run_level_pair pair = mpeg4_run_level_pairs[table][bits];
            const mpeg4_run_level first = mpeg4_run_level_codes[table][bits];
            if (first.length == 0 || first.length > 12) {
                ASSERT_EQ(pair.length(), 0) << bits;
                continue;
            }
            ASSERT_EQ(pair.first_step(), first.step) << bits;
            ASSERT_EQ(static_cast<int>(pair.first_level()) - MPEG4_PAIR_ZERO, SignedLevel(first, bits)) << bits;
            const size_t rest = bits << first.length & 4095;
            const mpeg4_run_level second = mpeg4_run_level_codes[table][rest];
            const bool two =
                first.step < MPEG4_LAST_STEP && second.length != 0 && first.length + second.length <= 12;
            twos += two;
            ASSERT_EQ(pair.length(), first.length + (two ? second.length : 0)) << bits;
            ASSERT_EQ(pair.second_step(), two ? second.step : 0) << bits;
            ASSERT_EQ(static_cast<int>(pair.second_level()) - MPEG4_PAIR_ZERO,
                      two ? SignedLevel(second, rest) : 0)
                << bits;
        }
        EXPECT_GT(twos, 1000u);
    }
}

TEST(Mpeg4Tables, BothRunLevelTablesUseTheSameCodes)
{
    for (size_t i = 0; i < 4096; ++i)
        EXPECT_EQ(mpeg4_run_level_codes[0][i].length, mpeg4_run_level_codes[1][i].length);
}

TEST(Mpeg4Tables, ZigzagWalksTheDiagonals)
{
    size_t position = 0;
    for (int diagonal = 0; diagonal < 15; ++diagonal) {
        for (int step = 0; step <= diagonal; ++step) {
            const int row = diagonal % 2 ? step : diagonal - step;
            const int column = diagonal - row;
            if (row > 7 || column > 7) continue;
            EXPECT_EQ(mpeg4_scan_raster[MPEG4_SCAN_ZIGZAG][position++], row * 8 + column);
        }
    }
    EXPECT_EQ(position, 64u);
}

TEST(Mpeg4Tables, ScansVisitEveryPlaceOnce)
{
    for (size_t kind = 0; kind < 3; ++kind) {
        std::set<int> raster(mpeg4_scan_raster[kind].begin(), mpeg4_scan_raster[kind].end());
        std::set<int> memory(mpeg4_scan[kind].begin(), mpeg4_scan[kind].end());
        EXPECT_EQ(raster.size(), 64u);
        EXPECT_EQ(memory.size(), 64u);
        for (size_t i = 0; i < 64; ++i) {
            const int place = mpeg4_scan_raster[kind][i];
            EXPECT_EQ(mpeg4_scan[kind][i], mpeg4_coefficient_index(place / 8, place % 8));
        }
    }
}

TEST(Mpeg4Tables, DcLiesFirstInMemory)
{
    EXPECT_EQ(mpeg4_coefficient_index(0, 0), 0);
}
}  // namespace
