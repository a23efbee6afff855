// The frame of the decoder: which units a call takes, when there is a picture, and which of the two buffers it
// is.
#include <gtest/gtest.h>

#include <vector>

#include "codec/c264/c264_context.h"
#include "tests/codec/c264/c264_handmade_support.h"

namespace
{
constexpr int SIZE = 32;  // of the opened pictures: 2 by 2 macroblocks

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

TEST(C264Frame, OnePictureForASliceAfterItsParameterSets)
{
    C264Fed fed(SIZE, SIZE);
    EXPECT_GT(fed.FeedSlice(C264Flats({1, 0, 0, 0})), 0);
    EXPECT_EQ(fed.got, 1);
    EXPECT_EQ(fed.stats.picture_type, 1);
    EXPECT_EQ(fed.picture.width, SIZE);
    EXPECT_EQ(fed.picture.height, SIZE);
    EXPECT_EQ(fed.picture.format, 1u);
    EXPECT_EQ(fed.picture.stride[0], SIZE + 64);
    EXPECT_EQ(fed.picture.stride[1], (SIZE + 64) / 2);
    EXPECT_EQ(fed.Middle(0, 0), 132);
}

TEST(C264Frame, SliceBeforeTheParameterSetsIsSkipped)
{
    C264Fed fed(SIZE, SIZE);
    const H264Packet slice = C264SliceUnit(C264Flats({0, 0, 0, 0}));
    EXPECT_EQ(fed.Feed(slice), static_cast<int32_t>(slice.size() + 8));
    EXPECT_EQ(fed.got, 0);
    EXPECT_EQ(fed.stats.picture_type, 0);
    const H264Packet sps = C264SpsUnit(C264HandmadeParameters());
    EXPECT_GT(fed.Feed(C264Joined({sps, slice})), 0);
    EXPECT_EQ(fed.got, 0);
    EXPECT_GT(fed.Feed(C264PpsUnit(C264HandmadeParameters())), 0);
    EXPECT_GT(fed.Feed(slice), 0);
    EXPECT_EQ(fed.got, 1);
}

TEST(C264Frame, PpsBeforeTheSpsIsNotRemembered)
{
    C264Fed fed(SIZE, SIZE);
    const H264Parameters parameters = C264HandmadeParameters();
    fed.Feed(C264PpsUnit(parameters));
    fed.Feed(C264SpsUnit(parameters));
    fed.Feed(C264SliceUnit(C264Flats({0, 0, 0, 0})));
    EXPECT_EQ(fed.got, 0);
}

TEST(C264Frame, PicturesOfISlicesAloneAlternateBetweenTwoBuffers)
{
    C264Fed fed(SIZE, SIZE);
    fed.FeedSlice(C264Flats({1, 0, 0, 0}));
    const uint8_t* const first = fed.picture.plane[0];
    fed.FeedSlice(C264Flats({-1, 0, 0, 0}));
    const uint8_t* const second = fed.picture.plane[0];
    EXPECT_NE(first, second);
    EXPECT_EQ(first[0], 132) << "a lent picture is good through the next call";
    fed.FeedSlice(C264Flats({0, 0, 0, 0}));
    EXPECT_EQ(fed.picture.plane[0], first);
    EXPECT_EQ(fed.stats.picture_type, 1);
}

TEST(C264Frame, BSliceCostsItsBytesAndYieldsNothing)
{
    C264Fed fed(SIZE, SIZE);
    fed.FeedSlice(C264Flats({1, 0, 0, 0}));
    const uint8_t* const first = fed.picture.plane[0];
    CH264Bits b = C264SliceStart({.type = 1});
    b.Bits(0x12345678, 32);
    const int32_t used = fed.FeedSlice(b);
    EXPECT_GT(used, 0);
    EXPECT_EQ(fed.got, 0);
    EXPECT_EQ(fed.stats.picture_type, 3);
    // the next picture is predicted from the I picture, into the other buffer
    CH264Bits p = C264SliceStart({.type = 0});
    p.Ue(4);
    fed.FeedSlice(p);
    EXPECT_EQ(fed.got, 1);
    EXPECT_EQ(fed.stats.picture_type, 2);
    EXPECT_NE(fed.picture.plane[0], first);
    EXPECT_EQ(fed.Middle(0, 0), 132);
}

// oddity: switching-slices
TEST(C264Frame, SwitchingSlicesAreIntendedToDecodeAsPAndReportNothing)
{
    C264Fed fed(SIZE, SIZE);
    fed.FeedSlice(C264Flats({1, 0, 0, 0}));
    for (const uint32_t type : {3u, 4u}) {
        CH264Bits bits = C264SliceStart({.type = type});
        bits.Ue(4);
        fed.FeedSlice(bits);
        EXPECT_EQ(fed.got, 1);
        EXPECT_EQ(fed.stats.picture_type, 0);
        EXPECT_EQ(fed.Middle(0, 0), 132);
    }
}

TEST(C264Frame, SpsOfAnotherSizeChangesNothingInTheBuffers)
{
    H264Parameters parameters = C264HandmadeParameters();
    parameters.widthMbs = 120;
    parameters.heightMbs = 68;
    C264Fed fed(SIZE, SIZE);
    fed.Feed(
        C264Joined({C264SpsUnit(parameters), C264PpsUnit(parameters), C264SliceUnit(C264Flats({1, 1, 1, 0}))}));
    EXPECT_EQ(fed.got, 1);
    EXPECT_EQ(fed.picture.width, SIZE);
    EXPECT_EQ(fed.Middle(1, 0), 136);
}

TEST(C264Frame, SizesThatAreNoMultipleOf16AreHandedOutAsOpened)
{
    C264Fed fed(30, 18);
    fed.FeedSlice(C264Flats({1, 0, 0, 0}));
    EXPECT_EQ(fed.picture.width, 30);
    EXPECT_EQ(fed.picture.height, 18);
    EXPECT_EQ(fed.picture.stride[0], 32 + 64);
}

// oddity: one-slice-a-picture
TEST(C264Frame, OneSliceAPictureIsIntended)
{
    C264Fed fed(SIZE, SIZE);
    const H264Packet sets = C264ParameterUnits();
    const H264Packet first = C264SliceUnit(C264Flats({1, 0, 0, 0}));
    const H264Packet second = C264SliceUnit(C264Flats({-1, 0, 0, 0}, {.first_mb = 2}));
    H264Packet all = C264Joined({sets, first, second});
    EXPECT_EQ(fed.Feed(all), static_cast<int32_t>(sets.size() + first.size()))
        << "a call ends behind its first slice";
    const uint8_t* const buffer = fed.picture.plane[0];
    fed.Feed(second);
    EXPECT_EQ(fed.got, 1);
    EXPECT_NE(fed.picture.plane[0], buffer);
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
    const H264Packet all = C264Joined({huge, C264ParameterUnits(), C264SliceUnit(C264Flats({1, 0, 0, 0}))});
    EXPECT_GT(fed.Feed(all), 300000);
    // the room is gone: parameter sets and slice came out empty, and the next call is whole again
    fed.FeedSlice(C264Flats({1, 0, 0, 0}));
    EXPECT_EQ(fed.got, 1);
    EXPECT_EQ(fed.Middle(0, 0), 132);
}

TEST(C264Frame, UnitsLargerThanASmallPictureHaveRoom)
{
    C264Fed fed(16, 16);
    const H264Packet large = C264Unit(9, std::vector<uint8_t>(60000, 0x55));
    fed.Feed(C264Joined({large, C264ParameterUnits(), C264SliceUnit(C264Flats({1, 0, 0, 0}))}));
    EXPECT_EQ(fed.got, 1);
    EXPECT_EQ(fed.Middle(0, 0), 132);
}

TEST(C264Frame, UnitsBehindTheirLengthsAreDecoded)
{
    // `from` bytes of a start code are left out
    const auto lengthUnit = [](const H264Packet& unit, size_t from) {
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
    const H264Packet spsUnit = C264Unit(UNIT_SPS, sps.Bytes(), 3);
    const H264Packet ppsUnit = C264Unit(UNIT_PPS, pps.Bytes(), 3);
    const H264Packet sliceUnit = lengthUnit(C264SliceUnit(C264Flats({1, 0, 0, 0})), 4);
    fed.Feed(C264Joined({lengthUnit(spsUnit, 4), lengthUnit(ppsUnit, 4), sliceUnit}));
    EXPECT_EQ(fed.got, 1);
    EXPECT_EQ(fed.Middle(0, 0), 132);

    // both sets in one unit, which is read twice
    C264Fed joined(SIZE, SIZE, 1);
    const H264Packet both = C264Joined({{0xAA}, spsUnit, ppsUnit});
    joined.Feed(C264Joined({lengthUnit(both, 0), sliceUnit}));
    EXPECT_EQ(joined.got, 1);
    EXPECT_EQ(joined.Middle(0, 0), 132);
}

TEST(C264Frame, PlanesOfTheCallerGetACopy)
{
    C264Fed fed(SIZE, SIZE);
    std::vector<uint8_t> target(4 * SIZE * SIZE, 1);
    H264Packet packet = C264Joined({C264ParameterUnits(), C264SliceUnit(C264Flats({1, 0, 0, 0}))});
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
    EXPECT_EQ(fed.stats.average_qp, 33);
}

TEST(C264Frame, CountsPicturesAndThoseSinceTheLastIntraPicture)
{
    C264Fed fed(SIZE, SIZE);
    const auto* const dec = reinterpret_cast<const C264Context*>(fed.Handle());  // its first member
    fed.FeedSlice(C264Flats({0, 0, 0, 0}));
    fed.FeedSlice(C264AllSkipped(4));
    EXPECT_EQ(dec->frames, 2);
    EXPECT_EQ(dec->frames_since_i, 2);
    fed.FeedSlice(C264SliceStart({.type = 1}));
    EXPECT_EQ(dec->frames, 2) << "a B slice is no picture";
    EXPECT_EQ(dec->frames_since_i, 2);
    fed.FeedSlice(C264Flats({0, 0, 0, 0}));
    EXPECT_EQ(dec->frames, 3);
    EXPECT_EQ(dec->frames_since_i, 1);
}
}  // namespace
