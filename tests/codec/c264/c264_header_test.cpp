// Parameter sets, slice headers, the announcement of the checksum, and the bit reader beneath them.
#include "codec/c264/c264_header.h"

#include <gtest/gtest.h>

#include "tests/codec/c264/c264_handmade_support.h"

namespace
{
c264_bits Reader(const std::vector<uint8_t>& bytes)
{
    return {bytes.data(), bytes.size()};
}

C264Sps ParseSps(const CH264Bits& bits)
{
    C264Sps sps;
    c264_bits reader = Reader(bits.Bytes());
    c264_parse_sps(&reader, &sps);
    return sps;
}

C264Pps ParsePps(const CH264Bits& bits, int32_t profile)
{
    C264Sps sps = {};
    sps.profile_idc = profile;
    C264Pps pps;
    c264_bits reader = Reader(bits.Bytes());
    c264_parse_pps(&reader, sps, &pps);
    return pps;
}

TEST(C264Bits, ReadsBeyondTheEndGiveZeros)
{
    const uint8_t data[2] = {0xA5, 0xFF};
    c264_bits bits(data, 1);
    EXPECT_EQ(bits.bits(4), 10u);
    EXPECT_EQ(bits.bits(8), 0x50u);
    EXPECT_EQ(bits.flag(), 0u);
    EXPECT_EQ(bits.ue(), 0u);
    EXPECT_EQ(bits.se(), 0);
    EXPECT_EQ(bits.position(), 8u);
}

TEST(C264Bits, ExpGolombCodesComeBackAsWritten)
{
    CH264Bits written;
    const uint32_t values[] = {0, 1, 2, 7, 8, 255, 65535, 0x7FFFFFFE, 0xFFFFFFFE};
    for (const uint32_t value : values)
        written.Ue(value);
    for (const int32_t value : {0, 1, -1, 5, -17, 70000})
        written.Se(value);
    c264_bits bits = Reader(written.Bytes());
    for (const uint32_t value : values)
        EXPECT_EQ(bits.ue(), value);
    for (const int32_t value : {0, 1, -1, 5, -17, 70000})
        EXPECT_EQ(bits.se(), value);
}

// oddity: golomb-too-long
TEST(C264Bits, GolombTooLongIsIntendedToBeZero)
{
    CH264Bits written;
    written.Bits(0, 32).Bits(0xFFFFFFFF, 32).Bits(5, 3);
    c264_bits unsignedBits = Reader(written.Bytes());
    EXPECT_EQ(unsignedBits.ue(), 0u);
    c264_bits signedBits = Reader(written.Bytes());
    EXPECT_EQ(signedBits.se(), 0);
}

TEST(C264Header, SpsIsReadFieldByField)
{
    CH264Bits bits;
    bits.Bits(77, 8).Bits(5, 3).Bits(0, 5).Bits(31, 8).Ue(3).Ue(2).Ue(0).Ue(4).Ue(1).Bit(false).Ue(43).Ue(35);
    bits.Bit(true).Bit(true).Bit(true).Ue(1).Ue(2).Ue(3).Ue(4).Bit(true).Trailing();
    const C264Sps sps = ParseSps(bits);
    EXPECT_EQ(sps.profile_idc, 77);
    EXPECT_EQ(sps.constraint_set_flag[0], 1);
    EXPECT_EQ(sps.constraint_set_flag[1], 0);
    EXPECT_EQ(sps.constraint_set_flag[2], 1);
    EXPECT_EQ(sps.level_idc, 31);
    EXPECT_EQ(sps.seq_parameter_set_id, 3);
    EXPECT_EQ(sps.log2_max_frame_num, 6);
    EXPECT_EQ(sps.pic_order_cnt_type, 0);
    EXPECT_EQ(sps.log2_max_pic_order_cnt_lsb, 8);
    EXPECT_EQ(sps.num_ref_frames, 1);
    EXPECT_EQ(sps.pic_width_in_mbs, 44);
    EXPECT_EQ(sps.pic_height_in_mbs, 36);
    EXPECT_EQ(sps.direct_8x8_inference_flag, 1);
    EXPECT_EQ(sps.frame_cropping_flag, 1);
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(sps.crop[i], 2 * (i + 1)) << i;
    EXPECT_EQ(sps.vui_parameters_present_flag, 1);
}

TEST(C264Header, SpsOfOtherOrderCountTypesReadsNothingMoreForThem)
{
    CH264Bits bits;
    bits.Bits(66, 8).Bits(0, 8).Bits(30, 8).Ue(0).Ue(0).Ue(1).Ue(1).Bit(false).Ue(10).Ue(8).Trailing();
    const C264Sps sps = ParseSps(bits);
    EXPECT_EQ(sps.pic_order_cnt_type, 1);
    EXPECT_EQ(sps.log2_max_pic_order_cnt_lsb, 0);
    EXPECT_EQ(sps.pic_width_in_mbs, 11);
    EXPECT_EQ(sps.pic_height_in_mbs, 9);
}

TEST(C264Header, SpsAboveProfile99HasMoreAndNoScalingList)
{
    CH264Bits bits;
    bits.Bits(100, 8).Bits(0, 8).Bits(30, 8).Ue(0).Ue(1).Ue(0).Ue(0).Bit(false).Bit(
        true);  // a matrix follows, unread
    bits.Ue(5).Ue(2).Ue(1).Bit(false).Ue(10).Ue(8).Trailing();
    const C264Sps sps = ParseSps(bits);
    EXPECT_EQ(sps.log2_max_frame_num, 9);
    EXPECT_EQ(sps.pic_width_in_mbs, 11);
}

CH264Bits PpsBits()
{
    CH264Bits bits;
    bits.Ue(1).Ue(2).Bit(true).Bit(false).Ue(0).Ue(0).Ue(0).Bit(true).Bits(2, 2).Se(-3).Se(4).Se(5);
    bits.Bit(true).Bits(3, 2);
    return bits;
}

TEST(C264Header, PpsIsReadFieldByField)
{
    CH264Bits bits = PpsBits();
    bits.Bit(true).Bit(false).Se(-7).Trailing();  // a tail that only profile 100 has
    const C264Pps pps = ParsePps(bits, 77);
    EXPECT_EQ(pps.pic_parameter_set_id, 1);
    EXPECT_EQ(pps.seq_parameter_set_id, 2);
    EXPECT_EQ(pps.entropy_coding_mode_flag, 1);
    EXPECT_EQ(pps.pic_init_qp, 23);
    EXPECT_EQ(pps.pic_init_qs, 30);
    EXPECT_EQ(pps.chroma_qp_index_offset, 5);
    EXPECT_EQ(pps.deblocking_filter_control_present_flag, 1);
    EXPECT_EQ(pps.transform_8x8_mode_flag, 0);
}

// oddity: second-chroma-offset
TEST(C264Header, SecondChromaOffsetIsIntendedToOverwriteTheFirst)
{
    CH264Bits bits = PpsBits();
    bits.Bit(true).Bit(false).Se(-7).Trailing();
    const C264Pps withTail = ParsePps(bits, 100);
    EXPECT_EQ(withTail.chroma_qp_index_offset, -7);
    EXPECT_EQ(withTail.transform_8x8_mode_flag, 1);
    // read also where there is none: the trailing bits, then zeros, which are a code too long
    CH264Bits absent = PpsBits();
    absent.Trailing();
    EXPECT_EQ(ParsePps(absent, 100).chroma_qp_index_offset, 0);
    EXPECT_EQ(ParsePps(absent, 110).chroma_qp_index_offset, 5);
}

C264SliceHeader ParseSlice(const CH264Bits& bits, bool idr, const C264Sps& sps, const C264Pps& pps)
{
    C264SliceHeader slice;
    c264_bits reader = Reader(bits.Bytes());
    c264_parse_slice_header(&reader, sps, pps, idr, &slice);
    EXPECT_EQ(reader.position(), bits.Count());
    return slice;
}

C264Sps SliceSps()
{
    C264Sps sps = {};
    sps.log2_max_frame_num = 5;
    sps.log2_max_pic_order_cnt_lsb = 6;
    return sps;
}

TEST(C264Header, SliceOfAnIdrPictureIsReadFieldByField)
{
    C264Pps pps = {};
    pps.pic_init_qp = 20;
    CH264Bits bits;
    bits.Ue(7).Ue(7).Ue(1).Bits(19, 5).Ue(9).Bits(33, 6).Bits(2, 2).Se(-4);
    const C264SliceHeader slice = ParseSlice(bits, true, SliceSps(), pps);
    EXPECT_EQ(slice.first_mb_in_slice, 7);
    EXPECT_EQ(slice.slice_type, C264_SLICE_I);
    EXPECT_EQ(slice.pic_parameter_set_id, 1);
    EXPECT_EQ(slice.frame_num, 19);
    EXPECT_EQ(slice.idr_pic_id, 9);
    EXPECT_EQ(slice.pic_order_cnt_lsb, 33);
    EXPECT_EQ(slice.slice_qp, 16);
    EXPECT_EQ(slice.slice_qp_delta, -4);
    EXPECT_EQ(slice.nal_ref_idc, 3);
    EXPECT_EQ(slice.deblocking_mode, 1);
    EXPECT_EQ(slice.alpha_offset, 0);
    EXPECT_EQ(slice.beta_offset, 0);
}

TEST(C264Header, SliceOfAPredictedPictureIsReadFieldByField)
{
    C264Pps pps = {};
    pps.pic_init_qp = 26;
    pps.entropy_coding_mode_flag = 1;
    pps.deblocking_filter_control_present_flag = 1;
    CH264Bits bits;
    // override with its number, no reordering, one marking flag, cabac_init_idc
    bits.Ue(0).Ue(5).Ue(0).Bits(1, 5).Bits(2, 6).Bit(true).Ue(0).Bit(false).Bit(false).Ue(2).Se(3);
    bits.Ue(0).Se(-2).Se(3);
    const C264SliceHeader slice = ParseSlice(bits, false, SliceSps(), pps);
    EXPECT_EQ(slice.slice_type, C264_SLICE_P);
    EXPECT_EQ(slice.idr_pic_id, -1);
    EXPECT_EQ(slice.cabac_init_idc, 2);
    EXPECT_EQ(slice.slice_qp, 29);
    EXPECT_EQ(slice.nal_ref_idc, 2);
    EXPECT_EQ(slice.deblocking_mode, 1);
    EXPECT_EQ(slice.alpha_offset, -4);
    EXPECT_EQ(slice.beta_offset, 6);
}

TEST(C264Header, FieldsAreAtMost32BitsWideWhateverTheWidthInTheSpsIs)
{
    C264Sps sps = SliceSps();
    sps.log2_max_frame_num = 40;
    CH264Bits bits;
    bits.Ue(0).Ue(2).Ue(0).Bits(0xDEADBEEF, 32).Bits(2, 6).Bit(false).Se(3);
    const C264SliceHeader slice = ParseSlice(bits, false, sps, {});
    EXPECT_EQ(static_cast<uint32_t>(slice.frame_num), 0xDEADBEEF);
    EXPECT_EQ(slice.pic_order_cnt_lsb, 2);
    EXPECT_EQ(slice.slice_qp_delta, 3);
}

TEST(C264Header, FilterIdcBecomesTheMode)
{
    C264Pps pps = {};
    pps.deblocking_filter_control_present_flag = 1;
    const struct {
        uint32_t idc;
        int32_t mode;
        bool offsets;
    } rows[] = {{0, 1, true}, {1, 0, false}, {2, 2, true}, {3, 3, true}, {9, 9, true}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.idc);
        CH264Bits bits;
        bits.Ue(0).Ue(2).Ue(0).Bits(0, 5).Bits(0, 6).Bit(false).Se(0).Ue(row.idc);
        if (row.offsets) bits.Se(1).Se(2);
        const C264SliceHeader slice = ParseSlice(bits, false, SliceSps(), pps);
        EXPECT_EQ(slice.deblocking_mode, row.mode);
        EXPECT_EQ(slice.alpha_offset, row.offsets ? 2 : 0);
        EXPECT_EQ(slice.beta_offset, row.offsets ? 4 : 0);
    }
}

