#include "recorder/scene/View.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <numbers>

namespace recorder
{

namespace
{

constexpr int FRACTION = 1024;        // of the colour matrix
constexpr double MOST_BLUR = 0.02;    // of the picture's height
constexpr double WIPER_WIDTH = 0.03;  // of the picture's width

// A place along one axis that may lie beyond the edges, mirrored back into 0 to size - 1.
int Mirrored(double dAt, int size)
{
    const double turn = 2.0 * size;
    double place = std::fmod(dAt, turn);
    if (place < 0) place += turn;
    if (place >= size) place = turn - place;
    return std::clamp(static_cast<int>(place), 0, size - 1);
}

// One pass along the rows of pixels that lie `step` bytes apart; called for both directions.
void BlurLine(const uint8_t* from, uint8_t* to, int count, ptrdiff_t step, int radius)
{
    for (int colour = 0; colour < 3; ++colour) {
        int sum = 0;
        const auto at = [&](int i) { return from[std::clamp(i, 0, count - 1) * step + colour]; };
        for (int i = -radius; i <= radius; ++i)
            sum += at(i);
        for (int i = 0; i < count; ++i) {
            to[i * step + colour] = static_cast<uint8_t>(sum / (2 * radius + 1));
            sum += at(i + radius + 1) - at(i - radius);
        }
    }
}

struct XColours {
    std::array<std::array<int, 3>, 3> m_Matrix{};  // from blue, green, red; to the same
    int m_iOffset = 0;
};

// Hue turns the colour differences, saturation stretches them; contrast, iris and light stretch all.
XColours ColoursOf(const XView& view)
{
    constexpr std::array<double, 3> LUMA = {0.114, 0.587, 0.299};  // of blue, green, red
    const double stretch =
        std::pow(2.0, view.m_dContrast) * std::pow(3.0, view.m_dIris) * (view.m_bLight ? 1.4 : 1);
    const double colour = view.m_dSaturation < 0 ? 1 + view.m_dSaturation : 1 + 2 * view.m_dSaturation;
    const double cosine = std::cos(view.m_dHue * std::numbers::pi);
    const double sine = std::sin(view.m_dHue * std::numbers::pi);
    XColours colours;
    for (int to = 0; to < 3; ++to)
        for (int from = 0; from < 3; ++from) {
            const auto of = [](int i) { return static_cast<size_t>(i); };
            const double difference = (to == from ? 1.0 : 0.0) - LUMA[of(from)];
            // A turn about the grey axis, whose third part is left out: it would change the luma.
            const double turned =
                (of(to + 1) % 3 == of(from) ? 1.0 : 0.0) - (of(to + 2) % 3 == of(from) ? 1.0 : 0.0);
            const double value =
                LUMA[of(from)] + colour * (cosine * difference + sine * turned / std::sqrt(3.0));
            colours.m_Matrix[of(to)][of(from)] = static_cast<int>(std::lround(value * stretch * FRACTION));
        }
    // Contrast turns about the middle grey, iris about black.
    colours.m_iOffset = static_cast<int>(
        std::lround((view.m_dBright * 128 + 128 * (1 - std::pow(2.0, view.m_dContrast))) * FRACTION));
    return colours;
}

void Recolour(const XColours& colours, uint8_t* pPixels, size_t pixels)
{
    for (uint8_t* p = pPixels; p != pPixels + 4 * pixels; p += 4) {
        const std::array<int, 3> from = {p[0], p[1], p[2]};
        for (size_t to = 0; to < 3; ++to) {
            const auto& row = colours.m_Matrix[to];
            const int value =
                (row[0] * from[0] + row[1] * from[1] + row[2] * from[2] + colours.m_iOffset) / FRACTION;
            p[to] = static_cast<uint8_t>(std::clamp(value, 0, 255));
        }
    }
}

void DrawWiper(double dAt, uint8_t* pPixels, int iWidth, int iHeight)
{
    const int width = std::max(2, static_cast<int>(iWidth * WIPER_WIDTH));
    const int left = static_cast<int>(dAt * (iWidth - width));
    for (int y = 0; y < iHeight; ++y)
        std::memset(pPixels + 4 * (ptrdiff_t{y} * iWidth + left), 24, static_cast<size_t>(4 * width));
}

}  // namespace

void CViewPainter::Apply(const XView& view, uint8_t* pPixels, int iWidth, int iHeight)
{
    const size_t pixels = static_cast<size_t>(iWidth) * static_cast<size_t>(iHeight);
    if (view.m_dPan != 0 || view.m_dTilt != 0 || view.m_dZoom != 1) {
        m_Copy.assign(pPixels, pPixels + 4 * pixels);
        m_Columns.resize(static_cast<size_t>(iWidth));
        for (int x = 0; x < iWidth; ++x)
            m_Columns[static_cast<size_t>(x)] =
                Mirrored(iWidth * (0.5 + view.m_dPan) + (x + 0.5 - iWidth / 2.0) / view.m_dZoom, iWidth);
        for (int y = 0; y < iHeight; ++y) {
            const int row =
                Mirrored(iHeight * (0.5 + view.m_dTilt) + (y + 0.5 - iHeight / 2.0) / view.m_dZoom, iHeight);
            const uint8_t* const from = m_Copy.data() + ptrdiff_t{4} * row * iWidth;
            uint8_t* const to = pPixels + ptrdiff_t{4} * y * iWidth;
            for (int x = 0; x < iWidth; ++x)
                std::memcpy(to + ptrdiff_t{4} * x, from + ptrdiff_t{4} * m_Columns[static_cast<size_t>(x)], 4);
        }
    }
    const int radius = static_cast<int>(std::lround(view.m_dBlur * MOST_BLUR * iHeight));
    if (radius > 0) {
        m_Copy.resize(4 * pixels);
        for (int y = 0; y < iHeight; ++y)
            BlurLine(pPixels + ptrdiff_t{4} * y * iWidth, m_Copy.data() + ptrdiff_t{4} * y * iWidth, iWidth, 4,
                     radius);
        for (int x = 0; x < iWidth; ++x)
            BlurLine(m_Copy.data() + ptrdiff_t{4} * x, pPixels + ptrdiff_t{4} * x, iHeight,
                     ptrdiff_t{4} * iWidth, radius);
    }
    XView neutral = view;
    neutral.m_dIris = neutral.m_dBright = neutral.m_dContrast = neutral.m_dHue = neutral.m_dSaturation = 0;
    neutral.m_bLight = false;
    if (!(neutral == view)) Recolour(ColoursOf(view), pPixels, pixels);
    if (view.m_dWiper >= 0) DrawWiper(view.m_dWiper, pPixels, iWidth, iHeight);
}

}  // namespace recorder
