#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <set>
#include <string>

#include "tests/support/process.h"
#include "tests/support/test_folder.h"
#include "tests/support/test_places.h"

// What the scripts do with a word that asks for help, or that they don't know, with tools that only note that
// they were called.

namespace
{

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class HelpTest : public testing::Test
{
  protected:
    HelpTest()
    {
        for (const char* tool : {"apt-get", "clang-format", "cmake", "convert", "dpkg-query", "ffmpeg", "git",
                                 "ninja", "rsvg-convert", "xvfb-run"})
            Command("tools/" + std::string(tool), R"(echo "$0 $@" >>"$CALLS"; echo 'install ok installed')");
        std::filesystem::create_directory(m_Folder.Path("scripts"));
        for (const auto& entry : std::filesystem::directory_iterator(SourcePath("scripts")))
            Copy("scripts/" + entry.path().filename().string());
        for (const char* name : {"run", "test"})
            Copy(name);
        m_Scripts.erase("scripts/lib.sh");  // sourced by the others
        m_Folder.Write("CMakePresets.json", "presets");
    }
    void Copy(const std::string& name)
    {
        std::filesystem::copy_file(SourcePath(name), m_Folder.Path(name));
        m_Scripts.insert(name);
    }
    void Command(const std::string& name, const std::string& does) const
    {
        m_Folder.Write(name, "#!/bin/sh\n" + does + "\n");
        ::chmod(m_Folder.Path(name).c_str(), S_IRWXU);
    }
    Outcome Run(const std::string& words, const std::string& from = ".") const
    {
        return Execute("cd " + Quoted(m_Folder.Path()) +
                       " && unset DISPLAY && export PATH=\"$PWD/tools:$PATH\" CALLS=\"$PWD/calls\" && cd " +
                       from + " && " + (from == "." ? "./" : "../") + words);
    }
    std::string Calls() const { return m_Folder.Read("calls").value_or(""); }

    CTestFolder m_Folder;
    std::set<std::string> m_Scripts;
};

TEST_F(HelpTest, IsWhatEachScriptGivesAndNothingElse)
{
    EXPECT_GT(m_Scripts.size(), 8U);
    for (const std::string& script : m_Scripts) {
        const Outcome outcome = Run(script + " --help");
        EXPECT_EQ(outcome.status, 0) << script << ": " << outcome.output;
        EXPECT_THAT(outcome.output, Not(IsEmpty())) << script;
        EXPECT_THAT(outcome.output, Not(HasSubstr("set -euo"))) << script;
        EXPECT_EQ(Calls(), "") << script;
    }
}

TEST_F(HelpTest, IsGivenInAnyFolder)
{
    for (const std::string& script : m_Scripts) {
        const Outcome outcome = Run(script + " --help", "tools");
        EXPECT_EQ(outcome.status, 0) << script << ": " << outcome.output;
        EXPECT_EQ(outcome.output, Run(script + " --help").output);
    }
}

// These two start themselves again on a display.
TEST_F(HelpTest, IsNotNeededToStartAScriptInAnyFolder)
{
    Command("tools/xvfb-run", R"(shift 2; [ -x "$1" ])");
    for (const char* file : {"build/release/build.ninja", "build/release/presets.json"})
        m_Folder.Write(file, "presets");
    for (const char* script : {"scripts/kill-test", "scripts/soak"}) {
        const Outcome outcome = Run(script, "tools");
        EXPECT_EQ(outcome.status, 0) << script << ": " << outcome.output;
    }
}

// One that was mistyped found nothing, built everything, or made the delivered streams anew.
TEST_F(HelpTest, IsNotNeededToSeeThatANameIsWrong)
{
    m_Folder.Write("fuzz/skin_fuzz.cpp", "");
    m_Folder.Write("bench/log_bench.cpp", "");
    for (const char* words : {"scripts/fuzz skins", "scripts/fuzz skin ski", "scripts/bench logs",
                              "scripts/bench --log", "scripts/make-test-streams mpeg"}) {
        const Outcome outcome = Run(words);
        EXPECT_EQ(outcome.status, 2) << words << ": " << outcome.output;
        EXPECT_EQ(Calls(), "") << words;
    }
    EXPECT_THAT(Run("scripts/fuzz skins").output, HasSubstr("fuzz: there is no 'skins'; there are: skin\n"));
}

// The lint read every source then, without a word.
TEST_F(HelpTest, IsNotNeededToSeeThatARevisionIsWrong)
{
    Command("tools/git", "exit 1");
    const Outcome outcome = Run("scripts/lint --since WRONG");
    EXPECT_EQ(outcome.status, 2) << outcome.output;
    EXPECT_EQ(outcome.output, "lint: there is no revision 'WRONG'\n");
    EXPECT_EQ(Calls(), "");
}

TEST_F(HelpTest, IsNoPartOfARunOfOneFuzzTarget)
{
    m_Folder.Write("fuzz/skin_fuzz.cpp", "");
    m_Folder.Write("fuzz/profile_fuzz.cpp", "");
    for (const char* name : {"skin", "profile"})
        Command("build/fuzz/bin/" + std::string(name) + "_fuzz", "echo " + std::string(name) + " >>ran");
    const Outcome outcome = Run("scripts/fuzz skin");
    EXPECT_EQ(outcome.status, 0) << outcome.output;
    EXPECT_THAT(Calls(), HasSubstr("--build --preset fuzz --target skin_fuzz\n"));
    EXPECT_EQ(m_Folder.Read("ran"), "skin\n");
}

}  // namespace
