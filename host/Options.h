#pragma once

#include <QList>
#include <QString>
#include <QStringList>

/// What the command line asks for.
struct XOptions {
    QString m_strHome;    // module directory for this run; empty: by the rules of the platform layer
    QString m_strModule;  // module to use; empty: the program's own
    QString m_strProfile =
        QStringLiteral("operator");  // that the control is asked for; "classic": it isn't asked
    QString m_strScreenshot;         // PNG file, taken just before the end; empty: none
    int m_iSeconds = 0;              // 0: until the window is closed
    bool m_bFullScreen = false;
    QString m_strLogon;       // net id; empty: nobody logs on
    bool m_bOpenAll = false;  // every channel of the station
    QList<int> m_Open;        // channels to open, from 1
    int m_iLayout = 0;        // cells of the arrangement to choose; 0: as the logon leaves it
    QString m_strReport;      // JSON file; empty: none

    /// Nobody looks on: messages are lines, and no box waits for an answer.
    bool IsUnattended() const { return m_iSeconds > 0 || !m_strReport.isEmpty() || !m_strScreenshot.isEmpty(); }
    bool IsScripted() const { return !m_strLogon.isEmpty() || m_iLayout > 0 || m_bFullScreen; }
};

enum class PARSED { Run, Register, Unregister, Help, Version, Wrong };

/// Reads the arguments (the program's name first). On Wrong `message` says what is wrong, on Help and Version
/// it is the text asked for.
PARSED ParseOptions(const QStringList& arguments, XOptions& options, QString& message);
