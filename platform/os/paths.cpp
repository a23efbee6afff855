#include "platform/os/paths.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "inc/CxLog.h"
#include "inc/LogLine.h"
#include "inc/Mutex.h"
#include "platform/os/ascii.h"
#include "platform/os/drives.h"
#include "platform/os/module_place.h"
#include "platform/os/user_folders.h"

namespace fs = std::filesystem;

namespace
{

// Below this nothing can be opened or made: the place of what lies on a drive that isn't there.
constexpr std::string_view NOWHERE = "/dev/null/";

bool HasDrive(std::string_view path)
{
    return path.size() >= 2 && path[1] == ':' && IsAsciiLetter(path[0]);
}

struct ModulePlace {
    CMutex lock;
    std::string named GUARDED_BY(lock);  // by SetModuleDirectory
    // What was chosen for a folder; chosen once, because choosing may fill the user's folder.
    std::string folder GUARDED_BY(lock);
    UserPlace user GUARDED_BY(lock);
};

ModulePlace& ModuleDirectory()
{
    static auto& directory = *new ModulePlace;
    return directory;
}

// A letter and its rest -> a path of this machine; nothing else is looked at.
std::string PlainHostPath(std::string_view path)
{
    std::string host;
    if (HasDrive(path)) {
        const char letter = LowerAscii(path[0]);
        path.remove_prefix(2);
        if (letter != 'c' && !GetDriveMountPoint(letter, host)) host = std::string(NOWHERE) + letter;
        if (path.empty() || (path[0] != '\\' && path[0] != '/')) host.push_back('/');
    }
    host += path;
    std::ranges::replace(host, '\\', '/');
    return host;
}

std::string WithBackslash(std::string path)
{
    if (!path.ends_with('\\')) path.push_back('\\');
    return path;
}

// A folder that someone named, in either form, as an absolute path of this machine.
std::string AbsoluteFolder(std::string_view named)
{
    std::error_code error;
    fs::path path = fs::absolute(PlainHostPath(named), error).lexically_normal();
    if (!path.has_filename()) path = path.parent_path();
    return path;
}

bool IsDirectory(const std::string& hostPath)
{
    struct stat status = {};
    return ::stat(hostPath.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

const char* NamedHome()
{
    const char* const home = std::getenv("WATCHWALL_HOME");
    return home != nullptr && *home != '\0' ? home : nullptr;
}

// The environment names a home for the whole process, in which the host may change its folder at any time.
std::string ModuleFolder()
{
    const char* const home = NamedHome();
    return home != nullptr ? AbsoluteFolder(AbsoluteLoadedPath(PlainHostPath(home))) : FindModuleFolder();
}

// Each named home has a user's folder of its own, so that none shows what belongs to another: its last name,
// and a number made of the whole path by the FNV-1a rule.
std::string UserFolderOf(const std::string& folder)
{
    if (NamedHome() == nullptr) return UserDataFolder();
    constexpr std::uint64_t BASIS = 0xCBF29CE484222325;
    constexpr std::uint64_t PRIME = 0x100000001B3;
    std::uint64_t hash = BASIS;
    for (const char c : folder)
        hash = (hash ^ static_cast<unsigned char>(c)) * PRIME;
    char number[17];
    std::snprintf(number, sizeof number, "%016llx", static_cast<unsigned long long>(hash));
    return UserDataFolder() + "/homes/" + fs::path(folder).filename().native() + "-" + number;
}

// The user's folder for a module's; empty when everything lies in the module's. The first call for a folder
// chooses and tells.
std::string UserFolderFor(const std::string& folder)
{
    auto& directory = ModuleDirectory();
    UserPlace chosen;
    {
        const CMutexLock lock(directory.lock);
        if (!directory.named.empty()) return {};
        if (folder == directory.folder) return directory.user.folder;
        chosen = ChooseUserPlace(folder, UserFolderOf(folder), IsFolderWritable);
        directory.folder = folder;
        directory.user = chosen;
    }
    if (chosen.notice.empty() || !IsNews(chosen.notice)) return chosen.folder;
    if (chosen.fault || NamedHome() != nullptr)
        LogFault("GetModuleDirectory", chosen.notice);
    else
        LogLine(ELogLevel::Message, "GetModuleDirectory", chosen.notice);
    return chosen.folder;
}

bool Exists(const std::string& hostPath)
{
    struct stat status = {};
    return ::lstat(hostPath.c_str(), &status) == 0;
}

// Whether a component is "..": one that only begins so is a name like any other.
bool LeadsBack(std::string_view hostPath)
{
    return hostPath.ends_with("/..") || hostPath.find("/../") != std::string_view::npos;
}

enum class EUse { Read, Write };

// A path in the module's folder, which the user's folder may lie in front of.
std::string Overlay(std::string host, EUse use)
{
    const std::string folder = ModuleFolder();
    const bool inside =
        host.starts_with(folder) && (host.size() == folder.size() || host[folder.size()] == '/');
    if (!inside || LeadsBack(std::string_view(host).substr(folder.size()))) return host;
    std::string user = UserFolderFor(folder);
    if (user.empty()) return host;
    user += host.substr(folder.size());
    return use == EUse::Write || Exists(user) || !Exists(host) ? user : host;
}

}  // namespace

std::string HostPath(std::string_view path)
{
    return Overlay(PlainHostPath(path), EUse::Read);
}

std::string HostPathForWriting(std::string_view path)
{
    return Overlay(PlainHostPath(path), EUse::Write);
}

std::string SystemPath(std::string_view hostPath)
{
    std::string path = hostPath.starts_with('/') ? "c:" : "";
    path += hostPath;
    std::ranges::replace(path, '/', '\\');
    return path;
}

std::string GetModuleFileNameA()
{
    return GetModuleDirectory() + "activex.ocx";
}

std::string GetModuleDirectory()
{
    auto& directory = ModuleDirectory();
    {
        const CMutexLock lock(directory.lock);
        if (!directory.named.empty()) return directory.named;
    }
    return WithBackslash(SystemPath(ModuleFolder()));
}

void SetModuleDirectory(std::string_view path)
{
    auto& directory = ModuleDirectory();
    const CMutexLock lock(directory.lock);
    directory.folder.clear();
    directory.user = {};
    directory.named = path.empty() ? "" : WithBackslash(SystemPath(AbsoluteFolder(path)));
}

bool MakeSureDirectoryPathExists(std::string_view path)
{
    constexpr mode_t NEW_DIRECTORY = 0777;
    const std::string host = HostPath(path);
    for (auto slash = host.find('/'); slash != std::string::npos; slash = host.find('/', slash + 1)) {
        const std::string folder = host.substr(0, slash);
        if (folder.empty() || IsDirectory(folder)) continue;
        // Another thread or process may make it at the same moment.
        if (::mkdir(folder.c_str(), NEW_DIRECTORY) != 0 && !IsDirectory(folder)) return false;
    }
    return true;
}

bool PathIsDirectoryA(std::string_view path)
{
    return IsDirectory(HostPath(path));
}

bool PathFileExistsA(std::string_view path)
{
    struct stat status = {};
    return ::stat(HostPath(path).c_str(), &status) == 0;
}
