#include <array>
#include <cmath>

#include "recorder/scene/Figures.h"
#include "recorder/scene/Scenes.h"

namespace recorder
{

namespace
{

constexpr double BACK = 300;  // where the far row of cars stands
constexpr double CYCLE = 34;  // seconds in which one car comes and another goes
constexpr int SLOTS = 5;
constexpr std::array<uint32_t, 8> PAINTS = {0xB8302C, 0x3B6EA5, 0xDAD7CF, 0x2C3036,
                                            0x7D868F, 0xC98B2B, 0x3E6F4F, 0x5A3F73};

Colour PaintOf(uint32_t number)
{
    return Rgb(PAINTS[static_cast<size_t>(Noise(130, number) * PAINTS.size())]);
}

// A parked car from behind.
void DrawParked(Canvas& canvas, double x, double y, double width, const Colour& paint, double brake)
{
    const Canvas::Keep keep(canvas);
    canvas.Move(x, y);
    canvas.Scale(width / 100, width / 100);
    canvas.Ellipse(0, -2, 54, 7, Rgb(0x000000, 0.45));
    const Colour dark = Blend(paint, Rgb(0x000000), 0.35);
    canvas.RoundRect(-42, -16, 17, 18, 4, Rgb(0x14161A));
    canvas.RoundRect(25, -16, 17, 18, 4, Rgb(0x14161A));
    canvas.Polygon({{-40, -46}, {-30, -76}, {30, -76}, {40, -46}}, dark);
    canvas.Polygon({{-34, -48}, {-26, -71}, {26, -71}, {34, -48}}, Rgb(0x6F8791));
    canvas.Polygon({{-30, -50}, {-18, -71}, {-4, -71}, {-18, -50}}, Rgb(0xA9BFC8, 0.6));
    canvas.RoundRect(-48, -50, 96, 40, 11, paint);
    canvas.RoundRect(-46, -22, 92, 12, 5, dark);
    canvas.RoundRect(-17, -34, 34, 11, 2, Rgb(0xF3F1E4));
    for (const double side : {-1.0, 1.0}) {
        canvas.RoundRect(side * 38 - 8, -44, 16, 9, 3, Blend(Rgb(0x8A1F1B), Rgb(0xFF4A3D), brake));
        if (brake > 0.1) canvas.Glow(side * 38, -40, 26, Rgb(0xFF3A30, 0.6 * brake));
    }
}

class ParkingDeck : public IScene
{
  public:
    const char* Name() const override { return "Parking deck"; }

    void DrawStill(Canvas& canvas) const override
    {
        canvas.Shade(0, 0, SCENE_WIDTH, 110, {{0, Rgb(0x3C4147)}, {1, Rgb(0x565C62)}});  // the ceiling
        for (int i = 0; i < 5; ++i)
            canvas.Rect(0, 18 + i * 20.0, SCENE_WIDTH, 7 - i, Rgb(0x2E3338));
        canvas.Shade(0, 104, SCENE_WIDTH, 178, {{0, Rgb(0x8A8F90)}, {1, Rgb(0xA5A9A6)}});  // the wall
        canvas.Rect(0, 216, SCENE_WIDTH, 26, Rgb(0x2E7D6B));
        canvas.Text(46, 186, 58, "P2", Rgb(0x2E7D6B), Canvas::EAlign::Left, true);
        canvas.Shade(560, 128, 120, 154,
                     {{0, Rgb(0x8FB8D6)}, {0.7, Rgb(0xDCE6E6)}, {1, Rgb(0x9AA08F)}});  // the exit
        canvas.Rect(556, 124, 128, 6, Rgb(0xD8B62A));
        canvas.RoundRect(586, 96, 68, 22, 4, Rgb(0x1F6B3A));
        canvas.Text(620, 113, 15, "EXIT", Rgb(0xF2FFF2), Canvas::EAlign::Centre, true);
        canvas.Shade(0, 280, SCENE_WIDTH, SCENE_HEIGHT - 280, {{0, Rgb(0x6E7375)}, {1, Rgb(0x4B4F52)}});
        for (int slot = 0; slot <= SLOTS; ++slot)
            canvas.Polygon({{28 + slot * 104.0, 284},
                            {32 + slot * 104.0, 284},
                            {14 + slot * 108.0, 344},
                            {8 + slot * 108.0, 344}},
                           Rgb(0xE9E6DA));
        for (int i = 0; i < 2; ++i) {  // arrows on the lane
            const double x = 170 + i * 330.0;
            canvas.Rect(x, 413, 62, 8, Rgb(0xE9E6DA, 0.8));
            canvas.Polygon({{x + 60, 402}, {x + 92, 417}, {x + 60, 432}}, Rgb(0xE9E6DA, 0.8));
        }
        for (int i = 0; i < 4; ++i) {  // oil and tyres
            canvas.Ellipse(90 + 160.0 * i, 372 + 26.0 * Noise(131, static_cast<uint32_t>(i)), 34, 5,
                           Rgb(0x2B2D2F, 0.35));
            canvas.Line({0, 388 + 14.0 * i}, {704, 384 + 14.0 * i}, 2, Rgb(0x2B2D2F, 0.18));
        }
        for (int lamp = 0; lamp < LAMPS; ++lamp)
            if (lamp != BROKEN_LAMP) DrawLamp(canvas, lamp, 1);
    }

