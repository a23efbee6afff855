#include "codec/cpu.h"

#include <atomic>
#include <cstring>
#include <span>

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#define CODEC_HAS_CPUID 1
#else
#define CODEC_HAS_CPUID 0
#endif

namespace
{

constexpr std::uint32_t OSXSAVE = 1u << 27;  // leaf 1, ECX: XGETBV may be used
constexpr std::uint32_t AVX = 1u << 28;      // leaf 1, ECX
constexpr std::uint64_t XCR0_SSE = 0x2;
constexpr std::uint64_t XCR0_AVX = 0x4;

constexpr std::uint32_t REGISTERS_128 =
    CODEC_CAP_SSE | CODEC_CAP_SSE2 | CODEC_CAP_SSE3 | CODEC_CAP_SSSE3 | CODEC_CAP_SSE41 | CODEC_CAP_SSE42;

std::atomic<std::uint32_t> g_cap_mask{0xFFFFFFFF};  // read and written as one word; nothing else depends on it

// Which bit of which word states which capability.
struct cap_source {
    std::uint32_t codec_cpu_report::*word;
    int bit;
    codec_cap cap;
};

constexpr cap_source SOURCES[] = {
    {&codec_cpu_report::leaf1_edx, 4, CODEC_CAP_TSC},
    {&codec_cpu_report::leaf1_edx, 23, CODEC_CAP_MMX},
    {&codec_cpu_report::leaf1_edx, 25, CODEC_CAP_SSE},
    {&codec_cpu_report::leaf1_edx, 26, CODEC_CAP_SSE2},
    {&codec_cpu_report::leaf1_ecx, 0, CODEC_CAP_SSE3},
    {&codec_cpu_report::extended_edx, 31, CODEC_CAP_3DNOW},
    {&codec_cpu_report::extended_edx, 30, CODEC_CAP_3DNOWEXT},
    {&codec_cpu_report::leaf1_edx, 25, CODEC_CAP_MMXEXT},
    {&codec_cpu_report::extended_edx, 22, CODEC_CAP_MMXEXT},
    {&codec_cpu_report::leaf1_ecx, 9, CODEC_CAP_SSSE3},
    {&codec_cpu_report::leaf1_ecx, 19, CODEC_CAP_SSE41},
    {&codec_cpu_report::leaf1_ecx, 20, CODEC_CAP_SSE42},
    {&codec_cpu_report::leaf7_ebx, 5, CODEC_CAP_AVX2},
};

// What CODEC_CAP_BMI2 stands for.
constexpr std::uint32_t BMI1 = 1u << 3;   // leaf 7, EBX
constexpr std::uint32_t BMI2 = 1u << 8;   // leaf 7, EBX
constexpr std::uint32_t LZCNT = 1u << 5;  // leaf 0x80000001, ECX

constexpr codec_cap C264_TRIALS[] = {CODEC_CAP_MMX,  CODEC_CAP_MMXEXT, CODEC_CAP_SSE,  CODEC_CAP_SSE2,
                                     CODEC_CAP_SSE3, CODEC_CAP_3DNOW,  CODEC_CAP_SSSE3};
constexpr codec_cap MPEG4_TRIALS[] = {CODEC_CAP_MMX,  CODEC_CAP_MMXEXT, CODEC_CAP_SSE,
                                      CODEC_CAP_SSE2, CODEC_CAP_SSE3,   CODEC_CAP_3DNOW};

std::uint32_t prove(std::span<const codec_cap> trials, const codec_cpu_report& report, codec_cap_trial trial)
{
    const std::uint32_t reported = codec_reported_caps(report);
    std::uint32_t proved = 0;
    std::uint32_t trapped = 0;
    for (const codec_cap bit : trials) {
        if ((reported & bit) == 0) continue;
        if (trial(bit, report))
            proved |= bit;
        else
            trapped |= bit;
    }
    // The AVX2 kernels use the 128-bit sets freely, so a processor on which one of those fails runs none of
    // them.
    const bool sets_work = (proved & CODEC_CAP_SSE2) != 0 && (trapped & REGISTERS_128) == 0;
    if ((reported & CODEC_CAP_AVX2) != 0 && sets_work && trial(CODEC_CAP_AVX2, report))
        proved |= CODEC_CAP_AVX2;
    if ((reported & CODEC_CAP_BMI2) != 0 && (proved & CODEC_CAP_AVX2) != 0 && trial(CODEC_CAP_BMI2, report))
        proved |= CODEC_CAP_BMI2;
    return proved;
}

// The processors that the name list knows, by family and inclusive range of models.
struct cpu_name {
    int family;
    int first_model;
    int last_model;
    const char* name;
};

constexpr cpu_name AMD_NAMES[] = {
    {4, 0, 15, "AMD Am486"}, {5, 0, 3, "AMD K5"},    {5, 6, 7, "AMD K6"},
    {5, 8, 8, "AMD K6-2"},   {5, 9, 15, "AMD K6-3"}, {6, 0, 15, "AMD ATHLON"},
};

constexpr cpu_name INTEL_NAMES[] = {
    {4, 0, 1, "INTEL 486DX"},         {4, 2, 2, "INTEL 486SX"},       {4, 3, 3, "INTEL 486DX2"},
    {4, 4, 4, "INTEL 486SL"},         {4, 5, 5, "INTEL 486SX2"},      {4, 7, 7, "INTEL 486DX2E"},
    {4, 8, 8, "INTEL 486DX4"},        {5, 0, 3, "INTEL Pentium"},     {5, 7, 7, "INTEL Pentium"},
    {5, 4, 4, "INTEL Pentium-MMX"},   {5, 8, 8, "INTEL Pentium-MMX"}, {6, 0, 1, "INTEL Pentium-Pro"},
    {6, 3, 5, "INTEL Pentium-II"},    {6, 6, 6, "INTEL Celeron"},     {6, 7, 8, "INTEL Pentium-III"},
    {6, 10, 11, "INTEL Pentium-III"},
};

const char* find_name(std::span<const cpu_name> names, int family, int model, const char* otherwise)
{
    for (const cpu_name& row : names) {
        if (row.family == family && row.first_model <= model && model <= row.last_model) return row.name;
    }
    return otherwise;
}

const char* name_of(const Mpeg4CpuInfo& info)
{
    if (std::strcmp(info.vendor, "AuthenticAMD") == 0)
        return find_name(AMD_NAMES, info.family, info.model, "AMD Unknown");
    if (std::strcmp(info.vendor, "GenuineIntel") == 0)
        return find_name(INTEL_NAMES, info.family, info.model, "Unknown");
    // "CyrixInstead" and "CentaurHauls" are known makers, but none of their processors is on the list.
    return "Unknown";
}

}  // namespace

