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
#include "platform/os/user_folders.h"
#include "tests/support/test_folder.h"
#include "tests/support/test_variable.h"

namespace
{

using namespace std::string_literals;

struct ReadCase {
    const char* name;
    std::string file;
    const char* section;
    const char* key;
    std::string expected;
};

class ProfileText : public testing::TestWithParam<ReadCase>
{
};

TEST_P(ProfileText, IsRead)
{
    const ReadCase& row = GetParam();
    const CTestFolder folder;
    folder.Write("system.ini", row.file);
    const std::string path = folder.System("system.ini");
    EXPECT_EQ(GetProfileText(row.section, row.key, "none", 260, path), row.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Read, ProfileText,
    testing::Values(
        ReadCase{"plain", "[System]\nRender=2\n", "System", "Render", "2"},
        ReadCase{"ignores_case", "[sYSTEM]\nRENDER=2\n", "System", "rendeR", "2"},
        ReadCase{"case_of_ascii_only", "[S]\n\xC3\x84=1\n", "S", "\xC3\xA4", "none"},
        ReadCase{"windows_line_ends", "[System]\r\nRender=2\r\nA=1\r\n", "System", "Render", "2"},
        ReadCase{"mixed_line_ends", "[A]\r\nB=1\n[System]\nRender=2\r\n", "System", "Render", "2"},
        ReadCase{"no_last_line_end", "[System]\nRender=2", "System", "Render", "2"},
        ReadCase{"byte_order_mark", "\xEF\xBB\xBF[System]\nRender=2\n", "System", "Render", "2"},
        ReadCase{"utf8", "[String]\nIDS_OK=\xE7\xA1\xAE\xE5\xAE\x9A\n", "String", "IDS_OK",
                 "\xE7\xA1\xAE\xE5\xAE\x9A"},
        ReadCase{"blanks_around_key_and_value", " \t[ System ]\n \tRender \t= \t2 \t\n", "System", "Render",
                 "2"},
        ReadCase{"blanks_inside_stay", "[A]\nK=a  b\n", "A", "K", "a  b"},
        ReadCase{"blanks_around_names_asked_for", "[A]\nK=1\n", " A ", "\tK ", "1"},
        ReadCase{"double_quotes", "[A]\nK=\" a \"\n", "A", "K", " a "},
        ReadCase{"single_quotes", "[A]\nK=' a '\n", "A", "K", " a "},
        ReadCase{"one_pair_of_quotes_only", "[A]\nK=\"\"a\"\"\n", "A", "K", "\"a\""},
        ReadCase{"unlike_quotes_stay", "[A]\nK=\"a'\n", "A", "K", "\"a'"},
        ReadCase{"a_single_quote_stays", "[A]\nK=\"\n", "A", "K", "\""},
        ReadCase{"quotes_inside_stay", "[A]\nK=a\"b\"c\n", "A", "K", "a\"b\"c"},
        ReadCase{"empty_value_is_no_default", "[A]\nK=\n", "A", "K", ""},
        ReadCase{"empty_quotes_are_no_default", "[A]\nK=\"\"\n", "A", "K", ""},
        ReadCase{"value_with_equals", "[A]\nK=a=b\n", "A", "K", "a=b"},
        ReadCase{"value_with_semicolon", "[A]\nK=a;b\n", "A", "K", "a;b"},
        ReadCase{"comment", "[A]\n;K=1\n  ;K=2\nK=3\n", "A", "K", "3"},
        ReadCase{"first_key_wins", "[A]\nK=1\nk=2\n", "A", "K", "1"},
        ReadCase{"first_section_wins", "[A]\nK=1\n[B]\n[a]\nK=2\nL=3\n", "A", "K", "1"},
        ReadCase{"second_section_of_the_name_is_not_read", "[A]\nK=1\n[a]\nL=3\n", "A", "L", "none"},
        ReadCase{"key_of_another_section", "[A]\nK=1\n[B]\nL=2\n", "A", "L", "none"},
        ReadCase{"key_before_any_section", "K=1\n[A]\n", "A", "K", "none"},
        ReadCase{"no_section_at_all", "K=1\n", "A", "K", "none"},
        ReadCase{"line_without_equals", "[A]\nK\n", "A", "K", "none"},
        ReadCase{"empty_key", "[A]\n=1\n", "A", "", "none"},
        ReadCase{"empty_section", "[]\nK=1\n", "", "K", "1"},
        ReadCase{"text_behind_the_section", "[A] ; [B]\nK=1\n", "A", "K", "1"},
        ReadCase{"unclosed_section_is_no_section", "[A]\nK=1\n[B\nL=2\n", "A", "L", "2"},
        ReadCase{"empty_file", "", "A", "K", "none"}, ReadCase{"only_a_mark", "\xEF\xBB\xBF", "A", "K", "none"},
        ReadCase{"nul_ends_the_line_for_the_reader", "[A]\nK=a\0b\nL=1\n"s, "A", "K", "a"},
        ReadCase{"nul_does_not_end_the_file", "[A]\nK=a\0b\nL=1\n"s, "A", "L", "1"},
        ReadCase{"nul_before_the_sign_hides_the_key", "[A]\nK\0=1\n"s, "A", "K", "none"},
        ReadCase{"only_nuls", std::string(100, '\0'), "A", "K", "none"},
        ReadCase{"long_line_before", "[A]\nX=" + std::string(1 << 20, 'x') + "\nK=1\n", "A", "K", "1"},
        ReadCase{"long_value_is_cut", "[A]\nK=" + std::string(1 << 20, 'x') + "\n", "A", "K",
                 std::string(259, 'x')},
        ReadCase{"long_line_of_no_meaning", std::string(1 << 20, 'x') + "\n[A]\nK=1\n", "A", "K", "1"}),
    [](const auto& row) { return std::string(row.param.name); });

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

struct CutCase {
    const char* name;
    const char* section;
    const char* key;
    std::uint32_t size;
    std::uint32_t result;
    std::string buffer;  // as far as `size`; '#' where nothing was written
};

class ProfileBuffer : public testing::TestWithParam<CutCase>
{
};

TEST_P(ProfileBuffer, IsCut)
{
    const CutCase& row = GetParam();
    const CTestFolder folder;
    folder.Write("a.ini", "[One]\nab=1234\ncd=\xC3\xA4\xC3\xB6\n[Two]\n");
    std::string buffer(64, '#');
    const std::string path = folder.System("a.ini");
    EXPECT_EQ(GetPrivateProfileStringA(row.section, row.key, "fall", buffer.data(), row.size, path.c_str()),
              row.result);
    EXPECT_EQ(buffer, row.buffer + std::string(buffer.size() - row.buffer.size(), '#'));
}

INSTANTIATE_TEST_SUITE_P(
    Cut, ProfileBuffer,
    testing::Values(CutCase{"fits", "One", "ab", 5, 4, "1234\0"s},
                    CutCase{"one_short", "One", "ab", 4, 3, "123\0"s},
                    CutCase{"terminator_only", "One", "ab", 1, 0, "\0"s},
                    CutCase{"no_buffer", "One", "ab", 0, 0, ""},
                    CutCase{"by_bytes_not_by_characters", "One", "cd", 4, 3, "\xC3\xA4\xC3\0"s},
                    CutCase{"fallback", "One", "xy", 3, 2, "fa\0"s},
                    CutCase{"keys_fit", "One", nullptr, 7, 6, "ab\0cd\0\0"s},
                    CutCase{"keys_cut", "One", nullptr, 6, 4, "ab\0c\0\0"s},
                    CutCase{"keys_cut_between", "One", nullptr, 5, 3, "ab\0\0\0"s},
                    CutCase{"keys_in_two_bytes", "One", nullptr, 2, 0, "\0\0"s},
                    CutCase{"keys_in_one_byte", "One", nullptr, 1, 0, "\0"s},
                    CutCase{"keys_of_an_empty_section", "Two", nullptr, 9, 0, "\0"s},
                    CutCase{"keys_of_no_section", "Three", nullptr, 9, 4, "fall\0"s},
                    CutCase{"sections", nullptr, nullptr, 9, 8, "One\0Two\0\0"s},
                    CutCase{"sections_whatever_the_key", nullptr, "ab", 9, 8, "One\0Two\0\0"s},
                    CutCase{"sections_cut", nullptr, nullptr, 8, 6, "One\0Tw\0\0"s}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(Profile, ANullBufferTakesNothing)
{
    EXPECT_EQ(GetPrivateProfileStringA("A", "K", "x", nullptr, 10, "c:\\nowhere.ini"), 0U);
}

struct IntegerCase {
    const char* name;
    const char* value;
    std::int32_t expected;
};

class ProfileInteger : public testing::TestWithParam<IntegerCase>
{
};

TEST_P(ProfileInteger, IsRead)
{
    const CTestFolder folder;
    folder.Write("a.ini", "[A]\nK="s + GetParam().value + "\n");
    EXPECT_EQ(GetPrivateProfileIntA("A", "K", 77, folder.System("a.ini").c_str()), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Integer, ProfileInteger,
    testing::Values(IntegerCase{"plain", "2", 2}, IntegerCase{"leading_digits", "12abc", 12},
                    IntegerCase{"negative", "-5", -5}, IntegerCase{"no_digits", "abc", 0},
                    IntegerCase{"sign_alone", "-", 0}, IntegerCase{"two_signs", "--5", 0},
                    IntegerCase{"plus_is_no_digit", "+5", 0}, IntegerCase{"empty_is_the_fallback", "", 77},
                    IntegerCase{"empty_quotes_are_the_fallback", "\"\"", 77}, IntegerCase{"quoted", "'3'", 3},
                    IntegerCase{"hexadecimal", "0x1F", 31}, IntegerCase{"hexadecimal_upper", "0X1fz", 31},
                    IntegerCase{"hexadecimal_negative", "-0x10", -16}, IntegerCase{"prefix_alone", "0x", 0},
                    IntegerCase{"leading_zeros_are_decimal", "010", 10},
                    IntegerCase{"largest_unsigned", "4294967295", -1},
                    IntegerCase{"smallest", "-2147483648", -2147483647 - 1},
                    IntegerCase{"beyond_32_bits_wraps", "4294967301", 5}),
    [](const auto& row) { return std::string(row.param.name); });

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

struct WriteCase {
    const char* name;
    std::string before;
    const char* section;
    const char* key;
    const char* value;
    std::string after;
};

class ProfileWrite : public testing::TestWithParam<WriteCase>
{
};

TEST_P(ProfileWrite, ChangesOneThing)
{
    const WriteCase& row = GetParam();
    const CTestFolder folder;
    folder.Write("a.ini", row.before);
    const std::string path = folder.System("a.ini");
    EXPECT_TRUE(WritePrivateProfileStringA(row.section, row.key, row.value, path.c_str()));
    EXPECT_EQ(folder.Read("a.ini"), row.after);
    EXPECT_FALSE(folder.Read(".a.ini.tmp"));
    if (row.key != nullptr && row.value != nullptr) {
        EXPECT_EQ(GetProfileText(row.section, row.key, "none", 260, path), row.value);
    } else if (row.key != nullptr) {
        EXPECT_EQ(GetProfileText(row.section, row.key, "none", 260, path), "none");
    }
}

INSTANTIATE_TEST_SUITE_P(
    Write, ProfileWrite,
    testing::Values(
        WriteCase{"into_an_empty_file", "", "A", "K", "1", "[A]\nK=1\n"},
        WriteCase{"value_in_its_place", "; head\n[A]\nJ=0\nK=1\nL=2\n", "A", "K", "9",
                  "; head\n[A]\nJ=0\nK=9\nL=2\n"},
        WriteCase{"spelling_and_blanks_stay", "[a]\n  rEnder = 1  \n", "A", "Render", "22",
                  "[a]\n  rEnder = 22  \n"},
        WriteCase{"quoted_value_is_replaced_with_its_quotes", "[A]\nK = \"x y\"\n", "A", "K", "z",
                  "[A]\nK = z\n"},
        WriteCase{"empty_value_is_filled", "[A]\nK=\nL=1\n", "A", "K", "z", "[A]\nK=z\nL=1\n"},
        WriteCase{"value_is_emptied", "[A]\nK=1\n", "A", "K", "", "[A]\nK=\n"},
        WriteCase{"new_key_before_the_empty_lines", "[A]\nJ=0\n\n\n[B]\nK=1\n", "A", "K", "2",
                  "[A]\nJ=0\nK=2\n\n\n[B]\nK=1\n"},
        WriteCase{"new_key_behind_a_comment", "[A]\nJ=0\n; note\n[B]\n", "A", "K", "2",
                  "[A]\nJ=0\n; note\nK=2\n[B]\n"},
        WriteCase{"new_key_in_an_empty_section", "[A]\n[B]\n", "A", "K", "2", "[A]\nK=2\n[B]\n"},
        WriteCase{"new_section_at_the_end", "[A]\nJ=0\n", "B", "K", "2", "[A]\nJ=0\n[B]\nK=2\n"},
        WriteCase{"behind_a_line_without_end", "[A]\nJ=0", "A", "K", "2", "[A]\nJ=0\nK=2\n"},
        WriteCase{"windows_line_ends_stay", "; c\r\n[A]\r\nJ=0\r\n", "A", "K", "2",
                  "; c\r\n[A]\r\nJ=0\r\nK=2\r\n"},
        WriteCase{"windows_line_end_of_the_changed_line", "[A]\r\nJ=0\r\n", "A", "J", "2", "[A]\r\nJ=2\r\n"},
        WriteCase{"byte_order_mark_stays", "\xEF\xBB\xBF[A]\nK=1\n", "A", "K", "2", "\xEF\xBB\xBF[A]\nK=2\n"},
        WriteCase{"utf8", "[A]\n", "A", "K", "\xE5\xBD\x95\xE5\x83\x8F", "[A]\nK=\xE5\xBD\x95\xE5\x83\x8F\n"},
        WriteCase{"the_first_of_two_keys", "[A]\nK=1\nK=2\n", "A", "K", "3", "[A]\nK=3\nK=2\n"},
        WriteCase{"lines_of_no_meaning_stay", "junk\n[A]\n=x\nnote\n[B\nK\0=5\nK=1\n"s, "A", "K", "2",
                  "junk\n[A]\n=x\nnote\n[B\nK\0=5\nK=2\n"s},
        WriteCase{"what_is_behind_a_nul_stays", "[A]\nK=1\0x\n"s, "A", "K", "2", "[A]\nK=2\0x\n"s},
        WriteCase{"a_key_is_removed", "[A]\nJ=0\nK=1\n;c\n", "A", "K", nullptr, "[A]\nJ=0\n;c\n"},
        WriteCase{"a_missing_key_is_removed_already", "[A]\nJ=0\n", "A", "K", nullptr, "[A]\nJ=0\n"},
        WriteCase{"a_section_is_removed_with_its_comments", "[A]\nJ=0\n[B]\n;c\nK=1\n\n[C]\n", "b", nullptr,
                  "x", "[A]\nJ=0\n[C]\n"},
        WriteCase{"the_last_section_is_removed", "[A]\n[B]\nK=1", "B", nullptr, nullptr, "[A]\n"},
        WriteCase{"the_mark_is_no_part_of_the_section", "\xEF\xBB\xBF[A]\nK=1\n[B]\n", "A", nullptr, nullptr,
                  "\xEF\xBB\xBF[B]\n"},
        WriteCase{"a_missing_section_is_removed_already", "[A]\n", "B", nullptr, nullptr, "[A]\n"}),
    [](const auto& row) { return std::string(row.param.name); });

struct RefusedCase {
    const char* name;
    const char* section;
    const char* key;
    const char* value;
};

class ProfileRefusal : public testing::TestWithParam<RefusedCase>
{
};

TEST_P(ProfileRefusal, LeavesTheFile)
{
    const RefusedCase& row = GetParam();
    const CTestFolder folder;
    folder.Write("a.ini", "[A]\nK=1\n");
    const std::string path = folder.System("a.ini");
    EXPECT_FALSE(WritePrivateProfileStringA(row.section, row.key, row.value, path.c_str()));
    EXPECT_EQ(folder.Read("a.ini"), "[A]\nK=1\n");
}

INSTANTIATE_TEST_SUITE_P(Refused, ProfileRefusal,
                         testing::Values(RefusedCase{"null_section", nullptr, "K", "2"},
                                         RefusedCase{"line_break_in_value", "A", "K", "2\n[B]"},
                                         RefusedCase{"return_in_value", "A", "K", "2\r"},
                                         RefusedCase{"line_break_in_key", "A", "K\nL", "2"},
                                         RefusedCase{"line_break_in_section", "A\n", "K", "2"},
                                         RefusedCase{"bracket_in_section", "A]B", "K", "2"},
                                         RefusedCase{"equals_in_key", "A", "K=L", "2"},
                                         RefusedCase{"key_like_a_comment", "A", " ;K", "2"},
                                         RefusedCase{"key_like_a_section", "A", "[K", "2"},
                                         RefusedCase{"empty_key", "A", " ", "2"}),
                         [](const auto& row) { return std::string(row.param.name); });

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

TEST(Profile, AFolderThatIsAFileCantBeWrittenAndIsReported)
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

// The folder stands in the user's entry then.
TEST(Profile, ARelativeHomeCountsAsNotSet)
{
    const CTestVariable config("XDG_CONFIG_HOME", "");
    const CTestVariable home("HOME", "home");
    EXPECT_TRUE(UserConfigFolder().starts_with('/')) << UserConfigFolder();
}

}  // namespace
