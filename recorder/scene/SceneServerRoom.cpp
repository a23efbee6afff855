#include <array>
#include <cmath>
#include <numbers>

#include "recorder/scene/Figures.h"
#include "recorder/scene/Scenes.h"

namespace recorder
{

namespace
{

constexpr int RACKS = 5;
constexpr int UNITS = 15;
constexpr double RACK_WIDTH = 92;
constexpr double RACK_TOP = 116;
constexpr double UNIT = 21;
constexpr double FLOOR = 446;

double RackX(int rack)
{
    return 66 + rack * (RACK_WIDTH + 8);
}

class ServerRoom : public IScene
{
  public:
    const char* Name() const override { return "Server room"; }

    void DrawStill(Canvas& canvas) const override
    {
        canvas.Shade(0, 0, SCENE_WIDTH, FLOOR, {{0, Rgb(0x0E1A24)}, {0.35, Rgb(0x1F3342)}, {1, Rgb(0x152531)}});
        for (int i = 0; i < 9; ++i)  // cable trays
            canvas.Line({0, 60 + 3.0 * i}, {704, 54 + 3.0 * i}, 2,
                        Rgb(std::array<uint32_t, 3>{0x2F6DB0, 0xD9A32E, 0x3E7A4E}[static_cast<size_t>(i % 3)]));
        canvas.Rect(0, 52, SCENE_WIDTH, 5, Rgb(0x5B6770));
        canvas.Rect(0, 88, SCENE_WIDTH, 5, Rgb(0x5B6770));
        for (int i = 0; i < 12; ++i)
            canvas.Rect(20 + i * 62.0, 52, 4, 41, Rgb(0x5B6770));
        for (int i = 0; i < 3; ++i) {
            canvas.Rect(60 + i * 230.0, 20, 130, 9, Rgb(0xE6F6FF));
            canvas.Glow(125 + i * 230.0, 26, 150, Rgb(0xBFE6FF, 0.45));
        }
        canvas.Shade(0, FLOOR, SCENE_WIDTH, SCENE_HEIGHT - FLOOR, {{0, Rgb(0x36434D)}, {1, Rgb(0x7C8A94)}});
        for (int i = -6; i <= 18; ++i)
            canvas.Line({352 + (i - 6) * 60.0, FLOOR}, {352 + (i - 6) * 118.0, SCENE_HEIGHT}, 1.5,
                        Rgb(0x232E36));
        for (const double y : {466.0, 496.0, 540.0})
            canvas.Line({0, y}, {704, y}, 1.5, Rgb(0x232E36));
        for (int tile = 0; tile < 4; ++tile)  // perforated ones, cold air comes up
            for (int hole = 0; hole < 40; ++hole) {
                const int row = hole / 8;
                canvas.Ellipse(120 + tile * 150.0 + 9.0 * (hole % 8) + row * (tile - 1.5) * 3, 500 + 7.0 * row,
                               2.4, 1.5, Rgb(0x1B242B));
            }
        for (int rack = 0; rack < RACKS; ++rack) {
            const double x = RackX(rack);
            canvas.RoundRect(x, RACK_TOP - 10, RACK_WIDTH, FLOOR - RACK_TOP + 14, 4, Rgb(0x0A0E12));
            canvas.Rect(x + 3, RACK_TOP - 7, RACK_WIDTH - 6, FLOOR - RACK_TOP + 6, Rgb(0x1A2128));
            canvas.Text(x + RACK_WIDTH / 2, RACK_TOP - 12, 10, "R" + std::to_string(rack + 1), Rgb(0xA9C4D4),
                        Canvas::EAlign::Centre, true);
            for (int unit = 0; unit < UNITS; ++unit) {
                const double y = RACK_TOP + unit * UNIT;
                const auto number = static_cast<uint32_t>(rack * UNITS + unit);
                canvas.Shade(x + 7, y, RACK_WIDTH - 14, UNIT - 3, {{0, Rgb(0x3A4650)}, {1, Rgb(0x222B33)}});
                if (Noise(200, number) < 0.4) {  // disks
                    for (int bay = 0; bay < 6; ++bay)
                        canvas.Rect(x + 10 + bay * 9.5, y + 3, 8, UNIT - 9, Rgb(0x141A1F));
                } else {  // a grille
                    for (int slit = 0; slit < 12; ++slit)
                        canvas.Line({x + 11 + slit * 4.6, y + 4}, {x + 11 + slit * 4.6, y + UNIT - 7}, 1.6,
                                    Rgb(0x11171C));
                }
            }
        }
        // the cooling unit on the right
        canvas.Shade(584, 110, 112, FLOOR - 106, {{0, Rgb(0xC9D2D8)}, {1, Rgb(0x98A5AE)}}, true);
        for (int slit = 0; slit < 10; ++slit)
            canvas.Rect(596, 344 + slit * 9.0, 88, 4, Rgb(0x5A666F));
        canvas.RoundRect(604, 124, 72, 44, 4, Rgb(0x10202A));
    }

