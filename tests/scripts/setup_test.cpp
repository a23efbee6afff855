#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <sstream>

#include "tests/support/process.h"
#include "tests/support/test_folder.h"
#include "tests/support/test_places.h"

// scripts/setup with package tools that only act as the test says.

namespace
{

using testing::Contains;
using testing::HasSubstr;
using testing::IsSubsetOf;
using testing::Not;

class SetupTest : public testing::Test
{
  protected:
    SetupTest()
    {
        std::filesystem::create_directory(m_Folder.Path("scripts"));
        std::filesystem::copy_file(SourcePath("scripts/setup"), m_Folder.Path("scripts/setup"));
        Command("dpkg-query", "[ -n \"$ALL_INSTALLED\" ] && echo 'install ok installed'; true");
        Command("id", "echo 0");
    }
    void Command(const std::string& name, const std::string& does)
    {
        m_Folder.Write("tools/" + name, "#!/bin/sh\n" + does + "\n");
        ::chmod(m_Folder.Path("tools/" + name).c_str(), S_IRWXU);
    }
    // Its exit code; what it said is in m_strSaid.
    int Run(const std::string& mode, const std::string& variables = "")
    {
        const Outcome outcome =
            Execute("cd " + Quoted(m_Folder.Path()) +
                    " && env PATH=\"$PWD/tools:$PATH\" TMPDIR=\"$PWD\" WATCHWALL_SETUP_WAIT=0 " + variables +
                    " scripts/setup " + mode);
        m_strSaid = outcome.output;
        return outcome.status;
    }
    // The packages that were asked for.
    std::vector<std::string> Asked(const std::string& mode)
    {
        Command("apt-get", "exit 0");
        EXPECT_EQ(Run(mode), 0) << m_strSaid;
        const std::string head = "setup: installing ";
        std::istringstream words(m_strSaid.substr(m_strSaid.find(head) + head.size()));
        std::vector<std::string> packages;
        for (std::string word; words >> word;)
            packages.push_back(word);
        return packages;
    }

