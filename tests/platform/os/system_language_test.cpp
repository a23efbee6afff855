#include "platform/os/system_language.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/test_variable.h"

namespace
{

struct LocaleCase {
    const char* name;
    const char* all;
    const char* messages;
    const char* lang;
    std::uint16_t wExpected;
};

class Language : public testing::TestWithParam<LocaleCase>
{
};

TEST_P(Language, GoesByTheLocale)
{
    const CTestVariable all("LC_ALL", GetParam().all);
    const CTestVariable messages("LC_MESSAGES", GetParam().messages);
    const CTestVariable lang("LANG", GetParam().lang);
    EXPECT_EQ(GetSystemDefaultLangID(), GetParam().wExpected);
}

INSTANTIATE_TEST_SUITE_P(Locale, Language,
                         testing::Values(LocaleCase{"china", nullptr, nullptr, "zh_CN.UTF-8", 0x0804},
                                         LocaleCase{"singapore", nullptr, nullptr, "zh_SG", 0x0804},
                                         LocaleCase{"taiwan", nullptr, nullptr, "zh_TW.Big5", 0x0404},
                                         LocaleCase{"hong_kong", nullptr, nullptr, "zh_HK.UTF-8", 0x0C04},
                                         LocaleCase{"macau_is_other", nullptr, nullptr, "zh_MO.UTF-8", 0},
                                         LocaleCase{"america", nullptr, nullptr, "en_US.UTF-8", 0x0409},
                                         LocaleCase{"britain", nullptr, nullptr, "en_GB", 0x0409},
                                         LocaleCase{"modifier", nullptr, nullptr, "zh_TW@radical", 0x0404},
                                         LocaleCase{"c", nullptr, nullptr, "C", 0x0409},
                                         LocaleCase{"c_utf8", nullptr, nullptr, "C.UTF-8", 0x0409},
                                         LocaleCase{"posix", nullptr, nullptr, "POSIX", 0x0409},
                                         LocaleCase{"nothing_set", nullptr, nullptr, nullptr, 0x0409},
                                         LocaleCase{"empty_counts_as_not_set", "", "", "zh_CN", 0x0804},
                                         LocaleCase{"messages_before_lang", nullptr, "zh_TW", "zh_CN", 0x0404},
                                         LocaleCase{"all_before_messages", "en_US", "zh_TW", "zh_CN", 0x0409},
                                         LocaleCase{"german", nullptr, nullptr, "de_DE.UTF-8", 0},
                                         LocaleCase{"a_longer_name_is_no_english", nullptr, nullptr, "enm_US",
                                                    0}),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
