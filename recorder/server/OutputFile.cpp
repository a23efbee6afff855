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

std::string Beside(const std::string& path)
{
    return path + ".new";
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
    } else if (!fs::is_directory(path, none) && std::ofstream(Beside(path), std::ios::binary)) {
        can = true;
        fs::remove(Beside(path), none);
    }
    if (!can) throw std::runtime_error("can't write " + path);
}

void WriteWhole(const std::string& path, const std::string& text)
{
    bool written = false;
    if (IsNoFile(path)) {
        written = WriteInto(path, text);
    } else {
        std::ofstream out(Beside(path), std::ios::binary | std::ios::trunc);
        out << text;
        out.close();
        std::error_code error;
        if (out) fs::rename(Beside(path), path, error);
        written = out && !error;
    }
    if (!written) throw std::runtime_error("can't write " + path);
}

}  // namespace recorder
