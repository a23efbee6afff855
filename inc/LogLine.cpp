#include "inc/LogLine.h"

#include <exception>

#include "inc/CxLog.h"
#include "inc/EscapeControls.h"
#include "inc/OutputDebugString.h"
#include "inc/StandardError.h"

void LogLine(ELogLevel level, const char* function, const std::string& message, const char* file,
             std::int32_t line)
{
    try {
        if (CxLog* const log = CxLog::Find())
            log->Log(file, function, line, level, "%s", EscapeControls(message, "\n\t").c_str());
        else
            OutputDebugStringA(message + "\n");
    } catch (const std::exception&) {
        // No memory for a line, or no thread for the log: there is no other place to tell it.
    }
}

void LogFault(const char* function, const std::string& message, const char* file, std::int32_t line)
{
    LogLine(ELogLevel::Error, function, message, file, line);
    PrintError("watchwall: " + EscapeControls(message, "\n\t") + "\n");
}
