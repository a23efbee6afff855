// Arbitrary bytes as an ini file, read and changed by every call of platform/files/profile.h. The input is cut
// at its first three NUL bytes into section, key, value and the file. The file lives in memory.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "platform/files/FileOperations.h"
#include "platform/files/IniText.h"
#include "platform/files/profile.h"
#include "platform/os/ascii.h"

namespace
{

constexpr const char* PATH = "\\profile-fuzz.ini";

void Require(bool condition)
{
    if (!condition) std::abort();
}

class CMemoryFile final : public IFileOperations
{
  public:
    std::string m_strContent;

    int Open(const char* path, int, mode_t) override
    {
        const std::string_view name(path);
        if (name.ends_with(".tmp")) {
            m_strNew.clear();
        } else {
            m_Read = 0;
        }
        return 1;
    }
    ssize_t Read(int, void* buffer, std::size_t size) override
    {
        const std::size_t count = std::min(size, m_strContent.size() - m_Read);
        std::memcpy(buffer, m_strContent.data() + m_Read, count);
        m_Read += count;
        return static_cast<ssize_t>(count);
    }
    ssize_t Write(int, const void* data, std::size_t size) override
    {
        m_strNew.append(static_cast<const char*>(data), size);
        return static_cast<ssize_t>(size);
    }
    int Stat(int, struct stat& status) override
    {
        status.st_mode = S_IFREG;
        return 0;
    }
    int ChangeMode(int, mode_t) override { return 0; }
    int Sync(int) override { return 0; }
    int Close(int) override { return 0; }
    int TryLock(int) override { return 0; }
    int Rename(const char*, const char*) override
    {
        m_strContent = m_strNew;
        return 0;
    }
    int Unlink(const char*) override { return 0; }

  private:
    std::string m_strNew;
    std::size_t m_Read = 0;
};

std::string CutAtNul(std::string_view& rest)
{
    const auto end = std::min(rest.find('\0'), rest.size());
    std::string part(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
    return part;
}

// What a written value reads as.
std::string_view Plain(std::string_view value)
{
    value = TrimBlanks(value);
    const bool quoted =
        value.size() >= 2 && value.front() == value.back() && (value.front() == '"' || value.front() == '\'');
    return quoted ? value.substr(1, value.size() - 2) : value;
}

void ReadIntoSmallBuffers(const char* section, const char* key)
{
    for (const std::uint32_t size : {0U, 1U, 2U, 3U, 16U, 260U}) {
        std::array<char, 264> buffer;
        buffer.fill('#');
        const std::uint32_t count =
            GetPrivateProfileStringA(section, key, "fallback ", buffer.data(), size, PATH);
        Require(size == 0 ? count == 0 : count < size && buffer[count] == '\0');
        Require(std::all_of(buffer.begin() + size, buffer.end(), [](char c) { return c == '#'; }));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    const std::string section = CutAtNul(rest);
    const std::string key = CutAtNul(rest);
    const std::string value = CutAtNul(rest);

    CMemoryFile file;
    file.m_strContent = rest;
    SetFileOperations(&file);
    ReadIntoSmallBuffers(section.c_str(), key.c_str());
    ReadIntoSmallBuffers(section.c_str(), nullptr);
    ReadIntoSmallBuffers(nullptr, nullptr);
    GetPrivateProfileIntA(section.c_str(), key.c_str(), 1, PATH);

    if (WritePrivateProfileStringA(section.c_str(), key.c_str(), value.c_str(), PATH)) {
        const auto room = static_cast<std::uint32_t>(size + 1);
        Require(GetProfileText(section.c_str(), key.c_str(), "none", room, PATH) == Plain(value));
        const std::string written = file.m_strContent;
        Require(WritePrivateProfileStringA(section.c_str(), key.c_str(), value.c_str(), PATH));
        Require(file.m_strContent == written);
        // A change in one section is no change in another.
        const CIniText before{std::string(rest)};
        const CIniText after{written};
        for (const std::string& name : before.SectionNames()) {
            if (EqualIgnoringCase(name, TrimBlanks(section))) continue;
            Require(before.KeyNames(name) == after.KeyNames(name));
        }
    } else {
        Require(file.m_strContent == rest);
    }
    Require(WritePrivateProfileStringA(section.c_str(), key.c_str(), nullptr, PATH));
    Require(WritePrivateProfileStringA(section.c_str(), nullptr, nullptr, PATH));
    SetFileOperations(nullptr);
    return 0;
}
