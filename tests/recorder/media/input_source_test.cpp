// What somebody else writes into: pipes, sockets, terminals.

#include "recorder/media/Source.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <future>
#include <thread>
#include <utility>

#include "tests/recorder/media/source_support.h"
#include "tests/support/file_limit.h"
#include "tests/support/test_folder.h"

namespace
{

using namespace recorder;

class PipeSourceTest : public testing::Test
{
  protected:
    PipeSourceTest() { EXPECT_EQ(mkfifo(m_strPipe.c_str(), 0600), 0); }

    CTestFolder m_Folder;
    const std::string m_strPipe = m_Folder.Path("pipe");
};

TEST_F(PipeSourceTest, ItsPicturesAreShown)
{
    std::thread writer([&] { WriteBlueFilm(m_strPipe, "-t 3 -f mpegts"); });
    const auto source = MakeSource(m_strPipe, SourceScene(), 0, NEVER_STOP);
    ExpectBlueSixTimes(*source);
    writer.join();
}

TEST_F(PipeSourceTest, OneThatCanNotBeOpenedSaysWhy)
{
    // The sanitizer opens a pipe to look at an object of a type that is new to it.
    MakeSource(m_strPipe, SourceScene(), 0, true);
    testing::internal::CaptureStderr();
    {
        const CResourceLimit noFile(RLIMIT_NOFILE, 0);
        MakeSource(m_strPipe, SourceScene(), 0, NEVER_STOP);
    }
    EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr("Too many open files"));
}

// As somebody may name it.
class PipeNameTest : public PipeSourceTest, public testing::WithParamInterface<const char*>
{
};

TEST_P(PipeNameTest, OneThatNobodyWritesIntoKeepsNoRecorderFromItsEnd)
{
    const std::atomic<bool> stop = true;
    const auto reader =
        std::async(std::launch::async, [&] { MakeSource(GetParam() + m_strPipe, SourceScene(), 0, stop); });
    EXPECT_EQ(reader.wait_for(std::chrono::seconds(20)), std::future_status::ready);
    close(open(m_strPipe.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));  // ends every wait
}

INSTANTIATE_TEST_SUITE_P(Names, PipeNameTest, testing::Values("", "file:"));

// What a shell opens for the programs it starts, and how a source's text names it.
struct Input {
    int reader = -1;
    int writer = -1;
    std::string name = "pipe:" + std::to_string(reader);
};

Input OpenPipe()
{
    int ends[2] = {-1, -1};
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    return {ends[0], ends[1]};
}

Input OpenSocket()
{
    int ends[2] = {-1, -1};
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    return {ends[0], ends[1]};
}

Input OpenTerminal()
{
    const int keyboard = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    EXPECT_EQ(unlockpt(keyboard), 0);
    return {open(ptsname(keyboard), O_RDWR | O_NOCTTY | O_CLOEXEC), keyboard};
}

Input NameTerminal()
{
    Input terminal = OpenTerminal();
    terminal.name = ptsname(terminal.writer);
    return terminal;
}

class InputTest : public testing::TestWithParam<Input (*)()>
{
  public:
    ~InputTest() override
    {
        CloseWriter();
        close(m_Input.reader);
    }

  protected:
    void WriteLine()
    {
        EXPECT_EQ(write(m_Input.writer, "\n", 1), 1);
        pollfd readable{m_Input.reader, POLLIN, 0};
        EXPECT_EQ(poll(&readable, 1, 20'000), 1) << "a terminal passes it on in its own time";
    }
    bool IsEmpty() const
    {
        int bytes = 0;
        EXPECT_EQ(ioctl(m_Input.reader, FIONREAD, &bytes), 0);
        return bytes == 0;
    }
    void CloseWriter() { close(std::exchange(m_Input.writer, -1)); }

    Input m_Input = GetParam()();
};

TEST_P(InputTest, OneThatNobodyWritesIntoKeepsNoRecorderFromItsEnd)
{
    std::atomic<bool> stop = false;
    WriteLine();
    const auto reader =
        std::async(std::launch::async, [&] { MakeSource(m_Input.name, SourceScene(), 0, stop); });
    while (!IsEmpty() && reader.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready)
        ;
    stop = true;
    EXPECT_EQ(reader.wait_for(std::chrono::seconds(20)), std::future_status::ready);
    CloseWriter();  // ends every read
}

INSTANTIATE_TEST_SUITE_P(Kinds, InputTest, testing::Values(OpenPipe, OpenSocket, OpenTerminal, NameTerminal));

TEST_P(InputTest, OneThatHasEndedShowsANotice)
{
    CloseWriter();
    testing::internal::CaptureStderr();
    const auto source = MakeSource(m_Input.name, SourceScene(), 0, NEVER_STOP);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr("channel 1: "));
    Picture picture;
    source->Read(0, picture);
    EXPECT_EQ(picture.width, SourceScene().width);
}

}  // namespace
