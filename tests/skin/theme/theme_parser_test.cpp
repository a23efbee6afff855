#include "skin/theme/ThemeParser.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/skin/theme_support.h"

namespace
{
const char HEADER[] = "theme 1 \"Test\"\n";

/// `lines` behind a whole theme, so that only they can be at fault; their first line is the second of the file.
std::string WithRequired(const std::string& lines)
{
    std::string text = HEADER + lines;
    for (const std::string_view name : RequiredElements())
        text += "element " + std::string(name) + "\nend\n";
    return text;
}

CTheme Parsed(const std::string& text)
{
    CTheme theme;
    ThemeError error;
    EXPECT_TRUE(ParseTheme(text, theme, error)) << "line " << error.line << ": " << error.text;
    return theme;
}

TEST(ThemeParser, ReadsTheDeliveredTheme)
{
    const CTheme theme = Parsed(DeliveredTheme());
    EXPECT_EQ(theme.m_strName, "Graphite");
    for (const std::string_view name : RequiredElements())
        EXPECT_NE(theme.FindElement(name), nullptr) << name;
}

TEST(ThemeParser, ResolvesColoursGradientsAndStates)
{
    const CTheme theme = Parsed(WithRequired(R"(color Ink #010203   ; a comment
color Half #0A0B0C80
gradient Down Ink #FFFFFF
element One
  border 2
  radius 3
  padding 4 5
  size 6 7
  font 120 bold
  normal fill Down border Half text Ink mark #112233
  hover fill Ink
  disabled text #445566
end
)"));
    const Element& one = *theme.FindElement("One");
    const Color ink{1, 2, 3, 255};
    EXPECT_EQ(one.LookOf(EState::Normal).fill, (Fill{ink, {255, 255, 255, 255}}));
    EXPECT_EQ(one.LookOf(EState::Normal).border, (Color{10, 11, 12, 128}));
    EXPECT_EQ(one.LookOf(EState::Hover).fill, (Fill{ink, ink}));
    EXPECT_EQ(one.LookOf(EState::Hover).mark, (Color{0x11, 0x22, 0x33, 255}))
        << "what hover doesn't say is normal's";
    EXPECT_EQ(one.LookOf(EState::Pressed), one.LookOf(EState::Normal));
    EXPECT_EQ(one.LookOf(EState::Disabled).text, (Color{0x44, 0x55, 0x66, 255}));
    EXPECT_EQ(one.border, 2);
    EXPECT_EQ(one.radius, 3);
    EXPECT_EQ(one.padY, 4);
    EXPECT_EQ(one.padX, 5);
    EXPECT_EQ(one.width, 6);
    EXPECT_EQ(one.height, 7);
    EXPECT_EQ(one.fontPercent, 120);
    EXPECT_TRUE(one.bold);
}

TEST(ThemeParser, TakesOverTheBaseElementState)
{
    const CTheme theme = Parsed(WithRequired(R"(element Base
  radius 9
  normal text #111111
  hover text #222222
end
element Derived : Base
  radius 1
  normal text #333333
end
)"));
    const Element& derived = *theme.FindElement("Derived");
    EXPECT_EQ(derived.radius, 1);
    EXPECT_EQ(derived.LookOf(EState::Normal).text, (Color{0x33, 0x33, 0x33, 255}));
    EXPECT_EQ(derived.LookOf(EState::Hover).text, (Color{0x22, 0x22, 0x22, 255}));
    EXPECT_EQ(derived.LookOf(EState::Pressed).text, (Color{0x33, 0x33, 0x33, 255}));
}

TEST(ThemeParser, ReadsTheShapesOfAnIcon)
{
    const CTheme theme = Parsed(WithRequired(R"(icon Face 24 12
  fill M 1 2 L 3 4 Z O 5 6 7
  stroke 1.5 C 1 2 3 4 5 6 R 1 2 3 4
end
)"));
    const Icon& icon = *theme.FindIcon("Face");
    EXPECT_EQ(icon.width, 24);
    EXPECT_EQ(icon.height, 12);
    ASSERT_EQ(icon.shapes.size(), 2U);
    EXPECT_EQ(icon.shapes[0].stroke, 0);
    ASSERT_EQ(icon.shapes[0].steps.size(), 4U);
    EXPECT_EQ(icon.shapes[0].steps[3].kind, PathStep::EKind::Circle);
    EXPECT_EQ(icon.shapes[0].steps[3].values[2], 7);
    EXPECT_EQ(icon.shapes[1].stroke, 1.5F);
    EXPECT_EQ(icon.shapes[1].steps[0].values[5], 6);
}

TEST(ThemeParser, TakesByteOrderMarkAndCarriageReturns)
{
    std::string text = "\xEF\xBB\xBF" + WithRequired("color Ink #010203\n");
    for (std::size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += 2)
        text.replace(at, 1, "\r\n");
    EXPECT_EQ(Parsed(text).m_strName, "Test");
}

struct FaultCase {
    const char* name;
    const char* lines;  // from the second line on
    int line;
    const char* fault;  // part of the message
};

class ThemeFaults : public testing::TestWithParam<FaultCase>
{
};

TEST_P(ThemeFaults, AreReportedWithTheirLine)
{
    CTheme theme;
    theme.m_strName = "before";
    ThemeError error;
    EXPECT_FALSE(ParseTheme(WithRequired(GetParam().lines), theme, error));
    EXPECT_EQ(error.line, GetParam().line) << error.text;
    EXPECT_NE(error.text.find(GetParam().fault), std::string::npos) << error.text;
    EXPECT_EQ(theme.m_strName, "before") << "a faulty file leaves the theme as it was";
}

INSTANTIATE_TEST_SUITE_P(
    Theme, ThemeFaults,
    testing::Values(
        FaultCase{"second_header", "theme 1 \"Again\"\n", 2, "already named"},
        FaultCase{"unknown_statement", "\ncolour Ink #000000\n", 3, "unknown statement 'colour'"},
        FaultCase{"short_colour", "color Ink #12345\n", 2, "is no colour"},
        FaultCase{"colour_with_letters", "color Ink #12345G\n", 2, "is no colour"},
        FaultCase{"colour_with_sign", "color Ink #-12345\n", 2, "is no colour"},
        FaultCase{"unknown_colour", "color Ink Other\n", 2, "'Other' does not stand above"},
        FaultCase{"colour_twice", "color Ink #000000\ngradient Ink Ink Ink\n", 3, "already defined"},
        FaultCase{"missing_value", "color Ink\n", 2, "needs a colour"},
        FaultCase{"more_than_needed", "color Ink #000000 #000000\n", 2, "nothing may follow"},
        FaultCase{"name_with_dot", "color I.k #000000\n", 2, "is no name"},
        FaultCase{"open_quote", "color \"Ink\n", 2, "not closed"},
        FaultCase{"control_character", "color \x01 #000000\n", 2, "control character"},
        FaultCase{"icon_without_size", "icon A\nend\n", 2, "the icon's width"},
        FaultCase{"icon_of_no_size", "icon A 0 24\nend\n", 2, "not in 1 to 1024"},
        FaultCase{"step_unknown", "icon A 24 24\nfill Q 1 2\nend\n", 3, "M L C O R Z"},
        FaultCase{"step_without_number", "icon A 24 24\nfill M 1\nend\n", 3, "needs a number"},
        FaultCase{"step_not_a_number", "icon A 24 24\nfill M nan 1\nend\n", 3, "needs a number"},
        FaultCase{"step_far_away", "icon A 24 24\nfill M 1e9 1\nend\n", 3, "not in -1024 to 1024"},
        FaultCase{"shape_without_steps", "icon A 24 24\nfill\nend\n", 3, "no steps"},
        FaultCase{"statement_in_icon", "icon A 24 24\ncolor B #000000\nend\n", 3, "fill, stroke and end"},
        FaultCase{"base_below", "element A : B\nend\nelement B\nend\n", 2, "'B' does not stand above"},
        FaultCase{"own_base", "element A : A\nend\n", 2, "'A' does not stand above"},
        FaultCase{"element_twice", "element A\nend\nelement A\nend\n", 4, "already defined"},
        FaultCase{"unknown_property", "element A\nshadow 3\nend\n", 3, "unknown property 'shadow'"},
        FaultCase{"unknown_state_property", "element A\nnormal shade #000000\nend\n", 3, "not 'shade'"},
        FaultCase{"radius_too_large", "element A\nradius 65\nend\n", 3, "not in 0 to 64"},
        FaultCase{"radius_of_half", "element A\nradius 1.5\nend\n", 3, "whole number"},
        FaultCase{"font_of_a_giant", "element A\nfont 301\nend\n", 3, "not in 50 to 300"},
        FaultCase{"unknown_icon", "element A\nicon B\nend\n", 3, "icon 'B' does not stand above"},
        FaultCase{"end_outside", "end\n", 2, "unknown statement 'end'"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(ThemeParser, RefusesAFileWithoutHeader)
{
    CTheme theme;
    ThemeError error;
    EXPECT_FALSE(ParseTheme("", theme, error));
    EXPECT_EQ(error.line, 0);
    EXPECT_FALSE(ParseTheme("\n; only this\ncolor A #000000\n", theme, error));
    EXPECT_EQ(error.line, 3);
    EXPECT_FALSE(ParseTheme("theme 2 \"New\"\n", theme, error));
    EXPECT_EQ(error.line, 1);
}

TEST(ThemeParser, RefusesABlockWithoutEnd)
{
    CTheme theme;
    ThemeError error;
    EXPECT_FALSE(ParseTheme(std::string(HEADER) + "element A\n", theme, error));
    EXPECT_NE(error.text.find("lacks its end"), std::string::npos);
}

TEST(ThemeParser, NamesTheFirstElementThatIsMissing)
{
    for (const std::string_view missing : RequiredElements()) {
        std::string text = HEADER;
        for (const std::string_view name : RequiredElements()) {
            if (name != missing) text += "element " + std::string(name) + "\nend\n";
        }
        CTheme theme;
        ThemeError error;
        EXPECT_FALSE(ParseTheme(text, theme, error));
        EXPECT_NE(error.text.find("'" + std::string(missing) + "' is missing"), std::string::npos)
            << error.text;
    }
}

TEST(ThemeParser, BoundsWhatAFileMayCost)
{
    CTheme theme;
    ThemeError error;
    const auto refuses = [&](const std::string& text, const char* fault) {
        EXPECT_FALSE(ParseTheme(text, theme, error));
        EXPECT_NE(error.text.find(fault), std::string::npos) << error.text;
    };
    refuses(std::string((1 << 20) + 1, '\n'), "larger than 1 MiB");
    refuses(HEADER + std::string(1025, ' '), "longer than 1024");
    refuses(std::string(HEADER) + "color " + std::string(65, 'a') + " #000000\n", "longer than 64");

    std::string colors = HEADER;
    for (int i = 0; i < 513; ++i)
        colors += "color c" + std::to_string(i) + " #000000\n";
    refuses(colors, "too many colours");
    std::string elements = HEADER;
    for (int i = 0; i < 257; ++i)
        elements += "element e" + std::to_string(i) + "\nend\n";
    refuses(elements, "too many elements");
    std::string icons = HEADER;
    for (int i = 0; i < 257; ++i)
        icons += "icon i" + std::to_string(i) + " 9 9\nend\n";
    refuses(icons, "too many icons");
    std::string shapes = std::string(HEADER) + "icon i 9 9\n";
    for (int i = 0; i < 65; ++i)
        shapes += "fill Z\n";
    refuses(shapes, "too many shapes");
    std::string steps = std::string(HEADER) + "icon i 9 9\nfill";
    for (int i = 0; i < 257; ++i)
        steps += " Z";
    refuses(steps, "too many steps");
}

TEST(ThemeParserDamaged, EveryTruncationIsAnErrorOrAWholeTheme)
{
    const std::string whole = DeliveredTheme();
    ASSERT_GT(whole.size(), 1000U);
    const std::size_t lastEnd = whole.rfind("end");
    int refused = 0;
    for (std::size_t size = 0; size < whole.size(); ++size) {
        CTheme theme;
        ThemeError error;
        const bool read = ParseTheme(std::string_view(whole).substr(0, size), theme, error);
        EXPECT_EQ(read, size >= lastEnd + 3) << "cut to " << size << " bytes";
        if (!read) {
            ++refused;
            EXPECT_FALSE(error.text.empty());
        }
    }
    EXPECT_GT(refused, 0);
}

TEST(ThemeParserDamaged, ASingleWrongByteCostsTheFileAtMost)
{
    const std::string whole = DeliveredTheme();
    int refused = 0;
    for (std::size_t at = 0; at < whole.size(); at += 3) {
        std::string text = whole;
        text[at] = static_cast<char>(text[at] ^ 0x41);
        CTheme theme;
        ThemeError error;
        if (!ParseTheme(text, theme, error)) {
            ++refused;
            EXPECT_FALSE(error.text.empty());
        } else {
            for (const std::string_view name : RequiredElements())
                EXPECT_NE(theme.FindElement(name), nullptr);
        }
    }
    EXPECT_GT(refused, 100);
}

TEST(ThemeFile, AMissingFileIsAnError)
{
    CTheme theme;
    ThemeError error;
    EXPECT_FALSE(LoadTheme("/nonexistent/skin.smf", theme, error));
    EXPECT_EQ(error.line, 0);
    EXPECT_FALSE(error.text.empty());
    EXPECT_FALSE(LoadTheme("/", theme, error)) << "a folder is no theme";
}
}  // namespace
