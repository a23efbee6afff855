#include <algorithm>
#include <cstdlib>

#include "tests/support/h264_cabac_engine.h"
#include "tests/support/h264_slice_data.h"

namespace
{
// ctxIdxOffset of Table 9-34
constexpr int MB_TYPE_I = 3;
constexpr int MB_SKIP_FLAG_P = 11;
constexpr int MB_TYPE_P = 14;
constexpr int MB_TYPE_P_INTRA = 17;
constexpr int SUB_MB_TYPE_P = 21;
constexpr int MVD_X = 40;
constexpr int MVD_Y = 47;
constexpr int MB_QP_DELTA = 60;
constexpr int INTRA_CHROMA_PRED_MODE = 64;
constexpr int PREV_INTRA4X4_PRED_MODE_FLAG = 68;
constexpr int REM_INTRA4X4_PRED_MODE = 69;
constexpr int CBP_LUMA = 73;
constexpr int CBP_CHROMA = 77;
constexpr int CODED_BLOCK_FLAG = 85;
constexpr int SIGNIFICANT_COEFF_FLAG = 105;
constexpr int LAST_SIGNIFICANT_COEFF_FLAG = 166;
constexpr int COEFF_ABS_LEVEL_MINUS1 = 227;

/// Table 9-40, by EH264Block: the offsets of coded_block_flag, of both significance flags, of the levels.
constexpr int CODED_OFFSET[5] = {0, 4, 8, 12, 16};
constexpr int SIGNIFICANT_OFFSET[5] = {0, 15, 29, 44, 47};
constexpr int LEVEL_OFFSET[5] = {0, 10, 20, 30, 39};

class CCabacWriter
{
  public:
    CCabacWriter(const H264Parameters& parameters, const H264Picture& picture, CH264Bits* bits)
        : m_Parameters(parameters),
          m_Picture(picture),
          m_Engine(
              picture.header.intra ? H264_CONTEXT_START_I : H264_CONTEXT_START_P[picture.header.cabac_init_idc],
              picture.header.slice_qp, &bits->AlignWith(true))
    {
    }

    void Write()
    {
        for (int y = m_Picture.header.first_mb / m_Parameters.widthMbs; y < m_Parameters.heightMbs; ++y) {
            for (int x = 0; x < m_Parameters.widthMbs; ++x) {
                m_pMb = H264MbAt(m_Parameters, m_Picture, x, y);
                m_pLeft = H264MbAt(m_Parameters, m_Picture, x - 1, y);
                m_pTop = H264MbAt(m_Parameters, m_Picture, x, y - 1);
                if (!m_Picture.header.intra) WriteSkipFlag();
                if (m_pMb->type != EH264Mb::Skip)
                    WriteMacroblock();
                else
                    m_bQpChanged = false;
                m_Engine.Terminate(m_pMb == &m_Picture.mbs.back());
            }
        }
    }

    const CH264CabacEngine& Engine() const { return m_Engine; }

  private:
    static bool IsSkipped(const H264Macroblock* mb) { return mb->type == EH264Mb::Skip; }

    void WriteSkipFlag()
    {
        const int context = (m_pLeft && !IsSkipped(m_pLeft) ? 1 : 0) + (m_pTop && !IsSkipped(m_pTop) ? 1 : 0);
        m_Engine.Decision(MB_SKIP_FLAG_P + context, IsSkipped(m_pMb));
    }

    void WriteMacroblock()
    {
        const H264Macroblock& mb = *m_pMb;
        if (m_Picture.header.intra)
            WriteMbTypeOfI();
        else
            WriteMbTypeOfP();
        if (mb.type == EH264Mb::I4x4) {
            for (const int rem : mb.rem_mode) {
                m_Engine.Decision(PREV_INTRA4X4_PRED_MODE_FLAG, rem < 0);
                for (int bit = 0; rem >= 0 && bit < 3; ++bit)
                    m_Engine.Decision(REM_INTRA4X4_PRED_MODE, (rem >> bit & 1) != 0);
            }
        }
        if (mb.type == EH264Mb::P8x8) {
            for (const int sub : mb.sub_mb_type)
                WriteSubMbType(sub);
        }
        H264ForEachPartition(mb, [&](int x, int y, int, int) {
            WriteDifference(x, y, &H264Vector::x, MVD_X);
            WriteDifference(x, y, &H264Vector::y, MVD_Y);
        });
        if (mb.IsIntra()) WriteChromaMode();
        if (mb.type != EH264Mb::I16x16) {
            WriteLumaPattern();
            WriteChromaPattern();
        }
        if (mb.HasResidual()) WriteQpDelta();
        m_bQpChanged = mb.HasResidual() && mb.mb_qp_delta != 0;
        H264ForEachResidual(mb, [&](EH264Block kind, int plane, int block, const int* levels, int count) {
            WriteBlock(kind, plane, block, levels, count);
        });
    }

    void WriteMbTypeOfI()
    {
        const auto counts = [](const H264Macroblock* mb) { return mb && mb->type != EH264Mb::I4x4 ? 1 : 0; };
        WriteIntraMbType(MB_TYPE_I + counts(m_pLeft) + counts(m_pTop), MB_TYPE_I + 3, 1);
    }