    void DrawMoving(Canvas& canvas, double seconds) const override
    {
        DrawLamps(canvas, seconds);
        DrawCooling(canvas, seconds);
        DrawAir(canvas, seconds);
        const double walk = std::sin(seconds * 0.21);
        const double pace = std::cos(seconds * 0.21);
        const double x = 300 + walk * 250;
        Person technician = PersonOf(905);
        technician.coat = Rgb(0x3F8FC4);
        DrawPerson(canvas, x, 500, 192, x / 34, pace, technician);
        const double hand = pace < 0 ? -26 : 26;
        canvas.RoundRect(x + hand - 12, 392, 24, 17, 2, Rgb(0x1A2128));
        canvas.Rect(x + hand - 10, 394, 20, 13, Rgb(0x8FE3FF));
        canvas.Glow(x + hand, 400, 24, Rgb(0x8FE3FF, 0.5));
        DrawTrolley(canvas, seconds);
    }

  private:
    static void DrawLamps(Canvas& canvas, double seconds)
    {
        for (int rack = 0; rack < RACKS; ++rack)
            for (int unit = 0; unit < UNITS; ++unit) {
                const auto number = static_cast<uint32_t>(rack * UNITS + unit);
                const double x = RackX(rack) + RACK_WIDTH - 26;
                const double y = RACK_TOP + unit * UNIT + 6;
                for (uint32_t lamp = 0; lamp < 4; ++lamp) {
                    const double rate = 3 + 9 * Noise(201, number * 4 + lamp);
                    const auto tick = static_cast<uint32_t>(Wrap(seconds * rate, 65536));
                    const bool lit = Noise(number * 4 + lamp, tick) > 0.45;
                    const Colour colour = Rgb(lamp == 3 ? 0xFFB13B : lamp == 2 ? 0x4CC3FF : 0x4CFF88);
                    canvas.Rect(x + 4.5 * lamp, y, 3, 3, lit ? colour : Blend(colour, Rgb(0x0A0E12), 0.8));
                }
            }
        // one server cries for help
        if (Wrap(seconds, 1) < 0.5) {
            const double x = RackX(3) + 16;
            const double y = RACK_TOP + 4 * UNIT + 8;
            canvas.Ellipse(x, y, 4, 4, Rgb(0xFF3B30));
            canvas.Glow(x, y, 34, Rgb(0xFF3B30, 0.75));
        }
    }

    static void DrawCooling(Canvas& canvas, double seconds)
    {
        const double degrees = 18.5 + 1.2 * std::sin(seconds * 0.11);
        const int tenths = static_cast<int>(std::lround(degrees * 10));
        canvas.Text(640, 147, 18, std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + "\u00B0C",
                    Rgb(0x66F0C8), Canvas::EAlign::Centre, true);
        std::array<Point, 30> curve;
        for (size_t i = 0; i < curve.size(); ++i) {
            const double at = seconds - (29.0 - static_cast<double>(i)) * 0.25;
            curve[i] = {608 + static_cast<double>(i) * 2.2,
                        159 - 4 * std::sin(at * 1.3) - 2 * std::sin(at * 3.1)};
        }
        canvas.Polyline(curve, 1.5, Rgb(0x66F0C8, 0.8));
        for (const double y : {220.0, 296.0}) {
            canvas.Ellipse(640, y, 35, 35, Rgb(0x3F4B54));
            canvas.Ellipse(640, y, 31, 31, Rgb(0x161D23));
            for (int blade = 0; blade < 5; ++blade) {
                const double a = seconds * (y < 250 ? 5.1 : -4.3) + blade * 2 * std::numbers::pi / 5;
                canvas.Polygon({{640, y},
                                {640 + 29 * std::cos(a), y + 29 * std::sin(a)},
                                {640 + 27 * std::cos(a + 0.5), y + 27 * std::sin(a + 0.5)}},
                               Rgb(0x93A2AD));
            }
            canvas.Ellipse(640, y, 7, 7, Rgb(0xC9D2D8));
        }
    }

    static void DrawAir(Canvas& canvas, double seconds)
    {
        for (uint32_t i = 0; i < 18; ++i) {
            const double age = Wrap(seconds * (0.25 + 0.15 * Noise(210, i)) + Noise(211, i), 1);
            const double x = 130 + 480 * Noise(212, i) + 10 * std::sin(seconds + i);
            canvas.Ellipse(x, 520 - age * 130, 8 + 10 * age, 5 + 6 * age, Rgb(0xCFEFFF, 0.09 * (1 - age)));
        }
    }

    static void DrawTrolley(Canvas& canvas, double seconds)
    {
        canvas.Rect(36, 470, 8, 78, Rgb(0x39444D));
        canvas.Rect(128, 470, 8, 78, Rgb(0x39444D));
        canvas.RoundRect(28, 462, 116, 12, 3, Rgb(0x8C99A3));
        canvas.RoundRect(46, 396, 80, 58, 4, Rgb(0x14191E));
        canvas.Rect(51, 401, 70, 46, Rgb(0x0B2A1B));
        canvas.Rect(80, 452, 12, 12, Rgb(0x14191E));
        const auto first = static_cast<uint32_t>(Wrap(seconds * 4, 65536));  // a log runs by
        for (uint32_t line = 0; line < 7; ++line) {
            const double width = 14 + 48 * Noise(220, first + line);
            canvas.Rect(54, 404 + 6.0 * line, width, 3,
                        Rgb(Noise(221, first + line) > 0.9 ? 0xFFB13B : 0x4CFF88));
        }
    }
};

}  // namespace

std::unique_ptr<IScene> MakeServerRoom()
{
    return std::make_unique<ServerRoom>();
}

}  // namespace recorder
