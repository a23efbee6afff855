#include "platform/os/drives.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "platform/os/disk_space.h"
#include "platform/os/mount_table.h"

namespace
{

struct MountCase {
    const char* name;
    const char* line;
    std::string drives;  // of this mount beside the root: "d:3:/mnt", by letter, type and place
};

std::string Describe(const std::vector<Drive>& drives)
{
    std::string text;
    for (const Drive& drive : drives) {
        if (!text.empty()) text += ' ';
        text += drive.letter;
        text += ":" + std::to_string(drive.type) + ":" + drive.mountPoint;
    }
    return text;
}

bool SixteenIsRemovable(const std::string& device)
{
    return device.starts_with("16:");
}

constexpr const char* ROOT = "27 1 8:1 / / rw,relatime - ext4 /dev/sda1 rw\n";

class MountTable : public testing::TestWithParam<MountCase>
{
};

TEST_P(MountTable, GivesLetters)
{
    const auto mounts = ParseMounts(std::string(ROOT) + GetParam().line);
    EXPECT_EQ(Describe(AssignDrives(mounts, SixteenIsRemovable)), "c:3:" + GetParam().drives);
}

INSTANTIATE_TEST_SUITE_P(
    Mounts, MountTable,
    testing::Values(
        MountCase{"none", "", ""},
        MountCase{"disk", "30 27 8:17 / /srv rw shared:1 - xfs /dev/sdb1 rw", " d:3:/srv"},
        MountCase{"more_optional_fields", "30 27 8:17 / /srv rw shared:1 master:2 - xfs /dev/sdb1 rw",
                  " d:3:/srv"},
        MountCase{"blanks_in_the_place", "30 27 8:17 / /srv/my\\040disk\\134a rw - xfs /dev/sdb1 rw",
                  " d:3:/srv/my disk\\a"},
        MountCase{"removable_device", "30 27 16:1 / /stick rw - vfat /dev/sdc1 rw", " d:2:/stick"},
        MountCase{"below_media", "30 27 8:33 / /media/u/disk rw - ext4 /dev/sdc1 rw", " d:2:/media/u/disk"},
        MountCase{"below_run_media", "30 27 8:33 / /run/media/u/disk rw - ext4 /dev/sdc1 rw",
                  " d:2:/run/media/u/disk"},
        MountCase{"not_below_media", "30 27 8:33 / /mediathek rw - ext4 /dev/sdc1 rw", " d:3:/mediathek"},
        MountCase{"disc", "30 27 11:0 / /cdrom ro - iso9660 /dev/sr0 ro", " d:2:/cdrom"},
        MountCase{"network", "30 27 0:50 /sub /net rw - nfs4 server:/export rw", " d:4:/net"},
        MountCase{"memory", "30 27 0:25 / /tmp rw - tmpfs tmpfs rw", ""},
        MountCase{"kernel", "30 27 0:21 / /proc rw - proc proc rw", ""},
        MountCase{"boot_partition", "30 27 8:2 / /boot/efi rw - vfat /dev/sda2 rw", ""},
        MountCase{"not_below_boot", "30 27 8:17 / /bootleg rw - ext4 /dev/sdb1 rw", " d:3:/bootleg"},
        MountCase{"same_device_again", "30 27 8:1 / /again rw - ext4 /dev/sda1 rw", ""},
        MountCase{"file_bound_into_a_container", "30 27 8:5 /x/hosts /etc/hosts rw - ext4 /dev/sdb5 rw", ""},
        MountCase{"subvolume_of_another_disk", "30 27 0:44 /@data /data rw - btrfs /dev/sdb rw", " d:3:/data"},
        MountCase{"hidden_by_a_later_mount",
                  "30 27 8:17 / /srv rw - xfs /dev/sdb1 rw\n31 27 0:25 / /srv rw - tmpfs tmpfs rw", ""},
        MountCase{"by_place_whatever_the_order",
                  "30 27 8:33 / /b rw - xfs /dev/sdc1 rw\n31 27 8:17 / /a rw - xfs /dev/sdb1 rw",
                  " d:3:/a e:3:/b"},
        MountCase{"local_disks_before_the_others",
                  "30 27 0:50 / /a rw - cifs //s/x rw\n31 27 16:1 / /b rw - vfat /dev/sdd rw\n"
                  "32 27 8:17 / /z rw - xfs /dev/sdb1 rw",
                  " d:3:/z e:2:/b f:4:/a"},
        MountCase{"cut_lines", "30 27 8:17\n\n30 27 8:17 / /srv rw - xfs\n - - - - - -", ""},
        MountCase{"escape_at_the_end", "30 27 8:17 / /srv\\04 rw - xfs /dev/sdb1 rw", " d:3:/srv\\04"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(MountTables, LettersEndAtZ)
{
    std::string table = ROOT;
    for (int i = 0; i < 40; ++i) {
        const std::string n = std::to_string(100 + i);
        table += "30 27 8:" + n + " / /disk" + n + " rw - ext4 /dev/x" + n + " rw\n";
    }
    const auto drives = AssignDrives(ParseMounts(table), SixteenIsRemovable);
    ASSERT_EQ(drives.size(), 24U);
    EXPECT_EQ(drives.back().letter, 'z');
    EXPECT_EQ(drives.back().mountPoint, "/disk122");
}

TEST(MountTables, WithoutAnyMountThereIsTheSystemDrive)
{
    EXPECT_EQ(Describe(AssignDrives({}, SixteenIsRemovable)), "c:3:");
}

class CScriptedDrives final : public IDriveSource
{
  public:
    CScriptedDrives() : m_pFormer(SetDriveSource(this)) {}
    ~CScriptedDrives() override { SetDriveSource(m_pFormer); }
    CScriptedDrives(const CScriptedDrives&) = delete;
    CScriptedDrives& operator=(const CScriptedDrives&) = delete;

    std::vector<Drive> GetDrives() override
    {
        return {{'c', DRIVE_FIXED, ""}, {'d', DRIVE_FIXED, "/srv"}, {'f', DRIVE_REMOTE, "/net"}};
    }
    bool GetSpace(const std::string& hostPath, std::uint64_t& freeBytes, std::uint64_t& totalBytes) override
    {
        freeBytes = hostPath.size();
        totalBytes = 100;
        return hostPath.starts_with("/srv");
    }

  private:
    IDriveSource* m_pFormer;
};

TEST(Drives, AreAskedByLetter)
{
    const CScriptedDrives drives;
    EXPECT_EQ(GetLogicalDrives(), 0b101100U);
    EXPECT_EQ(GetDriveTypeA("c:\\"), DRIVE_FIXED);
    EXPECT_EQ(GetDriveTypeA("D:\\"), DRIVE_FIXED);
    EXPECT_EQ(GetDriveTypeA("f:"), DRIVE_REMOTE);
    EXPECT_EQ(GetDriveTypeA("e:\\"), DRIVE_NO_ROOT_DIR);
    EXPECT_EQ(GetDriveTypeA(nullptr), DRIVE_FIXED);
    EXPECT_EQ(GetDriveTypeA(""), DRIVE_NO_ROOT_DIR);
    EXPECT_EQ(GetDriveTypeA("c"), DRIVE_NO_ROOT_DIR);
    EXPECT_EQ(GetDriveTypeA("\\a"), DRIVE_NO_ROOT_DIR);
    std::string point = "unset";
    EXPECT_FALSE(GetDriveMountPoint('a', point));
    EXPECT_EQ(point, "unset");
    EXPECT_TRUE(GetDriveMountPoint('C', point));
    EXPECT_EQ(point, "");
    EXPECT_TRUE(GetDriveMountPoint('d', point));
    EXPECT_EQ(point, "/srv");
}

TEST(Drives, SpaceIsAskedByThePathOfThisMachine)
{
    const CScriptedDrives drives;
    std::uint64_t freeBytes = 0;
    std::uint64_t totalBytes = 0;
    EXPECT_TRUE(GetDiskFreeSpaceExA("d:\\DVR Files", freeBytes, totalBytes));
    EXPECT_EQ(freeBytes, std::string("/srv/DVR Files").size());
    EXPECT_EQ(totalBytes, 100U);
    EXPECT_FALSE(GetDiskFreeSpaceExA("c:\\", freeBytes, totalBytes));
    EXPECT_FALSE(GetDiskFreeSpaceExA(nullptr, freeBytes, totalBytes));
}

TEST(Drives, OfThisMachineHoldTheSystemDrive)
{
    EXPECT_NE(GetLogicalDrives() & 0b100U, 0U);
    EXPECT_EQ(GetLogicalDrives() & 0b11U, 0U) << "a and b stay free";
    EXPECT_EQ(GetDriveTypeA(GetSystemDirectoryA().c_str()), DRIVE_FIXED);
    EXPECT_EQ(GetSystemDirectoryA(), "c:\\windows\\system32");
    std::uint64_t freeBytes = 0;
    std::uint64_t totalBytes = 0;
    EXPECT_TRUE(GetDiskFreeSpaceExA("c:\\", freeBytes, totalBytes));
    EXPECT_GT(totalBytes, 0U);
    EXPECT_LE(freeBytes, totalBytes);
    EXPECT_FALSE(GetDiskFreeSpaceExA("c:\\no such folder", freeBytes, totalBytes));
}

}  // namespace
