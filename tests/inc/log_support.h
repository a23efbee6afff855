#pragma once

#include <string>
#include <vector>

/// A directory of one test's own, removed with everything in it at the end.
class CTestDirectory
{
  public:
    CTestDirectory();
    ~CTestDirectory();
    const std::string& Path() const { return m_strPath; }

  private:
    std::string m_strPath;
};

/// The file's bytes; empty when there is none.
std::string ReadFile(const std::string& path);

/// Waits until the file holds `count` line breaks (60 s at most) and returns its lines without them.
std::vector<std::string> WaitForLines(const std::string& path, std::size_t count);
