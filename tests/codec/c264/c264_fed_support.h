#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <vector>

#include "codec/c264/c264_dsp.h"
#include "codec/cpu.h"
#include "codec/decoder.h"
#include "tests/support/h264_streams.h"
#include "tests/support/h264_syntax.h"
#include "tests/support/kernel_walk.h"

struct H264Size {
    int width = 0;
    int height = 0;
};

/// Feeds a packet as a link does: followed by eight zero bytes, which the length counts. The block ends there,
/// and doesn't begin at a round address.
inline const CodecFrame* FeedAsLink(CC264Decoder* decoder, const H264Packet& packet)
{
    constexpr size_t BEHIND = 8;
    const std::unique_ptr<uint8_t[]> block(new uint8_t[1 + packet.size() + BEHIND]());
    std::memcpy(block.get() + 1, packet.data(), packet.size());
    return decoder->Decode(block.get() + 1, static_cast<int32_t>(packet.size() + BEHIND));
}

/// Calls a test's body once for each capability step that the processor has.
template <class Body>
void ForEachC264Step(Body body)
{
    codec_init();
    c264_dsp_init();
    std::vector<KernelStep> steps = KernelSteps();
    steps.push_back({"BMI2", CODEC_STEP_BMI2, (CODEC_STEP_BMI2 & ~c264_cpu_detect()) == 0});  // has no kernels
    for (const KernelStep& step : steps) {
        if (!step.available) continue;
        SCOPED_TRACE(step.name);
        c264_dsp_refill(step.caps);
        body();
        if (testing::Test::HasFatalFailure()) break;
    }
    c264_dsp_refill(c264_cpu_detect());
}

inline std::vector<TestPicture> DecodeWithLibavcodec(const std::vector<H264Packet>& packets)
{
    CLavcH264Decoder decoder;
    std::vector<TestPicture> pictures;
    for (const H264Packet& packet : packets) {
        EXPECT_TRUE(decoder.Decode(packet)) << "picture " << pictures.size();
        pictures.push_back(decoder.Picture());
    }
    return pictures;
}

/// Feeds the packets of a sequence and expects these pictures of them.
inline void ExpectPictures(const H264Sequence& sequence, const std::vector<H264Packet>& packets,
                           const std::vector<TestPicture>& expected)
{
    CC264Decoder decoder(sequence.Width(), sequence.Height());
    for (size_t i = 0; i < packets.size(); ++i) {
        const CodecFrame* const frame = FeedAsLink(&decoder, packets[i]);
        ASSERT_TRUE(frame && frame->data[0]) << "picture " << i;
        ASSERT_EQ(frame->key_frame != 0, sequence.pictures[i].header.intra) << "picture " << i;
        ASSERT_EQ(DescribeDifference(CopyPicture(*frame), expected[i]), "") << "picture " << i;
    }
}
