#include "platform/os/paths.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <system_error>

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

struct XModuleDirectory {
    std::mutex Lock;
    std::string strNamed;  // by SetModuleDirectory
    // What was chosen in place of a folder; chosen once, because choosing may fill the user's folder.
    std::string strFolder;
    std::string strChosen;
};

XModuleDirectory& ModuleDirectory()
{
    static auto& directory = *new XModuleDirectory;
    return directory;
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
    fs::path path = fs::absolute(HostPath(named), error).lexically_normal();
    if (!path.has_filename()) path = path.parent_path();
    return path;
}

bool IsDirectory(const std::string& hostPath)
{
    struct stat status = {};
    return ::stat(hostPath.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

std::string HostPath(std::string_view path)
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

std::string GetExecutableFileNameA()
{
    std::error_code error;
    return SystemPath(fs::read_symlink("/proc/self/exe", error).native());
}

std::string GetModuleDirectory()
{
    auto& directory = ModuleDirectory();
    const std::lock_guard lock(directory.Lock);
    if (!directory.strNamed.empty()) return directory.strNamed;
    const char* const home = std::getenv("WATCHWALL_HOME");
    const std::string folder = home != nullptr && *home != '\0' ? AbsoluteFolder(home) : FindModuleFolder();
    if (folder != directory.strFolder) {
        const auto isWritable = [](const std::string& place) { return ::access(place.c_str(), W_OK) == 0; };
        directory.strChosen = ChooseModuleFolder(folder, UserDataFolder(), isWritable);
        directory.strFolder = folder;
    }
    return WithBackslash(SystemPath(directory.strChosen));
}

void SetModuleDirectory(std::string_view path)
{
    auto& directory = ModuleDirectory();
    const std::lock_guard lock(directory.Lock);
    directory.strNamed = path.empty() ? "" : WithBackslash(SystemPath(AbsoluteFolder(path)));
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
