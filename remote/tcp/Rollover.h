#pragma once

#include <cstdint>

struct CDeviceState;

/// The length of a recording's files, in milliseconds.
inline constexpr std::uint32_t ROLLOVER_MS = 300000;

/// Has the next frame end a file that is `lengthMs` old, and begin the next one: sets both request bits and
/// counts the new file's age from `now`, a tick count in milliseconds. Link thread only.
void CheckRollover(CDeviceState& state, std::uint32_t now, std::uint32_t lengthMs);
