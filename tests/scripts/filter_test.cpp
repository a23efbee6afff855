#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>

#include "tests/support/process.h"
#include "tests/support/test_folder.h"
#include "tests/support/test_places.h"

// What ./test builds and runs, with a filter above all, with tools that only note what they are asked to build.

namespace
{

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

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
        // What stands as new_programs is in the build once its list of sources is made anew.
        Command("tools/cmake",
                "shift 2; echo \"$@\" >>built\n"
                "[ \"$3\" != build.ninja ] || [ ! -e new_programs ] ||"
                " cat new_programs >>\"build/$1/compile_commands.json\"");
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
    static std::string Listed(const std::string& test, const std::string& does = "true")
    {
        return "add_test(" + test + " /bin/" + does + ")\n";
    }
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
    EXPECT_EQ(Built(), "release --target build.ninja\nrelease --target core_tests\n");
}

TEST_F(FilterTest, BuildsTheSameInATreeThatLiesAmongTests)
{
    std::string compiled = Compiled("core_tests", "table");
    compiled.replace(compiled.find("/tree/"), 6, "/tests/tree/");
    m_Folder.Write("build/release/compile_commands.json", compiled);
    EXPECT_EQ(Run("--filter codec").status, 0);
    EXPECT_EQ(Built(), "release --target build.ninja\nrelease --target core_tests\n");
}

// It built everything for one, since the build did not know it yet.
TEST_F(FilterTest, FindsATestWhoseSourceIsNew)
{
    Command("tools/git", "printf 'tests/added_test.cpp\\0'");
    m_Folder.Write("tests/added_test.cpp", "TEST(Added, codec)\n");
    m_Folder.Write("new_programs", Compiled("added_tests", "added"));
    Run("--filter Added");
    EXPECT_EQ(Built(), "release --target build.ninja\nrelease --target added_tests\n");
}

TEST_F(FilterTest, OfTestsWithoutThreadsRunsUnderTheAddressSanitizerAlone)
{
    const Outcome outcome = Run("--sanitize --filter codec");
    EXPECT_EQ(outcome.status, 0) << outcome.output;
    EXPECT_EQ(Built(),
              "address --target build.ninja\naddress --target core_tests\nthread --target build.ninja\nfuzz\n");
}

TEST_F(FilterTest, BuildsForTheThreadSanitizerOnlyWhatItRuns)
{
    const Outcome outcome = Run("--sanitize --filter Of_link");
    EXPECT_EQ(outcome.status, 0) << outcome.output;
    EXPECT_EQ(Built(),
              "address --target build.ninja\naddress --target core_tests core_threads_tests\nthread --target "
              "build.ninja\nthread --target core_threads_tests\nfuzz\n");
}

TEST_F(FilterTest, TellsWhyTheBuildCanNotBeMadeAnew)
{
    Command("tools/cmake", "echo 'CMake Error: no such file'; exit 1");
    const Outcome outcome = Run("--filter codec");
    EXPECT_NE(outcome.status, 0);
    EXPECT_THAT(outcome.output, HasSubstr("CMake Error: no such file"));
}

TEST_F(FilterTest, ThatNamesNoTestBuildsEverythingAndFails)
{
    EXPECT_NE(Run("--filter nowhere").status, 0);
    EXPECT_EQ(Built(), "release --target build.ninja\nrelease\n");
}

TEST_F(FilterTest, WithoutOneWhatFailsInAnyPartFailsTheRun)
{
    const auto failIn = [this](const std::string& part) {
        for (const std::string preset : {"release", "address", "thread"})
            m_Folder.Write("build/" + preset + "/CTestTestfile.cmake",
                           Listed("Link.Of_link", preset == part ? "false" : "true") +
                               "set_tests_properties(Link.Of_link PROPERTIES LABELS threads)\n");
        Command("scripts/fuzz", part == "fuzz" ? "exit 1" : "");
    };
    failIn("");
    EXPECT_EQ(Run("").status, 0);
    EXPECT_EQ(Run("--sanitize").status, 0);
    for (const std::string part : {"release", "address", "thread", "fuzz"}) {
        failIn(part);
        EXPECT_NE(Run(part == "release" ? "" : "--sanitize").status, 0) << part;
    }
}

// The checker's crash is not the program's; what fails beside it, or fails again, is.
TEST_F(FilterTest, RepeatsATestWhoseLeakCheckerCrashedAndNoOther)
{
    Command("crash_once",
            "case $ASAN_OPTIONS in *:intercept_tls_get_addr=0) exit 0; esac;"
            " echo ==7==LeakSanitizer has encountered a fatal error.; exit 1");
    Command("crash", "echo ==7==LeakSanitizer has encountered a fatal error.; exit 1");
    const auto run = [this](const std::string& program, const std::string& other) {
        m_Folder.Write("build/address/CTestTestfile.cmake",
                       "add_test(Table.codec " + m_Folder.Path(program) + ")\n" +
                           "set_tests_properties(Table.codec PROPERTIES WORKING_DIRECTORY " + m_Folder.Path() +
                           ")\n" + Listed("Table.Of_link", other));
        return Run("--sanitize");
    };
    const Outcome once = run("crash_once", "true");
    EXPECT_EQ(once.status, 0) << once.output;
    EXPECT_THAT(once.output, HasSubstr("they run once more"));
    EXPECT_THAT(once.output, HasSubstr("100% tests passed, 0 tests failed out of 1"));
    EXPECT_NE(run("crash", "true").status, 0);
    const Outcome beside = run("crash_once", "false");
    EXPECT_NE(beside.status, 0);
    EXPECT_THAT(beside.output, Not(HasSubstr("they run once more")));
}

// It built everything, behind a message of the tool that looks for the tests.
TEST_F(FilterTest, ThatIsNoRegularExpressionBuildsNothing)
{
    for (const char* pattern : {"'('", "'Of_['", "'*'"}) {
        const Outcome outcome = Run("--filter " + std::string(pattern));
        EXPECT_EQ(outcome.status, 2) << pattern << ": " << outcome.output;
        EXPECT_THAT(outcome.output, StartsWith("test: ")) << pattern;
        EXPECT_EQ(Built(), "") << pattern;
    }
    EXPECT_EQ(Run("--filter 'Of_(link)'").status, 0);
}

}  // namespace
