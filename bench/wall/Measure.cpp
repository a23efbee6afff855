#include "bench/wall/Measure.h"

#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>

extern char** environ;

namespace
{

double Seconds(const timeval& time)
{
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

double Seconds(const rusage& usage)
{
    return Seconds(usage.ru_utime) + Seconds(usage.ru_stime);
}

}  // namespace

double ProcessorSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return Seconds(usage);
}

double ProcessorSeconds(pid_t process)
{
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    std::string text;
    std::getline(file, text);
    const auto name = text.rfind(')');  // the program's name may hold blanks
    if (name == std::string::npos) return 0;
    constexpr int TO_USER_TIME = 11;  // fields between the name and the two that are wanted
    std::size_t at = name + 1;
    for (int i = 0; i <= TO_USER_TIME; ++i)
        at = text.find(' ', at + (i > 0 ? 1 : 0));
    char* next = nullptr;
    const double user = std::strtod(text.c_str() + at, &next);
    const double system = std::strtod(next, nullptr);
    return (user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

double ThreadSeconds(const std::string& threadName)
{
    double sum = 0;
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string name;
        std::getline(std::ifstream(thread.path() / "comm"), name);
        double nanoseconds = 0;
        if (name == threadName && std::ifstream(thread.path() / "schedstat") >> nanoseconds) sum += nanoseconds;
    }
    return sum / 1e9;
}

double RunProgram(std::vector<std::string> words)
{
    std::vector<char*> pointers;
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", 0, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", 1, 0);
    pid_t process = 0;
    const int failed = posix_spawnp(&process, pointers[0], &actions, nullptr, pointers.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (failed != 0) return -1;
    int status = 0;
    rusage usage{};
    if (wait4(process, &status, 0, &usage) != process || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
        return -1;
    return Seconds(usage);
}

double NowMs()
{
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}
