#pragma once

#include <cstdint>

// What the processor can do. Both decoders choose their kernels by these bits: plain ones first, then each step
// over them. On x86-64 three steps select kernels: SSE2, SSSE3 and AVX2, and behind them BMI2 selects how
// H.264 slices are parsed; of the older bits MMX has its state emptied after each picture, the others are
// reported and select nothing.

enum codec_cap : std::uint32_t {
    CODEC_CAP_TSC = 0x02,
    CODEC_CAP_MMX = 0x04,
    CODEC_CAP_SSE = 0x08,
    CODEC_CAP_SSE2 = 0x10,
    CODEC_CAP_SSE3 = 0x20,
    CODEC_CAP_3DNOW = 0x40,
    CODEC_CAP_3DNOWEXT = 0x80,
    CODEC_CAP_MMXEXT = 0x100,
    CODEC_CAP_SSSE3 = 0x200,
    CODEC_CAP_SSE41 = 0x400,
    CODEC_CAP_SSE42 = 0x800,
    CODEC_CAP_AVX2 = 0x1000,  ///< needs the operating system to keep the 256-bit registers
    CODEC_CAP_BMI2 = 0x2000,  ///< both sets of bit instructions, and LZCNT
};

/// The raw words that the processor reports of itself.
struct codec_cpu_report {
    bool has_cpuid = false;          ///< without it all other fields are 0
    char vendor[13] = {};            ///< 12 characters and the terminator
    std::uint32_t signature = 0;     ///< leaf 1, EAX: family, model, stepping
    std::uint32_t leaf1_ecx = 0;     ///< leaf 1, ECX
    std::uint32_t leaf1_edx = 0;     ///< leaf 1, EDX
    std::uint32_t leaf7_ebx = 0;     ///< leaf 7, sub-leaf 0, EBX
    std::uint32_t extended_ecx = 0;  ///< leaf 0x80000001, ECX
    std::uint32_t extended_edx = 0;  ///< leaf 0x80000001, EDX
    std::uint64_t xcr0 = 0;  ///< register sets that the operating system keeps; 0 where it can't be read
};

/// Reads the report of the processor that runs this.
codec_cpu_report codec_read_cpu();

/// A trial: whether instructions of the set `bit` really run. Called once for each reported bit that has a
/// trial.
using codec_cap_trial = bool (*)(codec_cap bit, const codec_cpu_report& report);

/// The trial of this system. Running an instruction to see whether it traps would take a signal handler in the
/// host's process; the operating system's own word, the register sets that it keeps, stands in for that.
bool codec_os_trial(codec_cap bit, const codec_cpu_report& report);

/// The bits that `report` states, tried or not. Bit 0x100 is stated by SSE or by AMD's own bit for it.
std::uint32_t codec_reported_caps(const codec_cpu_report& report);

/// The H.264 side's detection: the reported bits 0x04, 0x100, 0x08, 0x10, 0x20, 0x40, 0x200, tried in this
/// order, then AVX2, which also needs that no trial of a 128-bit set trapped, then BMI2, which needs AVX2. A
/// bit whose trial traps is dropped, and so is every bit that has no trial. 0 without CPUID.
std::uint32_t c264_cpu_detect(const codec_cpu_report& report, codec_cap_trial trial);

/// The same for this processor and system, and with codec_set_cap_mask's mask.
std::uint32_t c264_cpu_detect();

/// What the MPEG-4 side's detection tells of the processor beside the bits.
struct Mpeg4CpuInfo {
    char vendor[13];        ///< 12 characters and the terminator
    char name[32];          ///< from a list of its time, "Unknown" beyond it; shown nowhere
    std::int32_t family;    ///< bits 8 to 11 of leaf 1, without the extended ones
    std::int32_t model;     ///< bits 4 to 7
    std::int32_t stepping;  ///< bits 0 to 3
    std::uint32_t raw;      ///< codec_reported_caps
    std::uint32_t proved;   ///< the bits proved by trial
};

/// The MPEG-4 side's detection: as on the H.264 side, but bit 0x200 has no trial here and so never reaches the
/// result: an MPEG-4 table has the steps SSE2 and AVX2. `info` may be null.
std::uint32_t mpeg4_cpu_detect(Mpeg4CpuInfo* info, const codec_cpu_report& report, codec_cap_trial trial);

/// The same for this processor and system; the result (not the info) is cut by codec_set_cap_mask's mask.
std::uint32_t mpeg4_cpu_detect(Mpeg4CpuInfo* info);

/// Restricts what the two detections of this processor answer, for tests, benches and the command line: 0 gives
/// the plain kernels. Tables that are filled already stay as they are. At any time from any thread.
void codec_set_cap_mask(std::uint32_t mask);
std::uint32_t codec_cap_mask();

/// The masks that end at each step: pass one to codec_set_cap_mask or to an initialisation.
inline constexpr std::uint32_t CODEC_STEP_PLAIN = 0;
inline constexpr std::uint32_t CODEC_STEP_SSE2 =
    CODEC_CAP_MMX | CODEC_CAP_MMXEXT | CODEC_CAP_SSE | CODEC_CAP_SSE2;
inline constexpr std::uint32_t CODEC_STEP_SSSE3 = CODEC_STEP_SSE2 | CODEC_CAP_SSE3 | CODEC_CAP_SSSE3;
inline constexpr std::uint32_t CODEC_STEP_AVX2 = CODEC_STEP_SSSE3 | CODEC_CAP_AVX2;
inline constexpr std::uint32_t CODEC_STEP_BMI2 = CODEC_STEP_AVX2 | CODEC_CAP_BMI2;
