#pragma once

#include <sys/types.h>

#include <atomic>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

/// Whether the thread of this process waits for something; false for one that has ended.
inline bool Sleeps(pid_t thread)
{
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
    const std::string stat{std::istreambuf_iterator<char>(file), {}};
    const auto name = stat.rfind(')');
    return name != std::string::npos && stat.compare(name, 3, ") S") == 0;
}

/// Returns when the thread, which tells its number there, waits for something.
inline void AwaitSleep(const std::atomic<pid_t>& thread)
{
    while (thread == 0 || !Sleeps(thread))
        std::this_thread::yield();
}
