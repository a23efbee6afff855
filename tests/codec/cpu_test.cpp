#include "codec/cpu.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace
{

constexpr std::uint32_t ALL_TABLE_BITS =
    0x02 | 0x04 | 0x08 | 0x10 | 0x20 | 0x40 | 0x80 | 0x100 | 0x200 | 0x400 | 0x800;
constexpr std::uint32_t C264_TRIED = 0x04 | 0x100 | 0x08 | 0x10 | 0x20 | 0x40 | 0x200;
constexpr std::uint32_t MPEG4_TRIED = 0x04 | 0x100 | 0x08 | 0x10 | 0x20 | 0x40;

// A processor that has everything, on a system that keeps all registers.
codec_cpu_report Everything()
{
    codec_cpu_report report;
    report.has_cpuid = true;
    std::strcpy(report.vendor, "GenuineIntel");
    report.leaf1_ecx = 0xFFFFFFFF;
    report.leaf1_edx = 0xFFFFFFFF;
    report.leaf7_ebx = 0xFFFFFFFF;
    report.extended_edx = 0xFFFFFFFF;
    report.xcr0 = 7;
    return report;
}

bool EveryTrialRuns(codec_cap, const codec_cpu_report&)
{
    return true;
}

// A trial that notes its order and traps on the bits of `g_ulTrapping`.
std::vector<std::uint32_t> g_Tried;
std::uint32_t g_ulTrapping = 0;
bool NotedTrial(codec_cap bit, const codec_cpu_report&)
{
    g_Tried.push_back(bit);
    return (bit & g_ulTrapping) == 0;
}

std::vector<std::uint32_t> OrderOfTrials(std::uint32_t (*detect)(const codec_cpu_report&, codec_cap_trial))
{
    g_Tried.clear();
    g_ulTrapping = 0;
    detect(Everything(), NotedTrial);
    return g_Tried;
}

std::uint32_t Mpeg4Detect(const codec_cpu_report& report, codec_cap_trial trial)
{
    return mpeg4_cpu_detect(nullptr, report, trial);
}

class CpuMask : public testing::Test
{
  protected:
    void TearDown() override { codec_set_cap_mask(0xFFFFFFFF); }
};

TEST(CpuReport, EachBitHasItsSource)
{
    struct Row {
        std::uint32_t ecx, edx, ebx7, extended, bits;
    };
    const Row rows[] = {
        {0, 1u << 4, 0, 0, 0x02},
        {0, 1u << 23, 0, 0, 0x04},
        {0, 1u << 25, 0, 0, 0x08 | 0x100},
        {0, 1u << 26, 0, 0, 0x10},
        {1u << 0, 0, 0, 0, 0x20},
        {0, 0, 0, 1u << 31, 0x40},
        {0, 0, 0, 1u << 30, 0x80},
        {0, 0, 0, 1u << 22, 0x100},
        {1u << 9, 0, 0, 0, 0x200},
        {1u << 19, 0, 0, 0, 0x400},
        {1u << 20, 0, 0, 0, 0x800},
        {0, 0, 1u << 5, 0, 0x1000},
        {~0u, ~0u, ~0u, ~0u, ALL_TABLE_BITS | 0x1000},
    };
    for (const Row& row : rows) {
        codec_cpu_report report;
        report.has_cpuid = true;
        report.leaf1_ecx = row.ecx;
        report.leaf1_edx = row.edx;
        report.leaf7_ebx = row.ebx7;
        report.extended_edx = row.extended;
        EXPECT_EQ(codec_reported_caps(report), row.bits) << std::hex << row.bits;
    }
}

TEST(CpuDetect, WithoutTheInstructionThatAsksThereAreNoVectorKernels)
{
    codec_cpu_report report = Everything();
    report.has_cpuid = false;
    EXPECT_EQ(c264_cpu_detect(report, EveryTrialRuns), 0u);
    EXPECT_EQ(Mpeg4Detect(report, EveryTrialRuns), 0u);
}

TEST(CpuDetect, BitsWithoutATrialAreDiscarded)
{
    EXPECT_EQ(c264_cpu_detect(Everything(), EveryTrialRuns), C264_TRIED | CODEC_CAP_AVX2);
    EXPECT_EQ(Mpeg4Detect(Everything(), EveryTrialRuns), MPEG4_TRIED | CODEC_CAP_AVX2);
}

TEST(CpuDetect, TrialsRunInAFixedOrder)
{
    EXPECT_EQ(OrderOfTrials(c264_cpu_detect),
              (std::vector<std::uint32_t>{0x04, 0x100, 0x08, 0x10, 0x20, 0x40, 0x200, 0x1000}));
    EXPECT_EQ(OrderOfTrials(Mpeg4Detect),
              (std::vector<std::uint32_t>{0x04, 0x100, 0x08, 0x10, 0x20, 0x40, 0x1000}));
}

TEST(CpuDetect, ABitThatIsNotReportedIsNotTried)
{
    g_Tried.clear();
    g_ulTrapping = 0;
    codec_cpu_report report;
    report.has_cpuid = true;
    report.leaf1_edx = 1u << 26;
    EXPECT_EQ(c264_cpu_detect(report, NotedTrial), 0x10u);
    EXPECT_EQ(g_Tried, (std::vector<std::uint32_t>{0x10}));
}

TEST(CpuDetect, ABitWhoseTrialTrapsRunsWithoutThatFamily)
{
    for (const std::uint32_t bit : {0x04u, 0x100u, 0x08u, 0x10u, 0x20u, 0x40u, 0x200u}) {
        g_ulTrapping = bit;
        const std::uint32_t avx2 = bit == 0x04 || bit == 0x100 || bit == 0x40 ? 0x1000 : 0;
        EXPECT_EQ(c264_cpu_detect(Everything(), NotedTrial), (C264_TRIED & ~bit) | avx2) << std::hex << bit;
        const std::uint32_t mpeg4Avx2 = bit == 0x200 ? 0x1000 : avx2;  // 0x200 has no trial on this side
        EXPECT_EQ(Mpeg4Detect(Everything(), NotedTrial), (MPEG4_TRIED & ~bit) | mpeg4Avx2) << std::hex << bit;
    }
    g_ulTrapping = CODEC_CAP_AVX2;
    EXPECT_EQ(c264_cpu_detect(Everything(), NotedTrial), C264_TRIED);
}

TEST(CpuDetect, Bmi2NeedsItsThreeSetsAndAvx2)
{
    codec_cpu_report report = Everything();
    report.extended_ecx = 1u << 5;
    g_ulTrapping = 0;
    EXPECT_EQ(c264_cpu_detect(report, NotedTrial), C264_TRIED | CODEC_CAP_AVX2 | CODEC_CAP_BMI2);
    for (const std::uint32_t bit : {3, 8, 5}) {
        codec_cpu_report less = report;
        less.leaf7_ebx &= ~(1u << bit);
        EXPECT_EQ(c264_cpu_detect(less, NotedTrial) & CODEC_CAP_BMI2, 0u) << bit;
    }
    EXPECT_EQ(c264_cpu_detect(Everything(), NotedTrial) & CODEC_CAP_BMI2, 0u) << "without LZCNT";
    for (const std::uint32_t trap : {0x1000u, 0x2000u, 0x10u}) {
        g_ulTrapping = trap;
        EXPECT_EQ(c264_cpu_detect(report, NotedTrial) & CODEC_CAP_BMI2, 0u) << trap;
    }
    g_ulTrapping = 0;
}

TEST(CpuTrial, Avx2NeedsASystemThatKeepsThe256BitRegisters)
{
    codec_cpu_report report = Everything();
    EXPECT_TRUE(codec_os_trial(CODEC_CAP_AVX2, report));
    for (const std::uint64_t kept : {3, 5}) {
        report.xcr0 = kept;
        EXPECT_FALSE(codec_os_trial(CODEC_CAP_AVX2, report)) << kept;
    }
    report.xcr0 = 7;
    report.leaf1_ecx &= ~(1u << 27);
    EXPECT_FALSE(codec_os_trial(CODEC_CAP_AVX2, report)) << "the system can't be asked";
    report = Everything();
    report.leaf1_ecx &= ~(1u << 28);
    EXPECT_FALSE(codec_os_trial(CODEC_CAP_AVX2, report)) << "the processor has no 256-bit registers";
}

TEST(CpuTrial, The128BitSetsNeedASystemThatKeepsTheirRegisters)
{
    codec_cpu_report report = Everything();
    report.xcr0 = 1;
    EXPECT_EQ(c264_cpu_detect(report, codec_os_trial), 0x04u | 0x100u | 0x40u);
    report.leaf1_ecx &= ~(1u << 27);
    EXPECT_EQ(c264_cpu_detect(report, codec_os_trial), C264_TRIED) << "a system that can't be asked is trusted";
}

TEST_F(CpuMask, CutsWhatThisProcessorAnswers)
{
    const std::uint32_t c264 = c264_cpu_detect();
    Mpeg4CpuInfo info;
    const std::uint32_t mpeg4 = mpeg4_cpu_detect(&info);
    EXPECT_EQ(c264 & ~(C264_TRIED | CODEC_STEP_BMI2), 0u);
    EXPECT_EQ(mpeg4 & ~(MPEG4_TRIED | CODEC_CAP_AVX2 | CODEC_CAP_BMI2), 0u);
    EXPECT_EQ(info.proved, mpeg4);

    codec_set_cap_mask(CODEC_STEP_SSE2);
    EXPECT_EQ(codec_cap_mask(), CODEC_STEP_SSE2);
    EXPECT_EQ(c264_cpu_detect(), c264 & CODEC_STEP_SSE2);
    EXPECT_EQ(mpeg4_cpu_detect(&info), mpeg4 & CODEC_STEP_SSE2);
    EXPECT_EQ(info.proved, mpeg4) << "the record tells of the processor, not of the mask";

    codec_set_cap_mask(0);
    EXPECT_EQ(c264_cpu_detect(), 0u);
    EXPECT_EQ(mpeg4_cpu_detect(nullptr), 0u);
}

TEST(Mpeg4CpuInfo, SplitsTheSignature)
{
    codec_cpu_report report = Everything();
    report.signature = 0x00A10F53;  // the extended family and model are left out
    Mpeg4CpuInfo info;
    mpeg4_cpu_detect(&info, report, EveryTrialRuns);
    EXPECT_STREQ(info.vendor, "GenuineIntel");
    EXPECT_EQ(info.family, 15);
    EXPECT_EQ(info.model, 5);
    EXPECT_EQ(info.stepping, 3);
    EXPECT_EQ(info.raw, ALL_TABLE_BITS | CODEC_CAP_AVX2);
    EXPECT_EQ(info.proved, MPEG4_TRIED | CODEC_CAP_AVX2);
}

TEST(Mpeg4CpuInfo, NamesProcessorsByVendorFamilyAndModel)
{
    struct Row {
        const char* vendor;
        std::uint32_t signature;
        const char* name;
    };
    const Row rows[] = {
        {"AuthenticAMD", 0x430, "AMD Am486"},
        {"AuthenticAMD", 0x4E0, "AMD Am486"},
        {"AuthenticAMD", 0x500, "AMD K5"},
        {"AuthenticAMD", 0x530, "AMD K5"},
        {"AuthenticAMD", 0x560, "AMD K6"},
        {"AuthenticAMD", 0x570, "AMD K6"},
        {"AuthenticAMD", 0x580, "AMD K6-2"},
        {"AuthenticAMD", 0x590, "AMD K6-3"},
        {"AuthenticAMD", 0x640, "AMD ATHLON"},
        {"AuthenticAMD", 0xF00, "AMD Unknown"},
        {"AuthenticAMD", 0x540, "AMD Unknown"},
        {"GenuineIntel", 0x400, "INTEL 486DX"},
        {"GenuineIntel", 0x410, "INTEL 486DX"},
        {"GenuineIntel", 0x420, "INTEL 486SX"},
        {"GenuineIntel", 0x430, "INTEL 486DX2"},
        {"GenuineIntel", 0x440, "INTEL 486SL"},
        {"GenuineIntel", 0x450, "INTEL 486SX2"},
        {"GenuineIntel", 0x470, "INTEL 486DX2E"},
        {"GenuineIntel", 0x480, "INTEL 486DX4"},
        {"GenuineIntel", 0x520, "INTEL Pentium"},
        {"GenuineIntel", 0x540, "INTEL Pentium-MMX"},
        {"GenuineIntel", 0x610, "INTEL Pentium-Pro"},
        {"GenuineIntel", 0x630, "INTEL Pentium-II"},
        {"GenuineIntel", 0x650, "INTEL Pentium-II"},
        {"GenuineIntel", 0x660, "INTEL Celeron"},
        {"GenuineIntel", 0x670, "INTEL Pentium-III"},
        {"GenuineIntel", 0x6B0, "INTEL Pentium-III"},
        {"GenuineIntel", 0x690, "Unknown"},
        {"GenuineIntel", 0xF00, "Unknown"},
        {"CyrixInstead", 0x520, "Unknown"},
        {"CentaurHauls", 0x540, "Unknown"},
        {"SomebodyElse", 0x610, "Unknown"},
    };
    for (const Row& row : rows) {
        codec_cpu_report report;
        report.has_cpuid = true;
        std::strcpy(report.vendor, row.vendor);
        report.signature = row.signature | 7;
        Mpeg4CpuInfo info;
        mpeg4_cpu_detect(&info, report, EveryTrialRuns);
        EXPECT_STREQ(info.name, row.name) << row.vendor << " " << std::hex << row.signature;
        EXPECT_STREQ(info.vendor, row.vendor);
        EXPECT_EQ(info.stepping, 7);
    }
}

}  // namespace
