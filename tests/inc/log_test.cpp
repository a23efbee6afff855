#include "inc/CxLog.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>

#include "inc/LogFile.h"
#include "inc/OutputDebugString.h"
#include "tests/inc/log_support.h"
#include "tests/support/test_variable.h"

using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::SizeIs;
using testing::StartsWith;

namespace
{

struct LogTest : testing::Test {
    CTestDirectory directory;
    CxLog log{directory.Path()};

    std::string OneLine()
    {
        const auto lines = WaitForLines(log.GetPath(), 1);
        return lines.size() == 1 ? lines[0] : "lines: " + std::to_string(lines.size());
    }
};

TEST_F(LogTest, LineHoldsTimeLevelFileFunctionLineAndMessage)
{
    log.Log("..\\common\\RenderWnd.cpp", "CRenderWnd::Init", 42, ELogLevel::Error, "step %d of %s", 5, "nine");
    EXPECT_THAT(OneLine(),
                MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} Error "
                             "RenderWnd\\.cpp\\(CRenderWnd::Init, 42\\): step 5 of nine"));
}

// In a zone far from the world's time, which the log must not write instead.
TEST_F(LogTest, TimeIsTheLocalTimeOfTheCall)
{
    using std::chrono::duration_cast;
    using std::chrono::milliseconds;
    const auto now = [] {
        return duration_cast<milliseconds>(std::chrono::system_clock::now().time_since_epoch());
    };
    std::string line;
    milliseconds before{};
    milliseconds after{};
    std::tm local{};
    int fraction = -1;
    milliseconds told{};
    {
        const CTestVariable zone("TZ", "EAST-11:30");
        tzset();
        before = now();
        log.Log("a.cpp", "f", 1, ELogLevel::Message, "m");
        after = now();
        line = OneLine();
        const char* const rest = ::strptime(line.c_str(), "%Y-%m-%d %H:%M:%S", &local);
        if (rest != nullptr && *rest == '.') fraction = std::atoi(rest + 1);
        told = std::chrono::seconds(std::mktime(&local)) + milliseconds(fraction);
    }
    tzset();
    ASSERT_GE(fraction, 0) << line;
    EXPECT_GE(told, before) << line;
    EXPECT_LE(told, after) << line;
}

TEST_F(LogTest, FileNameBeginsAfterTheLastSeparatorOfEitherKind)
{
    log.Log("/src/common/RenderWnd.cpp", "f", 1, ELogLevel::Message, "m");
    EXPECT_THAT(OneLine(), HasSubstr(" RenderWnd.cpp(f, 1): m"));
}

TEST_F(LogTest, NullSourcePathGivesNoFileNameAndLineZero)
{
    log.Log(nullptr, "CRenderWnd::Init", 42, ELogLevel::Message, "m");
    EXPECT_THAT(OneLine(), EndsWith(" Message (CRenderWnd::Init, 0): m"));
}

TEST_F(LogTest, NullFunctionPrintsAsEmpty)
{
    log.Log("a.cpp", nullptr, 7, ELogLevel::Message, "m");
    EXPECT_THAT(OneLine(), EndsWith(" Message a.cpp(, 7): m"));
}

TEST_F(LogTest, EveryLevelHasItsName)
{
    for (const std::int32_t level : {0, 1, 2, 3, 4, -1})
        log.Log("a.cpp", "f", 1, static_cast<ELogLevel>(level), "m");
    const auto lines = WaitForLines(log.GetPath(), 6);
    ASSERT_THAT(lines, SizeIs(6));
    const char* const names[] = {" Message a", " Warning a", " Exception a", " Error a", "  a", "  a"};
    for (std::size_t i = 0; i < lines.size(); ++i)
        EXPECT_THAT(lines[i], HasSubstr(names[i])) << i;
}

TEST_F(LogTest, MessageWithALineBreakGivesNoBlankLine)
{
    log.Log("a.cpp", "f", 1, ELogLevel::Message, "first\r\n");
    log.Log("a.cpp", "f", 2, ELogLevel::Message, "second");
    const auto lines = WaitForLines(log.GetPath(), 2);
    ASSERT_THAT(lines, SizeIs(2));
    EXPECT_THAT(lines[0], EndsWith("): first"));
    EXPECT_THAT(lines[1], EndsWith("): second"));
}

TEST_F(LogTest, LongMessageIsCutAndKeepsItsLineBreak)
{
    const std::string message(5000, 'x');
    log.Log("a.cpp", "f", 1, ELogLevel::Message, "%s", message.c_str());
    const std::string line = OneLine();
    EXPECT_EQ(line.size() + 2, LOG_LINE_BYTES - 1);
    EXPECT_THAT(line, EndsWith("xxx"));
}

