#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>

#include "tests/support/process.h"
#include "tests/support/test_folder.h"
#include "tests/support/test_places.h"

// What scripts/fuzz makes of its targets, with two that only act as the test says.

namespace
{

using testing::HasSubstr;
using testing::Not;

class FuzzTest : public testing::Test
{
  protected:
    FuzzTest()
    {
        std::filesystem::create_directory(m_Folder.Path("scripts"));
        for (const char* script : {"scripts/fuzz", "scripts/lib.sh"})
            std::filesystem::copy_file(SourcePath(script), m_Folder.Path(script));
        Command("scripts/setup", "");
        Command("tools/cmake", "");
        for (const std::string name : {"ini", "wire"}) {
            m_Folder.Write("fuzz/" + name + "_fuzz.cpp", "");
            Command("build/fuzz/bin/" + name + "_fuzz", "echo \"$@\" >ran_" + name);
        }
        for (const char* file : {"CMakePresets.json", "build/fuzz/build.ninja", "build/fuzz/presets.json"})
            m_Folder.Write(file, "");
    }
    void Command(const std::string& name, const std::string& does) const
    {
        m_Folder.Write(name, "#!/bin/sh\n" + does + "\n");
        ::chmod(m_Folder.Path(name).c_str(), S_IRWXU);
    }
    Outcome Run(const std::string& variables = "") const
    {
        return Execute("cd " + Quoted(m_Folder.Path()) + " && env PATH=\"$PWD/tools:$PATH\" " + variables +
                       " scripts/fuzz");
    }

    CTestFolder m_Folder;
};

TEST_F(FuzzTest, RunsEachTargetFromItsSeedsForTheTimeAsked)
{
    const Outcome outcome = Run("WATCHWALL_FUZZ_SECONDS=7");
    EXPECT_EQ(outcome.status, 0) << outcome.output;
    EXPECT_THAT(outcome.output, HasSubstr("fuzz: no findings\n"));
    for (const std::string name : {"ini", "wire"}) {
        const std::string words = m_Folder.Read("ran_" + name).value_or("");
        EXPECT_THAT(words, HasSubstr("-max_total_time=7 "));
        EXPECT_THAT(words, HasSubstr(" fuzz/corpus/" + name + "\n"));
    }
}

TEST_F(FuzzTest, EndsWithTheFirstFinding)
{
    Command("build/fuzz/bin/ini_fuzz", "echo 'ERROR: overflow' >&2; exit 77");
    const Outcome outcome = Run();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.output, HasSubstr("ERROR: overflow\nfuzz: ini has a finding\n"));
    EXPECT_THAT(outcome.output, Not(HasSubstr("no findings")));
    EXPECT_FALSE(m_Folder.Read("ran_wire").has_value());
}

}  // namespace
