#include "tests/support/test_places.h"

namespace
{

std::string Below(const char* root, std::string_view below)
{
    std::string path = root;
    if (!below.empty()) path.append("/").append(below);
    return path;
}

}  // namespace

std::string SourcePath(std::string_view below)
{
    return Below(WATCHWALL_SOURCE_DIR, below);
}

std::string BuildPath(std::string_view below)
{
    return Below(WATCHWALL_BINARY_DIR, below);
}
