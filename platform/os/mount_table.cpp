#include "platform/os/mount_table.h"

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <tuple>

namespace
{

// File systems on disks.
constexpr auto LOCAL_TYPES = std::to_array<std::string_view>(
    {"bcachefs", "btrfs", "exfat", "ext2", "ext3", "ext4", "f2fs", "fuseblk", "hfsplus", "jfs", "msdos",
     "nilfs2", "ntfs", "ntfs3", "reiserfs", "vfat", "xfs", "zfs"});
// File systems of discs that are put in.
constexpr auto DISC_TYPES = std::to_array<std::string_view>({"iso9660", "udf"});
constexpr auto REMOTE_TYPES =
    std::to_array<std::string_view>({"9p", "afs", "ceph", "cifs", "fuse.glusterfs", "fuse.rclone", "fuse.sshfs",
                                     "glusterfs", "nfs", "nfs4", "smb3", "smbfs"});

template <std::size_t Count>
bool IsOneOf(const std::array<std::string_view, Count>& types, std::string_view type)
{
    return std::ranges::find(types, type) != types.end();
}

bool IsBelow(std::string_view path, std::string_view folder)
{
    return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

// Blanks and backslashes stand as three octal digits: "\040".
std::string Unescape(std::string_view field)
{
    constexpr std::size_t ESCAPE = 4;
    std::string text;
    while (!field.empty()) {
        const auto isDigit = [&](std::size_t at) { return field[at] >= '0' && field[at] <= '7'; };
        if (field.size() >= ESCAPE && field[0] == '\\' && isDigit(1) && isDigit(2) && isDigit(3)) {
            const int code = (field[1] - '0') * 64 + (field[2] - '0') * 8 + (field[3] - '0');
            text.push_back(static_cast<char>(code));
            field.remove_prefix(ESCAPE);
        } else {
            text.push_back(field[0]);
            field.remove_prefix(1);
        }
    }
    return text;
}

std::vector<std::string_view> Split(std::string_view text, char separator)
{
    std::vector<std::string_view> parts;
    while (!text.empty()) {
        const auto end = std::min(text.find(separator), text.size());
        if (end > 0) parts.push_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return parts;
}

}  // namespace

std::vector<Mount> ParseMounts(std::string_view mountInfo)
{
    // id parent major:minor root mount-point options [further fields] - type source options
    constexpr std::size_t DEVICE = 2;
    constexpr std::size_t ROOT = 3;
    constexpr std::size_t POINT = 4;
    constexpr std::size_t BEHIND_OPTIONS = 6;
    std::vector<Mount> mounts;
    for (const std::string_view line : Split(mountInfo, '\n')) {
        const auto fields = Split(line, ' ');
        const auto from = fields.begin() + static_cast<std::ptrdiff_t>(std::min(BEHIND_OPTIONS, fields.size()));
        const auto dash = std::find(from, fields.end(), "-");
        if (fields.end() - dash < 3) continue;
        mounts.push_back({std::string(fields[DEVICE]), Unescape(fields[ROOT]), Unescape(fields[POINT]),
                          std::string(dash[1]), Unescape(dash[2])});
    }
    return mounts;
}

std::vector<Drive> AssignDrives(const std::vector<Mount>& mounts,
                                const std::function<bool(const std::string& device)>& isRemovable)
{
    // The last mount on a point hides the earlier ones.
    std::map<std::string, const Mount*> byPoint;
    for (const Mount& mount : mounts)
        byPoint[mount.point] = &mount;

    // In the order of the letters: local disks, then removable, then network mounts, each by its mount point.
    std::set<std::tuple<int, std::string, std::uint32_t>> order;
    std::set<std::string> sources;
    if (const auto root = byPoint.find("/"); root != byPoint.end()) sources.insert(root->second->source);
    for (const auto& [point, mount] : byPoint) {
        if (point == "/" || IsBelow(point, "/boot")) continue;
        const bool remote = IsOneOf(REMOTE_TYPES, mount->type);
        const bool disc = IsOneOf(DISC_TYPES, mount->type);
        if (!remote && !disc && !IsOneOf(LOCAL_TYPES, mount->type)) continue;
        // Only a part of the file system is mounted: another mount, or a container's host, shows the whole. For
        // btrfs it is the habit, each subvolume being mounted by itself.
        if (!remote && mount->root != "/" && mount->type != "btrfs") continue;
        if (!sources.insert(mount->source).second) continue;
        if (remote) {
            order.emplace(2, point, DRIVE_REMOTE);
        } else if (disc || IsBelow(point, "/media") || IsBelow(point, "/run/media") ||
                   isRemovable(mount->device)) {
            order.emplace(1, point, DRIVE_REMOVABLE);
        } else {
            order.emplace(0, point, DRIVE_FIXED);
        }
    }

    std::vector<Drive> drives{{'c', DRIVE_FIXED, ""}};
    for (const auto& [rank, point, type] : order) {
        const char last = drives.back().letter;
        if (last == 'z') break;
        drives.push_back({static_cast<char>(last + 1), type, point});
    }
    return drives;
}
