#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/os/drives.h"

// From the kernel's table of mounts to drive letters. Internal to this folder.

struct Mount {
    std::string device;  // "8:1"
    std::string root;    // the directory of the file system that is mounted
    std::string point;
    std::string type;
    std::string source;
};

/// Reads the form of /proc/self/mountinfo; lines that don't have it are left out.
std::vector<Mount> ParseMounts(std::string_view mountInfo);

/// Gives letters by the rule of drives.h. Left out are file systems that hold no user's files (kernel and
/// memory file systems, the boot partition), further mounts of one device, and what finds no letter up to z.
/// `isRemovable` tells for a device of the form "8:1" whether its medium can be taken out; mounts below
/// "/media" and
/// "/run/media" are removable in any case.
std::vector<Drive> AssignDrives(const std::vector<Mount>& mounts,
                                const std::function<bool(const std::string& device)>& isRemovable);
