#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>

#include "bench/figures.h"

// How long the program takes from its start to a control on the screen, beside a window of the toolkit with
// nothing in it, in turns: milliseconds from the spawning of the process to its line "shown". Needs a display.

namespace
{
constexpr int ROUNDS = 15;
constexpr int GIVE_UP_MS = 30000;

/// Milliseconds until the program says that it is shown; negative when it doesn't.
double TimeToShown(std::vector<std::string> arguments)
{
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) return -1;
    posix_spawn_file_actions_t actions{};
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    std::vector<char*> argv;
    for (std::string& argument : arguments)
        argv.push_back(argument.data());
    argv.push_back(nullptr);
    const auto begin = std::chrono::steady_clock::now();
    pid_t process = 0;
    const int failed = posix_spawn(&process, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    double ms = -1;
    std::string output;
    while (failed == 0 && ms < 0) {
        pollfd waited{ends[0], POLLIN, 0};
        std::array<char, 256> bytes{};
        if (poll(&waited, 1, GIVE_UP_MS) <= 0) break;
        const ssize_t got = read(ends[0], bytes.data(), bytes.size());
        if (got <= 0) break;
        output.append(bytes.data(), static_cast<std::size_t>(got));
        if (output.find("shown") == std::string::npos) continue;
        ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count();
    }
    close(ends[0]);
    if (failed == 0) {
        kill(process, SIGTERM);
        waitpid(process, nullptr, 0);
    }
    return ms;
}

}  // namespace

int main()
{
    std::string folder = (std::filesystem::temp_directory_path() / "watchwall_bench_XXXXXX").string();
    if (!mkdtemp(folder.data())) return 1;
    setenv("WATCHWALL_REGISTRY", (folder + "/registry.ini").c_str(), 1);
    setenv("XDG_CONFIG_HOME", folder.c_str(), 1);
    setenv("XDG_DATA_HOME", folder.c_str(), 1);
    setenv("WATCHWALL_START_TIME", "1", 1);
    if (!getenv("QT_QPA_PLATFORM")) setenv("QT_QPA_PLATFORM", "xcb", 1);
    std::vector<double> ours;
    std::vector<double> peers;
    int result = 0;
    for (int round = 0; round <= ROUNDS && result == 0; ++round) {
        const double own = TimeToShown({WATCHWALL_PROGRAM});
        const double peer = TimeToShown({WATCHWALL_PEER});
        if (own < 0 || peer < 0) {
            std::fprintf(stderr, "start_bench: %s did not come up\n",
                         own < 0 ? WATCHWALL_PROGRAM : WATCHWALL_PEER);
            result = 1;
        } else if (round > 0) {  // the first round registers the control and warms the caches
            ours.push_back(own);
            peers.push_back(peer);
        }
    }
    std::filesystem::remove_all(folder);
    if (result != 0) return result;
    const double own = Median(ours);
    const double peer = Median(peers);
    std::printf("start to shown, medians of %d: watchwall %.0f ms, bare window %.0f ms, ratio %.2f\n", ROUNDS,
                own, peer, own / peer);
    return 0;
}
