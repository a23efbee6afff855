#include "platform/os/module_place.h"

#include <link.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace fs = std::filesystem;

namespace
{

constexpr std::string_view MODULE_FILE = "activex.ocx";
constexpr std::string_view DATABASE = "dvr.db";

constinit std::atomic<FolderTest> g_pFolderTest = nullptr;

// The loader knows a module by the path that it was given. The folder by which a relative one was meant is the
// present one while the module is loaded, when its own objects are made; the host may change it at any time
// after. Never destroyed: link threads ask for paths until the process ends.
const fs::path& g_FolderAtLoad = *[] {
    std::error_code ignored;
    return new fs::path(fs::current_path(ignored));
}();

int FindModuleAmongLoaded(dl_phdr_info* object, std::size_t, void* result)
{
    const fs::path path(object->dlpi_name == nullptr ? "" : object->dlpi_name);
    if (path.filename() != MODULE_FILE) return 0;
    *static_cast<fs::path*>(result) = path;
    return 1;
}

// The copy goes to a name of its own first and appears whole or not at all; of two processes that start at once
// the first one's copy stays.
std::error_code CopyMissingFile(const fs::path& from, const fs::path& to)
{
    std::error_code error;
    if (!fs::is_regular_file(from, error) || fs::exists(fs::symlink_status(to, error))) return {};
    const fs::path part = to.native() + "." + std::to_string(::getpid()) + ".part";
    if (!fs::copy_file(from, part, fs::copy_options::overwrite_existing, error)) return error;
    // The installed file may be read-only; the user's is the user's.
    fs::permissions(part, fs::perms::owner_read | fs::perms::owner_write, fs::perm_options::add, error);
    fs::create_hard_link(part, to, error);
    if (error == std::errc::file_exists)
        error.clear();
    else if (error)
        fs::rename(part, to, error);  // a file system without hard links
    std::error_code ignored;
    fs::remove(part, ignored);
    return error;
}

}  // namespace

std::string FindModuleFolder()
{
    fs::path module;
    std::error_code error;
    if (dl_iterate_phdr(FindModuleAmongLoaded, &module) == 0)
        module = fs::read_symlink("/proc/self/exe", error);
    return fs::path(AbsoluteLoadedPath(module)).parent_path();
}

std::string AbsoluteLoadedPath(const std::string& name)
{
    return g_FolderAtLoad / name;
}

UserPlace ChooseUserPlace(const std::string& folder, const std::string& userFolder,
                          const std::function<bool(const std::string& folder)>& isWritable)
{
    if (isWritable(folder)) return {};
    std::error_code error;
    fs::create_directories(userFolder + "/config", error);
    if (!fs::is_directory(userFolder, error))
        return {{}, folder + " can't be written, and " + userFolder + " can't be made", true};
    // What stands there already is still read.
    if (!isWritable(userFolder) || !fs::is_directory(userFolder + "/config", error) ||
        !isWritable(userFolder + "/config"))
        return {userFolder,
                folder + " can't be written, nor can " + userFolder + "; settings and records aren't kept",
                true};
    UserPlace place{userFolder, folder + " can't be written; settings and records go to " + userFolder};
    error = CopyMissingFile(folder / fs::path(DATABASE), userFolder / fs::path(DATABASE));
    if (error) {
        place.notice += ", without " + std::string(DATABASE) + ": " + error.message();
        place.fault = true;
    }
    return place;
}

void SetFolderTest(FolderTest test)
{
    g_pFolderTest = test;
}

bool IsFolderWritable(const std::string& folder)
{
    const FolderTest test = g_pFolderTest;
    return test != nullptr ? test(folder) : ::access(folder.c_str(), W_OK | X_OK) == 0;
}
