#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <string>

#include "platform/os/paths.h"

/// A folder of a test's own, which goes with its content when the test ends. Paths of this machine unless said.
class CTestFolder
{
  public:
    CTestFolder()
    {
        m_strPath = std::filesystem::temp_directory_path() / "watchwall-XXXXXX";
        if (::mkdtemp(m_strPath.data()) == nullptr) throw std::runtime_error("no temporary folder");
    }
    ~CTestFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_strPath, ignored);
    }
    CTestFolder(const CTestFolder&) = delete;
    CTestFolder& operator=(const CTestFolder&) = delete;

    const std::string& Path() const { return m_strPath; }
    std::string Path(const std::string& name) const { return m_strPath + "/" + name; }
    /// In the system's form.
    std::string System() const { return SystemPath(m_strPath); }
    std::string System(const std::string& name) const { return SystemPath(Path(name)); }

    /// Makes the file, and the folders above it.
    void Write(const std::string& name, const std::string& content) const
    {
        std::filesystem::create_directories(std::filesystem::path(Path(name)).parent_path());
        std::ofstream(Path(name), std::ios::binary) << content;
    }
    /// Nothing when there is no such file.
    std::optional<std::string> Read(const std::string& name) const
    {
        std::ifstream file(Path(name), std::ios::binary);
        if (!file) return std::nullopt;
        return std::string(std::istreambuf_iterator<char>(file), {});
    }

  private:
    std::string m_strPath;
};

/// Makes a folder the process's current one for the length of a scope.
class CTestCurrentFolder
{
  public:
    explicit CTestCurrentFolder(const std::string& folder) : m_Former(std::filesystem::current_path())
    {
        std::filesystem::current_path(folder);
    }
    ~CTestCurrentFolder()
    {
        std::error_code ignored;
        std::filesystem::current_path(m_Former, ignored);
    }
    CTestCurrentFolder(const CTestCurrentFolder&) = delete;
    CTestCurrentFolder& operator=(const CTestCurrentFolder&) = delete;

  private:
    const std::filesystem::path m_Former;
};