// oddity: switching-slices
TEST(C264Header, SwitchingSlicesAreIntendedToHaveNoOverrideFlag)
{
    for (const uint32_t type : {3u, 4u, 8u, 9u}) {
        CH264Bits bits;
        bits.Ue(0).Ue(type).Ue(0).Bits(0, 5).Bits(0, 6).Bit(false).Bit(false).Se(2);
        EXPECT_EQ(ParseSlice(bits, false, SliceSps(), {}).slice_qp_delta, 2) << type;
    }
}

c264_check Scan(const std::vector<uint8_t>& payload, bool expected = true, c264_check check = {})
{
    EXPECT_EQ(c264_scan_sei(payload.data(), payload.size(), &check), expected);
    return check;
}

TEST(C264Sei, AnnouncesAModulusOf16Or32Bits)
{
    const c264_check narrow = Scan({0x90, 0x09, 0x80, 0x81, 0xAB, 0xCD, 0xAB, 0xCD});
    EXPECT_EQ(narrow.mode, 1u);
    EXPECT_EQ(narrow.modulus, 0xABCDu);
    const c264_check wide = Scan({0x90, 0x09, 0x80, 0x82, 1, 2, 3, 4, 1, 2, 3, 4});
    EXPECT_EQ(wide.mode, 2u);
    EXPECT_EQ(wide.modulus, 0x01020304u);
}

