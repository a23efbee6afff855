#pragma once

#include <array>
#include <cstdint>
#include <vector>

// The syntax elements of the H.264 streams that the tests write: one slice a picture, I and P, one reference
// frame, no 8x8 transform. Names are those of ITU-T H.264.

struct H264Vector {
    int x = 0;
    int y = 0;
    bool operator==(const H264Vector&) const = default;
};

struct H264Parameters {
    int widthMbs = 1;
    int heightMbs = 1;
    int crop_right = 0;   ///< in units of two samples
    int crop_bottom = 0;  ///< in units of two samples
    int profile_idc = 77;
    bool entropy_coding_mode = false;
    int log2_max_frame_num = 4;
    int pic_order_cnt_type = 2;  ///< 0 or 2
    int log2_max_pic_order_cnt_lsb = 4;
    int pic_init_qp = 26;
    int chroma_qp_index_offset = 0;
    bool deblocking_filter_control_present = false;
};

struct H264SliceHeader {
    int first_mb = 0;        ///< the first of a row; a picture's rows above it are only looked at, not written
    bool intra = true;       ///< slice type I, else P
    bool all_alike = false;  ///< slice_type with the 5 that says that all slices of the picture have it
    bool idr = true;
    int nal_ref_idc = 1;
    int frame_num = 0;
    int idr_pic_id = 0;
    int pic_order_cnt_lsb = 0;
    bool num_ref_idx_active_override = false;
    int cabac_init_idc = 0;
    int slice_qp = 26;
    int disable_deblocking_filter_idc = 0;
    int slice_alpha_c0_offset_div2 = 0;
    int slice_beta_offset_div2 = 0;
};

enum class EH264Mb { Skip, P16x16, P16x8, P8x16, P8x8, I4x4, I16x16 };

/// Blocks of 4x4 are numbered row by row, 0 to 15, chroma 0 to 3; levels stand in zig-zag order.
struct H264Macroblock {
    EH264Mb type = EH264Mb::Skip;
    bool ref0 = false;                    ///< P8x8 as P_8x8ref0, which only CAVLC has a code for
    std::array<int, 4> sub_mb_type = {};  ///< 0 8x8, 1 8x4, 2 4x8, 3 4x4
    std::array<H264Vector, 16> mv = {};
    std::array<H264Vector, 16> mvd = {};
    std::array<int, 16> intra4x4_mode = {};  ///< 2 when the macroblock isn't intra 4x4
    std::array<int, 16> rem_mode = {};       ///< in coding order; -1 for the predicted mode
    int intra16x16_mode = 0;
    int intra_chroma_mode = 0;
    int cbp_luma = 0;    ///< a bit for each 8x8
    int cbp_chroma = 0;  ///< 0 to 2
    int mb_qp_delta = 0;
    int qp = 0;
    std::array<int, 16> luma_dc = {};
    std::array<std::array<int, 16>, 16> luma = {};  ///< intra 16x16: the first 15 of each are AC levels
    std::array<std::array<int, 4>, 2> chroma_dc = {};
    std::array<std::array<std::array<int, 15>, 4>, 2> chroma_ac = {};

    bool IsIntra() const { return type == EH264Mb::I4x4 || type == EH264Mb::I16x16; }
    bool HasResidual() const { return type == EH264Mb::I16x16 || cbp_luma != 0 || cbp_chroma != 0; }
};

struct H264Picture {
    H264SliceHeader header;
    std::vector<H264Macroblock> mbs;
};

struct H264Sequence {
    H264Parameters parameters;
    std::vector<H264Picture> pictures;

    int Width() const { return parameters.widthMbs * 16 - 2 * parameters.crop_right; }
    int Height() const { return parameters.heightMbs * 16 - 2 * parameters.crop_bottom; }
};

/// One access unit with start codes, the parameter sets before it where they are sent.
using H264Packet = std::vector<uint8_t>;

/// Place of the 4x4 block that is coded as number `index` (6.4.3).
constexpr int H264BlockOfIndex(int index)
{
    return (index & 1) + (index >> 2 & 1) * 2 + ((index >> 1 & 1) + (index >> 3) * 2) * 4;
}

/// Calls f(x, y, width, height) for each partition in coding order, in units of 4x4 blocks.
template <class Function>
void H264ForEachPartition(const H264Macroblock& mb, Function f)
{
    switch (mb.type) {
        case EH264Mb::P16x16:
            f(0, 0, 4, 4);
            break;
        case EH264Mb::P16x8:
            f(0, 0, 4, 2);
            f(0, 2, 4, 2);
            break;
        case EH264Mb::P8x16:
            f(0, 0, 2, 4);
            f(2, 0, 2, 4);
            break;
        case EH264Mb::P8x8:
            for (int quarter = 0; quarter < 4; ++quarter) {
                const int sub = mb.sub_mb_type[quarter];
                const int width = sub >= 2 ? 1 : 2;
                const int height = sub % 2 == 1 ? 1 : 2;
                for (int y = 0; y < 2; y += height) {
                    for (int x = 0; x < 2; x += width)
                        f(quarter % 2 * 2 + x, quarter / 2 * 2 + y, width, height);
                }
            }
            break;
        default:
            break;
    }
}

/// The categories of residual blocks in the numbers of Table 9-42.
enum class EH264Block { Luma16Dc, Luma16Ac, Luma4x4, ChromaDc, ChromaAc };

/// Calls f(kind, plane, block, levels, count) for each residual block in coding order; plane 0 is luma.
template <class Function>
void H264ForEachResidual(const H264Macroblock& mb, Function f)
{
    const bool luma16 = mb.type == EH264Mb::I16x16;
    if (luma16) f(EH264Block::Luma16Dc, 0, 0, mb.luma_dc.data(), 16);
    for (int i = 0; i < 16; ++i) {
        if (!(mb.cbp_luma >> i / 4 & 1)) continue;
        const int block = H264BlockOfIndex(i);
        f(luma16 ? EH264Block::Luma16Ac : EH264Block::Luma4x4, 0, block, mb.luma[block].data(),
          luma16 ? 15 : 16);
    }
    for (int plane = 1; plane <= 2 && mb.cbp_chroma != 0; ++plane)
        f(EH264Block::ChromaDc, plane, 0, mb.chroma_dc[plane - 1].data(), 4);
    for (int plane = 1; plane <= 2 && mb.cbp_chroma == 2; ++plane) {
        for (int block = 0; block < 4; ++block)
            f(EH264Block::ChromaAc, plane, block, mb.chroma_ac[plane - 1][block].data(), 15);
    }
}
