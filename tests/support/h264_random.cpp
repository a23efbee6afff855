#include "tests/support/h264_random.h"

#include <algorithm>
#include <cstdlib>

#include "tests/support/h264_tables.h"

namespace
{
/// Level limits of Table A-1: -2048..2047.75 across, -512..511.75 down, in quarter samples.
constexpr int VECTOR_RANGE_X = 8192;
constexpr int VECTOR_RANGE_Y = 2048;
/// Bits that a macroblock's levels may take, roughly; the standard allows a macroblock 3200 in all.
constexpr int LEVEL_BITS = 2300;
/// The largest level for which level_prefix 15 suffices at every suffix length.
constexpr int LARGEST_LEVEL = 2063;
/// What the scaled coefficients of a block may add up to, so that no transform leaves 16 bits.
constexpr int LARGEST_SUM = 32000;

class CDice
{
  public:
    explicit CDice(uint32_t seed) : m_Random(seed) {}
    int Pick(int low, int high)
    {
        return low + static_cast<int>(m_Random() % static_cast<uint32_t>(high - low + 1));
    }
    bool Chance(int percent) { return Pick(0, 99) < percent; }

  private:
    std::mt19937 m_Random;
};

/// What one picture has much or little of, in percent unless said otherwise.
struct Style {
    int skip;
    int intra;
    int coded;    ///< an 8x8 with levels
    int density;  ///< a place of a coded block with a level
    int large;    ///< a level of any size instead of a small one
    int far;      ///< a vector from the whole range
    int near;     ///< largest difference of the other vectors, quarter samples
    int qpChanges;
    int qpLow;
    int qpHigh;
};

int Median(int a, int b, int c)
{
    return std::max(std::min(a, b), std::min(std::max(a, b), c));
}

/// Fills the macroblocks of one picture in coding order.
class CPictureMaker
{
  public:
    CPictureMaker(CDice* dice, const H264Parameters& parameters, const Style& style, H264Picture* picture)
        : m_Dice(*dice),
          m_Parameters(parameters),
          m_Style(style),
          m_Picture(*picture),
          m_iQp(picture->header.slice_qp)
    {
    }

    void Make()
    {
        m_Picture.mbs.resize(static_cast<size_t>(m_Parameters.widthMbs) * m_Parameters.heightMbs);
        for (m_iMbY = 0; m_iMbY < m_Parameters.heightMbs; ++m_iMbY) {
            for (m_iMbX = 0; m_iMbX < m_Parameters.widthMbs; ++m_iMbX)
                MakeMacroblock(&m_Picture.mbs[Index(m_iMbX, m_iMbY)]);
        }
    }

  private:
    struct Neighbour {
        bool available = false;
        bool inter = false;
        H264Vector mv;
    };

    size_t Index(int x, int y) const { return static_cast<size_t>(y) * m_Parameters.widthMbs + x; }
    bool HasLeft() const { return m_iMbX > 0; }
    bool HasTop() const { return m_iMbY > 0; }

    void MakeMacroblock(H264Macroblock* mb)
    {
        m_Done.fill(false);
        mb->intra4x4_mode.fill(2);
        if (m_Picture.header.intra || m_Dice.Chance(m_Style.intra)) {
            MakeIntra(mb);
        } else if (m_Dice.Chance(m_Style.skip)) {
            mb->type = EH264Mb::Skip;
            mb->mv.fill(SkipVector(*mb));
        } else {
            MakeInter(mb);
        }
        MakePattern(mb);
        MakeQp(mb);
        if (mb->type != EH264Mb::Skip) MakeLevels(mb);
    }

