#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "skin/theme/ThemeParser.h"

// Whatever the bytes: the parse ends with a whole theme or with one fault that is told.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    CTheme theme;
    XThemeError error;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    if (!ParseTheme(text, theme, error)) {
        if (error.strText.empty() || error.iLine < 0) std::abort();
        return 0;
    }
    for (const std::string_view name : RequiredElements()) {
        const XElement* element = theme.FindElement(name);
        if (!element) std::abort();
        if (!element->strIcon.empty() && !theme.FindIcon(element->strIcon)) std::abort();
    }
    return 0;
}
