// Linked into every test program: a test leaves the process as it found it. What a test has changed of it is
// put back when the test ends, and fails that test.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>

namespace
{

std::map<std::string, std::string> Environment()
{
    std::map<std::string, std::string> variables;
    for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        const std::string text = *entry;
        const std::size_t equals = text.find('=');
        if (equals != std::string::npos) variables[text.substr(0, equals)] = text.substr(equals + 1);
    }
    return variables;
}

std::string Locale()
{
    const char* const locale = std::setlocale(LC_ALL, nullptr);
    return locale == nullptr ? "" : locale;
}

std::string Folder()
{
    std::error_code gone;
    return std::filesystem::current_path(gone);
}

mode_t Mask()
{
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return mask;
}

rlim_t FileLimit()
{
    rlimit limit{};
    ::getrlimit(RLIMIT_FSIZE, &limit);
    return limit.rlim_cur;
}

class CProcessGuard final : public testing::EmptyTestEventListener
{
  public:
    void OnTestStart(const testing::TestInfo&) override
    {
        m_Environment = Environment();
        m_strLocale = Locale();
        m_strFolder = Folder();
        m_Mask = Mask();
        m_FileLimit = FileLimit();
    }

    void OnTestEnd(const testing::TestInfo&) override
    {
        PutBackVariables();
        if (const std::string locale = Locale(); locale != m_strLocale) {
            ADD_FAILURE() << "the test leaves the locale " << locale << ", it was " << m_strLocale;
            std::setlocale(LC_ALL, m_strLocale.c_str());
        }
        if (const std::string folder = Folder(); folder != m_strFolder) {
            ADD_FAILURE() << "the test leaves the folder " << folder << ", it was " << m_strFolder;
            std::error_code failed;
            std::filesystem::current_path(m_strFolder, failed);
        }
        if (const mode_t mask = Mask(); mask != m_Mask) {
            ADD_FAILURE() << "the test leaves the file mask " << mask << ", it was " << m_Mask;
            ::umask(m_Mask);
        }
        if (const rlim_t limit = FileLimit(); limit != m_FileLimit) {
            ADD_FAILURE() << "the test leaves files limited to " << limit << " bytes";
            rlimit former{};
            ::getrlimit(RLIMIT_FSIZE, &former);
            former.rlim_cur = m_FileLimit;
            ::setrlimit(RLIMIT_FSIZE, &former);
        }
    }

  private:
    void PutBackVariables() const
    {
        const auto present = Environment();
        for (const auto& [name, value] : present) {
            if (m_Environment.contains(name)) continue;
            ADD_FAILURE() << "the test leaves the environment variable " << name << "=" << value;
            ::unsetenv(name.c_str());
        }
        for (const auto& [name, value] : m_Environment) {
            const auto found = present.find(name);
            if (found != present.end() && found->second == value) continue;
            ADD_FAILURE() << "the test leaves the environment variable " << name << " "
                          << (found == present.end() ? "unset" : "as " + found->second) << ", it was " << value;
            ::setenv(name.c_str(), value.c_str(), 1);
        }
    }

    std::map<std::string, std::string> m_Environment;
    std::string m_strLocale;
    std::string m_strFolder;
    mode_t m_Mask = 0;
    rlim_t m_FileLimit = 0;
};

// A death test starts the program anew: a mere fork of a program that has threads may find a lock taken for
// ever. Set by the run, as the runner's own settings are made after this file's.
class CDeathTestsStartAnew final : public testing::Environment
{
  public:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

// The runner owns both.
[[maybe_unused]] const bool g_bListening = [] {
    testing::UnitTest::GetInstance()->listeners().Append(new CProcessGuard);
    testing::AddGlobalTestEnvironment(new CDeathTestsStartAnew);
    return true;
}();

}  // namespace
