// That clang is asked, in the lint and in the fuzz build, whether what a lock guards is touched without it.

#include <gmock/gmock.h>

#include <string>

#include "tests/support/process.h"
#include "tests/support/test_folder.h"
#include "tests/support/test_places.h"

namespace
{

using testing::HasSubstr;

class ThreadSafetyTest : public testing::Test
{
  protected:
    CTestFolder m_Folder;
};

TEST_F(ThreadSafetyTest, TheLintFindsAnAccessWithoutTheLock)
{
    m_Folder.Write("thing.cpp",
                   "#include \"inc/Mutex.h\"\n\nclass CThing\n{\n  public:\n"
                   "    int Get() const { return m_iCount; }\n\n  private:\n    CMutex m_cs;\n"
                   "    int m_iCount GUARDED_BY(m_cs) = 0;\n};\n\n"
                   "int main()\n{\n    return CThing().Get();\n}\n");
    const Outcome linted =
        Execute("clang-tidy --quiet --config-file=" + Quoted(SourcePath(".clang-tidy")) + " " +
                Quoted(m_Folder.Path("thing.cpp")) + " -- -std=c++20 -I" + Quoted(SourcePath()));
    EXPECT_NE(linted.status, 0);
    EXPECT_THAT(linted.output, HasSubstr("[clang-diagnostic-thread-safety"));
}

TEST_F(ThreadSafetyTest, TheFuzzBuildLooksForOne)
{
    const Outcome configured = Execute(Quoted(WATCHWALL_CMAKE) + " --preset fuzz -S " + Quoted(SourcePath()) +
                                       " -B " + Quoted(m_Folder.Path("build")));
    ASSERT_EQ(configured.status, 0) << configured.output;
    const std::string commands = m_Folder.Read("build/compile_commands.json").value_or("");
    EXPECT_THAT(commands, HasSubstr(" -Wthread-safety "));
    EXPECT_THAT(commands, HasSubstr(" -Werror "));
}

}  // namespace
