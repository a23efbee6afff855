#include "recorder/h264/Macroblocks.h"

#include <algorithm>
#include <array>
#include <vector>

#include "recorder/h264/Elements.h"

namespace recorder::h264
{

namespace
{

enum class EKind : uint8_t { Skipped, Inter, Intra4, Intra16 };

constexpr uint32_t FIRST_INTRA_OF_P = 5;
constexpr uint32_t I_PCM = 25;
constexpr size_t CB = 16;             // first of the chroma counts
constexpr int MOST_DIFFERENCE = 255;  // what a sum is compared with is far below

// What later macroblocks want to know of one.
struct Macroblock {
    EKind kind = EKind::Skipped;
    uint8_t pattern = 0;
    uint8_t chromaMode = 0;
    std::array<bool, 3> dc{};          // coded: luma, Cb, Cr
    std::array<uint8_t, 24> counts{};  // coefficients: 16 luma blocks, 4 of Cb, 4 of Cr, by place
    std::array<std::array<uint8_t, 16>, 2> differences{};  // sizes, by component and place

    bool IsIntra() const { return kind == EKind::Intra4 || kind == EKind::Intra16; }
};

// Row by row in a macroblock, for blocks that come in the order of their 8x8 blocks.
constexpr size_t PlaceOf(size_t block)
{
    return (block / 8 * 2 + block % 4 / 2) * 4 + block / 4 % 2 * 2 + block % 2;
}

class Walk
{
  public:
    Walk(IElements& elements, const SliceHeader& slice, const SequenceSet& sequence)
        : m_Elements(elements),
          m_IntraSlice(slice.intra),
          m_Width(static_cast<size_t>(sequence.widthInMacroblocks)),
          m_Macroblocks(m_Width * static_cast<size_t>(sequence.heightInMacroblocks))
    {
    }

    void Run();

  private:
    Around LookAround() const;
    void ReadMacroblock(const Around& around);
    void ReadIntra(uint32_t type, const Around& around);
    void ReadRaw();
    void ReadInter(uint32_t type);
    void ReadDifference(size_t x, size_t y, size_t width, size_t height);
    void ReadResidual();
    void ReadChroma();
    void ReadBlock(EBlock kind, int most, size_t plane, size_t place);
    bool ReadDc(EBlock kind, int most, size_t which);
    Beside BesideOf(size_t plane, size_t place) const;
    Beside BesideDc(EBlock kind, size_t which) const;

    Macroblock& Now() { return m_Macroblocks[m_At]; }
    const Macroblock& Now() const { return m_Macroblocks[m_At]; }
    const Macroblock* Left() const { return m_At % m_Width == 0 ? nullptr : &m_Macroblocks[m_At - 1]; }
    const Macroblock* Above() const { return m_At < m_Width ? nullptr : &m_Macroblocks[m_At - m_Width]; }

