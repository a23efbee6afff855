#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <string>

#include "platform/files/profile.h"
#include "tests/support/test_folder.h"

namespace
{

// A write that met a lock for too long was refused and said so; it is tried again.
bool Write(const std::string& section, const std::string& key, const std::string& value,
           const std::string& path)
{
    for (int attempt = 0; attempt < 100; ++attempt) {
        if (WritePrivateProfileStringA(section.c_str(), key.c_str(), value.c_str(), path.c_str())) return true;
    }
    return false;
}

TEST(ProfileProcesses, ThatWriteAtOnceLoseNothing)
{
    constexpr int PROCESSES = 4;
    constexpr int KEYS = 40;
    const CTestFolder folder;
    folder.Write("system.ini", "; kept\n[System]\nLanguage=eng.ini\n");
    const std::string path = folder.System("system.ini");
    std::array<int, 2> start{};
    ASSERT_EQ(::pipe(start.data()), 0);
    std::array<pid_t, PROCESSES> children{};
    for (int process = 0; process < PROCESSES; ++process) {
        children[static_cast<std::size_t>(process)] = ::fork();
        ASSERT_GE(children[static_cast<std::size_t>(process)], 0);
        if (children[static_cast<std::size_t>(process)] != 0) continue;
        char ignored = 0;
        ::close(start[1]);
        bool good = ::read(start[0], &ignored, 1) == 0;  // all begin when the parent closes the pipe
        const std::string section = "Process" + std::to_string(process);
        for (int key = 0; key < KEYS && good; ++key) {
            const std::string name = "Key" + std::to_string(key);
            good = Write(section, name, name, path) && Write("Shared", section + name, "1", path) &&
                   GetProfileText("System", "Language", "", 16, path) == "eng.ini";
        }
        ::_exit(good ? 0 : 1);
    }
    ::close(start[0]);
    ::close(start[1]);
    for (const pid_t child : children) {
        int status = -1;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }
    for (int process = 0; process < PROCESSES; ++process) {
        const std::string section = "Process" + std::to_string(process);
        for (int key = 0; key < KEYS; ++key) {
            const std::string name = "Key" + std::to_string(key);
            EXPECT_EQ(GetProfileText(section.c_str(), name.c_str(), "lost", 16, path), name);
            EXPECT_EQ(GetProfileText("Shared", (section + name).c_str(), "lost", 16, path), "1");
        }
    }
    EXPECT_TRUE(folder.Read("system.ini")->starts_with("; kept\n[System]\nLanguage=eng.ini\n"));
}

}  // namespace
