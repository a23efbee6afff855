#include <array>
#include <cmath>

#include "recorder/scene/Figures.h"
#include "recorder/scene/Scenes.h"

namespace recorder
{

namespace
{

constexpr double CYCLE = 44;   // seconds from train to train
constexpr double ARRIVE = 6;   // the train is seen first
constexpr double STAND = 13;   // it stands
constexpr double DEPART = 27;  // it moves off
constexpr double EDGE = 392;   // of the platform
constexpr double CAR = 330;    // length of a carriage
constexpr int CARS = 4;

// Where the train's first door stands, from its place at the platform; it comes from the right.
double TrainAt(double time)
{
    if (time < ARRIVE) return 3000;
    if (time < STAND) {
        const double rest = 1 - (time - ARRIVE) / (STAND - ARRIVE);
        return 1500 * rest * rest;
    }
    if (time < DEPART) return 0;
    const double since = time - DEPART;
    return -22 * since * since;
}

class Platform : public IScene
{
  public:
    const char* Name() const override { return "Platform"; }

    void DrawStill(Canvas& canvas) const override
    {
        canvas.Shade(0, 0, SCENE_WIDTH, 250, {{0, Rgb(0x8FB2C9)}, {1, Rgb(0xE6E6DA)}});
        for (uint32_t i = 0; i < 15; ++i) {  // the town behind
            const double height = 40 + 80 * Noise(170, i);
            canvas.Rect(i * 50.0 - 10, 250 - height, 46, height,
                        Blend(Rgb(0x8A97A3), Rgb(0xA8A49A), Noise(171, i)));
            for (int k = 0; k < 8; ++k)
                canvas.Rect(i * 50.0 - 4 + 11 * (k % 4), (k < 4 ? 258 : 276) - height, 6, 9, Rgb(0x5E6C78));
        }
        canvas.Shade(0, 246, SCENE_WIDTH, 24, {{0, Rgb(0x7A6A55)}, {1, Rgb(0x57493A)}});  // the far side
        for (int i = 0; i < 36; ++i)
            canvas.Line({i * 20.0, 226}, {i * 20.0, 250}, 2, Rgb(0x4B5B54));
        canvas.Rect(0, 230, SCENE_WIDTH, 3, Rgb(0x4B5B54));
        canvas.Shade(0, 268, SCENE_WIDTH, EDGE - 268, {{0, Rgb(0x5B544B)}, {1, Rgb(0x3A352F)}});
        for (uint32_t i = 0; i < 260; ++i)
            canvas.Ellipse(704 * Noise(172, i), 272 + 110 * Noise(173, i), 2.6, 1.6,
                           Blend(Rgb(0x7D756A), Rgb(0x453F37), Noise(174, i)));
        for (int i = 0; i < 30; ++i)
            canvas.Polygon({{i * 25.0, 322}, {i * 25.0 + 9, 322}, {i * 25.0 + 5, 368}, {i * 25.0 - 6, 368}},
                           Rgb(0x4A3B2C));
        for (const double y : {330.0, 356.0}) {
            canvas.Rect(0, y, SCENE_WIDTH, 4, Rgb(0xB9BEC2));
            canvas.Rect(0, y + 4, SCENE_WIDTH, 2, Rgb(0x6B4A38));
        }
        canvas.Shade(0, EDGE, SCENE_WIDTH, SCENE_HEIGHT - EDGE, {{0, Rgb(0xB9B6AE)}, {1, Rgb(0x8F8C85)}});
        canvas.Rect(0, EDGE, SCENE_WIDTH, 7, Rgb(0xEDEBE4));
        canvas.Rect(0, EDGE + 15, SCENE_WIDTH, 9, Rgb(0xE9C52F));
        for (int i = 0; i < 14; ++i)
            canvas.Line({i * 58.0 - 20, EDGE + 24}, {i * 80.0 - 170, SCENE_HEIGHT}, 1.2, Rgb(0x807D76));
        for (int i = 0; i < 3; ++i)
            canvas.Line({0, EDGE + 58 + 46.0 * i}, {704, EDGE + 58 + 46.0 * i}, 1.2, Rgb(0x807D76));
    }

    void DrawMoving(Canvas& canvas, double seconds) const override
    {
        const double time = Wrap(seconds, CYCLE);
        const auto cycle = static_cast<uint32_t>(Wrap(seconds / CYCLE, 4096));
        DrawSignal(canvas, time);
        const double at = TrainAt(time);
        if (at > -2200 && at < 1600)
            DrawTrain(canvas, at, Smooth((time - STAND - 0.8) / 1.4) - Smooth((time - DEPART + 2.4) / 1.4));
        DrawPassengers(canvas, time, cycle);
        DrawFront(canvas, seconds, time, cycle);
    }

