#pragma once

#include <optional>
#include <string>

/// A folder of a test's own, which goes with its content when the test ends. Paths of this machine unless said.
class CTestFolder
{
  public:
    CTestFolder();
    ~CTestFolder();
    CTestFolder(const CTestFolder&) = delete;
    CTestFolder& operator=(const CTestFolder&) = delete;

    const std::string& Path() const { return m_strPath; }
    std::string Path(const std::string& name) const { return m_strPath + "/" + name; }
    /// In the system's form.
    std::string System(const std::string& name) const;

    /// Makes the file, and the folders above it.
    void Write(const std::string& name, const std::string& content) const;
    /// Nothing when there is no such file.
    std::optional<std::string> Read(const std::string& name) const;

  private:
    std::string m_strPath;
};
