#pragma once

#include <string>
#include <string_view>

// Paths keep the system's own text: a drive letter, backslashes. Only HostPath turns one into a path of this
// machine, directly before it goes to the file system, SQLite or libavformat.

/// The path of this machine for a path in the system's form: "c:\a\b" -> "/a/b" (c is the drive that holds "/";
/// other letters are replaced by their mount points, see drives.h), "\a\b" -> "/a/b", "a\b" -> "a/b". A text
/// with slashes only passes through. On a drive that isn't there it is a path at which nothing can be opened or
/// made.
///
/// A module's directory that can't be written has a user's folder in front of it: a path into the directory is
/// then that of the user's file of the same name if there is one, else the module's if there is one, else a new
/// one of the user's.
std::string HostPath(std::string_view path);

/// The same for a file that is going to be written: in the user's folder also where the module has the file.
std::string HostPathForWriting(std::string_view path);

/// The system's form of an absolute path of this machine: "/a/b" -> "c:\a\b". Always on drive c.
std::string SystemPath(std::string_view hostPath);

/// Full path of the module: the directory below joined with "activex.ocx".
std::string GetModuleFileNameA();

/// The module's directory with a trailing backslash: the module's path cut after its last backslash. It is
/// WATCHWALL_HOME when set, else the directory of the loaded activex.ocx (in programs that link the libraries
/// directly: of the executable). Its text is the same whether it can be written or not. When it can't, the
/// user's folder of HostPath is "watchwall" under the XDG data home (for a WATCHWALL_HOME one of its own in
/// there, under "homes"); it begins with a copy of "dvr.db", and one line in the log says so.
std::string GetModuleDirectory();

/// Names a further directory to be the module's for the rest of the process ("" goes back to the rule above);
/// for tests and benches. It is taken as it is, writable or not, and reaches only this copy of the library.
void SetModuleDirectory(std::string_view path);

/// Creates every missing directory of `path` up to its last backslash. True when all of them stand.
bool MakeSureDirectoryPathExists(std::string_view path);

bool PathIsDirectoryA(std::string_view path);
bool PathFileExistsA(std::string_view path);
