// The H.264 decoder on damaged streams: null or a frame of the opened size, whatever comes, and after the next
// I picture everything as if nothing had been. The sanitizers watch.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "codec/codec_memory.h"
#include "tests/codec/c264/c264_fed_support.h"
#include "tests/support/h264_random.h"
#include "tests/support/h264_streams.h"
#include "tests/support/h264_writer.h"
#include "tests/support/stream_damage.h"

namespace
{
using Pictures = std::vector<TestPicture>;

Pictures DecodeWhole(const std::vector<H264Packet>& packets, int width, int height)
{
    CC264Decoder decoder(width, height);
    Pictures pictures;
    for (const H264Packet& packet : packets) {
        const CodecFrame* const frame = FeedAsLink(&decoder, packet);
        EXPECT_TRUE(frame && frame->data[0]);
        if (frame && frame->data[0]) pictures.push_back(CopyPicture(*frame));
    }
    return pictures;
}

class C264Damage : public ::testing::TestWithParam<StreamDamage>
{
  protected:
    /// Damages one packet in four. From each whole IDR picture up to the next damage every picture must be the
    /// expected one.
    void FeedDamaged(const H264Sequence& sequence, const std::vector<H264Packet>& packets,
                     const Pictures& expected)
    {
        CC264Decoder decoder(sequence.Width(), sequence.Height());
        bool whole = false;
        for (int round = 0; round < 3; ++round) {
            for (size_t i = 0; i < packets.size(); ++i) {
                H264Packet packet = packets[i];
                if (sequence.pictures[i].header.idr) whole = true;
                if (m_Random() % 4 == 0) {
                    GetParam().Do(&packet, &m_Random);
                    whole = false;
                }
                const CodecFrame* const frame = FeedAsLink(&decoder, packet);
                if (whole) {
                    ASSERT_TRUE(frame && frame->data[0]) << "picture " << i;
                    ASSERT_EQ(DescribeDifference(CopyPicture(*frame), expected[i]), "") << "picture " << i;
                    ++m_iWhole;
                } else if (frame && frame->data[0]) {
                    ASSERT_EQ(frame->width, sequence.Width());
                    ASSERT_EQ(frame->height, sequence.Height());
                    // every sample can be read
                    ASSERT_EQ(CopyPicture(*frame).plane[0].size(), expected[i].plane[0].size());
                    ++m_iDamaged;
                }
            }
        }
    }

    std::mt19937 m_Random{17};
    int m_iWhole = 0;
    int m_iDamaged = 0;
};

TEST_P(C264Damage, CostsNoMoreThanThePicturesUpToTheNextIntraPicture)
{
    const size_t before = codec_memory_in_use();
    for (uint32_t seed = 1; seed <= 150; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        const H264Sequence sequence = MakeRandomH264(H264ShapeOfSeed(seed));
        for (const bool cabac : {false, true}) {
            SCOPED_TRACE(cabac ? "CABAC" : "CAVLC");
            const std::vector<H264Packet> packets = WriteH264(sequence, cabac);
            const Pictures expected = DecodeWhole(packets, sequence.Width(), sequence.Height());
            ASSERT_FALSE(HasFailure());
            ASSERT_NO_FATAL_FAILURE(FeedDamaged(sequence, packets, expected));
        }
    }
    EXPECT_EQ(codec_memory_in_use(), before);
    EXPECT_GT(m_iWhole, 1000);
    EXPECT_GT(m_iDamaged, 500);
}

/// A slice that goes out of step must not lead out of the buffers of another size than the stream's either.
TEST_P(C264Damage, StaysInsideWhenTheOpenedSizeIsAnother)
{
    static const H264Size sizes[] = {{16, 16}, {33, 50}, {176, 16}, {8, 8}};
    for (uint32_t seed = 1; seed <= 60; ++seed) {
        const std::vector<H264Packet> packets = WriteH264(MakeRandomH264(H264ShapeOfSeed(seed)), seed % 2 == 0);
        for (const H264Size& size : sizes) {
            CC264Decoder decoder(size.width, size.height);
            for (H264Packet packet : packets) {
                if (m_Random() % 3 == 0) GetParam().Do(&packet, &m_Random);
                const CodecFrame* const frame = FeedAsLink(&decoder, packet);
                if (!frame || !frame->data[0]) continue;
                ASSERT_EQ(frame->width, size.width);
                ASSERT_EQ(frame->height, size.height);
                ASSERT_FALSE(CopyPicture(*frame).plane[0].empty());
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, C264Damage, ::testing::ValuesIn(StreamDamages()),
                         [](const auto& test) { return std::string(test.param.name); });
}  // namespace
