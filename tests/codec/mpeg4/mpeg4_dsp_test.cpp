// How the kernel table of MPEG-4 is filled. That the kernels themselves agree is the kernel walk's business.
#include "codec/mpeg4/mpeg4_dsp.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "codec/cpu.h"

namespace
{
mpeg4_dsp_t Filled(uint32_t caps)
{
    mpeg4_dsp_t dsp;
    std::memset(&dsp, 0, sizeof dsp);
    mpeg4_dsp_fill(&dsp, caps);
    return dsp;
}

bool Same(const mpeg4_dsp_t& a, const mpeg4_dsp_t& b)
{
    return std::memcmp(&a, &b, sizeof a) == 0;
}

TEST(Mpeg4Dsp, EverySlotIsFilledWithAllBitsClear)
{
    const mpeg4_dsp_t plain = Filled(0);
    const void* slots[sizeof plain / sizeof(void*)];
    std::memcpy(slots, &plain, sizeof plain);
    for (const void* slot : slots)
        EXPECT_NE(slot, nullptr);
}

TEST(Mpeg4Dsp, BitsWithoutKernelsGiveThePlainOnes)
{
    EXPECT_TRUE(Same(Filled(CODEC_CAP_TSC | CODEC_CAP_SSE | CODEC_CAP_SSE3 | CODEC_CAP_3DNOW), Filled(0)));
}

#if defined(__x86_64__)
TEST(Mpeg4Dsp, StateClearIsChosenByTheMmxBit)
{
    EXPECT_NE(Filled(CODEC_CAP_MMX).state_clear, Filled(0).state_clear);
    EXPECT_EQ(Filled(CODEC_CAP_SSE2).state_clear, Filled(0).state_clear);
}

TEST(Mpeg4Dsp, LaterStepsStandOverTheEarlierOnes)
{
    EXPECT_NE(Filled(CODEC_STEP_SSE2).idct_add, Filled(0).idct_add);
    EXPECT_NE(Filled(CODEC_STEP_AVX2).idct_add, Filled(CODEC_STEP_SSE2).idct_add);
    // what a step doesn't improve stays the earlier step's
    EXPECT_EQ(Filled(CODEC_STEP_AVX2).dc_add, Filled(CODEC_STEP_SSE2).dc_add);
}

TEST(Mpeg4Dsp, SetThatTrapsInItsTrialIsNotUsed)
{
    codec_cpu_report report = codec_read_cpu();
    const auto trapSse2 = [](codec_cap bit, const codec_cpu_report&) { return bit != CODEC_CAP_SSE2; };
    const mpeg4_dsp_t found = Filled(mpeg4_cpu_detect(nullptr, report, trapSse2));
    EXPECT_EQ(found.idct_add, Filled(0).idct_add);
    EXPECT_EQ(found.predict[0][MPEG4_WIDTH_16][MPEG4_HALF_HV],
              Filled(0).predict[0][MPEG4_WIDTH_16][MPEG4_HALF_HV]);
}
#endif

// The table is filled once a process, so each case takes a process of its own.
TEST(Mpeg4DspInitDeathTest, FlagsOtherThanZeroAreTakenAsTheBits)
{
    EXPECT_EXIT(
        {
            mpeg4_dsp_init(CODEC_CAP_TSC);
            std::exit(Same(*mpeg4_dsp(), Filled(0)) ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST(Mpeg4DspInitDeathTest, FlagsOfZeroAskTheProcessor)
{
    EXPECT_EXIT(
        {
            mpeg4_dsp_init(0);
            std::exit(Same(*mpeg4_dsp(), Filled(mpeg4_cpu_detect(nullptr))) ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST(Mpeg4DspInitDeathTest, MaskOfZeroGivesThePlainKernels)
{
    EXPECT_EXIT(
        {
            codec_set_cap_mask(0);
            mpeg4_dsp_init(0);
            std::exit(Same(*mpeg4_dsp(), Filled(0)) ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST(Mpeg4DspInitDeathTest, OnlyTheFirstCallCounts)
{
    EXPECT_EXIT(
        {
            mpeg4_dsp_init(CODEC_CAP_TSC);
            mpeg4_dsp_init(CODEC_STEP_AVX2);
            std::exit(Same(*mpeg4_dsp(), Filled(0)) ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}
}  // namespace
