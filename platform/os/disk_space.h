#pragma once

#include <cstdint>

/// Free and total bytes of the file system that holds `path` (in the system's form); false when it can't be
/// asked. Free is what this user may still fill.
bool GetDiskFreeSpaceExA(const char* path, std::uint64_t& freeBytes, std::uint64_t& totalBytes);
