#include <array>
#include <cmath>

#include "recorder/scene/Figures.h"
#include "recorder/scene/Scenes.h"

namespace recorder
{

namespace
{

constexpr double CYCLE = 22;  // seconds of the lights
constexpr double GREEN = 13;  // of them for cars; walkers have the rest
constexpr double ROAD_TOP = 330;
constexpr double ROAD_BOTTOM = 492;
constexpr double WALK_LEFT = 300;  // the zebra
constexpr double WALK_RIGHT = 410;

// How far a car has come that drives through at this time of the cycle: a share of the way, 0 to 1. Those of a
// cycle follow each other; the last comes to the red light, waits, and goes on with the next green.
struct Traffic {
    double y;
    double length;
    double facing;
    uint32_t seed;
};
constexpr std::array<Traffic, 2> LANES = {{{392, 118, -1, 7}, {470, 150, 1, 23}}};

void DrawWindows(Canvas& canvas, double atX, double atY, int columns, int rows, const Colour& pane)
{
    for (int row = 0; row < rows; ++row)
        for (int column = 0; column < columns; ++column) {
            const double x = atX + column * 24.0;
            const double y = atY + row * 34.0;
            canvas.Rect(x - 1.5, y - 1.5, 16, 23, Rgb(0xF4EFE6, 0.8));
            canvas.Shade(x, y, 13, 20, {{0, Blend(pane, Rgb(0xFFFFFF), 0.35)}, {1, pane}});
            canvas.Line({x + 6.5, y}, {x + 6.5, y + 20}, 1, Rgb(0xF4EFE6, 0.8));
        }
}

void DrawTree(Canvas& canvas, double atX, double atY, double sway)
{
    canvas.Line({atX, atY}, {atX + sway * 0.3, atY - 62}, 7, Rgb(0x5B4332));
    for (uint32_t i = 0; i < 9; ++i) {
        const double r = 17 + 9 * Noise(40, i);
        canvas.Ellipse(atX + (Noise(41, i) - 0.5) * 58 + sway * (0.6 + 0.6 * Noise(42, i)),
                       atY - 62 - 52 * Noise(43, i), r, r * 0.9,
                       Blend(Rgb(0x3F7A3A), Rgb(0x76A94A), Noise(44, i)));
    }
}

void DrawLight(Canvas& canvas, double atX, double atY, double time)
{
    canvas.Line({atX, atY}, {atX, atY - 120}, 5, Rgb(0x3B3F45));
    canvas.RoundRect(atX - 11, atY - 170, 22, 58, 6, Rgb(0x24272C));
    const bool green = time < GREEN - 2;
    const bool amber = (time >= GREEN - 2 && time < GREEN) || time > CYCLE - 1;
    const bool red = time >= GREEN;
    canvas.Ellipse(atX, atY - 158, 7, 7, Rgb(red ? 0xFF3B30 : 0x4A1512));
    canvas.Ellipse(atX, atY - 141, 7, 7, Rgb(amber ? 0xFFC933 : 0x4A3A10));
    canvas.Ellipse(atX, atY - 124, 7, 7, Rgb(green ? 0x3DDC63 : 0x123F1D));
    canvas.Glow(atX,
                atY - (red     ? 158
                       : amber ? 141
                               : 124),
                22,
                Rgb(red     ? 0xFF3B30
                    : amber ? 0xFFC933
                            : 0x3DDC63,
                    0.5));
}

class Crossing : public IScene
{
  public:
    const char* Name() const override { return "Crossing"; }

