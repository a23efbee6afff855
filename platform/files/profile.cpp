#include "platform/files/profile.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "inc/LogLine.h"
#include "inc/OutputDebugString.h"
#include "platform/files/profile_edit.h"
#include "platform/os/ascii.h"
#include "platform/os/paths.h"
#include "platform/os/user_folders.h"

namespace
{

std::uint32_t CopyText(std::string_view text, char* buffer, std::uint32_t size)
{
    const auto count = std::min<std::size_t>(text.size(), size - 1);
    std::memcpy(buffer, text.data(), count);
    buffer[count] = '\0';
    return static_cast<std::uint32_t>(count);
}

std::uint32_t CopyNames(const std::vector<std::string>& names, char* buffer, std::uint32_t size)
{
    std::string list;
    for (const std::string& name : names)
        list.append(name).push_back('\0');
    if (list.size() < size) {
        std::memcpy(buffer, list.data(), list.size());
        buffer[list.size()] = '\0';
        return static_cast<std::uint32_t>(list.size());
    }
    constexpr std::uint32_t TERMINATORS = 2;
    const std::uint32_t count = size < TERMINATORS ? 0 : size - TERMINATORS;
    std::memcpy(buffer, list.data(), count);
    std::memset(buffer + count, 0, size - count);
    return count;
}

std::uint32_t LeadingNumber(std::string_view text, int base)
{
    // Digits beyond 32 bits wrap.
    std::uint32_t value = 0;
    for (const char c : text) {
        std::uint32_t digit = 0;
        if (std::from_chars(&c, &c + 1, digit, base).ec != std::errc()) break;
        value = value * static_cast<std::uint32_t>(base) + digit;
    }
    return value;
}

std::int32_t ParseInteger(std::string_view text)
{
    const bool negative = text.starts_with('-');
    if (negative) text.remove_prefix(1);
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    const std::uint32_t value = hexadecimal ? LeadingNumber(text.substr(2), 16) : LeadingNumber(text, 10);
    return static_cast<std::int32_t>(negative ? 0U - value : value);
}

}  // namespace

bool ReadIniFile(const std::string& path, CIniText& ini)
{
    std::string text;
    if (path.empty() || !ReadWholeFile(HostPath(path), text)) return false;
    ini = CIniText(std::move(text));
    return true;
}

EReplace EditIniFile(const std::string& path, const std::function<bool(CIniText& ini)>& edit)
{
    // A file that is shipped in a place which can't be written becomes the user's own with its first change.
    const std::string shipped = HostPath(path);
    const std::string target = HostPathForWriting(path);
    bool unreadable = false;
    EReplace result = ReplaceFile(target, [&](std::string& content) {
        // Without what is shipped it would hide that for good.
        unreadable =
            content.empty() && shipped != target && !ReadWholeFile(shipped, content) && errno != ENOENT;
        if (unreadable) return false;
        CIniText ini(content);
        if (!edit(ini)) return false;
        content = ini.Text();
        return true;
    });
    if (unreadable) result = EReplace::Failed;
    if (result == EReplace::Done) return result;
    if (result == EReplace::Failed) {
        LogFault("EditIniFile", path + " not written: " + std::generic_category().message(errno));
    } else {
        OutputDebugStringA("profile " + path +
                           " not written: a text can't be kept in one line of an ini file\n");
    }
    return result;
}

std::uint32_t GetPrivateProfileStringA(const char* section, const char* key, const char* fallback, char* buffer,
                                       std::uint32_t size, const char* path)
{
    if (buffer == nullptr || size == 0) return 0;
    CIniText ini;
    if (path != nullptr && ReadIniFile(path, ini)) {
        std::string value;
        if (section == nullptr) return CopyNames(ini.SectionNames(), buffer, size);
        if (key == nullptr && ini.HasSection(section)) return CopyNames(ini.KeyNames(section), buffer, size);
        if (key != nullptr && ini.Find(section, key, value)) return CopyText(value, buffer, size);
    }
    const std::string_view given = fallback == nullptr ? "" : fallback;
    return CopyText(given.substr(0, given.find_last_not_of(BLANKS) + 1), buffer, size);
}

std::int32_t GetPrivateProfileIntA(const char* section, const char* key, std::int32_t fallback,
                                   const char* path)
{
    CIniText ini;
    std::string value;
    if (section == nullptr || key == nullptr || path == nullptr || !ReadIniFile(path, ini)) return fallback;
    if (!ini.Find(section, key, value) || value.empty()) return fallback;
    return ParseInteger(value);
}

bool WritePrivateProfileStringA(const char* section, const char* key, const char* value, const char* path)
{
    if (section == nullptr || path == nullptr || *path == '\0') return false;
    const EReplace result = EditIniFile(path, [&](CIniText& ini) {
        if (key != nullptr && value != nullptr) return ini.Set(section, key, value);
        if (key == nullptr) {
            ini.RemoveSection(section);
        } else {
            ini.RemoveKey(section, key);
        }
        return true;
    });
    return result == EReplace::Done;
}

std::string GetProfileText(const char* section, const char* key, const char* fallback, std::uint32_t size,
                           const std::string& path)
{
    std::string buffer(size, '\0');
    buffer.resize(GetPrivateProfileStringA(section, key, fallback, buffer.data(), size, path.c_str()));
    return buffer;
}

std::string GetApplicationProfilePath()
{
    std::string path = SystemPath(UserConfigFolder() + "/profile.ini");
    MakeSureDirectoryPathExists(path);
    return path;
}
