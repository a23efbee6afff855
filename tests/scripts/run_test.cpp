#include <gmock/gmock.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "tests/support/process.h"
#include "tests/support/test_folder.h"
#include "tests/support/test_places.h"

// ./run without a display, with programs that only leave the files that the test says.

namespace
{

using testing::EndsWith;
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
        Recorder("");
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
    // Does that before it is ready.
    void Recorder(const std::string& before) const
    {
        Command("build/release/bin/watchwall-recorder",
                "while [ \"$1\" != --ready-file ]; do shift; done\n" + before +
                    "\ntrap 'touch ended; exit' TERM\n"
                    "echo ready directory=127.0.0.1:1 rendezvous=127.0.0.1:2 >\"$2\"\n"
                    "for i in $(seq 600); do /bin/sleep 0.1; done");
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
                EndsWith("run: left " + m_Folder.Path("wall.png") + ", " + m_Folder.Path("report.json") +
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

TEST_F(RunTest, EndsTheRecorderWithTheWall)
{
    for (const char* wall : {"exit 0", "exit 3"}) {
        Run(wall);
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (!std::filesystem::remove(m_Folder.Path("ended"))) {
            ASSERT_LT(std::chrono::steady_clock::now(), deadline) << wall;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
}

// On a machine that is slow or busy it takes its time; the wall was started without its ports then.
TEST_F(RunTest, WaitsForARecorderThatIsLate)
{
    Recorder("/bin/sleep 2");
    Command("tools/sleep", "");
    EXPECT_EQ(Run("grep -x -e DirectoryPort=1 -e RendezvousPort=2 build/demo/config/system.ini").status, 0);
}

TEST_F(RunTest, ARecorderThatDoesNotStartIsToldWithItsWords)
{
    Recorder("echo 'the port is taken' >&2; exit 1");
    const Outcome outcome = Run("touch shown");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.output, HasSubstr("the port is taken\nthe recorder did not start\n"));
    EXPECT_FALSE(m_Folder.Read("shown").has_value());
}

}  // namespace
