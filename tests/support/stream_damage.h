#pragma once

#include <cstdint>
#include <functional>
#include <ostream>
#include <random>
#include <vector>

/// A way in which a payload comes damaged. It must not be empty.
struct StreamDamage {
    const char* name;
    std::function<void(std::vector<uint8_t>*, std::mt19937*)> Do;
};

inline void PrintTo(const StreamDamage& damage, std::ostream* out)
{
    *out << damage.name;
}

const std::vector<StreamDamage>& StreamDamages();
