#pragma once

#include <algorithm>
#include <ctime>
#include <string>
#include <vector>

// What the benches of both decoders share.

/// The time that this thread ran, so that other programs on the machine disturb the figures less.
inline double ThreadMs()
{
    timespec now;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

inline double Median(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// True when a name contains one of the texts, or there are none.
inline bool Wanted(const std::string& name, const std::vector<std::string>& texts)
{
    return texts.empty() || std::any_of(texts.begin(), texts.end(), [&](const std::string& text) {
               return name.find(text) != std::string::npos;
           });
}
