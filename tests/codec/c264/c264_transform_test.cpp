#include "codec/c264/c264_transform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>

#include "codec/c264/c264_copy.h"
#include "tests/codec/c264/c264_pixels_support.h"

namespace
{

using Matrix = std::array<std::array<int, 4>, 4>;  // row, column

c264_transform PlainTable()
{
    c264_transform table;
    c264_transform_init(&table, 0);
    return table;
}

// Equations 8-338 to 8-354 of 8.5.12.2, in whole integers.
Matrix InverseByClause(const Matrix& d)
{
    Matrix f{};
    for (int i = 0; i < 4; ++i) {
        const int e0 = d[i][0] + d[i][2];
        const int e1 = d[i][0] - d[i][2];
        const int e2 = (d[i][1] >> 1) - d[i][3];
        const int e3 = d[i][1] + (d[i][3] >> 1);
        f[i] = {e0 + e3, e1 + e2, e1 - e2, e0 - e3};
    }
    Matrix r{};
    for (int j = 0; j < 4; ++j) {
        const int g0 = f[0][j] + f[2][j];
        const int g1 = f[0][j] - f[2][j];
        const int g2 = (f[1][j] >> 1) - f[3][j];
        const int g3 = f[1][j] + (f[3][j] >> 1);
        const int h[4] = {g0 + g3, g1 + g2, g1 - g2, g0 - g3};
        for (int i = 0; i < 4; ++i)
            r[i][j] = (h[i] + 32) >> 6;
    }
    return r;
}

// The transform as the product of matrices, which holds exactly while no halving drops a bit.
Matrix InverseByMatrix(const Matrix& d)
{
    constexpr double C[4][4] = {{1, 1, 1, 1}, {1, 0.5, -0.5, -1}, {1, -1, -1, 1}, {0.5, -1, 1, -0.5}};
    Matrix r{};
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j) {
            double sum = 0;
            for (int k = 0; k < 4; ++k) {
                for (int l = 0; l < 4; ++l)
                    sum += C[k][i] * d[k][l] * C[l][j];
            }
            r[i][j] = static_cast<int>(std::floor((sum + 32) / 64));
        }
    }
    return r;
}

// Values that keep all intermediate results within 16 bits, as 8.5.12.2 demands of a stream.
Matrix RandomBlock(std::mt19937& random, int round, int multiple)
{
    Matrix d{};
    const int reach = (round % 3 == 0 ? 200 : 1800) / multiple;
    for (auto& row : d) {
        for (int& value : row) {
            value = (static_cast<int>(random() % (2 * reach + 1)) - reach) * multiple;
            if (round % 2 == 1 && random() % 4 != 0) value = 0;
        }
    }
    return d;
}

void Store(const Matrix& d, int16_t* coeffs)
{
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j)
            coeffs[4 * j + i] = static_cast<int16_t>(d[i][j]);
    }
}

void AddTo(CTestPlane& plane, int x0, int y0, const Matrix& residual)
{
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j) {
            uint8_t& pixel = plane.At(x0 + j, y0 + i);
            pixel = static_cast<uint8_t>(std::clamp(pixel + residual[i][j], 0, 255));
        }
    }
}

TEST(C264Transform, BlockFollowsTheClause)
{
    const c264_transform table = PlainTable();
    std::mt19937 random(1);
    for (int round = 0; round < 400; ++round) {
        CTestPlane frame;
        frame.Fill(random, round);
        const Matrix d = RandomBlock(random, round, 1);
        int16_t coeffs[16];
        Store(d, coeffs);
        CTestPlane expected = frame;
        AddTo(expected, 0, 0, InverseByClause(d));
        table.add_block(frame.Block(), CTestPlane::Stride(), frame.Block(), CTestPlane::Stride(), coeffs);
        ASSERT_TRUE(frame == expected) << "round " << round;
    }
}

TEST(C264Transform, BlockIsTheProductOfMatrices)
{
    const c264_transform table = PlainTable();
    std::mt19937 random(2);
    for (int round = 0; round < 400; ++round) {
        CTestPlane frame(128);
        const Matrix d = RandomBlock(random, round, 4);
        int16_t coeffs[16];
        Store(d, coeffs);
        CTestPlane expected = frame;
        AddTo(expected, 0, 0, InverseByMatrix(d));
        table.add_block(frame.Block(), CTestPlane::Stride(), frame.Block(), CTestPlane::Stride(), coeffs);
        ASSERT_TRUE(frame == expected) << "round " << round;
    }
}

TEST(C264Transform, QuadrantIsFourBlocksInReadingOrder)
{
    const c264_transform table = PlainTable();
    std::mt19937 random(3);
    for (int round = 0; round < TEST_ROUNDS; ++round) {
        CTestPlane prediction;
        prediction.Fill(random, round);
        CTestPlane frame(77);
        CTestPlane expected(77);
        for (int y = 0; y < 8; ++y) {
            for (int x = 0; x < 8; ++x)
                expected.At(x, y) = prediction.At(x, y);
        }
        int16_t coeffs[64];
        for (int block = 0; block < 4; ++block) {
            const Matrix d = RandomBlock(random, round + block, 1);
            Store(d, coeffs + 16 * block);
            AddTo(expected, 4 * (block % 2), 4 * (block / 2), InverseByClause(d));
        }
        const CTestPlane before = prediction;
        table.add_quadrant(frame.Block(), CTestPlane::Stride(), prediction.Block(), CTestPlane::Stride(),
                           coeffs);
        ASSERT_TRUE(frame == expected) << "round " << round;
        ASSERT_TRUE(prediction == before);
    }
}

