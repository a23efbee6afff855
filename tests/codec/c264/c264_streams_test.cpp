// The random streams that the H.264 decoder is tested with, held against libavcodec: what it reads from them is
// what was written, and both entropy coders carry the same pictures.
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <set>
#include <vector>

#include "tests/support/h264_random.h"
#include "tests/support/h264_streams.h"
#include "tests/support/h264_tables.h"
#include "tests/support/h264_writer.h"

namespace
{
constexpr uint32_t SEEDS = 60;

H264RandomShape ShapeOf(uint32_t seed)
{
    return {.seed = seed,
            .width_mbs = 1 + static_cast<int>(seed * 7 % 9),
            .height_mbs = 1 + static_cast<int>(seed * 5 % 8),
            .pictures = 6,
            .gop = 3};
}

void ExpectQuantisers(const CLavcH264Decoder& decoder, const H264Picture& picture)
{
    const std::vector<int> found = decoder.Quantisers();
    ASSERT_EQ(found.size(), picture.mbs.size());
    for (size_t i = 0; i < found.size(); ++i)
        ASSERT_EQ(found[i], picture.mbs[i].qp) << "macroblock " << i;
}

/// The vectors that libavcodec tells, at the blocks that it tells them for.
void ExpectVectors(const CLavcH264Decoder& decoder, const H264Parameters& parameters,
                   const H264Picture& picture)
{
    size_t told = 0;
    for (const CLavcH264Decoder::Motion& motion : decoder.Motions()) {
        const size_t mb = static_cast<size_t>(motion.y / 16 * parameters.width_mbs + motion.x / 16);
        ASSERT_LT(mb, picture.mbs.size());
        const size_t block = static_cast<size_t>(motion.y % 16 / 4 * 4 + motion.x % 16 / 4);
        const H264Vector& expected = picture.mbs[mb].mv[block];
        ASSERT_FALSE(picture.mbs[mb].IsIntra()) << "macroblock " << mb;
        ASSERT_EQ(motion.mv_x, expected.x) << "macroblock " << mb << " block " << block;
        ASSERT_EQ(motion.mv_y, expected.y) << "macroblock " << mb << " block " << block;
        ++told;
    }
    size_t inter = 0;
    for (const H264Macroblock& mb : picture.mbs)
        inter += mb.IsIntra() ? 0 : 1;
    ASSERT_GE(told, inter);
}

TEST(C264RandomStreams, LibavcodecReadsBothCodersAsTheyWereWritten)
{
    for (uint32_t seed = 1; seed <= SEEDS; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        const H264Sequence sequence = MakeRandomH264(ShapeOf(seed));
        const std::vector<H264Packet> cavlc = WriteH264(sequence, false);
        const std::vector<H264Packet> cabac = WriteH264(sequence, true);
        CLavcH264Decoder cavlc_decoder;
        CLavcH264Decoder cabac_decoder;
        for (size_t i = 0; i < cavlc.size(); ++i) {
            SCOPED_TRACE(testing::Message() << "picture " << i);
            ASSERT_TRUE(cavlc_decoder.Decode(cavlc[i]));
            ASSERT_TRUE(cabac_decoder.Decode(cabac[i]));
            for (const CLavcH264Decoder* decoder : {&cavlc_decoder, &cabac_decoder}) {
                SCOPED_TRACE(decoder == &cavlc_decoder ? "CAVLC" : "CABAC");
                ASSERT_NO_FATAL_FAILURE(ExpectQuantisers(*decoder, sequence.pictures[i]));
                ASSERT_NO_FATAL_FAILURE(ExpectVectors(*decoder, sequence.parameters, sequence.pictures[i]));
            }
            const TestPicture picture = cavlc_decoder.Picture();
            ASSERT_EQ(picture.iWidth, sequence.Width());
            ASSERT_EQ(picture.iHeight, sequence.Height());
            ASSERT_EQ(DescribeDifference(cabac_decoder.Picture(), picture), "");
        }
    }
}

}  // namespace
