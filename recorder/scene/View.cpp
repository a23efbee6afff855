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
int Mirrored(double at, int size)
{
    const double turn = 2.0 * size;
    double place = std::fmod(at, turn);
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

struct Colours {
    std::array<std::array<int, 3>, 3> matrix{};  // from blue, green, red; to the same
    int offset = 0;
};

// Hue turns the colour differences, saturation stretches them; contrast, iris and light stretch all.
Colours ColoursOf(const View& view)
{
    constexpr std::array<double, 3> LUMA = {0.114, 0.587, 0.299};  // of blue, green, red
    const double stretch = std::pow(2.0, view.contrast) * std::pow(3.0, view.iris) * (view.light ? 1.4 : 1);
    const double colour = view.saturation < 0 ? 1 + view.saturation : 1 + 2 * view.saturation;
    const double cosine = std::cos(view.hue * std::numbers::pi);
    const double sine = std::sin(view.hue * std::numbers::pi);
    Colours colours;
    for (int to = 0; to < 3; ++to)
        for (int from = 0; from < 3; ++from) {
            const auto of = [](int i) { return static_cast<size_t>(i); };
            const double difference = (to == from ? 1.0 : 0.0) - LUMA[of(from)];
            // A turn about the grey axis, whose third part is left out: it would change the luma.
            const double turned =
                (of(to + 1) % 3 == of(from) ? 1.0 : 0.0) - (of(to + 2) % 3 == of(from) ? 1.0 : 0.0);
            const double value =
                LUMA[of(from)] + colour * (cosine * difference + sine * turned / std::sqrt(3.0));
            colours.matrix[of(to)][of(from)] = static_cast<int>(std::lround(value * stretch * FRACTION));
        }
    // Contrast turns about the middle grey, iris about black.
    colours.offset = static_cast<int>(
        std::lround((view.bright * 128 + 128 * (1 - std::pow(2.0, view.contrast))) * FRACTION));
    return colours;
}

void Recolour(const Colours& colours, uint8_t* pixelData, size_t pixels)
{
    for (uint8_t* p = pixelData; p != pixelData + 4 * pixels; p += 4) {
        const std::array<int, 3> from = {p[0], p[1], p[2]};
        for (size_t to = 0; to < 3; ++to) {
            const auto& row = colours.matrix[to];
            const int value =
                (row[0] * from[0] + row[1] * from[1] + row[2] * from[2] + colours.offset) / FRACTION;
            p[to] = static_cast<uint8_t>(std::clamp(value, 0, 255));
        }
    }
}

void DrawWiper(double at, uint8_t* pixels, int wiperWidth, int height)
{
    const int width = std::max(2, static_cast<int>(wiperWidth * WIPER_WIDTH));
    const int left = static_cast<int>(at * (wiperWidth - width));
    for (int y = 0; y < height; ++y)
        std::memset(pixels + 4 * (ptrdiff_t{y} * wiperWidth + left), 24, 4 * static_cast<size_t>(width));
}

}  // namespace

void ViewPainter::Apply(const View& view, uint8_t* pixelData, int width, int height)
{
    const size_t pixels = static_cast<size_t>(width) * static_cast<size_t>(height);
    if (view.pan != 0 || view.tilt != 0 || view.zoom != 1) {
        m_Copy.assign(pixelData, pixelData + 4 * pixels);
        m_Columns.resize(static_cast<size_t>(width));
        for (int x = 0; x < width; ++x)
            m_Columns[static_cast<size_t>(x)] =
                Mirrored(width * (0.5 + view.pan) + (x + 0.5 - width / 2.0) / view.zoom, width);
        for (int y = 0; y < height; ++y) {
            const int row = Mirrored(height * (0.5 + view.tilt) + (y + 0.5 - height / 2.0) / view.zoom, height);
            const uint8_t* const from = m_Copy.data() + ptrdiff_t{4} * row * width;
            uint8_t* const to = pixelData + ptrdiff_t{4} * y * width;
            for (int x = 0; x < width; ++x)
                std::memcpy(to + ptrdiff_t{4} * x, from + ptrdiff_t{4} * m_Columns[static_cast<size_t>(x)], 4);
        }
    }
    const int radius = static_cast<int>(std::lround(view.blur * MOST_BLUR * height));
    if (radius > 0) {
        m_Copy.resize(4 * pixels);
        for (int y = 0; y < height; ++y)
            BlurLine(pixelData + ptrdiff_t{4} * y * width, m_Copy.data() + ptrdiff_t{4} * y * width, width, 4,
                     radius);
        for (int x = 0; x < width; ++x)
            BlurLine(m_Copy.data() + ptrdiff_t{4} * x, pixelData + ptrdiff_t{4} * x, height,
                     ptrdiff_t{4} * width, radius);
    }
    View neutral = view;
    neutral.iris = neutral.bright = neutral.contrast = neutral.hue = neutral.saturation = 0;
    neutral.light = false;
    if (!(neutral == view)) Recolour(ColoursOf(view), pixelData, pixels);
    if (view.wiper >= 0) DrawWiper(view.wiper, pixelData, width, height);
}

}  // namespace recorder
