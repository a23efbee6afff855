#include "platform/os/system_language.h"

#include <array>
#include <cstdlib>
#include <string_view>

namespace
{

struct LanguageState {
    std::string_view locale;  // language and territory, or the language alone with any territory
    std::uint16_t wIdentifier;
};

constexpr auto LANGUAGES = std::to_array<LanguageState>({
    {"zh_CN", 0x0804},
    {"zh_SG", 0x0804},
    {"zh_TW", 0x0404},
    {"zh_HK", 0x0C04},
    {"en", 0x0409},
    {"C", 0x0409},
    {"POSIX", 0x0409},
});

std::string_view LocaleName()
{
    for (const char* const variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* const value = std::getenv(variable);
        if (value != nullptr && *value != '\0') return value;
    }
    return "C";
}

}  // namespace

std::uint16_t GetSystemDefaultLangID()
{
    std::string_view locale = LocaleName();
    locale = locale.substr(0, locale.find_first_of(".@"));
    for (const LanguageState& language : LANGUAGES) {
        if (locale == language.locale || locale.substr(0, locale.find('_')) == language.locale) {
            return language.wIdentifier;
        }
    }
    return 0;
}
