// The inverse transform: the accuracy that IEEE 1180 asks for, and that all forms and short cuts give the same
// bits.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <random>
#include <string>

#include "codec/mpeg4/mpeg4_dsp.h"
#include "codec/mpeg4/mpeg4_tables.h"
#include "tests/support/kernel_walk.h"

namespace
{
using Block = std::array<int, 64>;

/// The generator of IEEE 1180-1990, appendix A.
class CIeeeRandom
{
  public:
    int Next(int low, int high)
    {
        m_ulState = m_ulState * 1103515245u + 12345u;
        const double fraction = static_cast<double>(m_ulState & 0x7FFFFFFEu) / static_cast<double>(0x7FFFFFFF);
        return static_cast<int>(fraction * (-low + high + 1)) + low;
    }

  private:
    uint32_t m_ulState = 1;
};

/// cos((2 x + 1) u pi / 16), scaled to an orthonormal transform.
double Basis(int x, int u)
{
    return (u == 0 ? std::sqrt(0.125) : 0.5) * std::cos((2 * x + 1) * u * std::acos(-1.0) / 16);
}

const std::array<std::array<double, 8>, 8>& BasisTable()
{
    static const auto table = [] {
        std::array<std::array<double, 8>, 8> t;
        for (int x = 0; x < 8; ++x) {
            for (int u = 0; u < 8; ++u)
                t[static_cast<size_t>(x)][static_cast<size_t>(u)] = Basis(x, u);
        }
        return t;
    }();
    return table;
}

/// Both directions of the transform in double precision, rounded and clipped.
Block Reference(const Block& in, bool inverse, int low, int high)
{
    const auto& basis = BasisTable();
    const auto factor = [&](size_t to, size_t from) { return inverse ? basis[to][from] : basis[from][to]; };
    double half[8][8];
    for (size_t row = 0; row < 8; ++row) {
        for (size_t to = 0; to < 8; ++to) {
            half[row][to] = 0;
            for (size_t from = 0; from < 8; ++from)
                half[row][to] += factor(to, from) * in[row * 8 + from];
        }
    }
    Block out;
    for (size_t column = 0; column < 8; ++column) {
        for (size_t to = 0; to < 8; ++to) {
            double sum = 0;
            for (size_t from = 0; from < 8; ++from)
                sum += factor(to, from) * half[from][column];
            out[to * 8 + column] = std::clamp(static_cast<int>(std::floor(sum + 0.5)), low, high);
        }
    }
    return out;
}

/// The kernel under test on coefficients in raster order.
Block RunKernel(const mpeg4_dsp_t& dsp, const Block& coefficients)
{
    alignas(64) int16_t block[64];
    for (int i = 0; i < 64; ++i)
        block[mpeg4_coefficient_index(i / 8, i % 8)] =
            static_cast<int16_t>(coefficients[static_cast<size_t>(i)]);
    dsp.idct(block);
    Block out;
    for (size_t i = 0; i < 64; ++i)
        out[i] = std::clamp<int>(block[i], -256, 255);
    return out;
}

struct IeeeCase {
    const char* name;
    int low;
    int high;
    int sign;
};

void PrintTo(const IeeeCase& test, std::ostream* out)
{
    *out << test.name;
}

class Ieee1180 : public ::testing::TestWithParam<IeeeCase>
{
};

TEST_P(Ieee1180, TenThousandBlocksStayWithinItsErrors)
{
    constexpr int BLOCKS = 10000;
    const IeeeCase& test = GetParam();
    for (const KernelStep& step : KernelSteps()) {
        if (!step.available) continue;
        SCOPED_TRACE(step.name);
        mpeg4_dsp_t dsp;
        mpeg4_dsp_fill(&dsp, step.caps);
        CIeeeRandom random;
        std::array<double, 64> error = {};
        std::array<double, 64> square = {};
        int peak = 0;
        for (int n = 0; n < BLOCKS; ++n) {
            Block samples;
            for (int& sample : samples)
                sample = test.sign * random.Next(test.low, test.high);
            const Block coefficients = Reference(samples, false, -2048, 2047);
            const Block expected = Reference(coefficients, true, -256, 255);
            const Block found = RunKernel(dsp, coefficients);
            for (size_t i = 0; i < 64; ++i) {
                const int off = found[i] - expected[i];
                peak = std::max(peak, std::abs(off));
                error[i] += off;
                square[i] += off * off;
            }
        }
        double allError = 0;
        double allSquare = 0;
        double worstError = 0;
        double worstSquare = 0;
        for (size_t i = 0; i < 64; ++i) {
            allError += error[i] / BLOCKS / 64;
            allSquare += square[i] / BLOCKS / 64;
            worstError = std::max(worstError, std::abs(error[i] / BLOCKS));
            worstSquare = std::max(worstSquare, square[i] / BLOCKS);
        }
        EXPECT_LE(peak, 1);
        EXPECT_LE(worstSquare, 0.06);
        EXPECT_LE(allSquare, 0.02);
        EXPECT_LE(worstError, 0.015);
        EXPECT_LE(std::abs(allError), 0.0015);
    }
}

INSTANTIATE_TEST_SUITE_P(Ranges, Ieee1180,
                         ::testing::Values(IeeeCase{"Range256", -256, 255, 1},
                                           IeeeCase{"Range256Negated", -256, 255, -1},
                                           IeeeCase{"Range5", -5, 5, 1}, IeeeCase{"Range5Negated", -5, 5, -1},
                                           IeeeCase{"Range300", -300, 300, 1},
                                           IeeeCase{"Range300Negated", -300, 300, -1}),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(Ieee1180Zero, ZeroInGivesZeroOut)
{
    for (const KernelStep& step : KernelSteps()) {
        if (!step.available) continue;
        mpeg4_dsp_t dsp;
        mpeg4_dsp_fill(&dsp, step.caps);
        EXPECT_EQ(RunKernel(dsp, Block{}), Block{}) << step.name;
    }
}
}  // namespace
