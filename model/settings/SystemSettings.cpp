#include "model/settings/SystemSettings.h"

#include <atomic>
#include <charconv>
#include <cstring>

#include "platform/files/profile.h"
#include "platform/os/ascii.h"
#include "platform/os/paths.h"

namespace
{

constexpr const char* SYSTEM = "System";
constexpr const char* OPERATOR = "Operator";

constinit std::atomic<EProfile> g_Asked = EProfile::Classic;

std::int32_t Fallback(const SettingKey& key)
{
    std::int32_t number = 0;
    std::from_chars(key.fallback, key.fallback + std::strlen(key.fallback), number);
    return number;
}

}  // namespace

std::string GetSettingsPath()
{
    return GetModuleDirectory() + "config\\system.ini";
}

std::string ReadSettingText(ESetting setting)
{
    const SettingKey& key = GetSettingKey(setting);
    std::string text = GetProfileText(SYSTEM, key.name, key.fallback, key.bytes, GetSettingsPath());
    const bool standIn = text.empty() && key.operatorFolder != nullptr && GetProfile() == EProfile::Operator;
    return standIn ? GetModuleDirectory() + key.operatorFolder : text;
}

std::int32_t ReadSettingNumber(ESetting setting)
{
    const SettingKey& key = GetSettingKey(setting);
    return GetPrivateProfileIntA(SYSTEM, key.name, Fallback(key), GetSettingsPath().c_str());
}

std::uint16_t ReadSettingPort(ESetting setting)
{
    const std::int32_t port = ReadSettingNumber(setting);
    const bool valid = port > 0 && port <= 0xFFFF;
    return static_cast<std::uint16_t>(valid ? port : Fallback(GetSettingKey(setting)));
}

bool ReadSettingSwitch(ESetting setting)
{
    const char* const name = GetSettingKey(setting).name;
    const std::string path = GetSettingsPath();
    const std::int32_t profile = GetProfile() == EProfile::Operator ? 1 : Fallback(GetSettingKey(setting));
    const std::int32_t system = GetPrivateProfileIntA(SYSTEM, name, profile, path.c_str());
    return GetPrivateProfileIntA(OPERATOR, name, system, path.c_str()) == 1;
}

bool WriteSetting(ESetting setting, const std::string& value)
{
    return WritePrivateProfileStringA(SYSTEM, GetSettingKey(setting).name, value.c_str(),
                                      GetSettingsPath().c_str());
}

EProfile GetProfile()
{
    const std::string profile = ReadSettingText(ESetting::Profile);
    if (EqualIgnoringCase(profile, "operator")) return EProfile::Operator;
    return profile.empty() ? g_Asked.load() : EProfile::Classic;
}

void AskForProfile(EProfile profile)
{
    g_Asked = profile;
}
