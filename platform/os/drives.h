#pragma once

#include <cstdint>
#include <string>
#include <vector>

// Drive letters over the mounted file systems: c holds "/" and is the system drive; the other local disks
// follow from d in the stable order of their mount points. Removable and network mounts have letters but are
// not fixed; they come after the local disks, so that plugging in a stick moves no disk's letter.

inline constexpr std::uint32_t DRIVE_NO_ROOT_DIR = 1;
inline constexpr std::uint32_t DRIVE_REMOVABLE = 2;
inline constexpr std::uint32_t DRIVE_FIXED = 3;
inline constexpr std::uint32_t DRIVE_REMOTE = 4;

/// Bit 0 for drive a, bit 25 for drive z.
std::uint32_t GetLogicalDrives();

/// The kind of the drive whose letter begins `root` ("d:\"), in either case. Null asks for the system drive, as
/// the process's directory counts as on it; DRIVE_NO_ROOT_DIR when `root` is no letter with a colon, or no such
/// drive.
std::uint32_t GetDriveTypeA(const char* root);

/// Mount point of a letter on this machine, without a trailing slash ("" for "/"); false when there is no such
/// drive.
bool GetDriveMountPoint(char letter, std::string& mountPoint);

/// The system directory: "c:\windows\system32". Only its drive letter carries meaning here.
std::string GetSystemDirectoryA();

struct Drive {
    char letter = 'c';
    std::uint32_t type = DRIVE_FIXED;
    std::string mountPoint;  // without a trailing slash
};

/// Where the functions above get their answers. At any time from any thread.
class IDriveSource
{
  public:
    virtual ~IDriveSource() = default;
    virtual std::vector<Drive> GetDrives() = 0;
    /// `hostPath` is a path of this machine. Free is what this user may still fill: with the file system's
    /// reserve for the superuser, often 5 per cent, a large disk would always have room and no old record
    /// would go.
    virtual bool GetSpace(const std::string& hostPath, std::uint64_t& freeBytes, std::uint64_t& totalBytes) = 0;
};

/// The machine's own drives, or what stands in their place.
IDriveSource& GetDriveSource();

/// Puts `source` in place of the machine's own drives (null goes back); returns the former one or null. For
/// tests; it must outlive its use.
IDriveSource* SetDriveSource(IDriveSource* source);
