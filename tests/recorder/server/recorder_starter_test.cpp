// What whoever starts the program leaves to it: its standard streams, and the signals that it ignores.

#include <gmock/gmock.h>

#include <filesystem>
#include <sstream>
#include <string>

#include "tests/support/process.h"
#include "tests/support/test_folder.h"
#include "tests/support/test_places.h"

namespace
{

using testing::HasSubstr;
using testing::StartsWith;

// Which a script has waited for when the recorder serves.
constexpr const char* UNTIL_READY = "for i in $(seq 400); do [ -s ready ] && break; sleep 0.05; done\n";

class RecorderStarterTest : public testing::Test
{
  protected:
    /// Runs the script, in which $recorder starts one on free ports, in the test's folder.
    Outcome Run(const std::string& script)
    {
        m_Folder.Write("script", "recorder='" + BuildPath("bin/watchwall-recorder") +
                                     " --channels 0 --directory-port 0 --rendezvous-port 0 --report report'\n" +
                                     script);
        return Execute("cd " + Quoted(m_Folder.Path()) + " && exec sh ./script");
    }
    bool TakeReport() const { return std::filesystem::remove(m_Folder.Path("report")); }

    CTestFolder m_Folder;
};

// A socket of the recorder's would get a closed stream's number, and with it all that is printed.
TEST_F(RecorderStarterTest, HasClosedTheStandardStreams)
{
    struct Row {
        const char* streams;
        std::size_t first;
    };
    for (const Row& row : {Row{"<&- >&- 2>&-", 0}, Row{">&- 2>&-", 1}, Row{"2>&-", 2}}) {
        SCOPED_TRACE(row.streams);
        std::filesystem::remove(m_Folder.Path("ready"));
        const Outcome outcome = Run("$recorder --seconds 30 --ready-file ready >/dev/null " +
                                    std::string(row.streams) + " &\n" + UNTIL_READY +
                                    "for stream in 0 1 2; do readlink /proc/$!/fd/$stream; done\n"
                                    "kill $! && wait $!\n");
        EXPECT_EQ(outcome.status, 0) << outcome.output;
        EXPECT_TRUE(TakeReport());
        std::istringstream lines(outcome.output);
        std::string line;
        for (std::size_t stream = 0; stream < 3; ++stream) {
            ASSERT_TRUE(std::getline(lines, line)) << stream;
            if (stream < row.first) continue;
            EXPECT_THAT(line, StartsWith("/dev/")) << stream;
        }
    }
}

// Nobody has seen it, as when the disk of a file is full.
TEST_F(RecorderStarterTest, AListOfRecordsForAClosedStreamFails)
{
    m_Folder.Write("store/000000001-ch01-20261122-065500.mkv", "a record");
    EXPECT_EQ(Run("exec $recorder --store store --records >&- 2>&-").status, 1);
}

TEST_F(RecorderStarterTest, ReadsItsOutputNoLonger)
{
    const std::string gone = "mkfifo pipe && exec 3<>pipe 4>pipe 3<&- && exec >&4 2>&4 4>&-\n";
    EXPECT_EQ(Run(gone + "exec $recorder --seconds 0.2").status, 0);
    EXPECT_TRUE(TakeReport());
    std::filesystem::remove(m_Folder.Path("pipe"));
    m_Folder.Write("store/000000001-ch01-20261122-065500.mkv", "a record");
    EXPECT_EQ(Run(gone + "exec $recorder --store store --records").status, 1);
}

// A terminal that closes ends what runs in it by SIGHUP.
TEST_F(RecorderStarterTest, EndsByASignalWithItsReport)
{
    for (const char* signal : {"HUP", "INT", "TERM"}) {
        SCOPED_TRACE(signal);
        std::filesystem::remove(m_Folder.Path("ready"));
        const Outcome outcome = Run("(" + std::string(UNTIL_READY) + "kill -" + signal + " $$) &\n" +
                                    "exec $recorder --seconds 30 --ready-file ready\n");
        EXPECT_EQ(outcome.status, 0) << outcome.output;
        EXPECT_TRUE(TakeReport());
    }
}

TEST_F(RecorderStarterTest, IgnoresASignalAsNohupDoes)
{
    for (const char* signal : {"HUP", "INT"}) {
        SCOPED_TRACE(signal);
        std::filesystem::remove(m_Folder.Path("ready"));
        const Outcome outcome = Run("trap '' " + std::string(signal) + "\n(" + UNTIL_READY + "kill -" + signal +
                                    " $$; sleep 0.5; kill -TERM $$ && echo went on) &\n" +
                                    "exec $recorder --seconds 30 --ready-file ready\n");
        EXPECT_EQ(outcome.status, 0) << outcome.output;
        EXPECT_THAT(outcome.output, HasSubstr("went on"));
        EXPECT_TRUE(TakeReport());
    }
}

}  // namespace