TEST_F(LogTest, LinesKeepTheirOrder)
{
    for (int i = 0; i < 1000; ++i)
        log.Log("a.cpp", "f", i, ELogLevel::Message, "m");
    const auto lines = WaitForLines(log.GetPath(), 1000);
    ASSERT_THAT(lines, SizeIs(1000));
    for (int i = 0; i < 1000; ++i)
        ASSERT_THAT(lines[static_cast<std::size_t>(i)], EndsWith("(f, " + std::to_string(i) + "): m"));
}

TEST_F(LogTest, SystemErrorStandsWithItsCodeAtLevelError)
{
    log.LogError("a.cpp", "f", 1, ENOENT);
    EXPECT_THAT(OneLine(),
                EndsWith(" Error a.cpp(f, 1): (" + std::to_string(ENOENT) + "):" + std::strerror(ENOENT)));
}

TEST_F(LogTest, TextReachesTheDebuggerOutputAtOnce)
{
    std::string heard;
    const auto former = SetDebugListener([&heard](std::string_view text) { heard += text; });
    log.Log("a.cpp", "f", 1, ELogLevel::Message, "at once");
    SetDebugListener(former);
    EXPECT_THAT(heard, EndsWith("a.cpp(f, 1): at once\r\n"));
}

TEST_F(LogTest, FileMayBeMovedAwayBetweenBursts)
{
    log.Log("a.cpp", "f", 1, ELogLevel::Message, "before");
    OneLine();
    std::filesystem::rename(log.GetPath(), directory.Path() + "kept");
    log.Log("a.cpp", "f", 2, ELogLevel::Message, "after");
    EXPECT_THAT(OneLine(), EndsWith("after"));
    EXPECT_THAT(ReadFile(directory.Path() + "kept"), EndsWith("before\r\n"));
}

TEST_F(LogTest, ViewWindowGetsACopyThatItOwns)
{
    static std::unique_ptr<LogEntry> posted;
    static std::int32_t window;
    static std::uint32_t message;
    log.SetView(7, [](std::int32_t to, std::uint32_t number, LogEntry* entry) {
        window = to;
        message = number;
        posted.reset(entry);
        return true;
    });
    log.Log("a.cpp", "f", 1, ELogLevel::Warning, "shown");
    log.SetView(0, nullptr);
    ASSERT_NE(posted, nullptr);
    EXPECT_EQ(window, 7);
    EXPECT_EQ(message, 0xC98U);
    EXPECT_EQ(posted->message, "shown");
    EXPECT_EQ(posted->level, ELogLevel::Warning);
    EXPECT_THAT(OneLine(), EndsWith("shown"));
    posted.reset();
}

TEST_F(LogTest, WithoutAViewWindowNothingIsPosted)
{
    static int posted;
    posted = 0;
    log.SetView(0, [](std::int32_t, std::uint32_t, LogEntry*) {
        ++posted;
        return false;
    });
    log.Log("a.cpp", "f", 1, ELogLevel::Message, "m");
    EXPECT_EQ(posted, 0);
}

TEST_F(LogTest, DebuggerOutputGoesBeforeTheViewWindow)
{
    static std::string order;
    order.clear();
    const auto former = SetDebugListener([](std::string_view) { order += "debugger "; });
    log.SetView(7, [](std::int32_t, std::uint32_t, LogEntry*) {
        order += "view";
        return false;
    });
    log.Log("a.cpp", "f", 1, ELogLevel::Message, "m");
    SetDebugListener(former);
    EXPECT_EQ(order, "debugger view");
}

TEST_F(LogTest, MessageHasAThousandAndTwentyThreeCharactersAtMost)
{
    static std::size_t length;
    log.SetView(7, [](std::int32_t, std::uint32_t, LogEntry* entry) {
        length = entry->message.size();
        return false;  // not taken
    });
    log.Log("a.cpp", "f", 1, ELogLevel::Message, "%s", std::string(2000, 'm').c_str());
    log.SetView(0, nullptr);
    EXPECT_EQ(length, 1023U);
}

// How many descriptors of this process stand on the file.
int CountOpen(const std::string& path)
{
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        count += std::filesystem::read_symlink(entry.path(), gone) == path ? 1 : 0;
    }
    return count;
}

