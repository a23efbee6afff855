#include "host/OutputFile.h"

#include <fcntl.h>

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <optional>

namespace
{

constexpr int MOST_LINKS = 40;  // the system follows no more of them
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

// A file that is open already is written on where whoever has it open is; opened anew it would be emptied.
bool OpenDevice(QFile& device)
{
    const std::optional<int> descriptor = Descriptor(device.fileName());
    if (!descriptor || !QFileInfo(device.fileName()).isFile()) return device.open(WRITE);
    return device.open(::fcntl(*descriptor, F_DUPFD_CLOEXEC, 0), WRITE, QFileDevice::AutoCloseHandle);
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
        QFile device(path);
        if (OpenDevice(device)) return true;
        reason = device.errorString();
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
        QFile device(path);
        if (OpenDevice(device) && WriteAll(device, content)) return true;
        reason = device.errorString();
        return false;
    }
    QSaveFile file(path);
    if (file.open(WRITE) && WriteAll(file, content) && file.commit()) return true;
    reason = file.errorString();
    file.cancelWriting();
    return false;
}
