#pragma once

#include <cstdint>
#include <string>

// Drive letters over the mounted file systems: c holds "/" and is the system drive; the other local disks follow
// from d in the stable order of their mount points. Removable and network mounts have letters but are not fixed.

inline constexpr std::uint32_t DRIVE_UNKNOWN = 0;
inline constexpr std::uint32_t DRIVE_NO_ROOT_DIR = 1;
inline constexpr std::uint32_t DRIVE_REMOVABLE = 2;
inline constexpr std::uint32_t DRIVE_FIXED = 3;
inline constexpr std::uint32_t DRIVE_REMOTE = 4;

/// Bit 0 for drive a, bit 25 for drive z.
std::uint32_t GetLogicalDrives();

/// The kind of the drive whose letter begins `root` ("d:\"), in either case.
std::uint32_t GetDriveTypeA(const char* root);

/// Mount point of a letter on this machine, without a slash behind it ("" for "/"); false when there is no such
/// drive.
bool GetDriveMountPoint(char letter, std::string& mountPoint);

/// The system directory: "c:\windows\system32". Only its drive letter carries meaning here.
std::string GetSystemDirectoryA();

/// Free and total bytes of the file system that holds `path`; false when it can't be asked.
bool GetDiskFreeSpaceExA(const char* path, std::uint64_t& freeBytes, std::uint64_t& totalBytes);
