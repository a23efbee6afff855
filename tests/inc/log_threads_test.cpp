#include "inc/CxLog.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <optional>
#include <set>
#include <thread>

#include "tests/inc/log_support.h"

namespace
{

TEST(LogThreadsTest, ThreadsInterleaveWholeLines)
{
    constexpr int THREADS = 8;
    constexpr int LINES = 500;
    CTestDirectory directory;
    CxLog log(directory.Path());
    std::vector<std::thread> threads;
    for (int t = 0; t < THREADS; ++t) {
        threads.emplace_back([&log, t] {
            for (int i = 0; i < LINES; ++i)
                log.Log("a.cpp", "f", i, ELogLevel::Message, "<%d-%d>", t, i);
        });
    }
    for (auto& thread : threads)
        thread.join();
    const auto lines = WaitForLines(log.GetPath(), THREADS * LINES);
    ASSERT_THAT(lines, testing::SizeIs(THREADS * LINES));
    std::set<std::string> seen;
    for (const auto& line : lines) {
        ASSERT_THAT(line,
                    testing::MatchesRegex("[-0-9]+ [0-9:.]+ Message a\\.cpp\\(f, [0-9]+\\): <[0-9]-[0-9]+>"));
        seen.insert(line.substr(line.find('<')));
    }
    EXPECT_EQ(seen.size(), static_cast<std::size_t>(THREADS * LINES));
}

int CountOpen(const std::string& path)
{
    int count = 0;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd", ignored))
        count += std::filesystem::read_symlink(entry.path(), ignored) == path;
    return count;
}

TEST(LogThreadsTest, WorkerThatHangsInItsFileIsLeftBehindAtTheEnd)
{
    CTestDirectory directory;
    std::optional<CxLog> log(directory.Path());
    ASSERT_EQ(::mkfifo(log->GetPath().c_str(), 0600), 0);
    const int pipe = ::open(log->GetPath().c_str(), O_RDWR | O_NONBLOCK);
    ASSERT_GE(pipe, 0);
    const std::string block(4096, 'x');
    while (::write(pipe, block.data(), block.size()) > 0) {
    }
    log->Log("a.cpp", "f", 1, ELogLevel::Message, "held up");  // the full pipe takes no line
    while (CountOpen(log->GetPath()) < 2)  // the worker has it open, so it is past the look at the stop event
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    log.reset();
    std::string text;
    char buffer[4096];
    for (pollfd ready{pipe, POLLIN, 0}; text.find("held up\r\n") == std::string::npos;) {
        ASSERT_EQ(::poll(&ready, 1, 10000), 1);
        text.assign(text.substr(text.size() - std::min<std::size_t>(text.size(), 100)));
        text.append(buffer, static_cast<std::size_t>(::read(pipe, buffer, sizeof buffer)));
    }
    ::close(pipe);
}

TEST(LogThreadsTest, EndAmidABurstLeavesOnlyWholeLines)
{
    CTestDirectory directory;
    std::optional<CxLog> log(directory.Path());
    const std::string path = log->GetPath();
    for (int i = 0; i < 5000; ++i)
        log->Log("a.cpp", "f", i, ELogLevel::Message, "m");
    log.reset();  // drops what is still queued
    const std::string text = ReadFile(path);
    EXPECT_TRUE(text.empty() || text.ends_with("\r\n"));
}

}  // namespace
