#include "tests/support/kernel_walk.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "codec/cpu.h"

namespace
{

std::vector<void (*)(std::vector<KernelSlot>&)>& Registrations()
{
    static std::vector<void (*)(std::vector<KernelSlot>&)> registrations;
    return registrations;
}

constexpr std::uint32_t DEFAULT_SEED = 20261121;

std::string Where(const KernelSlot& slot, const KernelStep& step, int round, std::uint32_t seed)
{
    return slot.name + " at step " + step.name + ", round " + std::to_string(round) +
           " (WATCHWALL_KERNEL_SEED=" + std::to_string(seed) + "): ";
}

// What differs between the plain output and a step's; empty when nothing does.
std::string Difference(const std::vector<std::uint8_t>& plain, const std::vector<std::uint8_t>& step)
{
    if (plain == step) return {};
    if (plain.size() != step.size()) {
        return "keeps " + std::to_string(step.size()) + " bytes, the plain kernel " +
               std::to_string(plain.size());
    }
    const auto [p, s] = std::mismatch(plain.begin(), plain.end(), step.begin());
    return "byte " + std::to_string(p - plain.begin()) + " of " + std::to_string(plain.size()) + " is " +
           std::to_string(*s) + ", of the plain kernel " + std::to_string(*p);
}

}  // namespace

KernelSlotRegistration::KernelSlotRegistration(void (*add)(std::vector<KernelSlot>&))
{
    Registrations().push_back(add);
}

std::vector<KernelSlot> AllKernelSlots()
{
    std::vector<KernelSlot> slots;
    for (const auto add : Registrations())
        add(slots);
    std::sort(slots.begin(), slots.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
    return slots;
}

const std::vector<KernelStep>& KernelSteps()
{
    static const std::vector<KernelStep> steps = [] {
        const std::uint32_t has = c264_cpu_detect(codec_read_cpu(), codec_os_trial);
        std::vector<KernelStep> all = {{"plain", CODEC_STEP_PLAIN, true},
                                       {"SSE2", CODEC_STEP_SSE2, false},
                                       {"SSSE3", CODEC_STEP_SSSE3, false},
                                       {"AVX2", CODEC_STEP_AVX2, false}};
        for (KernelStep& step : all)
            step.available = (step.caps & ~has) == 0;
        return all;
    }();
    return steps;
}

std::vector<KernelStep> ChangedSteps(const KernelSlot& slot)
{
    std::vector<KernelStep> changed;
    const void* before = slot.select(CODEC_STEP_PLAIN);
    for (const KernelStep& step : KernelSteps()) {
        const void* const kernel = slot.select(step.caps);
        if (step.available && kernel != before) changed.push_back(step);
        before = kernel;
    }
    return changed;
}

std::vector<std::string> ProveKernel(const KernelSlot& slot, std::uint32_t seed)
{
    std::vector<std::string> faults;
    const KernelStep& plainStep = KernelSteps().front();
    if (slot.select(plainStep.caps) == nullptr) return {Where(slot, plainStep, 0, seed) + "the slot is empty"};

    const std::vector<KernelStep> steps = ChangedSteps(slot);
    for (int round = 0; round < slot.rounds && faults.empty(); ++round) {
        const std::uint32_t roundSeed = seed + static_cast<std::uint32_t>(round) * 2654435761u;
        CKernelRun plain(plainStep.caps, roundSeed);
        slot.run(plain);
        if (!plain.Fault().empty()) faults.push_back(Where(slot, plainStep, round, seed) + plain.Fault());
        if (plain.Output().empty()) faults.push_back(Where(slot, plainStep, round, seed) + "keeps no output");
        for (const KernelStep& step : steps) {
            CKernelRun run(step.caps, roundSeed);
            slot.run(run);
            if (!run.Fault().empty()) faults.push_back(Where(slot, step, round, seed) + run.Fault());
            const std::string difference = Difference(plain.Output(), run.Output());
            if (!difference.empty()) faults.push_back(Where(slot, step, round, seed) + difference);
        }
    }
    return faults;
}

std::uint32_t KernelSeed()
{
    const char* const text = std::getenv("WATCHWALL_KERNEL_SEED");
    if (text == nullptr || *text == 0) return DEFAULT_SEED;
    return static_cast<std::uint32_t>(std::strtoul(text, nullptr, 10));
}

int CKernelRun::Pick(int low, int high)
{
    // Not a standard distribution: its numbers differ between libraries, and a seed is to mean the same
    // everywhere.
    const auto range = static_cast<std::uint64_t>(static_cast<std::int64_t>(high) - low + 1);
    return static_cast<int>(low + static_cast<std::int64_t>(m_Random() * range >> 32));
}

std::ptrdiff_t CKernelRun::Stride(int bytes)
{
    const std::ptrdiff_t stride = bytes + (Pick(0, 3) == 0 ? 0 : Pick(0, 67));
    return Pick(0, 3) == 0 ? -stride : stride;
}

void CKernelRun::Keep(const CKernelPlane& plane)
{
    if (m_strFault.empty()) m_strFault = plane.Check();
    for (int row = 0; row < plane.Rows(); ++row)
        Keep(plane.Row(row), static_cast<std::size_t>(plane.Width()));
}

void CKernelRun::Keep(const void* data, std::size_t bytes)
{
    const auto* const first = static_cast<const std::uint8_t*>(data);
    m_Output.insert(m_Output.end(), first, first + bytes);
}
