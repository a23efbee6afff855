// Decoders on several link threads at once: the one-time preparation of the core, and decoding side by side.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "codec/decoder.h"
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
}  // namespace
