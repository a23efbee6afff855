// What a run leaves for whoever started it. Pipes are in server_threads_test.cpp.

#include "recorder/server/OutputFile.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <stdexcept>
#include <string>
#include <thread>

#include "tests/support/file_limit.h"
#include "tests/support/interruption.h"
#include "tests/support/test_folder.h"
#include "tests/support/thread_state.h"

namespace
{

namespace fs = std::filesystem;

using recorder::CheckCanWrite;
using recorder::WriteWhole;

auto FilesIn(const CTestFolder& folder)
{
    return std::distance(fs::directory_iterator(folder.Path()), fs::directory_iterator());
}

TEST(OutputFileTest, AFileAppearsUnderItsNameAlone)
{
    const CTestFolder folder;
    CheckCanWrite(folder.Path("a"));
    EXPECT_EQ(FilesIn(folder), 0) << "looking makes nothing";
    for (const std::string text : {"first", "second"}) {
        WriteWhole(folder.Path("a"), text);
        CheckCanWrite(folder.Path("a"));
        EXPECT_EQ(folder.Read("a"), text);
    }
    EXPECT_EQ(FilesIn(folder), 1);
}

TEST(OutputFileTest, ALinkStaysAndItsFileIsWritten)
{
    const CTestFolder folder;
    fs::create_directory(folder.Path("elsewhere"));
    folder.Write("elsewhere/a", "former");
    fs::create_symlink("elsewhere/a", folder.Path("link"));
    CheckCanWrite(folder.Path("link"));
    EXPECT_EQ(folder.Read("elsewhere/a"), "former");
    WriteWhole(folder.Path("link"), "text");
    EXPECT_TRUE(fs::is_symlink(folder.Path("link")));
    EXPECT_EQ(folder.Read("elsewhere/a"), "text");
    EXPECT_EQ(FilesIn(folder), 2);
}

TEST(OutputFileTest, ALinkToAFileThatIsStillMissingStaysToo)
{
    const CTestFolder folder;
    fs::create_directory(folder.Path("elsewhere"));
    fs::create_symlink("elsewhere/second", folder.Path("link"));
    fs::create_symlink(folder.Path("elsewhere/a"), folder.Path("elsewhere/second"));
    CheckCanWrite(folder.Path("link"));
    WriteWhole(folder.Path("link"), "text");
    EXPECT_TRUE(fs::is_symlink(folder.Path("link")));
    EXPECT_EQ(folder.Read("elsewhere/a"), "text");
}

// As `--report /dev/stdout >>log` has it: what others write there stays, what went before and what comes.
TEST(OutputFileTest, AFileThatADescriptorWritesIntoGetsTheTextAfterWhatItHas)
{
    const CTestFolder folder;
    folder.Write("log", "");
    std::FILE* const log = std::fopen(folder.Path("log").c_str(), "wb");
    ASSERT_NE(log, nullptr);
    const std::string descriptor = "/dev/fd/" + std::to_string(fileno(log));
    std::fputs("former ", log);
    std::fflush(log);
    for (const std::string& path : {descriptor, folder.Path("log")}) {
        CheckCanWrite(path);
        WriteWhole(path, "text ");
    }
    std::fputs("later", log);
    std::fclose(log);
    EXPECT_EQ(folder.Read("log"), "former text text later");
    EXPECT_EQ(FilesIn(folder), 1);
}

TEST(OutputFileTest, AFileThatIsOnlyReadMeanwhileIsReplaced)
{
    const CTestFolder folder;
    folder.Write("a", "former");
    std::FILE* const reader = std::fopen(folder.Path("a").c_str(), "rb");
    ASSERT_NE(reader, nullptr);
    CheckCanWrite(folder.Path("a"));
    WriteWhole(folder.Path("a"), "text");
    EXPECT_EQ(std::fgetc(reader), 'f');
    std::fclose(reader);
    EXPECT_EQ(folder.Read("a"), "text");
}

TEST(OutputFileTest, AFolderIsNoFile)
{
    const CTestFolder folder;
    fs::create_directory(folder.Path("sub"));
    for (const std::string& path : {folder.Path("sub"), folder.Path("no/such")}) {
        EXPECT_THROW(CheckCanWrite(path), std::runtime_error) << path;
        EXPECT_THROW(WriteWhole(path, "x"), std::runtime_error) << path;
    }
    EXPECT_EQ(FilesIn(folder), 1) << "nothing is left beside it";
}

TEST(OutputFileTest, ADeviceIsWrittenStraightAndStays)
{
    CheckCanWrite("/dev/full");
    EXPECT_THROW(WriteWhole("/dev/full", "x"), std::runtime_error);
    EXPECT_TRUE(fs::is_character_file("/dev/full"));
    WriteWhole("/dev/null", "x");
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

TEST(OutputFileTest, AReaderThatGoesFailsTheWriteAlone)
{
    const CTestFolder folder;
    const std::string path = folder.Path("pipe");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const auto former = std::signal(SIGPIPE, SIG_IGN);  // as the program has it
    const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    std::thread going([reader] {
        pollfd readable{reader, POLLIN, 0};
        poll(&readable, 1, -1);
        close(reader);
    });
    EXPECT_THROW(WriteWhole(path, std::string(8 << 20, 'x')), std::runtime_error);
    going.join();
    EXPECT_TRUE(fs::is_fifo(path));
    std::signal(SIGPIPE, former);
}

// As ssh leaves it without a terminal: it can't be opened by its name, and who writes waits for its reader.
TEST(OutputFileTest, ASocketThatIsOpenAlreadyIsWrittenAndWaitsForNoReader)
{
    int ends[2] = {-1, -1};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    const std::string path = "/dev/fd/" + std::to_string(ends[0]);
    CheckCanWrite(path);
    WriteWhole(path, "text");
    char read[8];
    EXPECT_EQ(recv(ends[1], read, sizeof read, MSG_DONTWAIT), 4);
    EXPECT_THROW(WriteWhole(path, std::string(4 << 20, 'x')), std::runtime_error);
    for (const int end : ends)
        close(end);
    EXPECT_THROW(CheckCanWrite(path), std::runtime_error);
}

// As under sudo: the pipe is the caller's.
TEST(OutputFileTest, AnotherUsersPipeThatIsOpenAlreadyIsWritten)
{
    int ends[2] = {-1, -1};
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    ASSERT_EQ(fchmod(ends[1], 0), 0) << "it can't be opened anew, but for root";
    const pid_t child = fork();
    if (child == 0) {
        constexpr uid_t NOBODY = 65534;
        const std::string path = "/dev/fd/" + std::to_string(ends[1]);
        try {
            if (geteuid() == 0 && setuid(NOBODY) != 0) _exit(1);
            CheckCanWrite(path);
            WriteWhole(path, "text");
            _exit(0);
        } catch (const std::runtime_error&) {
            _exit(1);
        }
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    close(ends[1]);
    char read[8];
    EXPECT_EQ(::read(ends[0], read, sizeof read), 4);
    close(ends[0]);
}

TEST(OutputFileTest, ASignalDoesNotEndTheWaitForASlowReader)
{
    constexpr size_t TEXT = 1 << 20;  // more than a pipe holds
    int ends[2] = {-1, -1};
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const CInterruption interruption;
    std::atomic<pid_t> thread = 0;
    std::thread writer([&] {
        thread = gettid();
        EXPECT_NO_THROW(WriteWhole("/dev/fd/" + std::to_string(ends[1]), std::string(TEXT, 'x')));
        close(ends[1]);
    });
    AwaitSleep(thread);  // the pipe is full
    CInterruption::Of(writer);
    char block[4096];
    size_t taken = 0;
    for (ssize_t got = 1; got > 0; taken += static_cast<size_t>(got))
        got = read(ends[0], block, sizeof block);
    writer.join();
    EXPECT_EQ(taken, TEXT);
    close(ends[0]);
}

TEST(OutputFileTest, ASocketThatNobodyHasOpenIsRefusedAtOnce)
{
    const CTestFolder folder;
    const std::string path = folder.Path("socket");
    const int bound = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    ASSERT_LT(path.size(), sizeof name.sun_path);
    path.copy(name.sun_path, path.size());
    ASSERT_EQ(bind(bound, reinterpret_cast<const sockaddr*>(&name), sizeof name), 0);
    EXPECT_THROW(CheckCanWrite(path), std::runtime_error);
    EXPECT_THROW(WriteWhole(path, "x"), std::runtime_error);
    close(bound);
}

TEST(OutputFileTest, AWriteThatFailsHalfWayLeavesWhatWasThere)
{
    const CTestFolder folder;
    WriteWhole(folder.Path("report"), "former");
    {
        const CFileLimit limit(100);
        EXPECT_THROW(WriteWhole(folder.Path("report"), std::string(1000, 'x')), std::runtime_error);
    }
    EXPECT_EQ(folder.Read("report"), "former");
    EXPECT_EQ(FilesIn(folder), 1);
}

}  // namespace
