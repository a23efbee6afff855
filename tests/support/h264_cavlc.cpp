#include <algorithm>
#include <cstdlib>

#include "tests/support/h264_slice_data.h"
#include "tests/support/h264_tables.h"

namespace
{
class CCavlcWriter
{
  public:
    CCavlcWriter(const H264Parameters& parameters, const H264Picture& picture, CH264Bits* bits)
        : m_Parameters(parameters), m_Picture(picture), m_Bits(*bits)
    {
    }

    void Write()
    {
        uint32_t skipRun = 0;
        for (int y = m_Picture.header.first_mb / m_Parameters.widthMbs; y < m_Parameters.heightMbs; ++y) {
            for (int x = 0; x < m_Parameters.widthMbs; ++x) {
                m_pMb = H264MbAt(m_Parameters, m_Picture, x, y);
                if (m_pMb->type == EH264Mb::Skip) {
                    ++skipRun;
                    continue;
                }
                m_pLeft = H264MbAt(m_Parameters, m_Picture, x - 1, y);
                m_pTop = H264MbAt(m_Parameters, m_Picture, x, y - 1);
                if (!m_Picture.header.intra) m_Bits.Ue(skipRun);
                skipRun = 0;
                WriteMacroblock();
            }
        }
        if (skipRun > 0) m_Bits.Ue(skipRun);
    }

  private:
    void WriteMacroblock()
    {
        const H264Macroblock& mb = *m_pMb;
        m_Bits.Ue(MbType(mb));
        if (mb.type == EH264Mb::I4x4) {
            for (const int rem : mb.rem_mode) {
                m_Bits.Bit(rem < 0);
                if (rem >= 0) m_Bits.Bits(static_cast<uint32_t>(rem), 3);
            }
        }
        if (mb.type == EH264Mb::P8x8) {
            for (const int sub : mb.sub_mb_type)
                m_Bits.Ue(static_cast<uint32_t>(sub));
        }
        H264ForEachPartition(mb, [&](int x, int y, int, int) {
            const H264Vector& mvd = mb.mvd[static_cast<size_t>(y * 4 + x)];
            m_Bits.Se(mvd.x).Se(mvd.y);
        });
        if (mb.IsIntra()) m_Bits.Ue(static_cast<uint32_t>(mb.intra_chroma_mode));
        if (mb.type != EH264Mb::I16x16) {
            const uint8_t* const codes = mb.type == EH264Mb::I4x4 ? H264_CBP_INTRA : H264_CBP_INTER;
            m_Bits.Ue(
                static_cast<uint32_t>(std::find(codes, codes + 48, mb.cbp_luma | mb.cbp_chroma << 4) - codes));
        }
        if (mb.HasResidual()) m_Bits.Se(mb.mb_qp_delta);
        H264ForEachResidual(mb, [&](EH264Block kind, int plane, int block, const int* levels, int count) {
            WriteBlock(kind, plane, block, levels, count);
        });
    }

    uint32_t MbType(const H264Macroblock& mb) const
    {
        if (mb.IsIntra()) return H264IntraMbType(mb) + (m_Picture.header.intra ? 0 : 5);
        if (mb.type == EH264Mb::P8x8 && mb.ref0) return 4;
        return static_cast<uint32_t>(mb.type) - static_cast<uint32_t>(EH264Mb::P16x16);
    }

    static int CountLevels(const H264Macroblock& mb, int plane, int block)
    {
        const auto at = static_cast<size_t>(block);
        const auto isLevel = [](int level) { return level != 0; };
        if (plane > 0) {
            const auto& levels = mb.chroma_ac[static_cast<size_t>(plane - 1)][at];
            return static_cast<int>(std::count_if(levels.begin(), levels.end(), isLevel));
        }
        return static_cast<int>(std::count_if(mb.luma[at].begin(), mb.luma[at].end(), isLevel));
    }

    /// 9.2.1
    int Nc(int plane, int block) const
    {
        const int size = plane == 0 ? 4 : 2;
        const H264BlockPlace a = H264BlockAt(m_pMb, m_pLeft, m_pTop, block % size - 1, block / size, size);
        const H264BlockPlace b = H264BlockAt(m_pMb, m_pLeft, m_pTop, block % size, block / size - 1, size);
        const int left = a.mb ? CountLevels(*a.mb, plane, a.block) : 0;
        const int top = b.mb ? CountLevels(*b.mb, plane, b.block) : 0;
        return a.mb && b.mb ? (left + top + 1) >> 1 : left + top;
    }

