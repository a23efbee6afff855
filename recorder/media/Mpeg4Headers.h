#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace recorder
{

// The headers of a coded MPEG-4 picture (ISO/IEC 14496-2), read to make sure that the encoder stayed inside
// what clients decode. Names are those of the standard, clause 6.2.
// NOLINTBEGIN(readability-identifier-naming)

struct Vol {
    int video_object_type_indication = 0;
    int aspect_ratio_info = 0;
    bool vbv_parameters = false;
    int video_object_layer_shape = 0;
    int vop_time_increment_resolution = 0;
    bool fixed_vop_rate = false;
    int width = 0;
    int height = 0;
    bool interlaced = false;
    bool obmc_disable = true;
    int sprite_enable = 0;
    bool not_8_bit = false;
    bool quant_type = false;
    bool quarter_sample = false;
    bool complexity_estimation_disable = true;
    bool resync_marker_disable = true;
    bool data_partitioned = false;
    bool scalability = false;
};

enum class EVop { I = 0, P = 1, B = 2, S = 3 };

struct Vop {
    EVop vop_coding_type = EVop::I;
    bool vop_coded = false;
    bool vop_rounding_type = false;
    int intra_dc_vlc_thr = 0;
    int vop_quant = 0;
    int vop_fcode_forward = 0;
    size_t rounding_bit = 0;    // its place in the bytes, in bits; 0 when the picture has none
    size_t macroblock_bit = 0;  // where the macroblocks begin
};

struct CodedPicture {
    std::vector<uint8_t> start_codes;  // the byte after 00 00 01, in order
    std::optional<Vol> vol;
    std::optional<Vop> vop;
    int vops = 0;
};

// NOLINTEND(readability-identifier-naming)

/// Reads the headers of one message. resolution is the vop_time_increment_resolution of an earlier VOL, used
/// until the bytes bring one of their own. Damaged bytes give headers without meaning, but nothing is read
/// beyond the end.
CodedPicture ReadHeaders(std::span<const uint8_t> bytes, int resolution);

/// True when the P picture repeats its reference unchanged: all its macroblocks are marked not coded.
bool RepeatsReference(std::span<const uint8_t> bytes, const Vop& vop, int macroblocks);

}  // namespace recorder
