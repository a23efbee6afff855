#pragma once

#include <functional>
#include <string_view>

/// Debugger output: standard error when the environment variable WATCHWALL_DEBUG is set (and not empty), and
/// always the attached listener. On standard error control characters but line break and tab are escaped. At
/// any time from any thread; one call's text is never mixed with another's.
void OutputDebugStringA(std::string_view text);

/// Attaches the one listener that receives every text, in place of the former one; an empty function detaches
/// it. The listener is called on the writer's thread, one call at a time, and must not write debugger output
/// itself. Returns the former listener.
using CDebugListener = std::function<void(std::string_view)>;
CDebugListener SetDebugListener(CDebugListener listener);
