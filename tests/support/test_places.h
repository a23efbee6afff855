#pragma once

#include <string>
#include <string_view>

/// The absolute path of a file or folder of the source tree, given from its root on.
std::string SourcePath(std::string_view below = {});

/// The same in the build that the test belongs to.
std::string BuildPath(std::string_view below = {});
