// The MPEG-4 decoder against libavcodec's, on streams that libavcodec's encoder makes here. The oracle runs
// with its bit-exact simple inverse transform on one thread.
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <string>

#include "codec/decoder.h"
#include "codec/mpeg4_dec.h"
#include "tests/support/mpeg4_streams.h"

namespace
{
struct OracleCase {
    const char* name;
    Mpeg4StreamShape shape;
};

void PrintTo(const OracleCase& test, std::ostream* out)
{
    *out << test.name;
}

class Mpeg4Oracle : public ::testing::TestWithParam<OracleCase>
{
};

/// Decodes a stream with both decoders; every picture is compared in the planes below `planes`.
void ExpectSamePictures(const Mpeg4StreamShape& shape, bool standardChroma, int planes)
{
    const std::vector<Mpeg4Packet> packets = EncodeMpeg4(shape);
    ASSERT_EQ(packets.size(), static_cast<size_t>(shape.frames));
    CMpeg4Decoder ours(shape.width, shape.height);
    ours.SetStandardChroma(standardChroma);
    CLavcMpeg4Decoder theirs;
    for (size_t i = 0; i < packets.size(); ++i) {
        SCOPED_TRACE(testing::Message() << "picture " << i);
        const CodecFrame* const frame = ours.Decode(packets[i].data(), static_cast<int32_t>(packets[i].size()));
        ASSERT_TRUE(frame && frame->data[0]);
        ASSERT_TRUE(theirs.Decode(packets[i]));
        const bool key = i % static_cast<size_t>(shape.gop) == 0;
        EXPECT_EQ(frame->key_frame != 0, key);
        const TestPicture expected = theirs.Picture();
        const TestPicture found = CopyPicture(*frame);
        for (int plane = 0; plane < planes; ++plane) {
            const PictureDifference difference = ComparePlane(found, expected, plane);
            ASSERT_LE(difference.largest, 2) << "plane " << plane;
            ASSERT_GE(difference.psnr, key ? 50 : 45) << "plane " << plane;
        }
    }
}

TEST_P(Mpeg4Oracle, LumaIsTheirsByDefault)
{
    ExpectSamePictures(GetParam().shape, false, 1);
}

TEST_P(Mpeg4Oracle, AllPlanesAreTheirsWithStandardChroma)
{
    ExpectSamePictures(GetParam().shape, true, 3);
}

std::vector<OracleCase> Cases()
{
    using enum ETestScene;
    return {
        {"Still", {.frames = 30}},
        {"Lively", {.frames = 30, .scene = Lively}},
        {"LivelyFourVectors", {.frames = 30, .scene = Lively, .b4Mv = true}},
        {"LivelyAcPrediction", {.frames = 12, .gop = 3, .scene = Lively, .acPred = true}},
        {"LivelyAll", {.frames = 30, .scene = Lively, .b4Mv = true, .acPred = true, .varyQuant = true}},
        {"Quant2", {.frames = 8, .quant = 2, .scene = Lively, .b4Mv = true, .acPred = true}},
        {"Quant31", {.frames = 20, .quant = 31, .scene = Lively, .b4Mv = true, .acPred = true}},
        {"Quant12Varied",
         {.frames = 20, .gop = 5, .quant = 12, .scene = Lively, .acPred = true, .varyQuant = true}},
        {"NoiseQuant2", {.frames = 4, .gop = 2, .quant = 2, .scene = Noise, .b4Mv = true, .acPred = true}},
        {"NoiseQuant9", {.frames = 4, .gop = 2, .quant = 9, .scene = Noise, .b4Mv = true}},
        {"Cif", {.width = 352, .height = 288, .frames = 12, .scene = Lively, .b4Mv = true, .acPred = true}},
        {"D1", {.width = 704, .height = 576, .frames = 6, .quant = 6, .b4Mv = true, .acPred = true}},
        {"Hd", {.width = 1280, .height = 720, .frames = 4, .quant = 5, .scene = Lively, .b4Mv = true}},
        {"OneMacroblockWide", {.width = 16, .height = 144, .frames = 20, .scene = Lively, .b4Mv = true}},
        {"OneMacroblockHigh", {.width = 176, .height = 16, .frames = 20, .scene = Lively, .b4Mv = true}},
    };
}

INSTANTIATE_TEST_SUITE_P(Streams, Mpeg4Oracle, ::testing::ValuesIn(Cases()),
                         [](const auto& test) { return std::string(test.param.name); });

/// The comparison says something only about what the streams hold: all modes, and levels of every size.
TEST(Mpeg4OracleStreams, HoldEveryModeOfMacroblock)
{
    codec_init();
    codec_register_all();
    std::map<int32_t, int> modes;
    int predicted = 0;
    for (const OracleCase& test : Cases()) {
        CodecContext context = {};
        context.width = test.shape.width;
        context.height = test.shape.height;
        ASSERT_EQ(codec_open(&context, codec_find_decoder(CODEC_ID_MPEG4)), 0);
        const Mpeg4Decoder* const record = static_cast<const Mpeg4Decoder*>(context.priv);
        for (const Mpeg4Packet& packet : EncodeMpeg4(test.shape)) {
            CodecFrame frame = {};
            int32_t got = 0;
            ASSERT_GT(codec_decode(&context, &frame, &got, packet.data(), static_cast<int32_t>(packet.size())),
                      0);
            for (int i = 0; i < record->mb_across * record->mb_down; ++i) {
                const Mpeg4Macroblock& mb = record->macroblocks[i];
                ++modes[mb.mode];
                // levels in a block that isn't coded can only be predicted ones
                for (int n = 0; n < 6 && mpeg4_is_intra(mb.mode); ++n) {
                    const auto& store = record->stores[i].block[n];
                    const bool levels =
                        std::any_of(std::begin(store.row), std::end(store.row), [](int l) { return l; }) ||
                        std::any_of(std::begin(store.column), std::end(store.column), [](int l) { return l; });
                    predicted += levels && !(mb.cbp & 32 >> n);
                }
            }
        }
        codec_close(&context);
    }
    for (int32_t mode = MPEG4_MODE_NOT_CODED; mode <= MPEG4_MODE_INTRA_Q; ++mode)
        EXPECT_GT(modes[mode], 20) << mode;
    EXPECT_GT(predicted, 20);
}

/// A whole GOP: what is off must not grow from picture to picture.
TEST(Mpeg4OracleGop, StaysWithTheOracleForAGopOf250)
{
    ExpectSamePictures(
        {.width = 352, .height = 288, .frames = 251, .gop = 250, .quant = 5, .b4Mv = true, .acPred = true},
        true, 3);
}

TEST(Mpeg4OracleGop, StaysWithTheOracleForALivelyGopOf250)
{
    ExpectSamePictures({.width = 176,
                        .height = 144,
                        .frames = 251,
                        .gop = 250,
                        .quant = 3,
                        .scene = ETestScene::Lively,
                        .b4Mv = true,
                        .acPred = true},
                       true, 3);
}
}  // namespace
