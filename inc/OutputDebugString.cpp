#include "inc/OutputDebugString.h"

#include <cstdlib>
#include <string>
#include <utility>

#include "inc/EscapeControls.h"
#include "inc/Mutex.h"
#include "inc/StandardError.h"

namespace
{

// Never destroyed: the log writes here while the process ends.
struct DebugOutput {
    CMutex lock;
    CDebugListener listener GUARDED_BY(lock);
};

DebugOutput& Output()
{
    static auto& output = *new DebugOutput;
    return output;
}

}  // namespace

void OutputDebugStringA(std::string_view text)
{
    auto& output = Output();
    const CMutexLock lock(output.lock);
    const char* const debug = std::getenv("WATCHWALL_DEBUG");
    if (debug != nullptr && *debug != '\0') {
        // The log's lines end as its file wants them.
        const bool logLine = text.ends_with("\r\n");
        PrintError(EscapeControls(text.substr(0, text.size() - (logLine ? 2 : 0)), "\n\t") +
                   (logLine ? "\n" : ""));
    }
    if (output.listener) output.listener(text);
}

CDebugListener SetDebugListener(CDebugListener listener)
{
    auto& output = Output();
    const CMutexLock lock(output.lock);
    return std::exchange(output.listener, std::move(listener));
}
