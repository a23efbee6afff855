// How the log of a process ends, and how processes and modules share it.

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <semaphore.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <optional>
#include <set>
#include <stdexcept>
#include <thread>

#include "inc/CxLog.h"
#include "inc/LogFile.h"
#include "inc/LogLine.h"
#include "inc/OutputDebugString.h"
#include "tests/inc/log_support.h"
#include "tests/support/file_limit.h"
#include "tests/support/thread_state.h"

using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

namespace
{

std::set<int> Threads()
{
    std::set<int> threads;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task"))
        threads.insert(std::stoi(entry.path().filename().string()));
    return threads;
}

sem_t g_Held;
sem_t g_LetGo;

// Holds the worker of a log where it waits for lines until it is released.
class CHeldWorker
{
  public:
    explicit CHeldWorker(int thread) : m_iThread(thread)
    {
        // Anywhere else it may have a lock that the log's callers need.
        while (!Sleeps(thread))
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        sem_init(&g_Held, 0, 0);
        sem_init(&g_LetGo, 0, 0);
        struct sigaction hold = {};
        hold.sa_flags = SA_RESTART;
        hold.sa_handler = [](int) {
            sem_post(&g_Held);
            while (sem_wait(&g_LetGo) != 0) {
            }
        };
        sigaction(SIGUSR1, &hold, &m_Former);
        EXPECT_EQ(tgkill(::getpid(), m_iThread, SIGUSR1), 0);
        while (sem_wait(&g_Held) != 0) {
        }
    }
    ~CHeldWorker()
    {
        LetGo();
        sigaction(SIGUSR1, &m_Former, nullptr);
    }
    CHeldWorker(const CHeldWorker&) = delete;
    CHeldWorker& operator=(const CHeldWorker&) = delete;

