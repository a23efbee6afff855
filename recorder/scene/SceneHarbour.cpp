#include <array>
#include <cmath>
#include <numbers>

#include "recorder/scene/Scenes.h"

namespace recorder
{

namespace
{

constexpr double HORIZON = 268;
constexpr double SUN_X = 455;
constexpr Point LAMP = {96, 150};  // of the lighthouse
constexpr double TURN = 2 * std::numbers::pi;

struct Boat {
    double y;      // waterline
    double size;   // 1 is the nearest
    double speed;  // pixels a second, to the right when positive
    double start;
    uint32_t hull;
    bool sail;
};

constexpr std::array<Boat, 5> BOATS = {{{296, 0.38, 7, 120, 0x3A2F45, true},
                                        {318, 0.55, -11, 560, 0x54323A, false},
                                        {352, 0.75, 15, 40, 0x2B3A55, true},
                                        {408, 1.0, -19, 420, 0x6A2E2A, false},
                                        {470, 1.3, 24, 250, 0x22303F, true}}};

void DrawBoat(Canvas& canvas, const Boat& boat, double seconds)
{
    const double span = SCENE_WIDTH + 300;
    const double x = Wrap(boat.start + boat.speed * seconds, span) - 150;
    const double bob = std::sin(seconds * 1.7 + boat.start) * 2.5;
    const Canvas::Keep keep(canvas);
    canvas.Move(x, boat.y + bob * boat.size);
    canvas.Scale(boat.speed > 0 ? boat.size : -boat.size, boat.size);
    canvas.Turn(std::sin(seconds * 1.1 + boat.start) * 0.03);
    canvas.Ellipse(0, 14, 66, 7, Rgb(0x0A1420, 0.45));  // what it hides of the water
    if (boat.sail) {
        canvas.Line({-4, -6}, {-4, -112}, 3, Rgb(0x2A2320));
        canvas.Polygon({{0, -108}, {0, -16}, {52, -16}}, Rgb(0xF3DFC2));
        canvas.Polygon({{0, -108}, {0, -16}, {18, -16}}, Rgb(0xD9B994));
        canvas.Polygon({{-9, -96}, {-9, -16}, {-44, -16}}, Rgb(0xE8CDA8));
    } else {
        canvas.RoundRect(-34, -38, 46, 30, 4, Rgb(0xE9E2D4));
        for (int i = 0; i < 3; ++i)
            canvas.RoundRect(-29 + 13 * i, -32, 8, 9, 2, Rgb(0xFFC86A));
        canvas.Rect(-22, -56, 12, 18, Rgb(0xB5453A));
        canvas.Rect(-22, -52, 12, 4, Rgb(0x222222));
        for (int i = 0; i < 5; ++i) {
            const double age = Wrap(seconds * 0.5 + i * 0.2, 1);
            canvas.Ellipse(-18 - age * 46, -60 - age * 26, 4 + age * 9, 3 + age * 7,
                           Rgb(0xC9BFC4, 0.35 * (1 - age)));
        }
    }
    canvas.Polygon({{-62, -10}, {66, -14}, {50, 12}, {-50, 12}}, Rgb(boat.hull));
    canvas.Polygon({{-62, -10}, {66, -14}, {64, -9}, {-60, -5}}, Rgb(0xEADBC8));
    canvas.Polyline(std::array<Point, 3>{{{-52, 13}, {-90, 16}, {-130, 14}}}, 2.5, Rgb(0xFFF1DD, 0.35));
    canvas.Glow(60, -20, 12, Rgb(0x66FF99, 0.9));
}

void DrawGull(Canvas& canvas, double x, double y, double size, double flap)
{
    const double wing = std::sin(flap) * 7 * size;
    canvas.Curve({x - 14 * size, y - wing}, {x - 8 * size, y - 6 * size}, {x - 3 * size, y - 4 * size}, {x, y},
                 2 * size, Rgb(0x2E2433));
    canvas.Curve({x, y}, {x + 3 * size, y - 4 * size}, {x + 8 * size, y - 6 * size}, {x + 14 * size, y - wing},
                 2 * size, Rgb(0x2E2433));
}

void DrawCrane(Canvas& canvas, double x, double scale)
{
    const Canvas::Keep keep(canvas);
    canvas.Move(x, HORIZON);
    canvas.Scale(scale, scale);
    const Colour steel = Rgb(0x3B2A44);
    canvas.Line({-10, 0}, {-4, -92}, 3, steel);
    canvas.Line({10, 0}, {4, -92}, 3, steel);
    for (int i = 0; i < 6; ++i)
        canvas.Line({-9.0 + i, -15.0 * i}, {9.0 - i, -15.0 * i - 15}, 1.5, steel);
    canvas.Line({-34, -84}, {74, -112}, 4, steel);
    canvas.Line({0, -126}, {74, -112}, 1.5, steel);
    canvas.Line({0, -126}, {-34, -84}, 1.5, steel);
    canvas.Line({0, -90}, {0, -126}, 3, steel);
    canvas.Rect(-36, -88, 16, 12, steel);
    canvas.Line({60, -108}, {60, -52}, 1, steel);
    canvas.Rect(52, -52, 16, 10, Rgb(0x6B3B33));
}

class Harbour : public IScene
{
  public:
    const char* Name() const override { return "Harbour"; }

