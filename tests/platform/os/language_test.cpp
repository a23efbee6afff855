#include "platform/os/language.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/test_variable.h"

namespace
{

struct XLocaleCase {
    const char* szName;
    const char* szAll;
    const char* szMessages;
    const char* szLang;
    std::uint16_t wExpected;
};

class Language : public testing::TestWithParam<XLocaleCase>
{
};

TEST_P(Language, GoesByTheLocale)
{
    const CTestVariable all("LC_ALL", GetParam().szAll);
    const CTestVariable messages("LC_MESSAGES", GetParam().szMessages);
    const CTestVariable lang("LANG", GetParam().szLang);
    EXPECT_EQ(GetSystemDefaultLangID(), GetParam().wExpected);
}

INSTANTIATE_TEST_SUITE_P(Locale, Language,
                         testing::Values(XLocaleCase{"china", nullptr, nullptr, "zh_CN.UTF-8", 0x0804},
                                         XLocaleCase{"singapore", nullptr, nullptr, "zh_SG", 0x0804},
                                         XLocaleCase{"taiwan", nullptr, nullptr, "zh_TW.Big5", 0x0404},
                                         XLocaleCase{"hong_kong", nullptr, nullptr, "zh_HK.UTF-8", 0x0C04},
                                         XLocaleCase{"macau_is_other", nullptr, nullptr, "zh_MO.UTF-8", 0},
                                         XLocaleCase{"america", nullptr, nullptr, "en_US.UTF-8", 0x0409},
                                         XLocaleCase{"britain", nullptr, nullptr, "en_GB", 0x0409},
                                         XLocaleCase{"modifier", nullptr, nullptr, "zh_TW@radical", 0x0404},
                                         XLocaleCase{"c", nullptr, nullptr, "C", 0x0409},
                                         XLocaleCase{"c_utf8", nullptr, nullptr, "C.UTF-8", 0x0409},
                                         XLocaleCase{"posix", nullptr, nullptr, "POSIX", 0x0409},
                                         XLocaleCase{"nothing_set", nullptr, nullptr, nullptr, 0x0409},
                                         XLocaleCase{"empty_counts_as_not_set", "", "", "zh_CN", 0x0804},
                                         XLocaleCase{"messages_before_lang", nullptr, "zh_TW", "zh_CN", 0x0404},
                                         XLocaleCase{"all_before_messages", "en_US", "zh_TW", "zh_CN", 0x0409},
                                         XLocaleCase{"german", nullptr, nullptr, "de_DE.UTF-8", 0},
                                         XLocaleCase{"a_longer_name_is_no_english", nullptr, nullptr, "enm_US",
                                                     0}),
                         [](const auto& row) { return std::string(row.param.szName); });

}  // namespace
