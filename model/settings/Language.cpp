#include "model/settings/Language.h"

#include <utility>

#include "inc/EntryCheck.h"
#include "inc/LogLine.h"
#include "inc/Mutex.h"
#include "model/settings/SystemSettings.h"
#include "platform/files/profile.h"
#include "platform/files/profile_edit.h"
#include "platform/os/paths.h"
#include "platform/os/threads.h"

namespace
{

struct LanguageState {
    CCriticalSection lock;
    CLanguage* instance GUARDED_BY(lock) = nullptr;  // null until a language was found
    std::string path GUARDED_BY(lock);               // full path of the language file
};

// Never destroyed: link threads look up texts until the process ends.
LanguageState& State()
{
    static auto* const state = new LanguageState;
    return *state;
}

constexpr std::uint32_t TEXT_SIZE = 1024;  // bytes with the terminator

}  // namespace

CLanguage* CLanguage::Create(std::string path) REQUIRES(State().lock)
{
    ASSERT_HELD(State().lock);
    static CLanguage instance;
    if (CIniText ini; !ReadIniFile(path, ini)) {
        const char* const fault = PathFileExistsA(path) ? " can't be read" : " is missing";
        LogFault("CLanguage::Create", "the language file " + path + fault + "; no text can be shown");
    }
    State().path = std::move(path);
    return State().instance = &instance;
}

CLanguage* CLanguage::GetInstance()
{
    const CAutoLock lock(State().lock);
    if (State().instance) return State().instance;
    if (!PathFileExistsA(GetSettingsPath())) return nullptr;
    const std::string file =
        ReadSettingText(ESetting::Language);  // a longer name is cut, so its file isn't found
    if (file.empty()) return nullptr;
    return Create(GetModuleDirectory() + "config\\" + file);
}

CLanguage* CLanguage::SetLanguage(const std::string& name)
{
    const CAutoLock lock(State().lock);
    if (State().instance) return State().instance;
    return Create(GetModuleDirectory() + "config\\" + name + ".ini");
}

std::string CLanguage::GetString(const std::string& key)
{
    std::string path;
    {
        const CAutoLock lock(State().lock);
        path = State().path;
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
    const CAutoLock lock(State().lock);
    State().instance = nullptr;
    State().path.clear();
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
