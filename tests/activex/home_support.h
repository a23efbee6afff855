#pragma once

#include <QTemporaryDir>
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
