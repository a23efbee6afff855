#include <array>
#include <cmath>

#include "recorder/scene/Figures.h"
#include "recorder/scene/Scenes.h"

namespace recorder
{

namespace
{

// The aisle runs away from us: depth 1 is at the picture's edge, depth grows to the far wall, and everything
// shrinks towards the vanishing point by its inverse.
constexpr Point VANISH = {352, 236};
constexpr double FAR_WALL = 7;

Point At(double x, double y, double depth)
{
    return {VANISH.x + x / depth, VANISH.y + y / depth};
}

constexpr double FLOOR = 330;  // below the eye, at depth 1
constexpr double CEILING = -250;
constexpr double AISLE = 210;  // half its width
constexpr double RACK_DEPTH = 160;

void DrawQuad(Canvas& canvas, const Point& a, const Point& b, const Point& c, const Point& d,
              const Colour& colour)
{
    canvas.Polygon({a, b, c, d}, colour);
}

Colour Dim(const Colour& colour, double depth)
{
    return Blend(colour, Rgb(0x1B2530), Smooth((depth - 1) / 8) * 0.75);
}

void DrawRack(Canvas& canvas, double side)
{
    for (int bay = 5; bay >= 0; --bay) {
        const double near = 1.0 + bay;
        const double far = near + 1;
        DrawQuad(canvas, At(side * AISLE, CEILING, near), At(side * AISLE, CEILING, far),
                 At(side * AISLE, FLOOR, far), At(side * AISLE, FLOOR, near), Dim(Rgb(0x26303A), near));
        for (int level = 0; level < 4; ++level) {
            const double bottom = FLOOR - 8 - level * 140;
            for (int box = 2; box >= 0; --box) {
                const auto number = static_cast<uint32_t>(bay * 16 + level * 4 + box + (side > 0 ? 200 : 0));
                if (Noise(80, number) < 0.12) continue;
                const double from = near + 0.08 + box * 0.3;
                const double to = from + 0.26;
                const double height = 62 + 50 * Noise(81, number);
                static constexpr std::array<uint32_t, 5> GOODS = {0xB98A57, 0xC79F6B, 0x9C7147, 0x4F7EA8,
                                                                  0xD8D2C4};
                const Colour goods = Rgb(GOODS[static_cast<size_t>(Noise(82, number) * GOODS.size())]);
                DrawQuad(canvas, At(side * AISLE, bottom - height, from), At(side * AISLE, bottom - height, to),
                         At(side * AISLE, bottom, to), At(side * AISLE, bottom, from), Dim(goods, from));
                DrawQuad(canvas, At(side * AISLE, bottom - height * 0.62, from + 0.08),
                         At(side * AISLE, bottom - height * 0.62, from + 0.17),
                         At(side * AISLE, bottom - height * 0.3, from + 0.17),
                         At(side * AISLE, bottom - height * 0.3, from + 0.08), Dim(Rgb(0xF1EEE6), from));
            }
            canvas.Line(At(side * AISLE, bottom + 4, near), At(side * AISLE, bottom + 4, far), 14 / near,
                        Dim(Rgb(0xE07B28), near));
        }
        canvas.Line(At(side * AISLE, CEILING, near), At(side * AISLE, FLOOR, near), 12 / near,
                    Dim(Rgb(0x2B5C9E), near));
    }
}

// The end of the next rack, beside the aisle: its goods face us.
void DrawRackEnd(Canvas& canvas, double side)
{
    const double from = side < 0 ? 0 : VANISH.x + AISLE;
    const double width = VANISH.x - AISLE;
    const double floor = VANISH.y + FLOOR;
    canvas.Shade(from, 0, width, floor, {{0, Rgb(0x1D262F)}, {1, Rgb(0x2B3640)}});
    for (int level = 0; level < 5; ++level) {
        const double bottom = floor - 8 - level * 140;
        for (int box = 0; box < 3; ++box) {
            const auto number = static_cast<uint32_t>(700 + level * 8 + box + (side > 0 ? 100 : 0));
            if (Noise(83, number) < 0.15) continue;
            const double height = 70 + 44 * Noise(84, number);
            const double x = from + 6 + box * width / 3;
            static constexpr std::array<uint32_t, 4> GOODS = {0xB98A57, 0xC79F6B, 0x8A6440, 0x3F6F99};
            const Colour goods = Rgb(GOODS[static_cast<size_t>(Noise(85, number) * GOODS.size())]);
            canvas.Shade(x, bottom - height, width / 3 - 10, height,
                         {{0, goods}, {1, Blend(goods, Rgb(0), 0.25)}});
            canvas.Rect(x + (width / 3 - 10) * 0.44, bottom - height, 5, height,
                        Blend(goods, Rgb(0xFFFFFF), 0.18));
            canvas.Rect(x + 6, bottom - height * 0.45, 13, 9, Rgb(0xF1EEE6));
        }
        canvas.Rect(from, bottom, width, 11, Rgb(0xE07B28));
    }
}

class Warehouse : public IScene
{
  public:
    const char* Name() const override { return "Warehouse"; }

