#include "tests/support/h264_writer.h"

#include "tests/support/h264_slice_data.h"

namespace
{
constexpr int NAL_SLICE = 1;
constexpr int NAL_IDR = 5;
constexpr int NAL_SPS = 7;
constexpr int NAL_PPS = 8;
constexpr int PROFILE_HIGH = 100;

CH264Bits WriteSlice(const H264Parameters& parameters, const H264Picture& picture)
{
    CH264Bits bits;
    WriteH264SliceHeader(parameters, picture.header, &bits);
    if (parameters.entropy_coding_mode) {
        WriteCabacSliceData(parameters, picture, &bits);
        bits.AlignWith(false);
    } else {
        WriteCavlcSliceData(parameters, picture, &bits);
        bits.Trailing();
    }
    return bits;
}

H264Parameters ForCoder(H264Parameters parameters, bool cabac)
{
    parameters.entropy_coding_mode = cabac;
    if (cabac && parameters.profile_idc == 66) parameters.profile_idc = 77;  // Baseline has no CABAC
    return parameters;
}

void AppendSlice(const H264Parameters& parameters, const H264Picture& picture, H264Packet* packet)
{
    const bool longStartCode = !picture.header.idr || picture.header.all_alike;
    H264AppendUnit(packet, picture.header.nal_ref_idc, picture.header.idr ? NAL_IDR : NAL_SLICE,
                   WriteSlice(parameters, picture).Bytes(), longStartCode);
}
}  // namespace

void WriteH264Sps(const H264Parameters& parameters, CH264Bits* bits)
{
    const H264Parameters& p = parameters;
    bits->Bits(static_cast<uint32_t>(p.profile_idc), 8).Bits(0, 8).Bits(51, 8).Ue(0);
    if (p.profile_idc == PROFILE_HIGH) bits->Ue(1).Ue(0).Ue(0).Bits(0, 2);  // 4:2:0, 8 bits, flat matrices
    bits->Ue(static_cast<uint32_t>(p.log2_max_frame_num - 4)).Ue(static_cast<uint32_t>(p.pic_order_cnt_type));
    if (p.pic_order_cnt_type == 0) bits->Ue(static_cast<uint32_t>(p.log2_max_pic_order_cnt_lsb - 4));
    bits->Ue(1).Bit(false);  // one reference frame, no gaps
    bits->Ue(static_cast<uint32_t>(p.widthMbs - 1)).Ue(static_cast<uint32_t>(p.heightMbs - 1));
    bits->Bit(true).Bit(true);  // frames only, direct_8x8_inference
    const bool crop = p.crop_right != 0 || p.crop_bottom != 0;
    bits->Bit(crop);
    if (crop)
        bits->Ue(0).Ue(static_cast<uint32_t>(p.crop_right)).Ue(0).Ue(static_cast<uint32_t>(p.crop_bottom));
    bits->Bit(false).Trailing();
}

void WriteH264Pps(const H264Parameters& parameters, CH264Bits* bits)
{
    const H264Parameters& p = parameters;
    bits->Ue(0).Ue(0).Bit(p.entropy_coding_mode).Bit(false).Ue(0);
    bits->Ue(0).Ue(0).Bit(false).Bits(0, 2);
    bits->Se(p.pic_init_qp - 26).Se(0).Se(p.chroma_qp_index_offset);
    bits->Bit(p.deblocking_filter_control_present).Bit(false).Bit(false);
    if (p.profile_idc == PROFILE_HIGH) bits->Bit(false).Bit(false).Se(p.chroma_qp_index_offset);
    bits->Trailing();
}

void WriteH264SliceHeader(const H264Parameters& parameters, const H264SliceHeader& header, CH264Bits* bits)
{
    const H264SliceHeader& h = header;
    bits->Ue(static_cast<uint32_t>(h.first_mb)).Ue((h.intra ? 2u : 0u) + (h.all_alike ? 5u : 0u)).Ue(0);
    bits->Bits(static_cast<uint32_t>(h.frame_num), parameters.log2_max_frame_num);
    if (h.idr) bits->Ue(static_cast<uint32_t>(h.idr_pic_id));
    if (parameters.pic_order_cnt_type == 0)
        bits->Bits(static_cast<uint32_t>(h.pic_order_cnt_lsb), parameters.log2_max_pic_order_cnt_lsb);
    if (!h.intra) {
        bits->Bit(h.num_ref_idx_active_override);
        if (h.num_ref_idx_active_override) bits->Ue(0);
        bits->Bit(false);  // no reordering
    }
    bits->Bits(0, h.idr ? 2 : 1);  // no long-term reference, no marking commands
    if (parameters.entropy_coding_mode && !h.intra) bits->Ue(static_cast<uint32_t>(h.cabac_init_idc));
    bits->Se(h.slice_qp - parameters.pic_init_qp);
    if (!parameters.deblocking_filter_control_present) return;
    bits->Ue(static_cast<uint32_t>(h.disable_deblocking_filter_idc));
    if (h.disable_deblocking_filter_idc != 1)
        bits->Se(h.slice_alpha_c0_offset_div2).Se(h.slice_beta_offset_div2);
}

std::vector<H264Packet> WriteH264(const H264Sequence& sequence, bool cabac)
{
    const H264Parameters parameters = ForCoder(sequence.parameters, cabac);
    std::vector<H264Packet> packets;
    for (const H264Picture& picture : sequence.pictures) {
        H264Packet packet;
        if (picture.header.idr) {
            CH264Bits sps;
            WriteH264Sps(parameters, &sps);
            H264AppendUnit(&packet, 3, NAL_SPS, sps.Bytes());
            CH264Bits pps;
            WriteH264Pps(parameters, &pps);
            H264AppendUnit(&packet, 3, NAL_PPS, pps.Bytes());
        }
        AppendSlice(parameters, picture, &packet);
        packets.push_back(std::move(packet));
    }
    return packets;
}

H264Packet WriteH264From(const H264Sequence& sequence, H264Picture picture, int row, bool cabac)
{
    picture.header.first_mb = row * sequence.parameters.widthMbs;
    picture.header.slice_qp = picture.mbs[static_cast<size_t>(picture.header.first_mb) - 1].qp;
    H264Packet packet;
    AppendSlice(ForCoder(sequence.parameters, cabac), picture, &packet);
    return packet;
}
