// The H.264 decoder against libavcodec on streams of random syntax, in both entropy coders.
#include <gtest/gtest.h>

#include <vector>

#include "tests/codec/c264/c264_fed_support.h"
#include "tests/support/h264_random.h"
#include "tests/support/h264_writer.h"

namespace
{
class C264Random : public ::testing::TestWithParam<uint32_t>
{
};

/// Fifty seeds from a hundredth one on.
TEST_P(C264Random, DecodesAsLibavcodecDoesInBothCoders)
{
    for (uint32_t seed = GetParam() * 100; seed < GetParam() * 100 + 50; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        const H264Sequence sequence = MakeRandomH264(H264ShapeOfSeed(seed));
        const std::vector<H264Packet> cavlc = WriteH264(sequence, false);
        const std::vector<H264Packet> cabac = WriteH264(sequence, true);
        const std::vector<TestPicture> expected = DecodeWithLibavcodec(cavlc);
        ASSERT_FALSE(HasFailure());
        ForEachC264Step([&] {
            {
                SCOPED_TRACE("CAVLC");
                ASSERT_NO_FATAL_FAILURE(ExpectPictures(sequence, cavlc, expected));
            }
            SCOPED_TRACE("CABAC");
            ASSERT_NO_FATAL_FAILURE(ExpectPictures(sequence, cabac, expected));
        });
        ASSERT_FALSE(HasFatalFailure());
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, C264Random, ::testing::Range(10u, 18u));
}  // namespace