TEST(C264Sei, TheLaterOfTwoAnnouncementsHolds)
{
    const c264_check check =
        Scan({0x90, 0x09, 0x80, 0x81, 0, 5, 0, 5, 0x90, 0x09, 0x80, 0x82, 0, 0, 0, 9, 0, 0, 0, 9});
    EXPECT_EQ(check.mode, 2u);
    EXPECT_EQ(check.modulus, 9u);
}

TEST(C264Sei, NumbersThatDifferFailWithAWarning)
{
    const CC264NewWarnings warnings;
    const c264_check kept = Scan({0x90, 0x09, 0x80, 0x81, 0, 5, 0, 6}, false, {2, 77});
    EXPECT_EQ(kept.mode, 2u);
    EXPECT_EQ(kept.modulus, 77u);
    EXPECT_EQ(warnings.Count(C264_WARNING_SEI), 1);
}

TEST(C264Sei, IsReadInStepsOf16BitsFromItsFirstByte)
{
    EXPECT_EQ(Scan({1, 2, 0x90, 0x09, 0x80, 0x81, 0, 5, 0, 5}).modulus, 5u);
    EXPECT_EQ(Scan({1, 0x90, 0x09, 0x80, 0x81, 0, 5, 0, 5}).mode, 0u) << "an odd place";
}

