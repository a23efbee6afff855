#pragma once

#include <functional>
#include <string>

#include "platform/files/FileOperations.h"
#include "platform/files/IniText.h"

// Ini files as a whole, for the rest of this folder. Paths in the system's form.

/// False when there is no such file.
bool ReadIniFile(const std::string& path, CIniText& ini);

/// Changes several things as one step; see ReplaceFile. What isn't done is told to the debugger output.
EReplace EditIniFile(const std::string& path, const std::function<bool(CIniText& ini)>& edit);
