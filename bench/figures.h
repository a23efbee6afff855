#pragma once

#include <algorithm>
#include <cmath>
#include <ctime>
#include <string>
#include <utility>
#include <vector>

// What the benches share.

/// The time that this thread ran, so that other programs on the machine disturb the figures less.
inline double ThreadMs()
{
    timespec now;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

/// The value below which `share` (0 to 1) of the values lie; 0 without values.
inline double Percentile(std::vector<double> values, double share)
{
    if (values.empty()) return 0;
    std::ranges::sort(values);
    const auto rank = static_cast<std::size_t>(std::ceil(share * static_cast<double>(values.size())));
    return values[std::clamp<std::size_t>(rank, 1, values.size()) - 1];
}

inline double Median(std::vector<double> values)
{
    return Percentile(std::move(values), 0.5);
}

/// True when a name contains one of the texts, or there are none.
inline bool Wanted(const std::string& name, const std::vector<std::string>& texts)
{
    return texts.empty() || std::any_of(texts.begin(), texts.end(), [&](const std::string& text) {
               return name.find(text) != std::string::npos;
           });
}