    IElements& m_Elements;
    bool m_IntraSlice;
    size_t m_Width;
    std::vector<Macroblock> m_Macroblocks;
    size_t m_At = 0;
    bool m_QpChanged = false;  // by the macroblock before
    bool m_Raw = false;        // has raw ones
};

void Walk::Run()
{
    for (bool more = true; more; ++m_At) {
        if (m_At == m_Macroblocks.size()) throw Damaged("a slice has too many macroblocks");
        const Around around = LookAround();
        if (!m_IntraSlice && m_Elements.Skipped(around))
            m_QpChanged = false;
        else
            ReadMacroblock(around);
        more = m_Elements.More();
    }
    if (!m_Elements.AtEnd()) throw Damaged("a slice goes on behind its end");
    if (m_At != m_Macroblocks.size()) throw Damaged("a slice has too few macroblocks");
    // Not before: what is damaged may look like one.
    if (m_Raw) throw Outside("it has raw macroblocks (I_PCM)");
}

Around Walk::LookAround() const
{
    Around around;
    int weight = 1;
    for (const Macroblock* const beside : {Left(), Above()}) {
        if (beside != nullptr) {
            around.notSkipped += beside->kind != EKind::Skipped ? 1 : 0;
            around.notIntra4 += beside->kind == EKind::Intra16 ? 1 : 0;
            around.chromaModes += beside->IsIntra() && beside->chromaMode != 0 ? 1 : 0;
            around.chromaCoded += beside->pattern >> 4 != 0 ? weight : 0;
            around.chromaAcCoded += beside->pattern >> 4 == 2 ? weight : 0;
            (weight == 1 ? around.left8x8Empty : around.above8x8Empty) = ~beside->pattern & 15;
        }
        weight = 2;
    }
    return around;
}

void Walk::ReadMacroblock(const Around& around)
{
    uint32_t type = m_Elements.Type(m_IntraSlice, around);
    const bool intra = m_IntraSlice || type >= FIRST_INTRA_OF_P;
    if (intra && !m_IntraSlice) type -= FIRST_INTRA_OF_P;
    if (type > I_PCM) throw Damaged("mb_type");
    if (intra && type == I_PCM) {
        ReadRaw();
        return;
    }
    if (intra)
        ReadIntra(type, around);
    else
        ReadInter(type);
    Macroblock& now = Now();
    if (now.kind != EKind::Intra16) now.pattern = static_cast<uint8_t>(m_Elements.Pattern(intra, around));
    if (now.pattern == 0 && now.kind != EKind::Intra16) {
        m_QpChanged = false;
        return;
    }
    m_QpChanged = m_Elements.QpDelta(m_QpChanged);
    ReadResidual();
}

void Walk::ReadIntra(uint32_t type, const Around& around)
{
    Macroblock& now = Now();
    now.kind = type == 0 ? EKind::Intra4 : EKind::Intra16;
    if (type == 0)
        for (int block = 0; block < 16; ++block)
            m_Elements.Intra4x4Mode();
    else  // the pattern is a part of the type
        now.pattern = static_cast<uint8_t>((type > 12 ? 15 : 0) + 16 * ((type - 1) / 4 % 3));
    now.chromaMode = static_cast<uint8_t>(m_Elements.ChromaMode(around));
}

// Later ones take it as one of which everything is coded.
void Walk::ReadRaw()
{
    Macroblock& now = Now();
    now.kind = EKind::Intra16;
    now.pattern = 47;
    now.dc.fill(true);
    now.counts.fill(16);
    m_Elements.Raw();
    m_QpChanged = false;
    m_Raw = true;
}

void Walk::ReadInter(uint32_t type)
{
    Now().kind = EKind::Inter;
    if (type < 3) {
        const size_t width = type == 2 ? 2 : 4;
        const size_t height = type == 1 ? 2 : 4;
        for (size_t y = 0; y < 4; y += height)
            for (size_t x = 0; x < 4; x += width)
                ReadDifference(x, y, width, height);
        return;
    }
    std::array<uint32_t, 4> types{};
    for (uint32_t& of : types)
        of = m_Elements.SubType();
    for (size_t block = 0; block < 4; ++block) {
        const size_t width = types[block] < 2 ? 2 : 1;
        const size_t height = types[block] % 2 == 0 ? 2 : 1;
        for (size_t y = 0; y < 2; y += height)
            for (size_t x = 0; x < 2; x += width)
                ReadDifference(block % 2 * 2 + x, block / 2 * 2 + y, width, height);
    }
}

// Of the vector of one part, in 4x4 blocks.
void Walk::ReadDifference(size_t x, size_t y, size_t width, size_t height)
{
    Macroblock& now = Now();
    for (size_t component = 0; component < 2; ++component) {
        const auto of = [&](const Macroblock* other, size_t place) {
            return other == nullptr ? 0 : static_cast<int>(other->differences[component][place]);
        };
        const int left = x > 0 ? of(&now, 4 * y + x - 1) : of(Left(), 4 * y + 3);
        const int above = y > 0 ? of(&now, 4 * (y - 1) + x) : of(Above(), 12 + x);
        const int size = m_Elements.Difference(static_cast<int>(component), left + above);
        for (size_t row = y; row < y + height; ++row)
            std::fill_n(now.differences[component].begin() + static_cast<ptrdiff_t>(4 * row + x), width,
                        static_cast<uint8_t>(std::min(size, MOST_DIFFERENCE)));
    }
}

void Walk::ReadResidual()
{
    Macroblock& now = Now();
    const bool intra16 = now.kind == EKind::Intra16;
    if (intra16) now.dc[0] = ReadDc(EBlock::Intra16Dc, 16, 0);
    for (size_t block = 0; block < 16; ++block)
        if ((now.pattern >> (block / 4) & 1) != 0)
            ReadBlock(intra16 ? EBlock::Intra16Ac : EBlock::Luma, intra16 ? 15 : 16, 0, PlaceOf(block));
    if (now.pattern >> 4 != 0) ReadChroma();
}

void Walk::ReadChroma()
{
    Macroblock& now = Now();
    for (size_t plane = 1; plane <= 2; ++plane)
        now.dc[plane] = ReadDc(EBlock::ChromaDc, 4, plane);
    if (now.pattern >> 4 != 2) return;
    for (size_t plane = 1; plane <= 2; ++plane)
        for (size_t place = 0; place < 4; ++place)
            ReadBlock(EBlock::ChromaAc, 15, plane, place);
}

void Walk::ReadBlock(EBlock kind, int most, size_t plane, size_t place)
{
    const size_t first = plane == 0 ? 0 : CB + 4 * (plane - 1);
    Now().counts[first + place] = static_cast<uint8_t>(m_Elements.Block(kind, most, BesideOf(plane, place)));
}

bool Walk::ReadDc(EBlock kind, int most, size_t which)
{
    return m_Elements.Block(kind, most, BesideDc(kind, which)) > 0;
}

// 8.2.1 with 9.2.1, and 9.3.3.1.1.9: what isn't there counts as coded for intra macroblocks.
Beside Walk::BesideOf(size_t plane, size_t place) const
{
    const size_t side = plane == 0 ? 4 : 2;
    const size_t first = plane == 0 ? 0 : CB + 4 * (plane - 1);
    const size_t x = place % side;
    const size_t y = place / side;
    const Macroblock* const left = x > 0 ? &Now() : Left();
    const Macroblock* const above = y > 0 ? &Now() : Above();
    Beside beside{0, Now().IsIntra(), Now().IsIntra()};
    int leftCount = 0;
    int aboveCount = 0;
    if (left != nullptr) {
        leftCount = left->counts[first + (x > 0 ? place - 1 : place + side - 1)];
        beside.leftCoded = leftCount > 0;
    }
    if (above != nullptr) {
        aboveCount = above->counts[first + (y > 0 ? place - side : place + side * (side - 1))];
        beside.aboveCoded = aboveCount > 0;
    }
    const bool both = left != nullptr && above != nullptr;
    beside.count = both ? (leftCount + aboveCount + 1) / 2 : leftCount + aboveCount;
    return beside;
}

Beside Walk::BesideDc(EBlock kind, size_t which) const
{
    // The direct coefficients of luma are told apart by the counts of the first block.
    Beside beside = kind == EBlock::Intra16Dc ? BesideOf(0, 0) : Beside{0, true, true};
    beside.leftCoded = Left() == nullptr ? Now().IsIntra() : Left()->dc[which];
    beside.aboveCoded = Above() == nullptr ? Now().IsIntra() : Above()->dc[which];
    return beside;
}

}  // namespace

void ReadMacroblocks(BitReader& bits, const SliceHeader& slice, const SequenceSet& sequence, bool cabac)
{
    const auto elements = cabac ? MakeCabac(bits, slice) : MakeCavlc(bits);
    Walk(*elements, slice, sequence).Run();
}

}  // namespace recorder::h264
