#include "recorder/scene/Picture.h"

#include <cmath>

namespace recorder
{

void Picture::Resize(int newWidth, int newHeight)
{
    width = newWidth;
    height = newHeight;
    const size_t pixels = static_cast<size_t>(width) * static_cast<size_t>(height);
    y.resize(pixels);
    u.resize(pixels / 4);
    v.resize(pixels / 4);
}

namespace
{

// BT.601 in 8-bit fractions: black is 16, white is 235, neutral chroma 128.
uint8_t Luma(int b, int g, int r)
{
    return static_cast<uint8_t>(((66 * r + 129 * g + 25 * b + 128) >> 8) + 16);
}

}  // namespace

void FromBgra(const uint8_t* pixels, ptrdiff_t strideBytes, Picture& picture)
{
    const int width = picture.width;
    for (int y = 0; y < picture.height; ++y) {
        const uint8_t* from = pixels + y * strideBytes;
        uint8_t* to = picture.y.data() + static_cast<ptrdiff_t>(y) * width;
        for (int x = 0; x < width; ++x)
            to[x] = Luma(from[4 * x], from[4 * x + 1], from[4 * x + 2]);
    }
    for (int y = 0; y < picture.height / 2; ++y) {
        const uint8_t* const upper = pixels + 2 * y * strideBytes;
        const uint8_t* const lower = upper + strideBytes;
        uint8_t* const u = picture.u.data() + static_cast<ptrdiff_t>(y) * (width / 2);
        uint8_t* const v = picture.v.data() + static_cast<ptrdiff_t>(y) * (width / 2);
        for (int x = 0; x < width / 2; ++x) {
            const int i = 8 * x;  // the sum of four pixels, hence two more bits of fraction
            const int b = upper[i] + upper[i + 4] + lower[i] + lower[i + 4];
            const int g = upper[i + 1] + upper[i + 5] + lower[i + 1] + lower[i + 5];
            const int r = upper[i + 2] + upper[i + 6] + lower[i + 2] + lower[i + 6];
            u[x] = static_cast<uint8_t>(((-38 * r - 74 * g + 112 * b + 512) >> 10) + 128);
            v[x] = static_cast<uint8_t>(((112 * r - 94 * g - 18 * b + 512) >> 10) + 128);
        }
    }
}

double LumaPsnr(const Picture& a, const Picture& b)
{
    double squares = 0;
    for (size_t i = 0; i < a.y.size(); ++i) {
        const double difference = static_cast<double>(a.y[i]) - b.y[i];
        squares += difference * difference;
    }
    if (squares == 0) return 100;
    return 10 * std::log10(255.0 * 255.0 * static_cast<double>(a.y.size()) / squares);
}

}  // namespace recorder
