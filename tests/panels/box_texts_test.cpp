#include "activex/UI common/BoxTexts.h"

#include <gmock/gmock.h>

#include "model/settings/Language.h"
#include "platform/windows/windows.h"
#include "tests/activex/home_support.h"

using testing::ElementsAre;

namespace
{

std::vector<std::string> TextsOf(const char* language)
{
    CLanguage::Reset();
    CLanguage::SetLanguage(language);
    std::vector<std::string> texts;
    for (const std::int32_t id : {IDOK, IDCANCEL, IDYES, IDNO, 99})
        texts.push_back(GetBoxButtonText(id));
    CLanguage::Reset();
    return texts;
}

TEST(BoxTexts, ButtonsAreInTheCurrentLanguage)
{
    const CTestHome home;
    EXPECT_THAT(TextsOf("eng"), ElementsAre("OK", "Cancel", "Yes", "No", ""));
    EXPECT_THAT(TextsOf("chs"), ElementsAre("确定", "取消", "是", "否", ""));
    EXPECT_THAT(TextsOf("cht"), ElementsAre("確定", "取消", "是", "否", ""));
    EXPECT_THAT(TextsOf("none"), ElementsAre("", "", "", "", "")) << "the toolkit has texts of its own";
}

}  // namespace
