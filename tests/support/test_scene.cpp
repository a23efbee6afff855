#include "tests/support/test_scene.h"

#include <algorithm>
#include <cmath>
#include <random>

namespace
{
/// A cheap hash of three numbers, for texture and noise that don't depend on the order of drawing.
uint32_t Hash(uint32_t a, uint32_t b, uint32_t c)
{
    uint32_t h = a * 0x9E3779B1u ^ b * 0x85EBCA77u ^ c * 0xC2B2AE3Du;
    h ^= h >> 15;
    h *= 0x2C1B3C6Du;
    h ^= h >> 13;
    h *= 0x297A2D39u;
    return h ^ h >> 16;
}

/// A texture of soft and hard parts.
int Texture(int x, int y)
{
    const double soft =
        40 * std::sin(x * 0.031) + 35 * std::cos(y * 0.043 + x * 0.008) + 18 * std::sin(x * 0.21 + y * 0.17);
    const int hard = (x / 24 + y / 16) % 5 == 0 ? 30 : 0;
    const int grain = static_cast<int>(Hash(static_cast<uint32_t>(x), static_cast<uint32_t>(y), 7) % 9) - 4;
    return 120 + static_cast<int>(soft) + hard + grain;
}

uint8_t Clip(int value)
{
    return static_cast<uint8_t>(std::clamp(value, 16, 235));
}

void Fill(TestPicture* picture, int plane, int x, int y, int width, int height, int value)
{
    const int shift = plane == 0 ? 0 : 1;
    const int planeWidth = picture->width >> shift;
    const int planeHeight = picture->height >> shift;
    for (int row = std::max(y >> shift, 0); row < std::min((y + height) >> shift, planeHeight); ++row) {
        for (int column = std::max(x >> shift, 0); column < std::min((x + width) >> shift, planeWidth);
             ++column)
            picture->plane[plane][static_cast<size_t>(row * planeWidth + column)] =
                Clip(value + (plane == 0 ? (row * 3 + column) % 7 : 0));
    }
}

void DrawBackground(const TestSceneShape& shape, TestPicture* picture, int panX, int panY, int light)
{
    for (int y = 0; y < shape.height; ++y) {
        for (int x = 0; x < shape.width; ++x)
            picture->plane[0][static_cast<size_t>(y * shape.width + x)] =
                Clip(Texture(x + panX, y + panY) + light);
    }
    for (int y = 0; y < shape.height / 2; ++y) {
        for (int x = 0; x < shape.width / 2; ++x) {
            const size_t at = static_cast<size_t>(y * (shape.width / 2) + x);
            picture->plane[1][at] = Clip(128 + static_cast<int>(30 * std::sin((x + panX / 2) * 0.05)));
            picture->plane[2][at] = Clip(128 + static_cast<int>(30 * std::cos((y + panY / 2) * 0.06)));
        }
    }
}

void DrawSurveillance(const TestSceneShape& shape, int frame, TestPicture* picture)
{
    DrawBackground(shape, picture, 0, 0, 0);
    const bool still = shape.scene == ETestScene::Still;
    // the sensor's noise: one sample in sixteen is off by one or two
    for (size_t i = 0; !still && i < picture->plane[0].size(); ++i) {
        const uint32_t h = Hash(static_cast<uint32_t>(i), static_cast<uint32_t>(frame), shape.seed);
        if (h % 16 == 0) picture->plane[0][i] = Clip(picture->plane[0][i] + static_cast<int>(h >> 8) % 5 - 2);
    }
    const struct {
        int width, height, y;
        double speed;
        int luma, u, v;
        bool inStill;
    } objects[] = {
        {shape.width / 9, shape.height / 4, shape.height / 2, 1.7, 60, 100, 150, false},
        {shape.width / 14, shape.height / 6, shape.height / 3, -2.3, 190, 140, 110, false},
        {shape.width / 20, shape.height / 5, shape.height * 3 / 4, 0.6, 40, 128, 128, false},
        {shape.width / 40, shape.height / 12, shape.height / 2, 0.3, 40, 128, 128, true},
    };
    for (const auto& object : objects) {
        if (still != object.inStill) continue;
        const int span = shape.width + object.width * 2;
        const int moved = static_cast<int>(std::lround(object.speed * frame)) + shape.width / 3;
        const int x = ((moved % span) + span) % span - object.width;
        const int y = object.y + static_cast<int>(std::lround(3 * std::sin(frame * 0.2)));
        Fill(picture, 0, x, y, object.width, object.height, object.luma);
        Fill(picture, 1, x, y, object.width, object.height, object.u);
        Fill(picture, 2, x, y, object.width, object.height, object.v);
    }
    // a clock of eight digits, drawn as bars that count the frames
    for (int digit = 0; digit < 8; ++digit) {
        const int value = digit == 7 ? frame % 10 : digit == 6 ? frame / 10 % 10 : digit;
        Fill(picture, 0, 8 + digit * 10, 8, 8, 14, 20);
        Fill(picture, 0, 9 + digit * 10, 9 + value, 6, 3, 235);
    }
}

/// Panes of 80x72 samples, each of which looks at the texture through a window that moves its own way.
void DrawRich(const TestSceneShape& shape, int frame, TestPicture* picture)
{
    const auto seed = static_cast<uint32_t>(frame) * 8 + shape.seed;
    for (size_t plane = 0; plane < 3; ++plane) {
        const int shift = plane == 0 ? 0 : 1;
        const int width = shape.width >> shift;
        const int height = shape.height >> shift;
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const uint32_t pane = Hash(static_cast<uint32_t>(x / (80 >> shift)),
                                           static_cast<uint32_t>(y / (72 >> shift)), 11);
                const int panX = frame * (static_cast<int>(pane % 15) - 7) / 2;
                const int panY = frame * (static_cast<int>(pane / 16 % 11) - 5) / 2;
                const int seen = plane == 0 ? Texture(x + panX, y + panY)
                                            : (Texture(2 * x + panX, 2 * y + panY + 300) - 120) / 2 + 128;
                const uint32_t noise =
                    Hash(static_cast<uint32_t>(y * width + x), seed, static_cast<uint32_t>(plane));
                // two dice, so that small noise is more frequent than large
                const int more = static_cast<int>(noise % 7 + (noise >> 8) % 7) - 6;
                picture->plane[plane][static_cast<size_t>(y * width + x)] =
                    Clip(seen + more / (plane == 0 ? 1 : 2));
            }
        }
    }
}

