// The streams of tests/data/h264, which scripts/make-test-streams wrote, against the sums of ffmpeg's decode
// that stand beside them and against libavcodec at work: bit for bit, at every capability step.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "codec/c264/c264_header.h"
#include "tests/codec/c264/c264_fed_support.h"
#include "tests/support/h264_streams.h"
#include "tests/support/test_places.h"

namespace
{
const std::string FOLDER = SourcePath("tests/data/h264/");

std::vector<std::string> StreamNames()
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(FOLDER)) {
        if (entry.path().extension() == ".h264") names.push_back(entry.path().stem().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

/// The picture size, which the sums' file tells as "#dimensions 0: 176x144".
H264Size ReadSize(const std::string& name)
{
    std::ifstream file(FOLDER + name + ".framecrc");
    std::string mark;
    H264Size size;
    char by = 0;
    file >> mark >> mark >> size.width >> by >> size.height;
    return size;
}

class C264Data : public ::testing::TestWithParam<std::string>
{
};

TEST_P(C264Data, DecodesToTheSumsBesideItAtEveryStep)
{
    const std::vector<H264Packet> packets = ReadH264Stream(FOLDER + GetParam() + ".h264");
    const std::vector<uint32_t> sums = ReadSums(FOLDER + GetParam() + ".framecrc");
    const H264Size size = ReadSize(GetParam());
    ASSERT_EQ(packets.size(), sums.size());
    ASSERT_FALSE(packets.empty());
    ForEachC264Step([&] {
        CC264Decoder decoder(size.width, size.height);
        for (size_t i = 0; i < packets.size(); ++i) {
            const CodecFrame* const frame = FeedAsLink(&decoder, packets[i]);
            ASSERT_TRUE(frame && frame->data[0]) << "picture " << i;
            ASSERT_EQ(SumOf(CopyPicture(*frame)), sums[i]) << "picture " << i;
        }
    });
}

TEST_P(C264Data, IsWhatLibavcodecDecodes)
{
    const std::vector<H264Packet> packets = ReadH264Stream(FOLDER + GetParam() + ".h264");
    const H264Size size = ReadSize(GetParam());
    CC264Decoder ours(size.width, size.height);
    CLavcH264Decoder theirs;
    for (size_t i = 0; i < packets.size(); ++i) {
        const CodecFrame* const frame = FeedAsLink(&ours, packets[i]);
        ASSERT_TRUE(frame && frame->data[0]) << "picture " << i;
        ASSERT_TRUE(theirs.Decode(packets[i])) << "picture " << i;
        ASSERT_EQ(DescribeDifference(CopyPicture(*frame), theirs.Picture()), "") << "picture " << i;
    }
}

TEST_P(C264Data, UnitByUnitAndAllAtOnceGiveTheSamePictures)
{
    const std::vector<H264Packet> packets = ReadH264Stream(FOLDER + GetParam() + ".h264");
    const H264Size size = ReadSize(GetParam());
    CC264Decoder whole(size.width, size.height);
    CC264Decoder byUnit(size.width, size.height);
    for (const H264Packet& packet : packets) {
        const CodecFrame* const expected = FeedAsLink(&whole, packet);
        const CodecFrame* found = nullptr;
        for (const H264UnitPlace& unit : FindH264Units(packet)) {
            found = FeedAsLink(&byUnit, H264Packet(packet.begin() + static_cast<ptrdiff_t>(unit.begin),
                                                   packet.begin() + static_cast<ptrdiff_t>(unit.end)));
        }
        ASSERT_TRUE(expected && expected->data[0]);
        ASSERT_TRUE(found && found->data[0]);
        ASSERT_EQ(DescribeDifference(CopyPicture(*found), CopyPicture(*expected)), "");
    }
}

INSTANTIATE_TEST_SUITE_P(Streams, C264Data, ::testing::ValuesIn(StreamNames()),
                         [](const auto& test) { return test.param; });

TEST(C264DataStreams, AreAtLeastTwentyFour)
{
    EXPECT_GE(StreamNames().size(), 24u);
}

/// Of the slices with contexts, those that aren't intra choose one of three initialisations.
TEST(C264DataStreams, HoldEveryInitialisationOfTheContexts)
{
    int slices[3] = {};
    for (const std::string& name : StreamNames()) {
        C264Sps sps = {};
        C264Pps pps = {};
        for (const H264Packet& packet : ReadH264Stream(FOLDER + name + ".h264")) {
            for (const H264UnitPlace& unit : FindH264Units(packet)) {
                const std::vector<uint8_t> payload = H264Payload(packet, unit);
                c264_bits bits(payload.data(), payload.size());
                C264SliceHeader slice = {};
                switch (packet[unit.header] & 31) {
                    case 7:
                        c264_parse_sps(&bits, &sps);
                        break;
                    case 8:
                        c264_parse_pps(&bits, sps, &pps);
                        break;
                    case 1:
                        c264_parse_slice_header(&bits, sps, pps, false, &slice);
                        if (!pps.entropy_coding_mode_flag || slice.slice_type != C264_SLICE_P) break;
                        ASSERT_THAT(slice.cabac_init_idc, testing::AllOf(testing::Ge(0), testing::Le(2)));
                        ++slices[slice.cabac_init_idc];
                        break;
                    default:
                        break;
                }
            }
        }
    }
    EXPECT_THAT(slices, testing::Each(testing::Gt(0)));
}

class C264DataChecksum : public ::testing::TestWithParam<EH264Checksum>
{
};

TEST_P(C264DataChecksum, ProtectedStreamsDecodeToTheSamePictures)
{
    const uint32_t modulus = GetParam() == EH264Checksum::Bits16 ? 65521 : 4294967291;
    for (const char* const name : {"cavlc_every_partition", "cabac_every_partition", "cabac_q1"}) {
        SCOPED_TRACE(name);
        const std::vector<H264Packet> packets = ReadH264Stream(FOLDER + name + ".h264");
        const std::vector<uint32_t> sums = ReadSums(FOLDER + name + ".framecrc");
        const H264Size size = ReadSize(name);
        CC264Decoder decoder(size.width, size.height);
        for (size_t i = 0; i < packets.size(); ++i) {
            const CodecFrame* const frame =
                FeedAsLink(&decoder, ProtectH264(packets[i], GetParam(), modulus, i == 0));
            ASSERT_TRUE(frame && frame->data[0]) << "picture " << i;
            ASSERT_EQ(SumOf(CopyPicture(*frame)), sums[i]) << "picture " << i;
        }
    }
}

TEST_P(C264DataChecksum, OneWrongBitCostsTheBufferAndLeavesTheReference)
{
    const uint32_t modulus = GetParam() == EH264Checksum::Bits16 ? 65521 : 4294967291;
    const std::string base = FOLDER + "cabac_every_partition";
    const std::vector<H264Packet> packets = ReadH264Stream(base + ".h264");
    const std::vector<uint32_t> sums = ReadSums(base + ".framecrc");
    const H264Size size = ReadSize("cabac_every_partition");
    CC264Decoder decoder(size.width, size.height);
    for (size_t i = 0; i < packets.size(); ++i) {
        const H264Packet good = ProtectH264(packets[i], GetParam(), modulus, i == 0);
        if (i > 0) {
            H264Packet damaged = good;
            damaged[damaged.size() / 2] ^= 0x10;
            EXPECT_EQ(FeedAsLink(&decoder, damaged), nullptr) << "picture " << i;
        }
        const CodecFrame* const frame = FeedAsLink(&decoder, good);
        ASSERT_TRUE(frame && frame->data[0]) << "picture " << i;
        ASSERT_EQ(SumOf(CopyPicture(*frame)), sums[i]) << "picture " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Widths, C264DataChecksum,
                         ::testing::Values(EH264Checksum::Bits16, EH264Checksum::Bits32), [](const auto& test) {
                             return test.param == EH264Checksum::Bits16 ? "Bits16" : "Bits32";
                         });
}  // namespace
