// Arithmetic that the plain kernels of the H.264 side share.
#pragma once

#include <cstdint>

/// Clip1 of ITU-T H.264 5.7 for 8-bit samples.
constexpr uint8_t c264_clip1(int value)
{
    return static_cast<uint8_t>(value < 0 ? 0 : value > 255 ? 255 : value);
}

/// Clip3 of ITU-T H.264 5.7.
constexpr int c264_clip3(int low, int high, int value)
{
    return value < low ? low : value > high ? high : value;
}

/// The low 16 bits of a value, signed: plain kernels wrap around where vector lanes do.
constexpr int16_t c264_wrap16(int value)
{
    return static_cast<int16_t>(value);
}
