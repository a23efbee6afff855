#pragma once

#include <QTemporaryDir>
#include <string>

#include "tests/support/test_variable.h"

/// A module directory of one test's own with the delivered configuration in it, named by WATCHWALL_HOME, and
/// folders for the user's files. Everything goes with it.
class CTestHome
{
  public:
    CTestHome();
    QString File(const QString& name) const { return m_Directory.filePath(name); }

  private:
    std::string Text(const char* folder) const { return (m_Directory.path() + folder).toStdString(); }

    QTemporaryDir m_Directory;
    const CTestVariable m_Home{"WATCHWALL_HOME", Text("").c_str()};
    const CTestVariable m_Config{"XDG_CONFIG_HOME", Text("/user").c_str()};
    const CTestVariable m_Data{"XDG_DATA_HOME", Text("/data").c_str()};
    const CTestVariable m_Registry{"WATCHWALL_REGISTRY", Text("/registry.ini").c_str()};
};