    /// Lets it run and waits for its end.
    void LetGo()
    {
        sem_post(&g_LetGo);
        while (Threads().count(m_iThread) != 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }

  private:
    int m_iThread;
    struct sigaction m_Former = {};
};

// How long the end of a log takes whose worker is held with a line in the queue, which isn't written.
std::chrono::milliseconds EndWithHeldWorker()
{
    CTestDirectory directory;
    const std::set<int> before = Threads();
    std::optional<CxLog> log(directory.Path());
    std::set<int> after = Threads();
    for (const int thread : before)
        after.erase(thread);
    EXPECT_EQ(after.size(), 1U);
    const std::string path = log->GetPath();
    CHeldWorker worker(*after.begin());
    log->Log("a.cpp", "f", 1, ELogLevel::Message, "queued");
    const auto start = std::chrono::steady_clock::now();
    auto end = std::async(std::launch::async, [&log] { log.reset(); });
    // Far more than the log waits for a worker that is held; a log that waits for it longer fails here.
    EXPECT_EQ(end.wait_for(std::chrono::seconds(20)), std::future_status::ready);
    const auto time = std::chrono::steady_clock::now() - start;
    worker.LetGo();
    EXPECT_EQ(ReadFile(path), "") << "the worker sees wake and stop at once, and stop goes before";
    return std::chrono::duration_cast<std::chrono::milliseconds>(time);
}

// A loaded machine may take longer and is asked again.
TEST(LogEndTest, WhatIsQueuedAtTheEndIsDroppedAndTheWaitIsBounded)
{
    constexpr std::chrono::milliseconds WAIT(500);
    constexpr int ATTEMPTS = 10;
    std::chrono::milliseconds shortest = EndWithHeldWorker();
    for (int i = 1; i < ATTEMPTS && shortest >= 2 * WAIT; ++i)
        shortest = std::min(shortest, EndWithHeldWorker());
    EXPECT_GE(shortest, WAIT);
    EXPECT_LT(shortest, 2 * WAIT);
}

// Ends of the process's own log: each in a child that starts afresh, so that the order of what is registered
// for the end is the test's.
// A caller who is inside Log while the process ends comes out of it: the address sanitizer watches.
TEST(ProcessLogEnd, CallerInsideLogOutlivesTheEnd)
{
    EXPECT_EXIT(
        {
            static std::promise<void> inside;
            static std::promise<void> letGo;
            static std::thread caller;
            std::atexit([] {  // registered before the log's own end, so it runs after it
                const bool ended = CxLog::Find() == nullptr;
                letGo.set_value();
                caller.join();
                std::fprintf(stderr, "%s", ended ? "came out" : "the log stands");
                std::fflush(stderr);
            });
            CxLog::Instance().SetView(1, [](std::int32_t, std::uint32_t, LogEntry*) {
                inside.set_value();
                letGo.get_future().wait();
                return false;
            });
            caller = std::thread([] { CxLog::Instance().Log("a.cpp", "f", 1, ELogLevel::Message, "held"); });
            inside.get_future().wait();
            std::exit(4);
        },
        testing::ExitedWithCode(4), "came out");
}

TEST(ProcessLogEnd, UseAfterProcessEndThrowsAndSaysSo)
{
    EXPECT_EXIT(
        {
            std::atexit([] {  // registered before the log's own end, so it runs after it
                try {
                    CxLog::Instance();
                } catch (const std::runtime_error& error) {
                    std::fprintf(stderr, "thrown: %s", error.what());
                    std::_Exit(3);
                }
            });
            SetDebugListener([](std::string_view text) {
                std::fprintf(stderr, "debugger: %.*s\n", static_cast<int>(text.size()), text.data());
            });
            CxLog::Instance();
            std::exit(0);
        },
        testing::ExitedWithCode(3), "debugger: CxLog has destroy!\nthrown: CxLog has destroy!");
}

// Its memory stays, its thread doesn't.
TEST(ProcessLogEnd, WorkerIsStopped)
{
    EXPECT_EXIT(
        {
            static const std::size_t before = Threads().size();
            std::atexit([] {  // registered before the log's own end, so it runs after it
                // A thread that has been joined may be listed for a moment more.
                const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
                while (Threads().size() > before && std::chrono::steady_clock::now() < end)
                    std::this_thread::sleep_for(std::chrono::milliseconds(1));
                std::fprintf(stderr, "%s", Threads().size() > before ? "it runs on" : "it is stopped");
                std::fflush(stderr);
            });
            CxLog::Instance().Log("a.cpp", "f", 1, ELogLevel::Message, "last");
            std::exit(7);
        },
        testing::ExitedWithCode(7), "it is stopped");
}

TEST(ProcessLogEnd, LinesAfterTheEndReachTheDebuggerOutputAndThrowNothing)
{
    EXPECT_EXIT(
        {
            std::atexit([] { LogLine(ELogLevel::Message, "f", "late"); });
            CxLog::Instance();
            SetDebugListener([](std::string_view text) {
                std::fprintf(stderr, "debugger: %.*s", static_cast<int>(text.size()), text.data());
            });
            std::exit(5);
        },
        testing::ExitedWithCode(5), "debugger: late\n");
}

TEST(LogLineTest, FaultStandsInTheLogAndOnStandardError)
{
    std::string heard;
    const CDebugListener former = SetDebugListener([&](std::string_view text) { heard += text; });
    testing::internal::CaptureStderr();
    LogFault("CSome::Start", "the disk\x1B is full");
    SetDebugListener(former);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "watchwall: the disk\\x1B is full\n");
    EXPECT_THAT(heard, HasSubstr(" Error log_end_test.cpp(CSome::Start, "));
    EXPECT_THAT(heard, EndsWith("): the disk\\x1B is full\r\n"));
}

using LogFromModule = const char* (*)(const char* message);
using IsNewsInModule = bool (*)(const char* message);

template <typename Call = LogFromModule>
Call LoadModule(const char* name = "LogFromModule")
{
    void* const module = ::dlopen(WATCHWALL_TEST_MODULE, RTLD_NOW | RTLD_LOCAL);
    EXPECT_NE(module, nullptr) << ::dlerror();
    return module == nullptr ? nullptr : reinterpret_cast<Call>(::dlsym(module, name));
}

TEST(SharedLogTest, WhatProgramOrModuleHasReportedTheOtherDoesNotRepeat)
{
    const auto module = LoadModule<IsNewsInModule>("IsNewsInModule");
    ASSERT_NE(module, nullptr);
    EXPECT_TRUE(IsNews("the disk is full"));
    EXPECT_FALSE(module("the disk is full"));
    EXPECT_TRUE(module("the disk is gone"));
    EXPECT_FALSE(IsNews("the disk is gone"));
}

TEST(SharedLogTest, ProgramAndModuleHaveOneLogAndOneWorker)
{
    CxLog& log = CxLog::Instance();
    const LogFromModule module = LoadModule();
    ASSERT_NE(module, nullptr);
    std::string heard;
    const CDebugListener former = SetDebugListener([&](std::string_view text) { heard += text; });
    const std::size_t threads = Threads().size();
    EXPECT_EQ(module("from the module"), log.GetPath());
    EXPECT_EQ(Threads().size(), threads);
    SetDebugListener(former);
    EXPECT_THAT(heard, EndsWith(" Message module.cpp(LogFromModule, 1): from the module\r\n"))
        << "the program's copy of the library wrote it";
}

TEST(ProcessLogEnd, IsToldToAModuleToo)
{
    EXPECT_EXIT(
        {
            static LogFromModule module;
            std::atexit([] { std::fprintf(stderr, "%s", module("late")); });
            module = LoadModule();
            module("early");
            std::exit(6);
        },
        testing::ExitedWithCode(6), "ended");
}

TEST(LogFileTest, ShortWriteIsCutBackToTheLastWholeLine)
{
    // The limit of a file's size stands in for the full disk, in a process of its own.
    CTestDirectory directory;
    const std::string path = directory.Path() + "day.log";
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        const CFileLimit limit(25);
        CLogFile file(path);
        const bool locked = file.TryLock();
        for (int i = 0; i < 3; ++i)
            file.Append("0123456789\r\n");
        ::_exit(locked ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(ReadFile(path), "0123456789\r\n0123456789\r\n");
}

TEST(LogFileTest, OnlyOneWriterHasTheFile)
{
    CTestDirectory directory;
    const std::string path = directory.Path() + "day.log";
    CLogFile first(path);
    EXPECT_TRUE(first.TryLock());
    CLogFile second(path);
    EXPECT_FALSE(second.TryLock());
    EXPECT_EQ(ReadFile(path), "") << "readers are not concerned";
    CLogFile none(directory.Path() + "missing/day.log");
    EXPECT_TRUE(none.TryLock()) << "nothing to wait for";
}

TEST(LogFileTest, WritersWithoutTheLockAppendAllTheSame)
{
    CTestDirectory directory;
    const std::string path = directory.Path() + "day.log";
    CLogFile first(path);
    CLogFile second(path);
    first.Append("1\r\n");
    second.Append("2\r\n");
    first.Append("3\r\n");
    EXPECT_EQ(ReadFile(path), "1\r\n2\r\n3\r\n");
}

TEST(LogFileTest, ABurstWaitsForTheOtherWriterAndTheCallerDoesNot)
{
    CTestDirectory directory;
    CxLog log(directory.Path());
    {
        CLogFile other(log.GetPath());
        ASSERT_TRUE(other.TryLock());
        log.Log("a.cpp", "f", 1, ELogLevel::Message, "mine");
        other.Append("theirs\r\n");
    }
    EXPECT_THAT(WaitForLines(log.GetPath(), 2), testing::ElementsAre("theirs", EndsWith("mine")));
}

// Processes that log to one day's file at once.
TEST(LogProcessesTest, WriteWholeLinesToOneFileAndLoseNone)
{
    constexpr int PROCESSES = 3;
    constexpr int LINES = 3000;
    CTestDirectory directory;
    std::array<pid_t, PROCESSES> children{};
    for (int process = 0; process < PROCESSES; ++process) {
        pid_t& child = children[static_cast<std::size_t>(process)];
        child = ::fork();
        ASSERT_GE(child, 0);
        if (child != 0) continue;
        CxLog log(directory.Path());
        for (int i = 0; i < LINES; ++i)
            log.Log("a.cpp", "f", i, ELogLevel::Message, "<%d-%d>", process, i);
        const bool written = !WaitForLines(log.GetPath(), PROCESSES * LINES).empty();
        ::_exit(written ? 0 : 1);
    }
    for (const pid_t child : children) {
        int status = -1;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }
    ASSERT_EQ(std::distance(std::filesystem::directory_iterator(directory.Path()), {}), 1);
    const auto lines = WaitForLines(std::filesystem::directory_iterator(directory.Path())->path(), 1);
    ASSERT_EQ(lines.size(), static_cast<std::size_t>(PROCESSES * LINES));
    std::set<std::string> seen;
    for (const std::string& line : lines) {
        int process = 0;
        int number = 0;
        int end = 0;
        const auto message = line.find(" Message a.cpp(f, ");
        ASSERT_EQ(message, std::string_view("2026-01-31 00:00:00.000").size()) << line;
        const auto at = line.find("): <");
        ASSERT_NE(at, std::string::npos) << line;
        ASSERT_EQ(std::sscanf(line.c_str() + at, "): <%d-%d>%n", &process, &number, &end), 2) << line;
        ASSERT_EQ(at + static_cast<std::size_t>(end), line.size()) << line;
        seen.insert(line.substr(at));
    }
    EXPECT_EQ(seen.size(), static_cast<std::size_t>(PROCESSES * LINES));
}

}  // namespace
