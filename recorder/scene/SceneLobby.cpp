#include <array>
#include <cmath>
#include <numbers>

#include "recorder/scene/Figures.h"
#include "recorder/scene/Scenes.h"

namespace recorder
{

namespace
{

constexpr double FLOOR = 356;
constexpr double LIFT_CYCLE = 17;  // seconds

void DrawPlant(Canvas& canvas, double atX, double atY, double size, double seconds)
{
    canvas.Polygon({{atX - 20 * size, atY - 36 * size},
                    {atX + 20 * size, atY - 36 * size},
                    {atX + 14 * size, atY},
                    {atX - 14 * size, atY}},
                   Rgb(0xD8D3C8));
    for (int leaf = 0; leaf < 11; ++leaf) {
        const double lean = (leaf - 5) * 13 * size + std::sin(seconds * 0.9 + leaf) * 2;
        const double top = (104 - 7 * std::abs(leaf - 5)) * size;
        canvas.Curve({atX, atY - 34 * size}, {atX + lean * 0.2, atY - 70 * size}, {atX + lean * 0.7, atY - top},
                     {atX + lean * 1.25, atY - top + 12 * size}, 6 * size,
                     Blend(Rgb(0x2E6B3A), Rgb(0x6FAE55), (leaf % 4) / 4.0));
    }
}

class Lobby : public IScene
{
  public:
    const char* Name() const override { return "Lobby"; }

    void DrawStill(Canvas& canvas) const override
    {
        canvas.Shade(0, 0, SCENE_WIDTH, 96, {{0, Rgb(0xF2EEE6)}, {1, Rgb(0xDCD5C8)}});  // the ceiling
        for (int i = 0; i < 6; ++i) {
            canvas.Ellipse(62 + i * 116.0, 46, 30, 8, Rgb(0xFFFFFF));
            canvas.Glow(62 + i * 116.0, 50, 90, Rgb(0xFFF4D6, 0.55));
        }
        canvas.Shade(0, 92, SCENE_WIDTH, FLOOR - 92, {{0, Rgb(0xCDBFA8)}, {1, Rgb(0xB7A78D)}});
        for (int i = 0; i < 13; ++i)  // wooden wall behind the desk
            canvas.Shade(214 + i * 21.0, 112, 19, FLOOR - 112,
                         {{0, Rgb(0x9A6B42)}, {0.5, Rgb(0xB07D4F)}, {1, Rgb(0x8D603A)}}, true);
        canvas.Text(350, 176, 34, "WATCHWALL", Rgb(0xF6EAD2), Canvas::EAlign::Centre, true);
        canvas.Rect(262, 188, 176, 3, Rgb(0xF6EAD2));
        // the glass front on the left, with the street behind
        canvas.Shade(0, 100, 190, FLOOR - 100, {{0, Rgb(0xA9D2EC)}, {0.6, Rgb(0xDDECEF)}, {1, Rgb(0xB9C4B4)}});
        for (uint32_t i = 0; i < 5; ++i)
            canvas.Rect(6 + i * 38.0, 170 - 40 * Noise(190, i), 32, 140 + 40 * Noise(190, i),
                        Rgb(0x93A9B6, 0.6));
        canvas.Rect(0, 312, 190, 44, Rgb(0x8A9096));
        // two lifts on the right
        for (const double x : {520.0, 614.0}) {
            canvas.Rect(x - 6, 150, 82, FLOOR - 150, Rgb(0x6F6A62));
            canvas.Rect(x, 158, 70, FLOOR - 158, Rgb(0xF3E3B8));
            canvas.Rect(x + 10, 196, 50, FLOOR - 196, Rgb(0xD8C79C));
        }
        canvas.Shade(0, FLOOR, SCENE_WIDTH, SCENE_HEIGHT - FLOOR, {{0, Rgb(0xA79C8C)}, {1, Rgb(0xDAD0C0)}});
        for (int i = -8; i <= 16; ++i)
            canvas.Line({352 + (i - 4) * 46.0, FLOOR}, {352 + (i - 4) * 130.0, SCENE_HEIGHT}, 1.3,
                        Rgb(0x8F8474, 0.7));
        for (const double y : {374.0, 400.0, 436.0, 486.0, 550.0})
            canvas.Line({0, y}, {704, y}, 1.3, Rgb(0x8F8474, 0.7));
        for (int i = 0; i < 6; ++i) {  // the lamps in the polished floor
            const Canvas::Keep keep(canvas);
            canvas.Move(62 + i * 116.0, 452);
            canvas.Scale(1, 1.5);
            canvas.Glow(0, 0, 48, Rgb(0xFFFBEF, 0.32));
        }
        canvas.Polygon({{180, 576}, {530, 576}, {452, 412}, {244, 412}}, Rgb(0x7A2F38));  // the carpet
        canvas.Polygon({{196, 570}, {514, 570}, {445, 418}, {252, 418}}, Rgb(0x8E3A42));
    }

