#include "tests/support/process.h"

#include <sys/wait.h>

#include <array>
#include <cstdio>

Outcome Execute(const std::string& command)
{
    Outcome outcome;
    std::FILE* const pipe = ::popen(("(" + command + ") 2>&1").c_str(), "r");
    if (pipe == nullptr) return outcome;
    std::array<char, 4096> block{};
    while (const std::size_t count = std::fread(block.data(), 1, block.size(), pipe))
        outcome.output.append(block.data(), count);
    const int status = ::pclose(pipe);
    if (WIFEXITED(status)) outcome.status = WEXITSTATUS(status);
    return outcome;
}

std::string Quoted(const std::string& text)
{
    return "'" + text + "'";
}
