#pragma once

#include <gtest/gtest.h>

#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

/// The program as a user starts it, each time with a home, a profile and a registry of its own.
class ProgramTest : public testing::Test
{
  protected:
    void SetUp() override;
    QString File(const QString& name) const { return m_Folder.filePath(name); }
    QStringList Home() const { return {"--home", File("home")}; }

    void Start(const QStringList& arguments);
    /// Waits for the program's end; its exit code.
    int End();
    int Run(const QStringList& arguments)
    {
        Start(arguments);
        return End();
    }
    /// The registry's file.
    QByteArray Registry() const;
    /// Reads until the window has come up.
    bool WaitShown();

    QTemporaryDir m_Folder;
    QProcessEnvironment m_Environment = QProcessEnvironment::systemEnvironment();
    QProcess m_Process;
    QString m_strErrors;
    QString m_strOutput;
};
