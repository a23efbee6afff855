#include "host/OutputFile.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

namespace
{

bool IsNoFile(const QString& path)
{
    const QFileInfo info(path);
    return info.exists() && !info.isFile() && !info.isDir();
}

// Without a buffer, from which a full disk would be noticed too late.
bool WriteAll(QFileDevice& file, const QByteArray& content)
{
    if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered)) return false;
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
        if (device.open(QIODevice::WriteOnly)) return true;
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
        if (WriteAll(device, content)) return true;
        reason = device.errorString();
        return false;
    }
    QSaveFile file(path);
    if (WriteAll(file, content) && file.commit()) return true;
    reason = file.errorString();
    file.cancelWriting();
    return false;
}
