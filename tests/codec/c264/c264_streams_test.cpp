// The random streams that the H.264 decoder is tested with, held against libavcodec: what it reads from them is
// what was written, and both entropy coders carry the same pictures.
#include <gtest/gtest.h>

#include <bit>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "tests/support/h264_random.h"
#include "tests/support/h264_slice_data.h"
#include "tests/support/h264_streams.h"
#include "tests/support/h264_writer.h"

namespace
{
constexpr uint32_t SEEDS = 100;

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
        const size_t mb = static_cast<size_t>(motion.y / 16 * parameters.widthMbs + motion.x / 16);
        ASSERT_LT(mb, picture.mbs.size());
        const size_t block = static_cast<size_t>(motion.y % 16 / 4 * 4 + motion.x % 16 / 4);
        const H264Vector& expected = picture.mbs[mb].mv[block];
        ASSERT_FALSE(picture.mbs[mb].IsIntra()) << "macroblock " << mb;
        ASSERT_EQ(motion.mvX, expected.x) << "macroblock " << mb << " block " << block;
        ASSERT_EQ(motion.mvY, expected.y) << "macroblock " << mb << " block " << block;
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
        const H264Sequence sequence = MakeRandomH264(H264ShapeOfSeed(seed));
        const std::vector<H264Packet> cavlc = WriteH264(sequence, false);
        const std::vector<H264Packet> cabac = WriteH264(sequence, true);
        CLavcH264Decoder cavlcDecoder;
        CLavcH264Decoder cabacDecoder;
        for (size_t i = 0; i < cavlc.size(); ++i) {
            SCOPED_TRACE(testing::Message() << "picture " << i);
            ASSERT_TRUE(cavlcDecoder.Decode(cavlc[i]));
            ASSERT_TRUE(cabacDecoder.Decode(cabac[i]));
            for (const CLavcH264Decoder* decoder : {&cavlcDecoder, &cabacDecoder}) {
                SCOPED_TRACE(decoder == &cavlcDecoder ? "CAVLC" : "CABAC");
                ASSERT_NO_FATAL_FAILURE(ExpectQuantisers(*decoder, sequence.pictures[i]));
                ASSERT_NO_FATAL_FAILURE(ExpectVectors(*decoder, sequence.parameters, sequence.pictures[i]));
            }
            const TestPicture picture = cavlcDecoder.Picture();
            ASSERT_EQ(picture.width, sequence.Width());
            ASSERT_EQ(picture.height, sequence.Height());
            ASSERT_EQ(DescribeDifference(cabacDecoder.Picture(), picture), "");
        }
    }
}

/// What the streams hold, counted.
struct Counts {
    std::map<std::string, int> seen;
    void Add(const char* what, int value) { ++seen[std::string(what) + " " + std::to_string(value)]; }
    int Of(const char* what, int value) const
    {
        const auto found = seen.find(std::string(what) + " " + std::to_string(value));
        return found == seen.end() ? 0 : found->second;
    }
};

void Count(const H264Picture& picture, Counts* counts)
{
    const H264SliceHeader& header = picture.header;
    counts->Add("deblocking", header.disable_deblocking_filter_idc);
    counts->Add("alpha offset", header.slice_alpha_c0_offset_div2);
    counts->Add("beta offset", header.slice_beta_offset_div2);
    counts->Add(header.intra ? "cabac_init_idc of I" : "cabac_init_idc", header.cabac_init_idc);
    for (const H264Macroblock& mb : picture.mbs) {
        counts->Add(header.intra ? "type in I" : "type in P", static_cast<int>(mb.type));
        counts->Add("qp", mb.qp);
        counts->Add("qp delta", mb.mb_qp_delta);
        if (mb.type == EH264Mb::P8x8) {
            counts->Add("ref0", mb.ref0);
            for (const int sub : mb.sub_mb_type)
                counts->Add("sub type", sub);
        }
        if (mb.type == EH264Mb::I16x16) counts->Add("intra 16x16", static_cast<int>(H264IntraMbType(mb)));
        if (mb.IsIntra()) counts->Add("chroma mode", mb.intra_chroma_mode);
        if (mb.type == EH264Mb::I4x4) {
            for (const int mode : mb.intra4x4_mode)
                counts->Add("intra 4x4", mode);
        }
        const int cbp = mb.cbp_luma | mb.cbp_chroma << 4;
        if (mb.type != EH264Mb::I16x16 && mb.type != EH264Mb::Skip)
            counts->Add(mb.IsIntra() ? "intra cbp" : "cbp", cbp);
        H264ForEachResidual(mb, [&](EH264Block, int, int, const int* levels, int count) {
            for (int k = 0; k < count; ++k)
                counts->Add("level bits", std::bit_width(static_cast<unsigned>(std::abs(levels[k]))));
        });
        H264ForEachPartition(mb, [&](int x, int y, int, int) {
            const H264Vector& mv = mb.mv[static_cast<size_t>(y * 4 + x)];
            counts->Add("x fraction", mv.x & 3);
            counts->Add("y fraction", mv.y & 3);
            counts->Add("x bits", std::bit_width(static_cast<unsigned>(std::abs(mv.x))));
            counts->Add("y bits", std::bit_width(static_cast<unsigned>(std::abs(mv.y))));
        });
    }
}

