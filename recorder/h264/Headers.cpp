#include "recorder/h264/Headers.h"

#include <algorithm>
#include <array>

namespace recorder::h264
{

namespace
{

constexpr uint32_t MAX_SEQUENCE_SETS = 32;
constexpr uint32_t MAX_PICTURE_SETS = 256;
constexpr uint32_t MAX_SIDE = 1055;  // macroblocks, of the largest level
constexpr uint32_t FIRST_HIGH_PROFILE = 100;
constexpr std::array<uint32_t, 9> PROFILES_WITH_CHROMA = {100, 110, 122, 244, 44, 83, 86, 118, 128};

void Refuse(bool refuse, const char* why)
{
    if (refuse) throw Outside(why);
}

void ReadChroma(BitReader& bits)
{
    Refuse(bits.Ue(3, "chroma_format_idc") != 1, "its chroma is not 4:2:0");
    const bool deepLuma = bits.Ue(6, "bit_depth_luma") != 0;
    const bool deepChroma = bits.Ue(6, "bit_depth_chroma") != 0;
    Refuse(deepLuma || deepChroma, "it has more than 8 bits a sample");
    Refuse(bits.Flag(), "it may leave out the transform");
    Refuse(bits.Flag(), "it has scaling matrices");
}

// A list of a picture set (7.3.2.1.1.1).
void SkipMatrix(BitReader& bits, int entries)
{
    int last = 8;
    int next = 8;
    for (int entry = 0; entry < entries && next != 0; ++entry) {
        next = (last + bits.Se(-128, 127, "delta_scale") + 256) % 256;
        if (next != 0) last = next;
    }
}

void SkipMatrices(BitReader& bits, bool transform8x8)
{
    constexpr int OF_4X4 = 6;
    const int lists = OF_4X4 + (transform8x8 ? 2 : 0);
    for (int list = 0; list < lists; ++list)
        if (bits.Flag()) SkipMatrix(bits, list < OF_4X4 ? 16 : 64);
}

}  // namespace

SequenceSet ReadSequenceSet(std::span<const uint8_t> payload)
{
    BitReader bits(payload);
    SequenceSet set;
    set.profile = bits.Bits(8);
    bits.Bits(16);  // constraints, level
    set.id = bits.Ue(MAX_SEQUENCE_SETS - 1, "seq_parameter_set_id");
    const bool hasChroma = std::find(PROFILES_WITH_CHROMA.begin(), PROFILES_WITH_CHROMA.end(), set.profile) !=
                           PROFILES_WITH_CHROMA.end();
    if (hasChroma) ReadChroma(bits);
    // Clients go by the number alone.
    Refuse(hasChroma != (set.profile >= FIRST_HIGH_PROFILE), "clients read its profile in another way");
    set.frameNumBits = 4 + static_cast<int>(bits.Ue(12, "log2_max_frame_num"));
    set.orderType = static_cast<int>(bits.Ue(2, "pic_order_cnt_type"));
    Refuse(set.orderType == 1, "its picture order is of type 1");
    if (set.orderType == 0) set.orderBits = 4 + static_cast<int>(bits.Ue(12, "log2_max_pic_order_cnt_lsb"));
    bits.Ue(16, "max_num_ref_frames");
    Refuse(bits.Flag(), "it allows gaps in frame_num");
    set.widthInMacroblocks = 1 + static_cast<int>(bits.Ue(MAX_SIDE - 1, "width"));
    set.heightInMacroblocks = 1 + static_cast<int>(bits.Ue(MAX_SIDE - 1, "height"));
    Refuse(!bits.Flag(), "it is interlaced");
    bits.Flag();  // direct_8x8_inference_flag
    // Whatever is cut off for showing, decoders give the whole.
    if (bits.Flag())
        for (int side = 0; side < 4; ++side)
            bits.Ue(MAX_SIDE * 16, "cropping");
    bits.Flag();  // of the rest nothing matters for decoding
    return set;
}

PictureSet ReadPictureSet(std::span<const uint8_t> payload)
{
    BitReader bits(payload);
    PictureSet set;
    // Nothing of it counts before it was read to its end.
    const char* outside = nullptr;
    const auto note = [&](bool refused, const char* why) {
        if (refused && outside == nullptr) outside = why;
    };
    set.id = bits.Ue(MAX_PICTURE_SETS - 1, "pic_parameter_set_id");
    set.sequence = bits.Ue(MAX_SEQUENCE_SETS - 1, "seq_parameter_set_id");
    set.cabac = bits.Flag();
    note(bits.Flag(), "it uses bottom_field_pic_order");
    Refuse(bits.Ue() != 0, "it has slice groups");
    set.references = 1 + bits.Ue(31, "num_ref_idx_l0_default_active");
    bits.Ue(31, "num_ref_idx_l1_default_active");
    const bool weighted = bits.Flag();
    note(bits.Bits(2) != 0 || weighted, "it uses weighted prediction");
    set.qp = 26 + bits.Se(-26, 25, "pic_init_qp");
    bits.Se();  // of slices that switch
    const int32_t chroma = bits.Se(-12, 12, "chroma_qp_index_offset");
    set.deblockingControl = bits.Flag();
    note(bits.Flag(), "it uses constrained intra prediction");
    note(bits.Flag(), "it has redundant pictures");
    if (bits.More()) {
        const bool transform8x8 = bits.Flag();
        note(transform8x8, "it uses the 8x8 transform");
        const bool matrices = bits.Flag();
        note(matrices, "it has scaling matrices");
        if (matrices) SkipMatrices(bits, transform8x8);
        note(bits.Se() != chroma, "its chroma offsets differ");
    } else {
        set.chromaOnce = chroma != 0;
    }
    // What a lost packet leaves of a slice may stand behind the set.
    if (!bits.AtStop()) throw Damaged("a picture's parameter set goes on behind its end");
    if (outside != nullptr) throw Outside(outside);
    return set;
}

uint32_t PictureSetOf(std::span<const uint8_t> payload)
{
    BitReader bits(payload);
    bits.Ue();  // first_mb_in_slice
    bits.Ue();  // slice_type
    return bits.Ue(MAX_PICTURE_SETS - 1, "pic_parameter_set_id");
}

SliceHeader ReadSliceHeader(BitReader& bits, bool idr, const SequenceSet& sequence, const PictureSet& picture)
{
    SliceHeader slice;
    slice.idr = idr;
    Refuse(bits.Ue() != 0, "it has several slices a picture");
    const uint32_t type = bits.Ue(9, "slice_type") % 5;
    Refuse(type == 1, "it has B pictures");
    Refuse(type > 2, "it has slices that switch");
    slice.intra = type == 2;
    Refuse(slice.intra && !idr, "it has I pictures that are not IDR");
    if (idr && !slice.intra) throw Damaged("an IDR picture that is not I");
    bits.Ue(MAX_PICTURE_SETS - 1, "pic_parameter_set_id");
    slice.frameNum = bits.Bits(sequence.frameNumBits);
    if (idr) bits.Ue(65535, "idr_pic_id");
    if (sequence.orderType == 0) slice.order = bits.Bits(sequence.orderBits);
    uint32_t references = picture.references;
    if (!slice.intra) {
        if (bits.Flag()) references = 1 + bits.Ue(31, "num_ref_idx_l0_active");
        Refuse(references != 1, "it has several references");
        Refuse(bits.Flag(), "it reorders references");
    }
    if (idr) {
        bits.Flag();  // no_output_of_prior_pics_flag
        Refuse(bits.Flag(), "it has long-term references");
    } else {
        Refuse(bits.Flag(), "it marks references");
    }
    if (picture.cabac && !slice.intra) slice.contexts = 1 + static_cast<int>(bits.Ue(2, "cabac_init_idc"));
    slice.qp = picture.qp + bits.Se(-picture.qp, 51 - picture.qp, "slice_qp_delta");
    if (picture.deblockingControl && bits.Ue(2, "disable_deblocking_filter_idc") != 1) {
        for (int offset = 0; offset < 2; ++offset)
            bits.Se(-6, 6, "a filter's offset");
    }
    return slice;
}

}  // namespace recorder::h264
