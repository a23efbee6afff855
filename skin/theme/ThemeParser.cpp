#include "skin/theme/ThemeParser.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <map>
#include <optional>
#include <utility>

namespace
{
constexpr std::size_t MAX_FILE_BYTES = 1 << 20;
constexpr std::size_t MAX_LINE_BYTES = 1024;
constexpr std::size_t MAX_NAME_BYTES = 64;
constexpr std::size_t MAX_COLORS = 512;
constexpr std::size_t MAX_ELEMENTS = 256;
constexpr std::size_t MAX_ICONS = 256;
constexpr std::size_t MAX_SHAPES = 64;
constexpr std::size_t MAX_STEPS = 256;  // of one shape
constexpr float MAX_UNITS = 1024;       // of a co-ordinate, either sign

constexpr std::array<std::string_view, STATE_COUNT> STATE_NAMES = {"normal", "hover", "pressed", "checked",
                                                                   "disabled"};

struct Patch {
    std::optional<Fill> fill;
    std::optional<Color> border;
    std::optional<Color> text;
    std::optional<Color> mark;
    std::optional<Color> ring;
};
using CPatches = std::array<Patch, STATE_COUNT>;

struct ColorKey {
    std::string_view name;
    std::optional<Color> Patch::*given;
    Color Look::*resolved;
};

constexpr ColorKey COLOR_KEYS[] = {{"border", &Patch::border, &Look::border},
                                   {"text", &Patch::text, &Look::text},
                                   {"mark", &Patch::mark, &Look::mark},
                                   {"ring", &Patch::ring, &Look::ring}};

struct Metric {
    std::string_view name;
    int least;
    int most;
    int Element::*first;
    int Element::*second;  // null for one number
};

constexpr Metric METRICS[] = {{"border", 0, 8, &Element::border, nullptr},
                              {"radius", 0, 64, &Element::radius, nullptr},
                              {"padding", 0, 64, &Element::padY, &Element::padX},
                              {"size", 0, 512, &Element::width, &Element::height}};

struct StepForm {
    char letter;
    PathStep::EKind kind;
    std::size_t count;
};

constexpr StepForm STEP_FORMS[] = {{'M', PathStep::EKind::Move, 2},  {'L', PathStep::EKind::Line, 2},
                                   {'C', PathStep::EKind::Curve, 6}, {'O', PathStep::EKind::Circle, 3},
                                   {'R', PathStep::EKind::Box, 4},   {'Z', PathStep::EKind::Close, 0}};

/// What stops the parse. Never leaves this file.
struct ParseFault {
    std::string text;
};

[[noreturn]] void Fail(std::string text)
{
    throw ParseFault{std::move(text)};
}

std::string Quoted(std::string_view text)
{
    constexpr std::size_t QUOTED_MOST = 40;
    std::string out = "'";
    for (const char c : text.substr(0, QUOTED_MOST)) {
        out += static_cast<unsigned char>(c) < 0x20 || c == 0x7F ? '?' : c;
    }
    return out + (text.size() > QUOTED_MOST ? "...'" : "'");
}

class CParser
{
  public:
    CTheme Parse(std::string_view text);
    int Line() const { return m_iLine; }

  private:
    void SplitLine(std::string_view line);
    void Statement();
    void TopLevel(std::string_view word);
    void InIcon(std::string_view word);
    void InElement(std::string_view word);
    void StateLine(std::size_t state);
    void BeginElement();
    void EndElement();
    void Finish();

    std::string_view Next(const char* wanted);
    std::string_view NextName(const char* wanted);
    std::string_view NextQuoted(const char* wanted);
    bool AtEnd() const { return m_Token == m_Tokens.size(); }
    float NextNumber(const char* wanted, float least, float most);
    int NextInteger(const char* wanted, int least, int most);
    Color NextColor(const char* wanted);
    Fill NextFill();
    Color ColorOf(std::string_view token) const;
    std::vector<PathStep> NextSteps();

