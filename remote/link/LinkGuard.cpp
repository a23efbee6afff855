#include "remote/link/LinkGuard.h"

#include <exception>

#include "inc/CxLog.h"
#include "inc/LogLine.h"

void RunGuarded(const char* function, const std::function<std::string()>& name,
                const std::function<void()>& receive)
{
    try {
        receive();
    } catch (const std::exception& fault) {
        try {
            LogLine(ELogLevel::Warning, function, name() + " ends: " + fault.what());
        } catch (const std::exception&) {
            // Not even memory for the line: the link gives back what it holds all the same.
        }
    }
}
