#include "platform/os/drives.h"

#include <sys/statvfs.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include "platform/os/ascii.h"
#include "platform/os/mount_table.h"

namespace
{

std::string ReadText(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// A partition's own folder doesn't tell; its disk's, one further up, does. Disks on the USB are removable
// whatever they say of themselves.
bool IsRemovableDevice(const std::string& device)
{
    char* const real = ::realpath(("/sys/dev/block/" + device).c_str(), nullptr);
    if (real == nullptr) return false;
    const std::string folder(real);
    std::free(real);
    if (folder.find("/usb") != std::string::npos) return true;
    for (const char* const name : {"/removable", "/../removable"}) {
        if (ReadText(folder + name).starts_with('1')) return true;
    }
    return false;
}

class CMachineDrives final : public IDriveSource
{
  public:
    // Read again each time: mounts come and go while the system runs.
    std::vector<Drive> GetDrives() override
    {
        return AssignDrives(ParseMounts(ReadText("/proc/self/mountinfo")), IsRemovableDevice);
    }

    bool GetSpace(const std::string& hostPath, std::uint64_t& freeBytes, std::uint64_t& totalBytes) override
    {
        struct statvfs status = {};
        if (::statvfs(hostPath.c_str(), &status) != 0) return false;
        freeBytes = static_cast<std::uint64_t>(status.f_bavail) * status.f_frsize;
        totalBytes = static_cast<std::uint64_t>(status.f_blocks) * status.f_frsize;
        return true;
    }
};

constinit std::atomic<IDriveSource*> g_pSource = nullptr;

bool FindDrive(char letter, Drive& drive)
{
    for (Drive& candidate : GetDriveSource().GetDrives()) {
        if (candidate.letter != LowerAscii(letter)) continue;
        drive = std::move(candidate);
        return true;
    }
    return false;
}

}  // namespace

IDriveSource& GetDriveSource()
{
    static auto& machine = *new CMachineDrives;
    IDriveSource* const source = g_pSource.load();
    return source == nullptr ? machine : *source;
}

IDriveSource* SetDriveSource(IDriveSource* source)
{
    return g_pSource.exchange(source);
}

std::uint32_t GetLogicalDrives()
{
    std::uint32_t bits = 0;
    for (const Drive& drive : GetDriveSource().GetDrives())
        bits |= 1U << (drive.letter - 'a');
    return bits;
}

std::uint32_t GetDriveTypeA(const char* root)
{
    const char* const asked = root == nullptr ? "c:\\" : root;
    Drive drive;
    if (!IsAsciiLetter(asked[0]) || asked[1] != ':' || !FindDrive(asked[0], drive)) return DRIVE_NO_ROOT_DIR;
    return drive.type;
}

bool GetDriveMountPoint(char letter, std::string& mountPoint)
{
    Drive drive;
    if (!FindDrive(letter, drive)) return false;
    mountPoint = drive.mountPoint;
    return true;
}

std::string GetSystemDirectoryA()
{
    return "c:\\windows\\system32";
}
