#pragma once

#include <cstdint>

// Key numbers of the platform, as far as the system names them.
inline constexpr std::uint32_t VK_TAB = 0x09;
inline constexpr std::uint32_t VK_BACK = 0x08;
inline constexpr std::uint32_t VK_RETURN = 0x0D;
inline constexpr std::uint32_t VK_ESCAPE = 0x1B;
inline constexpr std::uint32_t VK_END = 0x23;
inline constexpr std::uint32_t VK_DOWN = 0x28;
inline constexpr std::uint32_t VK_DELETE = 0x2E;
inline constexpr std::uint32_t VK_F1 = 0x70;

/// The platform's number of one of the toolkit's keys (Qt::Key); 0 for keys that have none here.
std::uint32_t VirtualKey(int key);
