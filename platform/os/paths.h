#pragma once

#include <string>
#include <string_view>

// Paths keep the system's own text: a drive letter, backslashes. Only HostPath turns one into a path of this
// machine, directly before it goes to the file system, SQLite or libavformat.

/// The path of this machine for a path in the system's form: "c:\a\b" -> "/a/b" (c is the drive that holds "/";
/// other letters are replaced by their mount points, see drives.h), "\a\b" -> "/a/b", "a\b" -> "a/b". A text
/// with slashes only passes through. On a drive that isn't there it is a path at which nothing can be opened or
/// made.
std::string HostPath(std::string_view path);

/// The system's form of an absolute path of this machine: "/a/b" -> "c:\a\b". Always on drive c.
std::string SystemPath(std::string_view hostPath);

/// Full path of the module: the directory below joined with "activex.ocx".
std::string GetModuleFileNameA();

/// Full path of the process's executable, in the system's form; empty when the machine does not tell.
std::string GetExecutableFileNameA();

/// The module's directory with a backslash behind it: the module's path cut behind its last backslash. It is
/// WATCHWALL_HOME when set, else the directory of the loaded activex.ocx (in programs that link the libraries
/// directly: of the executable). When that place can't be written, a per-user folder under the XDG data home,
/// which is filled from it on first use: "config", "osd", "dvr.bmp" and "dvr.db", as far as they aren't there
/// yet.
std::string GetModuleDirectory();

/// Names a further directory to be the module's for the rest of the process ("" goes back to the rule above);
/// for the container's --home and for tests. It is taken as it is, writable or not, and reaches only this copy
/// of the library: a program that loads activex.ocx sets WATCHWALL_HOME as well.
void SetModuleDirectory(std::string_view path);

/// Creates every missing directory of `path` up to its last backslash. True when all of them stand.
bool MakeSureDirectoryPathExists(std::string_view path);

bool PathIsDirectoryA(std::string_view path);
bool PathFileExistsA(std::string_view path);
