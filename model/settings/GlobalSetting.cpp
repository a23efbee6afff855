#include "model/settings/GlobalSetting.h"

#include "inc/Mutex.h"
#include "platform/os/drives.h"
#include "platform/os/paths.h"

namespace
{

// A leaf lock, held for the length of a copy: no settings are destroyed during it.
constinit CMutex g_csFound;
constinit const CGlobalSetting* g_pFound GUARDED_BY(g_csFound) = nullptr;

}  // namespace

CGlobalSetting::CGlobalSetting() : m_szPicPath(GetModuleDirectory() + "snapshot") {}

CGlobalSetting::~CGlobalSetting()
{
    const CMutexLock lock(g_csFound);
    if (g_pFound == this) g_pFound = nullptr;
}

StorageValues CGlobalSetting::GetStorageValues() const
{
    return {m_bsStorageDrive, m_limitDiskSpace, m_iHdfAction, m_szPicPath};
}

std::optional<StorageValues> CGlobalSetting::GetFoundValues()
{
    const CMutexLock lock(g_csFound);
    if (g_pFound == nullptr) return std::nullopt;
    return g_pFound->GetStorageValues();
}

void CGlobalSetting::SetFound(const CGlobalSetting* setting)
{
    const CMutexLock lock(g_csFound);
    g_pFound = setting;
}

DriveSet GetFixedDataDrives(std::uint32_t logicalDrives, const std::string& systemDirectory,
                            const std::function<std::uint32_t(const char* root)>& driveType)
{
    DriveSet drives;
    for (char letter = 'a'; letter <= 'z'; ++letter) {
        const auto bit = static_cast<std::size_t>(letter - 'a');
        if (!(logicalDrives >> bit & 1)) continue;
        const char upper = static_cast<char>(letter - 'a' + 'A');
        if (!systemDirectory.empty() && (systemDirectory[0] == letter || systemDirectory[0] == upper)) continue;
        const char root[] = {letter, ':', '\\', '\0'};
        drives[bit] = driveType(root) == DRIVE_FIXED;
    }
    return drives;
}
