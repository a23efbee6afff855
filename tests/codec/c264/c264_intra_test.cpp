#include "codec/c264/c264_intra.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <string>

#include "tests/codec/c264/c264_pixels_support.h"

// Each mode is compared with the formula of its clause of ITU-T H.264, one sample at a time.

namespace
{

using Sample = std::function<int(const CTestPlane& p, int x, int y)>;

int Clip1(int value)
{
    return std::clamp(value, 0, 255);
}

int SumTop(const CTestPlane& p, int first, int count)
{
    int sum = 0;
    for (int x = first; x < first + count; ++x)
        sum += p.At(x, -1);
    return sum;
}

int SumLeft(const CTestPlane& p, int first, int count)
{
    int sum = 0;
    for (int y = first; y < first + count; ++y)
        sum += p.At(-1, y);
    return sum;
}

// 8.3.3.4
int Plane16(const CTestPlane& p, int x, int y)
{
    int h = 0;
    int v = 0;
    for (int k = 0; k <= 7; ++k) {
        h += (k + 1) * (p.At(8 + k, -1) - p.At(6 - k, -1));
        v += (k + 1) * (p.At(-1, 8 + k) - p.At(-1, 6 - k));
    }
    const int a = 16 * (p.At(-1, 15) + p.At(15, -1));
    const int b = (5 * h + 32) >> 6;
    const int c = (5 * v + 32) >> 6;
    return Clip1((a + b * (x - 7) + c * (y - 7) + 16) >> 5);
}

// 8.3.4.4 with xCF = yCF = 0
int Plane8(const CTestPlane& p, int x, int y)
{
    int h = 0;
    int v = 0;
    for (int k = 0; k <= 3; ++k) {
        h += (k + 1) * (p.At(4 + k, -1) - p.At(2 - k, -1));
        v += (k + 1) * (p.At(-1, 4 + k) - p.At(-1, 2 - k));
    }
    const int a = 16 * (p.At(-1, 7) + p.At(7, -1));
    const int b = (34 * h + 32) >> 6;
    const int c = (34 * v + 32) >> 6;
    return Clip1((a + b * (x - 3) + c * (y - 3) + 16) >> 5);
}

// 8.3.4.1 to 8.3.4.3: chroma DC by 4x4 block, with the edges that are there.
int ChromaDc(const CTestPlane& p, int x, int y, bool hasLeft, bool hasTop)
{
    const int xo = x & ~3;
    const int yo = y & ~3;
    const int top = (SumTop(p, xo, 4) + 2) >> 2;
    const int left = (SumLeft(p, yo, 4) + 2) >> 2;
    const bool diagonal = (xo == 0 && yo == 0) || (xo > 0 && yo > 0);
    if (diagonal) {
        if (hasLeft && hasTop) return (SumTop(p, xo, 4) + SumLeft(p, yo, 4) + 4) >> 3;
        return hasLeft ? left : hasTop ? top : 128;
    }
    if (xo > 0) return hasTop ? top : hasLeft ? left : 128;
    return hasLeft ? left : hasTop ? top : 128;
}

// 8.3.1.2.4 to 8.3.1.2.9
int DiagonalDownLeft(const CTestPlane& p, int x, int y)
{
    if (x == 3 && y == 3) return (p.At(6, -1) + 3 * p.At(7, -1) + 2) >> 2;
    return (p.At(x + y, -1) + 2 * p.At(x + y + 1, -1) + p.At(x + y + 2, -1) + 2) >> 2;
}

int DiagonalDownRight(const CTestPlane& p, int x, int y)
{
    if (x > y) return (p.At(x - y - 2, -1) + 2 * p.At(x - y - 1, -1) + p.At(x - y, -1) + 2) >> 2;
    if (x < y) return (p.At(-1, y - x - 2) + 2 * p.At(-1, y - x - 1) + p.At(-1, y - x) + 2) >> 2;
    return (p.At(0, -1) + 2 * p.At(-1, -1) + p.At(-1, 0) + 2) >> 2;
}

int VerticalRight(const CTestPlane& p, int x, int y)
{
    const int z = 2 * x - y;
    const int k = x - (y >> 1);
    if (z >= 0 && z % 2 == 0) return (p.At(k - 1, -1) + p.At(k, -1) + 1) >> 1;
    if (z >= 0) return (p.At(k - 2, -1) + 2 * p.At(k - 1, -1) + p.At(k, -1) + 2) >> 2;
    if (z == -1) return (p.At(-1, 0) + 2 * p.At(-1, -1) + p.At(0, -1) + 2) >> 2;
    return (p.At(-1, y - 1) + 2 * p.At(-1, y - 2) + p.At(-1, y - 3) + 2) >> 2;
}

int HorizontalDown(const CTestPlane& p, int x, int y)
{
    const int z = 2 * y - x;
    const int k = y - (x >> 1);
    if (z >= 0 && z % 2 == 0) return (p.At(-1, k - 1) + p.At(-1, k) + 1) >> 1;
    if (z >= 0) return (p.At(-1, k - 2) + 2 * p.At(-1, k - 1) + p.At(-1, k) + 2) >> 2;
    if (z == -1) return (p.At(-1, 0) + 2 * p.At(-1, -1) + p.At(0, -1) + 2) >> 2;
    return (p.At(x - 1, -1) + 2 * p.At(x - 2, -1) + p.At(x - 3, -1) + 2) >> 2;
}

int VerticalLeft(const CTestPlane& p, int x, int y)
{
    const int k = x + (y >> 1);
    if (y % 2 == 0) return (p.At(k, -1) + p.At(k + 1, -1) + 1) >> 1;
    return (p.At(k, -1) + 2 * p.At(k + 1, -1) + p.At(k + 2, -1) + 2) >> 2;
}

int HorizontalUp(const CTestPlane& p, int x, int y)
{
    const int z = x + 2 * y;
    const int k = y + (x >> 1);
    if (z > 5) return p.At(-1, 3);
    if (z == 5) return (p.At(-1, 2) + 3 * p.At(-1, 3) + 2) >> 2;
    if (z % 2 == 0) return (p.At(-1, k) + p.At(-1, k + 1) + 1) >> 1;
    return (p.At(-1, k) + 2 * p.At(-1, k + 1) + p.At(-1, k + 2) + 2) >> 2;
}

int TopOf(const CTestPlane& p, int x, int /*y*/)
{
    return p.At(x, -1);
}

int LeftOf(const CTestPlane& p, int /*x*/, int y)
{
    return p.At(-1, y);
}

int Constant(const CTestPlane& /*p*/, int /*x*/, int /*y*/)
{
    return 128;
}

struct ModeRow {
    const char* name;
    int index;
    Sample sample;
};

const ModeRow LUMA16[] = {
    {"vertical", C264_LUMA16_VERTICAL, TopOf},
    {"horizontal", C264_LUMA16_HORIZONTAL, LeftOf},
    {"dc", C264_LUMA16_DC,
     [](const CTestPlane& p, int, int) { return (SumTop(p, 0, 16) + SumLeft(p, 0, 16) + 16) >> 5; }},
    {"plane", C264_LUMA16_PLANE, Plane16},
    {"dc_left", C264_LUMA16_DC_LEFT,
     [](const CTestPlane& p, int, int) { return (SumLeft(p, 0, 16) + 8) >> 4; }},
    {"dc_top", C264_LUMA16_DC_TOP, [](const CTestPlane& p, int, int) { return (SumTop(p, 0, 16) + 8) >> 4; }},
    {"dc_128", C264_LUMA16_DC_128, Constant},
};

const ModeRow CHROMA8[] = {
    {"dc", C264_CHROMA8_DC, [](const CTestPlane& p, int x, int y) { return ChromaDc(p, x, y, true, true); }},
    {"horizontal", C264_CHROMA8_HORIZONTAL, LeftOf},
    {"vertical", C264_CHROMA8_VERTICAL, TopOf},
    {"plane", C264_CHROMA8_PLANE, Plane8},
    {"dc_left", C264_CHROMA8_DC_LEFT,
     [](const CTestPlane& p, int x, int y) { return ChromaDc(p, x, y, true, false); }},
    {"dc_top", C264_CHROMA8_DC_TOP,
     [](const CTestPlane& p, int x, int y) { return ChromaDc(p, x, y, false, true); }},
    {"dc_128", C264_CHROMA8_DC_128, Constant},
};

const ModeRow LUMA4[] = {
    {"vertical", C264_LUMA4_VERTICAL, TopOf},
    {"horizontal", C264_LUMA4_HORIZONTAL, LeftOf},
    {"dc", C264_LUMA4_DC,
     [](const CTestPlane& p, int, int) { return (SumTop(p, 0, 4) + SumLeft(p, 0, 4) + 4) >> 3; }},
    {"diagonal_down_left", C264_LUMA4_DIAGONAL_DOWN_LEFT, DiagonalDownLeft},
    {"diagonal_down_right", C264_LUMA4_DIAGONAL_DOWN_RIGHT, DiagonalDownRight},
    {"vertical_right", C264_LUMA4_VERTICAL_RIGHT, VerticalRight},
    {"horizontal_down", C264_LUMA4_HORIZONTAL_DOWN, HorizontalDown},
    {"vertical_left", C264_LUMA4_VERTICAL_LEFT, VerticalLeft},
    {"horizontal_up", C264_LUMA4_HORIZONTAL_UP, HorizontalUp},
    {"dc_left", C264_LUMA4_DC_LEFT, [](const CTestPlane& p, int, int) { return (SumLeft(p, 0, 4) + 2) >> 2; }},
    {"dc_top", C264_LUMA4_DC_TOP, [](const CTestPlane& p, int, int) { return (SumTop(p, 0, 4) + 2) >> 2; }},
    {"dc_128", C264_LUMA4_DC_128, Constant},
};

c264_intra PlainTable()
{
    c264_intra table;
    c264_intra_init(&table, 0);
    return table;
}

// The frame after `row` predicted its block into it.
CTestPlane Expected(const CTestPlane& frame, const ModeRow& row, int size)
{
    CTestPlane expected = frame;
    for (int y = 0; y < size; ++y) {
        for (int x = 0; x < size; ++x)
            expected.At(x, y) = static_cast<uint8_t>(row.sample(frame, x, y));
    }
    return expected;
}

void CompareIntoFrame(const c264_intra_fn* slots, const ModeRow& row, int size)
{
    SCOPED_TRACE(row.name);
    std::mt19937 random(1);
    for (int round = 0; round < TEST_ROUNDS; ++round) {
        CTestPlane frame;
        frame.Fill(random, round);
        const CTestPlane expected = Expected(frame, row, size);
        slots[row.index](frame.Block(), CTestPlane::Stride(), frame.Block(), CTestPlane::Stride());
        ASSERT_TRUE(frame == expected) << "round " << round;
    }
}

TEST(C264Intra, Luma16ModesFollowTheirClauses)
{
    const c264_intra table = PlainTable();
    for (const ModeRow& row : LUMA16)
        CompareIntoFrame(table.luma16, row, 16);
}

TEST(C264Intra, ChromaModesFollowTheirClauses)
{
    const c264_intra table = PlainTable();
    for (const ModeRow& row : CHROMA8)
        CompareIntoFrame(table.chroma8, row, 8);
}

TEST(C264Intra, Luma4ModesFollowTheirClauses)
{
    const c264_intra table = PlainTable();
    for (const ModeRow& row : LUMA4) {
        SCOPED_TRACE(row.name);
        std::mt19937 random(2);
        for (int round = 0; round < TEST_ROUNDS; ++round) {
            CTestPlane frame;
            frame.Fill(random, round);
            const CTestPlane expected = Expected(frame, row, 4);
            constexpr int REACH = 12;
            uint8_t scratch[REACH * C264_INTRA4_STRIDE];
            const auto place = [&](int x, int y) -> uint8_t& {
                return scratch[(y + 2) * C264_INTRA4_STRIDE + 8 + x];
            };
            for (int y = -2; y < REACH - 2; ++y) {
                for (int x = -8; x < C264_INTRA4_STRIDE - 8; ++x)
                    place(x, y) = frame.At(x, y);
            }
            table.luma4[row.index](&place(0, 0));
            for (int y = -2; y < REACH - 2; ++y) {
                for (int x = -8; x < C264_INTRA4_STRIDE - 8; ++x)
                    ASSERT_EQ(expected.At(x, y), place(x, y)) << "round " << round << " x " << x << " y " << y;
            }
        }
    }
}

TEST(C264Intra, PredictionIntoAnAreaOfItsOwnLeavesTheFrame)
{
    const c264_intra table = PlainTable();
    std::mt19937 random(3);
    for (const ModeRow& row : LUMA16) {
        CTestPlane frame;
        frame.Fill(random, 0);
        const CTestPlane before = frame;
        const CTestPlane expected = Expected(frame, row, 16);
        uint8_t area[16 * 16];
        table.luma16[row.index](area, 16, frame.Block(), CTestPlane::Stride());
        EXPECT_TRUE(frame == before) << row.name;
        for (int y = 0; y < 16; ++y) {
            for (int x = 0; x < 16; ++x)
                ASSERT_EQ(expected.At(x, y), area[y * 16 + x]) << row.name;
        }
    }
}

// A macroblock in the slice's top row must not use the row above, even where an earlier picture left pixels
// there; the same for the left edge.
TEST(C264Intra, DcVariantsIgnoreMissingNeighbours)
{
    const c264_intra table = PlainTable();
    const auto predict = [&](c264_intra_fn kernel, bool poisonTop, bool poisonLeft) {
        std::mt19937 random(4);
        CTestPlane frame;
        frame.Fill(random, 0);
        for (int k = -1; k < 32; ++k) {
            if (poisonTop) frame.At(k, -1) ^= 0x5A;
            if (poisonLeft) frame.At(-1, k) ^= 0xA5;
        }
        std::string area(256, 0);
        kernel(reinterpret_cast<uint8_t*>(area.data()), 16, frame.Block(), CTestPlane::Stride());
        return area;
    };
    for (const auto kernel : {table.luma16[C264_LUMA16_DC_LEFT], table.chroma8[C264_CHROMA8_DC_LEFT]}) {
        EXPECT_EQ(predict(kernel, false, false), predict(kernel, true, false));
        EXPECT_NE(predict(kernel, false, false), predict(kernel, false, true));
    }
    for (const auto kernel : {table.luma16[C264_LUMA16_DC_TOP], table.chroma8[C264_CHROMA8_DC_TOP]}) {
        EXPECT_EQ(predict(kernel, false, false), predict(kernel, false, true));
        EXPECT_NE(predict(kernel, false, false), predict(kernel, true, false));
    }
    for (const auto kernel : {table.luma16[C264_LUMA16_DC_128], table.chroma8[C264_CHROMA8_DC_128]})
        EXPECT_EQ(predict(kernel, false, false), predict(kernel, true, true));
}

TEST(C264Intra, IndexesThatAreNoModeGiveTheConstant)
{
    const c264_intra table = PlainTable();
    for (const int index : {4, 5, 7, 8, 9, 11, 12, 13, 15})
        EXPECT_EQ(table.luma16[C264_LUMA16_DC_128], table.luma16[index]) << index;
    for (const int index : {5, 6, 7, 9, 10, 11, 13, 14, 15})
        EXPECT_EQ(table.chroma8[C264_CHROMA8_DC_128], table.chroma8[index]) << index;
    for (const int index : {12, 13, 14, 15})
        EXPECT_EQ(table.luma4[C264_LUMA4_DC_128], table.luma4[index]) << index;
}

}  // namespace
