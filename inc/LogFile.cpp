#include "inc/LogFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace
{

constexpr std::size_t MAX_LOG_PATH = 260;

bool IsUsable(const std::string& directory)
{
    std::error_code error;
    std::filesystem::create_directories(directory, error);  // an existing one is no failure
    return ::access(directory.c_str(), W_OK | X_OK) == 0;
}

// A relative path in such a variable counts as not set.
std::string UserLogDirectory()
{
    if (const char* state = std::getenv("XDG_STATE_HOME"); state != nullptr && *state == '/')
        return std::string(state) + "/watchwall/log/";
    if (const char* home = std::getenv("HOME"); home != nullptr && *home == '/')
        return std::string(home) + "/.local/state/watchwall/log/";
    return {};
}

std::string FindLogDirectory()
{
    std::error_code error;
    const std::string executable = std::filesystem::read_symlink("/proc/self/exe", error).string();
    std::string directory = "./log/";
    if (const std::size_t cut = executable.rfind('/'); !error && cut != std::string::npos)
        directory = executable.substr(0, cut) + "/log/";
    return ChooseLogDirectory(directory);
}

}  // namespace

std::string ChooseLogDirectory(const std::string& beside)
{
    if (!IsUsable(beside)) {
        std::string user = UserLogDirectory();
        if (!user.empty() && IsUsable(user)) return user;
    }
    return beside;
}

const std::string& GetLogDirectory()
{
    static const std::string directory = FindLogDirectory();
    return directory;
}

std::string MakeLogPath(const std::string& directory, const std::tm& local)
{
    char name[32];
    std::strftime(name, sizeof name, "%Y%m%d.log", &local);
    std::string path = directory + name;
    if (path.size() > MAX_LOG_PATH) path.resize(MAX_LOG_PATH);
    return path;
}

CLogFile::CLogFile(const std::string& path)
    : m_iDescriptor(::open(path.c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC, 0666))
{
}

CLogFile::~CLogFile()
{
    if (m_iDescriptor >= 0) ::close(m_iDescriptor);
}

bool CLogFile::TryLock()
{
    m_bLocked = m_iDescriptor >= 0 && ::flock(m_iDescriptor, LOCK_EX | LOCK_NB) == 0;
    return m_bLocked || m_iDescriptor < 0 || (errno != EWOULDBLOCK && errno != EINTR);
}

void CLogFile::Append(std::string_view line)
{
    if (m_iDescriptor < 0) return;
    const off_t end = m_bLocked ? ::lseek(m_iDescriptor, 0, SEEK_END) : -1;
    ssize_t count = 0;
    do {
        count = ::write(m_iDescriptor, line.data(), line.size());
    } while (count < 0 && errno == EINTR);
    const bool torn = count > 0 && static_cast<std::size_t>(count) < line.size();
    if (torn && end >= 0 && ::ftruncate(m_iDescriptor, end) != 0) {
        // Write errors are not reported: there is no place left to report them to.
    }
}
