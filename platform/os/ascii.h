#pragma once

#include <algorithm>
#include <string_view>

// Text comparisons that know ASCII only, whatever the locale: file formats and names of the system.

inline constexpr std::string_view BLANKS = " \t\r\v\f";

constexpr std::string_view TrimBlanks(std::string_view text)
{
    const auto first = text.find_first_not_of(BLANKS);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(BLANKS) - first + 1);
}

constexpr char LowerAscii(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}
constexpr bool IsAsciiDigit(char c)
{
    return c >= '0' && c <= '9';
}
constexpr bool IsAsciiLetter(char c)
{
    return LowerAscii(c) >= 'a' && LowerAscii(c) <= 'z';
}

constexpr bool EqualIgnoringCase(std::string_view left, std::string_view right)
{
    return std::ranges::equal(left, right, {}, LowerAscii, LowerAscii);
}
