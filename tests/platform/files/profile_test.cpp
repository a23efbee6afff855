#include "platform/files/profile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "inc/OutputDebugString.h"
#include "platform/os/paths.h"
#include "tests/support/test_folder.h"
#include "tests/support/test_variable.h"

namespace
{

using namespace std::string_literals;

struct XReadCase {
    const char* szName;
    std::string strFile;
    const char* szSection;
    const char* szKey;
    std::string strExpected;
};

class ProfileText : public testing::TestWithParam<XReadCase>
{
};

TEST_P(ProfileText, IsRead)
{
    const XReadCase& row = GetParam();
    const CTestFolder folder;
    folder.Write("system.ini", row.strFile);
    const std::string path = folder.System("system.ini");
    EXPECT_EQ(GetProfileText(row.szSection, row.szKey, "none", 260, path), row.strExpected);
}

INSTANTIATE_TEST_SUITE_P(
    Read, ProfileText,
    testing::Values(
        XReadCase{"plain", "[System]\nRender=2\n", "System", "Render", "2"},
        XReadCase{"ignores_case", "[sYSTEM]\nRENDER=2\n", "System", "rendeR", "2"},
        XReadCase{"case_of_ascii_only", "[S]\n\xC3\x84=1\n", "S", "\xC3\xA4", "none"},
        XReadCase{"windows_line_ends", "[System]\r\nRender=2\r\nA=1\r\n", "System", "Render", "2"},
        XReadCase{"mixed_line_ends", "[A]\r\nB=1\n[System]\nRender=2\r\n", "System", "Render", "2"},
        XReadCase{"no_last_line_end", "[System]\nRender=2", "System", "Render", "2"},
        XReadCase{"byte_order_mark", "\xEF\xBB\xBF[System]\nRender=2\n", "System", "Render", "2"},
        XReadCase{"utf8", "[String]\nIDS_OK=\xE7\xA1\xAE\xE5\xAE\x9A\n", "String", "IDS_OK",
                  "\xE7\xA1\xAE\xE5\xAE\x9A"},
        XReadCase{"blanks_around_key_and_value", " \t[ System ]\n \tRender \t= \t2 \t\n", "System", "Render",
                  "2"},
        XReadCase{"blanks_inside_stay", "[A]\nK=a  b\n", "A", "K", "a  b"},
        XReadCase{"blanks_around_names_asked_for", "[A]\nK=1\n", " A ", "\tK ", "1"},
        XReadCase{"double_quotes", "[A]\nK=\" a \"\n", "A", "K", " a "},
        XReadCase{"single_quotes", "[A]\nK=' a '\n", "A", "K", " a "},
        XReadCase{"one_pair_of_quotes_only", "[A]\nK=\"\"a\"\"\n", "A", "K", "\"a\""},
        XReadCase{"unlike_quotes_stay", "[A]\nK=\"a'\n", "A", "K", "\"a'"},
        XReadCase{"a_single_quote_stays", "[A]\nK=\"\n", "A", "K", "\""},
        XReadCase{"quotes_inside_stay", "[A]\nK=a\"b\"c\n", "A", "K", "a\"b\"c"},
        XReadCase{"empty_value_is_no_default", "[A]\nK=\n", "A", "K", ""},
        XReadCase{"empty_quotes_are_no_default", "[A]\nK=\"\"\n", "A", "K", ""},
        XReadCase{"value_with_equals", "[A]\nK=a=b\n", "A", "K", "a=b"},
        XReadCase{"value_with_semicolon", "[A]\nK=a;b\n", "A", "K", "a;b"},
        XReadCase{"comment", "[A]\n;K=1\n  ;K=2\nK=3\n", "A", "K", "3"},
        XReadCase{"first_key_wins", "[A]\nK=1\nk=2\n", "A", "K", "1"},
        XReadCase{"first_section_wins", "[A]\nK=1\n[B]\n[a]\nK=2\nL=3\n", "A", "K", "1"},
        XReadCase{"second_section_of_the_name_is_not_read", "[A]\nK=1\n[a]\nL=3\n", "A", "L", "none"},
        XReadCase{"key_of_another_section", "[A]\nK=1\n[B]\nL=2\n", "A", "L", "none"},
        XReadCase{"key_before_any_section", "K=1\n[A]\n", "A", "K", "none"},
        XReadCase{"no_section_at_all", "K=1\n", "A", "K", "none"},
        XReadCase{"line_without_equals", "[A]\nK\n", "A", "K", "none"},
        XReadCase{"empty_key", "[A]\n=1\n", "A", "", "none"},
        XReadCase{"empty_section", "[]\nK=1\n", "", "K", "1"},
        XReadCase{"text_behind_the_section", "[A] ; [B]\nK=1\n", "A", "K", "1"},
        XReadCase{"unclosed_section_is_no_section", "[A]\nK=1\n[B\nL=2\n", "A", "L", "2"},
        XReadCase{"empty_file", "", "A", "K", "none"},
        XReadCase{"only_a_mark", "\xEF\xBB\xBF", "A", "K", "none"},
        XReadCase{"nul_ends_the_line_for_the_reader", "[A]\nK=a\0b\nL=1\n"s, "A", "K", "a"},
        XReadCase{"nul_does_not_end_the_file", "[A]\nK=a\0b\nL=1\n"s, "A", "L", "1"},
        XReadCase{"nul_before_the_sign_hides_the_key", "[A]\nK\0=1\n"s, "A", "K", "none"},
        XReadCase{"only_nuls", std::string(100, '\0'), "A", "K", "none"},
        XReadCase{"long_line_before", "[A]\nX=" + std::string(1 << 20, 'x') + "\nK=1\n", "A", "K", "1"},
        XReadCase{"long_value_is_cut", "[A]\nK=" + std::string(1 << 20, 'x') + "\n", "A", "K",
                  std::string(259, 'x')},
        XReadCase{"long_line_of_no_meaning", std::string(1 << 20, 'x') + "\n[A]\nK=1\n", "A", "K", "1"}),
    [](const auto& row) { return std::string(row.param.szName); });

TEST(Profile, WithoutAFileTheFallbackIsGivenWithoutItsTrailingBlanks)
{
    const CTestFolder folder;
    const std::string path = folder.System("missing.ini");
    EXPECT_EQ(GetProfileText("A", "K", " chs.ini \t ", 260, path), " chs.ini");
    EXPECT_EQ(GetProfileText("A", "K", nullptr, 260, path), "");
    EXPECT_EQ(GetProfileText("A", "K", "chs", 260, ""), "chs");
    EXPECT_EQ(GetProfileText("A", nullptr, "chs", 260, path), "chs");
    EXPECT_EQ(GetProfileText(nullptr, nullptr, "chs", 260, path), "chs");
    EXPECT_EQ(GetProfileText("A", "K", "chs", 260, SystemPath(folder.Path())), "chs") << "a folder is no file";
}

TEST(Profile, AFileInTheFormOfThisMachineIsFoundToo)
{
    const CTestFolder folder;
    folder.Write("system.ini", "[A]\nK=1\n");
    EXPECT_EQ(GetProfileText("A", "K", "none", 260, folder.Path("system.ini")), "1");
}

struct XCutCase {
    const char* szName;
    const char* szSection;
    const char* szKey;
    std::uint32_t ulSize;
    std::uint32_t ulResult;
    std::string strBuffer;  // as far as `size`; '#' where nothing was written
};

class ProfileBuffer : public testing::TestWithParam<XCutCase>
{
};

TEST_P(ProfileBuffer, IsCut)
{
    const XCutCase& row = GetParam();
    const CTestFolder folder;
    folder.Write("a.ini", "[One]\nab=1234\ncd=\xC3\xA4\xC3\xB6\n[Two]\n");
    std::string buffer(64, '#');
    const std::string path = folder.System("a.ini");
    EXPECT_EQ(
        GetPrivateProfileStringA(row.szSection, row.szKey, "fall", buffer.data(), row.ulSize, path.c_str()),
        row.ulResult);
    EXPECT_EQ(buffer, row.strBuffer + std::string(buffer.size() - row.strBuffer.size(), '#'));
}

INSTANTIATE_TEST_SUITE_P(
    Cut, ProfileBuffer,
    testing::Values(XCutCase{"fits", "One", "ab", 5, 4, "1234\0"s},
                    XCutCase{"one_short", "One", "ab", 4, 3, "123\0"s},
                    XCutCase{"terminator_only", "One", "ab", 1, 0, "\0"s},
                    XCutCase{"no_buffer", "One", "ab", 0, 0, ""},
                    XCutCase{"by_bytes_not_by_characters", "One", "cd", 4, 3, "\xC3\xA4\xC3\0"s},
                    XCutCase{"fallback", "One", "xy", 3, 2, "fa\0"s},
                    XCutCase{"keys_fit", "One", nullptr, 7, 6, "ab\0cd\0\0"s},
                    XCutCase{"keys_cut", "One", nullptr, 6, 4, "ab\0c\0\0"s},
                    XCutCase{"keys_cut_between", "One", nullptr, 5, 3, "ab\0\0\0"s},
                    XCutCase{"keys_in_two_bytes", "One", nullptr, 2, 0, "\0\0"s},
                    XCutCase{"keys_in_one_byte", "One", nullptr, 1, 0, "\0"s},
                    XCutCase{"keys_of_an_empty_section", "Two", nullptr, 9, 0, "\0"s},
                    XCutCase{"keys_of_no_section", "Three", nullptr, 9, 4, "fall\0"s},
                    XCutCase{"sections", nullptr, nullptr, 9, 8, "One\0Two\0\0"s},
                    XCutCase{"sections_whatever_the_key", nullptr, "ab", 9, 8, "One\0Two\0\0"s},
                    XCutCase{"sections_cut", nullptr, nullptr, 8, 6, "One\0Tw\0\0"s}),
    [](const auto& row) { return std::string(row.param.szName); });

TEST(Profile, ANullBufferTakesNothing)
{
    EXPECT_EQ(GetPrivateProfileStringA("A", "K", "x", nullptr, 10, "c:\\nowhere.ini"), 0U);
}

struct XIntegerCase {
    const char* szName;
    const char* szValue;
    std::int32_t iExpected;
};

class ProfileInteger : public testing::TestWithParam<XIntegerCase>
{
};

TEST_P(ProfileInteger, IsRead)
{
    const CTestFolder folder;
    folder.Write("a.ini", "[A]\nK="s + GetParam().szValue + "\n");
    EXPECT_EQ(GetPrivateProfileIntA("A", "K", 77, folder.System("a.ini").c_str()), GetParam().iExpected);
}

INSTANTIATE_TEST_SUITE_P(
    Integer, ProfileInteger,
    testing::Values(XIntegerCase{"plain", "2", 2}, XIntegerCase{"leading_digits", "12abc", 12},
                    XIntegerCase{"negative", "-5", -5}, XIntegerCase{"no_digits", "abc", 0},
                    XIntegerCase{"sign_alone", "-", 0}, XIntegerCase{"two_signs", "--5", 0},
                    XIntegerCase{"plus_is_no_digit", "+5", 0}, XIntegerCase{"empty_is_the_fallback", "", 77},
                    XIntegerCase{"empty_quotes_are_the_fallback", "\"\"", 77}, XIntegerCase{"quoted", "'3'", 3},
                    XIntegerCase{"hexadecimal", "0x1F", 31}, XIntegerCase{"hexadecimal_upper", "0X1fz", 31},
                    XIntegerCase{"hexadecimal_negative", "-0x10", -16}, XIntegerCase{"prefix_alone", "0x", 0},
                    XIntegerCase{"leading_zeros_are_decimal", "010", 10},
                    XIntegerCase{"largest_unsigned", "4294967295", -1},
                    XIntegerCase{"smallest", "-2147483648", -2147483647 - 1},
                    XIntegerCase{"beyond_32_bits_wraps", "4294967301", 5}),
    [](const auto& row) { return std::string(row.param.szName); });

TEST(Profile, IntegersFallBackWithoutFileSectionOrKey)
{
    const CTestFolder folder;
    folder.Write("a.ini", "[A]\nK=1\n");
    const std::string path = folder.System("a.ini");
    EXPECT_EQ(GetPrivateProfileIntA("A", "L", -3, path.c_str()), -3);
    EXPECT_EQ(GetPrivateProfileIntA("B", "K", -3, path.c_str()), -3);
    EXPECT_EQ(GetPrivateProfileIntA("A", "K", -3, folder.System("b.ini").c_str()), -3);
    EXPECT_EQ(GetPrivateProfileIntA(nullptr, "K", -3, path.c_str()), -3);
    EXPECT_EQ(GetPrivateProfileIntA("A", nullptr, -3, path.c_str()), -3);
    EXPECT_EQ(GetPrivateProfileIntA("A", "K", -3, nullptr), -3);
}

struct XWriteCase {
    const char* szName;
    std::string strBefore;
    const char* szSection;
    const char* szKey;
    const char* szValue;
    std::string strAfter;
};

class ProfileWrite : public testing::TestWithParam<XWriteCase>
{
};

TEST_P(ProfileWrite, ChangesOneThing)
{
    const XWriteCase& row = GetParam();
    const CTestFolder folder;
    folder.Write("a.ini", row.strBefore);
    const std::string path = folder.System("a.ini");
    EXPECT_TRUE(WritePrivateProfileStringA(row.szSection, row.szKey, row.szValue, path.c_str()));
    EXPECT_EQ(folder.Read("a.ini"), row.strAfter);
    EXPECT_FALSE(folder.Read(".a.ini.tmp"));
    if (row.szKey != nullptr && row.szValue != nullptr) {
        EXPECT_EQ(GetProfileText(row.szSection, row.szKey, "none", 260, path), row.szValue);
    } else if (row.szKey != nullptr) {
        EXPECT_EQ(GetProfileText(row.szSection, row.szKey, "none", 260, path), "none");
    }
}

INSTANTIATE_TEST_SUITE_P(
    Write, ProfileWrite,
    testing::Values(
        XWriteCase{"into_an_empty_file", "", "A", "K", "1", "[A]\nK=1\n"},
        XWriteCase{"value_in_its_place", "; head\n[A]\nJ=0\nK=1\nL=2\n", "A", "K", "9",
                   "; head\n[A]\nJ=0\nK=9\nL=2\n"},
        XWriteCase{"spelling_and_blanks_stay", "[a]\n  rEnder = 1  \n", "A", "Render", "22",
                   "[a]\n  rEnder = 22  \n"},
        XWriteCase{"quoted_value_is_replaced_with_its_quotes", "[A]\nK = \"x y\"\n", "A", "K", "z",
                   "[A]\nK = z\n"},
        XWriteCase{"empty_value_is_filled", "[A]\nK=\nL=1\n", "A", "K", "z", "[A]\nK=z\nL=1\n"},
        XWriteCase{"value_is_emptied", "[A]\nK=1\n", "A", "K", "", "[A]\nK=\n"},
        XWriteCase{"new_key_before_the_empty_lines", "[A]\nJ=0\n\n\n[B]\nK=1\n", "A", "K", "2",
                   "[A]\nJ=0\nK=2\n\n\n[B]\nK=1\n"},
        XWriteCase{"new_key_behind_a_comment", "[A]\nJ=0\n; note\n[B]\n", "A", "K", "2",
                   "[A]\nJ=0\n; note\nK=2\n[B]\n"},
        XWriteCase{"new_key_in_an_empty_section", "[A]\n[B]\n", "A", "K", "2", "[A]\nK=2\n[B]\n"},
        XWriteCase{"new_section_at_the_end", "[A]\nJ=0\n", "B", "K", "2", "[A]\nJ=0\n[B]\nK=2\n"},
        XWriteCase{"behind_a_line_without_end", "[A]\nJ=0", "A", "K", "2", "[A]\nJ=0\nK=2\n"},
        XWriteCase{"windows_line_ends_stay", "; c\r\n[A]\r\nJ=0\r\n", "A", "K", "2",
                   "; c\r\n[A]\r\nJ=0\r\nK=2\r\n"},
        XWriteCase{"windows_line_end_of_the_changed_line", "[A]\r\nJ=0\r\n", "A", "J", "2", "[A]\r\nJ=2\r\n"},
        XWriteCase{"byte_order_mark_stays", "\xEF\xBB\xBF[A]\nK=1\n", "A", "K", "2", "\xEF\xBB\xBF[A]\nK=2\n"},
        XWriteCase{"utf8", "[A]\n", "A", "K", "\xE5\xBD\x95\xE5\x83\x8F", "[A]\nK=\xE5\xBD\x95\xE5\x83\x8F\n"},
        XWriteCase{"the_first_of_two_keys", "[A]\nK=1\nK=2\n", "A", "K", "3", "[A]\nK=3\nK=2\n"},
        XWriteCase{"lines_of_no_meaning_stay", "junk\n[A]\n=x\nnote\n[B\nK\0=5\nK=1\n"s, "A", "K", "2",
                   "junk\n[A]\n=x\nnote\n[B\nK\0=5\nK=2\n"s},
        XWriteCase{"what_is_behind_a_nul_stays", "[A]\nK=1\0x\n"s, "A", "K", "2", "[A]\nK=2\0x\n"s},
        XWriteCase{"a_key_is_removed", "[A]\nJ=0\nK=1\n;c\n", "A", "K", nullptr, "[A]\nJ=0\n;c\n"},
        XWriteCase{"a_missing_key_is_removed_already", "[A]\nJ=0\n", "A", "K", nullptr, "[A]\nJ=0\n"},
        XWriteCase{"a_section_is_removed_with_its_comments", "[A]\nJ=0\n[B]\n;c\nK=1\n\n[C]\n", "b", nullptr,
                   "x", "[A]\nJ=0\n[C]\n"},
        XWriteCase{"the_last_section_is_removed", "[A]\n[B]\nK=1", "B", nullptr, nullptr, "[A]\n"},
        XWriteCase{"the_mark_is_no_part_of_the_section", "\xEF\xBB\xBF[A]\nK=1\n[B]\n", "A", nullptr, nullptr,
                   "\xEF\xBB\xBF[B]\n"},
        XWriteCase{"a_missing_section_is_removed_already", "[A]\n", "B", nullptr, nullptr, "[A]\n"}),
    [](const auto& row) { return std::string(row.param.szName); });

struct XRefusedCase {
    const char* szName;
    const char* szSection;
    const char* szKey;
    const char* szValue;
};

class ProfileRefusal : public testing::TestWithParam<XRefusedCase>
{
};

TEST_P(ProfileRefusal, LeavesTheFile)
{
    const XRefusedCase& row = GetParam();
    const CTestFolder folder;
    folder.Write("a.ini", "[A]\nK=1\n");
    const std::string path = folder.System("a.ini");
    EXPECT_FALSE(WritePrivateProfileStringA(row.szSection, row.szKey, row.szValue, path.c_str()));
    EXPECT_EQ(folder.Read("a.ini"), "[A]\nK=1\n");
}

INSTANTIATE_TEST_SUITE_P(Refused, ProfileRefusal,
                         testing::Values(XRefusedCase{"null_section", nullptr, "K", "2"},
                                         XRefusedCase{"line_break_in_value", "A", "K", "2\n[B]"},
                                         XRefusedCase{"return_in_value", "A", "K", "2\r"},
                                         XRefusedCase{"line_break_in_key", "A", "K\nL", "2"},
                                         XRefusedCase{"line_break_in_section", "A\n", "K", "2"},
                                         XRefusedCase{"bracket_in_section", "A]B", "K", "2"},
                                         XRefusedCase{"equals_in_key", "A", "K=L", "2"},
                                         XRefusedCase{"key_like_a_comment", "A", " ;K", "2"},
                                         XRefusedCase{"key_like_a_section", "A", "[K", "2"},
                                         XRefusedCase{"empty_key", "A", " ", "2"}),
                         [](const auto& row) { return std::string(row.param.szName); });

TEST(Profile, BlanksAroundAWrittenValueAreDroppedAndDontGrow)
{
    const CTestFolder folder;
    const std::string path = folder.System("a.ini");
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(WritePrivateProfileStringA("A", "K", " \t1 ", path.c_str()));
        EXPECT_EQ(folder.Read("a.ini"), "[A]\nK=1\n");
    }
}

