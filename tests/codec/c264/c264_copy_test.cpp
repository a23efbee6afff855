#include "codec/c264/c264_copy.h"

#include <gtest/gtest.h>

#include <random>

#include "tests/codec/c264/c264_pixels_support.h"

namespace
{

constexpr int WIDTHS[C264_WIDTHS] = {16, 8, 4, 2};

c264_copy PlainTable()
{
    c264_copy table;
    c264_copy_init(&table, 0);
    return table;
}

TEST(C264Copy, CopiesTheBlockAndNothingElse)
{
    const c264_copy table = PlainTable();
    std::mt19937 random(1);
    for (int slot = 0; slot < C264_WIDTHS; ++slot) {
        for (const int rows : {1, 2, 4, 8, 16}) {
            CTestPlane from;
            from.Fill(random, 0);
            CTestPlane to(9);
            CTestPlane expected(9);
            for (int y = 0; y < rows; ++y) {
                for (int x = 0; x < WIDTHS[slot]; ++x)
                    expected.At(x, y) = from.At(x, y);
            }
            table.copy[slot](to.Block(), CTestPlane::Stride(), from.Block(), CTestPlane::Stride(), rows);
            EXPECT_TRUE(to == expected) << WIDTHS[slot] << "x" << rows;
        }
    }
}

TEST(C264Copy, AveragesRoundUpwards)
{
    const c264_copy table = PlainTable();
    std::mt19937 random(2);
    for (int slot = 0; slot < C264_WIDTHS; ++slot) {
        for (int round = 0; round < TEST_ROUNDS; ++round) {
            CTestPlane a;
            CTestPlane b;
            a.Fill(random, round);
            b.Fill(random, round);
            CTestPlane expected = a;
            for (int y = 0; y < 8; ++y) {
                for (int x = 0; x < WIDTHS[slot]; ++x)
                    expected.At(x, y) = static_cast<uint8_t>((a.At(x, y) + b.At(x, y) + 1) / 2);
            }
            // The target is one of the sources.
            table.average[slot](a.Block(), CTestPlane::Stride(), a.Block(), CTestPlane::Stride(), b.Block(),
                                CTestPlane::Stride(), 8);
            ASSERT_TRUE(a == expected) << WIDTHS[slot] << " round " << round;
        }
    }
}

TEST(C264Copy, FlatResidualsAreRoundedAddedAndClipped)
{
    const c264_copy table = PlainTable();
    CTestPlane frame(250);
    int16_t coeffs[64] = {};
    coeffs[0] = 64;        // 1
    coeffs[16] = 31;       // rounds to 0
    coeffs[32] = -33;      // rounds to -1
    coeffs[48] = 64 * 20;  // clipped at 255
    coeffs[1] = 5000;      // not read
    table.add_flat(frame.Block(), CTestPlane::Stride(), frame.Block(), CTestPlane::Stride(), coeffs);
    CTestPlane expected(250);
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 4; ++x) {
            expected.At(x, y) = 251;
            expected.At(x, y + 4) = 249;
            expected.At(x + 4, y + 4) = 255;
        }
    }
    EXPECT_TRUE(frame == expected);
}

}  // namespace
