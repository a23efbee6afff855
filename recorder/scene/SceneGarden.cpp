#include <array>
#include <cmath>
#include <numbers>

#include "recorder/scene/Figures.h"
#include "recorder/scene/Scenes.h"

namespace recorder
{

namespace
{

constexpr double LAWN = 330;
constexpr double TURN = 2 * std::numbers::pi;

double Wind(double seconds, double atX)
{
    return std::sin(seconds * 1.3 - atX * 0.012) * 0.7 + std::sin(seconds * 2.9 - atX * 0.03) * 0.3;
}

void DrawCloud(Canvas& canvas, double atX, double atY, double size)
{
    for (uint32_t i = 0; i < 6; ++i)
        canvas.Ellipse(atX + (i * 26.0 - 65) * size, atY - 12 * size * std::sin(0.6 * i),
                       (30 - 3.0 * (i % 3)) * size, (17 - 2.0 * (i % 2)) * size, Rgb(0xFFFFFF, 0.55));
}

void DrawTree(Canvas& canvas, double atX, double atY, double size, double seconds)
{
    const double sway = Wind(seconds, atX) * 7 * size;
    canvas.Ellipse(atX + 20 * size, atY + 4, 84 * size, 13 * size, Rgb(0x1F3A18, 0.35));
    canvas.Polygon({{atX - 11 * size, atY},
                    {atX - 5 * size + sway * 0.3, atY - 110 * size},
                    {atX + 5 * size + sway * 0.3, atY - 110 * size},
                    {atX + 12 * size, atY}},
                   Rgb(0x6A4B33));
    for (uint32_t i = 0; i < 26; ++i) {
        const double up = Noise(140, i);
        const double x = atX + (Noise(141, i) - 0.5) * 130 * size * (1.15 - 0.5 * up) + sway * (0.5 + 0.9 * up);
        const double y = atY - (84 + 110 * up) * size + std::sin(seconds * 2 + i) * 1.5;
        const double r = (20 + 12 * Noise(142, i)) * size;
        canvas.Ellipse(x, y, r, r * 0.86,
                       Blend(Rgb(0x356B2C), Rgb(0x8DB84A), 0.75 * up + 0.25 * Noise(143, i)));
    }
}

void DrawFlower(Canvas& canvas, double atX, double atY, double size, double bend, const Colour& petals)
{
    const double x = atX + bend;
    canvas.Curve({atX, atY}, {atX, atY - 12 * size}, {x, atY - 16 * size}, {x, atY - 26 * size}, 2 * size,
                 Rgb(0x3E7A2C));
    for (int i = 0; i < 5; ++i) {
        const double a = i * TURN / 5 + bend * 0.05;
        canvas.Ellipse(x + 5 * size * std::cos(a), atY - 28 * size + 5 * size * std::sin(a), 4 * size, 4 * size,
                       petals);
    }
    canvas.Ellipse(x, atY - 28 * size, 3.4 * size, 3.4 * size, Rgb(0xF6C436));
}

void DrawButterfly(Canvas& canvas, double atX, double atY, double flap, const Colour& colour)
{
    const double open = 2 + 8 * std::abs(std::sin(flap));
    canvas.Ellipse(atX - open * 0.6, atY - 3, open * 0.6, 6, colour);
    canvas.Ellipse(atX + open * 0.6, atY - 3, open * 0.6, 6, colour);
    canvas.Ellipse(atX - open * 0.45, atY + 4, open * 0.45, 4, Blend(colour, Rgb(0x000000), 0.2));
    canvas.Ellipse(atX + open * 0.45, atY + 4, open * 0.45, 4, Blend(colour, Rgb(0x000000), 0.2));
    canvas.Line({atX, atY - 6}, {atX, atY + 7}, 1.6, Rgb(0x2A2018));
}

class Garden : public IScene
{
  public:
    const char* Name() const override { return "Garden"; }

