#include "platform/os/module_place.h"

#include <link.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "inc/OutputDebugString.h"

namespace fs = std::filesystem;

namespace
{

constexpr std::string_view MODULE_FILE = "activex.ocx";
constexpr auto MODULE_DATA = std::to_array<std::string_view>({"config", "osd", "dvr.bmp", "dvr.db"});

int FindModuleAmongLoaded(dl_phdr_info* object, std::size_t, void* result)
{
    const fs::path path(object->dlpi_name == nullptr ? "" : object->dlpi_name);
    if (path.filename() != MODULE_FILE) return 0;
    *static_cast<fs::path*>(result) = path;
    return 1;
}

// The copy goes to a name of its own first and appears whole or not at all; of two processes that fill the
// folder at once the first one's copy stays.
void CopyMissingFile(const fs::path& from, const fs::path& to)
{
    std::error_code error;
    if (fs::exists(fs::symlink_status(to, error))) return;
    const fs::path part = to.native() + "." + std::to_string(::getpid()) + ".part";
    if (!fs::copy_file(from, part, fs::copy_options::overwrite_existing, error) || error) {
        OutputDebugStringA("module folder: " + from.native() + " not copied: " + error.message() + "\n");
    } else {
        // The installed file may be read-only; the user's is the user's.
        fs::permissions(part, fs::perms::owner_read | fs::perms::owner_write, fs::perm_options::add, error);
        fs::create_hard_link(part, to, error);
        if (error && error != std::errc::file_exists) fs::rename(part, to, error);
    }
    fs::remove(part, error);
}

void CopyMissing(const fs::path& from, const fs::path& to)
{
    std::error_code error;
    if (fs::is_regular_file(from, error)) {
        CopyMissingFile(from, to);
        return;
    }
    if (!fs::is_directory(from, error)) return;
    fs::create_directories(to, error);
    for (auto entry = fs::directory_iterator(from, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        CopyMissing(entry->path(), to / entry->path().filename());
    }
}

}  // namespace

std::string FindModuleFolder()
{
    fs::path module;
    std::error_code error;
    if (dl_iterate_phdr(FindModuleAmongLoaded, &module) == 0)
        module = fs::read_symlink("/proc/self/exe", error);
    return fs::absolute(module, error).parent_path();
}

std::string ChooseModuleFolder(const std::string& folder, const std::string& userFolder,
                               const std::function<bool(const std::string& folder)>& isWritable)
{
    if (isWritable(folder)) return folder;
    std::error_code error;
    fs::create_directories(userFolder, error);
    if (!fs::is_directory(userFolder, error)) {
        OutputDebugStringA("module folder: " + userFolder + " can't be made, staying in " + folder + "\n");
        return folder;
    }
    for (const std::string_view name : MODULE_DATA)
        CopyMissing(fs::path(folder) / name, fs::path(userFolder) / name);
    return userFolder;
}
