#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "skin/theme/ThemeParser.h"

// Whatever the bytes: the parse ends with a whole theme or with one fault that is told.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    CTheme theme;
    ThemeError error;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    if (!ParseTheme(text, theme, error)) {
        if (error.text.empty() || error.line < 0) std::abort();
        return 0;
    }
    for (const std::string_view name : RequiredElements()) {
        const Element* element = theme.FindElement(name);
        if (!element) std::abort();
        if (!element->icon.empty() && !theme.FindIcon(element->icon)) std::abort();
    }
    return 0;
}
