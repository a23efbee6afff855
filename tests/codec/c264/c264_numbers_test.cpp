// The number tables of the H.264 decoder against the same numbers written down once more, in another form: no
// entry can be wrong unseen, in the middle of a table neither.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>

#include "codec/c264/c264_cabac_tables.h"
#include "codec/c264/c264_cavlc_tables.h"
#include "codec/c264/c264_deblock.h"
#include "codec/c264/c264_dequant.h"
#include "codec/c264/c264_transform.h"
#include "tests/support/h264_tables.h"

namespace
{
/// A row of Table 8-16 or 8-17 by its steps: the first index at which each value stands.
struct Step {
    int index;
    int value;
};

template <size_t COUNT>
int ValueAt(const Step (&steps)[COUNT], int index)
{
    int value = 0;
    for (const Step& step : steps) {
        if (step.index <= index) value = step.value;
    }
    return value;
}

constexpr Step ALPHA[] = {{16, 4},   {18, 5},   {19, 6},   {20, 7},   {21, 8},   {22, 9},   {23, 10},
                          {24, 12},  {25, 13},  {26, 15},  {27, 17},  {28, 20},  {29, 22},  {30, 25},
                          {31, 28},  {32, 32},  {33, 36},  {34, 40},  {35, 45},  {36, 50},  {37, 56},
                          {38, 63},  {39, 71},  {40, 80},  {41, 90},  {42, 101}, {43, 113}, {44, 127},
                          {45, 144}, {46, 162}, {47, 182}, {48, 203}, {49, 226}, {50, 255}};
constexpr Step BETA[] = {{16, 2},  {19, 3},  {23, 4},  {26, 6},  {28, 7},  {30, 8},  {32, 9},  {34, 10},
                         {36, 11}, {38, 12}, {40, 13}, {42, 14}, {44, 15}, {46, 16}, {48, 17}, {50, 18}};
constexpr Step TC0_1[] = {{23, 1}, {33, 2}, {37, 3}, {40, 4},  {43, 5},  {44, 6},
                          {46, 7}, {47, 8}, {48, 9}, {49, 10}, {50, 11}, {51, 13}};
constexpr Step TC0_2[] = {{21, 1}, {31, 2},  {35, 3},  {38, 4},  {40, 5},  {42, 6},  {43, 7},
                          {44, 8}, {46, 10}, {47, 11}, {48, 12}, {49, 13}, {50, 15}, {51, 17}};
constexpr Step TC0_3[] = {{17, 1},  {27, 2},  {31, 3},  {34, 4},  {37, 5},  {38, 6},
                          {40, 7},  {41, 8},  {42, 9},  {43, 10}, {44, 11}, {45, 13},
                          {46, 14}, {47, 16}, {48, 18}, {49, 20}, {50, 23}, {51, 25}};

TEST(C264Numbers, ThresholdsOfTheFilterAreTheStandards)
{
    for (int index = 0; index < 52; ++index) {
        EXPECT_EQ(C264_ALPHA[index], ValueAt(ALPHA, index)) << index;
        EXPECT_EQ(C264_BETA[index], ValueAt(BETA, index)) << index;
    }
}

TEST(C264Numbers, ClipValuesOfTheFilterAreTheStandards)
{
    for (int index = 0; index < 52; ++index) {
        EXPECT_EQ(C264_TC0[index][0], -1) << index;
        EXPECT_EQ(C264_TC0[index][1], ValueAt(TC0_1, index)) << index;
        EXPECT_EQ(C264_TC0[index][2], ValueAt(TC0_2, index)) << index;
        EXPECT_EQ(C264_TC0[index][3], ValueAt(TC0_3, index)) << index;
    }
}

TEST(C264Numbers, ScanIsTheStandardsZigZag)
{
    // Figure 8-8, zig-zag: column and row of each coefficient
    static const int places[16][2] = {{0, 0}, {1, 0}, {0, 1}, {0, 2}, {1, 1}, {2, 0}, {3, 0}, {2, 1},
                                      {1, 2}, {0, 3}, {1, 3}, {2, 2}, {3, 1}, {3, 2}, {2, 3}, {3, 3}};
    for (size_t k = 0; k < 16; ++k)
        EXPECT_EQ(C264_SCAN[k], 4 * places[k][0] + places[k][1]) << k;
}

TEST(C264Numbers, FactorsOfEveryQuantiserAreTheStandardsAtEveryPlace)
{
    for (size_t qp = 0; qp < 52; ++qp) {
        for (int k = 0; k < 16; ++k) {
            const int factor = H264LevelScale(static_cast<int>(qp), k);
            EXPECT_EQ(C264_SCALE[qp].factor[C264_SCAN[k]], factor) << "qp " << qp << " coefficient " << k;
            EXPECT_EQ(C264_SCALE_DC[qp].factor[k], H264LevelScale(static_cast<int>(qp), 0)) << "qp " << qp;
        }
    }
}

TEST(C264Numbers, CodedBlockPatternsAreTheStandards)
{
    for (size_t code = 0; code < 48; ++code) {
        EXPECT_EQ(C264_CBP_OF_CODE[0][code], H264_CBP_INTRA[code]) << code;
        EXPECT_EQ(C264_CBP_OF_CODE[1][code], H264_CBP_INTER[code]) << code;
    }
}

TEST(C264Numbers, StartsOfEveryContextThatStreamsUseAreTheStandards)
{
    for (int kind = 0; kind < 4; ++kind) {
        const H264ContextStart* const starts =
            kind == 0 ? H264_CONTEXT_START_I : H264_CONTEXT_START_P[kind - 1];
        for (int qp = 0; qp < 52; ++qp) {
            const uint8_t* const found = c264_cabac_start(kind, qp);
            for (int context = 0; context < H264_CONTEXTS - 1; ++context) {
                const H264ContextStart& start = starts[context];
                if (start.m == 0 && start.n == 0 && !(context >= 166 && context < 227)) continue;  // not used
                const int state = std::clamp((start.m * qp >> 4) + start.n, 1, 126);
                const int expected = state <= 63 ? (63 - state) << 1 : (state - 64) << 1 | 1;
                ASSERT_EQ(found[context], expected)
                    << "kind " << kind << " qp " << qp << " context " << context;
            }
        }
    }
}
}  // namespace
