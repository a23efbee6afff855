#include <algorithm>

#include "recorder/h264/Elements.h"
#include "recorder/h264/Tables.h"

namespace recorder::h264
{

namespace
{

// First contexts of the elements (Table 9-34).
constexpr size_t I_TYPE = 3;
constexpr size_t SKIP = 11;
constexpr size_t P_TYPE = 14;
constexpr size_t P_INTRA_TYPE = 17;
constexpr size_t SUB_TYPE = 21;
constexpr size_t DIFFERENCE = 40;  // 7 for each component
constexpr size_t QP_DELTA = 60;
constexpr size_t CHROMA_MODE = 64;
constexpr size_t INTRA4_SAME = 68;
constexpr size_t INTRA4_MODE = 69;
constexpr size_t PATTERN_LUMA = 73;
constexpr size_t PATTERN_CHROMA = 77;
constexpr size_t CODED = 85;
constexpr size_t SIGNIFICANT = 105;
constexpr size_t LAST = 166;
constexpr size_t LEVEL = 227;
// By kind of block (Table 9-40).
constexpr size_t CODED_OFFSET[5] = {0, 4, 8, 12, 16};
constexpr size_t SIGNIFICANT_OFFSET[5] = {0, 15, 29, 44, 47};
constexpr size_t LEVEL_OFFSET[5] = {0, 10, 20, 30, 39};

constexpr uint32_t I_PCM = 25;
constexpr int MOST_QP_DELTA = 104;
// More than any difference or level of 8 bits needs.
constexpr int MOST_ESCAPE_BITS = 20;

class Cabac : public IElements
{
  public:
    Cabac(BitReader& bits, const SliceHeader& slice) : m_Bits(bits)
    {
        m_Bits.Align();
        Begin();
        for (size_t i = 0; i < CONTEXTS; ++i) {
            const ContextStart start = CONTEXT_STARTS[i][static_cast<size_t>(slice.contexts)];
            const int state = std::clamp(((start.m * slice.qp) >> 4) + start.n, 1, 126);
            const bool one = state >= 64;
            m_Contexts[i] = {static_cast<uint8_t>(one ? state - 64 : 63 - state), one};
        }
    }

    bool Skipped(const Around& around) override { return Bin(SKIP + static_cast<size_t>(around.notSkipped)); }
    bool More() override { return !Terminates(); }
    bool AtEnd() const override { return m_Bits.InLastByte(); }
    uint32_t Type(bool intraSlice, const Around& around) override;
    uint32_t SubType() override
    {
        if (Bin(SUB_TYPE)) return 0;
        if (!Bin(SUB_TYPE + 1)) return 1;
        return Bin(SUB_TYPE + 2) ? 2 : 3;
    }
    int Difference(int component, int sum) override;
    void Intra4x4Mode() override
    {
        if (Bin(INTRA4_SAME)) return;
        for (int bit = 0; bit < 3; ++bit)
            Bin(INTRA4_MODE);
    }
    uint32_t ChromaMode(const Around& around) override
    {
        if (!Bin(CHROMA_MODE + static_cast<size_t>(around.chromaModes))) return 0;
        if (!Bin(CHROMA_MODE + 3)) return 1;
        return Bin(CHROMA_MODE + 3) ? 3 : 2;
    }
    // The contexts stay.
    void Raw() override
    {
        m_Bits.SkipBytes(RAW_BYTES);
        Begin();
    }
    uint32_t Pattern(bool intra, const Around& around) override;
    bool QpDelta(bool before) override
    {
        if (!Bin(QP_DELTA + (before ? 1 : 0))) return false;
        size_t context = QP_DELTA + 2;
        for (int size = 1; Bin(context); context = QP_DELTA + 3)
            if (++size > MOST_QP_DELTA) throw Damaged("mb_qp_delta");
        return true;
    }
    int Block(EBlock kind, int most, const Beside& beside) override;

  private:
    struct Context {
        uint8_t state = 0;
        bool likely = false;
    };

    void Begin()
    {
        m_Range = 510;
        m_Offset = m_Bits.Bits(9);
    }
    bool Bin(size_t context);
    bool Bypass();
    bool Terminates();
    int Escape(int bits);
    void Shift()
    {
        m_Range <<= 1;
        m_Offset = m_Offset << 1 | m_Bits.Bits(1);
    }
    uint32_t IntraType(size_t first, bool intraSlice);

