#include "inc/CxLog.h"

#include "tests/inc/log_support.h"

#include <gmock/gmock.h>

#include <optional>
#include <set>
#include <thread>

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
                log.Log("a.cpp", "f", i, LOG_MESSAGE, "<%d-%d>", t, i);
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

TEST(LogThreadsTest, EndAmidABurstLeavesOnlyWholeLines)
{
    CTestDirectory directory;
    std::optional<CxLog> log(directory.Path());
    const std::string path = log->GetPath();
    for (int i = 0; i < 5000; ++i)
        log->Log("a.cpp", "f", i, LOG_MESSAGE, "m");
    log.reset();  // drops what is still queued
    const std::string text = ReadFile(path);
    EXPECT_TRUE(text.empty() || text.ends_with("\r\n"));
}

}  // namespace
