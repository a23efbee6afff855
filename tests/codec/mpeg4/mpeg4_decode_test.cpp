// What the MPEG-4 decoder makes of VOPs that are written bit by bit: vectors, prediction, its settled
// behaviours.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <vector>

#include "codec/codec.h"
#include "codec/codec_memory.h"
#include "codec/cpu.h"
#include "codec/decoder.h"
#include "codec/mpeg4/mpeg4_idct.h"
#include "codec/mpeg4_dec.h"
#include "tests/codec/mpeg4/mpeg4_fed_support.h"
#include "tests/support/kernel_walk.h"
#include "tests/support/mpeg4_streams.h"
#include "tests/support/mpeg4_writer.h"

namespace
{
/// R4 of the devices, and of the standard.
constexpr int chroma_default[4] = {0, 0, 1, 0};
constexpr int chroma_standard[4] = {0, 1, 0, 0};
constexpr int chroma_of_four[16] = {0, 0, 0, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 1, 1};

struct Vector {
    int x;
    int y;
};

int Median(int a, int b, int c)
{
    std::array<int, 3> sorted = {a, b, c};
    std::sort(sorted.begin(), sorted.end());
    return sorted[1];
}

int PlaneWidth(const TestPicture& picture, int plane)
{
    return plane == 0 ? picture.width : picture.width / 2;
}
int PlaneHeight(const TestPicture& picture, int plane)
{
    return plane == 0 ? picture.height : picture.height / 2;
}

/// A sample of a plane, or the nearest one inside.
int Sample(const TestPicture& picture, int plane, int x, int y)
{
    const int width = PlaneWidth(picture, plane);
    x = std::clamp(x, 0, width - 1);
    y = std::clamp(y, 0, PlaneHeight(picture, plane) - 1);
    return picture.Plane[plane][static_cast<size_t>(y * width + x)];
}

/// Predicts a square by the definition, rounding up.
void Predict(const TestPicture& from, TestPicture* to, int plane, int x, int y, int size, Vector vector)
{
    const int width = PlaneWidth(from, plane);
    for (int row = y; row < y + size; ++row) {
        for (int column = x; column < x + size; ++column) {
            const int fx = column + (vector.x >> 1);
            const int fy = row + (vector.y >> 1);
            const int dx = vector.x & 1;
            const int dy = vector.y & 1;
            const int sum = Sample(from, plane, fx, fy) + Sample(from, plane, fx + dx, fy) +
                            Sample(from, plane, fx, fy + dy) + Sample(from, plane, fx + dx, fy + dy);
            to->Plane[plane][static_cast<size_t>(row * width + column)] = static_cast<uint8_t>((sum + 2) >> 2);
        }
    }
}

/// The whole prediction of a macroblock with one vector.
void PredictMacroblock(const TestPicture& from, TestPicture* to, int mb_x, int mb_y, Vector vector,
                       const int rounding[4])
{
    Predict(from, to, 0, mb_x * 16, mb_y * 16, 16, vector);
    const Vector chroma = {(vector.x >> 1) + rounding[vector.x & 3], (vector.y >> 1) + rounding[vector.y & 3]};
    for (int plane : {1, 2})
        Predict(from, to, plane, mb_x * 8, mb_y * 8, 8, chroma);
}

/// A decoder of 48x48, three macroblocks square, that has shown an I picture.
class Mpeg4Decode : public ::testing::Test
{
  protected:
    static constexpr int SIZE = 48;

    void SetUp() override
    {
        m_Packets = EncodeMpeg4({.width = SIZE, .height = SIZE, .frames = 3, .scene = ETestScene::Lively});
        ASSERT_GT(m_Fed.Feed(m_Packets[0]), 0);
        m_Base = m_Fed.Picture();
    }

    /// Feeds a P-VOP of what `write` writes behind the header.
    void FeedP(const std::function<void(CMpeg4Writer&)>& write, const Mpeg4VopFields& fields = {.type = 1})
    {
        CMpeg4Writer writer;
        writer.Vop(fields);
        write(writer);
        ASSERT_GT(m_Fed.Feed(writer.Take()), 0);
        ASSERT_NE(m_Fed.m_iGot, 0);
    }

