// The tables of both entropy coders: codes are complete and their places hold what they should.
#include <gtest/gtest.h>

#include <set>

#include "codec/c264/c264_cabac_tables.h"
#include "codec/c264/c264_cavlc_tables.h"

namespace
{
TEST(C264Tables, EveryCoefficientTokenHasItsCode)
{
    for (size_t table = 0; table < 4; ++table) {
        SCOPED_TRACE(table);
        const int most = table == C264_TOKENS_CHROMA_DC ? 4 : 16;
        std::set<std::pair<int, int>> found;
        double share = 0;
        for (size_t place = 0; place < 128; ++place) {
            const c264_token& token = C264_TOKENS[table][place];
            EXPECT_LE(token.total, most);
            EXPECT_LE(token.ones, std::min<int>(token.total, 3));
            found.emplace(token.total, token.ones);
        }
        size_t expected = 0;
        for (int total = 0; total <= most; ++total)
            expected += static_cast<size_t>(std::min(total, 3) + 1);
        EXPECT_EQ(found.size(), expected);
        for (const auto& [total, ones] : found) {
            for (size_t place = 0; place < 128; ++place) {
                const c264_token& token = C264_TOKENS[table][place];
                if (token.total != total || token.ones != ones || token.length == 0) continue;
                share += 1.0 / static_cast<double>(uint32_t{1} << token.length);
                break;
            }
        }
        EXPECT_LE(share, 1.0) << "more codes than bits";
    }
}

TEST(C264Tables, TotalZerosAreCompleteCodes)
{
    for (int total = 1; total <= 15; ++total) {
        const c264_short_codes codes = C264_TOTAL_ZEROS.luma[total];
        std::set<int> values;
        for (size_t place = 0; place < size_t{1} << codes.bits; ++place)
            values.insert(C264_TOTAL_ZEROS.entries[codes.first + place] & 15);
        EXPECT_EQ(values.size(), static_cast<size_t>(17 - total)) << total;
    }
    for (int total = 1; total <= 3; ++total) {
        const c264_short_codes codes = C264_TOTAL_ZEROS.chroma_dc[total];
        std::set<int> values;
        for (size_t place = 0; place < size_t{1} << codes.bits; ++place)
            values.insert(C264_TOTAL_ZEROS.entries[codes.first + place] & 15);
        EXPECT_EQ(values.size(), static_cast<size_t>(5 - total)) << total;
    }
}

TEST(C264Tables, CodedBlockPatternsAreAPermutation)
{
    for (const auto& row : C264_CBP_OF_CODE)
        EXPECT_EQ(std::set<int>(std::begin(row), std::end(row)).size(), 48u);
}

uint64_t RangeOf(uint64_t record, int range)
{
    return record >> (C264_CABAC_TOP - 8 * range) & 0xFF;
}

TEST(C264Tables, StatesOfTheArithmeticDecoderLeadToTheirNeighbours)
{
    // the most even state: ranges 128 to 240; the less probable symbol changes the sides
    const uint64_t even = C264_CABAC_STATES[0];
    EXPECT_EQ(RangeOf(even, 0), 128u);
    EXPECT_EQ(RangeOf(even, 3), 240u);
    EXPECT_EQ(even & 0xFF, 2u);
    EXPECT_EQ(even >> 8 & 0xFF, 1u);
    // the least even one stays, and falls back to 38
    const uint64_t last = C264_CABAC_STATES[62 * 2 + 1];
    EXPECT_EQ(RangeOf(last, 0), 6u);
    EXPECT_EQ(last & 0xFF, 62u * 2 + 1);
    EXPECT_EQ(last >> 8 & 0xFF, 38u * 2 + 1);
    for (const uint64_t record : C264_CABAC_STATES) {
        for (int range = 0; range < 3; ++range)
            EXPECT_LE(RangeOf(record, range), RangeOf(record, range + 1));
    }
}

TEST(C264Tables, StartStatesAreClippedAndTakeEverySliceAndQuantiser)
{
    // context 0 of an I slice: m 20, n -15
    EXPECT_EQ(c264_cabac_start(0, 0)[0], (63 - 1) << 1);
    EXPECT_EQ(c264_cabac_start(0, 26)[0], (63 - 17) << 1);
    EXPECT_EQ(c264_cabac_start(0, 51)[0], (63 - 48) << 1);
    // context 11 of P slices by cabac_init_idc: 23 and 33, 22 and 25, 29 and 16
    EXPECT_EQ(c264_cabac_start(1, 16)[11], (63 - 56) << 1);
    EXPECT_EQ(c264_cabac_start(2, 16)[11], (63 - 47) << 1);
    EXPECT_EQ(c264_cabac_start(3, 16)[11], (63 - 45) << 1);
    EXPECT_EQ(c264_cabac_start(9, 16)[11], c264_cabac_start(3, 16)[11]);
    EXPECT_EQ(c264_cabac_start(0, -5)[0], c264_cabac_start(0, 0)[0]);
    EXPECT_EQ(c264_cabac_start(0, 99)[0], c264_cabac_start(0, 51)[0]);
}
}  // namespace
