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

std::string GetBoxButtonText(std::int32_t id)
{
    ASSERT_PANELS_THREAD();
    constexpr const char* MISSING = "Not found";  // a language file without the key
    const char* const key = KeyOf(id);
    std::string text = key != nullptr ? CLanguage::GetString(key) : std::string();
    return text != MISSING ? text : std::string();
}
