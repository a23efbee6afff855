#pragma once

#include <QByteArray>
#include <QString>

// Files that a run leaves for whoever started it. They appear whole or not at all: a temporary file beside
// takes the content and then the name. What is no file (a device, a pipe), or is open already (/dev/stdout that
// a shell led into a file), is written straight; no reader is waited for to come, and none that takes nothing
// for long.

/// Whether a file of this name can be made, as far as that can be told before; what was there stays. `reason`
/// says why not.
bool CanWriteFile(const QString& path, QString& reason);

/// False, with the reason, when not all of it has reached the file; what was there under this name stays then.
bool WriteWholeFile(const QString& path, const QByteArray& content, QString& reason);