    void DrawStill(Canvas& canvas) const override
    {
        canvas.Shade(0, 0, SCENE_WIDTH, 210, {{0, Rgb(0x6FA9D8)}, {1, Rgb(0xDCEBF2)}});
        struct House {
            double x, top, width;
            uint32_t wall, pane;
            int columns;
        };
        constexpr std::array<House, 6> HOUSES = {{{-10, 70, 118, 0xC88A6A, 0x4D6A7C, 4},
                                                  {108, 104, 96, 0xE3D2A6, 0x56727A, 3},
                                                  {204, 48, 132, 0x9C5B4B, 0x44606F, 5},
                                                  {336, 90, 104, 0xB9C4C0, 0x4B6875, 4},
                                                  {440, 30, 150, 0xD7B48A, 0x4A6676, 5},
                                                  {590, 84, 124, 0x8E9DAE, 0x3F5666, 4}}};
        for (const House& house : HOUSES) {
            canvas.Shade(house.x, house.top, house.width, 300 - house.top,
                         {{0, Rgb(house.wall)}, {1, Blend(Rgb(house.wall), Rgb(0x000000), 0.25)}});
            canvas.Rect(house.x - 3, house.top - 6, house.width + 6, 8,
                        Blend(Rgb(house.wall), Rgb(0x000000), 0.4));
            DrawWindows(canvas, house.x + 14, house.top + 16, house.columns,
                        static_cast<int>((210 - house.top) / 34), Rgb(house.pane));
            canvas.Rect(house.x + 8, 236, house.width - 16, 58, Rgb(0x2B3A42));  // the shop
            canvas.Shade(house.x + 12, 244, house.width - 24, 48, {{0, Rgb(0xF6D99A)}, {1, Rgb(0xB98A55)}});
            for (int stripe = 0; stripe < 8; ++stripe)
                canvas.Rect(house.x + 6 + stripe * (house.width - 12) / 8, 222, (house.width - 12) / 8, 18,
                            Rgb(stripe % 2 == 0 ? house.wall : 0xF7F3EA));
        }
        canvas.Shade(0, 292, SCENE_WIDTH, ROAD_TOP - 292, {{0, Rgb(0xA8A39A)}, {1, Rgb(0xC2BDB2)}});
        for (int i = 0; i < 24; ++i)
            canvas.Line({i * 31.0, 292}, {i * 33.0 - 22, ROAD_TOP}, 1, Rgb(0x8D887F));
        canvas.Rect(0, ROAD_TOP - 4, SCENE_WIDTH, 5, Rgb(0x77736C));
        canvas.Shade(0, ROAD_TOP, SCENE_WIDTH, ROAD_BOTTOM - ROAD_TOP,
                     {{0, Rgb(0x55585D)}, {1, Rgb(0x3F4247)}});
        for (int i = 0; i < 12; ++i)
            if (i * 64.0 + 36 < WALK_LEFT - 10 || i * 64.0 > WALK_RIGHT + 10)
                canvas.Rect(i * 64.0, 405, 36, 4, Rgb(0xE9E4D2));
        for (int i = 0; i < 9; ++i) {
            const double y = ROAD_TOP + 8 + i * 17.2;
            canvas.Rect(WALK_LEFT + 10 - i * 2.0, y, WALK_RIGHT - WALK_LEFT - 20 + i * 4.0, 10, Rgb(0xEDE9DC));
        }
        canvas.Rect(WALK_RIGHT + 24, ROAD_TOP + 4, 6, 72, Rgb(0xEDE9DC));
        canvas.Rect(WALK_LEFT - 34, 414, 6, 74, Rgb(0xEDE9DC));
        canvas.Rect(0, ROAD_BOTTOM, SCENE_WIDTH, 6, Rgb(0x77736C));
        canvas.Shade(0, ROAD_BOTTOM + 6, SCENE_WIDTH, SCENE_HEIGHT - ROAD_BOTTOM - 6,
                     {{0, Rgb(0xC2BDB2)}, {1, Rgb(0x9B968C)}});
        for (int i = 0; i < 16; ++i)
            canvas.Line({i * 50.0, ROAD_BOTTOM + 6}, {i * 54.0 - 30, SCENE_HEIGHT}, 1, Rgb(0x8D887F));
    }

