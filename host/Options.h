#pragma once

#include <QList>
#include <QString>
#include <QStringList>

/// What the command line asks for.
struct Options {
    QString home;    // module directory for this run; empty: by the rules of the platform layer
    QString module;  // module to use; empty: the program's own
    QString profile = QStringLiteral("operator");  // that the control is asked for; "classic": it isn't asked
    QString screenshot;                            // PNG file, taken just before the end; empty: none
    int seconds = 0;                               // 0: until the window is closed
    bool fullScreen = false;
    QString logon;         // net id; empty: nobody logs on
    bool openAll = false;  // every channel of the station
    QList<int> open;       // channels to open, from 1
    int layout = 0;        // cells of the arrangement to choose; 0: as the logon leaves it
    QString report;        // JSON file; empty: none

    /// Nobody looks on: messages are lines, and no box waits for an answer.
    bool IsUnattended() const { return seconds > 0 || !report.isEmpty() || !screenshot.isEmpty(); }
    bool IsScripted() const { return !logon.isEmpty() || layout > 0 || fullScreen; }
};

enum class EParsed { Run, Register, Unregister, Help, Version, Wrong };

/// Reads the arguments (the program's name first). On Wrong `message` says what is wrong, on Help and Version
/// it is the text asked for.
EParsed ParseOptions(const QStringList& arguments, Options& options, QString& message);
