#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>

#include "tests/support/process.h"
#include "tests/support/test_folder.h"
#include "tests/support/test_places.h"

// What run, test and the other scripts configure, with a cmake that only notes that it was called.

namespace
{

class ConfigureTest : public testing::Test
{
  protected:
    ConfigureTest()
    {
        std::filesystem::create_directory(m_Folder.Path("scripts"));
        std::filesystem::copy_file(SourcePath("scripts/lib.sh"), m_Folder.Path("scripts/lib.sh"));
        m_Folder.Write("CMakePresets.json", "old");
        m_Folder.Write("tools/cmake",
                       "#!/bin/sh\n[ -z \"$FAILS\" ] || exit 1\n"
                       "mkdir -p build/address; touch build/address/build.ninja; echo call >>calls\n");
        ::chmod(m_Folder.Path("tools/cmake").c_str(), S_IRWXU);
    }
    int Configure(const std::string& variables = "")
    {
        return Execute("cd " + Quoted(m_Folder.Path()) + " && env PATH=\"$PWD/tools:$PATH\" " + variables +
                       " bash -c '. scripts/lib.sh; configure address'")
            .status;
    }
    std::string Calls() const { return m_Folder.Read("calls").value_or(""); }

    CTestFolder m_Folder;
};

TEST_F(ConfigureTest, OnceForTheSamePresets)
{
    EXPECT_EQ(Configure(), 0);
    EXPECT_EQ(Configure(), 0);
    EXPECT_EQ(Calls(), "call\n");
}

// A build directory of before the sanitizers kept their asserts went on without them.
TEST_F(ConfigureTest, AgainWhenThePresetsAreOthers)
{
    EXPECT_EQ(Configure(), 0);
    m_Folder.Write("CMakePresets.json", "new");
    EXPECT_EQ(Configure(), 0);
    EXPECT_EQ(Calls(), "call\ncall\n");
}

// A build that was configured before the test framework came has no tests.
TEST_F(ConfigureTest, AgainWhenPackagesHaveCome)
{
    EXPECT_EQ(Configure(), 0);
    const std::filesystem::path build = m_Folder.Path("build/address/build.ninja");
    std::filesystem::last_write_time(build, std::filesystem::last_write_time(build) - std::chrono::seconds(10));
    m_Folder.Write("build/packages", "");
    EXPECT_EQ(Configure(), 0);
    EXPECT_EQ(Configure(), 0);
    EXPECT_EQ(Calls(), "call\ncall\n");
}

TEST_F(ConfigureTest, AgainAfterAFailure)
{
    EXPECT_EQ(Configure(), 0);
    m_Folder.Write("CMakePresets.json", "new");
    EXPECT_NE(Configure("FAILS=1"), 0);
    EXPECT_EQ(Configure(), 0);
    EXPECT_EQ(Calls(), "call\ncall\n");
}

}  // namespace
