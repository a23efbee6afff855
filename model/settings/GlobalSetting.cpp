#include "model/settings/GlobalSetting.h"

#include <atomic>

#include "platform/os/drives.h"
#include "platform/os/paths.h"

namespace
{

constinit std::atomic<CGlobalSetting*> g_Found = nullptr;

}  // namespace

CGlobalSetting::CGlobalSetting() : m_szPicPath(GetModuleDirectory() + "snapshot") {}

CGlobalSetting::~CGlobalSetting()
{
    CGlobalSetting* found = this;
    g_Found.compare_exchange_strong(found, nullptr);
}

CGlobalSetting* CGlobalSetting::GetFound()
{
    return g_Found;
}

void CGlobalSetting::SetFound(CGlobalSetting* setting)
{
    g_Found = setting;
}

DRIVESET GetFixedDataDrives(std::uint32_t logicalDrives, const std::string& systemDirectory,
                            const std::function<std::uint32_t(const char* root)>& driveType)
{
    DRIVESET drives;
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