    /// Table 9-36. The later bins are at `rest` and after it; in P slices bins share a context, `step` is 0.
    void WriteIntraMbType(int first, int rest, int step)
    {
        const H264Macroblock& mb = *m_pMb;
        m_Engine.Decision(first, mb.type != EH264Mb::I4x4);
        if (mb.type == EH264Mb::I4x4) return;
        m_Engine.Terminate(false);
        m_Engine.Decision(rest, mb.cbp_luma != 0);
        m_Engine.Decision(rest + 1, mb.cbp_chroma != 0);
        if (mb.cbp_chroma != 0) m_Engine.Decision(rest + 1 + step, mb.cbp_chroma == 2);
        m_Engine.Decision(rest + 2 + step, (mb.intra16x16_mode & 2) != 0);
        m_Engine.Decision(rest + 2 + 2 * step, (mb.intra16x16_mode & 1) != 0);
    }

    void WriteMbTypeOfP()
    {
        m_Engine.Decision(MB_TYPE_P, m_pMb->IsIntra());
        if (m_pMb->IsIntra()) {
            WriteIntraMbType(MB_TYPE_P_INTRA, MB_TYPE_P_INTRA + 1, 0);
            return;
        }
        const bool halves = m_pMb->type == EH264Mb::P16x8 || m_pMb->type == EH264Mb::P8x16;
        m_Engine.Decision(MB_TYPE_P + 1, halves);
        if (halves)
            m_Engine.Decision(MB_TYPE_P + 3, m_pMb->type == EH264Mb::P16x8);
        else
            m_Engine.Decision(MB_TYPE_P + 2, m_pMb->type == EH264Mb::P8x8);
    }

    void WriteSubMbType(int sub)
    {
        m_Engine.Decision(SUB_MB_TYPE_P, sub == 0);
        if (sub == 0) return;
        m_Engine.Decision(SUB_MB_TYPE_P + 1, sub != 1);
        if (sub != 1) m_Engine.Decision(SUB_MB_TYPE_P + 2, sub == 2);
    }

    void WriteDifference(int x, int y, int H264Vector::*component, int offset)
    {
        const auto sizeAt = [&](int column, int row) {
            const H264BlockPlace place = H264BlockAt(m_pMb, m_pLeft, m_pTop, column, row, 4);
            return place.mb ? std::abs(place.mb->mvd[static_cast<size_t>(place.block)].*component) : 0;
        };
        const int around = sizeAt(x - 1, y) + sizeAt(x, y - 1);
        const int value = m_pMb->mvd[static_cast<size_t>(y * 4 + x)].*component;
        const int size = std::abs(value);
        for (int i = 0; i < std::min(size, 9); ++i)
            m_Engine.Decision(offset + (i == 0 ? (around < 3    ? 0
                                                  : around > 32 ? 2
                                                                : 1)
                                               : std::min(i + 2, 6)),
                              true);
        if (size < 9)
            m_Engine.Decision(offset + (size == 0 ? (around < 3    ? 0
                                                     : around > 32 ? 2
                                                                   : 1)
                                                  : std::min(size + 2, 6)),
                              false);
        else
            WriteExpGolomb(size - 9, 3);
        if (size != 0) m_Engine.Bypass(value < 0);
    }

    /// The suffix of 9.3.2.3.
    void WriteExpGolomb(int value, int k)
    {
        for (; value >= 1 << k; ++k) {
            m_Engine.Bypass(true);
            value -= 1 << k;
        }
        m_Engine.Bypass(false);
        while (k-- > 0)
            m_Engine.Bypass((value >> k & 1) != 0);
    }

    void WriteChromaMode()
    {
        const auto counts = [](const H264Macroblock* mb) {
            return mb && mb->IsIntra() && mb->intra_chroma_mode != 0 ? 1 : 0;
        };
        const int mode = m_pMb->intra_chroma_mode;
        for (int i = 0; i < std::min(mode + 1, 3); ++i)
            m_Engine.Decision(INTRA_CHROMA_PRED_MODE + (i == 0 ? counts(m_pLeft) + counts(m_pTop) : 3),
                              i < mode);
    }

    void WriteLumaPattern()
    {
        for (int quarter = 0; quarter < 4; ++quarter) {
            const auto clearAt = [&](int x, int y) {
                const H264BlockPlace place = H264BlockAt(m_pMb, m_pLeft, m_pTop, x, y, 2);
                return place.mb && !(place.mb->cbp_luma >> place.block & 1) ? 1 : 0;
            };
            const int context =
                clearAt(quarter % 2 - 1, quarter / 2) + 2 * clearAt(quarter % 2, quarter / 2 - 1);
            m_Engine.Decision(CBP_LUMA + context, (m_pMb->cbp_luma >> quarter & 1) != 0);
        }
    }

