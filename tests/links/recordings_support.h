#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// Recordings as other programs read them.

/// What ffprobe tells of the first stream of a recording.
struct ProbedFile {
    bool opens = false;
    std::string codec;
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::string rate;
    std::size_t packets = 0;
};
ProbedFile ProbeFile(const std::string& path);

/// The numbers of a recording's pictures, decoded by ffmpeg. `complaints` gets its messages.
std::vector<std::optional<std::uint32_t>> DecodeNumbers(const std::string& path, std::int32_t width,
                                                        std::int32_t height, std::string& complaints);

/// The recordings below a folder, in the order of their names; paths of this machine.
std::vector<std::string> FindRecordings(const std::string& folder);
