#include <gtest/gtest.h>

#include <string>

#include "skin/theme/Theme.h"
#include "skin/theme/ThemeParser.h"
#include "tests/skin/theme_support.h"

// The delivered theme can be read. Text keeps 4.5:1 to what is behind it and marks and focus rings 3:1, also at
// the ends of a gradient; a control that is switched off keeps 3:1, though nothing asks for it.

namespace
{
constexpr double TEXT = 4.5;
constexpr double MARK = 3.0;

class ThemeContrast : public testing::Test
{
  protected:
    void SetUp() override
    {
        ThemeError error;
        ASSERT_TRUE(LoadTheme(DeliveredThemePath(), m_Theme, error)) << error.line << ": " << error.text;
    }

    /// The least contrast of a colour on the fill; a fill of nothing shows the panel.
    double Least(Color color, const Fill& fill) const
    {
        const Fill ground =
            fill.IsNone() ? m_Theme.FindElement("DialogMain")->LookOf(EState::Normal).fill : fill;
        double least = 21;
        for (const double part : {0.0, 0.25, 0.5, 0.75, 1.0}) {
            const Color behind = ColorAt(ground, part);
            least = std::min(least, ContrastRatio(Blend(color, behind), behind));
        }
        return least;
    }

    /// Elements whose text does not stand on their fill but on the panel.
    static bool TextOnPanel(const Element& element)
    {
        return element.name == "CheckBox" || element.name == "Slider" || element.name == "ScrollBar";
    }

    CTheme m_Theme;
};

TEST(Contrast, IsThatOfTheGuidelines)
{
    EXPECT_DOUBLE_EQ(ContrastRatio({0, 0, 0, 255}, {255, 255, 255, 255}), 21.0);
    EXPECT_DOUBLE_EQ(ContrastRatio({9, 9, 9, 255}, {9, 9, 9, 255}), 1.0);
    EXPECT_NEAR(ContrastRatio({0x77, 0x77, 0x77, 255}, {255, 255, 255, 255}), 4.48, 0.005);
}

TEST(Contrast, BlendLaysOneColourOnAnother)
{
    EXPECT_EQ(Blend({255, 0, 0, 255}, {0, 0, 255, 255}), (Color{255, 0, 0, 255}));
    EXPECT_EQ(Blend({255, 0, 0, 0}, {0, 0, 255, 255}), (Color{0, 0, 255, 255}));
    EXPECT_EQ(Blend({255, 0, 0, 51}, {0, 0, 255, 255}), (Color{51, 0, 204, 255}));
}

TEST_F(ThemeContrast, TextCanBeReadInEveryState)
{
    for (const Element& element : m_Theme.m_Elements) {
        for (std::size_t state = 0; state < STATE_COUNT; ++state) {
            const Look& look = element.looks[state];
            const double wanted = static_cast<EState>(state) == EState::Disabled ? MARK : TEXT;
            const Fill ground = TextOnPanel(element) ? Fill{} : look.fill;
            EXPECT_GE(Least(look.text, ground), wanted) << element.name << ", state " << state;
        }
    }
}

TEST_F(ThemeContrast, MarksStandOutFromTheirGround)
{
    for (const Element& element : m_Theme.m_Elements) {
        for (std::size_t state = 0; state < STATE_COUNT; ++state) {
            if (static_cast<EState>(state) == EState::Disabled) continue;
            // The thumb of a slider reaches beyond its groove: it is seen against the panel.
            const Fill ground = element.name == "Slider" ? Fill{} : element.looks[state].fill;
            EXPECT_GE(Least(element.looks[state].mark, ground), MARK) << element.name << ", state " << state;
        }
    }
}

TEST_F(ThemeContrast, WhateverTakesTheKeyboardShowsItsFocus)
{
    for (const char* name :
         {"DialogMain", "Button", "CheckBox", "Edit", "Combo", "Tree", "Calendar", "ButtonTop", "ButtonScan",
          "ButtonZoomIn", "ButtonStatic", "ButtonText", "ButtonLayout", "ButtonConfig", "Slider"}) {
        const Element& element = *m_Theme.FindElement(name);
        for (std::size_t state = 0; state < STATE_COUNT; ++state) {
            if (static_cast<EState>(state) == EState::Disabled) continue;
            const Look& look = element.looks[state];
            const Fill ground = element.name == "Slider" ? Fill{} : look.fill;
            EXPECT_GT(look.ring.a, 0) << name;
            EXPECT_GE(Least(look.ring, ground), MARK) << name << ", state " << state;
        }
    }
}

TEST_F(ThemeContrast, ThePanelsGroundIsTheirOwnBrush)
{
    EXPECT_EQ(m_Theme.FindElement("DialogMain")->LookOf(EState::Normal).fill.top,
              (Color{0xC5, 0xC5, 0xC5, 255}));
}
}  // namespace
