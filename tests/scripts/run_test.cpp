#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>

#include "tests/support/process.h"
#include "tests/support/test_folder.h"
#include "tests/support/test_places.h"

// ./run without a display, with programs that only leave the files that the test says.

namespace
{

using testing::HasSubstr;
using testing::Not;

class RunTest : public testing::Test
{
  protected:
    RunTest()
    {
        std::filesystem::copy_file(SourcePath("run"), m_Folder.Path("run"));
        Command("scripts/setup", "");
        std::filesystem::copy_file(SourcePath("scripts/lib.sh"), m_Folder.Path("scripts/lib.sh"));
        Command("tools/cmake", "");
        Command("tools/xvfb-run", "shift 2; exec \"$@\"");
        Command("build/release/bin/watchwall-recorder",
                "while [ \"$1\" != --ready-file ]; do shift; done\n"
                "echo ready directory=127.0.0.1:1 rendezvous=127.0.0.1:2 >\"$2\"; exec sleep 60");
        m_Folder.Write("CMakePresets.json", "presets");
        m_Folder.Write("build/release/build.ninja", "");
        m_Folder.Write("build/release/presets.json", "presets");
        for (const char* file : {"config/eng.ini", "dvr.bmp", "dvr.db"})
            m_Folder.Write(std::string("build/release/bin/") + file, "");
    }
    void Command(const std::string& name, const std::string& does) const
    {
        m_Folder.Write(name, "#!/bin/sh\n" + does + "\n");
        ::chmod(m_Folder.Path(name).c_str(), S_IRWXU);
    }
    Outcome Run(const std::string& wall) const
    {
        Command("build/release/bin/watchwall", wall);
        return Execute("cd " + Quoted(m_Folder.Path()) +
                       " && env -u DISPLAY -u WAYLAND_DISPLAY PATH=\"$PWD/tools:$PATH\" ./run");
    }

    CTestFolder m_Folder;
};

TEST_F(RunTest, SaysInItsLastLineWhatItLeftAndWhere)
{
    const Outcome outcome = Run("touch wall.png report.json");
    EXPECT_EQ(outcome.status, 0) << outcome.output;
    EXPECT_THAT(outcome.output,
                HasSubstr("run: left " + m_Folder.Path("wall.png") + ", " + m_Folder.Path("report.json") +
                          ", settings and database in " + m_Folder.Path("build/demo") +
                          ", the recorder's log in " + m_Folder.Path("build/recorder.log") + "\n"));
}

TEST_F(RunTest, NamesNoFileThatAFailedWallDidNotLeave)
{
    m_Folder.Write("wall.png", "of an earlier run");
    const Outcome outcome = Run("exit 3");
    EXPECT_EQ(outcome.status, 3) << outcome.output;
    EXPECT_THAT(outcome.output, HasSubstr("run: left settings and database in "));
    EXPECT_THAT(outcome.output, Not(HasSubstr("wall.png")));
}

}  // namespace
