// The frame of the decoder: which units a call takes, when there is a picture, which of the two buffers it is,
// the checksum, and what the codec table makes of it.
#include <gtest/gtest.h>

#include <array>
#include <string>

#include "codec/codec_memory.h"
#include "codec/convert/convert.h"
#include "codec/decoder.h"
#include "tests/codec/c264/c264_handmade_support.h"
#include "tests/support/h264_streams.h"

namespace
{
constexpr int SIZE = 32;  // of the opened pictures: 2 by 2 macroblocks

CH264Bits FlatPicture(const std::array<int, 4>& levels, uint32_t first_mb = 0)
{
    CH264Bits bits = C264SliceStart({.first_mb = first_mb});
    for (const int level : levels)
        C264Flat(&bits, level);
    return bits;
}

H264Packet SliceUnit(CH264Bits bits, int unit = UNIT_SLICE, int refIdc = 1)
{
    bits.Trailing();
    return C264Unit(unit, bits.Bytes(), refIdc);
}

H264Packet Parameters()
{
    return C264Joined({C264SpsUnit(C264HandmadeParameters()), C264PpsUnit(C264HandmadeParameters())});
}

TEST(C264Frame, NullHandleAndNullDataFail)
{
    const uint8_t data[8] = {};
    C264Picture picture = {};
    C264Stats stats = {1, 0, 3};
    int32_t got = 7;
    EXPECT_EQ(c264_decode(nullptr, data, 8, &picture, &got, &stats), -1);
    EXPECT_EQ(got, 0);
    EXPECT_EQ(stats.picture_type, 0);
    EXPECT_EQ(c264_close(nullptr), -1);
    C264Handle* const handle = c264_open(SIZE, SIZE, 0);
    EXPECT_EQ(c264_decode(handle, nullptr, 8, &picture, &got, &stats), -1);
    EXPECT_EQ(c264_close(handle), 0);
}

TEST(C264Frame, FiveBytesAndFewerDecodeNothing)
{
    C264Fed fed(SIZE, SIZE);
    for (size_t size = 1; size <= 5; ++size)
        EXPECT_EQ(fed.Feed(H264Packet(size, 0), 0), 0) << size;
    EXPECT_EQ(fed.Feed(H264Packet(6, 0), 0), 6);
    // a unit at the end of a longer buffer of which as few bytes are left drops as well
    const H264Packet sps = C264SpsUnit(C264HandmadeParameters());
    EXPECT_EQ(fed.Feed(C264Joined({sps, {0, 0, 0, 1, 0x68}}), 0), static_cast<int32_t>(sps.size()));
}

TEST(C264Frame, OnePictureForASliceBehindItsParameterSets)
{
    C264Fed fed(SIZE, SIZE);
    EXPECT_GT(fed.FeedSlice(FlatPicture({1, 0, 0, 0})), 0);
    EXPECT_EQ(fed.iGot, 1);
    EXPECT_EQ(fed.Stats.picture_type, 1);
    EXPECT_EQ(fed.Picture.width, SIZE);
    EXPECT_EQ(fed.Picture.height, SIZE);
    EXPECT_EQ(fed.Picture.format, 1u);
    EXPECT_EQ(fed.Picture.stride[0], SIZE + 64);
    EXPECT_EQ(fed.Picture.stride[1], (SIZE + 64) / 2);
    EXPECT_EQ(fed.Middle(0, 0), 132);
}

TEST(C264Frame, SliceBeforeTheParameterSetsIsSkipped)
{
    C264Fed fed(SIZE, SIZE);
    const H264Packet slice = SliceUnit(FlatPicture({0, 0, 0, 0}));
    EXPECT_EQ(fed.Feed(slice), static_cast<int32_t>(slice.size() + 8));
    EXPECT_EQ(fed.iGot, 0);
    EXPECT_EQ(fed.Stats.picture_type, 0);
    const H264Packet sps = C264SpsUnit(C264HandmadeParameters());
    EXPECT_GT(fed.Feed(C264Joined({sps, slice})), 0);
    EXPECT_EQ(fed.iGot, 0);
    EXPECT_GT(fed.Feed(C264PpsUnit(C264HandmadeParameters())), 0);
    EXPECT_GT(fed.Feed(slice), 0);
    EXPECT_EQ(fed.iGot, 1);
}

TEST(C264Frame, PpsBeforeTheSpsIsNotRemembered)
{
    C264Fed fed(SIZE, SIZE);
    const H264Parameters parameters = C264HandmadeParameters();
    fed.Feed(C264PpsUnit(parameters));
    fed.Feed(C264SpsUnit(parameters));
    fed.Feed(SliceUnit(FlatPicture({0, 0, 0, 0})));
    EXPECT_EQ(fed.iGot, 0);
}

TEST(C264Frame, PicturesOfISlicesAloneAlternateBetweenTwoBuffers)
{
    C264Fed fed(SIZE, SIZE);
    fed.FeedSlice(FlatPicture({1, 0, 0, 0}));
    const uint8_t* const first = fed.Picture.plane[0];
    fed.FeedSlice(FlatPicture({-1, 0, 0, 0}));
    const uint8_t* const second = fed.Picture.plane[0];
    EXPECT_NE(first, second);
    EXPECT_EQ(first[0], 132) << "a lent picture is good through the next call";
    fed.FeedSlice(FlatPicture({0, 0, 0, 0}));
    EXPECT_EQ(fed.Picture.plane[0], first);
    EXPECT_EQ(fed.Stats.picture_type, 1);
}

TEST(C264Frame, BSliceCostsItsBytesAndYieldsNothing)
{
    C264Fed fed(SIZE, SIZE);
    fed.FeedSlice(FlatPicture({1, 0, 0, 0}));
    const uint8_t* const first = fed.Picture.plane[0];
    CH264Bits b = C264SliceStart({.type = 1});
    b.Bits(0x12345678, 32);
    const int32_t used = fed.FeedSlice(b);
    EXPECT_GT(used, 0);
    EXPECT_EQ(fed.iGot, 0);
    EXPECT_EQ(fed.Stats.picture_type, 3);
    // the next picture is predicted from the I picture, into the other buffer
    CH264Bits p = C264SliceStart({.type = 0});
    p.Ue(4);
    fed.FeedSlice(p);
    EXPECT_EQ(fed.iGot, 1);
    EXPECT_EQ(fed.Stats.picture_type, 2);
    EXPECT_NE(fed.Picture.plane[0], first);
    EXPECT_EQ(fed.Middle(0, 0), 132);
}

// oddity: switching-slices
TEST(C264Frame, SwitchingSlicesAreIntendedToDecodeAsPAndTellNothing)
{
    C264Fed fed(SIZE, SIZE);
    fed.FeedSlice(FlatPicture({1, 0, 0, 0}));
    for (const uint32_t type : {3u, 4u}) {
        CH264Bits bits = C264SliceStart({.type = type});
        bits.Ue(4);
        fed.FeedSlice(bits);
        EXPECT_EQ(fed.iGot, 1);
        EXPECT_EQ(fed.Stats.picture_type, 0);
        EXPECT_EQ(fed.Middle(0, 0), 132);
    }
}

TEST(C264Frame, SpsOfAnotherSizeChangesNothingInTheBuffers)
{
    H264Parameters parameters = C264HandmadeParameters();
    parameters.width_mbs = 120;
    parameters.height_mbs = 68;
    C264Fed fed(SIZE, SIZE);
    fed.Feed(
        C264Joined({C264SpsUnit(parameters), C264PpsUnit(parameters), SliceUnit(FlatPicture({1, 1, 1, 0}))}));
    EXPECT_EQ(fed.iGot, 1);
    EXPECT_EQ(fed.Picture.width, SIZE);
    EXPECT_EQ(fed.Middle(1, 0), 136);
}

TEST(C264Frame, SizesThatAreNoMultipleOf16AreHandedOutAsOpened)
{
    C264Fed fed(30, 18);
    fed.FeedSlice(FlatPicture({1, 0, 0, 0}));
    EXPECT_EQ(fed.Picture.width, 30);
    EXPECT_EQ(fed.Picture.height, 18);
    EXPECT_EQ(fed.Picture.stride[0], 32 + 64);
}

// oddity: one-slice-a-picture
TEST(C264Frame, OneSliceAPictureIsIntended)
{
    C264Fed fed(SIZE, SIZE);
    const H264Packet sets = Parameters();
    const H264Packet first = SliceUnit(FlatPicture({1, 0, 0, 0}));
    const H264Packet second = SliceUnit(FlatPicture({-1, 0, 0, 0}, 2));
    H264Packet all = C264Joined({sets, first, second});
    EXPECT_EQ(fed.Feed(all), static_cast<int32_t>(sets.size() + first.size()))
        << "a call ends behind its first slice";
    const uint8_t* const buffer = fed.Picture.plane[0];
    fed.Feed(second);
    EXPECT_EQ(fed.iGot, 1);
    EXPECT_NE(fed.Picture.plane[0], buffer);
}

// oddity: seventeenth-unit
TEST(C264Frame, SeventeenthUnitIsIntendedToEndTheCall)
{
    const H264Packet sps = C264SpsUnit(C264HandmadeParameters());
    std::vector<H264Packet> units(17, sps);
    C264Fed fed(SIZE, SIZE);
    EXPECT_EQ(fed.Feed(C264Joined(units)), static_cast<int32_t>(16 * sps.size()));
    // units that are ignored don't count
    const H264Packet ignored = C264Unit(9, {0xF0, 0x11, 0x22});
    units.assign(40, ignored);
    EXPECT_EQ(fed.Feed(C264Joined(units)), static_cast<int32_t>(40 * ignored.size() + 8));
}

TEST(C264Frame, UnitsLargerThanTheScratchAreClipped)
{
    C264Fed fed(16, 16);
    H264Packet huge = C264Unit(9, std::vector<uint8_t>(300000, 0x55));
    const H264Packet all = C264Joined({huge, Parameters(), SliceUnit(FlatPicture({1, 0, 0, 0}))});
    EXPECT_GT(fed.Feed(all), 300000);
    // the room is gone: parameter sets and slice came out empty, and the next call is whole again
    fed.FeedSlice(FlatPicture({1, 0, 0, 0}));
    EXPECT_EQ(fed.iGot, 1);
    EXPECT_EQ(fed.Middle(0, 0), 132);
}

TEST(C264Frame, UnitsLargerThanASmallPictureHaveRoom)
{
    C264Fed fed(16, 16);
    const H264Packet large = C264Unit(9, std::vector<uint8_t>(60000, 0x55));
    fed.Feed(C264Joined({large, Parameters(), SliceUnit(FlatPicture({1, 0, 0, 0}))}));
    EXPECT_EQ(fed.iGot, 1);
    EXPECT_EQ(fed.Middle(0, 0), 132);
}

TEST(C264Frame, LengthPrefixedUnits)
{
    // `from` bytes of a start code are left out
    const auto length_unit = [](const H264Packet& unit, size_t from) {
        H264Packet out(3);
        out.push_back(static_cast<uint8_t>(unit.size() - from));
        for (size_t i = from; i < unit.size(); ++i)
            out.push_back(unit[i]);
        return out;
    };
    const H264Parameters parameters = C264HandmadeParameters();
    CH264Bits sps;
    WriteH264Sps(parameters, &sps);
    CH264Bits pps;
    WriteH264Pps(parameters, &pps);
    C264Fed fed(SIZE, SIZE, 1);
    const H264Packet sps_unit = C264Unit(UNIT_SPS, sps.Bytes(), 3);
    const H264Packet pps_unit = C264Unit(UNIT_PPS, pps.Bytes(), 3);
    const H264Packet slice_unit = length_unit(SliceUnit(FlatPicture({1, 0, 0, 0})), 4);
    fed.Feed(C264Joined({length_unit(sps_unit, 4), length_unit(pps_unit, 4), slice_unit}));
    EXPECT_EQ(fed.iGot, 1);
    EXPECT_EQ(fed.Middle(0, 0), 132);

    // both sets in one unit, which is read twice
    C264Fed joined(SIZE, SIZE, 1);
    const H264Packet both = C264Joined({{0xAA}, sps_unit, pps_unit});
    joined.Feed(C264Joined({length_unit(both, 0), slice_unit}));
    EXPECT_EQ(joined.iGot, 1);
    EXPECT_EQ(joined.Middle(0, 0), 132);
}

class C264Checksum : public testing::TestWithParam<EH264Checksum>
{
  protected:
    H264Packet Protected(const H264Packet& packet, bool announce) const
    {
        return ProtectH264(packet, GetParam(), MODULUS, announce);
    }
    /// All units of a call, one call for each as a link's walk does it. \returns the last result.
    int32_t FeedAll(const H264Packet& packet)
    {
        int32_t result = 0;
        for (const H264UnitPlace& unit : FindH264Units(packet)) {
            result = m_Fed.Feed(H264Packet(packet.begin() + static_cast<ptrdiff_t>(unit.begin),
                                           packet.begin() + static_cast<ptrdiff_t>(unit.end)),
                                0);
            if (result < 0) break;
        }
        return result;
    }
    static constexpr uint32_t MODULUS = 65521;
    C264Fed m_Fed{SIZE, SIZE};
    H264Packet m_Packet = C264Joined({Parameters(), SliceUnit(FlatPicture({1, 0, 0, 0}))});
};

TEST_P(C264Checksum, ProtectedUnitsDecode)
{
    EXPECT_GT(FeedAll(Protected(m_Packet, true)), 0);
    EXPECT_EQ(m_Fed.iGot, 1);
    EXPECT_EQ(m_Fed.Middle(0, 0), 132);
    EXPECT_GT(FeedAll(Protected(m_Packet, false)), 0) << "stays in force";
    EXPECT_EQ(m_Fed.iGot, 1);
}

TEST_P(C264Checksum, WrongUnitFailsWithAWarningAndTheNextOneDecodes)
{
    FeedAll(Protected(m_Packet, true));
    const int before = C264Warnings(C264_WARNING_CHECKSUM);
    H264Packet damaged = Protected(m_Packet, false);
    damaged[damaged.size() - 8] ^= 0x10;
    EXPECT_EQ(FeedAll(damaged), -1);
    EXPECT_EQ(m_Fed.iGot, 0);
    EXPECT_EQ(C264Warnings(C264_WARNING_CHECKSUM), before + 1);
    EXPECT_GT(FeedAll(Protected(m_Packet, false)), 0);
    EXPECT_EQ(m_Fed.iGot, 1);
}

TEST_P(C264Checksum, UnitWithoutReferencePassesUnchecked)
{
    FeedAll(Protected(m_Packet, true));
    EXPECT_GT(m_Fed.Feed(SliceUnit(FlatPicture({-1, 0, 0, 0}), UNIT_SLICE, 0)), 0);
    EXPECT_EQ(m_Fed.iGot, 1);
    EXPECT_EQ(m_Fed.Middle(0, 0), 124);
}

TEST_P(C264Checksum, PayloadLosesAllOfItsChecksum)
{
    // A slice without any macroblock: what follows its header is read as zeros, not as the checksum.
    const uint32_t modulus = GetParam() == EH264Checksum::Bits16 ? 0xFFF1 : 0xFFFFFFFB;
    CH264Bits bits = C264SliceStart({});
    bits.AlignWith(false);
    const H264Packet cut = C264Unit(UNIT_SLICE, bits.Bytes());
    const H264Packet guarded = ProtectH264(cut, GetParam(), modulus, false);
    const size_t bytes = GetParam() == EH264Checksum::Bits16 ? 2 : 4;
    ASSERT_EQ(guarded.size(), cut.size() + bytes);
    for (size_t i = guarded.size() - bytes; i < guarded.size(); ++i)
        ASSERT_NE(guarded[i], 0) << "a checksum of zeros shows nothing";
    std::array<std::vector<int>, 2> pictures;
    for (const bool checked : {false, true}) {
        C264Fed fed(SIZE, SIZE);
        fed.Feed(Parameters());
        if (checked) fed.Feed(H264ChecksumSei(GetParam(), modulus, modulus));
        EXPECT_GT(fed.Feed(checked ? guarded : cut, 0), 0);
        ASSERT_EQ(fed.iGot, 1);
        for (int i = 0; i < SIZE * SIZE; ++i)
            pictures[checked ? 1 : 0].push_back(fed.Luma(i % SIZE, i / SIZE));
    }
    EXPECT_EQ(pictures[0], pictures[1]);
}

TEST_P(C264Checksum, WrongAnnouncementFailsTheCall)
{
    EXPECT_EQ(m_Fed.Feed(H264ChecksumSei(GetParam(), 5, 6)), -1);
    EXPECT_GT(FeedAll(m_Packet), 0) << "nothing is checked";
    EXPECT_EQ(m_Fed.iGot, 1);
}

INSTANTIATE_TEST_SUITE_P(Widths, C264Checksum, testing::Values(EH264Checksum::Bits16, EH264Checksum::Bits32));

TEST(C264Frame, PlanesOfTheCallerGetACopy)
{
    C264Fed fed(SIZE, SIZE);
    std::vector<uint8_t> target(4 * SIZE * SIZE, 1);
    H264Packet packet = C264Joined({Parameters(), SliceUnit(FlatPicture({1, 0, 0, 0}))});
    packet.resize(packet.size() + 8);
    C264Picture picture = {};
    picture.format = 8;  // 32 bits: blue, green, red, 0
    picture.plane[0] = target.data();
    picture.stride[0] = 4 * SIZE;
    int32_t got = 0;
    C264Stats stats = {};
    c264_decode(fed.Handle(), packet.data(), static_cast<int32_t>(packet.size()), &picture, &got, &stats);
    EXPECT_EQ(got, 1);
    EXPECT_EQ(picture.plane[0], target.data());
    EXPECT_EQ(target[0], target[1]) << "grey";
    EXPECT_EQ(target[0], (132 - 16) * 9535 >> 13);
    EXPECT_EQ(target[3], 0);

    // I420 onto planes of the caller's
    std::vector<uint8_t> planes(SIZE * SIZE * 3 / 2, 1);
    picture = {1,
               0,
               0,
               0,
               {planes.data(), planes.data() + SIZE * SIZE, planes.data() + SIZE * SIZE * 5 / 4, nullptr},
               {SIZE, SIZE / 2, SIZE / 2, 0}};
    c264_decode(fed.Handle(), packet.data(), static_cast<int32_t>(packet.size()), &picture, &got, &stats);
    EXPECT_EQ(planes[0], 132);
    EXPECT_EQ(planes[SIZE * SIZE], 128);
}

TEST(C264Frame, AverageQpIsTheSlices)
{
    C264Fed fed(SIZE, SIZE);
    CH264Bits bits = C264SliceStart({.qp = 33});
    for (int i = 0; i < 4; ++i)
        C264Flat(&bits, 0);
    fed.FeedSlice(bits);
    EXPECT_EQ(fed.Stats.average_qp, 33);
}

class C264Row : public testing::Test
{
  protected:
    void SetUp() override
    {
        codec_init();
        codec_register_all();
        m_Context.width = SIZE;
        m_Context.height = SIZE;
        ASSERT_EQ(codec_open(&m_Context, codec_find_decoder(CODEC_ID_H264)), 0);
    }
    void TearDown() override { codec_close(&m_Context); }

