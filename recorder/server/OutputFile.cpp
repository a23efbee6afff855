#include "recorder/server/OutputFile.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string_view>

namespace fs = std::filesystem;

namespace recorder
{

namespace
{

constexpr int MOST_WAIT_MS = 5'000;      // for a reader that takes nothing
constexpr std::size_t PIECE = PIPE_BUF;  // fits where there is room at all

// What a link leads to, though there may be no file yet: another one under the link's name would be no news to
// who reads the target.
fs::path Followed(fs::path path)
{
    constexpr int MOST_LINKS = 40;  // as the system has it
    std::error_code error;
    for (int links = 0; links < MOST_LINKS && fs::is_symlink(path, error); ++links)
        path = path.parent_path() / fs::read_symlink(path, error);
    return path;
}

fs::path Beside(const fs::path& target)
{
    return target.native() + ".new";
}

bool IsNoFile(const std::string& path)
{
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    return fs::exists(status) && !fs::is_regular_file(status) && !fs::is_directory(status);
}

// One of ours that writes there already, as with `--report /dev/stdout >>log`, or -1. What else was written
// through it into a file, and will be, belongs into the same file.
int DescriptorOf(const std::string& path)
{
    struct stat wanted {
    };
    if (::stat(path.c_str(), &wanted) != 0) return -1;
    std::error_code error;
    for (fs::directory_iterator it("/proc/self/fd", error), end; !error && it != end; it.increment(error)) {
        const int file = std::atoi(it->path().filename().c_str());
        const int flags = ::fcntl(file, F_GETFL);
        struct stat present {
        };
        if (flags >= 0 && (flags & O_ACCMODE) != O_RDONLY && ::fstat(file, &present) == 0 &&
            present.st_dev == wanted.st_dev && present.st_ino == wanted.st_ino)
            return file;
    }
    return -1;
}

// Waits for room before each piece, also where whoever opened it lets a write wait for good.
bool WriteInto(int file, std::string_view text)
{
    while (!text.empty()) {
        pollfd writable{file, POLLOUT, 0};
        const int ready = ::poll(&writable, 1, MOST_WAIT_MS);
        if (ready == 0) break;
        const ssize_t count = ready < 0 ? ready : ::write(file, text.data(), std::min(text.size(), PIECE));
        if (count < 0 && errno != EINTR && errno != EAGAIN) break;
        text.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    }
    return text.empty();
}

// Without waiting for a reader that may never come: no signal would end the run then. A socket, or another
// user's pipe, that is open already can't be opened anew.
bool WriteIntoDevice(const std::string& path, std::string_view text)
{
    const int file = ::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (file < 0) {
        const int present = DescriptorOf(path);
        return present >= 0 && WriteInto(present, text);
    }
    const bool written = WriteInto(file, text);
    return ::close(file) == 0 && written;
}

}  // namespace

void CheckCanWrite(const std::string& path)
{
    std::error_code none;
    bool can = false;
    if (DescriptorOf(path) >= 0) {
        can = true;
    } else if (IsNoFile(path)) {
        can = !fs::is_socket(path, none) && ::access(path.c_str(), W_OK) == 0;
    } else if (const fs::path beside = Beside(Followed(path));
               !fs::is_directory(path, none) && std::ofstream(beside, std::ios::binary)) {
        can = true;
        fs::remove(beside, none);
    }
    if (!can) throw std::runtime_error("can't write " + path);
}

void WriteWhole(const std::string& path, const std::string& text)
{
    bool written = false;
    if (IsNoFile(path)) {
        written = WriteIntoDevice(path, text);
    } else if (const int file = DescriptorOf(path); file >= 0) {
        written = WriteInto(file, text);
    } else {
        const fs::path target = Followed(path);
        const fs::path beside = Beside(target);
        std::error_code error;
        if (std::ofstream out(beside, std::ios::binary | std::ios::trunc); out) {
            out << text;
            out.close();
            if (out) fs::rename(beside, target, error);
            written = out && !error;
            if (!written) fs::remove(beside, error);
        }
    }
    if (!written) throw std::runtime_error("can't write " + path);
}

}  // namespace recorder