    BitReader& m_Bits;
    uint32_t m_Range = 0;
    uint32_t m_Offset = 0;
    std::array<Context, CONTEXTS> m_Contexts;
};

bool Cabac::Bin(size_t context)
{
    Context& of = m_Contexts[context];
    const uint32_t rare = RANGE_LPS[of.state][m_Range >> 6 & 3];
    m_Range -= rare;
    bool bin = of.likely;
    if (m_Offset >= m_Range) {
        bin = !bin;
        m_Offset -= m_Range;
        m_Range = rare;
        if (of.state == 0) of.likely = !of.likely;
        of.state = NEXT_LPS[of.state];
    } else if (of.state < 62) {
        ++of.state;
    }
    while (m_Range < 256)
        Shift();
    return bin;
}

bool Cabac::Bypass()
{
    m_Offset = m_Offset << 1 | m_Bits.Bits(1);
    if (m_Offset < m_Range) return false;
    m_Offset -= m_Range;
    return true;
}

// At the end the last bit of the offset is the stop bit.
bool Cabac::Terminates()
{
    m_Range -= 2;
    if (m_Offset >= m_Range) return true;
    while (m_Range < 256)
        Shift();
    return false;
}

// The suffix of a number: an Exp-Golomb code of so many bits at first.
int Cabac::Escape(int bits)
{
    int value = 0;
    for (; Bypass(); ++bits) {
        if (bits > MOST_ESCAPE_BITS) throw Damaged("a number is too large");
        value += 1 << bits;
    }
    while (bits-- > 0)
        value += Bypass() ? 1 << bits : 0;
    return value;
}

uint32_t Cabac::IntraType(size_t first, bool intraSlice)
{
    // In I slices each bin has a context of its own; else some share one.
    const size_t more = intraSlice ? 1 : 0;
    if (Terminates()) return I_PCM;
    const size_t base = first + (intraSlice ? 3 : 1);
    uint32_t type = 1 + (Bin(base) ? 12 : 0);
    if (Bin(base + 1)) type += Bin(base + 1 + more) ? 8 : 4;
    type += Bin(base + 2 + more) ? 2 : 0;
    type += Bin(base + 2 + 2 * more) ? 1 : 0;
    return type;
}

uint32_t Cabac::Type(bool intraSlice, const Around& around)
{
    if (intraSlice) return Bin(I_TYPE + static_cast<size_t>(around.notIntra4)) ? IntraType(I_TYPE, true) : 0;
    if (Bin(P_TYPE)) return 5 + (Bin(P_INTRA_TYPE) ? IntraType(P_INTRA_TYPE, false) : 0);
    if (!Bin(P_TYPE + 1)) return Bin(P_TYPE + 2) ? 3 : 0;
    return Bin(P_TYPE + 3) ? 1 : 2;
}

int Cabac::Difference(int component, int sum)
{
    size_t context = DIFFERENCE + 7 * static_cast<size_t>(component);
    if (!Bin(context + (sum < 3 ? 0 : sum > 32 ? 2 : 1))) return 0;
    int size = 1;
    for (context += 3; size < 9 && Bin(context); ++size)
        if (size < 4) ++context;
    if (size == 9) size += Escape(3);
    Bypass();  // the sign
    return size;
}

uint32_t Cabac::Pattern(bool, const Around& around)
{
    uint32_t luma = 0;
    for (int block = 0; block < 4; ++block) {
        const bool left =
            block % 2 == 0 ? (around.left8x8Empty >> (block + 1) & 1) != 0 : (luma >> (block - 1) & 1U) == 0;
        const bool above =
            block < 2 ? (around.above8x8Empty >> (block + 2) & 1) != 0 : (luma >> (block - 2) & 1U) == 0;
        if (Bin(PATTERN_LUMA + (left ? 1 : 0) + (above ? 2 : 0))) luma |= 1U << block;
    }
    if (!Bin(PATTERN_CHROMA + static_cast<size_t>(around.chromaCoded))) return luma;
    return luma + (Bin(PATTERN_CHROMA + 4 + static_cast<size_t>(around.chromaAcCoded)) ? 32 : 16);
}

int Cabac::Block(EBlock kind, int most, const Beside& beside)
{
    const auto index = static_cast<size_t>(kind);
    if (!Bin(CODED + CODED_OFFSET[index] + (beside.leftCoded ? 1 : 0) + (beside.aboveCoded ? 2 : 0))) return 0;
    int count = 0;
    bool last = false;
    for (int i = 0; i < most - 1 && !last; ++i) {
        const size_t place =
            SIGNIFICANT_OFFSET[index] + static_cast<size_t>(kind == EBlock::ChromaDc ? std::min(i, 2) : i);
        if (!Bin(SIGNIFICANT + place)) continue;
        ++count;
        last = Bin(LAST + place);
    }
    if (!last) ++count;  // the last one needs no telling

    int ones = 0;
    int larger = 0;
    for (int i = 0; i < count; ++i) {
        const size_t first = LEVEL + LEVEL_OFFSET[index];
        if (!Bin(first + static_cast<size_t>(larger > 0 ? 0 : std::min(4, 1 + ones)))) {
            ++ones;
        } else {
            const size_t context =
                first + 5 + static_cast<size_t>(std::min(kind == EBlock::ChromaDc ? 3 : 4, larger));
            int size = 2;
            while (size < 15 && Bin(context))
                ++size;
            if (size == 15) Escape(0);
            ++larger;
        }
        Bypass();  // the sign
    }
    return count;
}

}  // namespace

std::unique_ptr<IElements> MakeCabac(BitReader& bits, const SliceHeader& slice)
{
    return std::make_unique<Cabac>(bits, slice);
}

}  // namespace recorder::h264
