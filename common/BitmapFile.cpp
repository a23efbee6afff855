#include "common/BitmapFile.h"

#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>

#include "platform/os/paths.h"

std::unique_ptr<XBitmapFile> LoadBitmapFile(const std::string& path)
{
    const std::filesystem::path host = HostPath(path);
    std::error_code error;
    const auto size = std::filesystem::file_size(host, error);
    if (error || size < XBitmapFile::INFO_AT || size > std::numeric_limits<std::uint32_t>::max())
        return nullptr;
    std::ifstream file(host, std::ios::binary);
    auto bitmap = std::make_unique<XBitmapFile>();
    bitmap->m_Bytes.resize(static_cast<std::size_t>(size));
    if (!file.read(reinterpret_cast<char*>(bitmap->m_Bytes.data()), static_cast<std::streamsize>(size)))
        return nullptr;
    std::uint32_t told = 0;
    std::memcpy(&told, bitmap->m_Bytes.data() + 2, sizeof told);
    const bool whole = bitmap->m_Bytes[0] == 'B' && bitmap->m_Bytes[1] == 'M' && told == size;
    return whole ? std::move(bitmap) : nullptr;
}
