#include "activex/UI common/BoxTexts.h"

#include "model/settings/Language.h"
#include "platform/qt/PanelsThread.h"
#include "platform/windows/windows.h"

namespace
{

const char* KeyOf(std::int32_t id)
{
    switch (id) {
        case IDOK:
            return "IDS_OK";
        case IDCANCEL:
            return "IDS_Cancel";
        case IDYES:
            return "IDS_Yes";
        case IDNO:
            return "IDS_No";
        default:
            return nullptr;
    }
}

}  // namespace

std::string FindText(const char* key)
{
    constexpr const char* MISSING = "Not found";  // a language file without the key
    std::string text = CLanguage::GetString(key);
    return text != MISSING ? text : std::string();
}

std::string GetBoxButtonText(std::int32_t id)
{
    ASSERT_PANELS_THREAD();
    const char* const key = KeyOf(id);
    return key != nullptr ? FindText(key) : std::string();
}
