#pragma once

#include <QString>
#include <QStringList>

/// What the command line asks for.
struct XOptions {
    QString m_strHome;        // module directory for this run; empty: by the rules of the platform layer
    QString m_strModule;      // module to register on first start; empty: activex.ocx beside the program
    QString m_strScreenshot;  // PNG file, taken just before the end; empty: none
    int m_iSeconds = 0;       // 0: until the window is closed
    bool m_bFullScreen = false;
};

enum class PARSED { Run, Help, Version, Wrong };

/// Reads the arguments (the program's name first). On Wrong `message` says what is wrong, on Help and Version
/// it is the text asked for.
PARSED ParseOptions(const QStringList& arguments, XOptions& options, QString& message);
