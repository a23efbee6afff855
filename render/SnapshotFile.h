#pragma once

#include <cstdint>
#include <string>

/// Writes 32-bit pixels (blue, green, red, ignored; top row first, rows `pitch` bytes apart) as an uncompressed
/// BMP of 32 bits a pixel with full opacity. `hostPath` is a path of this machine; an existing file is
/// replaced. False when it could not be written whole; nothing of it is left then.
bool WriteSnapshotFile(const std::string& hostPath, const std::uint8_t* pixels, std::int32_t pitch,
                       std::int32_t width, std::int32_t height);
