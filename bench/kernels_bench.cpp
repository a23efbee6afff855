// Times every slot of the kernel tables at every step and prints how many times faster than the plain kernel it
// is.
//
//     kernels_bench [--csv] [TEXT ...]     only the slots whose name contains one of the texts
//
// One thread, one run; each figure is the median of 7 measurements, in which the steps take turns.

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "bench/figures.h"
#include "tests/support/kernel_walk.h"

namespace
{

constexpr int MEASUREMENTS = 7;
constexpr double MEASUREMENT_NS = 2e6;

double Nanoseconds(const std::function<void(int)>& kernel, int iterations)
{
    const double start = ThreadMs();
    kernel(iterations);
    return (ThreadMs() - start) * 1e6;
}

// How many calls take about MEASUREMENT_NS.
int Calibrate(const std::function<void(int)>& kernel)
{
    int iterations = 1;
    while (iterations < (1 << 28)) {
        const double spent = Nanoseconds(kernel, iterations);
        if (spent > MEASUREMENT_NS / 4)
            return std::max(1, static_cast<int>(iterations * MEASUREMENT_NS / spent));
        iterations *= 4;
    }
    return iterations;
}

void TimeSlot(const KernelSlot& slot, bool csv)
{
    std::vector<KernelStep> steps = {KernelSteps().front()};
    const std::vector<KernelStep> changed = ChangedSteps(slot);
    steps.insert(steps.end(), changed.begin(), changed.end());

    std::vector<std::function<void(int)>> kernels;
    std::vector<int> iterations;
    for (const KernelStep& step : steps) {
        kernels.push_back(slot.time(step.caps));
        iterations.push_back(Calibrate(kernels.back()));
    }
    std::vector<std::vector<double>> times(steps.size());
    for (int measurement = 0; measurement < MEASUREMENTS; ++measurement) {
        for (std::size_t i = 0; i < steps.size(); ++i)
            times[i].push_back(Nanoseconds(kernels[i], iterations[i]) / iterations[i]);
    }

    std::map<std::string, double> byStep;
    for (std::size_t i = 0; i < steps.size(); ++i)
        byStep[steps[i].name] = Median(times[i]);
    const double plain = byStep["plain"];
    std::printf(csv ? "%s,%.1f" : "%-40s %12.1f", slot.name.c_str(), plain);
    for (std::size_t i = 1; i < KernelSteps().size(); ++i) {
        const auto found = byStep.find(KernelSteps()[i].name);
        if (found != byStep.end())
            std::printf(csv ? ",%.2f" : " %7.2f", plain / found->second);
        else
            std::printf(csv ? ",%s" : " %7s", csv ? "" : "-");
    }
    std::printf("\n");
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv)
{
    bool csv = false;
    std::vector<std::string> texts;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--csv") == 0)
            csv = true;
        else
            texts.emplace_back(argv[i]);
    }
    if (csv)
        std::printf("slot,plain ns,SSE2,SSSE3,AVX2\n");
    else
        std::printf("%-40s %12s %7s %7s %7s   (times the plain kernel's speed)\n", "slot", "plain ns", "SSE2",
                    "SSSE3", "AVX2");
    for (const KernelSlot& slot : AllKernelSlots()) {
        if (Wanted(slot.name, texts)) TimeSlot(slot, csv);
    }
    return 0;
}
