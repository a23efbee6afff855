#pragma once

#include <ctime>
#include <string>

/// The time in the names of recordings and snapshots.
inline constexpr const char* FILE_TIME = "%y-%m-%d-%H-%M-%S";

/// The local form of `time` by `format` (as of strftime). Empty for a null format, for a time that has no
/// local form, and for a result of more than 127 bytes.
std::string FormatTime(std::time_t time, const char* format);

/// A node's name as one component of a path: '\', '/' and control bytes become '_', and so do the dots of a
/// name that is "." or ".." as a whole. All else stays.
std::string MakeFileName(const std::string& name);

/// Where a snapshot of the device so named goes, from the present time: "<m_szPicPath>\<name>-<time>.jpg".
/// Makes the folder. Link threads.
std::string GetSnapshotFileName(const std::string& name);

/// Where a link records to: "<record path>\<name>\<time>.avi". `recordPath` is the "RecordPath" of the
/// settings as it stands there; empty, the name begins with a backslash. Makes nothing.
std::string GetLinkRecordFileName(const std::string& recordPath, const std::string& name, std::time_t time);
