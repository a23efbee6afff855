#include "codec/c264/c264_dsp.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

#include "codec/cpu.h"

namespace
{

// The bits of older processors' vector units, none of which has kernels of its own.
constexpr std::uint32_t OLD_BITS = CODEC_CAP_TSC | CODEC_CAP_MMX | CODEC_CAP_SSE | CODEC_CAP_SSE3 |
                                   CODEC_CAP_3DNOW | CODEC_CAP_3DNOWEXT | CODEC_CAP_MMXEXT | CODEC_CAP_SSE41 |
                                   CODEC_CAP_SSE42;

c264_dsp_t Filled(std::uint32_t caps)
{
    c264_dsp_t dsp;
    std::memset(&dsp, 0, sizeof dsp);
    c264_dsp_fill(&dsp, caps);
    return dsp;
}

bool Same(const c264_dsp_t& a, const c264_dsp_t& b)
{
    return std::memcmp(&a, &b, sizeof a) == 0;
}

std::set<std::string> StepsInUse(std::uint32_t caps)
{
    std::set<std::string> steps;
    for (const c264_slot& slot : c264_dsp_slots())
        steps.insert(c264_dsp_step(slot, caps));
    return steps;
}

TEST(C264Dsp, WithAllBitsClearEverySlotHoldsItsPlainKernel)
{
    const c264_dsp_t dsp = Filled(0);
    for (const c264_slot& slot : c264_dsp_slots()) {
        EXPECT_NE(nullptr, c264_dsp_kernel(dsp, slot)) << slot.name;
        EXPECT_STREQ("plain", c264_dsp_step(slot, 0)) << slot.name;
    }
}

TEST(C264Dsp, NoPointerOfTheTableIsLeftEmptyAtAnyStep)
{
    for (const std::uint32_t caps : {CODEC_STEP_PLAIN, CODEC_STEP_SSE2, CODEC_STEP_SSSE3, CODEC_STEP_AVX2}) {
        const c264_dsp_t dsp = Filled(caps);
        for (std::size_t at = 0; at < sizeof dsp; at += sizeof(void*)) {
            const void* pointer = nullptr;
            std::memcpy(&pointer, reinterpret_cast<const char*>(&dsp) + at, sizeof pointer);
            EXPECT_NE(nullptr, pointer) << "offset " << at << " caps " << caps;
        }
    }
}

TEST(C264Dsp, BitsOfOlderUnitsSelectNothing)
{
    c264_dsp_t old = Filled(OLD_BITS);
    const c264_dsp_t plain = Filled(0);
    old.state_clear = plain.state_clear;
    EXPECT_TRUE(Same(plain, old));

    const c264_dsp_t both = Filled(OLD_BITS | CODEC_CAP_SSE2);
    c264_dsp_t sse2 = Filled(CODEC_CAP_SSE2);
    sse2.state_clear = both.state_clear;
    EXPECT_TRUE(Same(sse2, both));
}

TEST(C264Dsp, TheMmxBitAloneSettlesTheStateClear)
{
    const auto without = Filled(CODEC_STEP_AVX2 & ~CODEC_CAP_MMX).state_clear;
    EXPECT_EQ(Filled(0).state_clear, without);
#if defined(__x86_64__)
    EXPECT_NE(without, Filled(CODEC_CAP_MMX).state_clear);
    EXPECT_EQ(Filled(CODEC_STEP_AVX2).state_clear, Filled(CODEC_CAP_MMX).state_clear);
#endif
}

#if defined(__x86_64__)

TEST(C264Dsp, EachStepIsInUseWithItsBit)
{
    using testing::Contains;
    EXPECT_THAT(StepsInUse(CODEC_STEP_SSE2), Contains("SSE2"));
    EXPECT_THAT(StepsInUse(CODEC_STEP_SSSE3), Contains("SSSE3"));
    EXPECT_THAT(StepsInUse(CODEC_STEP_AVX2), Contains("AVX2"));
}

TEST(C264Dsp, ABitThatIsMaskedOutRunsWithoutItsFamily)
{
    using testing::Contains;
    using testing::Not;
    for (const std::uint32_t bit : {CODEC_CAP_SSE2, CODEC_CAP_SSSE3, CODEC_CAP_AVX2}) {
        const char* const name = bit == CODEC_CAP_SSE2 ? "SSE2" : bit == CODEC_CAP_SSSE3 ? "SSSE3" : "AVX2";
        const std::set<std::string> steps = StepsInUse(CODEC_STEP_AVX2 & ~bit);
        EXPECT_THAT(steps, Not(Contains(name)));
        // The bits that stay count for themselves.
        EXPECT_EQ(3U, steps.size()) << "plain and two others without " << name;
    }
}

// What a processor states that has everything.
codec_cpu_report FullReport()
{
    codec_cpu_report report;
    report.has_cpuid = true;
    report.leaf1_edx = 0xFFFFFFFF;
    report.leaf1_ecx = 0xFFFFFFFF;
    report.leaf7_ebx = 0xFFFFFFFF;
    report.extended_edx = 0xFFFFFFFF;
    report.xcr0 = 0xFF;
    return report;
}

TEST(C264Dsp, ABitWhoseTrialTrapsRunsWithoutItsFamily)
{
    using testing::Contains;
    using testing::Not;
    const std::uint32_t all =
        c264_cpu_detect(FullReport(), [](codec_cap, const codec_cpu_report&) { return true; });
    EXPECT_THAT(StepsInUse(all), Contains("SSSE3"));
    const std::uint32_t cut = c264_cpu_detect(
        FullReport(), [](codec_cap bit, const codec_cpu_report&) { return bit != CODEC_CAP_SSSE3; });
    EXPECT_THAT(StepsInUse(cut), Not(Contains("SSSE3")));
    EXPECT_THAT(StepsInUse(cut), Contains("SSE2"));
    const std::uint32_t none =
        c264_cpu_detect(FullReport(), [](codec_cap, const codec_cpu_report&) { return false; });
    EXPECT_THAT(StepsInUse(none), testing::ElementsAre("plain"));
}

TEST(C264Dsp, ALaterBitOverwritesWhatAnEarlierOneSet)
{
    const c264_dsp_t sse2 = Filled(CODEC_STEP_SSE2);
    const c264_dsp_t ssse3 = Filled(CODEC_STEP_SSSE3);
    const c264_dsp_t avx2 = Filled(CODEC_STEP_AVX2);
    // A slot that all three steps improve, one that only the first does, one that nothing improves.
    EXPECT_NE(sse2.mc.luma[C264_WIDTH_16][10], ssse3.mc.luma[C264_WIDTH_16][10]);
    EXPECT_NE(ssse3.mc.luma[C264_WIDTH_16][10], avx2.mc.luma[C264_WIDTH_16][10]);
    EXPECT_NE(Filled(0).transform.add_block, sse2.transform.add_block);
    EXPECT_EQ(sse2.transform.add_block, avx2.transform.add_block);
    EXPECT_EQ(Filled(0).copy.copy[C264_WIDTH_2], avx2.copy.copy[C264_WIDTH_2]);
}

#endif

TEST(C264Dsp, FillingTwiceGivesTheSameTable)
{
    c264_dsp_t dsp = Filled(CODEC_STEP_AVX2);
    c264_dsp_fill(&dsp, CODEC_STEP_AVX2);
    EXPECT_TRUE(Same(Filled(CODEC_STEP_AVX2), dsp));
    c264_dsp_fill(&dsp, 0);
    EXPECT_TRUE(Same(Filled(0), dsp)) << "a step of an earlier filling stays";
}

TEST(C264Dsp, TheProcessTableIsFilledOnceForTheProcessor)
{
    c264_dsp_init();
    EXPECT_TRUE(Same(Filled(c264_cpu_detect()), *c264_dsp()));

    // A later call changes nothing, whatever the mask says by then.
    const std::uint32_t mask = codec_cap_mask();
    codec_set_cap_mask(0);
    c264_dsp_init();
    codec_set_cap_mask(mask);
    EXPECT_TRUE(Same(Filled(c264_cpu_detect()), *c264_dsp()));

    c264_dsp_refill(0);
    EXPECT_TRUE(Same(Filled(0), *c264_dsp()));
    c264_dsp_refill(c264_cpu_detect());
}

TEST(C264Dsp, SlotNamesAndPlacesAreUnique)
{
    std::set<std::string> names;
    std::set<std::size_t> offsets;
    for (const c264_slot& slot : c264_dsp_slots()) {
        EXPECT_TRUE(names.insert(slot.name).second) << slot.name;
        EXPECT_TRUE(offsets.insert(slot.offset).second) << slot.name;
        EXPECT_EQ(std::string::npos, slot.name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789_"));
    }
    EXPECT_EQ(107U, names.size());
}

TEST(C264Dsp, SlotNamesTellTheirPlace)
{
    const c264_dsp_t dsp = Filled(CODEC_STEP_AVX2);
    const auto kernel = [&](const std::string& name) -> const void* {
        for (const c264_slot& slot : c264_dsp_slots()) {
            if (slot.name == name) return c264_dsp_kernel(dsp, slot);
        }
        return nullptr;
    };
    EXPECT_EQ(reinterpret_cast<const void*>(dsp.mc.luma[C264_WIDTH_8][6]), kernel("mc_luma8_x2y1"));
    EXPECT_EQ(reinterpret_cast<const void*>(dsp.mc.chroma[1]), kernel("mc_chroma4"));
    EXPECT_EQ(reinterpret_cast<const void*>(dsp.deblock.edge[6]), kernel("deblock_strong_horizontal_luma"));
    EXPECT_EQ(reinterpret_cast<const void*>(dsp.intra.luma16[10]), kernel("intra_luma16_dc_top"));
    EXPECT_EQ(reinterpret_cast<const void*>(dsp.copy.average[C264_WIDTH_4]), kernel("average_4"));
}

}  // namespace
