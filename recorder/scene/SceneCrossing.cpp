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
struct XTraffic {
    double m_dY;
    double m_dLength;
    double m_dFacing;
    uint32_t m_dwSeed;
};
constexpr std::array<XTraffic, 2> LANES = {{{392, 118, -1, 7}, {470, 150, 1, 23}}};

void DrawWindows(CCanvas& canvas, double dX, double dY, int iColumns, int iRows, const XColour& pane)
{
    for (int row = 0; row < iRows; ++row)
        for (int column = 0; column < iColumns; ++column) {
            const double x = dX + column * 24.0;
            const double y = dY + row * 34.0;
            canvas.Rect(x - 1.5, y - 1.5, 16, 23, Rgb(0xF4EFE6, 0.8));
            canvas.Shade(x, y, 13, 20, {{0, Blend(pane, Rgb(0xFFFFFF), 0.35)}, {1, pane}});
            canvas.Line({x + 6.5, y}, {x + 6.5, y + 20}, 1, Rgb(0xF4EFE6, 0.8));
        }
}

void DrawTree(CCanvas& canvas, double dX, double dY, double dSway)
{
    canvas.Line({dX, dY}, {dX + dSway * 0.3, dY - 62}, 7, Rgb(0x5B4332));
    for (uint32_t i = 0; i < 9; ++i) {
        const double r = 17 + 9 * Noise(40, i);
        canvas.Ellipse(dX + (Noise(41, i) - 0.5) * 58 + dSway * (0.6 + 0.6 * Noise(42, i)),
                       dY - 62 - 52 * Noise(43, i), r, r * 0.9,
                       Blend(Rgb(0x3F7A3A), Rgb(0x76A94A), Noise(44, i)));
    }
}

void DrawLight(CCanvas& canvas, double dX, double dY, double dTime)
{
    canvas.Line({dX, dY}, {dX, dY - 120}, 5, Rgb(0x3B3F45));
    canvas.RoundRect(dX - 11, dY - 170, 22, 58, 6, Rgb(0x24272C));
    const bool green = dTime < GREEN - 2;
    const bool amber = (dTime >= GREEN - 2 && dTime < GREEN) || dTime > CYCLE - 1;
    const bool red = dTime >= GREEN;
    canvas.Ellipse(dX, dY - 158, 7, 7, Rgb(red ? 0xFF3B30 : 0x4A1512));
    canvas.Ellipse(dX, dY - 141, 7, 7, Rgb(amber ? 0xFFC933 : 0x4A3A10));
    canvas.Ellipse(dX, dY - 124, 7, 7, Rgb(green ? 0x3DDC63 : 0x123F1D));
    canvas.Glow(dX,
                dY - (red     ? 158
                      : amber ? 141
                              : 124),
                22,
                Rgb(red     ? 0xFF3B30
                    : amber ? 0xFFC933
                            : 0x3DDC63,
                    0.5));
}

class CCrossing : public IScene
{
  public:
    const char* Name() const override { return "Crossing"; }

