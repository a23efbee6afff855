#include "codec/c264/c264_dequant.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace
{

c264_dequant PlainTable()
{
    c264_dequant table;
    c264_dequant_init(&table, 0);
    return table;
}

// 8.5.9 with a flat matrix of sixteens: LevelScale4x4(m, i, j).
int64_t LevelScale(int m, int i, int j)
{
    static const int V[6][3] = {{10, 16, 13}, {11, 18, 14}, {13, 20, 16},
                                {14, 23, 18}, {16, 25, 20}, {18, 29, 23}};
    const int which = i % 2 == 0 && j % 2 == 0 ? 0 : i % 2 == 1 && j % 2 == 1 ? 1 : 2;
    return int64_t{16} * V[m][which];
}

// A level whose scaled value a conforming stream may have.
int16_t Level(std::mt19937& random, int qp)
{
    const int reach = std::min(2063, 32767 / (29 << (qp / 6)));
    return static_cast<int16_t>(static_cast<int>(random() % (2 * reach + 1)) - reach);
}

TEST(C264Dequant, BlocksScaleByTheClauseForEveryQp)
{
    const c264_dequant table = PlainTable();
    std::mt19937 random(1);
    for (int qp = 0; qp < 52; ++qp) {
        int16_t levels[64];
        for (int16_t& level : levels)
            level = Level(random, qp);
        int16_t block[16];
        int16_t quadrant[64];
        std::copy_n(levels, 16, block);
        std::copy_n(levels, 64, quadrant);
        table.block(block, C264_SCALE[qp].factor);
        table.quadrant(quadrant, C264_SCALE[qp].factor);
        for (int k = 0; k < 64; ++k) {
            const int64_t product = levels[k] * LevelScale(qp % 6, k % 4, k % 16 / 4);
            // Equations 8-336 and 8-337.
            const int64_t d =
                qp >= 24 ? product << (qp / 6 - 4) : (product + (int64_t{1} << (3 - qp / 6))) >> (4 - qp / 6);
            ASSERT_EQ(d, quadrant[k]) << "qp " << qp << " coefficient " << k;
            if (k < 16) {
                ASSERT_EQ(d, block[k]) << "qp " << qp << " coefficient " << k;
            }
        }
    }
}

TEST(C264Dequant, LumaDcScalesByTheClauseForEveryQp)
{
    const c264_dequant table = PlainTable();
    std::mt19937 random(2);
    for (int qp = 0; qp < 52; ++qp) {
        int16_t dc[16];
        int f[16];
        for (int k = 0; k < 16; ++k)
            f[k] = dc[k] = static_cast<int16_t>(4 * Level(random, qp) + static_cast<int>(random() % 4));
        table.luma_dc(dc, C264_SCALE_DC[qp].factor);
        for (int k = 0; k < 16; ++k) {
            const int64_t product = f[k] * LevelScale(qp % 6, 0, 0);
            // Equations 8-321 and 8-322.
            const int64_t value =
                qp >= 36 ? product << (qp / 6 - 6) : (product + (int64_t{1} << (5 - qp / 6))) >> (6 - qp / 6);
            ASSERT_EQ(value, dc[k]) << "qp " << qp << " value " << k;
        }
    }
}

TEST(C264Dequant, ChromaDcScalesByTheClauseForEveryQp)
{
    const c264_dequant table = PlainTable();
    std::mt19937 random(3);
    for (int qp = 0; qp < 52; ++qp) {
        int16_t dc[8];
        int f[8];
        for (int k = 0; k < 8; ++k)
            f[k] = dc[k] = static_cast<int16_t>(2 * Level(random, qp) + static_cast<int>(random() % 2));
        table.chroma_dc(dc, C264_SCALE_DC[qp].factor);
        for (int k = 0; k < 8; ++k) {
            // Equation 8-330.
            const int64_t value = ((f[k] * LevelScale(qp % 6, 0, 0)) << (qp / 6)) >> 5;
            ASSERT_EQ(value, dc[k]) << "qp " << qp << " value " << k;
        }
    }
}

TEST(C264Dequant, ValuesBeyondTheStandardHaveADefinedResult)
{
    const c264_dequant table = PlainTable();
    int16_t block[16];
    std::fill_n(block, 16, int16_t{-32768});
    table.block(block, C264_SCALE[1].factor);
    EXPECT_EQ(static_cast<int16_t>(-32768 * 11), block[0]) << "products keep their low 16 bits";
    int16_t dc[16];
    std::fill_n(dc, 16, int16_t{-32768});
    dc[1] = 32767;
    table.luma_dc(dc, C264_SCALE_DC[51].factor);
    EXPECT_EQ(-32768, dc[0]) << "DC values are clipped";
    EXPECT_EQ(32767, dc[1]);
    std::fill_n(dc, 8, int16_t{32767});
    table.chroma_dc(dc, C264_SCALE_DC[51].factor);
    EXPECT_EQ(32767, dc[0]);
}

}  // namespace
