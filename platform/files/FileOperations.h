#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <functional>
#include <string>

/// The file calls by which a file is replaced, so that a test can make each of them fail. All of them answer
/// like the system's own: -1 and errno on failure. Paths are paths of this machine.
class IFileOperations
{
  public:
    virtual ~IFileOperations() = default;
    virtual int Open(const char* path, int flags, mode_t mode) = 0;
    virtual ssize_t Read(int file, void* buffer, std::size_t size) = 0;
    virtual ssize_t Write(int file, const void* data, std::size_t size) = 0;
    virtual int Stat(int file, struct stat& status) = 0;
    virtual int ChangeMode(int file, mode_t mode) = 0;
    virtual int Sync(int file) = 0;
    virtual int Close(int file) = 0;
    /// Tries to take the file's exclusive lock; EWOULDBLOCK when another holds it.
    virtual int TryLock(int file) = 0;
    virtual int Rename(const char* from, const char* to) = 0;
    virtual int Unlink(const char* path) = 0;
};

/// The machine's own calls.
IFileOperations& SystemFileOperations();

/// Puts `operations` in place of the machine's (null goes back) for every thread; returns the former ones or
/// null. For tests; it must outlive its use.
IFileOperations* SetFileOperations(IFileOperations* operations);

/// Reads a whole regular file. False when there is none, when it is something else, or when it can't be read.
bool ReadWholeFile(const std::string& path, std::string& content);

enum class EReplace {
    Done,
    Refused,  // the edit refused; nothing was written
    Failed,   // errno tells why; the old file stands
};

/// Replaces a file's content by what `edit` makes of it (an empty text when there is no file yet), as one step:
/// under the lock of the file ".<name>.lock" beside it, which all processes honour, the new content goes to
/// ".<name>.tmp", is brought to the disk and renamed over the old file, which keeps its mode. Behind a symbolic
/// link it is the link's target that is replaced. Unchanged content is not written. A lock that another process
/// keeps for half a second is a failure; writers of this process wait for each other. `edit` returns whether to
/// go on. At any time from any thread.
EReplace ReplaceFile(const std::string& path, const std::function<bool(std::string& content)>& edit);
