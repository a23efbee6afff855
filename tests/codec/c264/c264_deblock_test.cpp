#include "codec/c264/c264_deblock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <random>
#include <vector>

#include "tests/codec/c264/c264_pixels_support.h"

namespace
{

c264_deblock PlainTable()
{
    c264_deblock table;
    c264_deblock_init(&table, 0);
    return table;
}

struct EdgeSamples {
    int p[4];
    int q[4];
};

// 8.7.2.2 to 8.7.2.4 for one set of eight samples; tc0 counts only below strength 4.
EdgeSamples FilterByClause(const EdgeSamples& in, int strength, int alpha, int beta, int tc0, bool chroma)
{
    EdgeSamples out = in;
    const int* const p = in.p;
    const int* const q = in.q;
    const bool filter = strength != 0 && std::abs(p[0] - q[0]) < alpha && std::abs(p[1] - p[0]) < beta &&
                        std::abs(q[1] - q[0]) < beta;
    if (!filter) return out;
    const int ap = std::abs(p[2] - p[0]);
    const int aq = std::abs(q[2] - q[0]);
    if (strength < 4) {
        const int tc = chroma ? tc0 + 1 : tc0 + (ap < beta ? 1 : 0) + (aq < beta ? 1 : 0);
        const int delta = std::clamp((((q[0] - p[0]) << 2) + (p[1] - q[1]) + 4) >> 3, -tc, tc);
        out.p[0] = std::clamp(p[0] + delta, 0, 255);
        out.q[0] = std::clamp(q[0] - delta, 0, 255);
        if (!chroma && ap < beta)
            out.p[1] = p[1] + std::clamp((p[2] + ((p[0] + q[0] + 1) >> 1) - (p[1] << 1)) >> 1, -tc0, tc0);
        if (!chroma && aq < beta)
            out.q[1] = q[1] + std::clamp((q[2] + ((p[0] + q[0] + 1) >> 1) - (q[1] << 1)) >> 1, -tc0, tc0);
        return out;
    }
    const bool small = std::abs(p[0] - q[0]) < ((alpha >> 2) + 2);
    if (!chroma && ap < beta && small) {
        out.p[0] = (p[2] + 2 * p[1] + 2 * p[0] + 2 * q[0] + q[1] + 4) >> 3;
        out.p[1] = (p[2] + p[1] + p[0] + q[0] + 2) >> 2;
        out.p[2] = (2 * p[3] + 3 * p[2] + p[1] + p[0] + q[0] + 4) >> 3;
    } else {
        out.p[0] = (2 * p[1] + p[0] + q[1] + 2) >> 2;
    }
    if (!chroma && aq < beta && small) {
        out.q[0] = (p[1] + 2 * p[0] + 2 * q[0] + 2 * q[1] + q[2] + 4) >> 3;
        out.q[1] = (p[0] + q[0] + q[1] + q[2] + 2) >> 2;
        out.q[2] = (2 * q[3] + 3 * q[2] + q[1] + q[0] + p[0] + 4) >> 3;
    } else {
        out.q[0] = (2 * q[1] + q[0] + p[1] + 2) >> 2;
    }
    return out;
}

// The sample at `across` (negative: before the edge) of line `along` of an edge.
uint8_t& SampleAt(CTestPlane& plane, c264_direction direction, int along, int across)
{
    return direction == C264_VERTICAL ? plane.At(across, along) : plane.At(along, across);
}

CTestPlane FilteredByClause(const CTestPlane& plane, c264_deblock_kind kind, c264_direction direction,
                            c264_plane which, int alpha, int beta, const int8_t* tc0)
{
    CTestPlane out = plane;
    const int length = which == C264_LUMA ? 16 : 8;
    for (int along = 0; along < length; ++along) {
        EdgeSamples in{};
        for (int k = 0; k < 4; ++k) {
            in.p[k] = SampleAt(out, direction, along, -1 - k);
            in.q[k] = SampleAt(out, direction, along, k);
        }
        int strength = 4;
        int8_t clip = 0;
        if (kind != C264_STRONG) {
            clip = tc0[kind == C264_UNIFORM ? 0 : along * 4 / length];
            strength = clip < 0 ? 0 : 3;
        }
        const EdgeSamples filtered = FilterByClause(in, strength, alpha, beta, clip, which == C264_CHROMA);
        for (int k = 0; k < 4; ++k) {
            SampleAt(out, direction, along, -1 - k) = static_cast<uint8_t>(filtered.p[k]);
            SampleAt(out, direction, along, k) = static_cast<uint8_t>(filtered.q[k]);
        }
    }
    return out;
}

// Pixels on both sides of the thresholds: noise of a few steps around a level, with a jump at the edge.
void FillAroundEdge(CTestPlane& plane, std::mt19937& random)
{
    const int level = static_cast<int>(random() % 256);
    const int noise = 1 + static_cast<int>(random() % 12);
    const int jump = static_cast<int>(random() % 60) - 30;
    for (int y = -CTestPlane::ORIGIN; y < CTestPlane::SIZE - CTestPlane::ORIGIN; ++y) {
        for (int x = -CTestPlane::ORIGIN; x < CTestPlane::SIZE - CTestPlane::ORIGIN; ++x) {
            const int side = x < 0 || y < 0 ? jump : 0;
            plane.At(x, y) =
                static_cast<uint8_t>(std::clamp(level + side + static_cast<int>(random() % noise), 0, 255));
        }
    }
}

TEST(C264Deblock, EverySlotFollowsTheClause)
{
    const c264_deblock table = PlainTable();
    std::mt19937 random(1);
    for (const auto kind : {C264_NORMAL, C264_STRONG, C264_UNIFORM}) {
        for (const auto direction : {C264_VERTICAL, C264_HORIZONTAL}) {
            for (const auto which : {C264_LUMA, C264_CHROMA}) {
                const int slot = c264_deblock_index(kind, direction, which);
                int changed = 0;
                for (int round = 0; round < 600; ++round) {
                    CTestPlane plane;
                    if (round % 5 == 0)
                        plane.Fill(random, round / 5);
                    else
                        FillAroundEdge(plane, random);
                    const int index = 16 + static_cast<int>(random() % 36);
                    int8_t tc0[4];
                    for (int8_t& clip : tc0)
                        clip = C264_TC0[index][kind == C264_UNIFORM ? 1 + random() % 3 : random() % 4];
                    const CTestPlane before = plane;
                    const CTestPlane expected = FilteredByClause(plane, kind, direction, which,
                                                                 C264_ALPHA[index], C264_BETA[index], tc0);
                    table.edge[slot](plane.Block(), CTestPlane::Stride(), C264_ALPHA[index], C264_BETA[index],
                                     tc0);
                    ASSERT_TRUE(plane == expected) << "slot " << slot << " round " << round;
                    if (!(plane == before)) ++changed;
                }
                EXPECT_GT(changed, 100) << "slot " << slot << ": the input hardly ever asks for filtering";
            }
        }
    }
}

TEST(C264Deblock, SlotsStandByTwiceTheDirectionPlusThePlane)
{
    EXPECT_EQ(0, c264_deblock_index(C264_NORMAL, C264_VERTICAL, C264_LUMA));
    EXPECT_EQ(1, c264_deblock_index(C264_NORMAL, C264_VERTICAL, C264_CHROMA));
    EXPECT_EQ(2, c264_deblock_index(C264_NORMAL, C264_HORIZONTAL, C264_LUMA));
    EXPECT_EQ(3, c264_deblock_index(C264_NORMAL, C264_HORIZONTAL, C264_CHROMA));
    EXPECT_EQ(4, c264_deblock_index(C264_STRONG, C264_VERTICAL, C264_LUMA));
    EXPECT_EQ(12, static_cast<int>(std::size(c264_deblock{}.edge)));
}

TEST(C264Deblock, QpBelowTheThresholdLeavesThePixelsAlone)
{
    const c264_deblock table = PlainTable();
    std::mt19937 random(2);
    for (int qp = 0; qp < 16; ++qp) {
        ASSERT_EQ(0, C264_ALPHA[qp]);
        ASSERT_EQ(0, C264_BETA[qp]);
        for (size_t slot = 0; slot < std::size(table.edge); ++slot) {
            CTestPlane plane(100);
            if (qp % 2 == 0) plane.Fill(random, 0);
            const CTestPlane before = plane;
            const int8_t tc0[4] = {0, 0, 0, 0};
            table.edge[slot](plane.Block(), CTestPlane::Stride(), C264_ALPHA[qp], C264_BETA[qp], tc0);
            EXPECT_TRUE(plane == before) << "slot " << slot << " qp " << qp;
        }
    }
}

TEST(C264Deblock, QuartersOfStrengthZeroStayAsTheyAre)
{
    const c264_deblock table = PlainTable();
    for (int quarter = 0; quarter < 4; ++quarter) {
        CTestPlane plane(100);
        for (int y = 0; y < 16; ++y) {
            for (int x = -8; x < 0; ++x)
                plane.At(x, y) = 110;
        }
        CTestPlane filtered = plane;
        int8_t tc0[4] = {5, 5, 5, 5};
        tc0[quarter] = -1;
        table.edge[c264_deblock_index(C264_NORMAL, C264_VERTICAL, C264_LUMA)](
            filtered.Block(), CTestPlane::Stride(), 40, 10, tc0);
        for (int y = 0; y < 16; ++y)
            EXPECT_EQ(y / 4 == quarter, filtered.At(-1, y) == 110) << "row " << y << " quarter " << quarter;
    }
}

// The tables grow with the quantiser, and Table 8-16 follows its design: alpha doubles every six steps, beta
// grows by about a half each step.
TEST(C264Deblock, TablesFollowTheirDesign)
{
    for (int k = 16; k < 52; ++k) {
        const double alpha = std::min(255.0, 0.8 * (std::exp2(k / 6.0) - 1));
        EXPECT_NEAR(C264_ALPHA[k], alpha, 1 + 0.07 * alpha) << k;
        EXPECT_NEAR(C264_BETA[k], 0.5 * k - 7, 1.5) << k;
    }
    EXPECT_EQ(4, C264_ALPHA[16]);
    EXPECT_EQ(255, C264_ALPHA[51]);
    EXPECT_EQ(18, C264_BETA[51]);
    for (int k = 0; k < 52; ++k) {
        EXPECT_EQ(-1, C264_TC0[k][0]);
        EXPECT_LE(C264_TC0[k][1], C264_TC0[k][2]) << k;
        EXPECT_LE(C264_TC0[k][2], C264_TC0[k][3]) << k;
        for (int strength = 1; k > 0 && strength <= 3; ++strength)
            EXPECT_LE(C264_TC0[k - 1][strength], C264_TC0[k][strength]) << k;
    }
    EXPECT_EQ(0, C264_TC0[16][3]);
    EXPECT_EQ(1, C264_TC0[17][3]);
    EXPECT_EQ(13, C264_TC0[51][1]);
    EXPECT_EQ(17, C264_TC0[51][2]);
    EXPECT_EQ(25, C264_TC0[51][3]);
}

}  // namespace
