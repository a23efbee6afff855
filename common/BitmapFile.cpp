#include "common/BitmapFile.h"

#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>

#include "platform/os/paths.h"

std::unique_ptr<BitmapFile> LoadBitmapFile(const std::string& path)
{
    const std::filesystem::path host = HostPath(path);
    std::error_code error;
    const auto size = std::filesystem::file_size(host, error);
    if (error || size < BitmapFile::INFO_AT || size > std::numeric_limits<std::uint32_t>::max()) return nullptr;
    std::ifstream file(host, std::ios::binary);
    auto bitmap = std::make_unique<BitmapFile>();
    bitmap->bytes.resize(static_cast<std::size_t>(size));
    if (!file.read(reinterpret_cast<char*>(bitmap->bytes.data()), static_cast<std::streamsize>(size)))
        return nullptr;
    std::uint32_t told = 0;
    std::memcpy(&told, bitmap->bytes.data() + 2, sizeof told);
    const bool whole = bitmap->bytes[0] == 'B' && bitmap->bytes[1] == 'M' && told == size;
    return whole ? std::move(bitmap) : nullptr;
}