    void DrawMoving(Canvas& canvas, double seconds) const override
    {
        for (uint32_t i = 0; i < 2; ++i) {  // cars outside
            const Canvas::Keep keep(canvas);
            canvas.Clip(0, 100, 190, FLOOR - 100);
            const double x = Wrap(seconds * (70 + 26.0 * i) + 300 * i, 520) - 150;
            DrawCar(canvas, i == 0 ? x : 190 - x, 338 + 10.0 * i, 96, i == 0 ? 1 : -1, x,
                    Rgb(i == 0 ? 0xC23B33 : 0x33658A), false);
        }
        DrawRevolvingDoor(canvas, seconds);
        DrawLift(canvas, 520, seconds, 0);
        DrawLift(canvas, 614, seconds + 7.5, 1);
        DrawDesk(canvas, seconds);

        for (uint32_t i = 0; i < 3; ++i) {  // from the door to the lifts and back
            const double time = Wrap(seconds / 19 + i / 3.0, 1);
            const bool back = time > 0.5;
            const double share = back ? 2 - 2 * time : 2 * time;
            const auto who = static_cast<uint32_t>(Wrap(seconds / 19 + i / 3.0, 4096)) * 3 + i + 600;
            DrawPerson(canvas, 120 + 480 * share, 396 + 44 * std::sin(share * std::numbers::pi) + 10 * i,
                       106 + 20 * std::sin(share * std::numbers::pi), share * 26, back ? -1 : 1, PersonOf(who));
        }
        DrawPlant(canvas, 208, 432, 1, seconds);
        DrawPlant(canvas, 494, 432, 1, seconds + 4);
        DrawPlant(canvas, 44, 560, 1.5, seconds + 2);
        const double near = Wrap(seconds * 62, 1100) - 200;
        DrawPerson(canvas, 704 - near, 566, 176, seconds * 1.25, -1,
                   PersonOf(640 + static_cast<uint32_t>(Wrap(seconds * 62 / 1100, 512))));
    }

  private:
    static void DrawRevolvingDoor(Canvas& canvas, double seconds)
    {
        canvas.Rect(46, 196, 104, 6, Rgb(0x3F464C));
        canvas.Rect(46, 200, 5, FLOOR - 200, Rgb(0x3F464C));
        canvas.Rect(145, 200, 5, FLOOR - 200, Rgb(0x3F464C));
        for (int wing = 0; wing < 4; ++wing) {
            const double a = seconds * 0.8 + wing * std::numbers::pi / 2;
            const double x = 98 + 44 * std::cos(a);
            const double low = FLOOR + 10 * std::sin(a);
            canvas.Polygon({{98, 202}, {x, 202}, {x, low}, {98, FLOOR}}, Rgb(0xE6F4FA, 0.28));
            canvas.Line({x, 202}, {x, low}, 3, Rgb(0x3F464C));
        }
        canvas.Line({98, 202}, {98, FLOOR}, 4, Rgb(0x3F464C));
    }

    static void DrawLift(Canvas& canvas, double atX, double seconds, uint32_t seed)
    {
        const double time = Wrap(seconds, LIFT_CYCLE);
        const double open = Smooth((time - 8) / 1.5) - Smooth((time - 14) / 1.5);
        for (const double side : {-1.0, 1.0}) {
            const double x = side < 0 ? atX : atX + 35 + 34 * open;
            canvas.Shade(x, 158, 35 - 34 * open, FLOOR - 158,
                         {{0, Rgb(0xAEB4B8)}, {0.5, Rgb(0xD5DADC)}, {1, Rgb(0x9BA2A7)}}, true);
        }
        if (open < 0.02) canvas.Line({atX + 35, 158}, {atX + 35, FLOOR}, 1.5, Rgb(0x6B7074));
        canvas.RoundRect(atX + 15, 126, 40, 20, 3, Rgb(0x14181C));
        const int floor = time < 8 ? 1 + static_cast<int>((8 - time) * 1.1) : time > 15 ? 2 : 1;
        canvas.Text(atX + 30, 142, 15, std::to_string(floor + static_cast<int>(seed) * (floor > 1 ? 2 : 0)),
                    Rgb(0xFF6A4A), Canvas::EAlign::Centre, true);
        const double y = 130 + 3 * Wrap(seconds * 2, 2);
        if (time < 8) canvas.Polygon({{atX + 43, y}, {atX + 51, y}, {atX + 47, y + 8}}, Rgb(0xFF6A4A));
    }

    static void DrawDesk(Canvas& canvas, double seconds)
    {
        for (uint32_t i = 0; i < 2; ++i) {  // two behind it
            const double x = 306 + 92.0 * i + 7 * std::sin(seconds * 0.5 + 2.0 * i);
            const Person person = PersonOf(810 + 3 * i);
            canvas.RoundRect(x - 19, 296, 38, 70, 14, person.coat);
            canvas.Ellipse(x, 280 + std::sin(seconds * 1.4 + i), 13, 16, person.skin);
            canvas.Ellipse(x, 271 + std::sin(seconds * 1.4 + i), 14, 10, person.hair);
        }
        canvas.RoundRect(324, 306, 56, 36, 3, Rgb(0x20262B));  // a screen with something going on
        canvas.Rect(327, 309, 50, 30, Rgb(0x2F6F9A));
        for (int bar = 0; bar < 8; ++bar) {
            const double height = 5 + 20 * (0.5 + 0.5 * std::sin(seconds * 1.7 + bar * 1.3));
            canvas.Rect(330 + bar * 6.0, 337 - height, 4, height, Rgb(0xBEE8FF));
        }
        canvas.Shade(236, 340, 232, 76, {{0, Rgb(0xF1ECE2)}, {1, Rgb(0xC6BBA8)}});
        canvas.Rect(228, 334, 248, 9, Rgb(0x4A3A2E));
        canvas.Glow(352, 416, 120, Rgb(0xFFE2A8, 0.35));
    }
};

}  // namespace

std::unique_ptr<IScene> MakeLobby()
{
    return std::make_unique<Lobby>();
}

}  // namespace recorder
