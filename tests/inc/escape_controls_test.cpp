#include "inc/EscapeControls.h"

#include <gtest/gtest.h>

namespace
{

using namespace std::string_literals;

TEST(EscapeControls, TextThatIsFitForATerminalStays)
{
    EXPECT_EQ(EscapeControls(""), "");
    EXPECT_EQ(EscapeControls(" Gate 3: c:\\x ~"), " Gate 3: c:\\x ~");
    EXPECT_EQ(EscapeControls("\u00A0\u00FC \u524D\u95E8 \U0001F4F7"), "\u00A0\u00FC \u524D\u95E8 \U0001F4F7");
}

TEST(EscapeControls, ControlCharactersAreShownByTheirNumbers)
{
    EXPECT_EQ(EscapeControls("a\x1B[2Jb"), "a\\x1B[2Jb");
    EXPECT_EQ(EscapeControls("\0\a\r\n\t\x1F\x7F"s), "\\x00\\x07\\x0D\\x0A\\x09\\x1F\\x7F");
    EXPECT_EQ(EscapeControls("\xC2\x9B"
                             "2J"),
              "\\xC2\\x9B"
              "2J");  // the same as an escape and a bracket
    EXPECT_EQ(EscapeControls("a\n\tb\r", "\n\t"), "a\n\tb\\x0D");
}

TEST(EscapeControls, BytesThatAreNoUtf8AreShownByTheirNumbers)
{
    EXPECT_EQ(EscapeControls("\x9B"
                             "2J"),
              "\\x9B"
              "2J");
    EXPECT_EQ(EscapeControls("\xC3"), "\\xC3");                             // cut
    EXPECT_EQ(EscapeControls("\xC0\xAF"), "\\xC0\\xAF");                    // long forms
    EXPECT_EQ(EscapeControls("\xE0\x82\x9B"), "\\xE0\\x82\\x9B");           //
    EXPECT_EQ(EscapeControls("\xED\xA0\x80"), "\\xED\\xA0\\x80");           // half of a pair
    EXPECT_EQ(EscapeControls("\xF4\x90\x80\x80"), "\\xF4\\x90\\x80\\x80");  // beyond the last
    EXPECT_EQ(EscapeControls("\xE5\x89x"), "\\xE5\\x89x");
}

}  // namespace
