#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "platform/files/profile.h"
#include "tests/support/test_folder.h"

namespace
{

TEST(ProfileThreads, ConcurrentWritesAndReadsLoseNothing)
{
    constexpr int THREADS = 4;
    constexpr int KEYS = 20;
    const CTestFolder folder;
    const std::string path = folder.System("system.ini");
    std::atomic<int> wrong = 0;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < THREADS; ++thread) {
        threads.emplace_back([&, thread] {
            for (int key = 0; key < KEYS; ++key) {
                const std::string name = "Key" + std::to_string(thread) + "_" + std::to_string(key);
                if (!WritePrivateProfileStringA("Settings", name.c_str(), name.c_str(), path.c_str()) ||
                    GetProfileText("Settings", name.c_str(), "lost", 16, path) != name) {
                    ++wrong;
                }
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
    for (int thread = 0; thread < THREADS; ++thread) {
        for (int key = 0; key < KEYS; ++key) {
            const std::string name = "Key" + std::to_string(thread) + "_" + std::to_string(key);
            EXPECT_EQ(GetProfileText("Settings", name.c_str(), "lost", 16, path), name);
        }
    }
}

}  // namespace