    void DrawStill(Canvas& canvas) const override
    {
        canvas.Shade(0, 0, SCENE_WIDTH, LAWN, {{0, Rgb(0x5FA3DC)}, {1, Rgb(0xE3F0EC)}});
        canvas.Glow(600, 70, 150, Rgb(0xFFF6CF, 0.9));
        canvas.Polygon(
            {{0, 262}, {120, 232}, {260, 256}, {400, 226}, {560, 250}, {704, 220}, {704, LAWN}, {0, LAWN}},
            Rgb(0x8FB59B));
        canvas.Polygon({{0, 292}, {160, 268}, {330, 286}, {520, 266}, {704, 284}, {704, LAWN}, {0, LAWN}},
                       Rgb(0x6F9E6A));
        // the house
        canvas.Rect(408, 190, 210, 140, Rgb(0xF1E7D3));
        canvas.Polygon({{390, 194}, {450, 126}, {580, 126}, {636, 194}}, Rgb(0xA94F3B));
        for (int i = 0; i < 6; ++i)
            canvas.Line({398.0 + 8 * i, 184.0 - 10 * i}, {630.0 - 9 * i, 184.0 - 10 * i}, 1.5, Rgb(0x8B3C2C));
        canvas.Rect(560, 104, 22, 42, Rgb(0x9A5B48));
        for (const double x : {430.0, 548.0}) {
            canvas.Rect(x, 222, 46, 48, Rgb(0xFFFFFF));
            canvas.Shade(x + 3, 225, 40, 42, {{0, Rgb(0x9CC3DC)}, {1, Rgb(0x54798F)}});
            canvas.Line({x + 23, 225}, {x + 23, 267}, 2.5, Rgb(0xFFFFFF));
            canvas.Rect(x - 13, 222, 11, 48, Rgb(0x3F7F6B));
            canvas.Rect(x + 48, 222, 11, 48, Rgb(0x3F7F6B));
        }
        canvas.RoundRect(496, 248, 34, 82, 4, Rgb(0x6B4630));
        canvas.Ellipse(523, 292, 2.5, 2.5, Rgb(0xE8C66A));
        canvas.Shade(0, LAWN, SCENE_WIDTH, SCENE_HEIGHT - LAWN, {{0, Rgb(0x8CBF54)}, {1, Rgb(0x4E8A34)}});
        for (int i = 0; i < 7; ++i)  // mown stripes
            canvas.Polygon(
                {{i * 120.0 - 60, LAWN}, {i * 120.0, LAWN}, {i * 190.0 - 240, 576}, {i * 190.0 - 350, 576}},
                Rgb(0xFFFFFF, 0.07));
        canvas.Polygon({{494, LAWN}, {532, LAWN}, {470, 420}, {380, 576}, {226, 576}, {390, 410}},
                       Rgb(0xD9C9A6));
        for (uint32_t i = 0; i < 60; ++i) {
            const double y = LAWN + 8 + 236 * Noise(150, i);
            canvas.Ellipse(
                300 + (512 - 300) * (576 - y) / 246 + (Noise(151, i) - 0.5) * (40 + (y - LAWN) * 0.3), y, 3,
                1.6, Rgb(0xB9A57E));
        }
        canvas.RoundRect(118, 404, 130, 10, 4, Rgb(0x8A5B38));  // the bench
        canvas.RoundRect(118, 378, 130, 9, 4, Rgb(0x9C6A42));
        for (const double x : {128.0, 232.0})
            canvas.Rect(x, 378, 7, 54, Rgb(0x5E3D26));
    }

