#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

/// Processor time of this process so far, all threads, user and system, in seconds.
double ProcessorSeconds();

/// The same of another process that runs; 0 when there is none.
double ProcessorSeconds(pid_t process);

/// Processor time so far of this process's threads with that name, in seconds; threads that have ended don't
/// count.
double ThreadSeconds(const std::string& threadName);

/// Runs a program to its end with nothing on its standard input and output; the words are its arguments, the
/// first its name. Returns the processor time that it took in seconds, below 0 when it failed.
double RunProgram(std::vector<std::string> words);

/// Monotonic time in milliseconds.
double NowMs();