    int32_t Decode(H264Packet packet)
    {
        packet.resize(packet.size() + 8);
        return codec_decode(&m_Context, &m_Frame, &m_iGot, packet.data(), static_cast<int32_t>(packet.size()));
    }

    CodecContext m_Context = {};
    CodecFrame m_Frame = {};
    int32_t m_iGot = 0;
};

TEST_F(C264Row, PictureComesWithSizePlanesAndKeyFlag)
{
    EXPECT_GT(Decode(C264Joined({Parameters(), SliceUnit(FlatPicture({1, 0, 0, 0}))})), 0);
    EXPECT_EQ(m_iGot, 4);
    EXPECT_EQ(m_Frame.width, SIZE);
    EXPECT_EQ(m_Frame.height, SIZE);
    EXPECT_EQ(m_Frame.linesize[0], SIZE + 64);
    EXPECT_EQ(m_Frame.linesize[2], (SIZE + 64) / 2);
    EXPECT_EQ(m_Frame.format, 0) << "left as it was";
    EXPECT_EQ(m_Frame.data[0][0], 132);
    EXPECT_EQ(m_Context.picture_count, 1);
}

TEST_F(C264Row, KeyFlagIsTheSliceTypeNotTheUnitType)
{
    Decode(C264Joined({Parameters(), SliceUnit(FlatPicture({0, 0, 0, 0}))}));
    EXPECT_EQ(m_Frame.key_frame, 1) << "an I slice that isn't IDR";
    CH264Bits p = C264SliceStart({.type = 0});
    p.Ue(4);
    Decode(SliceUnit(p));
    EXPECT_EQ(m_Frame.key_frame, 0);
}

TEST_F(C264Row, AnswersMinusOneForOneToFiveBytes)
{
    const uint8_t data[8] = {};
    for (int32_t size = 1; size <= 5; ++size)
        EXPECT_EQ(codec_decode(&m_Context, &m_Frame, &m_iGot, data, size), -1) << size;
    EXPECT_EQ(codec_decode(&m_Context, &m_Frame, &m_iGot, data, 6), 6);
    EXPECT_EQ(codec_decode(&m_Context, &m_Frame, &m_iGot, data, 0), 0);
}

TEST_F(C264Row, ChangesTellWhatWasWritten)
{
    Decode(C264Joined({Parameters(), SliceUnit(FlatPicture({1, 0, 0, 0}))}));
    ASSERT_NE(m_Frame.changes, nullptr);
    EXPECT_EQ(m_Frame.changes->across, 2);
    EXPECT_EQ(m_Frame.changes->down, 2);
    EXPECT_EQ(m_Frame.changes->picture, 1u);
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(m_Frame.changes->changed[i], 1u) << i;
    // skipped but for one, unfiltered
    CH264Bits p = C264SliceStart({.type = 0});
    p.Ue(2);
    C264Flat(&p, 1, 5);
    p.Ue(1);
    Decode(SliceUnit(p));
    EXPECT_EQ(m_Frame.changes->picture, 2u);
    EXPECT_EQ(m_Frame.changes->changed[0], 1u);
    EXPECT_EQ(m_Frame.changes->changed[1], 1u);
    EXPECT_EQ(m_Frame.changes->changed[2], 2u);
    EXPECT_EQ(m_Frame.changes->changed[3], 1u);
}

TEST(C264Decoder, OneToEightZeroBytesGiveTheClearedFrame)
{
    CC264Decoder decoder(SIZE, SIZE);
    const uint8_t zeros[16] = {};
    for (int32_t size = 1; size <= 16; ++size) {
        const CodecFrame* const frame = decoder.Decode(zeros, size);
        ASSERT_NE(frame, nullptr) << size;
        EXPECT_EQ(frame->data[0], nullptr) << size;
    }
}

TEST(C264Decoder, ShortRestThatIsNotZeroGivesNull)
{
    CC264Decoder decoder(SIZE, SIZE);
    const uint8_t data[8] = {0, 0, 0, 0, 0, 0, 0, 1};
    EXPECT_EQ(decoder.Decode(data, 8), nullptr);
}

TEST(C264Decoder, ParameterSetsAndPictureInOnePayloadGiveThePicture)
{
    CC264Decoder decoder(SIZE, SIZE);
    H264Packet packet = C264Joined({Parameters(), SliceUnit(FlatPicture({1, 0, 0, 0}))});
    packet.resize(packet.size() + 8);
    const CodecFrame* const frame = decoder.Decode(packet.data(), static_cast<int32_t>(packet.size()));
    ASSERT_NE(frame, nullptr);
    ASSERT_NE(frame->data[0], nullptr);
    EXPECT_EQ(frame->data[0][0], 132);
}

TEST(C264Memory, OpenedDecoderOf1080LinesHoldsUnder24MBAndDecodingTakesNoMore)
{
    const size_t before = codec_memory_in_use();
    {
        C264Fed fed(1920, 1088);
        const size_t held = codec_memory_in_use() - before;
        EXPECT_LT(held, size_t{24} * 1000 * 1000);
        fed.FeedSlice(FlatPicture({1, 0, 0, 0}));
        EXPECT_EQ(codec_memory_in_use() - before, held);
    }
    EXPECT_EQ(codec_memory_in_use(), before);
}

TEST(C264Memory, OpenWithoutMemoryFailsAndGivesAllBack)
{
    const size_t before = codec_memory_in_use();
    for (int granted = 0; granted < 2; ++granted) {
        codec_fail_allocations_after(granted);
        EXPECT_EQ(c264_open(SIZE, SIZE, 0), nullptr) << granted;
        codec_fail_allocations_after(-1);
        EXPECT_EQ(codec_memory_in_use(), before) << granted;
    }
}
}  // namespace
