// A module with a copy of the log library of its own, as the control has one.

#include <stdexcept>

#include "inc/CxLog.h"
#include "inc/LogLine.h"

extern "C" __attribute__((visibility("default"))) const char* LogFromModule(const char* message)
{
    try {
        CxLog::Instance().Log("module.cpp", "LogFromModule", 1, ELogLevel::Message, "%s", message);
        return CxLog::Instance().GetPath().c_str();
    } catch (const std::runtime_error& error) {
        return error.what()[0] == 'C' ? "ended" : "?";
    }
}

extern "C" __attribute__((visibility("default"))) bool IsNewsInModule(const char* message)
{
    return IsNews(message);
}
