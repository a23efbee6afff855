// Codes that are longer than those of any encoder: level prefixes of 16 and more, and codes without an end.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/codec/c264/c264_fed_support.h"
#include "tests/codec/c264/c264_handmade_support.h"
#include "tests/support/h264_cabac_engine.h"
#include "tests/support/h264_random.h"

namespace
{

/// The luma of a picture of `side` by `side`, row by row.
std::vector<int> SamplesOf(const C264Fed& fed, int side)
{
    std::vector<int> samples;
    for (int i = 0; i < side * side; ++i)
        samples.push_back(fed.Luma(i % side, i / side));
    return samples;
}
/// An intra 16x16 macroblock with these levels of its DC block, which the quantiser of 0 leaves small.
H264Sequence OneDcBlock(int first, int second)
{
    H264Sequence sequence;
    sequence.parameters = C264HandmadeParameters();
    H264Macroblock mb;
    mb.type = EH264Mb::I16x16;
    mb.intra16x16_mode = 2;
    mb.luma_dc[0] = first;
    mb.luma_dc[1] = second;
    H264Picture picture;
    picture.header.slice_qp = 0;
    picture.header.disable_deblocking_filter_idc = 1;
    picture.mbs = {mb};
    sequence.pictures = {picture};
    return sequence;
}

TEST(C264LongCodes, LevelPrefixesOf16AndMoreAreReadAsByLibavcodec)
{
    // after a prefix of 15 without a suffix length, and with one that the level before made; of 16; of 17
    static constexpr int LEVELS[][2] = {{2064, 0},  {2065, 0},  {-2065, 0}, {3000, 0},    {2000, 20},
                                        {2100, 20}, {-3100, 3}, {-3100, 9}, {6200, 3300}, {-6300, 3100}};
    for (const auto& levels : LEVELS) {
        SCOPED_TRACE(testing::Message() << levels[0] << " " << levels[1]);
        const H264Sequence sequence = OneDcBlock(levels[0], levels[1]);
        for (const bool cabac : {false, true}) {
            SCOPED_TRACE(cabac ? "CABAC" : "CAVLC");
            const std::vector<H264Packet> packets = WriteH264(sequence, cabac);
            const std::vector<TestPicture> expected = DecodeWithLibavcodec(packets);
            ASSERT_FALSE(HasFailure());
            ForEachC264Step([&] { ASSERT_NO_FATAL_FAILURE(ExpectPictures(sequence, packets, expected)); });
            ASSERT_FALSE(HasFatalFailure());
        }
    }
}

TEST(C264LongCodes, LevelsKeepTheirLower16BitsUpToAPrefixOf25)
{
    const auto decode = [](int level) {
        C264Fed fed(16, 16);
        fed.Feed(WriteH264(OneDcBlock(level, 0), false)[0]);
        return fed.Middle(0, 0);
    };
    ASSERT_NE(decode(1000), decode(1400));
    for (const int more : {1, 2, 4, 8, 16, 32, 60})
        EXPECT_EQ(decode(1000 + 65536 * more), decode(1000)) << more;
}

TEST(C264LongCodes, TotalZerosAfterLongLevelsAreReadWhole)
{
    // 54 bits of token and levels, and six more, at every place in a byte
    H264Sequence sequence;
    sequence.parameters = C264HandmadeParameters();
    sequence.parameters.widthMbs = 9;
    H264Macroblock mb;
    mb.type = EH264Mb::I16x16;
    mb.intra16x16_mode = 2;
    mb.luma_dc[13] = -8;
    mb.luma_dc[5] = 24;
    mb.luma_dc[0] = 53;
    mb.qp = 10;
    H264Picture picture;
    picture.header.slice_qp = 10;
    picture.header.disable_deblocking_filter_idc = 1;
    picture.mbs.assign(9, mb);
    sequence.pictures = {picture};
    const std::vector<H264Packet> packets = WriteH264(sequence, false);
    ExpectPictures(sequence, packets, DecodeWithLibavcodec(packets));
}

/// The sample in the middle of a macroblock with one level after this change of the quantiser, which was 40.
int AfterQuantiserChange(int delta)
{
    CH264Bits bits = C264SliceStart({});
    bits.Ue(3).Ue(0).Se(delta).Code("01").Bit(false).Code("1");
    C264Fed fed(16, 16);
    fed.FeedSlice(bits);
    return fed.Middle(0, 0);
}

TEST(C264LongCodes, QuantiserChangesThatWrapTwiceStayInTheRange)
{
    ASSERT_NE(AfterQuantiserChange(11), AfterQuantiserChange(0));
    EXPECT_EQ(AfterQuantiserChange(200), AfterQuantiserChange(11)) << "51";
    EXPECT_EQ(AfterQuantiserChange(-200), AfterQuantiserChange(-40)) << "0";
}

/// The samples of a picture whose first macroblock has this residual of its first 8x8 of luma, the others none.
std::vector<int> WithResidual(const char* residual)
{
    C264Fed fed(32, 32);
    C264FeedColumns(&fed);
    CH264Bits bits = C264SliceStart({.type = 0});
    bits.Ue(0).Ue(0).Se(0).Se(0).Ue(2).Se(0).Code(residual);  // 16x16, pattern 1, no change of the quantiser
    C264Moved(&bits, 64, 0);                                  // shows whether it is in step
    bits.Ue(2);
    fed.FeedSlice(bits);
    return SamplesOf(fed, 32);
}

TEST(C264LongCodes, RunLongerThanTheZerosLeftTakesAllOfThem)
{
    // two trailing ones with seven zeros below; the other three blocks have none
    const std::string begin = "001 00 0011 ";
    const std::string end = " 11 11 1";
    const auto coded = [&](const std::string& run) {
        std::string code = begin + run + end;
        std::erase(code, ' ');
        return WithResidual(code.c_str());
    };
    ASSERT_NE(coded("0001"), coded("001"));
    EXPECT_EQ(coded("00000000001"), coded("0001")) << "of 14";
    EXPECT_EQ(coded("000000000001"), coded("0001")) << "of no number in the table";
}

/// The samples of an intra 16x16 macroblock with this first AC block of luma, the other fifteen without levels.
std::vector<int> WithAcBlock(std::string block, const std::string& others)
{
    block += others;
    std::erase(block, ' ');
    C264Fed fed(16, 16);
    CH264Bits bits = C264SliceStart({});
    bits.Ue(15).Ue(0).Se(0).Code("1").Code(block);  // DC, all of luma has AC levels; no DC levels
    fed.FeedSlice(bits);
    return SamplesOf(fed, 16);
}

TEST(C264LongCodes, MoreZerosThanABlockOf15HasPlacesForAreCut)
{
    // one trailing one; beside it nC is 1, elsewhere 0
    const std::string others = "1 1 1 1 1 1 1 1 1 1 1 1 1 1 1";
    ASSERT_NE(WithAcBlock("01 0 000000010 ", others), WithAcBlock("01 0 000000011 ", others));
    EXPECT_EQ(WithAcBlock("01 0 000000001 ", others), WithAcBlock("01 0 000000010 ", others)) << "15, and 14";
}

TEST(C264LongCodes, MoreLevelsThanABlockOf15HasPlacesForAreCut)
{
    // three trailing ones and levels of two: 15 of them, and 16, of which the last isn't read; beside it nC is
    // 15
    const std::string twelve = "1 10 10 10 10 10 10 10 10 10 10 10 ";
    const std::string others = "000011 000011 1 1 1 1 1 1 1 1 1 1 1 1 1";
    EXPECT_EQ(WithAcBlock("0000000000001000 000 " + twelve, others),
              WithAcBlock("0000000000001100 000 " + twelve, others));
}

/// The samples of a picture whose first macroblock is moved; what the quantiser is shifts the codes by some
/// bits.
std::vector<int> MovedBy(int x, int qp)
{
    C264Fed fed(32, 32);
    C264FeedColumns(&fed);
    CH264Bits bits = C264SliceStart({.type = 0, .qp = qp});
    C264Moved(&bits, x, 0);
    bits.Ue(3);
    fed.FeedSlice(bits);
    return SamplesOf(fed, 32);
}

TEST(C264LongCodes, ExpGolombCodesOfUpTo31ZerosAreReadToTheirLastBit)
{
    // vectors have 16 bits: what is above them leaves no trace but the length of the code
    for (const int qp : {26, 27, 29, 33, 41}) {
        SCOPED_TRACE(qp);
        const std::vector<int> expected = MovedBy(33, qp);
        EXPECT_NE(expected, MovedBy(32, qp));
        for (int bit = 16; bit <= 30; ++bit)
            EXPECT_EQ(MovedBy(33 + (1 << bit), qp), expected) << bit + 1 << " zeros";
    }
}

constexpr int QP = 20;

/// A P slice of one macroblock in the arithmetic coder, bin by bin: what comes in front of `mvd_l0`.
class CArithmeticSlice
{
  public:
    CArithmeticSlice()
    {
        m_Parameters = C264HandmadeParameters();
        m_Parameters.entropy_coding_mode = true;
        H264SliceHeader header;
        header.intra = header.idr = false;
        header.frame_num = 1;
        header.slice_qp = QP;
        header.disable_deblocking_filter_idc = 1;
        WriteH264SliceHeader(m_Parameters, header, &m_Bits);
        m_Bits.AlignWith(true);
    }

