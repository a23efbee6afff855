// The header parser of MPEG-4: each thing that it refuses by its code, and what it takes.
#include "codec/mpeg4/mpeg4_header.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "codec/codec.h"
#include "tests/support/mpeg4_writer.h"

namespace
{
int32_t Parse(const std::vector<uint8_t>& bytes, mpeg4_header* header)
{
    mpeg4_bits bits;
    mpeg4_bits_init(&bits, bytes.data(), bytes.size());
    return mpeg4_parse_headers(&bits, header);
}

int32_t Parse(const std::vector<uint8_t>& bytes)
{
    mpeg4_header header;
    return Parse(bytes, &header);
}

/// A VOL with one field changed, and an I-VOP after it.
std::vector<uint8_t> WithVol(const std::function<void(Mpeg4VolFields&)>& change)
{
    Mpeg4VolFields fields;
    change(fields);
    CMpeg4Writer writer;
    return writer.Vol(fields).Vop({}).Bits(0, 32).Take();
}

std::vector<uint8_t> WithVisualObject(const std::string& code)
{
    CMpeg4Writer writer;
    return writer.StartCode(0x1B5).Code(code).Vol({}).Vop({}).Bits(0, 32).Take();
}

struct Refusal {
    const char* name;
    int32_t code;
    std::vector<uint8_t> bytes;
};

void PrintTo(const Refusal& test, std::ostream* out)
{
    *out << test.name;
}

std::vector<Refusal> Refusals()
{
    using V = Mpeg4VolFields;
    const auto later = [](V& v) { v.has_identifier = true, v.verid = v.effective_verid = 2; };
    return {
        {"NothingAtAll", -20, {}},
        {"FewerThanFourBytes", -20, {0, 0, 1}},
        {"UserDataAndNoVop", -20,
         CMpeg4Writer().StartCode(0x1B2).Bits(0x41424344, 32).Bits(0x45464748, 32).Take()},
        {"OnlyAVol", -20, CMpeg4Writer().Vol({}).Take()},
        {"VopHeaderCutShort", -20, CMpeg4Writer().StartCode(0x1B6).Take()},
        {"StartCodeOfUnknownValue", -19, CMpeg4Writer().StartCode(0x1B4).Take()},
        {"StartCodeBehindTheLayers", -19, CMpeg4Writer().StartCode(0x130).Take()},
        {"StartCodeOfAnotherStandard", -19, CMpeg4Writer().StartCode(0x1E0).Take()},
        {"SVop", -17, CMpeg4Writer().Vol({}).Vop({.type = 3}).Take()},
        {"StudioProfileLowest", -9974,
         CMpeg4Writer().StartCode(0x1B0).Bits(0xE1, 8).Vop({}).Bits(0, 32).Take()},
        {"StudioProfileHighest", -9974,
         CMpeg4Writer().StartCode(0x1B0).Bits(0xE8, 8).Vop({}).Bits(0, 32).Take()},
        {"ObjectOfAnotherType", -9973, WithVisualObject("0 0010 0")},
        {"IdentifiedObjectOfAnotherType", -9973, WithVisualObject("1 0010 001 0011 0")},
        {"VideoSignalType", -9972, WithVisualObject("0 0001 1")},
        {"VideoSignalTypeOfIdentifiedObject", -9972, WithVisualObject("1 0001 001 0001 1")},
        {"FineGranularity", -9971, WithVol([](V& v) { v.object_type = 0x12; })},
        {"AspectRatioForbidden", -9970, WithVol([](V& v) { v.aspect_ratio = 0; })},
        {"AspectRatioWide", -9970, WithVol([](V& v) { v.aspect_ratio = 2; })},
        {"AspectRatioExtended", -9970, WithVol([](V& v) { v.aspect_ratio = 15; })},
        {"VbvParameters", -9969, WithVol([](V& v) { v.control_parameters = v.vbv = true; })},
        {"BinaryShape", -9968, WithVol([](V& v) { v.shape = 1; })},
        {"GreyscaleShape", -9968, WithVol([](V& v) { v.shape = 3; })},
        {"TimeResolutionZero", -9967, WithVol([](V& v) { v.time_resolution = 0; })},
        {"FixedIncrementZero", -9967, WithVol([](V& v) { v.fixed_rate = true, v.fixed_increment = 0; })},
        {"WidthZero", -9966, WithVol([](V& v) { v.width = 0; })},
        {"HeightZero", -9966, WithVol([](V& v) { v.height = 0; })},
        {"Interlaced", -9965, WithVol([](V& v) { v.interlaced = true; })},
        {"OverlappedMotion", -9964, WithVol([](V& v) { v.obmc_disable = false; })},
        {"BrightnessChange", -9962, WithVol([&](V& v) { later(v), v.sprite = 2, v.brightness_change = true; })},
        {"QuantPrecisionTooSmall", -9961, WithVol([](V& v) { v.not_8_bit = true, v.quant_precision = 2; })},
        {"QuantPrecisionTooLarge", -9961, WithVol([](V& v) { v.not_8_bit = true, v.quant_precision = 10; })},
        {"BitsPerPixelTooSmall", -9960, WithVol([](V& v) { v.not_8_bit = true, v.bits_per_pixel = 3; })},
        {"BitsPerPixelTooLarge", -9960, WithVol([](V& v) { v.not_8_bit = true, v.bits_per_pixel = 13; })},
        {"IntraMatrix", -9959, WithVol([](V& v) { v.quant_type = v.load_intra_matrix = true; })},
        {"InterMatrix", -9958, WithVol([](V& v) { v.quant_type = v.load_inter_matrix = true; })},
        {"ComplexityEstimation", -9957, WithVol([](V& v) { v.complexity_disable = false; })},
        {"DataPartitioning", -9956, WithVol([](V& v) { v.data_partitioned = true; })},
        {"Newpred", -9955, WithVol([&](V& v) { later(v), v.newpred = true; })},
        {"ReducedResolution", -9954, WithVol([&](V& v) { later(v), v.reduced_resolution = true; })},
        {"Scalability", -9953, WithVol([](V& v) { v.scalability = true; })},
        {"ScalabilityOfALaterVersion", -9953, WithVol([&](V& v) { later(v), v.scalability = true; })},
    };
}

class Mpeg4Refusal : public ::testing::TestWithParam<Refusal>
{
};

TEST_P(Mpeg4Refusal, ParserGivesTheCode)
{
    EXPECT_EQ(Parse(GetParam().bytes), GetParam().code);
}

TEST_P(Mpeg4Refusal, HookGivesTheCodeAndTheTableMinusOne)
{
    codec_init();
    codec_register_all();
    CodecContext context = {};
    context.width = 176;
    context.height = 144;
    ASSERT_EQ(codec_open(&context, codec_find_decoder(CODEC_ID_MPEG4)), 0);
    // an empty buffer never reaches the hook; a byte that begins nothing changes no code
    std::vector<uint8_t> bytes = GetParam().bytes;
    bytes.insert(bytes.begin(), 0xFF);
    const int32_t size = static_cast<int32_t>(bytes.size());
    CodecFrame frame = {};
    int32_t got = 0;
    EXPECT_EQ(context.entry->decode(&context, &frame, &got, bytes.data(), size), GetParam().code);
    EXPECT_EQ(got, 0);
    EXPECT_EQ(codec_decode(&context, &frame, &got, bytes.data(), size), -1);
    EXPECT_EQ(frame.data[0], nullptr);
    codec_close(&context);
}

INSTANTIATE_TEST_SUITE_P(Codes, Mpeg4Refusal, ::testing::ValuesIn(Refusals()),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(Mpeg4Header, CodesThatCannotBeReachedGiveWayToTheOneBeforeThem)
{
    // an S-VOP of a stream with sprites is refused as an S-VOP already; no sprite_enable is 1 and 3 at once
    Mpeg4VolFields fields;
    fields.has_identifier = true;
    fields.verid = fields.effective_verid = 2;
    fields.sprite = 2;
    CMpeg4Writer gmc;
    EXPECT_EQ(Parse(gmc.Vol(fields).Vop({.type = 3}).Take()), -17);
    for (uint32_t sprite : {1u, 3u}) {
        fields.sprite = sprite;
        CMpeg4Writer writer;
        EXPECT_EQ(Parse(writer.Vol(fields).Vop({}).Bits(0, 32).Take()), MPEG4_I_VOP) << sprite;
    }
    EXPECT_EQ(MPEG4_ERROR_SPRITE_VOP, -18);
    EXPECT_EQ(MPEG4_ERROR_SPRITE, -9963);
    EXPECT_EQ(MPEG4_ERROR_MEMORY, -9999);
}

TEST(Mpeg4Header, NeighboursOfTheStudioProfilesPass)
{
    for (uint32_t profile : {0xE0u, 0xE9u, 1u}) {
        CMpeg4Writer writer;
        mpeg4_header header;
        EXPECT_EQ(Parse(writer.StartCode(0x1B0).Bits(profile, 8).Vop({.increment_bits = 1}).Bits(0, 32).Take(),
                        &header),
                  MPEG4_I_VOP);
        EXPECT_EQ(header.profile_and_level_indication, profile);
    }
}

TEST(Mpeg4Header, ReadsEveryFieldOfAStream)
{
    Mpeg4VolFields vol;
    vol.id = 5;
    vol.object_type = 4;
    vol.has_identifier = true;
    vol.verid = vol.effective_verid = 5;
    vol.priority = 3;
    vol.control_parameters = true;
    vol.time_resolution = 30000;
    vol.increment_bits = 15;
    vol.fixed_rate = true;
    vol.fixed_increment = 1001;
    vol.width = 704;
    vol.height = 576;
    vol.not_8_bit = true;
    vol.quant_precision = 9;
    vol.bits_per_pixel = 4;
    vol.quant_type = true;
    vol.quarter_sample = true;
    vol.resync_disable = false;
    CMpeg4Writer writer;
    writer.StartCode(0x1B0).Bits(0xF5, 8);
    writer.StartCode(0x1B2).Bits(0x61626364, 32);
    writer.StartCode(0x1B5).Code("1 0010 011 0001 0");
    writer.StartCode(0x11F).Vol(vol);
    writer.StartCode(0x1B3).Bits(0x12345, 18).Bits(3, 2);
    writer.StartCode(0x1B1);
    writer.Vop({.type = 2,
                .modulo = 3,
                .increment = 12345,
                .increment_bits = 15,
                .dc_threshold = 6,
                .quant = 300,
                .quant_bits = 9,
                .fcode = 2,
                .fcode_backward = 5});
    mpeg4_header header;
    ASSERT_EQ(Parse(writer.Bits(0, 32).Take(), &header), MPEG4_B_VOP);
    EXPECT_EQ(header.profile_and_level_indication, 0xF5u);
    EXPECT_EQ(header.visual_object_verid, 2u);
    EXPECT_EQ(header.visual_object_priority, 3u);
    EXPECT_EQ(header.video_object_id, 31u);
    EXPECT_EQ(header.video_object_layer_id, 5u);
    EXPECT_EQ(header.video_object_type_indication, 4u);
    EXPECT_EQ(header.is_object_layer_identifier, 1u);
    EXPECT_EQ(header.video_object_layer_verid, 5u);
    EXPECT_EQ(header.video_object_layer_priority, 3u);
    EXPECT_EQ(header.aspect_ratio_info, 1u);
    EXPECT_EQ(header.low_delay, 1u);
    EXPECT_EQ(header.vop_time_increment_resolution, 30000u);
    EXPECT_EQ(header.fixed_vop_time_increment, 1001u);
    EXPECT_EQ(header.width, 704);
    EXPECT_EQ(header.height, 576);
    EXPECT_EQ(header.not_8_bit, 1u);
    EXPECT_EQ(header.quant_precision, 9u);
    EXPECT_EQ(header.bits_per_pixel, 4u);
    EXPECT_EQ(header.quant_type, 1u);
    EXPECT_EQ(header.quarter_sample, 1u);
    EXPECT_EQ(header.vop_coding_type, MPEG4_B_VOP);
    EXPECT_EQ(header.modulo_time_base, 3u);
    EXPECT_EQ(header.vop_time_increment, 12345u);
    EXPECT_EQ(header.vop_coded, 1u);
    EXPECT_EQ(header.intra_dc_vlc_thr, 6u);
    EXPECT_EQ(header.vop_quant, 300u);
    EXPECT_EQ(header.vop_fcode_forward, 2u);
    EXPECT_EQ(header.vop_fcode_backward, 5u);
}

TEST(Mpeg4Header, SpriteFieldsAreKept)
{
    Mpeg4VolFields fields;
    fields.has_identifier = true;
    fields.verid = fields.effective_verid = 2;
    fields.sprite = 2;
    CMpeg4Writer writer;
    mpeg4_header header;
    ASSERT_EQ(Parse(writer.Vol(fields).Vop({}).Bits(0, 32).Take(), &header), MPEG4_I_VOP);
    EXPECT_EQ(header.sprite_enable, 2u);
    EXPECT_EQ(header.no_of_sprite_warping_points, 2u);
    EXPECT_EQ(header.sprite_warping_accuracy, 3u);
}

TEST(Mpeg4Header, LayerWithoutIdentifierTakesTheObjectsVersion)
{
    Mpeg4VolFields fields;
    fields.effective_verid = 2;
    fields.newpred = true;
    CMpeg4Writer writer;
    writer.StartCode(0x1B5).Code("1 0010 001 0001 0");
    EXPECT_EQ(Parse(writer.Vol(fields).Vop({}).Bits(0, 32).Take()), -9955);
    // an object without identifier is of version 1, so that the same bits mean something else
    fields = {};
    CMpeg4Writer plain;
    plain.StartCode(0x1B5).Code("0 0001 0");
    EXPECT_EQ(Parse(plain.Vol(fields).Vop({}).Bits(0, 32).Take()), MPEG4_I_VOP);
}

TEST(Mpeg4Header, TimeIncrementTakesTheBitsOfTheResolution)
{
    const struct {
        uint32_t resolution;
        int bits;
    } rows[] = {{1, 1}, {2, 1}, {3, 2}, {16, 4}, {17, 5}, {25, 5}, {32768, 15}, {32769, 16}, {65535, 16}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.resolution);
        Mpeg4VolFields fields;
        fields.time_resolution = row.resolution;
        CMpeg4Writer writer;
        mpeg4_header header;
        writer.Vol(fields).Vop({.increment = 1, .increment_bits = row.bits, .quant = 21});
        ASSERT_EQ(Parse(writer.Bits(0, 32).Take(), &header), MPEG4_I_VOP);
        EXPECT_EQ(header.vop_time_increment, 1u);
        EXPECT_EQ(header.vop_quant, 21u);
    }
}

TEST(Mpeg4Header, QuantOfZeroIsTakenAsOne)
{
    CMpeg4Writer writer;
    mpeg4_header header;
    ASSERT_EQ(Parse(writer.Vol({}).Vop({.quant = 0}).Bits(0, 32).Take(), &header), MPEG4_I_VOP);
    EXPECT_EQ(header.vop_quant, 1u);
}

TEST(Mpeg4Header, VopThatIsNotCodedEndsThere)
{
    CMpeg4Writer writer;
    mpeg4_header header;
    EXPECT_EQ(Parse(writer.Vol({}).Vop({.type = 1, .coded = false}).Take(), &header), MPEG4_NOT_CODED);
    EXPECT_EQ(header.vop_coded, 0u);
}

TEST(Mpeg4Header, OtherBytesArePassedOneByOne)
{
    CMpeg4Writer writer;
    writer.Bits(0x12345678, 32).Bits(0x000000, 24);
    EXPECT_EQ(Parse(writer.Vol({}).Vop({}).Bits(0, 32).Take()), MPEG4_I_VOP);
}

TEST(Mpeg4Header, UserDataEndsAtTheNextStartCode)
{
    CMpeg4Writer writer;
    writer.StartCode(0x1B2).Bits(0x00000200, 32).Bits(0x1234, 16);
    EXPECT_EQ(Parse(writer.Vol({}).Vop({}).Bits(0, 32).Take()), MPEG4_I_VOP);
}

TEST(Mpeg4Header, RefusedLayerChangesNothing)
{
    mpeg4_header header;
    CMpeg4Writer good;
    ASSERT_EQ(Parse(good.Vol({.width = 352, .height = 288}).Vop({}).Bits(0, 32).Take(), &header), MPEG4_I_VOP);
    CMpeg4Writer bad;
    ASSERT_EQ(Parse(bad.Vol({.time_resolution = 1000, .width = 640, .height = 480, .scalability = true}).Take(),
                    &header),
              -9953);
    EXPECT_EQ(header.width, 352);
    EXPECT_EQ(header.height, 288);
    EXPECT_EQ(header.vop_time_increment_resolution, 25u);
}
}  // namespace
