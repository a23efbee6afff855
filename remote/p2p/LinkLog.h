#pragma once

#include <source_location>
#include <string>

/// One warning in the process's log. `function` is the writer's name as it stands in the log ("CUdpLink::Run").
/// At any time from any thread; throws nothing, and once the log has ended the line is lost.
void LogLink(const char* function, const std::string& message,
             std::source_location place = std::source_location::current()) noexcept;