    void DrawStill(Canvas& canvas) const override
    {
        canvas.Rect(0, 0, SCENE_WIDTH, SCENE_HEIGHT, Rgb(0x1B2530));
        canvas.Shade(0, VANISH.y + FLOOR / FAR_WALL, SCENE_WIDTH, 340,
                     {{0, Rgb(0x59626A)}, {1, Rgb(0x8C9499)}});
        canvas.Shade(0, 0, SCENE_WIDTH, VANISH.y + CEILING / FAR_WALL,
                     {{0, Rgb(0x39434D)}, {1, Rgb(0x242E37)}});
        for (int beam = 0; beam < 12; ++beam) {
            const double depth = 1 + beam * 0.5;
            canvas.Line(At(-900, CEILING, depth), At(900, CEILING, depth), 7 / depth, Rgb(0x1C252E));
        }
        const Point corner = At(-AISLE - RACK_DEPTH, CEILING, FAR_WALL);
        const Point opposite = At(AISLE + RACK_DEPTH, FLOOR, FAR_WALL);
        canvas.Rect(corner.x, corner.y, opposite.x - corner.x, opposite.y - corner.y, Rgb(0x49545E));
        canvas.Shade(330, 226, 44, 57, {{0, Rgb(0xCFE0E8)}, {1, Rgb(0x9DB4C0)}});  // the gate, daylight behind
        canvas.Text(352, 220, 9, "GATE 4", Rgb(0xF2D64B), Canvas::EAlign::Centre, true);
        for (const double side : {-1.0, 1.0}) {
            DrawRackEnd(canvas, side);
            DrawRack(canvas, side);
        }
        for (const double side : {-1.0, 1.0})
            DrawQuad(canvas, At(side * (AISLE - 30), FLOOR, 1), At(side * (AISLE - 40), FLOOR, 1),
                     At(side * (AISLE - 40), FLOOR, FAR_WALL), At(side * (AISLE - 30), FLOOR, FAR_WALL),
                     Rgb(0xE8C832, 0.85));
        for (int lamp = 6; lamp >= 1; --lamp) {
            const double depth = lamp;
            DrawQuad(canvas, At(-46, CEILING + 20, depth), At(46, CEILING + 20, depth),
                     At(46, CEILING + 20, depth + 0.4), At(-46, CEILING + 20, depth + 0.4), Rgb(0xF8FBF4));
            const Point centre = At(0, CEILING + 20, depth);
            canvas.Glow(centre.x, centre.y, 120 / depth, Rgb(0xEAF4FF, 0.35));
            const Point spot = At(0, FLOOR, depth + 0.2);
            const Canvas::Keep keep(canvas);
            canvas.Move(spot.x, spot.y);
            canvas.Scale(1, 0.25);
            canvas.Glow(0, 0, 190 / depth, Rgb(0xFFFFFF, 0.22));
        }
    }

    void DrawMoving(Canvas& canvas, double seconds) const override
    {
        // A flickering lamp, far behind.
        const double flicker = Noise(90, static_cast<uint32_t>(Wrap(seconds * 12, 65536)));
        const Point lamp = At(0, CEILING + 20, 5);
        canvas.Glow(lamp.x, lamp.y, 30, Rgb(0xFFFFFF, flicker > 0.8 ? 0.9 : 0.15));

        // Two workers and the forklift, the farthest first.
        const double forklift = 3.6 - 2.2 * std::cos(seconds * 0.28);
        const double workers[2] = {4.4 + 1.6 * std::sin(seconds * 0.19),
                                   2.6 + 0.9 * std::sin(seconds * 0.23 + 2)};
        const bool coming = std::sin(seconds * 0.28) < 0;
        for (int turn = 0; turn < 3; ++turn) {
            // Three things sorted by depth: the one with this rank.
            const double depths[3] = {forklift, workers[0], workers[1]};
            int rank[3] = {0, 0, 0};
            for (int i = 0; i < 3; ++i)
                for (int k = 0; k < 3; ++k)
                    if (depths[k] > depths[i] || (depths[k] == depths[i] && k < i)) ++rank[i];
            for (int i = 0; i < 3; ++i) {
                if (rank[i] != turn) continue;
                if (i == 0)
                    DrawForklift(canvas, forklift, seconds, coming);
                else
                    DrawWorker(canvas, i, depths[i], seconds);
            }
        }
        // dust in the light
        for (uint32_t i = 0; i < 24; ++i) {
            const double x = Wrap(Noise(95, i) * 704 + 9 * std::sin(seconds * 0.5 + i), 704);
            const double y = Wrap(Noise(96, i) * 500 - seconds * (3 + 5 * Noise(97, i)), 500);
            canvas.Ellipse(x, y, 1.3, 1.3, Rgb(0xFFFFFF, 0.25));
        }
    }

