#pragma once

#include <ctime>
#include <string>

/// The folder for recordings of the device of that name at that time, with a trailing backslash: "C:\\DVR
/// Files\name\13-01-15\" on the first drive of m_bsStorageDrive with more than m_limitDiskSpace MiB free. It is
/// made. An empty name takes the drive's root alone, for which nothing is made. Without such a drive it is on
/// the last drive tried, and, when m_iHdfAction is 0, the oldest recordings are removed, ten at a time, until a
/// drive has room. Empty when no drive is allowed, when the folder can't be made, and when nothing is left that
/// could be removed. Link threads; several at once.
std::string GetFolderName(const std::string& name, std::time_t time);

/// A file for a recording that begins at that time, or empty like its folder.
std::string GetRecordFileName(const std::string& name, std::time_t time);
