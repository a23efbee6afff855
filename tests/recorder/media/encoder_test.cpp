// What the encoder makes stays inside what the smallest clients decode, and doesn't drift in them.

#include "recorder/media/Mpeg4Encoder.h"

#include <gmock/gmock.h>

#include <cmath>

#include "recorder/media/Mpeg4Headers.h"
#include "recorder/scene/Scene.h"
#include "tests/recorder/media_support.h"

namespace
{

using namespace recorder;
using testing::ElementsAre;

SceneSetup SmallScene()
{
    SceneSetup setup;
    setup.width = 352;
    setup.height = 288;
    return setup;
}

// A picture of fine texture that slides by half samples: every macroblock is interpolated.
Picture Sliding(int number)
{
    Picture picture;
    picture.Resize(176, 144);
    for (int y = 0; y < 144; ++y)
        for (int x = 0; x < 176; ++x) {
            const double u = x + number * 0.5;
            const double v = y + number * 0.5;
            const double texture = 26 * std::sin(u * 0.9) * std::cos(v * 0.7) +
                                   18 * std::sin(u * 0.31 + v * 1.1) + 20 * std::sin(u * 0.11) +
                                   16 * std::cos(v * 0.13);
            picture.y[static_cast<size_t>(y * 176 + x)] = static_cast<uint8_t>(std::lround(128 + texture));
        }
    std::fill(picture.u.begin(), picture.u.end(), uint8_t{100});
    std::fill(picture.v.begin(), picture.v.end(), uint8_t{150});
    return picture;
}

class EncoderTest : public testing::TestWithParam<EMotion>
{
};

TEST_P(EncoderTest, HeadersStayWithinTheLimits)
{
    Mpeg4Encoder encoder(352, 288, 25, GetParam());
    ScenePainter painter(SmallScene(), 1);
    Picture picture;
    int resolution = 0;
    int keys = 0;
    for (int i = 0; i < 40; ++i) {
        painter.Draw(i * 3, picture);  // more motion than usual
        const Coded coded = encoder.Encode(picture, i, i % 12 == 0, 5);
        const auto headers = ReadHeaders(coded.bytes, resolution);
        ASSERT_TRUE(headers.vop) << "picture " << i;
        EXPECT_EQ(headers.vops, 1);
        EXPECT_TRUE(headers.vop->vop_coded);
        EXPECT_EQ(headers.vop->intra_dc_vlc_thr, 0);
        EXPECT_EQ(headers.vop->vop_quant, coded.quant);
        EXPECT_EQ(coded.key, i % 12 == 0) << "picture " << i;
        if (coded.key) {
            ++keys;
            ASSERT_TRUE(headers.vol) << "a stream can be joined at every key picture";
            EXPECT_EQ(headers.vop->vop_coding_type, EVop::I);
            const Vol& vol = *headers.vol;
            resolution = vol.vop_time_increment_resolution;
            EXPECT_EQ(vol.video_object_type_indication, 1) << "Simple";
            EXPECT_EQ(vol.width, 352);
            EXPECT_EQ(vol.height, 288);
            EXPECT_EQ(vol.aspect_ratio_info, 1);
            EXPECT_FALSE(vol.vbv_parameters);
            EXPECT_EQ(vol.video_object_layer_shape, 0);
            EXPECT_FALSE(vol.interlaced);
            EXPECT_TRUE(vol.obmc_disable);
            EXPECT_EQ(vol.sprite_enable, 0);
            EXPECT_FALSE(vol.not_8_bit);
            EXPECT_FALSE(vol.quant_type) << "H.263 quantisation";
            EXPECT_TRUE(vol.complexity_estimation_disable);
            EXPECT_TRUE(vol.resync_marker_disable);
            EXPECT_FALSE(vol.data_partitioned);
            EXPECT_FALSE(vol.scalability);
            EXPECT_GT(resolution, 0);
            EXPECT_THAT(headers.start_codes, ElementsAre(0xB0, 0xB5, 0x00, 0x20, 0xB3, 0xB6));
        } else {
            EXPECT_EQ(headers.vop->vop_coding_type, EVop::P);
            EXPECT_FALSE(headers.vop->vop_rounding_type) << "picture " << i;
            EXPECT_EQ(headers.vop->vop_fcode_forward, 1) << "picture " << i;
            EXPECT_FALSE(headers.vol);
        }
    }
    EXPECT_EQ(keys, 4);
}

// A client takes the rounding type for 0 whatever is written. What it shows must stay what was meant, to the
// end of a long group: when the bit alone is rewritten, this one falls from 39 to 23 dB.
TEST(EncoderMotionTest, LongGroupsDoNotDrift)
{
    Mpeg4Encoder encoder(176, 144, 25, EMotion::Half);
    CDecoder decoder;
    double early = 0;
    double late = 0;
    for (int i = 0; i < 120; ++i) {
        const Picture picture = Sliding(i);
        const double psnr = LumaPsnr(picture, decoder.Decode(encoder.Encode(picture, i, i == 0, 4).bytes));
        if (i >= 5 && i < 15) early += psnr / 10;
        if (i >= 110) late += psnr / 10;
    }
    EXPECT_GT(early, 36);
    EXPECT_GT(late, early - 1);
}

INSTANTIATE_TEST_SUITE_P(Motions, EncoderTest, testing::Values(EMotion::Half, EMotion::None),
                         [](const auto& row) {
                             return std::string(row.param == EMotion::Half ? "Half" : "None");
                         });

// With zero vectors nothing is interpolated, so that the rounding type can't matter: the stream with the bit
// set to 1 decodes to the same samples.
TEST(EncoderMotionTest, WithoutMotionTheRoundingTypeIsFree)
{
    Mpeg4Encoder encoder(176, 144, 25, EMotion::None);
    CDecoder plain;
    CDecoder rounded;
    for (int i = 0; i < 20; ++i) {
        Coded coded = encoder.Encode(Sliding(i), i, i == 0, 4);
        const Picture expected = plain.Decode(coded.bytes);
        const auto headers = ReadHeaders(coded.bytes, 200);
        if (!coded.key)
            coded.bytes[headers.vop->rounding_bit / 8] |=
                static_cast<uint8_t>(0x80U >> headers.vop->rounding_bit % 8);
        EXPECT_EQ(rounded.Decode(coded.bytes).y, expected.y) << "picture " << i;
    }
}

TEST(EncoderMotionTest, HalfPelMotionIsCoded)
{
    Mpeg4Encoder encoder(176, 144, 25, EMotion::Half);
    Mpeg4Encoder without(176, 144, 25, EMotion::None);
    size_t withMotion = 0;
    size_t withoutMotion = 0;
    for (int i = 0; i < 10; ++i) {
        withMotion += encoder.Encode(Sliding(i), i, i == 0, 4).bytes.size();
        withoutMotion += without.Encode(Sliding(i), i, i == 0, 4).bytes.size();
    }
    EXPECT_LT(withMotion * 2, withoutMotion);
}

TEST(EncoderMotionTest, AKeyPictureMayReplaceTheLatest)
{
    Mpeg4Encoder encoder(176, 144, 25, EMotion::Half);
    CDecoder decoder;
    encoder.Encode(Sliding(0), 0, true, 2);
    const Coded again = encoder.Encode(Sliding(0), 0, true, 20);
    EXPECT_TRUE(again.key);
    decoder.Decode(again.bytes);
    const Coded next = encoder.Encode(Sliding(1), 1, false, 3);
    EXPECT_FALSE(next.key);
    EXPECT_GT(LumaPsnr(Sliding(1), decoder.Decode(next.bytes)), 38) << "it builds on the one that was sent";
}

TEST(HeadersTest, DamagedBytesAreReadWithoutHarm)
{
    Mpeg4Encoder encoder(176, 144, 25, EMotion::Half);
    const auto good = encoder.Encode(Sliding(0), 0, true, 8).bytes;
    for (size_t bytes = 0; bytes < 60; ++bytes)
        ReadHeaders(std::span(good).first(bytes), 0);
    for (size_t at = 0; at < 40; ++at) {
        auto bad = good;
        bad[at] ^= 0xFF;
        ReadHeaders(bad, 1);
    }
    EXPECT_FALSE(ReadHeaders({}, 0).vop);
}

}  // namespace
