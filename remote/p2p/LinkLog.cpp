#include "remote/p2p/LinkLog.h"

#include <exception>

#include "inc/CxLog.h"

void LogLink(const char* function, const std::string& message, std::source_location place) noexcept
{
    try {
        CxLog::Instance().Log(place.file_name(), function, static_cast<std::int32_t>(place.line()), LOG_WARNING,
                              "%s", message.c_str());
    } catch (const std::exception&) {
        // The log has ended, or there is no memory for a line.
    }
}