    /// mb_skip_flag and mb_type of P_L0_16x16.
    void Begin(CH264CabacEngine* engine) const
    {
        for (const int context : {11, 14, 15, 16})
            engine->Decision(context, false);
    }

    CH264Bits* Bits() { return &m_Bits; }

    /// The samples of the picture, after an I picture that isn't flat.
    std::vector<int> Decode() const
    {
        H264Sequence sequence = MakeRandomH264({.seed = 5, .widthMbs = 1, .heightMbs = 1, .pictures = 1});
        sequence.parameters = m_Parameters;
        C264Fed fed(16, 16);
        fed.Feed(WriteH264(sequence, true)[0]);
        fed.Feed(C264Unit(UNIT_SLICE, m_Bits.Bytes()));
        EXPECT_EQ(fed.got, 1);
        return SamplesOf(fed, 16);
    }

  private:
    H264Parameters m_Parameters;
    CH264Bits m_Bits;
};

void PutBypass(CH264CabacEngine* engine, uint32_t value, int bits)
{
    while (bits-- > 0)
        engine->Bypass((value >> bits & 1) != 0);
}

/// A suffix in Exp-Golomb of order `k` that is `value`, or one whose ones don't end before the twentieth step
/// and which is `value` in 16 bits.
void PutSuffix(CH264CabacEngine* engine, int k, uint32_t value, bool endless)
{
    if (endless) {
        const uint32_t start = (1u << 20) - (1u << k);
        PutBypass(engine, 0xFFFFF, 20 - k);
        PutBypass(engine, (value - start) & 0xFFFF, 20);
        return;
    }
    for (; value >= 1u << k; ++k) {
        engine->Bypass(true);
        value -= 1u << k;
    }
    engine->Bypass(false);
    PutBypass(engine, value, k);
}

/// A vector difference of (x, 0) and no residual; `x` is 9 and more.
std::vector<int> Moved(uint32_t x, bool endless)
{
    CArithmeticSlice slice;
    CH264CabacEngine engine(H264_CONTEXT_START_P[0], QP, slice.Bits());
    slice.Begin(&engine);
    for (const int context : {40, 43, 44, 45, 46, 46, 46, 46, 46})
        engine.Decision(context, true);
    PutSuffix(&engine, 3, x - 9, endless);
    engine.Bypass(false);
    engine.Decision(47, false);
    for (const int context : {73, 74, 75, 76, 77})  // nothing coded
        engine.Decision(context, false);
    engine.Terminate(true);
    return slice.Decode();
}

TEST(C264LongCodes, SuffixOfAVectorDifferenceEndsAtItsTwentiethStep)
{
    EXPECT_NE(Moved(10, false), Moved(20, false));
    EXPECT_EQ(Moved(10, true), Moved(10, false));
    EXPECT_EQ(Moved(20, true), Moved(20, false));
}

struct Residual {
    uint32_t level = 1;  ///< of the first luma coefficient
    bool endless = false;
    int deltaOnes = 0;  ///< bins of mb_qp_delta
    bool deltaEnds = true;
};

/// No vector difference, and one coefficient in the first luma block.
std::vector<int> Coded(const Residual& residual)
{
    CArithmeticSlice slice;
    CH264CabacEngine engine(H264_CONTEXT_START_P[0], QP, slice.Bits());
    slice.Begin(&engine);
    engine.Decision(40, false);
    engine.Decision(47, false);
    engine.Decision(73, true);  // the first 8x8 is coded, the others aren't, nor is chroma
    for (const int context : {73, 73, 76, 77})
        engine.Decision(context, false);
    const auto deltaContext = [](int bin) { return bin == 0 ? 60 : bin == 1 ? 62 : 63; };
    for (int bin = 0; bin < residual.deltaOnes; ++bin)
        engine.Decision(deltaContext(bin), true);
    if (residual.deltaEnds) engine.Decision(deltaContext(residual.deltaOnes), false);
    for (const int context : {93, 134, 195})  // coded, significant, the last
        engine.Decision(context, true);
    if (residual.level == 1) {
        engine.Decision(248, false);
    } else {
        engine.Decision(248, true);
        for (int bin = 0; bin < 13; ++bin)
            engine.Decision(252, true);
        PutSuffix(&engine, 0, residual.level - 15, residual.endless);
    }
    engine.Bypass(false);
    for (const int context : {94, 95, 93})  // the other three blocks
        engine.Decision(context, false);
    engine.Terminate(true);
    return slice.Decode();
}

TEST(C264LongCodes, SuffixOfALevelEndsAtItsTwentiethStep)
{
    EXPECT_NE(Coded({.level = 20}), Coded({.level = 30}));
    EXPECT_EQ(Coded({.level = 20, .endless = true}), Coded({.level = 20}));
    EXPECT_EQ(Coded({.level = 30, .endless = true}), Coded({.level = 30}));
}

TEST(C264LongCodes, QuantiserChangeEndsAtItsBin104)
{
    // 104 says 52 less, which wraps to where it was
    EXPECT_NE(Coded({.deltaOnes = 40}), Coded({}));
    EXPECT_EQ(Coded({.deltaOnes = 104, .deltaEnds = false}), Coded({}));
}
}  // namespace
