#pragma once

#include <ctime>
#include <string>
#include <string_view>

// Where the log lies and how a burst of lines is appended.

/// "log/" beside the process's executable; "./log/" when the machine does not tell the executable's path; the
/// per-user state folder when the former can't be written. Made when missing; computed once for a process.
const std::string& GetLogDirectory();

/// `beside`, made when missing, or the per-user state folder when that can't be written and this one can. Both
/// end in a slash.
std::string ChooseLogDirectory(const std::string& beside);

/// Path of the day's file in `directory`, which ends in a slash: "directory/20260131.log", cut at 260
/// characters.
std::string MakeLogPath(const std::string& directory, const std::tm& local);

/// The log file while a burst is written: opened for reading and appending, created when new. Several processes
/// may have it open; one line is one write, so lines are never mixed. A file that can't be opened takes every
/// write and keeps none.
class CLogFile
{
  public:
    explicit CLogFile(const std::string& path);
    ~CLogFile();
    CLogFile(const CLogFile&) = delete;
    CLogFile& operator=(const CLogFile&) = delete;

    /// Makes this the file's only writer until it is closed; readers are not concerned. False while another has
    /// the lock. True without a file and where the file system knows no locks: there is nothing to wait for.
    bool TryLock();

    /// Appends one line. A line that the disk takes in part only is cut off again, provided that the lock is
    /// held: without it the cut could take another writer's line.
    void Append(std::string_view line);

  private:
    int m_iDescriptor;
    bool m_bLocked = false;
};