TEST(Profile, AWriteMakesTheFileWithTheUsualRights)
{
    const CTestFolder folder;
    const std::string path = folder.System("new.ini");
    const mode_t former = ::umask(027);
    EXPECT_TRUE(WritePrivateProfileStringA("System", "Language", "eng.ini", path.c_str()));
    ::umask(former);
    EXPECT_EQ(folder.Read("new.ini"), "[System]\nLanguage=eng.ini\n");
    struct stat status = {};
    ASSERT_EQ(::stat(folder.Path("new.ini").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0640U);
}

TEST(Profile, AWriteKeepsTheFilesRightsAndFollowsALink)
{
    const CTestFolder folder;
    folder.Write("real/a.ini", "[A]\nK=1\n");
    ASSERT_EQ(::chmod(folder.Path("real/a.ini").c_str(), 0604), 0);
    ASSERT_EQ(::symlink("real/a.ini", folder.Path("a.ini").c_str()), 0);
    EXPECT_TRUE(WritePrivateProfileStringA("A", "K", "2", folder.System("a.ini").c_str()));
    struct stat status = {};
    ASSERT_EQ(::lstat(folder.Path("a.ini").c_str(), &status), 0);
    EXPECT_TRUE(S_ISLNK(status.st_mode));
    ASSERT_EQ(::stat(folder.Path("a.ini").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0604U);
    EXPECT_EQ(folder.Read("real/a.ini"), "[A]\nK=2\n");
}

TEST(Profile, AnUnchangedFileIsNotReplaced)
{
    const CTestFolder folder;
    folder.Write("a.ini", "[A]\nK=1\n");
    struct stat before = {};
    struct stat after = {};
    ASSERT_EQ(::stat(folder.Path("a.ini").c_str(), &before), 0);
    EXPECT_TRUE(WritePrivateProfileStringA("A", "K", "1", folder.System("a.ini").c_str()));
    ASSERT_EQ(::stat(folder.Path("a.ini").c_str(), &after), 0);
    EXPECT_EQ(before.st_ino, after.st_ino);
}

TEST(Profile, WhatAnInterruptedWriterLeftBehindDoesNoHarm)
{
    const CTestFolder folder;
    folder.Write("a.ini", "[A]\nK=1\n");
    folder.Write(".a.ini.tmp", std::string(5000, 'x'));
    EXPECT_TRUE(WritePrivateProfileStringA("A", "K", "2", folder.System("a.ini").c_str()));
    EXPECT_EQ(folder.Read("a.ini"), "[A]\nK=2\n");
    EXPECT_FALSE(folder.Read(".a.ini.tmp"));
}

TEST(Profile, AFolderThatIsAFileCantBeWrittenAndIsTold)
{
    const CTestFolder folder;
    folder.Write("config", "a file");
    std::string heard;
    const CDebugListener former = SetDebugListener([&](std::string_view text) { heard += text; });
    testing::internal::CaptureStderr();
    EXPECT_FALSE(WritePrivateProfileStringA("A", "K", "2", folder.System("config/a.ini").c_str()));
    EXPECT_FALSE(WritePrivateProfileStringA("A", "K", "2", folder.System("none/a.ini").c_str()));
    SetDebugListener(former);
    EXPECT_NE(heard.find("config\\a.ini not written: Not a directory\r\n"), std::string::npos) << heard;
    EXPECT_NE(heard.find("none\\a.ini not written: No such file or directory\r\n"), std::string::npos) << heard;
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "watchwall: " + folder.System("config/a.ini") + " not written: Not a directory\nwatchwall: " +
                  folder.System("none/a.ini") + " not written: No such file or directory\n");
    EXPECT_EQ(folder.Read("config"), "a file");
}

TEST(Profile, TheApplicationProfileIsBelowTheConfigHome)
{
    const CTestFolder folder;
    const CTestVariable home("XDG_CONFIG_HOME", folder.Path("conf").c_str());
    const std::string path = GetApplicationProfilePath();
    EXPECT_EQ(path, folder.System("conf/watchwall/profile.ini"));
    EXPECT_TRUE(WritePrivateProfileStringA("Settings", "OutbarSize", "240", path.c_str()));
    EXPECT_EQ(GetPrivateProfileIntA("Settings", "OutbarSize", 200, path.c_str()), 240);
}

TEST(Profile, ARelativeConfigHomeCountsAsNotSet)
{
    const CTestFolder folder;
    const CTestVariable home("HOME", folder.Path().c_str());
    const CTestVariable config("XDG_CONFIG_HOME", "conf");
    EXPECT_EQ(GetApplicationProfilePath(), folder.System(".config/watchwall/profile.ini"));
}

}  // namespace