    void MakeIntra(H264Macroblock* mb)
    {
        mb->type = m_Dice.Chance(50) ? EH264Mb::I4x4 : EH264Mb::I16x16;
        if (mb->type == EH264Mb::I4x4) {
            for (int i = 0; i < 16; ++i)
                MakeIntra4x4Mode(mb, i);
        } else {
            // Table 8-4: vertical, horizontal, DC, plane
            do {
                mb->intra16x16_mode = m_Dice.Pick(0, 3);
            } while (!MayPredict(mb->intra16x16_mode != 2 && mb->intra16x16_mode != 0,
                                 mb->intra16x16_mode != 2 && mb->intra16x16_mode != 1));
        }
        // Table 8-5: DC, horizontal, vertical, plane
        do {
            mb->intra_chroma_mode = m_Dice.Pick(0, 3);
        } while (
            !MayPredict(mb->intra_chroma_mode == 1 || mb->intra_chroma_mode == 3, mb->intra_chroma_mode >= 2));
    }

    bool MayPredict(bool needsLeft, bool needsTop) const
    {
        return (!needsLeft || HasLeft()) && (!needsTop || HasTop());
    }

    void MakeIntra4x4Mode(H264Macroblock* mb, int index)
    {
        const int block = H264BlockOfIndex(index);
        const bool left = block % 4 > 0 || HasLeft();
        const bool top = block / 4 > 0 || HasTop();
        // Table 8-2: vertical, horizontal, DC, down left, down right, vertical right, horizontal down,
        // vertical left, horizontal up
        static const bool needsLeft[9] = {false, true, false, false, true, true, true, false, true};
        static const bool needsTop[9] = {true, false, false, true, true, true, true, true, false};
        const int predicted = PredictedMode(*mb, block);
        int mode = predicted;
        // the predicted one is always possible: a neighbour had the same samples beside it, or it is DC
        const bool possible = (!needsLeft[predicted] || left) && (!needsTop[predicted] || top);
        if (!possible || m_Dice.Chance(70)) {
            do {
                mode = m_Dice.Pick(0, 8);
            } while ((needsLeft[mode] && !left) || (needsTop[mode] && !top));
        }
        mb->intra4x4_mode[block] = mode;
        mb->rem_mode[index] = mode == predicted ? -1 : mode < predicted ? mode : mode - 1;
    }

    /// 8.3.1.1
    int PredictedMode(const H264Macroblock& mb, int block) const
    {
        const int x = block % 4;
        const int y = block / 4;
        if ((x == 0 && !HasLeft()) || (y == 0 && !HasTop())) return 2;
        const int left = x > 0 ? mb.intra4x4_mode[block - 1]
                               : m_Picture.mbs[Index(m_iMbX - 1, m_iMbY)].intra4x4_mode[block + 3];
        const int top = y > 0 ? mb.intra4x4_mode[block - 4]
                              : m_Picture.mbs[Index(m_iMbX, m_iMbY - 1)].intra4x4_mode[block + 12];
        return std::min(left, top);
    }

    void MakeInter(H264Macroblock* mb)
    {
        mb->type = static_cast<EH264Mb>(
            m_Dice.Pick(static_cast<int>(EH264Mb::P16x16), static_cast<int>(EH264Mb::P8x8)));
        mb->ref0 = m_Dice.Chance(30);
        for (int& sub : mb->sub_mb_type)
            sub = m_Dice.Pick(0, 3);
        H264ForEachPartition(*mb, [&](int x, int y, int width, int height) {
            const H264Vector predicted = PredictVector(*mb, x, y, width);
            const H264Vector mv = MakeVector(predicted);
            for (int row = y; row < y + height; ++row) {
                for (int column = x; column < x + width; ++column) {
                    const size_t block = static_cast<size_t>(row * 4 + column);
                    mb->mv[block] = mv;
                    mb->mvd[block] = {mv.x - predicted.x, mv.y - predicted.y};
                    m_Done[block] = true;
                }
            }
        });
    }

