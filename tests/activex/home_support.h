#pragma once

#include <QApplication>
#include <QMessageBox>
#include <QTemporaryDir>
#include <QTimer>
#include <string>
#include <vector>

/// A module directory of one test's own with the delivered configuration in it, named by WATCHWALL_HOME, and
/// folders for the user's files. Everything goes with it.
class CTestHome
{
  public:
    CTestHome();
    ~CTestHome();
    QString File(const QString& name) const { return m_Directory.filePath(name); }

  private:
    QTemporaryDir m_Directory;
    std::vector<std::pair<QByteArray, QByteArray>> m_Former;
};

/// Answers the message boxes that come up, by their default button, and keeps their texts.
class CBoxCatcher
{
  public:
    CBoxCatcher();
    std::vector<std::string> m_Texts;

  private:
    QTimer m_Timer;
};
