#include "model/settings/Language.h"

#include <mutex>
#include <utility>

#include "inc/LogLine.h"
#include "model/settings/SystemSettings.h"
#include "platform/files/profile.h"
#include "platform/os/paths.h"

namespace
{

struct XLanguage {
    std::recursive_mutex m_Mutex;
    CLanguage* m_pInstance = nullptr;  // null until a language was found
    std::string m_strPath;             // full path of the language file
};

// Never destroyed: link threads look up texts until the process ends.
XLanguage& State()
{
    static auto* const state = new XLanguage;
    return *state;
}

constexpr std::uint32_t TEXT_SIZE = 1024;  // bytes with the terminator

}  // namespace

CLanguage* CLanguage::Create(std::string path)
{
    static CLanguage instance;
    if (!PathFileExistsA(path))
        LogFault("CLanguage::Create", "the language file " + path + " is missing; no text can be shown");
    State().m_strPath = std::move(path);
    return State().m_pInstance = &instance;
}

CLanguage* CLanguage::GetInstance()
{
    const std::lock_guard lock(State().m_Mutex);
    if (State().m_pInstance) return State().m_pInstance;
    if (!PathFileExistsA(GetSettingsPath())) return nullptr;
    const std::string file =
        ReadSettingText(ESetting::Language);  // a longer name is cut, so its file isn't found
    if (file.empty()) return nullptr;
    return Create(GetModuleDirectory() + "config\\" + file);
}

CLanguage* CLanguage::SetLanguage(const std::string& name)
{
    const std::lock_guard lock(State().m_Mutex);
    if (State().m_pInstance) return State().m_pInstance;
    return Create(GetModuleDirectory() + "config\\" + name + ".ini");
}

std::string CLanguage::GetString(const std::string& key)
{
    std::string path;
    {
        const std::lock_guard lock(State().m_Mutex);
        path = State().m_strPath;
    }
    std::string text = "Not found";
    if (!path.empty()) text = GetProfileText("String", key.c_str(), "Not found", TEXT_SIZE, path);
    for (std::size_t at = text.find("\\n"); at != std::string::npos; at = text.find("\\n", at + 1)) {
        text.replace(at, 2, "\n");
    }
    return text;
}

void CLanguage::Reset()
{
    const std::lock_guard lock(State().m_Mutex);
    State().m_pInstance = nullptr;
    State().m_strPath.clear();
}

const char* GetLanguageName(std::uint16_t identifier)
{
    switch (identifier) {
        case 0x0804:
            return "chs";
        case 0x0404:
        case 0x0C04:
            return "cht";
        default:
            return "eng";
    }
}
