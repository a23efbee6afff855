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

AvCodecParameters ParametersOf(AVCodecID id, const std::vector<uint8_t>& sets = {})
{
    AvCodecParameters codec(avcodec_parameters_alloc());
    codec->codec_type = AVMEDIA_TYPE_VIDEO;
    codec->codec_id = id;
    codec->extradata = static_cast<uint8_t*>(av_mallocz(sets.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    codec->extradata_size = static_cast<int>(sets.size());
    std::copy(sets.begin(), sets.end(), codec->extradata);
    return codec;
}

// described: what comes with the packet to describe the stream anew.
AvPacket PacketOf(const std::vector<uint8_t>& bytes, const std::vector<uint8_t>& described = {})
{
    AvPacket packet(av_packet_alloc());
    CheckAv(av_new_packet(packet.get(), static_cast<int>(bytes.size())), "check");
    std::copy(bytes.begin(), bytes.end(), packet->data);
    if (!described.empty())
        std::copy(described.begin(), described.end(),
                  av_packet_new_side_data(packet.get(), AV_PKT_DATA_NEW_EXTRADATA, described.size()));
    return packet;
}

h264::Checked Check(PacketCheck& check, const std::vector<uint8_t>& bytes,
                    const std::vector<uint8_t>& described = {})
{
    return check.Check(*PacketOf(bytes, described));
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

// A stream as MP4 and FLV hold it: its parameter sets stand in the description alone, and units have their size
// before them.
struct CMuxed {
    explicit CMuxed(const std::string& options)
    {
        for (const auto& accessUnit : EncodeH264("annexb=1:keyint=3:" + options, 6)) {
            packets.emplace_back();
            for (const auto unit : SplitUnits(accessUnit)) {
                const EUnit type = UnitType(unit);
                if (type == EUnit::SequenceSet) description = {1, unit[1], unit[2], unit[3], 0xFF, 0xE1};
                if (type == EUnit::PictureSet) description.push_back(1);
                if (type == EUnit::SequenceSet || type == EUnit::PictureSet) Append(description, unit, 2);
                if (type == EUnit::PictureSet) pictureSet.assign(unit.begin(), unit.end());
                if (type == EUnit::Slice || type == EUnit::IdrSlice) Append(packets.back(), unit, 4);
            }
        }
    }
    static void Append(std::vector<uint8_t>& to, std::span<const uint8_t> unit, int bytesOfSize)
    {
        for (int i = bytesOfSize - 1; i >= 0; --i)
            to.push_back(static_cast<uint8_t>(unit.size() >> (8 * i)));
        to.insert(to.end(), unit.begin(), unit.end());
    }

    std::vector<uint8_t> description;
    std::vector<uint8_t> pictureSet;
    AccessUnits packets;
};

std::vector<uint8_t> PictureSetOf(const h264::Checked& checked)
{
    for (const auto unit : SplitUnits(checked.bytes))
        if (UnitType(unit) == EUnit::PictureSet) return {unit.begin(), unit.end()};
    return {};
}

// Clients would go on with the sets of before, and show other colours.
TEST(PacketCheckTest, AStreamMayBeDescribedAnew)
{
    const CMuxed before("chroma-qp-offset=0");
    const CMuxed after("chroma-qp-offset=5");
    ASSERT_NE(before.pictureSet, after.pictureSet);
    PacketCheck check(*ParametersOf(AV_CODEC_ID_H264, before.description), H264_TEST_WIDTH, H264_TEST_HEIGHT);
    EXPECT_EQ(PictureSetOf(Check(check, before.packets[0])), before.pictureSet);
    for (const size_t packet : {0U, 3U}) {
        const auto described = packet == 0 ? after.description : std::vector<uint8_t>();
        const h264::Checked key = Check(check, after.packets[packet], described);
        EXPECT_EQ(key.result, h264::Checked::EResult::Passes) << packet << ' ' << key.why;
        EXPECT_EQ(PictureSetOf(key), after.pictureSet) << packet;
        // Some senders say the same again at any time.
        const h264::Checked next = Check(check, after.packets[packet + 1], after.description);
        EXPECT_EQ(next.result, h264::Checked::EResult::Passes) << packet << ' ' << next.why;
    }
}

TEST(PacketCheckTest, ADescriptionBetweenIdrPicturesCostsThoseUpToTheNext)
{
    const CMuxed before("chroma-qp-offset=0");
    const CMuxed after("chroma-qp-offset=5");
    PacketCheck check(*ParametersOf(AV_CODEC_ID_H264, before.description), H264_TEST_WIDTH, H264_TEST_HEIGHT);
    EXPECT_EQ(Check(check, before.packets[0]).result, h264::Checked::EResult::Passes);
    EXPECT_EQ(Check(check, after.packets[1], after.description).why,
              "its parameter sets change between IDR pictures");
    EXPECT_EQ(Check(check, after.packets[2]).result, h264::Checked::EResult::Damaged);
    EXPECT_EQ(PictureSetOf(Check(check, after.packets[3])), after.pictureSet);
}

// As while nobody watches.
TEST(PacketCheckTest, ADescriptionHoldsThoughItsPacketIsLeftOut)
{
    const CMuxed before("chroma-qp-offset=0");
    const CMuxed after("chroma-qp-offset=5");
    PacketCheck check(*ParametersOf(AV_CODEC_ID_H264, before.description), H264_TEST_WIDTH, H264_TEST_HEIGHT);
    EXPECT_EQ(Check(check, before.packets[0]).result, h264::Checked::EResult::Passes);
    check.LeaveOut(*PacketOf(after.packets[0], after.description));
    EXPECT_EQ(Check(check, after.packets[1]).result, h264::Checked::EResult::Early);
    EXPECT_EQ(PictureSetOf(Check(check, after.packets[3])), after.pictureSet);
    PacketCheck(*ParametersOf(AV_CODEC_ID_HEVC), 16, 16).LeaveOut(*PacketOf({0}, after.description));
}

TEST(PacketCheckTest, ADescriptionThatGoesBeyondOrCanNotBeReadCounts)
{
    const CMuxed plain("qp=30");
    const CMuxed beyond("8x8dct=1");
    PacketCheck check(*ParametersOf(AV_CODEC_ID_H264, plain.description), H264_TEST_WIDTH, H264_TEST_HEIGHT);
    const std::vector<uint8_t> cut(plain.description.begin(), plain.description.end() - 3);
    EXPECT_EQ(Check(check, plain.packets[0], cut).why, "a packet can't be read");
    EXPECT_EQ(Check(check, plain.packets[3]).result, h264::Checked::EResult::Passes);
    EXPECT_THAT(Check(check, beyond.packets[0], beyond.description).why, HasSubstr("8x8 transform"));
    EXPECT_THAT(Check(check, beyond.packets[1]).why, HasSubstr("8x8 transform"));
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