    /// 7.3.5.3.2
    void WriteBlock(EH264Block kind, int plane, int block, const int* levels, int count)
    {
        int places[16];
        int total = 0;
        for (int k = 0; k < count; ++k) {
            if (levels[k] != 0) places[total++] = k;
        }
        int trailing = 0;
        while (trailing < 3 && trailing < total && std::abs(levels[places[total - 1 - trailing]]) == 1)
            ++trailing;
        WriteToken(kind, plane, block, total, trailing);
        if (total == 0) return;
        for (int i = 0; i < trailing; ++i)
            m_Bits.Bit(levels[places[total - 1 - i]] < 0);
        WriteLevels(levels, places, total, trailing);
        WriteZeros(kind, places, total, count);
    }

    void WriteToken(EH264Block kind, int plane, int block, int total, int trailing)
    {
        if (kind == EH264Block::ChromaDc) {
            m_Bits.Code(H264_COEFF_TOKEN_CHROMA_DC[total][trailing]);
            return;
        }
        const int nc = Nc(plane, block);
        if (nc >= 8)
            m_Bits.Bits(total == 0 ? 3 : static_cast<uint32_t>((total - 1) << 2 | trailing), 6);
        else
            m_Bits.Code(H264_COEFF_TOKEN[nc < 2 ? 0 : nc < 4 ? 1 : 2][total][trailing]);
    }

    /// 9.2.2.1, the other way round
    void WriteLevels(const int* levels, const int* places, int total, int trailing)
    {
        int suffixLength = total > 10 && trailing < 3 ? 1 : 0;
        for (int i = trailing; i < total; ++i) {
            const int level = levels[places[total - 1 - i]];
            int code = level > 0 ? 2 * level - 2 : -2 * level - 1;
            if (i == trailing && trailing < 3) code -= 2;
            WriteLevel(code, suffixLength);
            if (suffixLength == 0) suffixLength = 1;
            if (std::abs(level) > 3 << (suffixLength - 1) && suffixLength < 6) ++suffixLength;
        }
    }

    void WriteLevel(int code, int suffixLength)
    {
        const auto put = [&](int prefix, int suffix, int bits) {
            m_Bits.Bits(0, prefix).Bit(true).Bits(static_cast<uint32_t>(suffix), bits);
        };
        // a prefix of 15 has the next 4096 codes, each longer one twice as many as the one before
        const auto escape = [&](int rest) {
            int prefix = 15;
            for (; rest >= 1 << (prefix - 3); ++prefix)
                rest -= 1 << (prefix - 3);
            put(prefix, rest, prefix - 3);
        };
        if (suffixLength == 0) {
            if (code < 14)
                put(code, 0, 0);
            else if (code < 30)
                put(14, code - 14, 4);
            else
                escape(code - 30);
        } else if (code < 15 << suffixLength) {
            put(code >> suffixLength, code & ((1 << suffixLength) - 1), suffixLength);
        } else {
            escape(code - (15 << suffixLength));
        }
    }

    void WriteZeros(EH264Block kind, const int* places, int total, int count)
    {
        int zerosLeft = places[total - 1] + 1 - total;
        if (total < count) {
            if (kind == EH264Block::ChromaDc)
                m_Bits.Code(H264_TOTAL_ZEROS_CHROMA_DC[total - 1][zerosLeft]);
            else
                m_Bits.Code(H264_TOTAL_ZEROS[total - 1][zerosLeft]);
        }
        for (int i = total - 1; i > 0 && zerosLeft > 0; --i) {
            const int run = places[i] - places[i - 1] - 1;
            m_Bits.Code(H264_RUN_BEFORE[std::min(zerosLeft, 7) - 1][run]);
            zerosLeft -= run;
        }
    }

    const H264Parameters& m_Parameters;
    const H264Picture& m_Picture;
    CH264Bits& m_Bits;
    const H264Macroblock* m_pMb = nullptr;
    const H264Macroblock* m_pLeft = nullptr;
    const H264Macroblock* m_pTop = nullptr;
};
}  // namespace

void WriteCavlcSliceData(const H264Parameters& parameters, const H264Picture& picture, CH264Bits* bits)
{
    CCavlcWriter(parameters, picture, bits).Write();
}
