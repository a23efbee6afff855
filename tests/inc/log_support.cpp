#include "tests/inc/log_support.h"

#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

CTestDirectory::CTestDirectory()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "watchwall-log-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary directory");
    m_strPath = pattern + "/";
}

CTestDirectory::~CTestDirectory()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_strPath, ignored);
}

std::string ReadFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::string> WaitForLines(const std::string& path, std::size_t count)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    std::string text = ReadFile(path);
    while (std::chrono::steady_clock::now() < deadline &&
           static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) < count) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        text = ReadFile(path);
    }
    std::vector<std::string> lines;
    for (std::size_t at = 0, end = 0; (end = text.find("\r\n", at)) != std::string::npos; at = end + 2)
        lines.push_back(text.substr(at, end - at));
    return lines;
}
