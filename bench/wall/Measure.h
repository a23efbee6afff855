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

/// The value below which `share` (0 to 1) of the values lie; 0 without values.
double Percentile(std::vector<double> values, double share);

inline double Median(std::vector<double> values)
{
    return Percentile(std::move(values), 0.5);
}

/// Monotonic time in milliseconds.
double NowMs();
