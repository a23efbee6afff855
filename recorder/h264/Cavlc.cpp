#include <array>
#include <vector>

#include "recorder/h264/Elements.h"
#include "recorder/h264/Tables.h"

namespace recorder::h264
{

namespace
{

constexpr int MOST_BITS = 16;
// A prefix that no level of 8 bits needs.
constexpr int MOST_PREFIX = 15;

struct Token {
    uint8_t length = 0;  // 0: no code
    uint8_t total = 0;
    uint8_t ones = 0;
};

// Each code at all places that begin with it.
template <class Entry>
void Enter(std::vector<Entry>& table, uint32_t code, const Entry& entry)
{
    const int rest = MOST_BITS - entry.length;
    for (uint32_t i = 0; i < 1U << rest; ++i)
        table[(code << rest) + i] = entry;
}

const std::vector<Token>& TokensOf(size_t kind)
{
    static const auto tables = [] {
        std::array<std::vector<Token>, 4> all;
        for (size_t i = 0; i < all.size(); ++i) {
            all[i].resize(size_t{1} << MOST_BITS);
            for (uint8_t ones = 0; ones < 4; ++ones)
                for (uint8_t total = 0; total < 17; ++total)
                    if (const uint8_t length = TOKEN_CODES[i].length[ones][total]; length > 0)
                        Enter(all[i], TOKEN_CODES[i].bits[ones][total], Token{length, total, ones});
        }
        return all;
    }();
    return tables[kind];
}

class Cavlc : public IElements
{
  public:
    explicit Cavlc(BitReader& bits) : m_Bits(bits) {}

    bool Skipped(const Around&) override
    {
        if (m_Run < 0) m_Run = m_Bits.Ue(0x10000, "mb_skip_run");
        return m_Run-- > 0;
    }
    bool More() override { return m_Run > 0 || m_Bits.More(); }
    bool AtEnd() const override { return m_Bits.AtStop(); }
    uint32_t Type(bool, const Around&) override { return m_Bits.Ue(30, "mb_type"); }
    uint32_t SubType() override { return m_Bits.Ue(3, "sub_mb_type"); }
    int Difference(int, int) override { return std::abs(m_Bits.Se()); }
    void Intra4x4Mode() override
    {
        if (!m_Bits.Flag()) m_Bits.Bits(3);
    }
    uint32_t ChromaMode(const Around&) override { return m_Bits.Ue(3, "intra_chroma_pred_mode"); }
    void Raw() override { m_Bits.SkipBytes(RAW_BYTES); }
    uint32_t Pattern(bool intra, const Around&) override
    {
        return CBP_OF_CODE[intra ? 0 : 1][m_Bits.Ue(47, "coded_block_pattern")];
    }
    bool QpDelta(bool) override { return m_Bits.Se(-26, 25, "mb_qp_delta") != 0; }
    int Block(EBlock kind, int most, const Beside& beside) override;

  private:
    Token ReadToken(EBlock kind, int count);
    void ReadLevels(const Token& token);
    int ReadRun(int left);
    int ReadValue(const ValueCodes& codes);

    BitReader& m_Bits;
    int64_t m_Run = -1;  // macroblocks that are still skipped; -1: it comes next
};

Token Cavlc::ReadToken(EBlock kind, int count)
{
    if (kind != EBlock::ChromaDc && count >= 8) {
        const uint32_t code = m_Bits.Bits(6);
        if (code == 3) return {};
        const Token token{6, static_cast<uint8_t>((code >> 2) + 1), static_cast<uint8_t>(code & 3)};
        if (token.ones > token.total) throw Damaged("coeff_token");
        return token;
    }
    const size_t table = kind == EBlock::ChromaDc ? 3 : count >= 4 ? 2 : count >= 2 ? 1 : 0;
    const Token token = TokensOf(table)[m_Bits.Peek(MOST_BITS)];
    if (token.length == 0) throw Damaged("coeff_token");
    m_Bits.Bits(token.length);
    return token;
}

// 9.2.2
void Cavlc::ReadLevels(const Token& token)
{
    m_Bits.Bits(token.ones);
    int suffix = token.total > 10 && token.ones < 3 ? 1 : 0;
    for (int i = token.ones; i < token.total; ++i) {
        int prefix = 0;
        while (!m_Bits.Flag())
            if (++prefix > MOST_PREFIX) throw Damaged("level_prefix");
        int bits = suffix;
        if (prefix == 14 && suffix == 0) bits = 4;
        if (prefix == 15) bits = 12;
        int code = (prefix << suffix) + static_cast<int>(m_Bits.Bits(bits));
        if (prefix == 15 && suffix == 0) code += 15;
        if (i == token.ones && token.ones < 3) code += 2;
        if (suffix == 0) suffix = 1;
        if ((code + 2) / 2 > 3 << (suffix - 1) && suffix < 6) ++suffix;
    }
}

int Cavlc::ReadValue(const ValueCodes& codes)
{
    for (int value = 0; value < codes.count; ++value) {
        const int length = codes.length[value];
        if (m_Bits.Peek(length) != codes.bits[value]) continue;
        m_Bits.Bits(length);
        return value;
    }
    throw Damaged("total_zeros or run_before");
}

int Cavlc::ReadRun(int left)
{
    if (left <= 6) return ReadValue(RUN_CODES[left - 1]);
    if (m_Bits.Peek(3) != 0) return ReadValue(RUN_CODES[6]);
    m_Bits.Bits(3);
    int run = 7;
    for (; !m_Bits.Flag(); ++run)
        if (run > left) throw Damaged("run_before");
    return run;
}

int Cavlc::Block(EBlock kind, int most, const Beside& beside)
{
    const Token token = ReadToken(kind, beside.count);
    if (token.total > most) throw Damaged("a block has too many coefficients");
    if (token.total == 0) return 0;
    ReadLevels(token);
    int left = 0;
    if (token.total < most) {
        left = ReadValue(ZEROS_CODES[token.total - 1U + (kind == EBlock::ChromaDc ? ZEROS_CHROMA_DC : 0)]);
        if (token.total + left > most) throw Damaged("total_zeros");
    }
    for (int i = 1; i < token.total && left > 0; ++i) {
        left -= ReadRun(left);
        if (left < 0) throw Damaged("run_before");
    }
    return token.total;
}

}  // namespace

std::unique_ptr<IElements> MakeCavlc(BitReader& bits)
{
    return std::make_unique<Cavlc>(bits);
}

}  // namespace recorder::h264