    void DrawMoving(Canvas& canvas, double seconds) const override
    {
        for (int i = 0; i < 4; ++i) {
            const double x = Wrap(i * 240.0 + seconds * (5 + i), 960) - 130;
            for (uint32_t k = 0; k < 4; ++k)
                canvas.Ellipse(x + k * 24.0, 26.0 + 10 * i - 6 * (k % 2), 26, 11, Rgb(0xFFFFFF, 0.35));
        }
        const double time = Wrap(seconds, CYCLE);
        const auto cycle = static_cast<uint32_t>(Wrap(seconds / CYCLE, 4096));
        for (const double x : {66.0, 250.0, 468.0, 640.0})
            DrawTree(canvas, x, 318, std::sin(seconds * 1.1 + x) * 5);
        for (uint32_t i = 0; i < 7; ++i)  // along the far pavement
            Stroll(canvas, i, seconds, 320 + 6.0 * (i % 2), 56, 60);
        DrawLight(canvas, WALK_RIGHT + 34, ROAD_TOP - 2, time);

        DrawLane(canvas, LANES[0], time, cycle);
        if (time > GREEN + 0.6) Cross(canvas, time - GREEN - 0.6, cycle);
        DrawLane(canvas, LANES[1], time, cycle);
        for (uint32_t i = 20; i < 24; ++i)  // before us
            Stroll(canvas, i, seconds, 540 + 9.0 * (i % 3), 106, 84);
    }

  private:
    static void Stroll(Canvas& canvas, uint32_t number, double seconds, double atY, double height, double pace)
    {
        const double facing = Noise(60, number) > 0.5 ? 1 : -1;
        const double speed = pace * (0.45 + 0.3 * Noise(61, number));
        const double x = Wrap(Noise(62, number) * 900 + facing * speed * seconds, 900) - 90;
        DrawPerson(canvas, x, atY, height, speed * seconds / (height * 0.36), facing, PersonOf(number));
    }

    static void Cross(Canvas& canvas, double since, uint32_t cycle)
    {
        for (uint32_t i = 0; i < 5; ++i) {
            const uint32_t who = cycle * 5 + i;
            const double share = (since - 0.5 * i * Noise(70, who)) / 5.6;
            if (share <= 0 || share >= 1) continue;
            const bool down = Noise(71, who) > 0.4;
            const double way = down ? share : 1 - share;
            const double y = ROAD_TOP + way * (ROAD_BOTTOM - ROAD_TOP);
            DrawPerson(canvas, WALK_LEFT + 22 + 14.0 * i + (way - 0.5) * 14, y, 64 + 30 * way, share * 11,
                       Noise(72, who) - 0.5, PersonOf(who));
        }
    }

    static void DrawLane(Canvas& canvas, const Traffic& lane, double time, uint32_t cycle)
    {
        constexpr double OUTSIDE = 190;
        const double way = SCENE_WIDTH + 2 * OUTSIDE;
        const auto draw = [&](double along, uint32_t number) {
            static constexpr std::array<uint32_t, 7> PAINTS = {0xC23B33, 0x2F6DB0, 0xE8E6E0, 0x2E3238,
                                                               0xD9A32E, 0x4C8C5B, 0x8D97A3};
            const double x = lane.facing > 0 ? along - OUTSIDE : SCENE_WIDTH + OUTSIDE - along;
            const auto paint = static_cast<size_t>(Noise(lane.seed, number) * PAINTS.size());
            DrawCar(canvas, x, lane.y, lane.length, lane.facing, along, Rgb(PAINTS[paint]), false);
        };
        const double stop = lane.facing > 0 ? OUTSIDE + WALK_LEFT - 36 - lane.length / 2
                                            : OUTSIDE + SCENE_WIDTH - WALK_RIGHT - 34 - lane.length / 2;
        // the one that waited goes off first
        if (time < 8) draw(stop + Accelerate(time), cycle * 4 + 3);
        for (uint32_t i = 0; i < 2; ++i) {
            const double along = (time - 2.6 - 2.8 * i - Noise(lane.seed + 1, cycle + i)) * 190;
            if (along > 0 && along < way) draw(along, cycle * 4 + i);
        }
        // and the next comes to a stop; it is the one that waits in the cycle to come
        if (time > GREEN - 1.5) draw(stop * Smooth01(time - GREEN + 1.5, 4.5), cycle * 4 + 7);
    }

    static double Accelerate(double time)
    {
        const double after = time - 0.4;
        return after <= 0 ? 0 : after < 3 ? 32 * after * after : 288 + 192 * (after - 3);
    }
    static double Smooth01(double time, double duration)
    {
        const double share = time >= duration ? 1 : time / duration;
        return 1 - (1 - share) * (1 - share);
    }
};

}  // namespace

std::unique_ptr<IScene> MakeCrossing()
{
    return std::make_unique<Crossing>();
}

}  // namespace recorder
