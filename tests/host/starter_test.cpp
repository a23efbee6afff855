#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QFile>
#include <csignal>

#include "host/Streams.h"
#include "tests/host/program_support.h"

// What whoever starts the program leaves to it: its standard streams, and the signals that it ignores.

namespace
{

class StarterTest : public ProgramTest
{
  protected:
    /// Starts the program by a line of the shell, in which it stands as $0 with its arguments.
    void StartByShell(const char* line, const QStringList& arguments)
    {
        m_Process.setProcessEnvironment(m_Environment);
        m_Process.setWorkingDirectory(m_Folder.path());
        m_Process.start("/bin/sh",
                        QStringList{"-c", line, QStringLiteral(WATCHWALL_PROGRAM)} + Home() + arguments);
        ASSERT_TRUE(m_Process.waitForStarted());
    }
    /// Whether the program ignores the signal, as the kernel tells.
    bool Ignores(int number) const
    {
        QFile status(QStringLiteral("/proc/%1/status").arg(m_Process.processId()));
        if (!status.open(QIODevice::ReadOnly)) return false;
        const QByteArray text = status.readAll();
        const qsizetype begin = text.indexOf("SigIgn:") + 7;
        const auto ignored =
            text.mid(begin, text.indexOf('\n', begin) - begin).trimmed().toULongLong(nullptr, 16);
        return (ignored >> (number - 1) & 1) != 0;
    }
    void Signal(int number) { ASSERT_EQ(::kill(static_cast<pid_t>(m_Process.processId()), number), 0); }
};

// A line that went into the display's connection under the number of a closed stream hung the program for good.
TEST_F(StarterTest, HasClosedTheStandardStreams)
{
    m_Environment.insert("WATCHWALL_DEBUG", "1");
    for (const char* streams : {"<&- >&- 2>&-", ">&- 2>&-", "2>&-"}) {
        SCOPED_TRACE(streams);
        const std::string line = std::string("exec \"$0\" \"$@\" ") + streams;
        StartByShell(line.c_str(), {"--seconds", "2", "--report", File("report.json")});
        EXPECT_EQ(End(), 0);
        ASSERT_TRUE(QFile::remove(File("report.json")));
    }
}

// What is opened next gets the lowest number that is free.
TEST(StreamsTest, EachThatIsClosedLeadsNowhere)
{
    const pid_t child = ::fork();
    if (child == 0) {
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
            ::close(stream);
        KeepStreams();
        int nowhere = 0;
        struct stat null = {};
        struct stat now = {};
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
            if (::stat("/dev/null", &null) == 0 && ::fstat(stream, &now) == 0 && now.st_rdev == null.st_rdev)
                ++nowhere;
        ::_exit(nowhere);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(WEXITSTATUS(status), 3);
}

TEST_F(StarterTest, ReadsItsOutputNoLonger)
{
    m_Environment.insert("WATCHWALL_DEBUG", "1");
    StartByShell("(\"$0\" \"$@\" 2>&1; echo $? >code) | true",
                 {"--seconds", "2", "--report", File("report.json")});
    EXPECT_EQ(End(), 0);
    QFile code(File("code"));
    ASSERT_TRUE(code.open(QIODevice::ReadOnly));
    EXPECT_EQ(code.readAll(), "0\n");
    EXPECT_TRUE(QFile::exists(File("report.json")));
}

TEST_F(StarterTest, IgnoresSignalsAsNohupAndAShellsBackgroundJobsDo)
{
    m_Process.setChildProcessModifier([] {
        std::signal(SIGHUP, SIG_IGN);
        std::signal(SIGINT, SIG_IGN);
    });
    Start(Home());
    ASSERT_TRUE(WaitShown());
    EXPECT_TRUE(Ignores(SIGHUP));
    EXPECT_TRUE(Ignores(SIGINT));
    EXPECT_FALSE(Ignores(SIGTERM));
    Signal(SIGHUP);
    Signal(SIGTERM);
    EXPECT_EQ(End(), 0) << m_strErrors.toStdString();
}

}  // namespace
