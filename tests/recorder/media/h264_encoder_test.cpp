#include "recorder/media/H264Encoder.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <random>

#include "recorder/h264/Subset.h"
#include "recorder/media/CodecStream.h"
#include "recorder/scene/Mark.h"
#include "recorder/scene/Scene.h"
#include "tests/recorder/media_support.h"

namespace
{

using namespace recorder;
using testing::ElementsAre;

constexpr int WIDTH = 352;
constexpr int HEIGHT = 288;

Picture Scene(int64_t picture)
{
    SceneSetup setup;
    setup.width = WIDTH;
    setup.height = HEIGHT;
    setup.mark = true;
    return DrawScene(setup, 1, picture);
}

H264Setup EncoderSetup()
{
    H264Setup setup;
    setup.width = WIDTH;
    setup.height = HEIGHT;
    setup.bitRate = 600'000;
    setup.group = 10;
    return setup;
}

std::vector<EUnit> TypesOf(const Coded& coded)
{
    std::vector<EUnit> types;
    for (const auto unit : SplitUnits(coded.bytes))
        types.push_back(UnitType(unit));
    return types;
}

// Reads the syntax elements of headers.
class CBits
{
  public:
    explicit CBits(std::vector<uint8_t> bytes) : m_Bytes(std::move(bytes)) {}
    unsigned U(int bits)
    {
        unsigned value = 0;
        for (; bits > 0; --bits, ++at)
            value = value << 1 | (at / 8 < m_Bytes.size() ? m_Bytes[at / 8] >> (7 - at % 8) & 1U : 0);
        return value;
    }
    unsigned Ue()
    {
        int zeros = 0;
        while (U(1) == 0 && zeros < 31)
            ++zeros;
        return (1U << zeros) - 1 + U(zeros);
    }
    int Se()
    {
        const auto code = static_cast<int>(Ue());
        return code % 2 != 0 ? (code + 1) / 2 : -(code / 2);
    }

