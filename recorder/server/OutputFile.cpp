#include "recorder/server/OutputFile.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
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

// What a link leads to: another file under the link's name would be no news to who reads the target.
fs::path Followed(const std::string& path)
{
    std::error_code error;
    const fs::path target = fs::canonical(path, error);
    return error ? fs::path(path) : target;
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

// Without waiting for a reader that may never come: no signal would end the run then.
bool WriteInto(const std::string& path, std::string_view text)
{
    const int file = ::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
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
