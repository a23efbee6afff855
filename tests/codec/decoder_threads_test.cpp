// Decoders on several link threads at once: the one-time preparation of the core, and decoding side by side.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "codec/c264/c264_log.h"
#include "codec/decoder.h"
#include "tests/support/h264_random.h"
#include "tests/support/h264_writer.h"
#include "tests/support/mpeg4_streams.h"

namespace
{
TEST(DecoderThreads, FirstDecodersOfTheProcessMayBeBuiltAtOnce)
{
    constexpr int THREADS = 6;
    const std::vector<Mpeg4Packet> packets =
        EncodeMpeg4({.width = 64, .height = 48, .frames = 5, .scene = ETestScene::Lively, .b4Mv = true});
    std::atomic<int> waiting{0};
    std::vector<TestPicture> last(THREADS);
    std::vector<std::thread> threads;
    for (int i = 0; i < THREADS; ++i) {
        threads.emplace_back([&, i] {
            // all threads meet here, so that the constructors run at the same moment
            ++waiting;
            while (waiting < THREADS)
                std::this_thread::yield();
            CMpeg4Decoder decoder(64, 48);
            const CodecFrame* frame = nullptr;
            for (const Mpeg4Packet& packet : packets)
                frame = decoder.Decode(packet.data(), static_cast<int32_t>(packet.size()));
            if (frame && frame->data[0]) last[static_cast<size_t>(i)] = CopyPicture(*frame);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    ASSERT_EQ(last[0].width, 64);
    for (const TestPicture& picture : last) {
        ASSERT_EQ(picture.width, 64);
        for (int plane = 0; plane < 3; ++plane)
            EXPECT_EQ(ComparePlane(picture, last[0], plane).largest, 0);
    }
}

std::vector<H264Packet> AsLinksHandOver(std::vector<H264Packet> packets)
{
    for (H264Packet& packet : packets)
        packet.resize(packet.size() + 8);
    return packets;
}

TEST(DecoderThreads, H264DecodersShareNothingButTheirTablesAndTheWarnings)
{
    constexpr size_t THREADS = 4;
    const H264Sequence sequence = MakeRandomH264({.seed = 3, .widthMbs = 4, .heightMbs = 3});
    const std::vector<H264Packet> packets = AsLinksHandOver(WriteH264(sequence, true));
    const std::vector<H264Packet> shortOnes =
        AsLinksHandOver(WriteH264(MakeRandomH264({.seed = 3, .widthMbs = 1, .heightMbs = 1}), true));
    std::atomic<size_t> waiting{0};
    std::vector<std::vector<TestPicture>> pictures(THREADS);
    std::vector<std::thread> threads;
    for (size_t i = 0; i < THREADS; ++i) {
        threads.emplace_back([&, i] {
            ++waiting;
            while (waiting < THREADS)
                std::this_thread::yield();
            CC264Decoder whole(sequence.Width(), sequence.Height());
            for (const H264Packet& packet : packets) {
                const CodecFrame* const frame =
                    whole.Decode(packet.data(), static_cast<int32_t>(packet.size()));
                if (frame && frame->data[0]) pictures[i].push_back(CopyPicture(*frame));
            }
            CC264Decoder warning(160, 160);  // of slices that end after their first macroblock
            for (const H264Packet& packet : shortOnes)
                warning.Decode(packet.data(), static_cast<int32_t>(packet.size()));
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    ASSERT_EQ(pictures[0].size(), packets.size());
    for (const std::vector<TestPicture>& found : pictures) {
        ASSERT_EQ(found.size(), packets.size());
        for (size_t k = 0; k < found.size(); ++k)
            EXPECT_EQ(DescribeDifference(found[k], pictures[0][k]), "") << "picture " << k;
    }
    int32_t count = 0;
    const std::atomic<const char*>* const ring = c264_log_get(&count);
    EXPECT_EQ(count, static_cast<int32_t>(C264_LOG_SIZE)) << "a slice warns for 99 macroblocks";
    for (int32_t slot = 0; slot < count; ++slot)
        EXPECT_NE(ring[slot].load(), nullptr) << slot;
}
}  // namespace
