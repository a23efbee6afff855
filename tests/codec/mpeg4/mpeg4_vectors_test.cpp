// Vectors and prediction of VOPs that are written bit by bit.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "codec/codec.h"
#include "codec/decoder.h"
#include "tests/codec/mpeg4/mpeg4_decode_support.h"

namespace
{

/// R4 of the standard.
constexpr int CHROMA_STANDARD[4] = {0, 1, 0, 0};
constexpr int CHROMA_OF_FOUR[16] = {0, 0, 0, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 1, 1};

int Median(int a, int b, int c)
{
    std::array<int, 3> sorted = {a, b, c};
    std::sort(sorted.begin(), sorted.end());
    return sorted[1];
}

TEST_F(Mpeg4Decode, ChromaVectorTakesTheDevicesTableByDefault)
{
    // oddity: chroma-rounding-table; 0, 0, 1, 0 where ISO/IEC 14496-2 has 0, 1, 0, 0
    for (int v = -32; v <= 31; ++v) {
        SCOPED_TRACE(v);
        Restore();
        FeedP([v](CMpeg4Writer& w) { w.Skip(4).InterMacroblock(v, 3 - v / 2).Skip(4); });
        TestPicture expected = m_Base;
        PredictMacroblock(m_Base, &expected, 1, 1, {v, 3 - v / 2}, CHROMA_DEFAULT);
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
        PredictMacroblock(m_Base, &expected, 1, 1, {v, 3 - v / 2}, CHROMA_STANDARD);
        ExpectSamePicture(m_Fed.Picture(), expected);
    }
}

TEST_F(Mpeg4Decode, StandardChromaIsSetAtTheDecoderObject)
{
    CMpeg4Writer writer;
    writer.Vop({.type = 1}).Skip(4).InterMacroblock(1, 2).Skip(4);
    const std::vector<uint8_t> inter = writer.Take();
    const int* const tables[] = {CHROMA_DEFAULT, CHROMA_STANDARD};
    for (int on = 0; on < 2; ++on) {
        CMpeg4Decoder decoder(SIZE, SIZE);
        if (on) decoder.SetStandardChroma(true);
        decoder.Decode(m_Packets[0].data(), static_cast<int32_t>(m_Packets[0].size()));
        const CodecFrame* const frame = decoder.Decode(inter.data(), static_cast<int32_t>(inter.size()));
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
        const int sumX = mv[0].x + mv[1].x + mv[2].x + mv[3].x;
        const int sumY = mv[0].y + mv[1].y + mv[2].y + mv[3].y;
        const Vector chroma = {(sumX >> 3) + CHROMA_OF_FOUR[sumX & 15],
                               (sumY >> 3) + CHROMA_OF_FOUR[sumY & 15]};
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
            PredictMacroblock(m_Base, &expected, corner % 3, corner / 3, v, CHROMA_DEFAULT);
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
        PredictMacroblock(m_Base, &expected, i % 3, i / 3, mv[i], CHROMA_DEFAULT);
    ExpectSamePicture(m_Fed.Picture(), expected);
}

TEST_F(Mpeg4Decode, VectorsWrapIntoTheRangeOfFcodeOneWhateverTheHeaderSays)
{
    for (uint32_t fcode : {1u, 3u, 7u}) {
        Restore();
        FeedP(
            [](CMpeg4Writer& w) {
                w.InterMacroblock(31, -32).InterMacroblock(10, -3).InterMacroblock(9, 1).Skip(6);
            },
            {.type = 1, .fcode = fcode});
        TestPicture expected = m_Base;
        PredictMacroblock(m_Base, &expected, 0, 0, {31, -32}, CHROMA_DEFAULT);
        PredictMacroblock(m_Base, &expected, 1, 0, {41 - 64, -35 + 64}, CHROMA_DEFAULT);
        PredictMacroblock(m_Base, &expected, 2, 0, {-14, 30}, CHROMA_DEFAULT);
        ExpectSamePicture(m_Fed.Picture(), expected);
    }
}

TEST_F(Mpeg4Decode, VectorsOneStepBeyondTheRangeWrapAsWell)
{
    FeedP([](CMpeg4Writer& w) { w.InterMacroblock(31, -32).InterMacroblock(1, -1).Skip(7); });
    TestPicture expected = m_Base;
    PredictMacroblock(m_Base, &expected, 0, 0, {31, -32}, CHROMA_DEFAULT);
    PredictMacroblock(m_Base, &expected, 1, 0, {-32, 31}, CHROMA_DEFAULT);
    ExpectSamePicture(m_Fed.Picture(), expected);
}

TEST_F(Mpeg4Decode, RoundingIsOfTypeZeroWhateverTheHeaderSays)
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

}  // namespace