    H264Vector MakeVector(const H264Vector& predicted)
    {
        H264Vector mv;
        if (m_Dice.Chance(m_Style.far)) {
            mv = {m_Dice.Pick(-VECTOR_RANGE_X, VECTOR_RANGE_X - 1),
                  m_Dice.Pick(-VECTOR_RANGE_Y, VECTOR_RANGE_Y - 1)};
            if (m_Dice.Chance(30)) mv.x /= 32;  // so that many end near the picture
            if (m_Dice.Chance(30)) mv.y /= 32;
        } else {
            mv = {predicted.x + m_Dice.Pick(-m_Style.near, m_Style.near),
                  predicted.y + m_Dice.Pick(-m_Style.near, m_Style.near)};
        }
        return {std::clamp(mv.x, -VECTOR_RANGE_X, VECTOR_RANGE_X - 1),
                std::clamp(mv.y, -VECTOR_RANGE_Y, VECTOR_RANGE_Y - 1)};
    }

    /// A block in units of 4x4, counted from the macroblock's top left one.
    Neighbour At(const H264Macroblock& mb, int x, int y) const
    {
        if (x >= 0 && y >= 0) {
            // a partition to come, or the macroblock to the right
            if (x > 3 || !m_Done[static_cast<size_t>(y * 4 + x)]) return {};
            return {true, true, mb.mv[static_cast<size_t>(y * 4 + x)]};
        }
        const int mbX = m_iMbX + (x < 0 ? -1 : x > 3 ? 1 : 0);
        const int mbY = m_iMbY + (y < 0 ? -1 : 0);
        if (mbX < 0 || mbX >= m_Parameters.widthMbs || mbY < 0) return {};
        const H264Macroblock& other = m_Picture.mbs[Index(mbX, mbY)];
        if (other.IsIntra()) return {true, false, {}};
        return {true, true, other.mv[static_cast<size_t>((y & 3) * 4 + (x & 3))]};
    }

    /// 8.4.1.3
    H264Vector PredictVector(const H264Macroblock& mb, int x, int y, int width) const
    {
        Neighbour a = At(mb, x - 1, y);
        Neighbour b = At(mb, x, y - 1);
        Neighbour c = At(mb, x + width, y - 1);
        if (!c.available) c = At(mb, x - 1, y - 1);
        if (mb.type == EH264Mb::P16x8) {
            if (y == 0 && b.inter) return b.mv;
            if (y != 0 && a.inter) return a.mv;
        }
        if (mb.type == EH264Mb::P8x16) {
            if (x == 0 && a.inter) return a.mv;
            if (x != 0 && c.inter) return c.mv;
        }
        if (!b.available && !c.available && a.available) return a.mv;
        const int inter = a.inter + b.inter + c.inter;
        if (inter == 1) return a.inter ? a.mv : b.inter ? b.mv : c.mv;
        return {Median(a.mv.x, b.mv.x, c.mv.x), Median(a.mv.y, b.mv.y, c.mv.y)};
    }

    /// 8.4.1.1
    H264Vector SkipVector(const H264Macroblock& mb) const
    {
        const Neighbour a = At(mb, -1, 0);
        const Neighbour b = At(mb, 0, -1);
        if (!a.available || !b.available) return {};
        if ((a.inter && a.mv == H264Vector{}) || (b.inter && b.mv == H264Vector{})) return {};
        return PredictVector(mb, 0, 0, 4);
    }

    void MakePattern(H264Macroblock* mb)
    {
        if (mb->type == EH264Mb::Skip) return;
        if (mb->type == EH264Mb::I16x16) {
            mb->cbp_luma = m_Dice.Chance(m_Style.coded) ? 15 : 0;
        } else {
            for (int quarter = 0; quarter < 4; ++quarter)
                mb->cbp_luma |= m_Dice.Chance(m_Style.coded) ? 1 << quarter : 0;
        }
        mb->cbp_chroma = m_Dice.Chance(m_Style.coded) ? m_Dice.Pick(1, 2) : 0;
    }

