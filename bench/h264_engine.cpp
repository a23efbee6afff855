#include "bench/h264_engine.h"

#include <cstdio>
#include <cstdlib>

#include "bench/figures.h"
#include "bench/h264_engine_bins.h"
#include "codec/c264/c264_cabac_tables.h"
#include "codec/cpu.h"
#include "tests/support/h264_cabac_engine.h"

namespace
{
constexpr int CONTEXTS = 60;  // as many as a slice uses at once, more or less
constexpr int BINS = 400000;

/// The decoder as the standard writes it, bit after bit (9.3.1.2, 9.3.3.2).
class CBitwise
{
  public:
    explicit CBitwise(const H264CodedBins& coded) : m_pData(coded.bytes.data())
    {
        for (int i = 0; i < 9; ++i)
            m_ulOffset = m_ulOffset << 1 | Next();
    }

    int Bin(uint8_t* context)
    {
        const unsigned state = *context >> 1;
        unsigned bin = *context & 1;
        const uint32_t less = H264_RANGE_LPS[state][m_ulRange >> 6 & 3];
        m_ulRange -= less;
        if (m_ulOffset >= m_ulRange) {
            m_ulOffset -= m_ulRange;
            m_ulRange = less;
            const unsigned most = state == 0 ? bin ^ 1 : bin;
            *context = static_cast<uint8_t>(H264_NEXT_STATE_LPS[state] << 1 | most);
            bin ^= 1;
        } else if (state < 62) {
            *context = static_cast<uint8_t>(*context + 2);
        }
        for (; m_ulRange < 256; m_ulRange <<= 1)
            m_ulOffset = m_ulOffset << 1 | Next();
        return static_cast<int>(bin);
    }

  private:
    uint32_t Next()
    {
        const uint32_t bit = m_pData[m_At >> 3] >> (7 - (m_At & 7)) & 1;
        ++m_At;
        return bit;
    }

    const uint8_t* m_pData;
    size_t m_At = 0;
    uint32_t m_ulOffset = 0;
    uint32_t m_ulRange = 510;
};

/// Bins of which one in a thousand times `rare` is the rarer one of its context.
H264CodedBins Code(uint32_t rare)
{
    constexpr int QP = 28;
    const H264ContextStart* const start = H264_CONTEXT_START_I;
    H264CodedBins coded;
    CH264Bits bits;
    CH264CabacEngine engine(start, QP, &bits);
    const uint8_t* const states = c264_cabac_start(0, QP);
    coded.start.assign(states, states + CONTEXTS + 60);
    uint32_t random = 1;
    const auto next = [&random] { return (random = random * 1664525u + 1013904223u) >> 8; };
    for (int i = 0; i < BINS; ++i) {
        const auto context = static_cast<uint16_t>(60 + next() % CONTEXTS);
        const bool bin = (next() % 1000 < rare) != (context % 2 == 0);
        coded.contexts.push_back(context);
        coded.set += bin;
        engine.Decision(context, bin);
    }
    engine.Terminate(true);
    coded.bytes = bits.Bytes();
    coded.size = coded.bytes.size();
    coded.bytes.resize(coded.size + 16);
    return coded;
}

double NanosecondsABin(const H264CodedBins& coded, uint32_t (*decode)(const H264CodedBins&), int runs)
{
    std::vector<double> times;
    for (int i = 0; i < runs; ++i) {
        const double start = ThreadMs();
        const uint32_t set = decode(coded);
        times.push_back((ThreadMs() - start) * 1e6 / BINS);
        if (set == coded.set) continue;
        std::fprintf(stderr, "h264_bench: the engine decoded %u bins of %u\n", set, coded.set);
        std::exit(1);
    }
    return Median(times);
}
}  // namespace

void TimeH264Engine(int runs)
{
    std::printf("\n%-26s %10s %10s %10s\n", "arithmetic decoder, ns", "bitwise", "masked", "branching");
    if (!(c264_cpu_detect() & CODEC_CAP_BMI2)) return;
    for (const uint32_t rare : {500u, 270u, 155u, 68u}) {
        const H264CodedBins coded = Code(rare);
        std::printf("at %.2f bits a bin %20.1f %10.1f %10.1f\n", 8.0 * static_cast<double>(coded.size) / BINS,
                    NanosecondsABin(coded, DecodeBins<CBitwise>, runs),
                    NanosecondsABin(coded, DecodeMasked, runs), NanosecondsABin(coded, DecodeBranching, runs));
    }
    std::printf("\n");
}