  private:
    static void DrawSignal(Canvas& canvas, double time)
    {
        canvas.Rect(636, 190, 5, 112, Rgb(0x3A3F45));
        canvas.RoundRect(626, 168, 25, 46, 7, Rgb(0x1E2226));
        const bool red = time > STAND - 1 && time < DEPART - 1;
        canvas.Ellipse(638, 180, 7, 7, Rgb(red ? 0xFF3B30 : 0x431412));
        canvas.Ellipse(638, 201, 7, 7, Rgb(red ? 0x123F1D : 0x45E06A));
        canvas.Glow(638, red ? 180 : 201, 20, Rgb(red ? 0xFF3B30 : 0x45E06A, 0.6));
    }

    // open: how far its doors are open, 0 to 1.
    static void DrawTrain(Canvas& canvas, double at, double open)
    {
        for (int car = 0; car < CARS; ++car) {
            const double x = at - 120 + car * (CAR + 6);
            if (x > SCENE_WIDTH || x + CAR < 0) continue;
            canvas.Rect(x + 20, 362, CAR - 40, 24, Rgb(0x1F2226));
            for (const double bogie : {54.0, 96.0, CAR - 96, CAR - 54})
                canvas.Ellipse(x + bogie, 372, 13, 13, Rgb(0x33373C));
            canvas.RoundRect(x, 196, CAR, 176, 14, Rgb(0xE9ECEC));
            canvas.Shade(x + 6, 190, CAR - 12, 16, {{0, Rgb(0x7B868E)}, {1, Rgb(0xB6BEC3)}});
            canvas.Rect(x, 322, CAR, 30, Rgb(0xC4372E));
            canvas.Rect(x, 316, CAR, 4, Rgb(0x2E3338));
            for (int window = 0; window < 5; ++window) {
                const double wx = x + 14 + window * 63.0;
                const bool door = window == 1 || window == 3;
                if (!door) {
                    canvas.RoundRect(wx, 226, 50, 56, 6, Rgb(0x263742));
                    canvas.Shade(wx + 2, 228, 46, 52, {{0, Rgb(0xF3E7BE)}, {1, Rgb(0xB9A06A)}});
                    for (uint32_t head = 0; head < 2; ++head)
                        if (Noise(180, static_cast<uint32_t>(car * 16 + window * 2) + head) > 0.35)
                            canvas.Ellipse(wx + 15 + 20.0 * head, 272, 8, 12,
                                           PersonOf(static_cast<uint32_t>(car * 10 + window) + head).coat);
                    continue;
                }
                canvas.Rect(wx + 2, 222, 44, 144, Rgb(0xF7E9BD));
                for (const double side : {-1.0, 1.0}) {
                    const double leaf = wx + (side < 0 ? 2 : 24) + side * 20 * open;
                    canvas.Rect(leaf, 222, 22, 144, Rgb(0xD8DDDE));
                    canvas.RoundRect(leaf + 4, 232, 14, 50, 4, Rgb(0x3F5A68));
                }
                if (open > 0.2) canvas.Ellipse(wx + 24, 216, 4, 4, Rgb(0xFFB020));
            }
        }
        canvas.Polygon({{at - 122, 232}, {at - 106, 232}, {at - 106, 284}, {at - 122, 290}}, Rgb(0x20303A));
        canvas.Glow(at - 118, 338, 44, Rgb(0xFFF7D2, 0.95));
    }

    static void DrawPassengers(Canvas& canvas, double time, uint32_t cycle)
    {
        static constexpr std::array<double, 6> DOORS = {-19, 107, 317, 443, 653, 779};
        for (uint32_t i = 0; i < 9; ++i) {  // those who wait, then get in
            const uint32_t who = cycle * 16 + i;
            const double wait = 60 + 70.0 * i + 30 * Noise(181, who);
            const double y = 440 + 26 * Noise(182, who);
            double door = DOORS[0];
            for (const double candidate : DOORS)
                if (std::abs(candidate - wait) < std::abs(door - wait)) door = candidate;
            const double in = Smooth((time - STAND - 5 - 3 * Noise(183, who)) / 4);
            if (in >= 1) continue;
            const double coming = 1 - Smooth((time + 2 - 8 * Noise(184, who)) / 4);
            const double x = wait + (door - wait) * in + (wait > 350 ? 500 : -500) * coming;
            const bool walks = in > 0 || coming > 0;
            const double facing =
                coming > 0 ? (wait > 350 ? -1 : 1) : door - wait + (Noise(185, who) - 0.5) * 400 * (1 - in);
            DrawPerson(canvas, x, y + (EDGE - 14 - y) * in, 104 - 8 * in, walks ? time * 1.9 : 0, facing,
                       PersonOf(who));
        }
        for (uint32_t i = 0; i < 6; ++i) {  // those who got out
            const uint32_t who = cycle * 16 + 100 + i;
            const double out = (time - STAND - 1.6 - 2.4 * Noise(186, who)) / 11;
            if (out <= 0 || out >= 1) continue;
            const double facing = Noise(187, who) > 0.5 ? 1 : -1;
            const double door = DOORS[1 + i % 4];
            const double down = Smooth(out * 5);
            DrawPerson(canvas, door + facing * 720 * (out > 0.08 ? out - 0.08 : 0), EDGE - 10 + 54 * down,
                       100 + 6 * down, time * 2, facing, PersonOf(who));
        }
    }

