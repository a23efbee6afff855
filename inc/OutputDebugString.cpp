#include "inc/OutputDebugString.h"

#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <utility>

namespace
{

// Never destroyed: the log writes here while the process ends.
struct XDebugOutput {
    std::mutex Lock;
    CDebugListener Listener;
};

XDebugOutput& Output()
{
    static auto& output = *new XDebugOutput;
    return output;
}

}  // namespace

void OutputDebugStringA(std::string_view text)
{
    auto& output = Output();
    const std::lock_guard lock(output.Lock);
    const char* const debug = std::getenv("WATCHWALL_DEBUG");
    if (debug != nullptr && *debug != '\0') {
        std::fwrite(text.data(), 1, text.size(), stderr);
        std::fflush(stderr);
    }
    if (output.Listener) output.Listener(text);
}

CDebugListener SetDebugListener(CDebugListener listener)
{
    auto& output = Output();
    const std::lock_guard lock(output.Lock);
    return std::exchange(output.Listener, std::move(listener));
}
