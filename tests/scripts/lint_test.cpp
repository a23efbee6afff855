#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/process.h"
#include "tests/support/test_folder.h"
#include "tests/support/test_places.h"

// Which sources scripts/lint reads, and what it makes of findings, with tools that only note what they are
// given. A source with the word "bad" in it is one with a finding.

namespace
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using testing::UnorderedElementsAre;

class LintTest : public testing::Test
{
  protected:
    LintTest()
    {
        std::filesystem::create_directory(m_Folder.Path("scripts"));
        for (const char* script : {"scripts/lint", "scripts/lib.sh"})
            std::filesystem::copy_file(SourcePath(script), m_Folder.Path(script));
        Command("scripts/setup", "");
        Command("tools/cmake", "");
        Command("tools/clang-format", "[ ! -e unformatted ]");
        Command("tools/clang-tidy", "echo \"$4\" >>read; ! grep bad \"$4\"");
        Command("tools/git",
                "case \"$*\" in\n"
                "*-z*) printf '%s\\0' */*.cpp */*.h tests/*/*.cpp;;\n"
                "diff*) echo \"$3\" >>since; cat changed;;\n"
                "*--others*) cat added;;\n"
                "esac");
        Command("tools/ninja",
                "for name in codec/table codec/other model/user; do\n"
                "printf '%s.o: #deps 2, deps mtime 1 (VALID)\\n    %s.cpp\\n' $name \"$PWD/$name\"\n"
                "[ $name = codec/other ] || printf '    ../../codec/bits.h\\n'\n"
                "printf '    /usr/include/stdio.h\\n\\n'\n"
                "done");
        for (const char* file :
             {"codec/bits.h", "codec/table.h", "codec/table.cpp", "codec/other.cpp", "model/user.cpp",
              "tests/codec/table_test.cpp", "changed", "added", "CMakePresets.json",
              "build/release/build.ninja", "build/release/presets.json", ".clang-tidy", "codec/.clang-tidy"})
            m_Folder.Write(file, "");
    }
    void Command(const std::string& name, const std::string& does) const
    {
        m_Folder.Write(name, "#!/bin/sh\n" + does + "\n");
        ::chmod(m_Folder.Path(name).c_str(), S_IRWXU);
    }
    Outcome Run(const std::string& words = "", const std::string& beneath = "") const
    {
        std::filesystem::remove(m_Folder.Path("read"));
        return Execute("cd " + Quoted(m_Folder.Path(beneath)) +
                       " && env PATH=\"$PWD/tools:$PATH\" scripts/lint " + words);
    }
    // By the latest run.
    std::vector<std::string> Read() const
    {
        std::istringstream lines(m_Folder.Read("read").value_or(""));
        std::vector<std::string> sources;
        for (std::string line; std::getline(lines, line);)
            sources.push_back(line);
        return sources;
    }

    CTestFolder m_Folder;
};

TEST_F(LintTest, ReadsWhatTheLastCommitChangedAndWhatIsNew)
{
    m_Folder.Write("changed", "codec/table.h\ntests/codec/table_test.cpp\ncodec/gone.cpp\n");
    m_Folder.Write("added", "model/user.cpp\n");
    const Outcome outcome = Run();
    EXPECT_EQ(outcome.status, 0) << outcome.output;
    EXPECT_THAT(outcome.output, HasSubstr("lint: clean\n"));
    EXPECT_THAT(Read(), UnorderedElementsAre("codec/table.cpp", "model/user.cpp"));
    Run("--since HEAD~7");
    EXPECT_EQ(m_Folder.Read("since").value_or(""), "HEAD~1\nHEAD~7\n");
}

TEST_F(LintTest, ForAHeaderWithoutASourceOfItsNameReadsOneThatIncludesIt)
{
    m_Folder.Write("changed", "codec/bits.h\n");
    EXPECT_EQ(Run().status, 0);
    EXPECT_THAT(Read(), ElementsAre("codec/table.cpp"));
}

TEST_F(LintTest, OfTheWholeReadsEverySourceOfTheProduct)
{
    EXPECT_EQ(Run("--all").status, 0);
    EXPECT_THAT(Read(), UnorderedElementsAre("codec/table.cpp", "codec/other.cpp", "model/user.cpp"));
}

TEST_F(LintTest, AFindingIsShownAndFailsItAsLongAsItStands)
{
    m_Folder.Write("codec/other.cpp", "bad name\n");
    for (int round = 0; round < 2; ++round) {
        const Outcome outcome = Run("--all");
        EXPECT_EQ(outcome.status, 1) << outcome.output;
        EXPECT_THAT(outcome.output, StartsWith("bad name\n"));
    }
    EXPECT_THAT(Read(), ElementsAre("codec/other.cpp")) << "the others were found clean";
}

TEST_F(LintTest, ReadsACleanSourceAgainWhenItOrAHeaderOfItsOrARuleHasChanged)
{
    Run("--all");
    EXPECT_EQ(Run("--all").status, 0);
    EXPECT_THAT(Read(), IsEmpty());
    m_Folder.Write("codec/other.cpp", "changed");
    Run("--all");
    EXPECT_THAT(Read(), ElementsAre("codec/other.cpp"));
    m_Folder.Write("codec/bits.h", "changed");
    Run("--all");
    EXPECT_THAT(Read(), UnorderedElementsAre("codec/table.cpp", "model/user.cpp"));
    for (const char* rules : {".clang-tidy", "codec/.clang-tidy"}) {
        m_Folder.Write(rules, "changed");
        Run("--all");
        EXPECT_EQ(Read().size(), 3U) << rules;
    }
}

// The build tells sources by their whole paths.
TEST_F(LintTest, ATreeMayLieInAFolderOfAnyName)
{
    std::filesystem::create_directory_symlink(m_Folder.Path(), m_Folder.Path("c++ (1)"));
    m_Folder.Write("changed", "codec/bits.h\n");
    EXPECT_EQ(Run("", "c++ (1)").status, 0);
    EXPECT_THAT(Read(), ElementsAre("codec/table.cpp"));
}

TEST_F(LintTest, WhatIsNotFormattedFailsIt)
{
    m_Folder.Write("unformatted", "");
    EXPECT_NE(Run("--all").status, 0);
    EXPECT_THAT(Read(), IsEmpty());
}

}  // namespace