void ExpectAll(const Counts& counts, const char* what, int low, int high)
{
    for (int value = low; value <= high; ++value)
        EXPECT_GE(counts.Of(what, value), 3) << what << " " << value;
}

/// The comparison says something only about what the streams hold.
TEST(C264RandomStreams, HoldEveryElementOfTheSyntax)
{
    Counts counts;
    for (uint32_t seed = 1; seed <= 500; ++seed) {
        const H264Sequence sequence = MakeRandomH264(H264ShapeOfSeed(seed));
        counts.Add("chroma offset", sequence.parameters.chroma_qp_index_offset);
        counts.Add("poc type", sequence.parameters.pic_order_cnt_type);
        counts.Add("profile", sequence.parameters.profile_idc);
        for (const H264Picture& picture : sequence.pictures)
            Count(picture, &counts);
    }
    ExpectAll(counts, "deblocking", 0, 2);
    ExpectAll(counts, "alpha offset", -6, 6);
    ExpectAll(counts, "beta offset", -6, 6);
    ExpectAll(counts, "cabac_init_idc", 0, 2);
    ExpectAll(counts, "type in P", static_cast<int>(EH264Mb::Skip), static_cast<int>(EH264Mb::I16x16));
    ExpectAll(counts, "type in I", static_cast<int>(EH264Mb::I4x4), static_cast<int>(EH264Mb::I16x16));
    ExpectAll(counts, "qp", 0, 51);
    ExpectAll(counts, "qp delta", -26, 25);
    ExpectAll(counts, "ref0", 0, 1);
    ExpectAll(counts, "sub type", 0, 3);
    ExpectAll(counts, "intra 16x16", 1, 24);
    ExpectAll(counts, "chroma mode", 0, 3);
    ExpectAll(counts, "intra 4x4", 0, 8);
    ExpectAll(counts, "intra cbp", 0, 47);
    ExpectAll(counts, "cbp", 0, 47);
    ExpectAll(counts, "level bits", 0, 12);
    ExpectAll(counts, "x fraction", 0, 3);
    ExpectAll(counts, "y fraction", 0, 3);
    ExpectAll(counts, "x bits", 0, 13);
    ExpectAll(counts, "y bits", 0, 11);
    ExpectAll(counts, "chroma offset", -12, 12);
    for (const int type : {0, 2})
        EXPECT_GE(counts.Of("poc type", type), 3);
    for (const int profile : {66, 77, 100})
        EXPECT_GE(counts.Of("profile", profile), 3);
}

/// A wrong start of a context, or a wrong code, would be noticed only where it is used.
TEST(C264RandomStreams, UseEveryContextInEveryInitialisation)
{
    H264ContextUses uses[4] = {};
    for (uint32_t seed = 1; seed <= 500; ++seed) {
        H264Sequence sequence = MakeRandomH264(H264ShapeOfSeed(seed));
        sequence.parameters.entropy_coding_mode = true;
        for (const H264Picture& picture : sequence.pictures) {
            CH264Bits bits;
            const size_t start = picture.header.intra ? 3 : static_cast<size_t>(picture.header.cabac_init_idc);
            WriteCabacSliceData(sequence.parameters, picture, &bits, &uses[start]);
        }
    }
    for (size_t start = 0; start < 4; ++start) {
        for (size_t context = 3; context < 276; ++context) {
            // mb_type of I slices, and what only P slices have
            const bool onlyIntra = context < 11;
            const bool onlyInter = context >= 11 && context < 60;
            // B slices, ref_idx, mb_field
            if ((context >= 24 && context < 40) || (context >= 54 && context < 60) ||
                (context >= 70 && context < 73))
                continue;
            if (start == 3 ? onlyInter : onlyIntra) continue;
            EXPECT_GE(uses[start][context], 3u) << "context " << context << " start " << start;
        }
    }
}

/// A coded picture must not outgrow what a conforming one may have: 3200 bits a macroblock.
TEST(C264RandomStreams, StayBelowTheBitsThatAMacroblockMayTake)
{
    for (uint32_t seed = 1; seed <= 500; ++seed) {
        const H264Sequence sequence = MakeRandomH264(H264ShapeOfSeed(seed));
        for (const bool cabac : {false, true}) {
            for (const H264Packet& packet : WriteH264(sequence, cabac))
                ASSERT_LE(packet.size(), 200 + sequence.pictures[0].mbs.size() * 400) << "seed " << seed;
        }
    }
}
}  // namespace
