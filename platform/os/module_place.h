#pragma once

#include <functional>
#include <string>

// Where the module's files are. Paths of this machine, folders without a trailing slash.

/// The folder of the loaded activex.ocx, or of the process's executable when none is loaded.
std::string FindModuleFolder();

/// The absolute path of what the loader, or the environment, names as it was asked for: a relative name is by
/// the folder that was current when this library was loaded.
std::string AbsoluteLoadedPath(const std::string& name);

/// The user's folder for the module in `folder`: for what the product writes, and for the user's own versions
/// of what it ships.
struct UserPlace {
    std::string folder;  // empty when everything lies in the module's folder
    std::string notice;  // one line for the log; empty when there is nothing to tell
    bool fault = false;  // what the notice tells needs mending
};

/// Empty when `isWritable` says so of `folder`, or when `userFolder` can't be made. Else `userFolder`, with its
/// "config" folder and, unless it has one, a copy of the module's "dvr.db": the one file that is shipped and
/// then written. What the user has is never written over.
UserPlace ChooseUserPlace(const std::string& folder, const std::string& userFolder,
                          const std::function<bool(const std::string& folder)>& isWritable);

/// Puts `test` in place of asking the machine whether a folder can be written (null goes back). For tests.
using FolderTest = bool (*)(const std::string& folder);
void SetFolderTest(FolderTest test);
bool IsFolderWritable(const std::string& folder);
