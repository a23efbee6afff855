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
    const char* szName;
    Mpeg4StreamShape Shape;
};

void PrintTo(const OracleCase& test, std::ostream* pOut)
{
    *pOut << test.szName;
}

class Mpeg4Oracle : public ::testing::TestWithParam<OracleCase>
{
};

/// Decodes a stream with both decoders; every picture is compared in the planes below `iPlanes`.
void ExpectSamePictures(const Mpeg4StreamShape& shape, bool bStandardChroma, int iPlanes)
{
    const std::vector<Mpeg4Packet> packets = EncodeMpeg4(shape);
    ASSERT_EQ(packets.size(), static_cast<size_t>(shape.iFrames));
    CMpeg4Decoder ours(shape.iWidth, shape.iHeight);
    ours.SetStandardChroma(bStandardChroma);
    CLavcMpeg4Decoder theirs;
    for (size_t i = 0; i < packets.size(); ++i) {
        SCOPED_TRACE(testing::Message() << "picture " << i);
        const CodecFrame* const frame = ours.Decode(packets[i].data(), static_cast<int32_t>(packets[i].size()));
        ASSERT_TRUE(frame && frame->data[0]);
        ASSERT_TRUE(theirs.Decode(packets[i]));
        const bool key = i % static_cast<size_t>(shape.iGop) == 0;
        EXPECT_EQ(frame->key_frame != 0, key);
        const TestPicture expected = theirs.Picture();
        const TestPicture found = CopyPicture(*frame);
        for (int plane = 0; plane < iPlanes; ++plane) {
            const PictureDifference difference = ComparePlane(found, expected, plane);
            ASSERT_LE(difference.iLargest, 2) << "plane " << plane;
            ASSERT_GE(difference.dPsnr, key ? 50 : 45) << "plane " << plane;
        }
    }
}

TEST_P(Mpeg4Oracle, LumaIsTheirsByDefault)
{
    ExpectSamePictures(GetParam().Shape, false, 1);
}

TEST_P(Mpeg4Oracle, AllPlanesAreTheirsWithStandardChroma)
{
    ExpectSamePictures(GetParam().Shape, true, 3);
}

std::vector<OracleCase> Cases()
{
    using enum ETestScene;
    return {
        {"Still", {.iFrames = 30}},
        {"Lively", {.iFrames = 30, .Scene = Lively}},
        {"LivelyFourVectors", {.iFrames = 30, .Scene = Lively, .b4Mv = true}},
        {"LivelyAcPrediction", {.iFrames = 12, .iGop = 3, .Scene = Lively, .bAcPred = true}},
        {"LivelyAll", {.iFrames = 30, .Scene = Lively, .b4Mv = true, .bAcPred = true, .bVaryQuant = true}},
        {"Quant2", {.iFrames = 8, .iQuant = 2, .Scene = Lively, .b4Mv = true, .bAcPred = true}},
        {"Quant31", {.iFrames = 20, .iQuant = 31, .Scene = Lively, .b4Mv = true, .bAcPred = true}},
        {"Quant12Varied",
         {.iFrames = 20, .iGop = 5, .iQuant = 12, .Scene = Lively, .bAcPred = true, .bVaryQuant = true}},
        {"NoiseQuant2", {.iFrames = 4, .iGop = 2, .iQuant = 2, .Scene = Noise, .b4Mv = true, .bAcPred = true}},
        {"NoiseQuant9", {.iFrames = 4, .iGop = 2, .iQuant = 9, .Scene = Noise, .b4Mv = true}},
        {"Cif", {.iWidth = 352, .iHeight = 288, .iFrames = 12, .Scene = Lively, .b4Mv = true, .bAcPred = true}},
        {"D1", {.iWidth = 704, .iHeight = 576, .iFrames = 6, .iQuant = 6, .b4Mv = true, .bAcPred = true}},
        {"Hd", {.iWidth = 1280, .iHeight = 720, .iFrames = 4, .iQuant = 5, .Scene = Lively, .b4Mv = true}},
        {"OneMacroblockWide", {.iWidth = 16, .iHeight = 144, .iFrames = 20, .Scene = Lively, .b4Mv = true}},
        {"OneMacroblockHigh", {.iWidth = 176, .iHeight = 16, .iFrames = 20, .Scene = Lively, .b4Mv = true}},
    };
}

INSTANTIATE_TEST_SUITE_P(Streams, Mpeg4Oracle, ::testing::ValuesIn(Cases()),
                         [](const auto& test) { return std::string(test.param.szName); });

/// The comparison says something only about what the streams hold: all modes, and levels of every size.
TEST(Mpeg4OracleStreams, HoldEveryModeOfMacroblock)
{
    codec_init();
    codec_register_all();
    std::map<int32_t, int> modes;
    int predicted = 0;
    for (const OracleCase& test : Cases()) {
        CodecContext context = {};
        context.width = test.Shape.iWidth;
        context.height = test.Shape.iHeight;
        ASSERT_EQ(codec_open(&context, codec_find_decoder(CODEC_ID_MPEG4)), 0);
        const Mpeg4Decoder* const record = static_cast<const Mpeg4Decoder*>(context.priv);
        for (const Mpeg4Packet& packet : EncodeMpeg4(test.Shape)) {
            CodecFrame frame = {};
            int32_t got = 0;
            ASSERT_GT(codec_decode(&context, &frame, &got, packet.data(), static_cast<int32_t>(packet.size())),
                      0);
            for (int i = 0; i < record->mb_across * record->mb_down; ++i) {
                const Mpeg4Macroblock& mb = record->macroblocks[i];
                ++modes[mb.mode];
                // levels in a block that isn't coded can only be predicted ones
                for (int n = 0; n < 6 && mpeg4_is_intra(mb.mode); ++n) {
                    const auto& store = mb.store[n];
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
    ExpectSamePictures({.iWidth = 352,
                        .iHeight = 288,
                        .iFrames = 251,
                        .iGop = 250,
                        .iQuant = 5,
                        .b4Mv = true,
                        .bAcPred = true},
                       true, 3);
}

TEST(Mpeg4OracleGop, StaysWithTheOracleForALivelyGopOf250)
{
    ExpectSamePictures({.iWidth = 176,
                        .iHeight = 144,
                        .iFrames = 251,
                        .iGop = 250,
                        .iQuant = 3,
                        .Scene = ETestScene::Lively,
                        .b4Mv = true,
                        .bAcPred = true},
                       true, 3);
}
}  // namespace
