#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>

#include "tests/support/process.h"
#include "tests/support/test_folder.h"
#include "tests/support/test_places.h"

// What ./test --filter builds and runs, with tools that only note what they are asked to build.

namespace
{

using testing::HasSubstr;

class FilterTest : public testing::Test
{
  protected:
    FilterTest()
    {
        std::filesystem::copy_file(SourcePath("test"), m_Folder.Path("test"));
        std::filesystem::create_directory(m_Folder.Path("scripts"));
        std::filesystem::copy_file(SourcePath("scripts/lib.sh"), m_Folder.Path("scripts/lib.sh"));
        Command("scripts/setup", "");
        Command("scripts/fuzz", "echo fuzz >>built");
        Command("tools/git", "printf 'tests/table_test.cpp\\0tests/link_threads_test.cpp\\0'");
        Command("tools/cmake", "shift 2; echo \"$@\" >>built");
        Command("tools/xvfb-run", "shift 2; exec \"$@\"");
        Command("tools/setarch", "shift; exec \"$@\"");
        m_Folder.Write("tests/table_test.cpp", "TEST(Table, codec)\nTEST(Table, Of_link)\n");
        m_Folder.Write("tests/link_threads_test.cpp", "TEST_F(Link, Of_link)\n");
        m_Folder.Write("CMakePresets.json", "presets");
        for (const std::string preset : {"release", "address", "thread"}) {
            const std::string build = "build/" + preset + "/";
            m_Folder.Write(build + "build.ninja", "");
            m_Folder.Write(build + "presets.json", "presets");
            m_Folder.Write(build + "compile_commands.json",
                           Compiled("core_tests", "table") + Compiled("core_threads_tests", "link_threads"));
            m_Folder.Write(build + "CTestTestfile.cmake",
                           (preset == "thread" ? "" : Listed("Table.codec") + Listed("Table.Of_link")) +
                               Listed("Link.Of_link") +
                               "set_tests_properties(Link.Of_link PROPERTIES LABELS threads)\n"
                               "add_test(codec_tests_NOT_BUILT codec_tests_NOT_BUILT)\n");
        }
    }
    static std::string Compiled(const std::string& program, const std::string& source)
    {
        return "\"command\": \"c++ -o tests/CMakeFiles/" + program + ".dir/" + source +
               "_test.cpp.o -c\",\n\"file\": \"/tree/tests/" + source + "_test.cpp\"\n";
    }
    static std::string Listed(const std::string& test) { return "add_test(" + test + " /bin/true)\n"; }
    void Command(const std::string& name, const std::string& does) const
    {
        m_Folder.Write(name, "#!/bin/sh\n" + does + "\n");
        ::chmod(m_Folder.Path(name).c_str(), S_IRWXU);
    }
    Outcome Run(const std::string& words) const
    {
        return Execute("cd " + Quoted(m_Folder.Path()) + " && env PATH=\"$PWD/tools:$PATH\" ./test " + words);
    }
    std::string Built() const { return m_Folder.Read("built").value_or(""); }

    CTestFolder m_Folder;
};

TEST_F(FilterTest, BuildsTheProgramsOfItsTestsAndMissesNoOther)
{
    const Outcome outcome = Run("--filter codec");
    EXPECT_EQ(outcome.status, 0) << outcome.output;
    EXPECT_THAT(outcome.output, HasSubstr("100% tests passed, 0 tests failed out of 1"));
    EXPECT_EQ(Built(), "release --target core_tests\n");
}

TEST_F(FilterTest, OfTestsWithoutThreadsRunsUnderTheAddressSanitizerAlone)
{
    const Outcome outcome = Run("--sanitize --filter codec");
    EXPECT_EQ(outcome.status, 0) << outcome.output;
    EXPECT_EQ(Built(), "address --target core_tests\nfuzz\n");
}

TEST_F(FilterTest, BuildsForTheThreadSanitizerOnlyWhatItRuns)
{
    const Outcome outcome = Run("--sanitize --filter Of_link");
    EXPECT_EQ(outcome.status, 0) << outcome.output;
    EXPECT_EQ(Built(),
              "address --target core_tests core_threads_tests\nthread --target core_threads_tests\nfuzz\n");
}

TEST_F(FilterTest, ThatNamesNoTestBuildsEverythingAndFails)
{
    EXPECT_NE(Run("--filter nowhere").status, 0);
    EXPECT_EQ(Built(), "release\n");
}

}  // namespace