    CTestFolder m_Folder;
    std::string m_strSaid;
};

TEST_F(SetupTest, SaysAndDoesNothingWhenAllIsThere)
{
    Command("apt-get", "exit 1");
    for (const char* mode : {"run", "test", "dev", ""}) {
        EXPECT_EQ(Run(mode, "ALL_INSTALLED=1"), 0);
        EXPECT_EQ(m_strSaid, "");
    }
    EXPECT_FALSE(std::filesystem::exists(m_Folder.Path("build")));
}

TEST_F(SetupTest, EachWordAsksForNoMoreThanItsWork)
{
    const auto run = Asked("run");
    const auto test = Asked("test");
    const auto dev = Asked("dev");
    EXPECT_THAT(run, Contains("qt6-base-dev"));
    for (const char* package : {"clang", "clang-tidy", "libgtest-dev", "libbenchmark-dev", "ffmpeg", "jwm"})
        EXPECT_THAT(run, Not(Contains(package)));
    for (const char* package : {"libgtest-dev", "jwm"})
        EXPECT_THAT(test, Contains(package));
    for (const char* package : {"dpkg-dev", "file", "lintian"})  // the test of the Debian package runs them
        EXPECT_THAT(test, Contains(package));
    for (const char* package : {"clang", "clang-tidy"})  // the test of the locks' annotations runs them
        EXPECT_THAT(test, Contains(package));
    for (const char* package : {"clang-format", "libclang-rt-14-dev", "libbenchmark-dev"}) {
        EXPECT_THAT(test, Not(Contains(package)));
        EXPECT_THAT(dev, Contains(package));
    }
    EXPECT_THAT(run, IsSubsetOf(test));
    EXPECT_THAT(test, IsSubsetOf(dev));
    EXPECT_TRUE(std::filesystem::exists(m_Folder.Path("build/packages")))
        << "what stands configured is done again";
    EXPECT_EQ(Run("everything"), 2);
    EXPECT_THAT(m_strSaid, HasSubstr("scripts/setup run"));
}

TEST_F(SetupTest, EachCommandAsksForWhatItNeeds)
{
    for (const char* name : {"run", "test"})
        std::filesystem::copy_file(SourcePath(name), m_Folder.Path(name));
    for (const auto& entry : std::filesystem::directory_iterator(SourcePath("scripts"))) {
        const std::string name = "scripts/" + entry.path().filename().string();
        if (name != "scripts/setup") std::filesystem::copy_file(entry.path(), m_Folder.Path(name));
    }
    m_Folder.Write("scripts/setup", "#!/bin/sh\necho \"$@\" >asked\nexit 1\n");
    const struct {
        const char* command;
        const char* word;
    } rows[] = {{"run", "run"},           {"scripts/kill-test", "run"}, {"scripts/soak", "run"},
                {"test", "test"},         {"test --sanitize", "dev"},   {"scripts/lint", "dev"},
                {"scripts/bench", "dev"}, {"scripts/fuzz", "dev"}};
    for (const auto& row : rows) {
        const Outcome outcome = Execute("cd " + Quoted(m_Folder.Path()) + " && ./" + row.command);
        EXPECT_EQ(outcome.status, 1) << row.command << ": " << outcome.output;
        EXPECT_EQ(m_Folder.Read("asked"), row.word + std::string("\n")) << row.command;
        std::filesystem::remove(m_Folder.Path("asked"));
    }
}

TEST_F(SetupTest, WithoutANetworkItSaysSoInOneLine)
{
    Command("apt-get", "echo 'E: Failed to fetch http://deb.example/x  Temporary failure resolving'; exit 100");
    EXPECT_EQ(Run("run"), 1);
    const auto line = m_strSaid.find("setup: the packages can't be fetched; no network?");
    ASSERT_NE(line, std::string::npos) << m_strSaid;
    EXPECT_EQ(m_strSaid.find('\n', line), m_strSaid.size() - 1) << m_strSaid;
    EXPECT_THAT(m_strSaid, Not(HasSubstr("deb.example")));
}

TEST_F(SetupTest, WaitsForTheLockOfAnotherProgramAndSaysItOnce)
{
    Command(
        "apt-get",
        "echo x >>calls\n"
        "[ $(wc -l <calls) -gt 3 ] || { echo 'E: Could not get lock /var/lib/apt/lists/lock.'; exit 100; }");
    EXPECT_EQ(Run("run"), 0) << m_strSaid;
    const std::string line = "setup: another program holds the package lock, waiting\n";
    EXPECT_THAT(m_strSaid, HasSubstr(line));
    EXPECT_EQ(m_strSaid.find(line), m_strSaid.rfind(line)) << m_strSaid;
}

TEST_F(SetupTest, AnotherFaultIsShownAsItCame)
{
    Command("apt-get", "echo 'E: dpkg was interrupted'; exit 100");
    EXPECT_EQ(Run("run"), 1);
    EXPECT_THAT(m_strSaid, HasSubstr("E: dpkg was interrupted"));
    EXPECT_THAT(m_strSaid, HasSubstr("setup: could not install"));
}

TEST_F(SetupTest, TellsHowMuchIsToBeFetched)
{
    Command("apt-get", "[ \"$2\" != install ] || echo 'Need to get 45.6 MB of archives.'");
    EXPECT_EQ(Run("run"), 0);
    EXPECT_THAT(m_strSaid, HasSubstr("setup: need to get 45.6 MB of archives.\n"));
}

TEST_F(SetupTest, TellsHowFarItIs)
{
    Command("apt-get", R"([ "$2" != install ] || printf '%s\n' Get:1 Get:2 'Unpacking a' 'Setting up a')");
    EXPECT_EQ(Run("run", "WATCHWALL_SETUP_STEP=0"), 0);
    EXPECT_THAT(m_strSaid, HasSubstr("setup: fetched 2, unpacked 0, set up 0\n"));
    EXPECT_THAT(m_strSaid, HasSubstr("setup: fetched 2, unpacked 1, set up 1\n"));
}

}  // namespace
