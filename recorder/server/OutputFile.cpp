#include "recorder/server/OutputFile.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
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

constexpr int MOST_WAIT_MS = 5'000;  // for a reader that takes nothing
constexpr int MOST_LINKS = 40;       // the system follows no more of them

// A descriptor of this process, under which a shell may have opened a file: /dev/stdout leads there.
bool IsDescriptor(const fs::path& path)
{
    std::error_code error;
    const fs::path folder = fs::canonical("/proc/self/fd", error);
    return !error && fs::canonical(path.parent_path(), error) == folder;
}

// What a link leads to, also when it isn't there yet: another file under the link's name would be no news to
// who reads the target.
fs::path Followed(const std::string& path)
{
    fs::path at = path;
    for (int links = 0; links < MOST_LINKS && !IsDescriptor(at); ++links) {
        std::error_code error;
        const fs::path target = fs::read_symlink(at, error);
        if (error) break;
        at = at.parent_path() / target;
    }
    return at;
}

fs::path Beside(const fs::path& target)
{
    return target.native() + ".new";
}

// A new file under the name of one that is open already would take the place of what was written into that.
bool IsNoFile(const std::string& path)
{
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (fs::is_regular_file(status)) return IsDescriptor(Followed(path));
    return fs::exists(status) && !fs::is_directory(status);
}

// A file that is open already is written on where whoever has it open is; opened anew it would begin at its
// front. Others without waiting for a reader that may never come: no signal would end the run then.
int Open(const std::string& path)
{
    std::error_code error;
    if (fs::is_regular_file(path, error))
        return ::fcntl(std::atoi(Followed(path).filename().c_str()), F_DUPFD_CLOEXEC, 0);
    return ::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
}

bool WriteInto(const std::string& path, std::string_view text)
{
    const int file = Open(path);
    if (file < 0) return false;
    const auto former = std::signal(SIGPIPE, SIG_IGN);  // of a reader that goes
    while (!text.empty()) {
        const ssize_t count = ::write(file, text.data(), text.size());
        if (count >= 0) {
            text.remove_prefix(static_cast<size_t>(count));
            continue;
        }
        pollfd writable{file, POLLOUT, 0};
        if (errno != EINTR && (errno != EAGAIN || ::poll(&writable, 1, MOST_WAIT_MS) == 0)) break;
    }
    std::signal(SIGPIPE, former);
    return ::close(file) == 0 && text.empty();
}

}  // namespace

void CheckCanWrite(const std::string& path)
{
    std::error_code none;
    bool can = false;
    if (IsNoFile(path)) {
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
        written = WriteInto(path, text);
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