    void DrawMoving(Canvas& canvas, double seconds) const override
    {
        for (int i = 0; i < 4; ++i)
            DrawCloud(canvas, Wrap(i * 250.0 + seconds * (4 + 2 * i), 1000) - 140, 56 + 34.0 * (i % 3),
                      0.8 + 0.25 * (i % 2));
        for (int i = 0; i < 4; ++i) {  // smoke of the chimney
            const double age = Wrap(seconds * 0.22 + i * 0.25, 1);
            canvas.Ellipse(571 + age * 60 + 6 * Wind(seconds, i), 100 - age * 62, 6 + age * 15, 5 + age * 11,
                           Rgb(0xF4F4F4, 0.5 * (1 - age)));
        }
        for (uint32_t i = 0; i < 7; ++i)
            DrawBird(canvas, i, seconds);
        DrawTree(canvas, 330, 346, 0.7, seconds);
        DrawTree(canvas, 662, 356, 0.85, seconds + 3);
        DrawTree(canvas, 74, 388, 1.15, seconds + 7);

        const double walk = std::sin(seconds * 0.12);
        DrawPerson(canvas, 300 + walk * 130, 404, 92, seconds * 1.2, std::cos(seconds * 0.12), PersonOf(412));
        DrawSprinkler(canvas, seconds);
        for (uint32_t i = 0; i < 90; ++i) {  // grass before us
            const double x = Noise(160, i) * 704;
            const double y = 470 + 116 * Noise(161, i);
            if (x > 225 - (y - 470) * 0.3 && x < 430 - (y - 470) * 0.5) continue;
            const double bend = Wind(seconds, x) * 7;
            canvas.Curve({x, y}, {x, y - 8}, {x + bend * 0.5, y - 13}, {x + bend, y - 19}, 1.8,
                         Blend(Rgb(0x3F7A2C), Rgb(0xA9D36A), Noise(162, i)));
        }
        static constexpr std::array<uint32_t, 5> PETALS = {0xE8483F, 0xF29AC0, 0xFFFFFF, 0xB06BD6, 0xFF9B38};
        for (uint32_t i = 0; i < 30; ++i) {
            const bool left = i % 2 == 0;
            const double x = left ? 8 + 205 * Noise(163, i) : 452 + 246 * Noise(163, i);
            const double y = 500 + 74 * Noise(164, i);
            DrawFlower(canvas, x, y, 0.8 + (y - 500) / 110, Wind(seconds, x) * 6,
                       Rgb(PETALS[i % PETALS.size()]));
        }
        for (int i = 0; i < 3; ++i) {
            const double t = seconds * 0.5 + i * 2.1;
            DrawButterfly(canvas, 352 + 300 * std::sin(t * 0.7 + i),
                          470 + 42 * std::sin(t * 1.9) + 10 * std::sin(t * 6), seconds * 9 + i,
                          Rgb(i == 0   ? 0xFFD23F
                              : i == 1 ? 0xFF7F50
                                       : 0x7FB7FF));
        }
    }

  private:
    static void DrawBird(Canvas& canvas, uint32_t number, double seconds)
    {
        const double speed = 44 + 20 * Noise(152, number);
        const double x = 744 - Wrap(Noise(153, number) * 800 + speed * seconds, 800);
        const double y = 60 + 120 * Noise(154, number) + 10 * std::sin(seconds + number);
        const double wing = 8 * std::sin(seconds * 11 + number * 2.0);
        canvas.Ellipse(x, y, 8, 3, Rgb(0x2C3440));
        canvas.Polygon({{x - 3, y}, {x + 4, y}, {x + 5, y - wing - 2}}, Rgb(0x3C4653));
        canvas.Polygon({{x - 8, y}, {x - 13, y - 1}, {x - 8, y + 2}}, Rgb(0xD98F2B));
    }

    static void DrawSprinkler(Canvas& canvas, double seconds)
    {
        constexpr Point NOZZLE = {560, 424};
        canvas.Rect(NOZZLE.x - 3, NOZZLE.y, 6, 14, Rgb(0x2B6C8F));
        const double angle = std::sin(seconds * 0.9);
        for (int jet = 0; jet < 44; ++jet) {
            const double age = Wrap(seconds * 1.4 + jet / 44.0, 1);
            const double reach = 84 + 34 * (jet % 4) / 3.0;
            const double x = NOZZLE.x + (angle + 0.12 * (jet % 3)) * reach * age * 1.2;
            const double y = NOZZLE.y - 118 * age + 138 * age * age;
            canvas.Ellipse(x, y, 1.7, 2.4, Rgb(0xE8F6FF, 0.75 * (1 - age * 0.6)));
        }
    }
};

}  // namespace

std::unique_ptr<IScene> MakeGarden()
{
    return std::make_unique<Garden>();
}

}  // namespace recorder
