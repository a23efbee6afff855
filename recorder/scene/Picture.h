#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace recorder
{

// A picture as encoders take it: planar 4:2:0, BT.601 limited range, no gaps between rows. Width and height are
// even.
struct XPicture {
    int m_iWidth = 0;
    int m_iHeight = 0;
    std::vector<uint8_t> m_Y;
    std::vector<uint8_t> m_U;
    std::vector<uint8_t> m_V;

    void Resize(int iWidth, int iHeight);
};

// Converts 32-bit pixels (blue, green, red, unused) of the picture's size; strideBytes is that of the pixels.
void FromBgra(const uint8_t* pPixels, ptrdiff_t strideBytes, XPicture& picture);

// Peak signal to noise of the luma planes in dB; 100 when they are equal. The pictures have one size.
double LumaPsnr(const XPicture& a, const XPicture& b);

}  // namespace recorder