    void DrawStill(Canvas& canvas) const override
    {
        canvas.Shade(0, 0, SCENE_WIDTH, HORIZON,
                     {{0, Rgb(0x24325E)}, {0.45, Rgb(0x6F5A8E)}, {0.75, Rgb(0xE28A6B)}, {1, Rgb(0xFFCB7D)}});
        canvas.Glow(SUN_X, HORIZON - 18, 190, Rgb(0xFFE0A0, 0.75));
        canvas.Ellipse(SUN_X, HORIZON - 16, 34, 34, Rgb(0xFFF3CF));
        canvas.Polygon({{0, 258},
                        {70, 236},
                        {150, 246},
                        {230, 222},
                        {330, 244},
                        {420, 256},
                        {560, 240},
                        {704, 224},
                        {704, HORIZON},
                        {0, HORIZON}},
                       Rgb(0x574A75));
        for (int i = 0; i < 34; ++i) {  // the town along the shore
            const double x = 196 + i * 15.5;
            const double height = 10 + 26 * Noise(3, static_cast<uint32_t>(i));
            canvas.Rect(x, HORIZON - height, 13, height,
                        Blend(Rgb(0x3E3154), Rgb(0x5A4468), Noise(4, static_cast<uint32_t>(i))));
            for (int k = 0; k < 4; ++k)
                if (Noise(5, static_cast<uint32_t>(i * 4 + k)) > 0.45)
                    canvas.Rect(x + 2 + 5 * (k % 2), HORIZON - height + (k < 2 ? 3 : 10), 2.5, 3,
                                Rgb(0xFFD98C));
        }
        DrawCrane(canvas, 560, 1);
        DrawCrane(canvas, 640, 0.82);
        canvas.Shade(0, HORIZON, SCENE_WIDTH, SCENE_HEIGHT - HORIZON,
                     {{0, Rgb(0xE39A72)}, {0.12, Rgb(0x9C6E7E)}, {0.45, Rgb(0x45507C)}, {1, Rgb(0x1A2746)}});
    }

    void DrawMoving(Canvas& canvas, double seconds) const override
    {
        DrawWater(canvas, seconds);
        DrawHeadland(canvas);
        DrawBeam(canvas, seconds);
        for (const Boat& boat : BOATS)
            DrawBoat(canvas, boat, seconds);
        DrawQuay(canvas);
        for (int i = 0; i < 6; ++i) {
            const auto n = static_cast<uint32_t>(i);
            const double x = Wrap(Noise(11, n) * 800 + seconds * (26 + 14 * Noise(12, n)), 800) - 40;
            const double y = 70 + 120 * Noise(13, n) + 14 * std::sin(seconds * 0.8 + i);
            DrawGull(canvas, x, y, 0.6 + 0.5 * Noise(14, n), seconds * (6 + i) + i);
        }
        for (int i = 0; i < 2; ++i) {  // red lamps on the cranes
            const bool lit = Wrap(seconds + i * 0.7, 1.6) < 0.8;
            canvas.Glow(i == 0 ? 560 : 640, i == 0 ? HORIZON - 128 : HORIZON - 105, 9,
                        Rgb(0xFF4030, lit ? 1 : 0.25));
        }
    }

