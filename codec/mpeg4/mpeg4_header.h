// The headers of an MPEG-4 stream, up to and including one VOP header. ISO/IEC 14496-2 clause 6.2.
#pragma once

#include <cstdint>

#include "codec/mpeg4/mpeg4_bits.h"

/// Why a stream is refused. The decoder reads Simple Profile without the tools that the devices never send, and
/// names the tool that it met.
enum mpeg4_error : int32_t {
    MPEG4_ERROR_END = -20,                 ///< fewer than 4 bytes left at a start code search
    MPEG4_ERROR_START_CODE = -19,          ///< a start code of unknown value
    MPEG4_ERROR_SPRITE_VOP = -18,          ///< S-VOP with sprites: every S-VOP is refused as the next one first
    MPEG4_ERROR_S_VOP = -17,               ///< coding type 3
    MPEG4_ERROR_STUDIO = -9974,            ///< profile_and_level above 0xE0 and below 0xE9
    MPEG4_ERROR_OBJECT_TYPE = -9973,       ///< visual object type not 1
    MPEG4_ERROR_SIGNAL_TYPE = -9972,       ///< video_signal_type set
    MPEG4_ERROR_FINE_GRANULARITY = -9971,  ///< object type 0x12
    MPEG4_ERROR_ASPECT_RATIO = -9970,      ///< aspect ratio info not 1
    MPEG4_ERROR_VBV = -9969,               ///< vbv_parameters set
    MPEG4_ERROR_SHAPE = -9968,             ///< layer shape not rectangular
    MPEG4_ERROR_TIME_RESOLUTION = -9967,   ///< time increment resolution or fixed increment 0
    MPEG4_ERROR_SIZE = -9966,              ///< width or height 0
    MPEG4_ERROR_INTERLACED = -9965,        ///< interlaced
    MPEG4_ERROR_OBMC = -9964,              ///< obmc_disable not set
    MPEG4_ERROR_SPRITE = -9963,            ///< sprite_enable 1 and 3 at once: no value is
    MPEG4_ERROR_BRIGHTNESS = -9962,        ///< brightness change in GMC
    MPEG4_ERROR_QUANT_PRECISION = -9961,   ///< quant_precision outside 3..9
    MPEG4_ERROR_BITS_PER_PIXEL = -9960,    ///< bits_per_pixel outside 4..12
    MPEG4_ERROR_INTRA_MATRIX = -9959,      ///< load_intra_quant_mat set
    MPEG4_ERROR_INTER_MATRIX = -9958,      ///< load_inter_quant_mat set
    MPEG4_ERROR_COMPLEXITY = -9957,        ///< complexity estimation not disabled
    MPEG4_ERROR_DATA_PARTITIONED = -9956,  ///< data partitioning
    MPEG4_ERROR_NEWPRED = -9955,           ///< newpred
    MPEG4_ERROR_REDUCED_RESOLUTION = -9954,  ///< reduced resolution VOP
    MPEG4_ERROR_SCALABILITY = -9953,         ///< scalability
    MPEG4_ERROR_MEMORY = -9999,              ///< out of memory at open
};

/// What mpeg4_parse_headers answers when it found a VOP.
enum mpeg4_coding_type : int32_t {
    MPEG4_I_VOP = 0,
    MPEG4_P_VOP = 1,
    MPEG4_B_VOP = 2,
    MPEG4_S_VOP = 3,      ///< never answered: refused
    MPEG4_NOT_CODED = 4,  ///< a VOP with vop_coded 0
};

inline constexpr uint32_t MPEG4_SPRITE_STATIC = 1;
inline constexpr uint32_t MPEG4_SPRITE_GMC = 2;

/// The header fields, in the order in which the parser meets them, under the standard's names. They keep their
/// values from one buffer to the next.
struct mpeg4_header {
    uint32_t profile_and_level_indication = 0;
    uint32_t visual_object_verid = 1;
    uint32_t visual_object_priority = 0;
    uint32_t video_object_id = 0;
    uint32_t video_object_layer_id = 0;
    uint32_t video_object_type_indication = 0;
    uint32_t is_object_layer_identifier = 0;
    uint32_t video_object_layer_verid = 1;
    uint32_t video_object_layer_priority = 0;
    uint32_t aspect_ratio_info = 0;
    uint32_t low_delay = 0;
    uint32_t vop_time_increment_resolution = 0;
    uint32_t fixed_vop_time_increment = 0;
    int32_t width = 0;   ///< as opened until a VOL tells another one; no picture follows it
    int32_t height = 0;  ///< the same
    uint32_t sprite_enable = 0;
    uint32_t no_of_sprite_warping_points = 0;
    uint32_t sprite_warping_accuracy = 0;
    uint32_t not_8_bit = 0;
    uint32_t quant_precision = 5;
    uint32_t bits_per_pixel = 8;
    uint32_t quant_type = 0;  ///< read and ignored: dequantisation is always that of H.263
    uint32_t quarter_sample = 0;
    int32_t vop_coding_type = 0;  ///< mpeg4_coding_type
    uint32_t modulo_time_base = 0;
    uint32_t vop_time_increment = 0;
    uint32_t vop_coded = 0;
    uint32_t vop_rounding_type = 0;  ///< read and ignored: rounding is always that of type 0
    uint32_t intra_dc_vlc_thr = 0;   ///< read and ignored: the DC code is always the intra one
    uint32_t vop_quant = 0;
    uint32_t vop_fcode_forward = 0;  ///< read and ignored: vectors are always those of fcode 1
    uint32_t vop_fcode_backward = 0;
};

/// Reads headers from a fresh reader up to the end of the first VOP header.
/// \returns an mpeg4_coding_type, or an mpeg4_error at the first thing that is refused. A refused VOL leaves
/// the fields of the VOL before it as they were. Ends on any input.
int32_t mpeg4_parse_headers(mpeg4_bits* bits, mpeg4_header* header);
