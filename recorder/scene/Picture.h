#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace recorder
{

/// A picture as encoders take it: planar 4:2:0, BT.601 limited range, no gaps between rows. Width and height
/// are even.
struct Picture {
    int width = 0;
    int height = 0;
    std::vector<uint8_t> y;
    std::vector<uint8_t> u;
    std::vector<uint8_t> v;

    void Resize(int width, int height);
};

/// Converts 32-bit pixels (blue, green, red, unused) of the picture's size; strideBytes is that of the pixels.
void FromBgra(const uint8_t* pixels, ptrdiff_t strideBytes, Picture& picture);

/// Peak signal to noise of the luma planes in dB; 100 when they are equal. The pictures have one size.
double LumaPsnr(const Picture& a, const Picture& b);

}  // namespace recorder
