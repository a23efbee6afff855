#include "platform/os/user_folders.h"

#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

namespace
{

std::string HomeFolder()
{
    if (const char* const home = std::getenv("HOME"); home != nullptr && *home == '/') return home;
    std::array<char, 4096> buffer;
    struct passwd entry = {};
    struct passwd* found = nullptr;
    if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr &&
        found->pw_dir != nullptr && *found->pw_dir == '/') {
        return found->pw_dir;
    }
    return "/nonexistent";
}

// A relative path in such a variable counts as not set.
std::string BaseFolder(const char* variable, const char* belowHome)
{
    const char* const set = std::getenv(variable);
    return set != nullptr && *set == '/' ? std::string(set) : HomeFolder() + belowHome;
}

}  // namespace

std::string UserDataFolder()
{
    return BaseFolder("XDG_DATA_HOME", "/.local/share") + "/watchwall";
}
std::string UserConfigFolder()
{
    return BaseFolder("XDG_CONFIG_HOME", "/.config") + "/watchwall";
}