  private:
    static void DrawWorker(Canvas& canvas, int number, double depth, double seconds)
    {
        const double side = number == 1 ? -1 : 1;
        const Point feet = At(side * 120, FLOOR, depth);
        const double height = 260 / depth;
        Person person = PersonOf(static_cast<uint32_t>(500 + number));
        person.coat = Rgb(0xF2A91E);
        person.hair = number == 1 ? Rgb(0xF4F1E8) : Rgb(0x2F6DB0);  // helmets
        DrawPerson(canvas, feet.x, feet.y, height, seconds * 1.6, std::sin(seconds * 0.4 + number), person);
        canvas.Line({feet.x - height * 0.11, feet.y - height * 0.6},
                    {feet.x + height * 0.11, feet.y - height * 0.6}, height * 0.035, Rgb(0xF7F7D8));
    }

    static void DrawForklift(Canvas& canvas, double depth, double seconds, bool coming)
    {
        const Point base = At(18 * std::sin(seconds * 0.4), FLOOR, depth);
        const Canvas::Keep keep(canvas);
        canvas.Move(base.x, base.y);
        canvas.Scale(1.25 / depth, 1.25 / depth);
        canvas.Ellipse(0, 0, 120, 16, Rgb(0x000000, 0.4));
        const double lift = 34 + 26 * std::sin(seconds * 0.7);
        const auto load = [&] {
            canvas.Rect(-78, -24 - lift, 156, 12, Rgb(0x8A5E34));
            canvas.Rect(-70, -124 - lift, 66, 100, Rgb(0xC49A66));
            canvas.Rect(2, -124 - lift, 66, 100, Rgb(0xB5884F));
            canvas.Rect(-50, -92 - lift, 26, 20, Rgb(0xF2EEE2));
            canvas.Rect(-46, -10 - lift, 14, 8, Rgb(0x22262B));
            canvas.Rect(32, -10 - lift, 14, 8, Rgb(0x22262B));
        };
        if (!coming) load();
        canvas.RoundRect(-92, -52, 40, 54, 10, Rgb(0x17191C));
        canvas.RoundRect(52, -52, 40, 54, 10, Rgb(0x17191C));
        canvas.RoundRect(-72, -112, 144, 92, 14, Rgb(0xF0B21C));
        canvas.Rect(-72, -58, 144, 14, Rgb(0x2A2A2A));
        for (int stripe = 0; stripe < 6; ++stripe)
            canvas.Polygon({{-66.0 + stripe * 24, -44},
                            {-54.0 + stripe * 24, -44},
                            {-62.0 + stripe * 24, -58},
                            {-74.0 + stripe * 24, -58}},
                           Rgb(0xF0B21C));
        canvas.RoundRect(-24, -176, 48, 66, 14, Rgb(0x2F6DB0));  // the driver
        canvas.Ellipse(0, -190, 19, 22, Rgb(0xD9A582));
        canvas.Ellipse(0, -200, 21, 14, Rgb(0xF4F1E8));
        for (const double post : {-66.0, 60.0})
            canvas.Rect(post, -236, 7, 128, Rgb(0x2B2E33));
        canvas.RoundRect(-72, -246, 144, 13, 5, Rgb(0x33373D));
        const double turn = std::sin(seconds * 7);
        canvas.Ellipse(0, -252, 9, 8, Rgb(0xFF8A1E));
        canvas.Glow(turn * 6, -252, 44, Rgb(0xFF9B2E, 0.35 + 0.4 * (turn > 0 ? turn : 0)));
        if (coming) {
            canvas.Rect(-34, -240, 8, 220, Rgb(0x3A3F46));
            canvas.Rect(26, -240, 8, 220, Rgb(0x3A3F46));
            load();
        } else {
            canvas.Ellipse(-56, -90, 8, 6, Rgb(0xE0342B));
            canvas.Ellipse(56, -90, 8, 6, Rgb(0xE0342B));
        }
    }
};

}  // namespace

std::unique_ptr<IScene> MakeWarehouse()
{
    return std::make_unique<Warehouse>();
}

}  // namespace recorder
