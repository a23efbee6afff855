// Sizes, memory and capability steps of the decoder.
#include <gtest/gtest.h>

#include "codec/codec.h"
#include "codec/codec_memory.h"
#include "codec/cpu.h"
#include "codec/decoder.h"
#include "codec/mpeg4_dec.h"
#include "tests/codec/mpeg4/mpeg4_decode_support.h"
#include "tests/support/kernel_walk.h"

namespace
{

TEST(Mpeg4DecodeSize, LastPartialMacroblocksAreNotDecoded)
{
    const std::vector<Mpeg4Packet> packets =
        EncodeMpeg4({.width = 16, .height = 32, .frames = 2, .gop = 1, .scene = ETestScene::Lively});
    CFed whole(16, 32);
    CFed partial(27, 45);
    for (const Mpeg4Packet& packet : packets) {
        ASSERT_GT(whole.Feed(packet), 0);
        ASSERT_GT(partial.Feed(packet), 0);
    }
    const TestPicture expected = whole.Picture();
    const TestPicture found = partial.Picture();
    EXPECT_EQ(found.width, 27);
    EXPECT_EQ(found.height, 45);
    EXPECT_EQ(partial.m_Frame.linesize[0], 27);
    EXPECT_EQ(partial.m_Frame.linesize[1], 13);
    for (int plane = 0; plane < 3; ++plane) {
        for (int y = 0; y < PlaneHeight(found, plane); ++y) {
            for (int x = 0; x < PlaneWidth(found, plane); ++x) {
                const bool inside = x < PlaneWidth(expected, plane) && y < PlaneHeight(expected, plane);
                // the rest stays black
                ASSERT_EQ(Sample(found, plane, x, y), inside       ? Sample(expected, plane, x, y)
                                                      : plane == 0 ? 16
                                                                   : 128)
                    << "plane " << plane << " at " << x << "," << y;
            }
        }
    }
}

TEST(Mpeg4DecodeSize, PictureSmallerThanAMacroblockHasNothingToDecode)
{
    CFed fed(8, 8);
    CMpeg4Writer writer;
    EXPECT_GT(fed.Feed(writer.Vol({}).Vop({}).Bits(0, 32).Take()), 0);
    EXPECT_EQ(Sample(fed.Picture(), 0, 3, 3), 16);
}

TEST(Mpeg4DecodeSize, DecoderWithoutASizeReadsHeadersAndHasNoPlanes)
{
    CFed fed(0, 0);
    CMpeg4Writer writer;
    EXPECT_GT(fed.Feed(writer.Vol({}).Vop({}).Bits(0, 32).Take()), 0);
    EXPECT_EQ(fed.m_Frame.data[0], nullptr);
    EXPECT_EQ(fed.m_Frame.width, 0);
}

TEST(Mpeg4DecodeMemory, OpenGivesTheCodeWhenMemoryIsShort)
{
    const size_t before = codec_memory_in_use();
    codec_init();
    codec_register_all();
    const CodecEntry* const entry = codec_find_decoder(CODEC_ID_MPEG4);
    CodecContext context = {};
    context.width = 704;
    context.height = 576;
    context.priv = codec_alloc(entry->priv_size);
    codec_fail_allocations_after(0);
    EXPECT_EQ(entry->open(&context), -9999);
    codec_fail_allocations_after(-1);
    codec_free(context.priv);
    context.priv = nullptr;

    // the n-th allocation fails: the record's, then the pictures'
    for (int granted = 0; granted < 2; ++granted) {
        codec_fail_allocations_after(granted);
        EXPECT_EQ(codec_open(&context, entry), -1);
        codec_fail_allocations_after(-1);
        EXPECT_EQ(context.entry, nullptr);
    }
    EXPECT_EQ(codec_open(&context, entry), 0);
    codec_close(&context);
    EXPECT_EQ(codec_memory_in_use(), before);
}

TEST(Mpeg4DecodeMemory, NoPictureTakesMemory)
{
    const std::vector<Mpeg4Packet> packets = EncodeMpeg4({.frames = 5, .scene = ETestScene::Lively});
    CMpeg4Decoder decoder(176, 144);
    const size_t opened = codec_memory_in_use();
    codec_fail_allocations_after(0);
    for (const Mpeg4Packet& packet : packets)
        EXPECT_NE(decoder.Decode(packet.data(), static_cast<int32_t>(packet.size())), nullptr);
    codec_fail_allocations_after(-1);
    EXPECT_EQ(codec_memory_in_use(), opened);
}

TEST(Mpeg4DecodeMemory, OpenDecoderOf704By576HoldsLessThanFourMegabytes)
{
    const size_t before = codec_memory_in_use();
    const CMpeg4Decoder decoder(704, 576);
    EXPECT_LT(codec_memory_in_use() - before + sizeof decoder, 4000000u);
}

TEST(Mpeg4DecodeSteps, AllCapabilityStepsGiveTheSamePictures)
{
    codec_init();
    for (const ETestScene scene : {ETestScene::Lively, ETestScene::Noise}) {
        const std::vector<Mpeg4Packet> packets = EncodeMpeg4({.frames = 8,
                                                              .gop = 4,
                                                              .quant = 3,
                                                              .scene = scene,
                                                              .b4Mv = true,
                                                              .acPred = true,
                                                              .varyQuant = true});
        std::vector<TestPicture> plain;
        for (const KernelStep& step : KernelSteps()) {
            if (!step.available) continue;
            SCOPED_TRACE(step.name);
            mpeg4_dsp_refill(step.caps);
            CFed fed(176, 144);
            for (size_t i = 0; i < packets.size(); ++i) {
                ASSERT_GT(fed.Feed(packets[i]), 0);
                if (step.caps == 0)
                    plain.push_back(fed.Picture());
                else
                    ExpectSamePicture(fed.Picture(), plain[i]);
            }
        }
    }
    mpeg4_dsp_refill(mpeg4_cpu_detect(nullptr));
}

}  // namespace