    void DrawMoving(Canvas& canvas, double seconds) const override
    {
        const bool out = Noise(132, static_cast<uint32_t>(Wrap(seconds * 9, 65536))) < 0.3;
        DrawLamp(canvas, BROKEN_LAMP, out ? 0.3 : 1);
        const double time = Wrap(seconds, CYCLE);
        const auto cycle = static_cast<uint32_t>(Wrap(seconds / CYCLE, 4096));
        // In each cycle the car of one slot leaves, and another takes the place.
        const int changing = static_cast<int>(Noise(133, cycle) * SLOTS);
        for (int slot = 0; slot < SLOTS; ++slot) {
            const double x = 84 + slot * 105.0;
            const uint32_t number = LatestCar(cycle, slot);
            if (slot != changing) {
                if (Noise(134, number) > 0.12) DrawParked(canvas, x, 326, 88, PaintOf(number), 0);
                continue;
            }
            // out: back into the lane and off to the exit; in: the same the other way round
            if (time < 4) {
                DrawParked(canvas, x, 326 + 62 * Smooth((time - 1.5) / 2.5),
                           88 + 12 * Smooth((time - 1.5) / 2.5), PaintOf(number), time < 1.5 ? 1 : 0.5);
            } else if (time < 12) {
                const double way = time - 4;
                DrawCar(canvas, x + 22 * way * way, 408, 180, 1, 22 * way * way, PaintOf(number), true);
            }
            const uint32_t next = LatestCar(cycle + 1, slot);
            if (time > 14 && time < 21) {
                const double rest = 1 - (time - 14) / 7;
                DrawCar(canvas, x - (x + 220) * rest * rest, 408, 180, 1, -400 * rest * rest, PaintOf(next),
                        true);
            } else if (time >= 21) {
                const double in = Smooth((time - 21.5) / 3);
                DrawParked(canvas, x, 388 - 62 * in, 100 - 12 * in, PaintOf(next), time < 27 ? 1 : 0);
            }
        }
        for (uint32_t i = 0; i < 2; ++i) {  // people on their way
            const double speed = 34 + 16.0 * i;
            const double facing = i == 0 ? -1 : 1;
            const double x = Wrap(300 * i + facing * speed * seconds, 900) - 90;
            DrawPerson(canvas, x, 462 + 34.0 * i, 104 + 10.0 * i, speed * seconds / 40, facing,
                       PersonOf(330 + i));
        }
        DrawPillars(canvas);
        DrawNearRow(canvas, seconds);
    }

  private:
    // The car that stands in the slot when the cycle begins: the one that came last.
    static uint32_t LatestCar(uint32_t cycle, int slot)
    {
        for (uint32_t back = 1; back < 40 && back <= cycle; ++back)
            if (static_cast<int>(Noise(133, cycle - back) * SLOTS) == slot)
                return (cycle - back) * 8 + static_cast<uint32_t>(slot) + 1000;
        return static_cast<uint32_t>(slot);
    }

    static constexpr int LAMPS = 4;
    static constexpr int BROKEN_LAMP = 2;

    static void DrawLamp(Canvas& canvas, int lamp, double bright)
    {
        const double x = 40 + lamp * 176.0;
        canvas.RoundRect(x, 62, 108, 9, 3, Blend(Rgb(0x6A6F72), Rgb(0xFDFEF4), bright));
        canvas.Glow(x + 54, 68, 90, Rgb(0xF3F8E8, 0.3 * bright));
        const Canvas::Keep keep(canvas);
        canvas.Move(x + 54, 372);
        canvas.Scale(1, 0.3);
        canvas.Glow(0, 0, 130, Rgb(0xFFFFFF, 0.13 * bright));
    }

    static void DrawPillars(Canvas& canvas)
    {
        for (const double x : {4.0, 540.0}) {
            canvas.Shade(x, 30, 38, 320, {{0, Rgb(0xB7BAB6)}, {0.6, Rgb(0x8F9492)}, {1, Rgb(0x6F7473)}}, true);
            for (int stripe = 0; stripe < 5; ++stripe)
                canvas.Rect(x, 250 + stripe * 20.0, 38, 10, Rgb(stripe % 2 == 0 ? 0xE2BC25 : 0x23262A));
        }
    }

    // Roofs of cars right below the camera.
    static void DrawNearRow(Canvas& canvas, double seconds)
    {
        for (int i = 0; i < 3; ++i) {
            const double x = 70 + i * 226.0;
            const Colour paint = PaintOf(static_cast<uint32_t>(40 + i));
            canvas.RoundRect(x, 528, 180, 90, 34, Blend(paint, Rgb(0x000000), 0.2));
            canvas.RoundRect(x + 14, 538, 152, 80, 26, paint);
            canvas.RoundRect(x + 30, 548, 120, 40, 16, Rgb(0x8EA6B0));
            canvas.Polygon({{x + 46, 552}, {x + 80, 550}, {x + 60, 588}, {x + 34, 588}}, Rgb(0xFFFFFF, 0.25));
        }
        if (Wrap(seconds, 2) < 1) canvas.Glow(84, 536, 20, Rgb(0xFFA62B, 0.9));  // one forgot its blinker
    }
};

}  // namespace

std::unique_ptr<IScene> MakeParkingDeck()
{
    return std::make_unique<ParkingDeck>();
}

}  // namespace recorder
