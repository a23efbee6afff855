#include "codec/mpeg4/mpeg4_header.h"

#include <algorithm>
#include <bit>

namespace
{
constexpr uint32_t START_VIDEO_OBJECT_FIRST = 0x100;
constexpr uint32_t START_VIDEO_OBJECT_LAST = 0x11F;
constexpr uint32_t START_LAYER_FIRST = 0x120;
constexpr uint32_t START_LAYER_LAST = 0x12F;
constexpr uint32_t START_SEQUENCE = 0x1B0;
constexpr uint32_t START_SEQUENCE_END = 0x1B1;
constexpr uint32_t START_USER_DATA = 0x1B2;
constexpr uint32_t START_GROUP = 0x1B3;
constexpr uint32_t START_VISUAL_OBJECT = 0x1B5;
constexpr uint32_t START_VOP = 0x1B6;

bool flag(mpeg4_bits* bits)
{
    return mpeg4_bits_get(bits, 1) != 0;
}

/// The bits that a time increment takes: enough for resolution - 1, at least one.
int time_increment_bits(uint32_t resolution)
{
    return resolution < 2 ? 1 : static_cast<int>(std::bit_width(resolution - 1));
}

/// 6.2.2 VisualObjectSequence
int32_t parse_sequence(mpeg4_bits* bits, mpeg4_header* header)
{
    header->profile_and_level_indication = mpeg4_bits_get(bits, 8);
    const bool studio =
        header->profile_and_level_indication > 0xE0 && header->profile_and_level_indication < 0xE9;
    return studio ? MPEG4_ERROR_STUDIO : 0;
}

/// 6.2.2 VisualObject
int32_t parse_visual_object(mpeg4_bits* bits, mpeg4_header* header)
{
    header->visual_object_verid = 1;
    if (flag(bits)) {
        header->visual_object_verid = mpeg4_bits_get(bits, 4);
        header->visual_object_priority = mpeg4_bits_get(bits, 3);
    }
    if (mpeg4_bits_get(bits, 4) != 1) return MPEG4_ERROR_OBJECT_TYPE;
    if (flag(bits)) return MPEG4_ERROR_SIGNAL_TYPE;
    return 0;
}

/// 6.2.2.1: the data is passed by.
void skip_user_data(mpeg4_bits* bits)
{
    while (mpeg4_bits_bytes_used(bits) + 4 <= bits->size) {
        mpeg4_bits_refill(bits);
        if (mpeg4_bits_show(bits, 24) == 1) return;
        mpeg4_bits_skip(bits, 8);
    }
}

/// 6.2.3, from the sprite fields on
int32_t parse_sprite(mpeg4_bits* bits, mpeg4_header* layer)
{
    if (layer->sprite_enable != MPEG4_SPRITE_STATIC && layer->sprite_enable != MPEG4_SPRITE_GMC) return 0;
    if (layer->sprite_enable == MPEG4_SPRITE_STATIC) {
        // width, height, left and top of the sprite, each followed by a marker; nothing reads them
        for (int i = 0; i < 4; ++i)
            mpeg4_bits_get(bits, 14);
    }
    layer->no_of_sprite_warping_points = mpeg4_bits_get(bits, 6);
    layer->sprite_warping_accuracy = mpeg4_bits_get(bits, 2);
    if (flag(bits) && layer->sprite_enable == MPEG4_SPRITE_GMC) return MPEG4_ERROR_BRIGHTNESS;
    if (layer->sprite_enable == MPEG4_SPRITE_STATIC) flag(bits);  // low_latency_sprite_enable
    return 0;
}

/// 6.2.3, from not_8_bit to the end
int32_t parse_layer_tools(mpeg4_bits* bits, mpeg4_header* layer, uint32_t verid)
{
    layer->not_8_bit = mpeg4_bits_get(bits, 1);
    layer->quant_precision = layer->not_8_bit ? mpeg4_bits_get(bits, 4) : 5;
    layer->bits_per_pixel = layer->not_8_bit ? mpeg4_bits_get(bits, 4) : 8;
    if (layer->quant_precision < 3 || layer->quant_precision > 9) return MPEG4_ERROR_QUANT_PRECISION;
    if (layer->bits_per_pixel < 4 || layer->bits_per_pixel > 12) return MPEG4_ERROR_BITS_PER_PIXEL;

    layer->quant_type = mpeg4_bits_get(bits, 1);
    if (layer->quant_type) {
        if (flag(bits)) return MPEG4_ERROR_INTRA_MATRIX;
        if (flag(bits)) return MPEG4_ERROR_INTER_MATRIX;
    }
    layer->quarter_sample = verid != 1 ? mpeg4_bits_get(bits, 1) : 0;
    if (!flag(bits)) return MPEG4_ERROR_COMPLEXITY;
    flag(bits);  // resync_marker_disable: there is no resynchronisation either way
    if (flag(bits)) return MPEG4_ERROR_DATA_PARTITIONED;
    if (verid != 1) {
        if (flag(bits)) return MPEG4_ERROR_NEWPRED;
        if (flag(bits)) return MPEG4_ERROR_REDUCED_RESOLUTION;
    }
    return flag(bits) ? MPEG4_ERROR_SCALABILITY : 0;
}

/// 6.2.3 VideoObjectLayer
int32_t parse_layer(mpeg4_bits* bits, mpeg4_header* layer)
{
    flag(bits);  // random_accessible_vol
    layer->video_object_type_indication = mpeg4_bits_get(bits, 8);
    if (layer->video_object_type_indication == 0x12) return MPEG4_ERROR_FINE_GRANULARITY;

    layer->is_object_layer_identifier = mpeg4_bits_get(bits, 1);
    layer->video_object_layer_verid = layer->visual_object_verid;
    if (layer->is_object_layer_identifier) {
        layer->video_object_layer_verid = mpeg4_bits_get(bits, 4);
        layer->video_object_layer_priority = mpeg4_bits_get(bits, 3);
    }
    const uint32_t verid = layer->video_object_layer_verid;

    layer->aspect_ratio_info = mpeg4_bits_get(bits, 4);
    if (layer->aspect_ratio_info != 1) return MPEG4_ERROR_ASPECT_RATIO;
    if (flag(bits)) {             // vol_control_parameters
        mpeg4_bits_get(bits, 2);  // chroma_format
        layer->low_delay = mpeg4_bits_get(bits, 1);
        if (flag(bits)) return MPEG4_ERROR_VBV;
    }
    if (mpeg4_bits_get(bits, 2) != 0) return MPEG4_ERROR_SHAPE;

    flag(bits);  // marker
    layer->vop_time_increment_resolution = mpeg4_bits_get(bits, 16);
    if (layer->vop_time_increment_resolution == 0) return MPEG4_ERROR_TIME_RESOLUTION;
    flag(bits);  // marker
    if (flag(bits)) {
        layer->fixed_vop_time_increment =
            mpeg4_bits_get(bits, time_increment_bits(layer->vop_time_increment_resolution));
        if (layer->fixed_vop_time_increment == 0) return MPEG4_ERROR_TIME_RESOLUTION;
    }

    flag(bits);  // marker
    layer->width = static_cast<int32_t>(mpeg4_bits_get(bits, 13));
    flag(bits);  // marker
    layer->height = static_cast<int32_t>(mpeg4_bits_get(bits, 13));
    flag(bits);  // marker
    if (layer->width == 0 || layer->height == 0) return MPEG4_ERROR_SIZE;

    if (flag(bits)) return MPEG4_ERROR_INTERLACED;
    if (!flag(bits)) return MPEG4_ERROR_OBMC;
    layer->sprite_enable = mpeg4_bits_get(bits, verid == 1 ? 1 : 2);
    // MPEG4_ERROR_SPRITE would follow from a sprite_enable of 1 and 3 at once, so a static sprite passes.
    if (const int32_t refused = parse_sprite(bits, layer); refused < 0) return refused;
    return parse_layer_tools(bits, layer, verid);
}

/// 6.2.4 Group_of_VideoObjectPlane: time code and two flags, which nothing reads
void skip_group(mpeg4_bits* bits)
{
    mpeg4_bits_get(bits, 20);
}

/// 6.2.5 VideoObjectPlane, up to the macroblocks
int32_t parse_vop(mpeg4_bits* bits, mpeg4_header* header)
{
    header->vop_coding_type = static_cast<int32_t>(mpeg4_bits_get(bits, 2));
    // Every S-VOP ends here, so the test for one with sprites (MPEG4_ERROR_SPRITE_VOP) has nothing left to
    // find.
    if (header->vop_coding_type == MPEG4_S_VOP) return MPEG4_ERROR_S_VOP;

    header->modulo_time_base = 0;
    while (flag(bits))
        ++header->modulo_time_base;
    flag(bits);  // marker
    header->vop_time_increment =
        mpeg4_bits_get(bits, time_increment_bits(header->vop_time_increment_resolution));
    flag(bits);  // marker
    header->vop_coded = mpeg4_bits_get(bits, 1);
    if (!header->vop_coded) {
        header->vop_coding_type = MPEG4_NOT_CODED;
        return MPEG4_NOT_CODED;
    }
    if (header->vop_coding_type == MPEG4_P_VOP) header->vop_rounding_type = mpeg4_bits_get(bits, 1);
    header->intra_dc_vlc_thr = mpeg4_bits_get(bits, 3);
    header->vop_quant = std::max(mpeg4_bits_get(bits, static_cast<int>(header->quant_precision)), 1u);
    if (header->vop_coding_type != MPEG4_I_VOP) header->vop_fcode_forward = mpeg4_bits_get(bits, 3);
    if (header->vop_coding_type == MPEG4_B_VOP) header->vop_fcode_backward = mpeg4_bits_get(bits, 3);
    return header->vop_coding_type;
}
}  // namespace

