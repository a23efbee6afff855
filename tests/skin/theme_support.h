#pragma once

#include <fstream>
#include <iterator>
#include <string>

/// The theme that is delivered.
inline std::string DeliveredThemePath()
{
    return std::string(WATCHWALL_SOURCE_DIR) + "/config/skin.smf";
}

inline std::string DeliveredTheme()
{
    std::ifstream file(DeliveredThemePath(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}
