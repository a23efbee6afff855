#include "platform/os/disk_space.h"

#include "platform/os/drives.h"
#include "platform/os/paths.h"

bool GetDiskFreeSpaceExA(const char* path, std::uint64_t& freeBytes, std::uint64_t& totalBytes)
{
    return path != nullptr && GetDriveSource().GetSpace(HostPath(path), freeBytes, totalBytes);
}