TEST(C264Sei, AWordThatFailsAsTheSecondIsTriedAsTheTag)
{
    EXPECT_EQ(Scan({0x90, 0x09, 0x90, 0x09, 0x80, 0x81, 0, 5, 0, 5}).modulus, 5u);
}

TEST(C264Sei, NumbersAreNotTakenForATag)
{
    const c264_check check =
        Scan({0x90, 0x09, 0x80, 0x82, 0x90, 0x09, 0x80, 0x81, 0x90, 0x09, 0x80, 0x81, 0, 7, 0, 7});
    EXPECT_EQ(check.mode, 2u);
    EXPECT_EQ(check.modulus, 0x90098081u);
}

TEST(C264Sei, NumbersCutOffByTheEndCountAsZero)
{
    const c264_check check = Scan({0x90, 0x09, 0x80, 0x82}, true, {1, 5});
    EXPECT_EQ(check.mode, 2u);
    EXPECT_EQ(check.modulus, 0u) << "nothing is checked from here on";
    Scan({0x90, 0x09, 0x80, 0x81, 0, 5}, false);
    EXPECT_EQ(Scan({0x90, 0x09, 0x80}).mode, 0u);
}

TEST(C264Sei, ANumberCutInTheMiddleKeepsTheBytesThatAreThere)
{
    const CC264NewWarnings warnings;
    for (const uint8_t kind : {0x81, 0x82}) {
        SCOPED_TRACE(kind);
        // the first one: what is there of it, against zeros
        const c264_check kept = Scan({0x90, 0x09, 0x80, kind, 0xAB}, false, {1, 5});
        EXPECT_EQ(kept.mode, 1u);
        EXPECT_EQ(kept.modulus, 5u);
    }
    // the second one, by one byte and by three: unequal, unless the bytes that aren't there are zeros
    Scan({0x90, 0x09, 0x80, 0x81, 0xAB, 0xCD, 0xAB}, false);
    EXPECT_EQ(Scan({0x90, 0x09, 0x80, 0x81, 0xAB, 0, 0xAB}).modulus, 0xAB00u);
    Scan({0x90, 0x09, 0x80, 0x82, 1, 2, 3, 4, 1, 2, 3}, false);
    EXPECT_EQ(Scan({0x90, 0x09, 0x80, 0x82, 1, 2, 3, 0, 1, 2, 3}).modulus, 0x01020300u);
    EXPECT_EQ(Scan({0x90, 0x09, 0x80, 0x82, 1, 0, 0, 0, 1}).modulus, 0x01000000u);
    EXPECT_EQ(warnings.Count(C264_WARNING_SEI), 4);
}
}  // namespace
