#include "inc/LogLine.h"

#include <cstdio>

#include "inc/CxLog.h"
#include "inc/OutputDebugString.h"

void LogLine(std::int32_t level, const char* function, const std::string& message, std::source_location place)
{
    if (CxLog* const log = CxLog::Find())
        log->Log(place.file_name(), function, static_cast<std::int32_t>(place.line()), level, "%s",
                 message.c_str());
    else
        OutputDebugStringA(message + "\n");
}

void LogFault(const char* function, const std::string& message, std::source_location place)
{
    LogLine(LOG_ERROR, function, message, place);
    const std::string line = "watchwall: " + message + "\n";
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fflush(stderr);
}
