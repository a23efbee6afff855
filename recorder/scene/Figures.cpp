#include "recorder/scene/Figures.h"

#include <array>
#include <cmath>
#include <numbers>

namespace recorder
{

Person PersonOf(uint32_t number)
{
    static constexpr std::array<uint32_t, 8> COATS = {0xB23A3A, 0x2F5D8C, 0x3E7A4E, 0xD9A441,
                                                      0x6B4A8C, 0xE4E0D6, 0x2B2F38, 0xC96B3C};
    static constexpr std::array<uint32_t, 4> TROUSERS = {0x23303F, 0x3B3A3A, 0x5A4A3A, 0x1D2530};
    static constexpr std::array<uint32_t, 4> SKINS = {0xE3B595, 0xC98F68, 0x8C5A3C, 0xF0CBAE};
    static constexpr std::array<uint32_t, 4> HAIRS = {0x2A1D16, 0x5A3A22, 0x8C8C8C, 0xB8863C};
    const auto pick = [number](const auto& from, uint32_t seed) {
        return Rgb(from[static_cast<size_t>(Noise(seed, number) * static_cast<double>(from.size()))]);
    };
    return {pick(COATS, 101), pick(TROUSERS, 102), pick(SKINS, 103), pick(HAIRS, 104)};
}

void DrawPerson(Canvas& canvas, double x, double y, double height, double step, double facing,
                const Person& person)
{
    const Canvas::Keep keep(canvas);
    canvas.Move(x, y);
    canvas.Scale(facing < 0 ? -height / 100 : height / 100, height / 100);
    canvas.Ellipse(0, 0, 20, 4, Rgb(0x000000, 0.25));
    const double swing = std::sin(step * std::numbers::pi) * 15;
    const double lift = std::abs(std::cos(step * std::numbers::pi)) * 2;
    const Point hip = {0, -46 - lift};
    const Colour far = Blend(person.trousers, Rgb(0x000000), 0.3);
    canvas.Line(hip, {-swing, -2}, 9, far);
    canvas.Line({-swing - 2, -2}, {-swing + 8, -2}, 5, Rgb(0x1A1412));
    canvas.Line({0, -74 - lift}, {swing * 0.8, -48 - lift}, 7, Blend(person.coat, Rgb(0x000000), 0.3));
    canvas.Line(hip, {swing, -2}, 9, person.trousers);
    canvas.Line({swing - 2, -2}, {swing + 8, -2}, 5, Rgb(0x1A1412));
    canvas.RoundRect(-11, -82 - lift, 22, 40, 9, person.coat);
    canvas.Line({0, -76 - lift}, {-swing * 0.8, -50 - lift}, 7, Blend(person.coat, Rgb(0xFFFFFF), 0.12));
    canvas.Ellipse(-swing * 0.8, -48 - lift, 4, 4, person.skin);
    canvas.Ellipse(1, -91 - lift, 8, 9.5, person.skin);
    canvas.Ellipse(-1.5, -95 - lift, 8.5, 6.5, person.hair);
}

void DrawCar(Canvas& canvas, double x, double y, double length, double facing, double travelled,
             const Colour& paint, bool lights)
{
    const Canvas::Keep keep(canvas);
    canvas.Move(x, y);
    const double scale = length / 200;
    canvas.Scale(facing < 0 ? -scale : scale, scale);
    canvas.Ellipse(0, -1, 104, 9, Rgb(0x000000, 0.35));
    const Colour dark = Blend(paint, Rgb(0x000000), 0.3);
    canvas.Polygon({{-62, -42}, {-42, -70}, {24, -71}, {56, -42}}, dark);
    canvas.Polygon({{-52, -43}, {-37, -65}, {-8, -66}, {-8, -43}}, Rgb(0x9FC3D6));
    canvas.Polygon({{-2, -43}, {-2, -66}, {20, -66}, {44, -43}}, Rgb(0xB4D3E2));
    canvas.RoundRect(-100, -45, 200, 34, 13, paint);
    canvas.RoundRect(-100, -24, 200, 14, 6, dark);
    canvas.Line({-5, -42}, {-5, -16}, 1.5, dark);
    canvas.RoundRect(88, -38, 12, 9, 3, Rgb(0xFFF4C8));
    canvas.RoundRect(-100, -38, 9, 10, 3, Rgb(0xC02A22));
    if (lights) canvas.Polygon({{98, -36}, {270, -52}, {270, 4}, {98, -28}}, Rgb(0xFFF2B8, 0.22));
    for (const double wheel : {-58.0, 58.0}) {
        canvas.Ellipse(wheel, -14, 19, 19, Rgb(0x15161A));
        canvas.Ellipse(wheel, -14, 11, 11, Rgb(0xA9AEB4));
        const double angle = travelled / (19 * scale);
        for (int spoke = 0; spoke < 3; ++spoke) {
            const double a = angle + spoke * 2 * std::numbers::pi / 3;
            canvas.Line({wheel, -14}, {wheel + 10 * std::cos(a), -14 + 10 * std::sin(a)}, 3, Rgb(0x4A4F56));
        }
    }
}

}  // namespace recorder
