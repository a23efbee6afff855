#pragma once

#include <functional>
#include <string>

// Where the module's files are. Internal to this folder; paths of this machine, folders without a slash behind.

/// The folder of the loaded activex.ocx, or of the process's executable when none is loaded.
std::string FindModuleFolder();

/// `folder` when `isWritable` says so; else `userFolder`, into which the module's data ("config", "osd",
/// "dvr.bmp", "dvr.db") are copied as far as they aren't there yet. What the user has is never written over.
/// When the user's folder can't be made, `folder` all the same. What can't be copied is told to the debugger
/// output.
std::string ChooseModuleFolder(const std::string& folder, const std::string& userFolder,
                               const std::function<bool(const std::string& folder)>& isWritable);
