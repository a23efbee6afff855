// Parameter sets, slice headers and the announcement of the private checksum (ITU-T H.264 7.3.2, 7.3.3), as far
// as this decoder reads them. Every field has 32 bits and takes what the stream says, whatever that is: bounds
// are kept where a field is used.
#pragma once

#include <cstddef>
#include <cstdint>

#include "codec/c264/c264_bits.h"

struct C264Sps {
    int32_t profile_idc;
    int32_t constraint_set_flag[3];
    int32_t level_idc;
    int32_t seq_parameter_set_id;
    int32_t log2_max_frame_num;  ///< with the 4 added
    int32_t pic_order_cnt_type;
    int32_t log2_max_pic_order_cnt_lsb;  ///< with the 4 added
    int32_t num_ref_frames;
    int32_t pic_width_in_mbs;   ///< with the 1 added
    int32_t pic_height_in_mbs;  ///< with the 1 added
    int32_t direct_8x8_inference_flag;
    int32_t frame_cropping_flag;
    int32_t crop[4 /* left, right, top, bottom */];  ///< doubled, applied to nothing
    int32_t vui_parameters_present_flag;
};

struct C264Pps {
    int32_t pic_parameter_set_id;
    int32_t seq_parameter_set_id;
    int32_t entropy_coding_mode_flag;
    int32_t pic_init_qp;  ///< with the 26 added
    int32_t pic_init_qs;  ///< with the 26 added
    int32_t chroma_qp_index_offset;
    int32_t deblocking_filter_control_present_flag;
    int32_t transform_8x8_mode_flag;
};

/// slice_type, less 5 where the stream says that all slices are alike.
enum : int32_t { C264_SLICE_P = 0, C264_SLICE_B = 1, C264_SLICE_I = 2 };

struct C264SliceHeader {
    int32_t first_mb_in_slice;
    int32_t slice_type;
    int32_t pic_parameter_set_id;
    int32_t frame_num;
    int32_t idr_pic_id;  ///< -1 when the unit is not IDR
    int32_t pic_order_cnt_lsb;
    int32_t cabac_init_idc;
    int32_t slice_qp;
    int32_t slice_qp_delta;
    int32_t nal_ref_idc;      ///< 3 for I, else 2, whatever the unit says: every picture is a reference
    int32_t deblocking_mode;  ///< 0 off, 1 whole picture, 2 and above within the slice
    int32_t alpha_offset;     ///< FilterOffsetA
    int32_t beta_offset;      ///< FilterOffsetB
};

/// No scaling list is read: a stream with one goes out of step.
void c264_parse_sps(c264_bits* bits, C264Sps* sps);

/// The tail with the second chroma offset is read for profile 100 alone.
void c264_parse_pps(c264_bits* bits, const C264Sps& sps, C264Pps* pps);

/// Reads up to the slice data.
void c264_parse_slice_header(c264_bits* bits, const C264Sps& sps, const C264Pps& pps, bool idr,
                             C264SliceHeader* slice);

struct c264_check {
    uint32_t mode;     ///< 0 none, 1 of 16 bits, 2 of 32 bits
    uint32_t modulus;  ///< 0: nothing is checked
};

/// Looks through an SEI payload for announcements of the checksum; a later one replaces an earlier one.
/// \returns false, with a warning, for one whose two numbers differ.
bool c264_scan_sei(const uint8_t* payload, size_t bytes, c264_check* check);