    static void DrawFront(Canvas& canvas, double seconds, double time, uint32_t cycle)
    {
        canvas.Shade(0, 0, SCENE_WIDTH, 66,
                     {{0, Rgb(0x2C353B)}, {0.8, Rgb(0x46535B)}, {1, Rgb(0x2A3238)}});  // the roof
        for (int i = 0; i < 9; ++i)
            canvas.Line({i * 88.0, 0}, {i * 80.0 + 30, 64}, 4, Rgb(0x222A2F));
        for (const double x : {96.0, 560.0}) {
            canvas.Shade(x, 60, 16, 470, {{0, Rgb(0x51636B)}, {0.4, Rgb(0x8AA0A9)}, {1, Rgb(0x3B4A51)}}, true);
            canvas.Rect(x - 6, 522, 28, 10, Rgb(0x3B4A51));
        }
        canvas.RoundRect(250, 56, 216, 74, 6, Rgb(0x11161B));  // departures
        canvas.Rect(268, 40, 4, 18, Rgb(0x222A2F));
        canvas.Rect(444, 40, 4, 18, Rgb(0x222A2F));
        static constexpr std::array<const char*, 5> TOWNS = {"Northgate", "Bay View", "Old Mills", "Airport",
                                                             "Lakeside"};
        canvas.Text(262, 80, 17, TOWNS[cycle % TOWNS.size()], Rgb(0xFFC34D), Canvas::EAlign::Left, true);
        canvas.Text(456, 80, 17, "2", Rgb(0xFFC34D), Canvas::EAlign::Right, true);
        const bool boarding = time > STAND && time < DEPART;
        if (boarding && Wrap(seconds, 1) < 0.6)
            canvas.Text(358, 116, 18, "boarding", Rgb(0x7CE08A), Canvas::EAlign::Centre, true);
        else if (!boarding)
            canvas.Text(358, 116, 18, std::to_string(static_cast<int>(Wrap(STAND - time, CYCLE))) + " s",
                        Rgb(0xFFE3A8), Canvas::EAlign::Centre, true);
        canvas.Ellipse(618, 98, 30, 30, Rgb(0x1A1F24));  // the station's clock
        canvas.Ellipse(618, 98, 27, 27, Rgb(0xF6F5EF));
        for (int hour = 0; hour < 12; ++hour) {
            const double a = hour * 0.5235987755982988;
            canvas.Line({618 + 21 * std::sin(a), 98 - 21 * std::cos(a)},
                        {618 + 25 * std::sin(a), 98 - 25 * std::cos(a)}, 2, Rgb(0x222222));
        }
        const double second = seconds * 0.10471975511965977;
        canvas.Line({618, 98},
                    {618 + 13 * std::sin(second / 720 + 4.4), 98 - 13 * std::cos(second / 720 + 4.4)}, 4,
                    Rgb(0x222222));
        canvas.Line({618, 98}, {618 + 20 * std::sin(second / 60 + 4), 98 - 20 * std::cos(second / 60 + 4)}, 3,
                    Rgb(0x222222));
        canvas.Line({618, 98}, {618 + 22 * std::sin(second), 98 - 22 * std::cos(second)}, 1.5, Rgb(0xD23B30));
        const double walker = Wrap(seconds * 52, 1000) - 150;  // the guard
        Person guard = PersonOf(77);
        guard.coat = Rgb(0x1E3A66);
        guard.hair = Rgb(0xC4372E);
        DrawPerson(canvas, walker, 546, 132, seconds * 1.3, 1, guard);
    }
};

}  // namespace

std::unique_ptr<IScene> MakePlatform()
{
    return std::make_unique<Platform>();
}

}  // namespace recorder