void DrawNoise(const TestSceneShape& shape, int frame, TestPicture* picture)
{
    std::mt19937 random(shape.seed * 977u + static_cast<uint32_t>(frame));
    for (auto& plane : picture->plane) {
        for (uint8_t& sample : plane)
            sample = static_cast<uint8_t>(random() >> 24);
    }
}
}  // namespace

void DrawScene(const TestSceneShape& shape, int frameNumber, TestPicture* pictureOut)
{
    pictureOut->width = shape.width;
    pictureOut->height = shape.height;
    pictureOut->plane[0].resize(static_cast<size_t>(shape.width) * shape.height);
    pictureOut->plane[1].resize(static_cast<size_t>(shape.width / 2) * (shape.height / 2));
    pictureOut->plane[2].resize(pictureOut->plane[1].size());
    switch (shape.scene) {
        case ETestScene::Surveillance:
        case ETestScene::Still:
            DrawSurveillance(shape, frameNumber, pictureOut);
            break;
        case ETestScene::Lively:
            DrawBackground(shape, pictureOut, frameNumber * 5,
                           static_cast<int>(std::lround(12 * std::sin(frameNumber * 0.35))),
                           static_cast<int>(std::lround(10 * std::sin(frameNumber * 0.5))));
            break;
        case ETestScene::Rich:
            DrawRich(shape, frameNumber, pictureOut);
            break;
        case ETestScene::Noise:
            DrawNoise(shape, frameNumber, pictureOut);
            break;
    }
}