    void MakeQp(H264Macroblock* mb)
    {
        if (mb->HasResidual() && m_Dice.Chance(m_Style.qpChanges)) {
            const int qp = m_Dice.Pick(m_Style.qpLow, m_Style.qpHigh);
            int delta = qp - m_iQp;
            if (delta > 25) delta -= 52;
            if (delta < -26) delta += 52;
            mb->mb_qp_delta = delta;
            m_iQp = qp;
        }
        mb->qp = m_iQp;
    }

    void MakeLevels(H264Macroblock* mb)
    {
        m_iBitsLeft = LEVEL_BITS;
        const int chromaQp = H264_CHROMA_QP[std::clamp(mb->qp + m_Parameters.chroma_qp_index_offset, 0, 51)];
        int dcShare = 0;
        if (mb->type == EH264Mb::I16x16) {
            // 8.5.10: a quarter of the scaled sum reaches each block
            const int sum = MakeBlock(
                mb->luma_dc.data(), 16, [&](int) { return H264LevelScale(mb->qp, 0); }, 2 * LARGEST_SUM);
            dcShare = sum / 4 + 1;
        }
        for (int block = 0; block < 16; ++block) {
            if (!(mb->cbp_luma >> (block / 8 * 2 + block % 4 / 2) & 1)) continue;
            const int first = mb->type == EH264Mb::I16x16 ? 1 : 0;
            MakeBlock(
                mb->luma[static_cast<size_t>(block)].data(), 16 - first,
                [&](int k) { return H264LevelScale(mb->qp, k + first); }, LARGEST_SUM - dcShare);
        }
        for (int plane = 0; plane < 2 && mb->cbp_chroma != 0; ++plane) {
            // 8.5.11: half of the scaled sum reaches each block
            const int sum = MakeBlock(
                mb->chroma_dc[static_cast<size_t>(plane)].data(), 4,
                [&](int) { return H264LevelScale(chromaQp, 0); }, LARGEST_SUM);
            for (int block = 0; block < 4 && mb->cbp_chroma == 2; ++block)
                MakeBlock(
                    mb->chroma_ac[static_cast<size_t>(plane)][static_cast<size_t>(block)].data(), 15,
                    [&](int k) { return H264LevelScale(chromaQp, k + 1); }, LARGEST_SUM - sum / 2 - 1);
        }
    }

    /// Levels whose scaled sizes add up to `limit` at most. Returns the sum.
    template <class Scale>
    int MakeBlock(int* levels, int count, Scale scale, int limit)
    {
        int sum = 0;
        const bool full = m_Dice.Chance(5);
        const bool empty = m_Dice.Chance(25);
        for (int k = 0; k < count; ++k) {
            const bool here = full || (!empty && m_Dice.Chance(m_Style.density));
            if (!here || m_iBitsLeft <= 0) continue;
            int size = 1;
            if (m_Dice.Chance(m_Style.large))
                size = m_Dice.Chance(30) ? m_Dice.Pick(1, LARGEST_LEVEL) : m_Dice.Pick(1, 40);
            else if (m_Dice.Chance(30))
                size = m_Dice.Pick(1, 4);
            size = std::min(size, (limit - sum) / scale(k));
            sum += size * scale(k);
            levels[k] = m_Dice.Chance(50) ? size : -size;
            m_iBitsLeft -= size < 15 ? 3 + size : 30;
        }
        return sum;
    }