    CTheme m_Theme;
    std::map<std::string, Color, std::less<>> m_Colors;
    std::map<std::string, Fill, std::less<>> m_Gradients;
    std::map<std::string, CPatches, std::less<>> m_Patches;
    bool m_bHasHeader = false;
    std::optional<Icon> m_Icon;        // the block that is open, one of the two at most
    std::optional<Element> m_Element;  //
    CPatches m_ElementPatches;
    std::vector<std::string_view> m_Tokens;  // of the present line
    std::size_t m_Token = 0;
    int m_iLine = 0;
};

CTheme CParser::Parse(std::string_view text)
{
    if (text.size() > MAX_FILE_BYTES) Fail("the file is larger than 1 MiB");
    if (text.substr(0, 3) == "\xEF\xBB\xBF") text.remove_prefix(3);
    while (!text.empty()) {
        ++m_iLine;
        const std::size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        SplitLine(line);
        if (!m_Tokens.empty()) Statement();
    }
    Finish();
    return std::move(m_Theme);
}

void CParser::SplitLine(std::string_view line)
{
    if (line.size() > MAX_LINE_BYTES) Fail("the line is longer than 1024 bytes");
    m_Tokens.clear();
    m_Token = 0;
    std::size_t at = 0;
    while (at < line.size()) {
        if (line[at] == ' ' || line[at] == '\t') {
            ++at;
            continue;
        }
        if (line[at] == ';') return;
        if (static_cast<unsigned char>(line[at]) < 0x20) Fail("a control character stands in the line");
        const std::size_t begin = at;
        if (line[at] == '"') {
            at = line.find('"', at + 1);
            if (at == std::string_view::npos) Fail("the quote is not closed");
            ++at;
        } else {
            at = line.find_first_of(" \t;\"", at);
            if (at == std::string_view::npos) at = line.size();
        }
        m_Tokens.push_back(line.substr(begin, at - begin));
    }
}

void CParser::Statement()
{
    const std::string_view word = Next("a statement");
    if (!m_bHasHeader && word != "theme") Fail("the first statement has to be: theme 1 \"Name\"");
    if (m_Icon) {
        InIcon(word);
    } else if (m_Element) {
        InElement(word);
    } else {
        TopLevel(word);
    }
    if (!AtEnd()) Fail("nothing may follow here, found " + Quoted(m_Tokens[m_Token]));
}

void CParser::TopLevel(std::string_view word)
{
    if (word == "theme") {
        if (m_bHasHeader) Fail("the theme is already named");
        if (NextInteger("the version of the form", 0, 1000) != 1) Fail("only version 1 of the form is known");
        m_Theme.m_strName = NextQuoted("the theme's name in quotes");
        m_bHasHeader = true;
    } else if (word == "color" || word == "gradient") {
        const std::string_view name = NextName("the colour's name");
        if (m_Colors.contains(name) || m_Gradients.contains(name)) Fail(Quoted(name) + " is already defined");
        if (m_Colors.size() + m_Gradients.size() >= MAX_COLORS) Fail("too many colours, the limit is 512");
        if (word == "color") {
            m_Colors.emplace(name, NextColor("a colour"));
        } else {
            const Color top = NextColor("the top colour");
            m_Gradients.emplace(name, Fill{top, NextColor("the bottom colour")});
        }
    } else if (word == "icon") {
        const std::string_view name = NextName("the icon's name");
        if (m_Theme.FindIcon(name) || name == "none") Fail("icon " + Quoted(name) + " is already defined");
        if (m_Theme.m_Icons.size() >= MAX_ICONS) Fail("too many icons, the limit is 256");
        m_Icon.emplace().name = name;
        m_Icon->width = NextNumber("the icon's width", 1, MAX_UNITS);
        m_Icon->height = NextNumber("the icon's height", 1, MAX_UNITS);
    } else if (word == "element") {
        BeginElement();
    } else {
        Fail("unknown statement " + Quoted(word));
    }
}

void CParser::InIcon(std::string_view word)
{
    if (word == "end") {
        m_Theme.m_Icons.push_back(std::move(*m_Icon));
        m_Icon.reset();
        return;
    }
    if (word != "fill" && word != "stroke") Fail("an icon has fill, stroke and end, not " + Quoted(word));
    if (m_Icon->shapes.size() >= MAX_SHAPES) Fail("too many shapes in the icon, the limit is 64");
    Shape shape;
    if (word == "stroke") shape.stroke = NextNumber("the pen's width", 0.01F, MAX_UNITS);
    shape.steps = NextSteps();
    m_Icon->shapes.push_back(std::move(shape));
}

void CParser::BeginElement()
{
    const std::string_view name = NextName("the element's name");
    if (m_Theme.FindElement(name)) Fail("element " + Quoted(name) + " is already defined");
    if (m_Theme.m_Elements.size() >= MAX_ELEMENTS) Fail("too many elements, the limit is 256");
    Element element;
    CPatches patches;
    if (!AtEnd()) {
        if (Next("':'") != ":") Fail("only ': BASE' may follow an element's name");
        const std::string_view base = NextName("the base element's name");
        const Element* from = m_Theme.FindElement(base);
        if (!from) Fail("base element " + Quoted(base) + " does not stand above");
        element = *from;
        patches = m_Patches.find(base)->second;
    }
    element.name = name;
    m_Element = std::move(element);
    m_ElementPatches = patches;
}

void CParser::InElement(std::string_view word)
{
    for (std::size_t state = 0; state < STATE_COUNT; ++state) {
        if (word == STATE_NAMES[state]) return StateLine(state);
    }
    for (const Metric& metric : METRICS) {
        if (word != metric.name) continue;
        (*m_Element).*metric.first = NextInteger("a number of pixels", metric.least, metric.most);
        if (metric.second)
            (*m_Element).*metric.second = NextInteger("a number of pixels", metric.least, metric.most);
        return;
    }
    if (word == "font") {
        m_Element->fontPercent = NextInteger("the font's size in percent", 50, 300);
        m_Element->bold = false;
        if (!AtEnd()) {
            if (Next("bold") != "bold") Fail("only 'bold' may follow the font's size");
            m_Element->bold = true;
        }
    } else if (word == "icon") {
        const std::string_view name = NextName("an icon's name or none");
        if (name != "none" && !m_Theme.FindIcon(name)) Fail("icon " + Quoted(name) + " does not stand above");
        m_Element->icon = name == "none" ? "" : name;
    } else if (word == "end") {
        EndElement();
    } else {
        Fail("unknown property " + Quoted(word) + " of an element");
    }
}

void CParser::StateLine(std::size_t state)
{
    Patch& patch = m_ElementPatches[state];
    while (!AtEnd()) {
        const std::string_view key = Next("a property of the state");
        if (key == "fill") {
            patch.fill = NextFill();
            continue;
        }
        const auto* known = std::find_if(std::begin(COLOR_KEYS), std::end(COLOR_KEYS),
                                         [key](const ColorKey& candidate) { return candidate.name == key; });
        if (known == std::end(COLOR_KEYS))
            Fail("a state has fill, border, text, mark and ring, not " + Quoted(key));
        patch.*known->given = NextColor("a colour");
    }
}

void CParser::EndElement()
{
    const Patch& normal = m_ElementPatches[0];
    for (std::size_t state = 0; state < STATE_COUNT; ++state) {
        const Patch& patch = m_ElementPatches[state];
        Look look;
        look.fill = patch.fill.value_or(normal.fill.value_or(look.fill));
        for (const ColorKey& key : COLOR_KEYS) {
            look.*key.resolved = (patch.*key.given).value_or((normal.*key.given).value_or(look.*key.resolved));
        }
        m_Element->looks[state] = look;
    }
    m_Patches.emplace(m_Element->name, m_ElementPatches);
    m_Theme.m_Elements.push_back(std::move(*m_Element));
    m_Element.reset();
}

void CParser::Finish()
{
    if (m_Icon) Fail("icon " + Quoted(m_Icon->name) + " lacks its end");
    if (m_Element) Fail("element " + Quoted(m_Element->name) + " lacks its end");
    m_iLine = 0;
    if (!m_bHasHeader) Fail("the file holds no theme");
    for (const std::string_view name : RequiredElements()) {
        if (!m_Theme.FindElement(name)) Fail("element " + Quoted(name) + " is missing");
    }
}

std::string_view CParser::Next(const char* wanted)
{
    if (AtEnd()) Fail(std::string("the line ends where it needs ") + wanted);
    return m_Tokens[m_Token++];
}

std::string_view CParser::NextName(const char* wanted)
{
    const std::string_view token = Next(wanted);
    constexpr std::string_view ALLOWED = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-";
    if (token.find_first_not_of(ALLOWED) != std::string_view::npos) {
        Fail(Quoted(token) + " is no name; names have letters, digits, '_' and '-'");
    }
    if (token.size() > MAX_NAME_BYTES) Fail("the name " + Quoted(token) + " is longer than 64 bytes");
    return token;
}

std::string_view CParser::NextQuoted(const char* wanted)
{
    const std::string_view token = Next(wanted);
    if (token.size() < 2 || token.front() != '"')
        Fail(std::string("needs ") + wanted + ", found " + Quoted(token));
    return token.substr(1, token.size() - 2);
}

float CParser::NextNumber(const char* wanted, float least, float most)
{
    const std::string_view token = Next(wanted);
    float value = 0;
    const auto [end, code] = std::from_chars(token.data(), token.data() + token.size(), value);
    if (code != std::errc() || end != token.data() + token.size() || !std::isfinite(value)) {
        Fail(std::string("needs ") + wanted + ", found " + Quoted(token));
    }
    if (value < least || value > most) {
        std::array<char, 96> range{};
        std::snprintf(range.data(), range.size(), " is not in %g to %g", least, most);
        Fail(std::string(wanted) + ": " + Quoted(token) + range.data());
    }
    return value;
}

int CParser::NextInteger(const char* wanted, int least, int most)
{
    const float value = NextNumber(wanted, static_cast<float>(least), static_cast<float>(most));
    if (value != std::floor(value)) Fail(std::string(wanted) + " has to be a whole number");
    return static_cast<int>(value);
}

Color CParser::ColorOf(std::string_view token) const
{
    if (token.front() != '#') {
        const auto it = m_Colors.find(token);
        if (it == m_Colors.end()) Fail("colour " + Quoted(token) + " does not stand above");
        return it->second;
    }
    std::uint32_t value = 0;
    const auto [end, code] = std::from_chars(token.data() + 1, token.data() + token.size(), value, 16);
    if (code != std::errc() || end != token.data() + token.size() || (token.size() != 7 && token.size() != 9)) {
        Fail(Quoted(token) + " is no colour; colours are #RRGGBB or #RRGGBBAA");
    }
    if (token.size() == 7) value = value << 8 | 0xFF;
    const auto byte = [value](int shift) { return static_cast<std::uint8_t>(value >> shift & 0xFF); };
    return {byte(24), byte(16), byte(8), byte(0)};
}

Color CParser::NextColor(const char* wanted)
{
    return ColorOf(Next(wanted));
}

Fill CParser::NextFill()
{
    const std::string_view token = Next("a colour, a gradient or none");
    if (token == "none") return {};
    const auto it = m_Gradients.find(token);
    if (it != m_Gradients.end()) return it->second;
    const Color color = ColorOf(token);
    return {color, color};
}

std::vector<PathStep> CParser::NextSteps()
{
    std::vector<PathStep> steps;
    while (!AtEnd()) {
        const std::string_view token = Next("a step");
        const StepForm* form = nullptr;
        for (const StepForm& candidate : STEP_FORMS) {
            if (token.size() == 1 && token.front() == candidate.letter) form = &candidate;
        }
        if (!form) Fail("a step is one of M L C O R Z, not " + Quoted(token));
        if (steps.size() >= MAX_STEPS) Fail("too many steps in the shape, the limit is 256");
        PathStep step;
        step.kind = form->kind;
        for (std::size_t i = 0; i < form->count; ++i)
            step.values[i] = NextNumber("a number", -MAX_UNITS, MAX_UNITS);
        steps.push_back(step);
    }
    if (steps.empty()) Fail("the shape has no steps");
    return steps;
}
}  // namespace

bool ParseTheme(std::string_view text, CTheme& theme, ThemeError& error)
{
    CParser parser;
    try {
        theme = parser.Parse(text);
        return true;
    } catch (const ParseFault& fault) {
        error = {parser.Line(), fault.text};
        return false;
    }
}

bool LoadTheme(const std::string& hostPath, CTheme& theme, ThemeError& error)
{
    std::ifstream file(hostPath, std::ios::binary);
    if (!file) {
        error = {0, "the file can't be opened"};
        return false;
    }
    std::string text(MAX_FILE_BYTES + 1,
                     '\0');  // one more than is allowed, so that a larger file is seen as such
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    if (file.bad()) {
        error = {0, "the file can't be read"};
        return false;
    }
    text.resize(static_cast<std::size_t>(file.gcount()));
    return ParseTheme(text, theme, error);
}
