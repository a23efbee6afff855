// The streams of tests/data/mpeg4, which scripts/make-test-streams wrote, against the sums of ffmpeg's decode
// that stand beside them: bit for bit, at every capability step. If a stream was made again, its sums were too.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "codec/cpu.h"
#include "codec/decoder.h"
#include "codec/mpeg4/mpeg4_dsp.h"
#include "tests/support/kernel_walk.h"
#include "tests/support/mpeg4_streams.h"
#include "tests/support/test_places.h"

namespace
{
struct DataStream {
    const char* name;
    int width;
    int height;
};

void PrintTo(const DataStream& stream, std::ostream* out)
{
    *out << stream.name;
}

class Mpeg4Data : public ::testing::TestWithParam<DataStream>
{
};

TEST_P(Mpeg4Data, DecodesToTheSumsBesideIt)
{
    const DataStream& stream = GetParam();
    const std::string base = SourcePath("tests/data/mpeg4/") + stream.name;
    const std::vector<Mpeg4Packet> packets = ReadMpeg4Stream(base + ".m4v");
    const std::vector<uint32_t> sums = ReadSums(base + ".framecrc");
    ASSERT_EQ(packets.size(), sums.size());
    ASSERT_FALSE(packets.empty());
    codec_init();
    for (const KernelStep& step : KernelSteps()) {
        if (!step.available) continue;
        SCOPED_TRACE(step.name);
        mpeg4_dsp_refill(step.caps);
        CMpeg4Decoder decoder(stream.width, stream.height);
        decoder.SetStandardChroma(true);
        for (size_t i = 0; i < packets.size(); ++i) {
            const CodecFrame* const frame =
                decoder.Decode(packets[i].data(), static_cast<int32_t>(packets[i].size()));
            ASSERT_TRUE(frame && frame->data[0]) << "picture " << i;
            EXPECT_EQ(SumOf(CopyPicture(*frame)), sums[i]) << "picture " << i;
        }
    }
    mpeg4_dsp_refill(mpeg4_cpu_detect(nullptr));
}

INSTANTIATE_TEST_SUITE_P(Streams, Mpeg4Data,
                         ::testing::Values(DataStream{"qcif_q2_4mv_ac", 176, 144},
                                           DataStream{"qcif_q8", 176, 144}, DataStream{"qcif_q31_ac", 176, 144},
                                           DataStream{"qcif_varied", 176, 144},
                                           DataStream{"cif_q5_4mv", 352, 288},
                                           DataStream{"d1_q12_ac", 704, 576},
                                           DataStream{"hd_q16_4mv_ac", 1280, 720}),
                         [](const auto& test) { return std::string(test.param.name); });
}  // namespace