    CDice& m_Dice;
    const H264Parameters& m_Parameters;
    const Style& m_Style;
    H264Picture& m_Picture;
    int m_iQp;
    int m_iMbX = 0;
    int m_iMbY = 0;
    int m_iBitsLeft = 0;
    std::array<bool, 16> m_Done = {};
};

Style MakeStyle(CDice* dice)
{
    static const int percents[] = {0, 5, 20, 50, 80};
    const auto some = [&] { return percents[dice->Pick(0, 4)]; };
    Style style = {};
    style.skip = dice->Chance(10) ? 97 : some();
    style.intra = percents[dice->Pick(0, 3)];
    style.coded = some();
    style.density = 2 + some();
    style.large = dice->Chance(60) ? 2 : some();
    style.far = dice->Chance(60) ? 2 : some();
    style.near = dice->Chance(20) ? 0 : dice->Chance(50) ? 5 : dice->Pick(1, 200);
    style.qpChanges = some();
    style.qpLow = dice->Pick(0, 51);
    style.qpHigh = dice->Chance(30) ? style.qpLow : dice->Pick(style.qpLow, 51);
    if (dice->Chance(20)) {
        style.qpLow = 0;
        style.qpHigh = 51;
    }
    return style;
}

H264Parameters MakeParameters(CDice* dice, const H264RandomShape& shape)
{
    static const int profiles[] = {66, 77, 100};
    H264Parameters parameters;
    parameters.widthMbs = shape.widthMbs;
    parameters.heightMbs = shape.heightMbs;
    if (dice->Chance(30)) parameters.crop_right = dice->Pick(0, 7);
    if (dice->Chance(30)) parameters.crop_bottom = dice->Pick(0, 7);
    parameters.profile_idc = profiles[dice->Pick(0, 2)];
    parameters.log2_max_frame_num = dice->Pick(4, 16);
    parameters.pic_order_cnt_type = dice->Chance(50) ? 0 : 2;
    parameters.log2_max_pic_order_cnt_lsb = dice->Pick(4, 16);
    parameters.pic_init_qp = dice->Pick(0, 51);
    parameters.chroma_qp_index_offset = dice->Chance(40) ? 0 : dice->Pick(-12, 12);
    parameters.deblocking_filter_control_present = dice->Chance(80);
    return parameters;
}

void MakeDeblocking(CDice* dice, const H264Parameters& parameters, H264SliceHeader* header)
{
    if (!parameters.deblocking_filter_control_present) return;
    header->disable_deblocking_filter_idc = dice->Chance(60) ? 0 : dice->Pick(0, 2);
    header->slice_alpha_c0_offset_div2 = dice->Pick(-6, 6);
    header->slice_beta_offset_div2 = dice->Pick(-6, 6);
}
}  // namespace

H264Sequence MakeRandomH264(const H264RandomShape& shape)
{
    CDice dice(shape.seed);
    H264Sequence sequence;
    sequence.parameters = MakeParameters(&dice, shape);
    const H264Parameters& parameters = sequence.parameters;
    int frameNum = 0;
    for (int i = 0; i < shape.pictures; ++i) {
        H264Picture picture;
        H264SliceHeader& header = picture.header;
        header.idr = i % shape.gop == 0;
        frameNum = header.idr ? 0 : frameNum + 1;
        header.intra = header.idr || dice.Chance(shape.still ? 3 : 15);
        header.all_alike = dice.Chance(50);
        header.nal_ref_idc = dice.Pick(1, 3);
        header.frame_num = frameNum & ((1 << parameters.log2_max_frame_num) - 1);
        header.idr_pic_id = i / shape.gop & 1;
        header.pic_order_cnt_lsb = 2 * frameNum & ((1 << parameters.log2_max_pic_order_cnt_lsb) - 1);
        header.num_ref_idx_active_override = dice.Chance(20);
        header.cabac_init_idc = dice.Pick(0, 2);
        Style style = MakeStyle(&dice);
        if (shape.still) {
            style.skip = 96;
            style.intra = 1;
            style.near = 2;
            style.far = 1;
        }
        header.slice_qp = dice.Pick(style.qpLow, style.qpHigh);
        MakeDeblocking(&dice, parameters, &header);
        CPictureMaker(&dice, parameters, style, &picture).Make();
        sequence.pictures.push_back(std::move(picture));
    }
    return sequence;
}

H264RandomShape H264ShapeOfSeed(uint32_t seed)
{
    return {.seed = seed,
            .widthMbs = 1 + static_cast<int>(seed * 7 % 9),
            .heightMbs = 1 + static_cast<int>(seed * 5 % 8),
            .pictures = 6,
            .gop = 3};
}