  private:
    // With the lighthouse.
    static void DrawHeadland(Canvas& canvas)
    {
        canvas.Polygon({{0, 232}, {60, 226}, {128, 240}, {176, 268}, {150, 292}, {0, 306}}, Rgb(0x2C2438));
        canvas.Polygon({{80, 236}, {112, 236}, {107, 162}, {85, 162}}, Rgb(0xEADFD6));
        canvas.Polygon({{82, 214}, {110, 214}, {109, 194}, {83, 194}}, Rgb(0xB8433C));
        canvas.Rect(82, 158, 28, 5, Rgb(0x40303C));
        canvas.Rect(87, 142, 18, 16, Rgb(0x51424C));
        canvas.Polygon({{84, 142}, {108, 142}, {96, 130}}, Rgb(0x8E3230));
    }

    // Where we stand.
    static void DrawQuay(Canvas& canvas)
    {
        canvas.Polygon({{0, 528}, {704, 500}, {704, 576}, {0, 576}}, Rgb(0x2A2B33));
        canvas.Polygon({{0, 528}, {704, 500}, {704, 508}, {0, 537}}, Rgb(0x55535C));
        for (int i = 0; i < 5; ++i) {
            const double x = 70 + 145 * i;
            const double y = 526 - x * 0.04;
            canvas.RoundRect(x - 10, y - 22, 20, 26, 5, Rgb(0x16171D));
            canvas.Ellipse(x, y - 22, 15, 6, Rgb(0x3C3E48));
        }
    }

    static void DrawWater(Canvas& canvas, double seconds)
    {
        for (int i = 0; i < 120; ++i) {
            const auto n = static_cast<uint32_t>(i);
            const double depth = Noise(21, n);
            const double y = HORIZON + 4 + depth * depth * 236;
            const double nearness = (y - HORIZON) / 236;
            const double drift = std::sin(seconds * (0.4 + 0.3 * Noise(22, n)) + TURN * Noise(23, n));
            const double x = Noise(24, n) * SCENE_WIDTH + drift * (4 + 18 * nearness);
            const double bright = 0.5 + 0.5 * std::sin(seconds * 1.3 + TURN * Noise(25, n));
            canvas.Ellipse(x, y, 7 + 34 * nearness, 0.8 + 2.2 * nearness, Rgb(0xFFD9AE, 0.05 + 0.16 * bright));
        }
        for (int i = 0; i < 26; ++i) {  // the road of the sun
            const auto n = static_cast<uint32_t>(i);
            const double y = HORIZON + 3 + i * 8.6;
            const double sway = std::sin(seconds * 1.6 + i * 0.9) * (2 + i * 0.5);
            const double width = 36 + 2.4 * i + 12 * std::sin(seconds * 2.1 + TURN * Noise(26, n));
            canvas.Ellipse(SUN_X + sway, y, width, 2 + 0.07 * i, Rgb(0xFFE2A6, 0.55 - 0.016 * i));
        }
    }

    static void DrawBeam(Canvas& canvas, double seconds)
    {
        const double angle = Wrap(seconds * 0.9, TURN);
        const double reach = std::cos(angle);  // seen from the side the beam shortens and flips
        const double rise = std::sin(angle) * 26;
        if (std::abs(reach) > 0.06) {
            for (int layer = 1; layer <= 6; ++layer) {  // thinner with the distance
                const double far = layer / 6.0;
                const double x = LAMP.x + reach * 620 * far;
                canvas.Polygon({LAMP, {x, LAMP.y + (rise - 34) * far}, {x, LAMP.y + (rise + 34) * far}},
                               Rgb(0xFFF6D0, 0.055));
            }
        }
        const double towards = std::sin(angle) > 0 ? std::sin(angle) : 0;
        canvas.Glow(LAMP.x, LAMP.y, 16 + 26 * towards * towards, Rgb(0xFFF4C4, 0.95));
    }
};

}  // namespace

std::unique_ptr<IScene> MakeHarbour()
{
    return std::make_unique<Harbour>();
}

}  // namespace recorder
