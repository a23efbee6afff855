#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "codec/convert/convert.h"
#include "codec/cpu.h"
#include "tests/codec/convert/convert_support.h"

namespace
{

// A link thread shows pictures while another thread opens the first decoder of the other kind, which chooses
// the shared kernels again.
TEST(ConvertThreads, KernelsMayBeChosenWhileOtherThreadsConvert)
{
    CNoisePicture picture(64, 16);
    CTargetPicture expected(35, 256, 16);
    ASSERT_EQ(ConvertFrame(expected.Target(), picture.Frame(), 64, 16, false), 0);

    std::vector<std::thread> links;
    std::vector<int> right(3, 0);
    for (int& count : right) {
        links.emplace_back([&count, &expected, frame = picture.Frame()] {
            for (int i = 0; i < 200; ++i) {
                CTargetPicture target(35, 256, 16);
                ConvertFrame(target.Target(), frame, 64, 16, false);
                count += HashBytes(target.First(4096)) == HashBytes(expected.First(4096)) ? 1 : 0;
            }
        });
    }
    const std::uint32_t caps = c264_cpu_detect();
    for (int i = 0; i < 200; ++i)
        convert_dsp_init(i % 2 == 0 ? caps : CODEC_STEP_PLAIN);
    for (std::thread& link : links)
        link.join();
    for (const int count : right)
        EXPECT_EQ(count, 200);
}

}  // namespace
