#pragma once

#include <cstdint>

// How a program lends its log to the modules that it loads, so that a process has one log although each of them
// has its own copy of this library.

/// The log of a program. The functions may be called at any time from any thread, also after the log's end.
struct SharedLog {
    std::uint32_t size;  // of this record; a newer one is longer
    bool (*isAlive)();
    void (*write)(const char* file, const char* function, std::int32_t line, std::int32_t level,
                  const char* message);
    const char* (*path)();
    bool (*isNews)(const char* message);  // true for the first who asks about this message
};

/// Exported by every program that links this library, by no module.
extern "C" const SharedLog* watchwall_shared_log();

/// The program's log as seen from a module; null in the program itself and in one that lends none.
const SharedLog* FindSharedLog();