    void DrawStill(CCanvas& canvas) const override
    {
        canvas.Shade(0, 0, SCENE_WIDTH, 210, {{0, Rgb(0x6FA9D8)}, {1, Rgb(0xDCEBF2)}});
        struct XHouse {
            double m_dX, m_dTop, m_dWidth;
            uint32_t m_dwWall, m_dwPane;
            int m_iColumns;
        };
        constexpr std::array<XHouse, 6> HOUSES = {{{-10, 70, 118, 0xC88A6A, 0x4D6A7C, 4},
                                                   {108, 104, 96, 0xE3D2A6, 0x56727A, 3},
                                                   {204, 48, 132, 0x9C5B4B, 0x44606F, 5},
                                                   {336, 90, 104, 0xB9C4C0, 0x4B6875, 4},
                                                   {440, 30, 150, 0xD7B48A, 0x4A6676, 5},
                                                   {590, 84, 124, 0x8E9DAE, 0x3F5666, 4}}};
        for (const XHouse& house : HOUSES) {
            canvas.Shade(house.m_dX, house.m_dTop, house.m_dWidth, 300 - house.m_dTop,
                         {{0, Rgb(house.m_dwWall)}, {1, Blend(Rgb(house.m_dwWall), Rgb(0x000000), 0.25)}});
            canvas.Rect(house.m_dX - 3, house.m_dTop - 6, house.m_dWidth + 6, 8,
                        Blend(Rgb(house.m_dwWall), Rgb(0x000000), 0.4));
            DrawWindows(canvas, house.m_dX + 14, house.m_dTop + 16, house.m_iColumns,
                        static_cast<int>((210 - house.m_dTop) / 34), Rgb(house.m_dwPane));
            canvas.Rect(house.m_dX + 8, 236, house.m_dWidth - 16, 58, Rgb(0x2B3A42));  // the shop
            canvas.Shade(house.m_dX + 12, 244, house.m_dWidth - 24, 48,
                         {{0, Rgb(0xF6D99A)}, {1, Rgb(0xB98A55)}});
            for (int stripe = 0; stripe < 8; ++stripe)
                canvas.Rect(house.m_dX + 6 + stripe * (house.m_dWidth - 12) / 8, 222, (house.m_dWidth - 12) / 8,
                            18, Rgb(stripe % 2 == 0 ? house.m_dwWall : 0xF7F3EA));
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

    void DrawMoving(CCanvas& canvas, double dSeconds) const override
    {
        for (int i = 0; i < 4; ++i) {
            const double x = Wrap(i * 240.0 + dSeconds * (5 + i), 960) - 130;
            for (uint32_t k = 0; k < 4; ++k)
                canvas.Ellipse(x + k * 24.0, 26.0 + 10 * i - 6 * (k % 2), 26, 11, Rgb(0xFFFFFF, 0.35));
        }
        const double time = Wrap(dSeconds, CYCLE);
        const auto cycle = static_cast<uint32_t>(Wrap(dSeconds / CYCLE, 4096));
        for (const double x : {66.0, 250.0, 468.0, 640.0})
            DrawTree(canvas, x, 318, std::sin(dSeconds * 1.1 + x) * 5);
        for (uint32_t i = 0; i < 7; ++i)  // along the far pavement
            Stroll(canvas, i, dSeconds, 320 + 6.0 * (i % 2), 56, 60);
        DrawLight(canvas, WALK_RIGHT + 34, ROAD_TOP - 2, time);

        DrawLane(canvas, LANES[0], time, cycle);
        if (time > GREEN + 0.6) Cross(canvas, time - GREEN - 0.6, cycle);
        DrawLane(canvas, LANES[1], time, cycle);
        for (uint32_t i = 20; i < 24; ++i)  // before us
            Stroll(canvas, i, dSeconds, 540 + 9.0 * (i % 3), 106, 84);
    }

  private:
    static void Stroll(CCanvas& canvas, uint32_t dwNumber, double dSeconds, double dY, double dHeight,
                       double dPace)
    {
        const double facing = Noise(60, dwNumber) > 0.5 ? 1 : -1;
        const double speed = dPace * (0.45 + 0.3 * Noise(61, dwNumber));
        const double x = Wrap(Noise(62, dwNumber) * 900 + facing * speed * dSeconds, 900) - 90;
        DrawPerson(canvas, x, dY, dHeight, speed * dSeconds / (dHeight * 0.36), facing, PersonOf(dwNumber));
    }

    static void Cross(CCanvas& canvas, double dSince, uint32_t dwCycle)
    {
        for (uint32_t i = 0; i < 5; ++i) {
            const uint32_t who = dwCycle * 5 + i;
            const double share = (dSince - 0.5 * i * Noise(70, who)) / 5.6;
            if (share <= 0 || share >= 1) continue;
            const bool down = Noise(71, who) > 0.4;
            const double way = down ? share : 1 - share;
            const double y = ROAD_TOP + way * (ROAD_BOTTOM - ROAD_TOP);
            DrawPerson(canvas, WALK_LEFT + 22 + 14.0 * i + (way - 0.5) * 14, y, 64 + 30 * way, share * 11,
                       Noise(72, who) - 0.5, PersonOf(who));
        }
    }

    static void DrawLane(CCanvas& canvas, const XTraffic& lane, double dTime, uint32_t dwCycle)
    {
        constexpr double OUTSIDE = 190;
        const double way = SCENE_WIDTH + 2 * OUTSIDE;
        const auto draw = [&](double along, uint32_t number) {
            static constexpr std::array<uint32_t, 7> PAINTS = {0xC23B33, 0x2F6DB0, 0xE8E6E0, 0x2E3238,
                                                               0xD9A32E, 0x4C8C5B, 0x8D97A3};
            const double x = lane.m_dFacing > 0 ? along - OUTSIDE : SCENE_WIDTH + OUTSIDE - along;
            const auto paint = static_cast<size_t>(Noise(lane.m_dwSeed, number) * PAINTS.size());
            DrawCar(canvas, x, lane.m_dY, lane.m_dLength, lane.m_dFacing, along, Rgb(PAINTS[paint]), false);
        };
        const double stop = lane.m_dFacing > 0 ? OUTSIDE + WALK_LEFT - 36 - lane.m_dLength / 2
                                               : OUTSIDE + SCENE_WIDTH - WALK_RIGHT - 34 - lane.m_dLength / 2;
        // the one that waited goes off first
        if (dTime < 8) draw(stop + Accelerate(dTime), dwCycle * 4 + 3);
        for (uint32_t i = 0; i < 2; ++i) {
            const double along = (dTime - 2.6 - 2.8 * i - Noise(lane.m_dwSeed + 1, dwCycle + i)) * 190;
            if (along > 0 && along < way) draw(along, dwCycle * 4 + i);
        }
        // and the next comes to a stop; it is the one that waits in the cycle to come
        if (dTime > GREEN - 1.5) draw(stop * Smooth01(dTime - GREEN + 1.5, 4.5), dwCycle * 4 + 7);
    }

    static double Accelerate(double dTime)
    {
        const double after = dTime - 0.4;
        return after <= 0 ? 0 : after < 3 ? 32 * after * after : 288 + 192 * (after - 3);
    }
    static double Smooth01(double dTime, double dDuration)
    {
        const double share = dTime >= dDuration ? 1 : dTime / dDuration;
        return 1 - (1 - share) * (1 - share);
    }
};

}  // namespace

std::unique_ptr<IScene> MakeCrossing()
{
    return std::make_unique<CCrossing>();
}

}  // namespace recorder
