// The MPEG-4 decoder on damaged streams: null or a frame of the opened size, whatever comes. The sanitizers
// watch.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "codec/codec_memory.h"
#include "codec/decoder.h"
#include "tests/support/mpeg4_streams.h"
#include "tests/support/mpeg4_writer.h"
#include "tests/support/stream_damage.h"

namespace
{
using Bytes = std::vector<uint8_t>;

/// Feeds a payload from a block of just its size and looks at every sample of what comes out.
void FeedExactly(CMpeg4Decoder* decoder, const Bytes& bytes, int width, int height)
{
    const std::unique_ptr<uint8_t[]> exact(new uint8_t[bytes.size() + 1]);
    std::memcpy(exact.get() + 1, bytes.data(), bytes.size());  // and not aligned
    const CodecFrame* const frame = decoder->Decode(exact.get() + 1, static_cast<int32_t>(bytes.size()));
    if (!frame || !frame->data[0]) return;
    ASSERT_EQ(frame->width, width);
    ASSERT_EQ(frame->height, height);
    ASSERT_EQ(CopyPicture(*frame).plane[0].size(), static_cast<size_t>(width) * height);
}

class Mpeg4Damage : public ::testing::TestWithParam<StreamDamage>
{
};

TEST_P(Mpeg4Damage, CostsNoMoreThanPictures)
{
    const size_t before = codec_memory_in_use();
    std::mt19937 random(11);
    for (const ETestScene scene : {ETestScene::Lively, ETestScene::Noise}) {
        const std::vector<Mpeg4Packet> packets = EncodeMpeg4({.width = 96,
                                                              .height = 80,
                                                              .frames = 6,
                                                              .gop = 3,
                                                              .quant = 5,
                                                              .scene = scene,
                                                              .b4Mv = true,
                                                              .acPred = true,
                                                              .varyQuant = true});
        for (int round = 0; round < 60; ++round) {
            // the opened size is now and then another one than the stream's
            const int width = round % 3 == 2 ? 61 : 96;
            CMpeg4Decoder decoder(width, 80);
            for (Mpeg4Packet packet : packets) {
                if (random() % 3 == 0) GetParam().Do(&packet, &random);
                ASSERT_NO_FATAL_FAILURE(FeedExactly(&decoder, packet, width, 80));
            }
        }
        // a decoder that has met anything shows the next I picture as ever
        CMpeg4Decoder battered(96, 80);
        for (Mpeg4Packet packet : packets) {
            GetParam().Do(&packet, &random);
            FeedExactly(&battered, packet, 96, 80);
        }
        CMpeg4Decoder fresh(96, 80);
        const int32_t size = static_cast<int32_t>(packets[0].size());
        const CodecFrame* const found = battered.Decode(packets[0].data(), size);
        const CodecFrame* const expected = fresh.Decode(packets[0].data(), size);
        ASSERT_TRUE(found && expected);
        for (int plane = 0; plane < 3; ++plane)
            EXPECT_EQ(ComparePlane(CopyPicture(*found), CopyPicture(*expected), plane).largest, 0);
    }
    EXPECT_EQ(codec_memory_in_use(), before);
}

INSTANTIATE_TEST_SUITE_P(Kinds, Mpeg4Damage, ::testing::ValuesIn(StreamDamages()),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(Mpeg4DamageHeader, PayloadOfOneVopHeaderAndNothingElseGivesNoPicture)
{
    for (uint32_t type : {0u, 1u}) {
        CMpeg4Decoder decoder(176, 144);
        CMpeg4Writer writer;
        const Bytes bytes = writer.Vol({}).Vop({.type = type}).Take();
        const CodecFrame* const frame = decoder.Decode(bytes.data(), static_cast<int32_t>(bytes.size()));
        ASSERT_NE(frame, nullptr);
        EXPECT_EQ(frame->data[0], nullptr);
    }
}

TEST(Mpeg4DamageHeader, VopBeforeAnyLayerStaysInside)
{
    std::mt19937 random(3);
    for (int round = 0; round < 50; ++round) {
        CMpeg4Decoder decoder(48, 48);
        CMpeg4Writer writer;
        writer.Vop({.type = static_cast<uint32_t>(round % 2), .increment_bits = 1});
        for (int i = 0; i < 200; ++i)
            writer.Bits(random(), 32);
        ASSERT_NO_FATAL_FAILURE(FeedExactly(&decoder, writer.Take(), 48, 48));
    }
}

TEST(Mpeg4DamageQuant, QuantThatRunsOutOfRangeStaysInside)
{
    // every macroblock changes the quant by the same step, in both directions, with levels that escape
    for (const char* const dquant : {"11", "01"}) {
        CMpeg4Decoder decoder(1280, 720);
        CMpeg4Writer writer;
        writer.Vol({.not_8_bit = true, .quant_precision = 9}).Vop({.type = 1, .quant = 511, .quant_bits = 9});
        for (int i = 0; i < 80 * 45; ++i) {
            if (i % 3 == 0)
                writer.Code("0 000100 1 11").Code(dquant).Code("011 10 011 10 011 10 011 10 11 11 0000000");
            else
                writer.Code("0 011 1011").Code(dquant).Code("1 1 0000011 11 1 000000 1 011111111111 1");
        }
        ASSERT_NO_FATAL_FAILURE(FeedExactly(&decoder, writer.Take(), 1280, 720));
    }
}
}  // namespace
