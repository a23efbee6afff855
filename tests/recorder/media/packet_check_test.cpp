#include <gmock/gmock.h>

#include <algorithm>

#include "recorder/h264/AnnexB.h"
#include "recorder/media/CodecStream.h"
#include "recorder/media/PassThrough.h"
#include "tests/recorder/media_support.h"

namespace
{

using namespace recorder;
using testing::HasSubstr;

struct FreeParameters {
    void operator()(AVCodecParameters* p) const { avcodec_parameters_free(&p); }
};
using Parameters = std::unique_ptr<AVCodecParameters, FreeParameters>;

Parameters ParametersOf(AVCodecID id, const std::vector<uint8_t>& sets = {})
{
    Parameters codec(avcodec_parameters_alloc());
    codec->codec_type = AVMEDIA_TYPE_VIDEO;
    codec->codec_id = id;
    codec->extradata = static_cast<uint8_t*>(av_mallocz(sets.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    codec->extradata_size = static_cast<int>(sets.size());
    std::copy(sets.begin(), sets.end(), codec->extradata);
    return codec;
}

h264::Checked Check(PacketCheck& check, const std::vector<uint8_t>& bytes)
{
    const AvPacket packet(av_packet_alloc());
    CheckAv(av_new_packet(packet.get(), static_cast<int>(bytes.size())), "check");
    std::copy(bytes.begin(), bytes.end(), packet->data);
    return check.Check(*packet);
}

// Splits the first picture of a stream, as cameras do that describe it once, before it begins.
struct CDescribed {
    explicit CDescribed(const std::string& options)
    {
        const AccessUnits stream = EncodeH264(options, 1);
        for (const auto unit : SplitUnits(stream[0])) {
            const bool set = UnitType(unit) == EUnit::SequenceSet || UnitType(unit) == EUnit::PictureSet;
            AppendUnit(set ? sets : picture, unit[0], Unescape(unit));
        }
        check = std::make_unique<PacketCheck>(*ParametersOf(AV_CODEC_ID_H264, sets), H264_TEST_WIDTH,
                                              H264_TEST_HEIGHT);
    }

    std::vector<uint8_t> sets;
    std::vector<uint8_t> picture;
    std::unique_ptr<PacketCheck> check;
};

TEST(PacketCheckTest, ParameterSetsMayStandOutsideTheStreamOnly)
{
    CDescribed camera("annexb=1");
    const h264::Checked checked = Check(*camera.check, camera.picture);
    EXPECT_EQ(checked.result, h264::Checked::EResult::Passes) << checked.why;
    EXPECT_TRUE(checked.key);
    EXPECT_EQ(UnitType(SplitUnits(checked.bytes)[0]), EUnit::SequenceSet);
}

TEST(PacketCheckTest, WhatGoesBeyondOutsideTheStreamIsTheReason)
{
    CDescribed camera("annexb=1:8x8dct=1");
    const h264::Checked checked = Check(*camera.check, camera.picture);
    EXPECT_EQ(checked.result, h264::Checked::EResult::Outside);
    EXPECT_THAT(checked.why, HasSubstr("8x8 transform"));
}

TEST(PacketCheckTest, DamageOutsideTheStreamIsNoneOfItsPictures)
{
    const std::vector<uint8_t> cut{0, 0, 1, 0x68};
    PacketCheck check(*ParametersOf(AV_CODEC_ID_H264, cut), H264_TEST_WIDTH, H264_TEST_HEIGHT);
    const AccessUnits stream = EncodeH264("annexb=1", 2);
    EXPECT_EQ(Check(check, stream[1]).result, h264::Checked::EResult::Early);
    EXPECT_EQ(Check(check, stream[0]).result, h264::Checked::EResult::Passes);
}

TEST(PacketCheckTest, AnotherCodecIsOutside)
{
    for (const AVCodecID id : {AV_CODEC_ID_HEVC, AV_CODEC_ID_MJPEG, AV_CODEC_ID_MPEG4}) {
        PacketCheck check(*ParametersOf(id), H264_TEST_WIDTH, H264_TEST_HEIGHT);
        const h264::Checked checked = Check(check, {0, 0, 1, 0x65});
        EXPECT_EQ(checked.result, h264::Checked::EResult::Outside);
        EXPECT_EQ(checked.why, "it is not H.264");
    }
}

// Whatever passes may get a checksum, and clients take no more than so much at once.
TEST(PacketCheckTest, WhatPassesIsSmallEnoughWithItsChecksumToo)
{
    const AccessUnits stream = EncodeH264("annexb=1", 1);
    const auto units = SplitUnits(stream[0]);
    // A sequence set may end in anything.
    const auto make = [&](size_t bytes) {
        std::vector<uint8_t> accessUnit;
        std::vector<uint8_t> rest;
        for (const auto unit : units) {
            if (UnitType(unit) == EUnit::Sei) continue;
            AppendUnit(UnitType(unit) == EUnit::SequenceSet ? accessUnit : rest, unit[0], Unescape(unit));
        }
        accessUnit.resize(bytes - rest.size(), 0xFF);
        accessUnit.insert(accessUnit.end(), rest.begin(), rest.end());
        return accessUnit;
    };
    PacketCheck check(*ParametersOf(AV_CODEC_ID_H264), H264_TEST_WIDTH, H264_TEST_HEIGHT);
    size_t largest = 0;
    for (size_t bytes = MAX_H264_BYTES - 160; bytes <= MAX_H264_BYTES + 8; bytes += 8) {
        const h264::Checked checked = Check(check, make(bytes));
        if (checked.result != h264::Checked::EResult::Passes) {
            EXPECT_EQ(checked.why, "it has pictures that are too large") << bytes;
            continue;
        }
        largest = checked.bytes.size();
        EXPECT_EQ(largest, bytes);
        for (const EChecksum checksum : {EChecksum::Sixteen, EChecksum::ThirtyTwo})
            EXPECT_LE(WithChecksum(checked.bytes, checksum).size(), MAX_H264_BYTES) << bytes;
    }
    EXPECT_GE(largest, MAX_H264_BYTES - 160);
}

}  // namespace