int32_t mpeg4_parse_headers(mpeg4_bits* bits, mpeg4_header* header)
{
    for (;;) {
        if (mpeg4_bits_bytes_used(bits) + 4 > bits->size) return MPEG4_ERROR_END;
        mpeg4_bits_refill(bits);
        mpeg4_bits_align(bits);
        const uint32_t code = mpeg4_bits_show(bits, 32);
        if (code >> 8 != 1) {
            mpeg4_bits_skip(bits, 8);
            continue;
        }
        mpeg4_bits_skip(bits, 32);
        int32_t refused = 0;
        if (code == START_VOP) {
            const int32_t type = parse_vop(bits, header);
            return mpeg4_bits_overrun(bits) ? MPEG4_ERROR_END : type;
        }
        if (code == START_SEQUENCE) {
            refused = parse_sequence(bits, header);
        } else if (code == START_USER_DATA) {
            skip_user_data(bits);
        } else if (code == START_VISUAL_OBJECT) {
            refused = parse_visual_object(bits, header);
        } else if (code >= START_VIDEO_OBJECT_FIRST && code <= START_VIDEO_OBJECT_LAST) {
            header->video_object_id = code & 0x1F;
        } else if (code >= START_LAYER_FIRST && code <= START_LAYER_LAST) {
            mpeg4_header layer = *header;  // so that a refused layer changes nothing
            layer.video_object_layer_id = code & 0xF;
            refused = parse_layer(bits, &layer);
            if (refused == 0) *header = layer;
        } else if (code == START_GROUP) {
            skip_group(bits);
        } else if (code != START_SEQUENCE_END) {
            refused = MPEG4_ERROR_START_CODE;
        }
        if (refused < 0) return refused;
    }
}
