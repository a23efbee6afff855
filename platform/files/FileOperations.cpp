#include "platform/files/FileOperations.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "inc/Mutex.h"

namespace
{

class CSystemFileOperations final : public IFileOperations
{
  public:
    int Open(const char* path, int flags, mode_t mode) override { return ::open(path, flags, mode); }
    ssize_t Read(int file, void* buffer, std::size_t size) override { return ::read(file, buffer, size); }
    ssize_t Write(int file, const void* data, std::size_t size) override { return ::write(file, data, size); }
    int Stat(int file, struct stat& status) override { return ::fstat(file, &status); }
    int ChangeMode(int file, mode_t mode) override { return ::fchmod(file, mode); }
    int Sync(int file) override { return ::fsync(file); }
    int Close(int file) override { return ::close(file); }
    int TryLock(int file) override { return ::flock(file, LOCK_EX | LOCK_NB); }
    int Rename(const char* from, const char* to) override { return std::rename(from, to); }
    int Unlink(const char* path) override { return ::unlink(path); }
};

constinit std::atomic<IFileOperations*> g_pOperations = nullptr;

IFileOperations& Operations()
{
    IFileOperations* const operations = g_pOperations.load();
    return operations == nullptr ? SystemFileOperations() : *operations;
}

// An open file; closing it also gives back its lock.
class CFile
{
  public:
    CFile(const std::string& path, int flags, mode_t mode = 0)
        : m_iFile(Operations().Open(path.c_str(), flags | O_CLOEXEC | O_NOFOLLOW, mode))
    {
    }
    // The lock file of another user can often be read only, which is enough for the lock on a local disk.
    explicit CFile(const std::string& lockPath) : CFile(lockPath, O_RDWR | O_CREAT, 0666)
    {
        if (m_iFile < 0 && errno == EACCES)
            m_iFile = Operations().Open(lockPath.c_str(), O_RDONLY | O_CLOEXEC, 0);
    }
    ~CFile()
    {
        const int error = errno;
        Close();
        errno = error;
    }
    CFile(const CFile&) = delete;
    CFile& operator=(const CFile&) = delete;

    bool IsOpen() const { return m_iFile >= 0; }
    int Get() const { return m_iFile; }
    bool Close()
    {
        if (m_iFile < 0) return true;
        const bool closed = Operations().Close(m_iFile) == 0;
        m_iFile = -1;
        return closed;
    }

  private:
    int m_iFile;
};

bool ReadAll(int file, std::string& content)
{
    constexpr std::size_t BLOCK = 16384;
    std::array<char, BLOCK> block;
    content.clear();
    for (;;) {
        const ssize_t got = Operations().Read(file, block.data(), block.size());
        if (got == 0) return true;
        if (got > 0) content.append(block.data(), static_cast<std::size_t>(got));
        if (got < 0 && errno != EINTR) return false;
    }
}

bool WriteAll(int file, const std::string& content)
{
    std::size_t sent = 0;
    while (sent < content.size()) {
        const ssize_t put = Operations().Write(file, content.data() + sent, content.size() - sent);
        if (put < 0 && errno == EINTR) continue;
        if (put == 0) errno = ENOSPC;
        if (put <= 0) return false;
        sent += static_cast<std::size_t>(put);
    }
    return true;
}

// Polls, because a blocking lock call has no bound: a stopped process that holds the lock must not hang the
// panels, whose thread writes the profile. Half a second is long for the one write that a lock is held for.
bool TakeLock(int file)
{
    constexpr int TRIES = 250;
    constexpr std::chrono::milliseconds PAUSE{2};
    for (int i = 0; i < TRIES; ++i) {
        if (Operations().TryLock(file) == 0) return true;
        if (errno != EWOULDBLOCK && errno != EINTR) return false;
        std::this_thread::sleep_for(PAUSE);
    }
    errno = EWOULDBLOCK;
    return false;
}

std::string FollowLinks(const std::string& path)
{
    char* const real = ::realpath(path.c_str(), nullptr);
    if (real == nullptr) return path;
    std::string result(real);
    std::free(real);
    return result;
}

struct OldFile {
    std::string content;
    bool exists = false;
    mode_t mode = 0;
};

bool ReadOldFile(const std::string& path, OldFile& old)
{
    const CFile file(path, O_RDONLY | O_NONBLOCK);
    if (!file.IsOpen()) return errno == ENOENT;
    struct stat status = {};
    if (Operations().Stat(file.Get(), status) != 0) return false;
    if (!S_ISREG(status.st_mode)) {
        errno = EINVAL;
        return false;
    }
    constexpr mode_t PERMISSIONS = 07777;
    old.exists = true;
    old.mode = status.st_mode & PERMISSIONS;
    return ReadAll(file.Get(), old.content);
}

// A file of that name which an earlier process left behind when it died is overwritten: the lock is ours.
bool WriteNewFile(const std::string& path, const std::string& content, const OldFile& old)
{
    constexpr mode_t NEW_FILE = 0666;
    CFile file(path, O_WRONLY | O_CREAT | O_TRUNC, NEW_FILE);
    return file.IsOpen() && (!old.exists || Operations().ChangeMode(file.Get(), old.mode) == 0) &&
           WriteAll(file.Get(), content) && Operations().Sync(file.Get()) == 0 && file.Close();
}

}  // namespace

IFileOperations& SystemFileOperations()
{
    static auto& operations = *new CSystemFileOperations;
    return operations;
}

IFileOperations* SetFileOperations(IFileOperations* operations)
{
    return g_pOperations.exchange(operations);
}

bool ReadWholeFile(const std::string& path, std::string& content)
{
    OldFile file;
    // A first step through a link is fine for a reader, and O_NOFOLLOW is for what we write.
    if (!ReadOldFile(FollowLinks(path), file) || !file.exists) return false;
    content = std::move(file.content);
    return true;
}

EReplace ReplaceFile(const std::string& path, const std::function<bool(std::string& content)>& edit)
{
    const std::string target = FollowLinks(path);
    const auto nameAt = target.rfind('/') + 1;
    const std::string directory = target.substr(0, nameAt);
    const std::string hidden = directory + "." + target.substr(nameAt);
    const std::string temporary = hidden + ".tmp";

    // Writers of this process wait in turn, for as long as it takes: the bound below is for other processes.
    static CMutex& writers = *new CMutex;
    const CMutexLock turn(writers);
    const CFile lock(hidden + ".lock");
    if (!lock.IsOpen() || !TakeLock(lock.Get())) return EReplace::Failed;

    OldFile old;
    if (!ReadOldFile(target, old)) return EReplace::Failed;
    std::string content = old.content;
    if (!edit(content)) return EReplace::Refused;
    if (content == old.content) return EReplace::Done;

    if (!WriteNewFile(temporary, content, old) || Operations().Rename(temporary.c_str(), target.c_str()) != 0) {
        const int error = errno;
        Operations().Unlink(temporary.c_str());
        errno = error;
        return EReplace::Failed;
    }
    // The new file is in place; that its name also outlives a power failure can only be asked for.
    if (const CFile folder(directory.empty() ? "." : directory, O_RDONLY | O_DIRECTORY); folder.IsOpen()) {
        Operations().Sync(folder.Get());
    }
    return EReplace::Done;
}
