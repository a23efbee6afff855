#pragma once

#include <ctime>
#include <string>

// Where the log lies and how a burst of lines is appended.

/// "log/" beside the process's executable; "./log/" when the machine does not tell the executable's path; the
/// per-user state folder when the former can't be written. Made when missing; computed once for a process.
const std::string& GetLogDirectory();

/// Path of the day's file in `directory`, which ends in a slash: "directory/20260131.log", cut at 260
/// characters.
std::string MakeLogPath(const std::string& directory, const std::tm& local);

/// The log file while a burst is written: opened for reading and writing, created when new, positioned at its
/// end, and cut there when closed. A file that can't be opened takes every write and keeps none.
class CLogFile
{
  public:
    explicit CLogFile(const std::string& path);
    ~CLogFile();
    CLogFile(const CLogFile&) = delete;
    CLogFile& operator=(const CLogFile&) = delete;
    void Write(const std::string& text);

  private:
    int m_iDescriptor;
};
