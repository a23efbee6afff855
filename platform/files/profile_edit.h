#pragma once

#include <functional>
#include <string>

#include "platform/files/FileOperations.h"
#include "platform/files/IniText.h"

// Ini files as a whole, for callers that change several keys that belong together. Paths in the system's form.
// At any time from any thread and any process.

/// False when there is no such file, or when it can't be read.
bool ReadIniFile(const std::string& path, CIniText& ini);

/// Changes several things as one step: one write, which a reader or a kill sees whole or not at all; see
/// ReplaceFile. `edit` returns whether to go on; the file is made when it is missing, its folder isn't. A
/// failure is reported in the log and on standard error.
EReplace EditIniFile(const std::string& path, const std::function<bool(CIniText& ini)>& edit);