  private:
    std::vector<uint8_t> m_Bytes;
    size_t at = 0;
};

class H264EncoderTest : public testing::TestWithParam<EEntropy>
{
};

TEST_P(H264EncoderTest, PicturesShowTheSceneAndKeyPicturesComeWithTheirParameterSets)
{
    auto setup = EncoderSetup();
    setup.entropy = GetParam();
    H264Encoder encoder(setup);
    CDecoder decoder("h264");
    for (int i = 0; i < 40; ++i) {
        const Coded coded = encoder.Encode(Scene(i), i, i == 15);
        EXPECT_EQ(coded.codec, ECodec::H264);
        const bool key = i == 0 || i == 10 || i == 15 || i == 25 || i == 35;
        EXPECT_EQ(coded.key, key) << i;
        if (key)
            EXPECT_THAT(TypesOf(coded), ElementsAre(EUnit::SequenceSet, EUnit::PictureSet, EUnit::IdrSlice))
                << i;
        else
            EXPECT_THAT(TypesOf(coded), ElementsAre(EUnit::Slice)) << i;
        for (const auto unit : SplitUnits(coded.bytes))
            EXPECT_GT(RefIdc(unit), 0);
        const Picture shown = decoder.Decode(coded.bytes);
        EXPECT_EQ(ReadMark(shown), (Mark{static_cast<uint32_t>(i), 1}));
        EXPECT_GE(LumaPsnr(shown, Scene(i)), 28) << i;
    }
}

// Names are those of the standard, clauses 7.3.2 and 7.3.3.
TEST_P(H264EncoderTest, StaysInsideTheSubset)
{
    auto setup = EncoderSetup();
    setup.entropy = GetParam();
    setup.bitRate = 8'000'000;
    H264Encoder encoder(setup);
    for (int i = 0; i < 12; ++i) {
        const Coded coded = encoder.Encode(Scene(i * 7), i, false);
        int frameNumBits = 0;
        for (const auto unit : SplitUnits(coded.bytes)) {
            CBits bits(Unescape(unit));
            if (UnitType(unit) == EUnit::SequenceSet) {
                EXPECT_EQ(bits.U(8), GetParam() == EEntropy::Cabac ? 77U : 66U) << "profile_idc";
                bits.U(16);
                bits.Ue();
                frameNumBits = static_cast<int>(bits.Ue()) + 4;
                const unsigned pocType = bits.Ue();
                EXPECT_THAT(pocType, testing::AnyOf(0U, 2U)) << "pic_order_cnt_type";
                if (pocType == 0) bits.Ue();
                EXPECT_EQ(bits.Ue(), 1U) << "num_ref_frames";
                bits.U(1);
                EXPECT_EQ(bits.Ue() + 1, WIDTH / 16U);
                EXPECT_EQ(bits.Ue() + 1, HEIGHT / 16U);
                EXPECT_EQ(bits.U(1), 1U) << "frame_mbs_only_flag";
                bits.U(1);
                EXPECT_EQ(bits.U(1), 0U) << "frame_cropping_flag";
            } else if (UnitType(unit) == EUnit::PictureSet) {
                bits.Ue();
                bits.Ue();
                EXPECT_EQ(bits.U(1), GetParam() == EEntropy::Cabac ? 1U : 0U) << "entropy_coding_mode_flag";
                EXPECT_EQ(bits.U(1), 0U) << "bottom_field_pic_order_in_frame_present_flag";
                EXPECT_EQ(bits.Ue(), 0U) << "num_slice_groups_minus1";
                EXPECT_EQ(bits.Ue(), 0U) << "num_ref_idx_l0_default_active_minus1";
                bits.Ue();
                EXPECT_EQ(bits.U(1), 0U) << "weighted_pred_flag";
                EXPECT_EQ(bits.U(2), 0U) << "weighted_bipred_idc";
                bits.Se();
                bits.Se();
                bits.Se();
                bits.U(1);
                EXPECT_EQ(bits.U(1), 0U) << "constrained_intra_pred_flag";
                EXPECT_EQ(bits.U(1), 0U) << "redundant_pic_cnt_present_flag";
            } else {
                EXPECT_EQ(bits.Ue(), 0U) << "first_mb_in_slice";
                EXPECT_EQ(bits.Ue() % 5, coded.key ? 2U : 0U) << "slice_type";
            }
        }
        EXPECT_TRUE(!coded.key || frameNumBits >= 4);
    }
}

INSTANTIATE_TEST_SUITE_P(Entropies, H264EncoderTest, testing::Values(EEntropy::Cavlc, EEntropy::Cabac),
                         [](const auto& row) { return row.param == EEntropy::Cabac ? "Cabac" : "Cavlc"; });

class ChecksumTest : public testing::TestWithParam<EChecksum>
{
};

TEST_P(ChecksumTest, EveryUnitIsAMultipleOfTheModulusAndDecodesAsBefore)
{
    const bool wide = GetParam() == EChecksum::ThirtyTwo;
    const size_t bytes = wide ? 4 : 2;
    auto setup = EncoderSetup();
    H264Encoder plain(setup);
    setup.checksum = GetParam();
    H264Encoder checked(setup);
    CDecoder decoder("h264");
    for (int i = 0; i < 25; ++i) {
        const Coded without = plain.Encode(Scene(i), i, false);
        const Coded with = checked.Encode(Scene(i), i, false);
        std::vector<uint8_t> stripped;
        uint64_t modulus = wide ? MODULUS_32 : MODULUS_16;
        for (const auto unit : SplitUnits(with.bytes)) {
            std::vector<uint8_t> payload = Unescape(unit);
            if (UnitType(unit) == EUnit::Sei) {
                // The tag stands at an even place, and the modulus twice.
                const std::vector<uint8_t> tag = {0x90, 0x09, 0x80, static_cast<uint8_t>(wide ? 0x82 : 0x81)};
                const auto at = std::search(payload.begin(), payload.end(), tag.begin(), tag.end());
                ASSERT_GE(payload.end() - at, static_cast<ptrdiff_t>(4 + 2 * bytes));
                EXPECT_EQ((at - payload.begin()) % 2, 0);
                EXPECT_TRUE(std::equal(at + 4, at + 4 + static_cast<ptrdiff_t>(bytes),
                                       at + 4 + static_cast<ptrdiff_t>(bytes)));
                modulus = 0;
                for (size_t k = 0; k < bytes; ++k)
                    modulus = modulus << 8 | at[static_cast<ptrdiff_t>(4 + k)];
                continue;
            }
            uint64_t value = 0;
            for (const uint8_t byte : payload)
                value = (value * 256 + byte) % modulus;
            EXPECT_EQ(value, 0U);
            EXPECT_NE(payload.back(), 0);
            payload.erase(payload.end() - static_cast<ptrdiff_t>(bytes), payload.end());
            AppendUnit(stripped, unit[0], payload);
        }
        EXPECT_EQ(stripped, without.bytes) << i;
    }
}

// Zeros at a unit's end belong to no unit; of so many sums some would end in one.
TEST_P(ChecksumTest, NoUnitEndsInAZero)
{
    const uint64_t modulus = GetParam() == EChecksum::ThirtyTwo ? MODULUS_32 : MODULUS_16;
    for (int i = 0; i < 8192; ++i) {
        const std::vector<uint8_t> payload = {0xFF, 0x70, 0x5A, static_cast<uint8_t>(i >> 8),
                                              static_cast<uint8_t>(i | 1)};  // with a stop bit
        std::vector<uint8_t> plain;
        AppendUnit(plain, 0x65, payload);
        const std::vector<uint8_t> with = WithChecksum(plain, GetParam());
        ASSERT_NE(with.back(), 0) << i;
        uint64_t value = 0;
        for (const uint8_t byte : Unescape(SplitUnits(with)[0]))
            value = (value * 256 + byte) % modulus;
        ASSERT_EQ(value, 0U) << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Widths, ChecksumTest, testing::Values(EChecksum::Sixteen, EChecksum::ThirtyTwo),
                         [](const auto& row) {
                             return row.param == EChecksum::Sixteen ? "Sixteen" : "ThirtyTwo";
                         });

// Noise in every sample, at a rate that would allow for all of it.
TEST(H264StreamTest, PicturesFitAClientsBufferWhateverTheyShow)
{
    Picture noise;
    noise.Resize(1280, 720);
    std::minstd_rand random(1);
    for (auto* const plane : {&noise.y, &noise.u, &noise.v})
        for (uint8_t& sample : *plane)
            sample = static_cast<uint8_t>(random() >> 8);
    StreamSetup setup;
    setup.bitRate = 100'000'000;
    const auto stream = MakeCodecStream(ECodec::H264, setup);
    for (int i = 0; i < 4; ++i)
        stream->Make(noise, i, false);
    EXPECT_GE(stream->Counts().pictures, 3U);
    EXPECT_GE(stream->Counts().keys, 1U);
    EXPECT_EQ(MAX_H264_BYTES, 262'144U - 8) << "what a client's buffer holds behind the frame's header";
}

TEST(AnnexBTest, BytesThatLookLikeAStartCodeComeBack)
{
    const std::vector<uint8_t> payload = {0, 0, 0, 0, 0, 1, 0, 0, 2, 0, 0, 3, 0, 0, 4, 9};
    std::vector<uint8_t> stream;
    AppendUnit(stream, 0x65, payload);
    AppendUnit(stream, 0x41, payload);
    const auto units = SplitUnits(stream);
    ASSERT_EQ(units.size(), 2U);
    EXPECT_EQ(UnitType(units[0]), EUnit::IdrSlice);
    EXPECT_EQ(RefIdc(units[1]), 2);
    EXPECT_EQ(Unescape(units[0]), payload);
    EXPECT_EQ(Unescape(units[1]), payload);
}

TEST(AnnexBTest, DamagedBytesHaveNoUnitsOrShortOnes)
{
    EXPECT_TRUE(SplitUnits({}).empty());
    for (const std::vector<uint8_t>& bytes :
         {std::vector<uint8_t>{0, 0, 1}, {0, 0, 0, 1}, {1, 2, 3, 4}, {0, 0, 1, 0, 0, 1, 0}})
        EXPECT_TRUE(SplitUnits(bytes).empty());
    EXPECT_EQ(SplitUnits(std::vector<uint8_t>{0, 0, 1, 9, 0, 0, 0, 1, 8, 0}).size(), 2U);
    EXPECT_TRUE(WithChecksum(std::vector<uint8_t>{5, 5, 5}, EChecksum::Sixteen).empty());
}

class PresetTest : public testing::TestWithParam<const char*>
{
};

// Whatever the effort, clients' small decoders read it.
TEST_P(PresetTest, StaysWithinWhatClientsRead)
{
    SceneSetup scene;
    scene.width = 176;
    scene.height = 144;
    for (const EEntropy entropy : {EEntropy::Cavlc, EEntropy::Cabac}) {
        H264Setup setup;
        setup.width = 176;
        setup.height = 144;
        setup.group = 5;
        setup.entropy = entropy;
        setup.preset = GetParam();
        H264Encoder encoder(setup);
        h264::Subset subset(176, 144, MAX_H264_BYTES);
        for (int i = 0; i < 12; ++i) {
            const Coded coded = encoder.Encode(DrawScene(scene, 0, 3 * i), i, false);
            const auto checked = subset.Check(coded.bytes);
            ASSERT_EQ(checked.result, h264::Checked::EResult::Passes) << i << ' ' << checked.why;
            EXPECT_EQ(checked.bytes, coded.bytes) << i;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Presets, PresetTest,
                         testing::Values("ultrafast", "superfast", "veryfast", "faster", "fast", "medium"),
                         [](const auto& row) { return std::string(row.param); });

}  // namespace
