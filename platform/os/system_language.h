#pragma once

#include <cstdint>

/// The system's language identifier from the locale (LC_ALL, LC_MESSAGES, LANG, in this order, the first that
/// is set and not empty): zh_CN and zh_SG 0x0804, zh_TW 0x0404, zh_HK 0x0C04, en_* and the C locale 0x0409,
/// else 0.
std::uint16_t GetSystemDefaultLangID();
