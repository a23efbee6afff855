// Processes that are killed while they write: every file is whole afterwards, and a history loses no entry.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>

#include "inc/CxLog.h"
#include "platform/files/profile.h"
#include "platform/files/profile_edit.h"
#include "tests/support/test_folder.h"

namespace
{

constexpr int ENTRIES = 10;

std::string Key(int entry)
{
    return "HistoryCombo" + std::to_string(entry);
}

// Entry 0 is the save's number and each following one the number before: a save is whole when they go down by
// one.
bool Save(const std::string& path, int number)
{
    return EditIniFile(path, [number](CIniText& ini) {
               for (int entry = 0; entry < ENTRIES; ++entry)
                   ini.Set("Setting", Key(entry), std::to_string(number - entry));
               return ini.Set("Setting", "HistoryCombo", std::to_string(number));
           }) == EReplace::Done;
}

[[noreturn]] void WriteForEver(const CTestFolder& folder, int first, int told)
{
    CxLog log(folder.Path("log"));
    for (int number = first;; ++number) {
        const bool written =
            Save(folder.System("profile.ini"), number) &&
            WritePrivateProfileStringA("System", "Language", number % 2 != 0 ? "eng.ini" : "chs.ini",
                                       folder.System("system.ini").c_str());
        for (int line = 0; line < 20; ++line)
            log.Log("a.cpp", "f", line, ELogLevel::Message, "<%d>", number);
        if (!written || ::write(told, "+", 1) != 1) ::_exit(1);
    }
}

int Number(const CTestFolder& folder, const std::string& key)
{
    return GetPrivateProfileIntA("Setting", key.c_str(), -1000, folder.System("profile.ini").c_str());
}

void ExpectWhole(const CTestFolder& folder, int told)
{
    const int number = Number(folder, "HistoryCombo");
    EXPECT_GE(number, told) << "a save that was told of is lost";
    for (int entry = 0; entry < ENTRIES; ++entry)
        EXPECT_EQ(Number(folder, Key(entry)), number - entry);
    const std::string settings = folder.Read("system.ini").value_or("");
    EXPECT_TRUE(settings == "; kept\n[System]\nLanguage=eng.ini\n" ||
                settings == "; kept\n[System]\nLanguage=chs.ini\n")
        << settings;
    for (const auto& day : std::filesystem::directory_iterator(folder.Path("log"))) {
        const std::string text = folder.Read("log/" + day.path().filename().string()).value_or("");
        EXPECT_TRUE(text.empty() || text.ends_with(">\r\n"))
            << text.substr(text.size() - std::min<std::size_t>(text.size(), 200));
        std::size_t at = 0;
        for (std::size_t end = 0; (end = text.find("\r\n", at)) != std::string::npos; at = end + 2) {
            const std::string line = text.substr(at, end - at);
            ASSERT_EQ(line.find(" Message a.cpp(f, "), std::string("2026-01-31 00:00:00.000").size()) << line;
            ASSERT_TRUE(line.ends_with('>')) << line;
        }
    }
}

TEST(KilledProcesses, LeaveEveryFileWhole)
{
    const char* const asked = std::getenv("WATCHWALL_KILL_ROUNDS");
    const int rounds = asked != nullptr ? std::atoi(asked) : 12;
    const CTestFolder folder;
    folder.Write("system.ini", "; kept\n[System]\nLanguage=eng.ini\n");
    std::minstd_rand random(::getpid());
    int last = 0;  // save that a process told of
    for (int round = 0; round < rounds && !testing::Test::HasFailure(); ++round) {
        std::array<int, 2> told{};
        ASSERT_EQ(::pipe(told.data()), 0);
        const int first = std::max(Number(folder, "HistoryCombo"), 0) + 1;
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            ::close(told[0]);
            WriteForEver(folder, first, told[1]);
        }
        ::close(told[1]);
        // The kill falls somewhere into the saves after a random number of them.
        char byte = 0;
        const int saves = 1 + static_cast<int>(random() % 8);
        for (int save = 0; save < saves; ++save) {
            ASSERT_EQ(::read(told[0], &byte, 1), 1) << "the process wrote nothing";
            last = first + save;
        }
        ::usleep(static_cast<useconds_t>(random() % 3000));
        ASSERT_EQ(::kill(child, SIGKILL), 0);
        int status = 0;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFSIGNALED(status)) << "it was to be killed, not to end by itself";
        ::close(told[0]);
        ExpectWhole(folder, last);
    }
}

}  // namespace
