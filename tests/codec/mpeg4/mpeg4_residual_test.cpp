// Quantisers and coefficients of VOPs that are written bit by bit.
#include <gtest/gtest.h>

#include <algorithm>

#include "codec/mpeg4/mpeg4_idct.h"
#include "tests/codec/mpeg4/mpeg4_decode_support.h"

namespace
{

TEST_F(Mpeg4Decode, DcThresholdIsReadAndIgnored)
{
    // the three bits after the type, the marker, the increment, the marker and vop_coded
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
const char* const changedQuantMacroblock = "0 011 1011 11 1 1 0111 0";

TEST_F(Mpeg4Decode, RunningQuantIsNotClamped)
{
    FeedP(
        [](CMpeg4Writer& w) {
            for (int i = 0; i < 3; ++i)
                w.Code(changedQuantMacroblock);
            w.Skip(6);
        },
        {.type = 1, .quant = 31});
    TestPicture expected = m_Base;
    for (int mb = 0; mb < 3; ++mb) {
        const int quant = 33 + 2 * mb;
        const int residual = mpeg4_idct_dc(2 * quant + quant);
        for (int y = 0; y < 8; ++y) {
            for (int x = 0; x < 8; ++x) {
                uint8_t& sample = expected.plane[0][static_cast<size_t>(y * SIZE + mb * 16 + x)];
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
            uint8_t& sample = expected.plane[0][static_cast<size_t>(y * SIZE + x)];
            sample = static_cast<uint8_t>(sample + residual);
        }
    }
    PredictMacroblock(m_Base, &expected, 1, 0, {6, 2}, CHROMA_DEFAULT);
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
    PredictMacroblock(m_Base, &expected, 1, 0, {6, 2}, CHROMA_DEFAULT);
    ExpectSamePicture(m_Fed.Picture(), expected);
}

TEST_F(Mpeg4Decode, RunThatLeavesTheBlockTakesNoneOfTheBitsAfterItsCode)
{
    // after the code that leaves, the next macroblock's header could be read as a code too
    FeedP([](CMpeg4Writer& w) {
        w.Code("0 1 1011 1 1").Code("0000011 11 0 111111 1").Bits(0, 12).Code("1 10 0");
        w.InterMacroblock(6, 2).Skip(7);
    });
    TestPicture expected = m_Base;
    PredictMacroblock(m_Base, &expected, 1, 0, {6, 2}, CHROMA_DEFAULT);
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
    PredictMacroblock(m_Base, &without, 1, 0, {6, 2}, CHROMA_DEFAULT);
    EXPECT_NE(pictures[0].plane[0], without.plane[0]);
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
    EXPECT_NE(pictures[0].plane[0], m_Base.plane[0]);
    ExpectSamePicture(pictures[0], pictures[1]);
    // last, run 42, level -1: the largest run is 40, so that the second form adds 41 to a run of 1
    const char* const longRuns[] = {"0000011 10 001111 1", "0000011 11 1 101010 1 111111111111 1"};
    for (int i = 0; i < 2; ++i) {
        Restore();
        FeedP([&](CMpeg4Writer& w) { w.Code("0 1 1011 1 1").Code(longRuns[i]).Skip(8); });
        pictures[i] = m_Fed.Picture();
    }
    EXPECT_NE(pictures[0].plane[0], m_Base.plane[0]);
    ExpectSamePicture(pictures[0], pictures[1]);
}

TEST_F(Mpeg4Decode, MacroblockStuffingIsSkipped)
{
    FeedP([](CMpeg4Writer& w) {
        w.Skip(3).Code("0 000000001").Skip(1).Code("0 000000001 0 000000001").InterMacroblock(6, 2).Skip(4);
    });
    TestPicture expected = m_Base;
    PredictMacroblock(m_Base, &expected, 1, 1, {6, 2}, CHROMA_DEFAULT);
    ExpectSamePicture(m_Fed.Picture(), expected);
}

}  // namespace
