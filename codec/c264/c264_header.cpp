#include "codec/c264/c264_header.h"

#include <algorithm>

#include "codec/c264/c264_log.h"

namespace
{
constexpr uint32_t TAG = 0x9009;
constexpr uint32_t TAG_16 = 0x8081;
constexpr uint32_t TAG_32 = 0x8082;

int32_t read_ue(c264_bits* bits, uint32_t offset = 0)
{
    return static_cast<int32_t>(bits->ue() + offset);
}

int32_t read_se(c264_bits* bits, uint32_t offset = 0)
{
    return static_cast<int32_t>(static_cast<uint32_t>(bits->se()) + offset);
}

int32_t doubled(int32_t value)
{
    return static_cast<int32_t>(static_cast<uint32_t>(value) * 2);
}

/// u(v) of a width that the stream gave.
int32_t read_field(c264_bits* bits, int32_t width)
{
    return static_cast<int32_t>(bits->bits(static_cast<uint32_t>(std::clamp(width, 0, 32))));
}

int32_t read_flag(c264_bits* bits)
{
    return static_cast<int32_t>(bits->flag());
}

void parse_deblocking(c264_bits* bits, C264SliceHeader* slice)
{
    const int32_t idc = read_ue(bits);
    slice->deblocking_mode = idc == 0 ? 1 : idc == 1 ? 0 : idc;
    if (slice->deblocking_mode == 0) return;
    slice->alpha_offset = doubled(bits->se());
    slice->beta_offset = doubled(bits->se());
}

/// Two bytes, or four; zeros beyond the end.
uint32_t number_at(const uint8_t* payload, size_t bytes, size_t at, size_t length)
{
    uint32_t number = 0;
    for (size_t i = at; i < at + length; ++i)
        number = number << 8 | (i < bytes ? payload[i] : 0u);
    return number;
}
}  // namespace

void c264_parse_sps(c264_bits* bits, C264Sps* sps)
{
    *sps = {};
    sps->profile_idc = read_field(bits, 8);
    for (int32_t& flag : sps->constraint_set_flag)
        flag = read_flag(bits);
    bits->skip(5);
    sps->level_idc = read_field(bits, 8);
    sps->seq_parameter_set_id = read_ue(bits);
    if (sps->profile_idc > 99) {
        for (int dropped = 0; dropped < 3; ++dropped)
            bits->ue();  // chroma_format_idc, the two bit depths
        bits->skip(2);   // transform bypass, scaling matrix flag
    }
    sps->log2_max_frame_num = read_ue(bits, 4);
    sps->pic_order_cnt_type = read_ue(bits);
    if (sps->pic_order_cnt_type == 0) sps->log2_max_pic_order_cnt_lsb = read_ue(bits, 4);
    sps->num_ref_frames = read_ue(bits);
    bits->skip(1);  // gaps_in_frame_num_value_allowed_flag
    sps->pic_width_in_mbs = read_ue(bits, 1);
    sps->pic_height_in_mbs = read_ue(bits, 1);
    bits->skip(1);  // frame_mbs_only_flag
    sps->direct_8x8_inference_flag = read_flag(bits);
    sps->frame_cropping_flag = read_flag(bits);
    if (sps->frame_cropping_flag) {
        for (int32_t& crop : sps->crop)
            crop = doubled(read_ue(bits));
    }
    sps->vui_parameters_present_flag = read_flag(bits);
}

void c264_parse_pps(c264_bits* bits, const C264Sps& sps, C264Pps* pps)
{
    *pps = {};
    pps->pic_parameter_set_id = read_ue(bits);
    pps->seq_parameter_set_id = read_ue(bits);
    pps->entropy_coding_mode_flag = read_flag(bits);
    bits->skip(1);  // bottom_field_pic_order_in_frame_present_flag
    bits->ue();     // num_slice_groups_minus1
    bits->ue();     // num_ref_idx_l0_default_active_minus1
    bits->ue();     // num_ref_idx_l1_default_active_minus1
    bits->skip(3);  // weighted prediction
    pps->pic_init_qp = read_se(bits, 26);
    pps->pic_init_qs = read_se(bits, 26);
    pps->chroma_qp_index_offset = bits->se();
    pps->deblocking_filter_control_present_flag = read_flag(bits);
    bits->skip(2);  // constrained_intra_pred_flag, redundant_pic_cnt_present_flag
    if (sps.profile_idc == 100) {
        // oddity: second-chroma-offset; it overwrites the first, and is read even when the unit ends before it
        pps->transform_8x8_mode_flag = read_flag(bits);
        bits->skip(1);  // pic_scaling_matrix_present_flag
        pps->chroma_qp_index_offset = bits->se();
    }
}

void c264_parse_slice_header(c264_bits* bits, const C264Sps& sps, const C264Pps& pps, bool idr,
                             C264SliceHeader* slice)
{
    *slice = {};
    slice->first_mb_in_slice = read_ue(bits);
    slice->slice_type = read_ue(bits);
    if (slice->slice_type > 4) slice->slice_type -= 5;
    slice->pic_parameter_set_id = read_ue(bits);
    slice->frame_num = read_field(bits, sps.log2_max_frame_num);
    slice->idr_pic_id = idr ? read_ue(bits) : -1;
    if (sps.pic_order_cnt_type == 0)
        slice->pic_order_cnt_lsb = read_field(bits, sps.log2_max_pic_order_cnt_lsb);
    if (slice->slice_type == C264_SLICE_P && bits->flag()) bits->ue();  // num_ref_idx_l0_active_minus1
    if (slice->slice_type != C264_SLICE_I) bits->skip(1);               // ref_pic_list_modification_flag_l0
    // oddity: marking-always-read; the flags are read whatever nal_ref_idc is
    bits->skip(idr ? 2 : 1);
    if (pps.entropy_coding_mode_flag && slice->slice_type != C264_SLICE_I)
        slice->cabac_init_idc = read_ue(bits);
    slice->slice_qp_delta = bits->se();
    slice->slice_qp = static_cast<int32_t>(static_cast<uint32_t>(pps.pic_init_qp) +
                                           static_cast<uint32_t>(slice->slice_qp_delta));
    slice->nal_ref_idc = slice->slice_type == C264_SLICE_I ? 3 : 2;
    slice->deblocking_mode = 1;
    if (pps.deblocking_filter_control_present_flag) parse_deblocking(bits, slice);
}

bool c264_scan_sei(const uint8_t* payload, size_t bytes, c264_check* check)
{
    size_t at = 0;
    while (at + 4 <= bytes) {
        const uint32_t kind =
            number_at(payload, bytes, at, 2) == TAG ? number_at(payload, bytes, at + 2, 2) : 0;
        if (kind != TAG_16 && kind != TAG_32) {
            at += 2;  // the second word may be a tag itself
            continue;
        }
        const size_t length = kind == TAG_16 ? 2 : 4;
        const uint32_t modulus = number_at(payload, bytes, at + 4, length);
        if (modulus != number_at(payload, bytes, at + 4 + length, length)) {
            c264_log(C264_WARNING_SEI);
            return false;
        }
        *check = {kind == TAG_16 ? 1u : 2u, modulus};
        at += 4 + 2 * length;
    }
    return true;
}
