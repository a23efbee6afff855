#include "tests/platform/folder_support.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "platform/paths.h"

namespace fs = std::filesystem;

CTestFolder::CTestFolder()
{
    std::string path = fs::temp_directory_path() / "watchwall-XXXXXX";
    if (::mkdtemp(path.data()) == nullptr) throw std::runtime_error("no temporary folder");
    m_strPath = path;
}

CTestFolder::~CTestFolder()
{
    std::error_code error;
    fs::remove_all(m_strPath, error);
}

std::string CTestFolder::System(const std::string& name) const
{
    return SystemPath(Path(name));
}

void CTestFolder::Write(const std::string& name, const std::string& content) const
{
    fs::create_directories(fs::path(Path(name)).parent_path());
    std::ofstream(Path(name), std::ios::binary) << content;
}

std::optional<std::string> CTestFolder::Read(const std::string& name) const
{
    std::ifstream file(Path(name), std::ios::binary);
    if (!file) return std::nullopt;
    return std::string(std::istreambuf_iterator<char>(file), {});
}
