#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// A whole bitmap file in memory.
struct BitmapFile {
    std::vector<std::uint8_t> bytes;

    /// From the information header on, which follows the 14 bytes of the file header.
    static constexpr std::size_t INFO_AT = 14;
};

/// Reads a bitmap file whole (`path` in the system's form). Null when it can't be read, does not fit 32 bits,
/// does not begin with "BM", or its size field isn't the file's size.
std::unique_ptr<BitmapFile> LoadBitmapFile(const std::string& path);
