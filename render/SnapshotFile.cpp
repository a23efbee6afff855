#include "render/SnapshotFile.h"

#include <cstdio>
#include <memory>
#include <vector>

namespace
{

constexpr std::uint32_t FILE_HEADER_BYTES = 14;
constexpr std::uint32_t INFO_HEADER_BYTES = 40;
constexpr std::uint32_t HEADER_BYTES = FILE_HEADER_BYTES + INFO_HEADER_BYTES;
constexpr std::uint32_t BYTES_A_PIXEL = 4;

void Put16(std::vector<std::uint8_t>& to, std::uint32_t value)
{
    to.push_back(static_cast<std::uint8_t>(value));
    to.push_back(static_cast<std::uint8_t>(value >> 8));
}

void Put32(std::vector<std::uint8_t>& to, std::uint32_t value)
{
    Put16(to, value);
    Put16(to, value >> 16);
}

std::vector<std::uint8_t> MakeHeader(std::uint32_t width, std::uint32_t height)
{
    const std::uint32_t pixelBytes = width * height * BYTES_A_PIXEL;
    std::vector<std::uint8_t> header{'B', 'M'};
    Put32(header, HEADER_BYTES + pixelBytes);
    Put32(header, 0);
    Put32(header, HEADER_BYTES);
    Put32(header, INFO_HEADER_BYTES);
    Put32(header, width);
    Put32(header, height);  // positive: the bottom row comes first
    Put16(header, 1);
    Put16(header, BYTES_A_PIXEL * 8);
    Put32(header, 0);  // uncompressed
    Put32(header, pixelBytes);
    Put32(header, 0);
    Put32(header, 0);
    Put32(header, 0);
    Put32(header, 0);
    return header;
}

}  // namespace

bool WriteSnapshotFile(const std::string& hostPath, const std::uint8_t* pixels, std::int32_t pitch,
                       std::int32_t width, std::int32_t height)
{
    if (pixels == nullptr || width <= 0 || height <= 0 || width > 0x4000 || height > 0x4000) return false;
    using CFile = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;
    CFile file(std::fopen(hostPath.c_str(), "wbe"), std::fclose);
    if (file == nullptr) return false;
    const auto header = MakeHeader(static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height));
    bool written = std::fwrite(header.data(), 1, header.size(), file.get()) == header.size();
    std::vector<std::uint8_t> row(static_cast<std::size_t>(width) * BYTES_A_PIXEL);
    for (std::int32_t y = height - 1; y >= 0 && written; --y) {
        const std::uint8_t* const from = pixels + std::ptrdiff_t{y} * pitch;
        for (std::size_t at = 0; at < row.size(); at += BYTES_A_PIXEL) {
            row[at] = from[at];
            row[at + 1] = from[at + 1];
            row[at + 2] = from[at + 2];
            row[at + 3] = 0xFF;
        }
        written = std::fwrite(row.data(), 1, row.size(), file.get()) == row.size();
    }
    written = std::fclose(file.release()) == 0 && written;
    if (!written) std::remove(hostPath.c_str());
    return written;
}
