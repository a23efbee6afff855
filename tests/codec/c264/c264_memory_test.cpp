// What memory the H.264 decoder takes: all of it when it is opened.
#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "codec/codec_memory.h"
#include "tests/codec/c264/c264_fed_support.h"
#include "tests/codec/c264/c264_handmade_support.h"
#include "tests/support/h264_random.h"
#include "tests/support/h264_streams.h"
#include "tests/support/h264_writer.h"

namespace
{
/// Refuses memory for as long as it stands.
class CNoMemory
{
  public:
    CNoMemory() { codec_fail_allocations_after(0); }
    ~CNoMemory() { codec_fail_allocations_after(-1); }
    CNoMemory(const CNoMemory&) = delete;
    CNoMemory& operator=(const CNoMemory&) = delete;
};

TEST(C264Memory, NoPictureTakesMemoryInEitherCoder)
{
    const H264Sequence sequence = MakeRandomH264(H264ShapeOfSeed(1));
    ASSERT_GT(sequence.pictures.size(), 1U);
    for (const bool cabac : {false, true}) {
        SCOPED_TRACE(cabac ? "CABAC" : "CAVLC");
        const std::vector<H264Packet> packets = WriteH264(sequence, cabac);
        CC264Decoder decoder(sequence.Width(), sequence.Height());
        const size_t held = codec_memory_in_use();
        const CNoMemory noMemory;
        for (const H264Packet& packet : packets) {
            const CodecFrame* const frame = FeedAsLink(&decoder, packet);
            ASSERT_TRUE(frame && frame->data[0]);
            EXPECT_EQ(codec_memory_in_use(), held);
        }
    }
}

TEST(C264Memory, OpenedDecoderOf1080LinesHoldsUnder24MBAndDecodingTakesNoMore)
{
    const size_t before = codec_memory_in_use();
    {
        C264Fed fed(1920, 1088);
        const size_t held = codec_memory_in_use() - before;
        EXPECT_LT(held, size_t{24} * 1000 * 1000);
        fed.FeedSlice(C264Flats({1, 0, 0, 0}));
        EXPECT_EQ(codec_memory_in_use() - before, held);
    }
    EXPECT_EQ(codec_memory_in_use(), before);
}

TEST(C264Memory, OpenWithoutMemoryFailsAndGivesAllBack)
{
    const size_t before = codec_memory_in_use();
    for (int granted = 0; granted < 2; ++granted) {
        codec_fail_allocations_after(granted);
        EXPECT_EQ(c264_open(32, 32, 0), nullptr) << granted;
        codec_fail_allocations_after(-1);
        EXPECT_EQ(codec_memory_in_use(), before) << granted;
    }
}

TEST(C264Memory, SizesThatNoPictureHasAreRefusedBeforeAnyIsTaken)
{
    constexpr int32_t MOST = std::numeric_limits<int32_t>::max();
    const codec_report_fn report = codec_set_report([](const char*) {});
    const size_t before = codec_memory_in_use();
    for (const H264Size& size : {H264Size{0, MOST}, {MOST, 0}, {MOST, MOST}, {0, MOST / 2}, {0x400000, 1}}) {
        EXPECT_EQ(c264_open(size.width, size.height, 0), nullptr) << size.width << "x" << size.height;
        EXPECT_EQ(codec_memory_in_use(), before);
    }
    // the wrapper says so with its first picture
    CC264Decoder decoder(0, MOST);
    const uint8_t data[8] = {0, 0, 0, 1, 0x67, 1, 2, 3};
    EXPECT_EQ(decoder.Decode(data, sizeof data), nullptr);
    codec_set_report(report);
}
}  // namespace