codec_cpu_report codec_read_cpu()
{
    codec_cpu_report report;
#if CODEC_HAS_CPUID
    unsigned eax = 0;
    unsigned ebx = 0;
    unsigned ecx = 0;
    unsigned edx = 0;
    if (__get_cpuid(0, &eax, &ebx, &ecx, &edx) == 0) return report;
    report.has_cpuid = true;
    std::memcpy(report.vendor, &ebx, 4);
    std::memcpy(report.vendor + 4, &edx, 4);
    std::memcpy(report.vendor + 8, &ecx, 4);
    if (__get_cpuid(1, &eax, &ebx, &ecx, &edx) != 0) {
        report.signature = eax;
        report.leaf1_ecx = ecx;
        report.leaf1_edx = edx;
    }
    if (__get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx) != 0) report.leaf7_ebx = ebx;
    if (__get_cpuid(0x80000001, &eax, &ebx, &ecx, &edx) != 0) {
        report.extended_ecx = ecx;
        report.extended_edx = edx;
    }
    if ((report.leaf1_ecx & OSXSAVE) != 0) {
        unsigned low = 0;
        unsigned high = 0;
        __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
        report.xcr0 = low | (static_cast<std::uint64_t>(high) << 32);
    }
#endif
    return report;
}

bool codec_os_trial(codec_cap bit, const codec_cpu_report& report)
{
    const bool can_ask = (report.leaf1_ecx & OSXSAVE) != 0;
    if (bit == CODEC_CAP_AVX2) {
        return can_ask && (report.leaf1_ecx & AVX) != 0 &&
               (report.xcr0 & (XCR0_SSE | XCR0_AVX)) == (XCR0_SSE | XCR0_AVX);
    }
    // A system too old to be asked keeps the 128-bit registers all the same: 64-bit code is not possible
    // without.
    if ((bit & REGISTERS_128) != 0) return !can_ask || (report.xcr0 & XCR0_SSE) != 0;
    return true;
}

std::uint32_t codec_reported_caps(const codec_cpu_report& report)
{
    if (!report.has_cpuid) return 0;
    std::uint32_t caps = 0;
    for (const cap_source& source : SOURCES) {
        if ((report.*source.word >> source.bit & 1) != 0) caps |= source.cap;
    }
    const bool all_bits =
        (report.leaf7_ebx & (BMI1 | BMI2)) == (BMI1 | BMI2) && (report.extended_ecx & LZCNT) != 0;
    return all_bits ? caps | CODEC_CAP_BMI2 : caps;
}

std::uint32_t c264_cpu_detect(const codec_cpu_report& report, codec_cap_trial trial)
{
    return prove(C264_TRIALS, report, trial);
}

std::uint32_t c264_cpu_detect()
{
    return c264_cpu_detect(codec_read_cpu(), codec_os_trial) & codec_cap_mask();
}

std::uint32_t mpeg4_cpu_detect(Mpeg4CpuInfo* info, const codec_cpu_report& report, codec_cap_trial trial)
{
    const std::uint32_t proved = prove(MPEG4_TRIALS, report, trial);
    if (info != nullptr) {
        *info = {};
        std::memcpy(info->vendor, report.vendor, sizeof info->vendor);
        info->family = static_cast<std::int32_t>(report.signature >> 8 & 15);
        info->model = static_cast<std::int32_t>(report.signature >> 4 & 15);
        info->stepping = static_cast<std::int32_t>(report.signature & 15);
        info->raw = codec_reported_caps(report);
        info->proved = proved;
        const char* const name = name_of(*info);
        std::memcpy(info->name, name, std::strlen(name) + 1);
    }
    return proved;
}

std::uint32_t mpeg4_cpu_detect(Mpeg4CpuInfo* info)
{
    return mpeg4_cpu_detect(info, codec_read_cpu(), codec_os_trial) & codec_cap_mask();
}

void codec_set_cap_mask(std::uint32_t mask)
{
    g_cap_mask.store(mask, std::memory_order_relaxed);
}

std::uint32_t codec_cap_mask()
{
    return g_cap_mask.load(std::memory_order_relaxed);
}