// A second writer of the file has it for a burst; the log's worker waits with the file open and writes after
// it. The wait is bounded, so that a test that a loaded machine stops for so long looks again.
TEST_F(LogTest, WorkerWaitsForTheOtherWriterOfTheFile)
{
    constexpr int ATTEMPTS = 10;
    constexpr int LOOKS = 50;
    int waited = 0;
    std::size_t lines = 0;
    for (int attempt = 0; attempt < ATTEMPTS && waited < LOOKS; ++attempt) {
        const int other = ::open(log.GetPath().c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
        ASSERT_EQ(::flock(other, LOCK_EX), 0);
        const std::string before = ReadFile(log.GetPath());
        log.Log("a.cpp", "f", 1, ELogLevel::Message, "%d", attempt);
        waited = 0;
        while (waited < LOOKS && ReadFile(log.GetPath()) == before)
            waited += CountOpen(log.GetPath()) == 2 ? 1 : 0;
        ::close(other);
        EXPECT_EQ(WaitForLines(log.GetPath(), ++lines).size(), lines);
    }
    EXPECT_EQ(waited, LOOKS) << "the line came while the other had the file";
}

TEST(LogFileTest, NameIsTheDay)
{
    std::tm day{};
    day.tm_year = 126;
    day.tm_mon = 0;
    day.tm_mday = 31;
    EXPECT_EQ(MakeLogPath("/x/log/", day), "/x/log/20260131.log");
    EXPECT_THAT(MakeLogPath(std::string(400, 'd'), day), SizeIs(260));
}

TEST(LogFileTest, DirectoryStandsBesideTheExecutable)
{
    const auto executable = std::filesystem::read_symlink("/proc/self/exe");
    EXPECT_EQ(GetLogDirectory(), executable.parent_path().string() + "/log/");
    EXPECT_TRUE(std::filesystem::is_directory(GetLogDirectory()));
}

class UserLogFolder : public testing::Test
{
  protected:
    UserLogFolder() { std::ofstream(directory.Path() + "file"); }
    CTestDirectory directory;
    const std::string refused = directory.Path() + "file/log/";  // below a file no directory can be made
    const std::string home = directory.Path() + "home";
    const CTestVariable homeVariable{"HOME", home.c_str()};
};

TEST_F(UserLogFolder, StandsInForOneThatCannotBeWritten)
{
    const std::string folder = directory.Path() + "state";
    const CTestVariable state("XDG_STATE_HOME", folder.c_str());
    EXPECT_EQ(ChooseLogDirectory(directory.Path() + "log/"), directory.Path() + "log/");
    EXPECT_FALSE(std::filesystem::exists(folder));
    EXPECT_EQ(ChooseLogDirectory(refused), folder + "/watchwall/log/");
    EXPECT_TRUE(std::filesystem::is_directory(folder + "/watchwall/log/"));
}

TEST_F(UserLogFolder, IsThatOfTheHomeWhenTheVariableHasNoAbsolutePath)
{
    for (const char* text : {"", "state"}) {
        const CTestVariable state("XDG_STATE_HOME", text);
        EXPECT_EQ(ChooseLogDirectory(refused), home + "/.local/state/watchwall/log/") << text;
    }
    EXPECT_FALSE(std::filesystem::exists("state"));
}

TEST_F(UserLogFolder, IsNoneWithoutAHome)
{
    const CTestVariable state("XDG_STATE_HOME", "");
    const CTestVariable none("HOME", "home");
    EXPECT_EQ(ChooseLogDirectory(refused), refused);
}

TEST(LogFileTest, LinesAreAppendedToAFileOfAnEarlierRun)
{
    CTestDirectory directory;
    std::optional<CxLog> log(directory.Path());
    log->Log("a.cpp", "f", 1, ELogLevel::Message, "first run");
    EXPECT_THAT(WaitForLines(log->GetPath(), 1), SizeIs(1));
    log.emplace(directory.Path());
    log->Log("a.cpp", "f", 1, ELogLevel::Message, "second run");
    EXPECT_THAT(WaitForLines(log->GetPath(), 2),
                testing::ElementsAre(EndsWith("first run"), EndsWith("second run")));
}

// Two time zones a day apart stand in for the passing of midnight.
TEST(LogFileTest, RunThatCrossesMidnightKeepsOneFile)
{
    CTestDirectory directory;
    std::string path;
    std::vector<std::string> lines;
    {
        const CTestVariable west("TZ", "WEST+12");
        tzset();
        CxLog log(directory.Path());
        path = log.GetPath();
        const CTestVariable east("TZ", "EAST-12");
        tzset();
        log.Log("a.cpp", "f", 1, ELogLevel::Message, "the next day");
        lines = WaitForLines(path, 1);
    }
    tzset();
    ASSERT_THAT(lines, SizeIs(1));
    const std::string day = lines[0].substr(0, 4) + lines[0].substr(5, 2) + lines[0].substr(8, 2);
    EXPECT_THAT(path, testing::Not(HasSubstr(day)));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory.Path()), {}), 1);
}

// A group's users may share a folder, and the first of the day makes the file for all of them.
TEST(LogFileTest, WhoMayWriteANewFileIsTheUsersChoice)
{
    CTestDirectory directory;
    const std::string path = directory.Path() + "20260131.log";
    const mode_t former = ::umask(002);
    {
        CLogFile file(path);
        file.Append("line\r\n");
    }
    ::umask(former);
    struct stat status {
    };
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0664U);
}

TEST(LogFileTest, UnwritableDirectoryCostsTheLinesAndNothingElse)
{
    CTestDirectory directory;
    std::string file = directory.Path() + "file";
    std::fclose(std::fopen(file.c_str(), "w"));
    CxLog log(file + "/log/");  // a folder under a plain file can never be made
    log.Log("a.cpp", "f", 1, ELogLevel::Error, "lost");
    EXPECT_EQ(std::filesystem::file_size(file), 0U);
}

}  // namespace
