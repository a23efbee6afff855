#pragma once

#include <cstdint>
#include <string>

#include "inc/CxLog.h"

// What the product writes to its log. At any time from any thread; nothing is thrown, and once the log has
// ended the debugger output alone is written. Control characters but line break and tab are escaped.

/// One line in the process's log. `function` is the writer's name as it stands in the
/// log ("CRenderWnd::Init"); file and line are the caller's own.
void LogLine(ELogLevel level, const char* function, const std::string& message,
             const char* file = __builtin_FILE(), std::int32_t line = __builtin_LINE());

/// Whether nobody in the process, program or module, has asked about this message yet: for what several may
/// find and one shall tell.
bool IsNews(const std::string& message);

/// A fault that someone must mend: an error in the log, and "watchwall: message" on standard error.
void LogFault(const char* function, const std::string& message, const char* file = __builtin_FILE(),
              std::int32_t line = __builtin_LINE());