TEST(C264Transform, FlatResidualsEqualTheTransformOfFirstCoefficients)
{
    const c264_transform table = PlainTable();
    c264_copy copies;
    c264_copy_init(&copies, 0);
    std::mt19937 random(4);
    for (int round = 0; round < 400; ++round) {
        CTestPlane prediction;
        prediction.Fill(random, round);
        int16_t coeffs[64] = {};
        for (int block = 0; block < 4; ++block)
            coeffs[16 * block] = static_cast<int16_t>(random());
        CTestPlane transformed;
        CTestPlane flat;
        table.add_quadrant(transformed.Block(), CTestPlane::Stride(), prediction.Block(), CTestPlane::Stride(),
                           coeffs);
        copies.add_flat(flat.Block(), CTestPlane::Stride(), prediction.Block(), CTestPlane::Stride(), coeffs);
        ASSERT_TRUE(flat == transformed) << "round " << round;
    }
}

TEST(C264Transform, LumaDcIsTheHadamardProduct)
{
    constexpr int H[4][4] = {{1, 1, 1, 1}, {1, 1, -1, -1}, {1, -1, -1, 1}, {1, -1, 1, -1}};
    const c264_transform table = PlainTable();
    std::mt19937 random(5);
    for (int round = 0; round < TEST_ROUNDS; ++round) {
        Matrix c{};
        int16_t dc[16];
        for (int k = 0; k < 16; ++k) {
            dc[k] = static_cast<int16_t>(static_cast<int>(random() % 4001) - 2000);
            c[k / 4][k % 4] = dc[k];
        }
        table.luma_dc(dc);
        for (int i = 0; i < 4; ++i) {
            for (int j = 0; j < 4; ++j) {
                int sum = 0;
                for (int k = 0; k < 4; ++k) {
                    for (int l = 0; l < 4; ++l)
                        sum += H[i][k] * c[k][l] * H[l][j];
                }
                ASSERT_EQ(sum, dc[4 * i + j]) << "round " << round << " at " << i << ", " << j;
            }
        }
    }
}

TEST(C264Transform, ChromaDcTransformsBothPlanes)
{
    const c264_transform table = PlainTable();
    std::mt19937 random(6);
    for (int round = 0; round < TEST_ROUNDS; ++round) {
        int16_t dc[8];
        int c[8];
        for (int k = 0; k < 8; ++k)
            c[k] = dc[k] = static_cast<int16_t>(static_cast<int>(random() % 8001) - 4000);
        table.chroma_dc(dc);
        for (int plane = 0; plane < 8; plane += 4) {
            const int a = c[plane];
            const int b = c[plane + 1];
            const int d = c[plane + 2];
            const int e = c[plane + 3];
            EXPECT_EQ(a + b + d + e, dc[plane]);
            EXPECT_EQ(a - b + d - e, dc[plane + 1]);
            EXPECT_EQ(a + b - d - e, dc[plane + 2]);
            EXPECT_EQ(a - b - d + e, dc[plane + 3]);
        }
    }
}

TEST(C264Transform, CoefficientsBeyondTheStandardWrapAround)
{
    const c264_transform table = PlainTable();
    CTestPlane frame(0);
    int16_t coeffs[16];
    std::fill_n(coeffs, 16, int16_t{32767});
    table.add_block(frame.Block(), CTestPlane::Stride(), frame.Block(), CTestPlane::Stride(), coeffs);
    // Rows: e0 = 65534 becomes -2, e3 = 49150 becomes -16386, f0 = -16388. First column: g0 = -32776 becomes
    // 32760, g3 = -24582, h0 = 8178, and (8178 + 32) >> 6 = 128; saturated sums would give white.
    EXPECT_EQ(128, frame.At(0, 0));

    int16_t dc[16];
    std::fill_n(dc, 16, int16_t{32767});
    table.luma_dc(dc);
    EXPECT_EQ(-16, dc[0]);
    EXPECT_EQ(0, dc[5]);
}

TEST(C264Transform, ScanIsTheZigZagByColumns)
{
    // Table 8-12: along the anti-diagonals, first to the right, the directions taking turns.
    int k = 0;
    for (int sum = 0; sum <= 6; ++sum) {
        for (int step = 0; step <= sum; ++step) {
            const int row = sum % 2 == 1 ? step : sum - step;
            const int column = sum - row;
            if (row > 3 || column > 3) continue;
            EXPECT_EQ(4 * column + row, C264_SCAN[k]) << "coefficient " << k;
            ++k;
        }
    }
    EXPECT_EQ(16, k);
}

}  // namespace