    void WriteChromaPattern()
    {
        const auto context = [&](int least) {
            return (m_pLeft && m_pLeft->cbp_chroma >= least ? 1 : 0) +
                   (m_pTop && m_pTop->cbp_chroma >= least ? 2 : 0);
        };
        m_Engine.Decision(CBP_CHROMA + context(1), m_pMb->cbp_chroma != 0);
        if (m_pMb->cbp_chroma != 0) m_Engine.Decision(CBP_CHROMA + 4 + context(2), m_pMb->cbp_chroma == 2);
    }

    void WriteQpDelta()
    {
        const int delta = m_pMb->mb_qp_delta;
        const int mapped = delta > 0 ? 2 * delta - 1 : -2 * delta;
        for (int i = 0; i <= mapped; ++i)
            m_Engine.Decision(MB_QP_DELTA + (i == 0 ? (m_bQpChanged ? 1 : 0) : i == 1 ? 2 : 3), i < mapped);
    }

    /// transBlockN of 9.3.3.1.1.9 with its coded_block_flag.
    bool IsCoded(EH264Block kind, int plane, const H264BlockPlace& place) const
    {
        if (!place.mb) return m_pMb->IsIntra();
        const H264Macroblock& mb = *place.mb;
        const auto any = [](const auto& levels) {
            return std::any_of(levels.begin(), levels.end(), [](int level) { return level != 0; });
        };
        const auto block = static_cast<size_t>(place.block);
        switch (kind) {
            case EH264Block::Luma16Dc:
                return mb.type == EH264Mb::I16x16 && any(mb.luma_dc);
            case EH264Block::Luma16Ac:
            case EH264Block::Luma4x4:
                return any(mb.luma[block]);
            case EH264Block::ChromaDc:
                return any(mb.chroma_dc[static_cast<size_t>(plane - 1)]);
            default:
                return any(mb.chroma_ac[static_cast<size_t>(plane - 1)][block]);
        }
    }

    int CodedContext(EH264Block kind, int plane, int block) const
    {
        if (kind == EH264Block::Luma16Dc || kind == EH264Block::ChromaDc)
            return (IsCoded(kind, plane, {m_pLeft, 0}) ? 1 : 0) + (IsCoded(kind, plane, {m_pTop, 0}) ? 2 : 0);
        const int size = kind == EH264Block::ChromaAc ? 2 : 4;
        const int x = block % size;
        const int y = block / size;
        return (IsCoded(kind, plane, H264BlockAt(m_pMb, m_pLeft, m_pTop, x - 1, y, size)) ? 1 : 0) +
               (IsCoded(kind, plane, H264BlockAt(m_pMb, m_pLeft, m_pTop, x, y - 1, size)) ? 2 : 0);
    }

    /// 7.3.5.3.3
    void WriteBlock(EH264Block kind, int plane, int block, const int* levels, int count)
    {
        const int cat = static_cast<int>(kind);
        int last = count - 1;
        while (last >= 0 && levels[last] == 0)
            --last;
        m_Engine.Decision(CODED_BLOCK_FLAG + CODED_OFFSET[cat] + CodedContext(kind, plane, block), last >= 0);
        if (last < 0) return;
        for (int k = 0; k < count - 1 && k <= last; ++k) {
            const int context = SIGNIFICANT_OFFSET[cat] + (kind == EH264Block::ChromaDc ? std::min(k, 2) : k);
            m_Engine.Decision(SIGNIFICANT_COEFF_FLAG + context, levels[k] != 0);
            if (levels[k] != 0) m_Engine.Decision(LAST_SIGNIFICANT_COEFF_FLAG + context, k == last);
        }
        int ones = 0;
        int greater = 0;
        for (int k = last; k >= 0; --k) {
            if (levels[k] == 0) continue;
            const int size = std::abs(levels[k]) - 1;
            const int offset = COEFF_ABS_LEVEL_MINUS1 + LEVEL_OFFSET[cat];
            const int first = offset + (greater > 0 ? 0 : std::min(4, 1 + ones));
            const int rest = offset + 5 + std::min(4 - (kind == EH264Block::ChromaDc ? 1 : 0), greater);
            for (int i = 0; i < std::min(size, 14); ++i)
                m_Engine.Decision(i == 0 ? first : rest, true);
            if (size < 14)
                m_Engine.Decision(size == 0 ? first : rest, false);
            else
                WriteExpGolomb(size - 14, 0);
            m_Engine.Bypass(levels[k] < 0);
            ++(size == 0 ? ones : greater);
        }
    }

    const H264Parameters& m_Parameters;
    const H264Picture& m_Picture;
    CH264CabacEngine m_Engine;
    const H264Macroblock* m_pMb = nullptr;
    const H264Macroblock* m_pLeft = nullptr;
    const H264Macroblock* m_pTop = nullptr;
    bool m_bQpChanged = false;
};
}  // namespace

void WriteCabacSliceData(const H264Parameters& parameters, const H264Picture& picture, CH264Bits* bits,
                         H264ContextUses* uses)
{
    CCabacWriter writer(parameters, picture, bits);
    writer.Write();
    for (size_t i = 0; uses && i < uses->size(); ++i)
        (*uses)[i] += writer.Engine().Uses(i);
}
