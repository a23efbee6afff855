#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// A text from outside as it may be shown on a terminal: every byte of a control character, and every byte that
/// is no part of a UTF-8 character, becomes "\xNN". Those of `allowed` stay.
inline std::string EscapeControls(std::string_view text, std::string_view allowed = {})
{
    constexpr char DIGITS[] = "0123456789ABCDEF";
    // The bytes of the UTF-8 character at `at`; 0 for a stray byte, a control character or a long form.
    const auto characterBytes = [text](std::size_t at) -> std::size_t {
        const auto first = static_cast<std::uint8_t>(text[at]);
        if (first < 0x80) return first >= 0x20 && first != 0x7F ? 1 : 0;
        const std::size_t bytes = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
        if (first < 0xC2 || first > 0xF4 || at + bytes > text.size()) return 0;
        for (std::size_t i = 1; i < bytes; ++i)
            if ((static_cast<std::uint8_t>(text[at + i]) & 0xC0) != 0x80) return 0;
        const auto second = static_cast<std::uint8_t>(text[at + 1]);
        if (first == 0xC2 && second < 0xA0) return 0;  // U+0080 to U+009F
        if ((first == 0xE0 && second < 0xA0) || (first == 0xF0 && second < 0x90)) return 0;
        if ((first == 0xED && second >= 0xA0) || (first == 0xF4 && second >= 0x90)) return 0;
        return bytes;
    };
    std::string shown;
    shown.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        const char c = text[at];
        const std::size_t bytes = allowed.find(c) != std::string_view::npos ? 1 : characterBytes(at);
        if (bytes > 0) {
            shown.append(text.substr(at, bytes));
            at += bytes;
            continue;
        }
        const auto byte = static_cast<std::uint8_t>(c);
        shown.append({'\\', 'x', DIGITS[byte >> 4], DIGITS[byte & 0xF]});
        ++at;
    }
    return shown;
}
