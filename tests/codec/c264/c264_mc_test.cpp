#include "codec/c264/c264_mc.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "tests/codec/c264/c264_pixels_support.h"

namespace
{

c264_copy PlainCopies()
{
    c264_copy table;
    c264_copy_init(&table, 0);
    return table;
}

c264_mc PlainTable()
{
    c264_mc table;
    c264_mc_init(&table, PlainCopies(), 0);
    return table;
}

int Clip1(int value)
{
    return std::clamp(value, 0, 255);
}

// 8.4.2.2.1 with the clause's names: integer sample G at (x, y), half samples b, h, j, m, s around it.
class CLumaByClause
{
  public:
    explicit CLumaByClause(const CTestPlane& plane) : m_Plane(plane) {}

    int Sample(int x, int y, int xFraction, int yFraction) const
    {
        const int g = m_Plane.At(x, y);
        const int halfRight = m_Plane.At(x + 1, y);
        const int halfBelow = m_Plane.At(x, y + 1);
        const int b = Rounded(RowSum(x, y));
        const int h = Rounded(ColumnSum(x, y));
        const int m = Rounded(ColumnSum(x + 1, y));
        const int s = Rounded(RowSum(x, y + 1));
        const int j = Centre(x, y);
        switch (4 * yFraction + xFraction) {
            case 0:
                return g;
            case 1:
                return Average(g, b);
            case 2:
                return b;
            case 3:
                return Average(b, halfRight);
            case 4:
                return Average(g, h);
            case 5:
                return Average(b, h);
            case 6:
                return Average(b, j);
            case 7:
                return Average(b, m);
            case 8:
                return h;
            case 9:
                return Average(h, j);
            case 10:
                return j;
            case 11:
                return Average(j, m);
            case 12:
                return Average(h, halfBelow);
            case 13:
                return Average(h, s);
            case 14:
                return Average(j, s);
            default:
                return Average(s, m);
        }
    }

  private:
    static int Taps(int a, int b, int c, int d, int e, int f)
    {
        return a - 5 * b + 20 * c + 20 * d - 5 * e + f;
    }
    static int Average(int a, int b) { return (a + b + 1) >> 1; }
    static int Rounded(int sum) { return Clip1((sum + 16) >> 5); }

    int RowSum(int x, int y) const
    {
        return Taps(m_Plane.At(x - 2, y), m_Plane.At(x - 1, y), m_Plane.At(x, y), m_Plane.At(x + 1, y),
                    m_Plane.At(x + 2, y), m_Plane.At(x + 3, y));
    }
    int ColumnSum(int x, int y) const
    {
        return Taps(m_Plane.At(x, y - 2), m_Plane.At(x, y - 1), m_Plane.At(x, y), m_Plane.At(x, y + 1),
                    m_Plane.At(x, y + 2), m_Plane.At(x, y + 3));
    }
    // From the column sums cc, dd, h1, m1, ee, ff, the way that the kernels don't go.
    int Centre(int x, int y) const
    {
        const int j1 = Taps(ColumnSum(x - 2, y), ColumnSum(x - 1, y), ColumnSum(x, y), ColumnSum(x + 1, y),
                            ColumnSum(x + 2, y), ColumnSum(x + 3, y));
        return Clip1((j1 + 512) >> 10);
    }

    const CTestPlane& m_Plane;
};

TEST(C264Mc, LumaFollowsTheClauseAtAllPositionsAndSizes)
{
    const c264_mc table = PlainTable();
    constexpr int SIZES[][2] = {{16, 16}, {16, 8}, {8, 16}, {8, 8}, {8, 4}, {4, 8}, {4, 4}};
    std::mt19937 random(1);
    for (const auto& [width, rows] : SIZES) {
        const int slot = width == 16 ? C264_WIDTH_16 : width == 8 ? C264_WIDTH_8 : C264_WIDTH_4;
        for (int index = 0; index < 16; ++index) {
            for (int round = 0; round < 8; ++round) {
                CTestPlane from;
                from.Fill(random, round);
                CTestPlane to(33);
                CTestPlane expected(33);
                const CLumaByClause luma(from);
                for (int y = 0; y < rows; ++y) {
                    for (int x = 0; x < width; ++x)
                        expected.At(x, y) = static_cast<uint8_t>(luma.Sample(x, y, index % 4, index / 4));
                }
                table.luma[slot][index](to.Block(), CTestPlane::Stride(), from.Block(), CTestPlane::Stride(),
                                        rows);
                ASSERT_TRUE(to == expected)
                    << width << "x" << rows << " position " << index << " round " << round;
            }
        }
    }
}

TEST(C264Mc, ChromaFollowsTheClauseAtAllPositionsAndSizes)
{
    const c264_mc table = PlainTable();
    constexpr int SIZES[][2] = {{8, 8}, {8, 4}, {4, 8}, {4, 4}, {4, 2}, {2, 4}, {2, 2}};
    std::mt19937 random(2);
    for (const auto& [width, rows] : SIZES) {
        const int slot = width == 8 ? 0 : width == 4 ? 1 : 2;
        for (int index = 0; index < 64; ++index) {
            for (int round = 0; round < 4; ++round) {
                CTestPlane from;
                from.Fill(random, round);
                CTestPlane to(33);
                CTestPlane expected(33);
                const int xf = index % 8;
                const int yf = index / 8;
                for (int y = 0; y < rows; ++y) {
                    for (int x = 0; x < width; ++x) {
                        const int sum = (8 - xf) * (8 - yf) * from.At(x, y) +
                                        xf * (8 - yf) * from.At(x + 1, y) + (8 - xf) * yf * from.At(x, y + 1) +
                                        xf * yf * from.At(x + 1, y + 1);
                        expected.At(x, y) = static_cast<uint8_t>((sum + 32) >> 6);
                    }
                }
                table.chroma[slot](to.Block(), CTestPlane::Stride(), from.Block(), CTestPlane::Stride(), rows,
                                   index);
                ASSERT_TRUE(to == expected) << width << "x" << rows << " index " << index << " round " << round;
            }
        }
    }
}

TEST(C264Mc, WeightRowsAddUpToSixtyFour)
{
    ASSERT_EQ(64U, C264_CHROMA_WEIGHTS.size());
    for (int index = 0; index < 64; ++index) {
        const uint8_t* const w = C264_CHROMA_WEIGHTS[index].weight;
        EXPECT_EQ(64, w[0] + w[1] + w[2] + w[3]) << index;
        EXPECT_EQ(8 * (index % 8), w[1] + w[3]) << index;
        EXPECT_EQ(8 * (index / 8), w[2] + w[3]) << index;
    }
}

TEST(C264Mc, PositionsWithoutAFractionAreTheCopies)
{
    const c264_copy copies = PlainCopies();
    const c264_mc table = PlainTable();
    for (const auto width : {C264_WIDTH_16, C264_WIDTH_8, C264_WIDTH_4})
        EXPECT_EQ(copies.copy[width], table.luma[width][0]);
}

}  // namespace
