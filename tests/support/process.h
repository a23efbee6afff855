#pragma once

#include <string>

struct Outcome {
    int status = -1;     // the exit code
    std::string output;  // of both streams
};

/// Runs a command of the shell.
Outcome Execute(const std::string& command);

/// As one word of the shell.
std::string Quoted(const std::string& text);
