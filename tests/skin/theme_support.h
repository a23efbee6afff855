#pragma once

#include <fstream>
#include <iterator>
#include <string>

#include "tests/support/test_places.h"

/// The theme that is delivered.
inline std::string DeliveredThemePath()
{
    return SourcePath("config/skin.smf");
}

inline std::string DeliveredTheme()
{
    std::ifstream file(DeliveredThemePath(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}
