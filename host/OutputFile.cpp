#include "host/OutputFile.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <algorithm>
#include <cerrno>
#include <climits>
#include <optional>
#include <system_error>

namespace
{

constexpr int MOST_LINKS = 40;           // the system follows no more of them
constexpr int MOST_WAIT_MS = 5000;       // for a reader that takes nothing
constexpr std::size_t PIECE = PIPE_BUF;  // fits where there is room at all
// Without a buffer, from which a full disk would be noticed too late.
constexpr auto WRITE = QIODevice::WriteOnly | QIODevice::Unbuffered;

// Of this process, under which a shell may have opened a file: /dev/stdout leads there.
std::optional<int> Descriptor(QString path)
{
    const QString folder = QFileInfo("/proc/self/fd").canonicalFilePath();
    for (int links = 0; links < MOST_LINKS; ++links) {
        const QFileInfo info(path);
        if (QFileInfo(info.path()).canonicalFilePath() == folder) return info.fileName().toInt();
        if (!info.isSymLink()) break;
        path = info.symLinkTarget();
    }
    return std::nullopt;
}

// A new file under the name of one that is open already would take the place of what was written into that.
bool IsNoFile(const QString& path)
{
    const QFileInfo info(path);
    return info.exists() && !info.isDir() && (!info.isFile() || Descriptor(path));
}

// A file that is open already is written on where whoever has it open is; opened anew it would be emptied. What
// is no file doesn't wait to be opened or written, as a pipe without a reader would for good. A socket, or
// another user's pipe, that is open already can't be opened anew. -1 with the system's reason.
int OpenDevice(const QString& path)
{
    const std::optional<int> descriptor = Descriptor(path);
    int device = -1;
    if (!QFileInfo(path).isFile())
        device = ::open(QFile::encodeName(path).constData(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    return device < 0 && descriptor ? ::fcntl(*descriptor, F_DUPFD_CLOEXEC, 0) : device;
}

// Waits for room before each piece, also where whoever opened the device lets a write wait for good.
bool WriteDevice(int device, const QByteArray& content)
{
    for (qsizetype written = 0; written < content.size();) {
        pollfd writable{device, POLLOUT, 0};
        const int ready = ::poll(&writable, 1, MOST_WAIT_MS);
        if (ready < 0 && errno == EINTR) continue;
        if (ready == 0) errno = EAGAIN;
        if (ready <= 0) return false;
        const auto left = static_cast<std::size_t>(content.size() - written);
        const ssize_t now = ::write(device, content.constData() + written, std::min(left, PIECE));
        if (now == 0) errno = ENOSPC;
        if (now == 0 || (now < 0 && errno != EINTR && errno != EAGAIN)) return false;
        written += std::max<ssize_t>(now, 0);
    }
    return true;
}

// Closing a pipe is its reader's end, so that looking opens none.
bool CanWriteDevice(const QString& path)
{
    const QByteArray name = QFile::encodeName(path);
    struct stat status {
    };
    if (::stat(name.constData(), &status) == 0 && S_ISFIFO(status.st_mode))
        return Descriptor(path) || ::access(name.constData(), W_OK) == 0;
    const int device = OpenDevice(path);
    return device >= 0 && ::close(device) == 0;
}

bool WriteWholeDevice(const QString& path, const QByteArray& content)
{
    const int device = OpenDevice(path);
    if (device < 0) return false;
    const bool written = WriteDevice(device, content);
    const int fault = errno;
    const bool closed = ::close(device) == 0;
    if (!written) errno = fault;
    return written && closed;
}

QString SystemReason()
{
    return QString::fromStdString(std::generic_category().message(errno));
}

bool WriteAll(QFileDevice& file, const QByteArray& content)
{
    // What a write leaves out has its reason told by the next one.
    for (qint64 written = 0; written < content.size();) {
        const qint64 now = file.write(content.constData() + written, content.size() - written);
        if (now <= 0) return false;
        written += now;
    }
    return true;
}

}  // namespace

bool CanWriteFile(const QString& path, QString& reason)
{
    if (IsNoFile(path)) {
        if (CanWriteDevice(path)) return true;
        reason = SystemReason();
        return false;
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        reason = file.errorString();
        return false;
    }
    file.cancelWriting();
    return true;
}

bool WriteWholeFile(const QString& path, const QByteArray& content, QString& reason)
{
    if (IsNoFile(path)) {
        if (WriteWholeDevice(path, content)) return true;
        reason = SystemReason();
        return false;
    }
    QSaveFile file(path);
    if (file.open(WRITE) && WriteAll(file, content) && file.commit()) return true;
    reason = file.errorString();
    file.cancelWriting();
    return false;
}