    /// Shows the I picture again, so that the next P-VOP predicts from it.
    void Restore() { ASSERT_GT(m_Fed.Feed(m_Packets[0]), 0); }

    CFed m_Fed{SIZE, SIZE};
    std::vector<Mpeg4Packet> m_Packets;
    TestPicture m_Base;
};

TEST_F(Mpeg4Decode, ChromaVectorTakesTheDevicesTableByDefault)
{
    // settled: 0, 0, 1, 0 where ISO/IEC 14496-2 has 0, 1, 0, 0
    for (int v = -32; v <= 31; ++v) {
        SCOPED_TRACE(v);
        Restore();
        FeedP([v](CMpeg4Writer& w) { w.Skip(4).InterMacroblock(v, 3 - v / 2).Skip(4); });
        TestPicture expected = m_Base;
        PredictMacroblock(m_Base, &expected, 1, 1, {v, 3 - v / 2}, chroma_default);
        ExpectSamePicture(m_Fed.Picture(), expected);
    }
}

TEST_F(Mpeg4Decode, ChromaVectorTakesTheStandardsTableAsAnOption)
{
    for (int v = -32; v <= 31; ++v) {
        SCOPED_TRACE(v);
        Restore();
        m_Fed.m_Context.options = CODEC_OPTION_STANDARD_CHROMA;
        FeedP([v](CMpeg4Writer& w) { w.Skip(4).InterMacroblock(v, 3 - v / 2).Skip(4); });
        TestPicture expected = m_Base;
        PredictMacroblock(m_Base, &expected, 1, 1, {v, 3 - v / 2}, chroma_standard);
        ExpectSamePicture(m_Fed.Picture(), expected);
    }
}

TEST_F(Mpeg4Decode, StandardChromaIsSetAtTheDecoderObject)
{
    CMpeg4Writer writer;
    writer.Vop({.type = 1}).Skip(4).InterMacroblock(1, 2).Skip(4);
    const std::vector<uint8_t> p_vop = writer.Take();
    const int* const tables[] = {chroma_default, chroma_standard};
    for (int on = 0; on < 2; ++on) {
        CMpeg4Decoder decoder(SIZE, SIZE);
        if (on) decoder.SetStandardChroma(true);
        decoder.Decode(m_Packets[0].data(), static_cast<int32_t>(m_Packets[0].size()));
        const CodecFrame* const frame = decoder.Decode(p_vop.data(), static_cast<int32_t>(p_vop.size()));
        ASSERT_NE(frame, nullptr);
        TestPicture expected = m_Base;
        PredictMacroblock(m_Base, &expected, 1, 1, {1, 2}, tables[on]);
        ExpectSamePicture(CopyPicture(*frame), expected);
    }
}

TEST_F(Mpeg4Decode, FourVectorsShareAChromaVector)
{
    const std::array<Vector, 4> sets[] = {
        {{{1, 2}, {3, 4}, {5, 6}, {7, 8}}},         {{{-1, -2}, {-3, -4}, {-5, -6}, {-7, -8}}},
        {{{31, 31}, {30, 31}, {31, 30}, {31, 31}}}, {{{-32, 5}, {-32, 5}, {-31, 6}, {-30, 7}}},
        {{{2, 0}, {0, 0}, {0, 1}, {1, 0}}},         {{{0, 15}, {0, -15}, {1, 3}, {2, 2}}}};
    for (const std::array<Vector, 4>& mv : sets) {
        SCOPED_TRACE(testing::Message() << mv[0].x << "," << mv[0].y);
        Restore();
        // all neighbours have zero vectors
        const Vector predictions[4] = {{0, 0},
                                       {0, 0},
                                       {Median(0, mv[0].x, mv[1].x), Median(0, mv[0].y, mv[1].y)},
                                       {Median(mv[2].x, mv[0].x, mv[1].x), Median(mv[2].y, mv[0].y, mv[1].y)}};
        FeedP([&](CMpeg4Writer& w) {
            w.Skip(4).Code("0 010 11");
            for (size_t n = 0; n < 4; ++n)
                w.Difference(mv[n].x - predictions[n].x).Difference(mv[n].y - predictions[n].y);
            w.Skip(4);
        });
        TestPicture expected = m_Base;
        for (int n = 0; n < 4; ++n)
            Predict(m_Base, &expected, 0, 16 + (n & 1) * 8, 16 + (n >> 1) * 8, 8, mv[static_cast<size_t>(n)]);
        const int sum_x = mv[0].x + mv[1].x + mv[2].x + mv[3].x;
        const int sum_y = mv[0].y + mv[1].y + mv[2].y + mv[3].y;
        const Vector chroma = {(sum_x >> 3) + chroma_of_four[sum_x & 15],
                               (sum_y >> 3) + chroma_of_four[sum_y & 15]};
        for (int plane : {1, 2})
            Predict(m_Base, &expected, plane, 8, 8, 8, chroma);
        ExpectSamePicture(m_Fed.Picture(), expected);
    }
}

TEST_F(Mpeg4Decode, VectorThatLeavesThePictureReadsTheClampedEdge)
{
    for (int corner : {0, 2, 6, 8}) {
        for (const Vector v :
             {Vector{-32, -32}, {31, 31}, {-32, 31}, {31, -32}, {-31, -31}, {0, -1}, {-1, 0}, {1, 1}}) {
            SCOPED_TRACE(testing::Message() << "macroblock " << corner << ", vector " << v.x << "," << v.y);
            Restore();
            FeedP([&](CMpeg4Writer& w) { w.Skip(corner).InterMacroblock(v.x, v.y).Skip(8 - corner); });
            TestPicture expected = m_Base;
            PredictMacroblock(m_Base, &expected, corner % 3, corner / 3, v, chroma_default);
            ExpectSamePicture(m_Fed.Picture(), expected);
        }
    }
}

TEST_F(Mpeg4Decode, MissingVectorsCountAsZeroButTheLeftOneAlonePredicts)
{
    const Vector mv[9] = {{10, -6}, {4, 8}, {-8, 2}, {20, 12}, {0, 0}, {6, 6}, {0, 0}, {0, 0}, {0, 0}};
    const auto difference = [&](CMpeg4Writer& w, int i, Vector prediction) {
        w.InterMacroblock(mv[i].x - prediction.x, mv[i].y - prediction.y);
    };
    FeedP([&](CMpeg4Writer& w) {
        difference(w, 0, {0, 0});
        difference(w, 1, mv[0]);  // first row: the left one alone
        difference(w, 2, mv[1]);
        // first column: the left one is missing
        difference(w, 3, {Median(0, mv[0].x, mv[1].x), Median(0, mv[0].y, mv[1].y)});
        w.Skip(1);
        // last column: the one to the top right is missing; the left one isn't coded, which is a vector of zero
        difference(w, 5, {Median(0, mv[2].x, 0), Median(0, mv[2].y, 0)});
        w.Skip(3);
    });
    TestPicture expected = m_Base;
    for (int i : {0, 1, 2, 3, 5})
        PredictMacroblock(m_Base, &expected, i % 3, i / 3, mv[i], chroma_default);
    ExpectSamePicture(m_Fed.Picture(), expected);
}

TEST_F(Mpeg4Decode, VectorsWrapIntoTheRangeOfFcodeOneWhateverTheHeaderTells)
{
    for (uint32_t fcode : {1u, 3u, 7u}) {
        Restore();
        FeedP(
            [](CMpeg4Writer& w) {
                w.InterMacroblock(31, -32).InterMacroblock(10, -3).InterMacroblock(9, 1).Skip(6);
            },
            {.type = 1, .fcode = fcode});
        TestPicture expected = m_Base;
        PredictMacroblock(m_Base, &expected, 0, 0, {31, -32}, chroma_default);
        PredictMacroblock(m_Base, &expected, 1, 0, {41 - 64, -35 + 64}, chroma_default);
        PredictMacroblock(m_Base, &expected, 2, 0, {-14, 30}, chroma_default);
        ExpectSamePicture(m_Fed.Picture(), expected);
    }
}

TEST_F(Mpeg4Decode, RoundingIsOfTypeZeroWhateverTheHeaderTells)
{
    const auto write = [](CMpeg4Writer& w) {
        w.InterMacroblock(1, 0).InterMacroblock(0, 1).InterMacroblock(4, 4).Skip(6);
    };
    FeedP(write, {.type = 1, .rounding = false});
    const TestPicture expected = m_Fed.Picture();
    Restore();
    FeedP(write, {.type = 1, .rounding = true});
    ExpectSamePicture(m_Fed.Picture(), expected);
}

TEST_F(Mpeg4Decode, DcThresholdIsReadAndIgnored)
{
    // the three bits behind the type, the marker, the increment, the marker and vop_coded
    Mpeg4Packet packet = m_Packets[0];
    size_t at = 0;
    while (packet[at] != 0 || packet[at + 1] != 0 || packet[at + 2] != 1 || packet[at + 3] != 0xB6)
        ++at;
    const size_t bit = (at + 4) * 8 + 2 + 1 + 1 + 5 + 1 + 1;
    for (size_t i = bit; i < bit + 3; ++i)
        packet[i / 8] |= static_cast<uint8_t>(0x80 >> i % 8);
    ASSERT_GT(m_Fed.Feed(packet), 0);
    EXPECT_EQ(m_Fed.Record()->header.intra_dc_vlc_thr, 7u);
    ExpectSamePicture(m_Fed.Picture(), m_Base);
}

TEST_F(Mpeg4Decode, QuantTypeIsReadAndIgnored)
{
    const auto residual = [](CMpeg4Writer& w) { w.Code("0 1 1011 1 1 1111 0 0111 0").Skip(8); };
    FeedP(residual);
    const TestPicture expected = m_Fed.Picture();
    Restore();
    CMpeg4Writer layer;
    layer.Vol({.width = SIZE, .height = SIZE, .quant_type = true}).Vop({.type = 1});
    residual(layer);
    ASSERT_GT(m_Fed.Feed(layer.Take()), 0);
    EXPECT_EQ(m_Fed.Record()->header.quant_type, 1u);
    ExpectSamePicture(m_Fed.Picture(), expected);
}

/// A macroblock with a change of quant and one level of 1 in its first luma block, vector zero.
const char* const changed_quant_macroblock = "0 011 1011 11 1 1 0111 0";

TEST_F(Mpeg4Decode, RunningQuantIsNotClamped)
{
    FeedP(
        [](CMpeg4Writer& w) {
            for (int i = 0; i < 3; ++i)
                w.Code(changed_quant_macroblock);
            w.Skip(6);
        },
        {.type = 1, .quant = 31});
    TestPicture expected = m_Base;
    for (int mb = 0; mb < 3; ++mb) {
        const int quant = 33 + 2 * mb;
        const int residual = mpeg4_idct_dc(2 * quant + quant);
        for (int y = 0; y < 8; ++y) {
            for (int x = 0; x < 8; ++x) {
                uint8_t& sample = expected.Plane[0][static_cast<size_t>(y * SIZE + mb * 16 + x)];
                sample = static_cast<uint8_t>(std::min(sample + residual, 255));
            }
        }
    }
    ExpectSamePicture(m_Fed.Picture(), expected);
}

TEST_F(Mpeg4Decode, RunningQuantMayFallBelowZero)
{
    FeedP(
        [](CMpeg4Writer& w) {
            for (int i = 0; i < 9; ++i)
                w.Code("0 011 1011 01 1 1 0111 0");  // a change of -2
        },
        {.type = 1, .quant = 1});
    EXPECT_EQ(m_Fed.Record()->macroblocks[8].quant, 1 - 18);
}

TEST_F(Mpeg4Decode, BadCodeSkipsTheRestOfItsBlockOnly)
{
    FeedP([](CMpeg4Writer& w) {
        w.Code("0 1 1011 1 1 10 0 000000000000");  // a level of 1, then twelve bits that are no code
        w.InterMacroblock(6, 2).Skip(7);
    });
    TestPicture expected = m_Base;
    const int residual = mpeg4_idct_dc(2 * 4 + 3);
    for (int y = 0; y < 8; ++y) {
        for (int x = 0; x < 8; ++x) {
            uint8_t& sample = expected.Plane[0][static_cast<size_t>(y * SIZE + x)];
            sample = static_cast<uint8_t>(sample + residual);
        }
    }
    PredictMacroblock(m_Base, &expected, 1, 0, {6, 2}, chroma_default);
    ExpectSamePicture(m_Fed.Picture(), expected);
}

TEST_F(Mpeg4Decode, RunThatLeavesTheBlockEndsIt)
{
    // escapes of the third form: a run of 63 fills the last place, the next one has none
    FeedP([](CMpeg4Writer& w) {
        w.Code("0 1 1011 1 1").Code("0000011 11 0 111111 1").Bits(0, 12).Code("1");
        w.Code("0000011 11 0 000000 1").Bits(100, 12).Code("1");
        w.InterMacroblock(6, 2).Skip(7);
    });
    TestPicture expected = m_Base;
    PredictMacroblock(m_Base, &expected, 1, 0, {6, 2}, chroma_default);
    ExpectSamePicture(m_Fed.Picture(), expected);
}

TEST_F(Mpeg4Decode, RunThatLeavesTheBlockTakesNoneOfTheBitsBehindItsCode)
{
    // behind the code that leaves, the next macroblock's header could be read as a code too
    FeedP([](CMpeg4Writer& w) {
        w.Code("0 1 1011 1 1").Code("0000011 11 0 111111 1").Bits(0, 12).Code("1 10 0");
        w.InterMacroblock(6, 2).Skip(7);
    });
    TestPicture expected = m_Base;
    PredictMacroblock(m_Base, &expected, 1, 0, {6, 2}, chroma_default);
    ExpectSamePicture(m_Fed.Picture(), expected);
}

TEST_F(Mpeg4Decode, LevelBeforeARunThatLeavesTheBlockCounts)
{
    // a level of 4 in the last place: by a code that shares its look-up with another, or by the last code of
    // all
    const char* const ends[] = {"0010111 0 10 0", "0000011 11 1 000000 1 000000000100 1"};
    TestPicture pictures[2];
    for (int i = 0; i < 2; ++i) {
        Restore();
        FeedP([&](CMpeg4Writer& w) {
            w.Code("0 1 1011 1 1").Code("0000011 11 0 111110 1").Bits(0, 12).Code("1").Code(ends[i]);
            w.InterMacroblock(6, 2).Skip(7);
        });
        pictures[i] = m_Fed.Picture();
    }
    TestPicture without = m_Base;
    PredictMacroblock(m_Base, &without, 1, 0, {6, 2}, chroma_default);
    EXPECT_NE(pictures[0].Plane[0], without.Plane[0]);
    ExpectSamePicture(pictures[0], pictures[1]);
}

TEST_F(Mpeg4Decode, AllFormsOfEscapeSayTheSameLevel)
{
    // last, run 0, level 4: the code's largest level is 3, so that the first form adds 1 to 3
    const char* const forms[] = {"0000011 0 0111 0", "0000011 11 1 000000 1 000000000100 1"};
    TestPicture pictures[2];
    for (int i = 0; i < 2; ++i) {
        Restore();
        FeedP([&](CMpeg4Writer& w) { w.Code("0 1 1011 1 1").Code(forms[i]).Skip(8); });
        pictures[i] = m_Fed.Picture();
    }
    EXPECT_NE(pictures[0].Plane[0], m_Base.Plane[0]);
    ExpectSamePicture(pictures[0], pictures[1]);
    // last, run 42, level -1: the largest run is 40, so that the second form adds 41 to a run of 1
    const char* const long_runs[] = {"0000011 10 001111 1", "0000011 11 1 101010 1 111111111111 1"};
    for (int i = 0; i < 2; ++i) {
        Restore();
        FeedP([&](CMpeg4Writer& w) { w.Code("0 1 1011 1 1").Code(long_runs[i]).Skip(8); });
        pictures[i] = m_Fed.Picture();
    }
    EXPECT_NE(pictures[0].Plane[0], m_Base.Plane[0]);
    ExpectSamePicture(pictures[0], pictures[1]);
}

TEST_F(Mpeg4Decode, MacroblockStuffingIsPassedOver)
{
    FeedP([](CMpeg4Writer& w) {
        w.Skip(3).Code("0 000000001").Skip(1).Code("0 000000001 0 000000001").InterMacroblock(6, 2).Skip(4);
    });
    TestPicture expected = m_Base;
    PredictMacroblock(m_Base, &expected, 1, 1, {6, 2}, chroma_default);
    ExpectSamePicture(m_Fed.Picture(), expected);
}

TEST_F(Mpeg4Decode, BytesUsedAreThoseOfTheVop)
{
    std::vector<uint8_t> bytes = m_Packets[1];
    const int32_t size = static_cast<int32_t>(bytes.size());
    bytes.insert(bytes.end(), {0, 0, 1, 0xB6, 9, 9, 9, 9});
    EXPECT_EQ(m_Fed.Feed(bytes), size);
    EXPECT_EQ(m_Fed.m_iGot, size);
}

TEST_F(Mpeg4Decode, PlanesHandedOutAreTheReferenceOfTheNextCall)
{
    const uint8_t* const first = m_Fed.m_Frame.data[0];
    ASSERT_GT(m_Fed.Feed(m_Packets[1]), 0);
    const uint8_t* const second = m_Fed.m_Frame.data[0];
    EXPECT_NE(first, second);
    EXPECT_EQ(m_Fed.Record()->reference.plane[0], second);
    ASSERT_GT(m_Fed.Feed(m_Packets[2]), 0);
    EXPECT_EQ(m_Fed.m_Frame.data[0], first);
}

TEST_F(Mpeg4Decode, PlanesArePackedWithoutBorder)
{
    EXPECT_EQ(m_Fed.m_Frame.linesize[0], SIZE);
    EXPECT_EQ(m_Fed.m_Frame.linesize[1], SIZE / 2);
    EXPECT_EQ(m_Fed.m_Frame.data[1], m_Fed.m_Frame.data[0] + SIZE * SIZE);
    EXPECT_EQ(m_Fed.m_Frame.data[2], m_Fed.m_Frame.data[1] + SIZE * SIZE / 4);
}

/// A VOP that shows nothing: one that isn't coded, or a B-VOP.
class Mpeg4Hidden : public Mpeg4Decode, public ::testing::WithParamInterface<Mpeg4VopFields>
{
};

TEST_P(Mpeg4Hidden, SwapsThePicturesSoThatTheNextPPredictsFromTheOlderOne)
{
    ASSERT_GT(m_Fed.Feed(m_Packets[1]), 0);
    const TestPicture newer = m_Fed.Picture();
    ASSERT_NE(newer.Plane[0], m_Base.Plane[0]);
    m_Fed.m_Frame.key_frame = 77;

    CMpeg4Writer writer;
    const std::vector<uint8_t> hidden = writer.Vop(GetParam()).Bits(0, 32).Take();
    EXPECT_EQ(m_Fed.Feed(hidden), 0);
    EXPECT_EQ(m_Fed.m_iGot, 0);
    EXPECT_EQ(m_Fed.m_Frame.key_frame, 77);      // left as it was
    ExpectSamePicture(m_Fed.Picture(), m_Base);  // filled all the same

    FeedP([](CMpeg4Writer& w) { w.Skip(9); });
    ExpectSamePicture(m_Fed.Picture(), m_Base);
}

TEST_P(Mpeg4Hidden, IsAFailureOfTheTable)
{
    CMpeg4Writer writer;
    const std::vector<uint8_t> hidden = writer.Vop(GetParam()).Bits(0, 32).Take();
    int32_t got = 9;
    const int32_t count = m_Fed.m_Context.picture_count;
    EXPECT_EQ(codec_decode(&m_Fed.m_Context, &m_Fed.m_Frame, &got, hidden.data(),
                           static_cast<int32_t>(hidden.size())),
              -1);
    EXPECT_EQ(got, 0);
    EXPECT_EQ(m_Fed.m_Context.picture_count, count);
}

INSTANTIATE_TEST_SUITE_P(Vops, Mpeg4Hidden,
                         ::testing::Values(Mpeg4VopFields{.type = 0, .coded = false},
                                           Mpeg4VopFields{.type = 1, .coded = false},
                                           Mpeg4VopFields{.type = 2}),
                         [](const auto& test) {
                             const Mpeg4VopFields& fields = test.param;
                             return fields.coded ? "B" : fields.type == 0 ? "NotCodedI" : "NotCodedP";
                         });

TEST_F(Mpeg4Decode, RefusedHeadersSwapNothing)
{
    ASSERT_GT(m_Fed.Feed(m_Packets[1]), 0);
    const TestPicture newer = m_Fed.Picture();
    CMpeg4Writer writer;
    EXPECT_EQ(m_Fed.Feed(writer.Vol({.interlaced = true}).Vop({}).Bits(0, 32).Take()), -9965);
    FeedP([](CMpeg4Writer& w) { w.Skip(9); });
    ExpectSamePicture(m_Fed.Picture(), newer);
}

TEST_F(Mpeg4Decode, VolOfAnotherSizeChangesTheStoredSizeOnly)
{
    for (const Vector size : {Vector{1280, 720}, {8191, 8191}, {16, 16}, {1, 1}}) {
        CMpeg4Writer writer;
        writer.Vol({.width = static_cast<uint32_t>(size.x), .height = static_cast<uint32_t>(size.y)});
        ASSERT_GT(m_Fed.Feed(writer.Vop({.type = 1}).Skip(9).Take()), 0);
        EXPECT_EQ(m_Fed.Record()->header.width, size.x);
        EXPECT_EQ(m_Fed.Record()->header.height, size.y);
        // what is handed out describes the planes, which stay as opened
        EXPECT_EQ(m_Fed.Record()->mb_across, 3);
        EXPECT_EQ(m_Fed.m_Frame.width, SIZE);
        EXPECT_EQ(m_Fed.m_Frame.height, SIZE);
        EXPECT_EQ(m_Fed.m_Frame.linesize[0], SIZE);
        ExpectSamePicture(m_Fed.Picture(), m_Base);
    }
}

TEST(Mpeg4DecodeSize, LastPartialMacroblocksAreNotDecoded)
{
    const std::vector<Mpeg4Packet> packets =
        EncodeMpeg4({.width = 16, .height = 32, .frames = 2, .gop = 1, .scene = ETestScene::Lively});
    CFed whole(16, 32);
    CFed partial(27, 45);
    for (const Mpeg4Packet& packet : packets) {
        ASSERT_GT(whole.Feed(packet), 0);
        ASSERT_GT(partial.Feed(packet), 0);
    }
    const TestPicture expected = whole.Picture();
    const TestPicture found = partial.Picture();
    EXPECT_EQ(found.width, 27);
    EXPECT_EQ(found.height, 45);
    EXPECT_EQ(partial.m_Frame.linesize[0], 27);
    EXPECT_EQ(partial.m_Frame.linesize[1], 13);
    for (int plane = 0; plane < 3; ++plane) {
        for (int y = 0; y < PlaneHeight(found, plane); ++y) {
            for (int x = 0; x < PlaneWidth(found, plane); ++x) {
                const bool inside = x < PlaneWidth(expected, plane) && y < PlaneHeight(expected, plane);
                // the rest stays black
                ASSERT_EQ(Sample(found, plane, x, y), inside       ? Sample(expected, plane, x, y)
                                                      : plane == 0 ? 16
                                                                   : 128)
                    << "plane " << plane << " at " << x << "," << y;
            }
        }
    }
}

TEST(Mpeg4DecodeSize, PictureSmallerThanAMacroblockHasNothingToDecode)
{
    CFed fed(8, 8);
    CMpeg4Writer writer;
    EXPECT_GT(fed.Feed(writer.Vol({}).Vop({}).Bits(0, 32).Take()), 0);
    EXPECT_EQ(Sample(fed.Picture(), 0, 3, 3), 16);
}

TEST(Mpeg4DecodeSize, DecoderWithoutASizeReadsHeadersAndHasNoPlanes)
{
    CFed fed(0, 0);
    CMpeg4Writer writer;
    EXPECT_GT(fed.Feed(writer.Vol({}).Vop({}).Bits(0, 32).Take()), 0);
    EXPECT_EQ(fed.m_Frame.data[0], nullptr);
    EXPECT_EQ(fed.m_Frame.width, 0);
}

TEST(Mpeg4DecodeMemory, OpenGivesTheCodeWhenMemoryIsShort)
{
    const size_t before = codec_memory_in_use();
    codec_init();
    codec_register_all();
    const CodecEntry* const entry = codec_find_decoder(CODEC_ID_MPEG4);
    CodecContext context = {};
    context.width = 704;
    context.height = 576;
    context.priv = codec_alloc(entry->priv_size);
    codec_fail_allocations_after(0);
    EXPECT_EQ(entry->open(&context), -9999);
    codec_fail_allocations_after(-1);
    codec_free(context.priv);
    context.priv = nullptr;

    // the n-th allocation fails: the record's, then the pictures'
    for (int granted = 0; granted < 2; ++granted) {
        codec_fail_allocations_after(granted);
        EXPECT_EQ(codec_open(&context, entry), -1);
        codec_fail_allocations_after(-1);
        EXPECT_EQ(context.entry, nullptr);
    }
    EXPECT_EQ(codec_open(&context, entry), 0);
    codec_close(&context);
    EXPECT_EQ(codec_memory_in_use(), before);
}

TEST(Mpeg4DecodeMemory, NoPictureTakesMemory)
{
    const std::vector<Mpeg4Packet> packets = EncodeMpeg4({.frames = 5, .scene = ETestScene::Lively});
    CMpeg4Decoder decoder(176, 144);
    const size_t opened = codec_memory_in_use();
    codec_fail_allocations_after(0);
    for (const Mpeg4Packet& packet : packets)
        EXPECT_NE(decoder.Decode(packet.data(), static_cast<int32_t>(packet.size())), nullptr);
    codec_fail_allocations_after(-1);
    EXPECT_EQ(codec_memory_in_use(), opened);
}

TEST(Mpeg4DecodeMemory, OpenDecoderOf704By576HoldsLessThanFourMegabytes)
{
    const size_t before = codec_memory_in_use();
    const CMpeg4Decoder decoder(704, 576);
    EXPECT_LT(codec_memory_in_use() - before + sizeof decoder, 4000000u);
}

TEST(Mpeg4DecodeSteps, AllCapabilityStepsGiveTheSamePictures)
{
    codec_init();
    for (const ETestScene scene : {ETestScene::Lively, ETestScene::Noise}) {
        const std::vector<Mpeg4Packet> packets = EncodeMpeg4({.frames = 8,
                                                              .gop = 4,
                                                              .quant = 3,
                                                              .scene = scene,
                                                              .b4Mv = true,
                                                              .acPred = true,
                                                              .varyQuant = true});
        std::vector<TestPicture> plain;
        for (const KernelStep& step : KernelSteps()) {
            if (!step.available) continue;
            SCOPED_TRACE(step.name);
            mpeg4_dsp_refill(step.caps);
            CFed fed(176, 144);
            for (size_t i = 0; i < packets.size(); ++i) {
                ASSERT_GT(fed.Feed(packets[i]), 0);
                if (step.caps == 0)
                    plain.push_back(fed.Picture());
                else
                    ExpectSamePicture(fed.Picture(), plain[i]);
            }
        }
    }
    mpeg4_dsp_refill(mpeg4_cpu_detect(nullptr));
}
}  // namespace
