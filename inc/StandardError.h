#pragma once

#include <string_view>

/// Prints the text on standard error at once. Of one whose reader has gone the text is lost and nothing else:
/// its signal would end a host that doesn't ignore it. At any time from any thread.
void PrintError(std::string_view text);
