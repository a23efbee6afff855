#include "recorder/scene/Scene.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "recorder/scene/Mark.h"
#include "recorder/scene/Overlay.h"
#include "recorder/scene/Scenes.h"

namespace recorder
{

namespace
{

using Maker = std::unique_ptr<IScene> (*)();
constexpr std::array<Maker, SCENES> MAKERS = {MakeHarbour, MakeCrossing, MakeWarehouse, MakeParkingDeck,
                                              MakeGarden,  MakePlatform, MakeLobby,     MakeServerRoom};

// A round of SCENES channels later the same place is shown by another light.
constexpr std::array<Colour, 4> LIGHTS = {Rgb(0x000000, 0), Rgb(0x1B2A6B, 0.38), Rgb(0xE07B30, 0.22),
                                          Rgb(0xB8C4CE, 0.30)};
// and at another time, so that nothing moves in step
constexpr double LATER_EACH_ROUND = 137.5;

void Finish(const SceneSetup& setup, int channel, int64_t pictureNumber, const uint8_t* pixels,
            Picture& picture)
{
    picture.Resize(setup.width, setup.height);
    FromBgra(pixels, ptrdiff_t{4} * setup.width, picture);
    if (setup.mark) DrawMark({static_cast<uint32_t>(pictureNumber), channel}, picture);
}

struct Notice {
    std::vector<std::string> lines;
    double size = 0;
};

// Broken at blanks, and within words that are wider than a line; always at least one letter a line.
std::vector<std::string> BreakLines(Canvas& canvas, const std::string& text, double width, double size)
{
    std::vector<std::string> lines;
    std::string line;
    for (const char letter : text) {
        line += letter;
        if (line.size() == 1 || canvas.TextWidth(size, line) <= width) continue;
        const size_t blank = line.rfind(' ');
        const size_t cut = blank == std::string::npos || blank == 0 ? line.size() - 1 : blank;
        lines.push_back(line.substr(0, cut));
        line.erase(0, line[cut] == ' ' ? cut + 1 : cut);
    }
    if (!line.empty()) lines.push_back(line);
    return lines;
}

// The largest letters, not above size, with which the lines fit; what doesn't even fit with the smallest is
// cut.
Notice FitNotice(Canvas& canvas, const std::string& text, double width, double height, double size)
{
    constexpr double SMALLEST = 7;
    constexpr double STEP = 0.9;
    Notice notice{BreakLines(canvas, text, width, size), size};
    const auto room = [&] { return static_cast<size_t>(height / (notice.size * 1.2)); };
    while (notice.lines.size() > room() && notice.size * STEP >= SMALLEST) {
        notice.size *= STEP;
        notice.lines = BreakLines(canvas, text, width, notice.size);
    }
    if (notice.lines.size() > room()) notice.lines.resize(std::max<size_t>(1, room()));
    return notice;
}

}  // namespace

std::string DefaultName(int channel)
{
    char text[32];
    std::snprintf(text, sizeof text, "CAM %02d  ", channel + 1);
    return text + std::string(MAKERS[static_cast<size_t>(channel % SCENES)]()->Name());
}

std::string ClockText(const SceneSetup& setup, int64_t picture)
{
    const int64_t hundredths = setup.clockStart + picture * 100 / setup.rate;
    constexpr int64_t DAY = 24 * 3600 * 100;
    const int64_t inDay = (hundredths % DAY + DAY) % DAY;
    const std::chrono::year_month_day date(
        std::chrono::sys_days(std::chrono::days((hundredths - inDay) / DAY)));
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02u-%02u %02d:%02d:%02d.%02d", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  static_cast<int>(inDay / 360000), static_cast<int>(inDay / 6000 % 60),
                  static_cast<int>(inDay / 100 % 60), static_cast<int>(inDay % 100));
    return text;
}

int64_t WallClockNow()
{
    std::timespec now{};
    std::timespec_get(&now, TIME_UTC);
    std::tm local{};
    localtime_r(&now.tv_sec, &local);
    return (static_cast<int64_t>(now.tv_sec) + local.tm_gmtoff) * 100 + now.tv_nsec / 10'000'000;
}

int64_t ParseClock(const std::string& text)
{
    int year = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
    unsigned month = 0;
    unsigned day = 0;
    int used = 0;
    if (std::sscanf(text.c_str(), "%4d-%2u-%2u%*1[ T]%2d:%2d:%2d%n", &year, &month, &day, &hour, &minute,
                    &second, &used) != 6 ||
        static_cast<size_t>(used) != text.size())
        return -1;
    const std::chrono::year_month_day date{std::chrono::year(year), std::chrono::month(month),
                                           std::chrono::day(day)};
    if (!date.ok() || year < 1970 || hour < 0 || hour > 23 || minute < 0 || minute > 59 || second < 0 ||
        second > 59)
        return -1;
    const int64_t days = std::chrono::sys_days(date).time_since_epoch().count();
    return ((days * 24 + hour) * 3600 + minute * 60 + second) * 100;
}

struct ScenePainter::State {
    State(const SceneSetup& setup, int channel)
        : m_Setup(setup),
          m_Channel(channel),
          m_Round(channel / SCENES),
          m_Scene(MAKERS[static_cast<size_t>(channel % SCENES)]()),
          m_Overlay(setup, channel),
          m_Still(setup.width, setup.height),
          m_Picture(setup.width, setup.height)
    {
        Fit(m_Still);
        Canvas canvas(m_Still.Context());
        m_Scene->DrawStill(canvas);
        cairo_surface_flush(m_Still.GetSurface());
    }

    void Fit(const Surface& surface) const
    {
        cairo_scale(surface.Context(), m_Setup.width / SCENE_WIDTH, m_Setup.height / SCENE_HEIGHT);
    }

    const uint8_t* Draw(int64_t picture)
    {
        cairo_t* const context = m_Picture.Context();
        cairo_save(context);
        cairo_set_source_surface(context, m_Still.GetSurface(), 0, 0);
        cairo_set_operator(context, CAIRO_OPERATOR_SOURCE);
        cairo_paint(context);
        cairo_set_operator(context, CAIRO_OPERATOR_OVER);
        Fit(m_Picture);
        Canvas canvas(context);
        m_Scene->DrawMoving(canvas, static_cast<double>(picture) / m_Setup.rate + m_Round * LATER_EACH_ROUND);
        const Colour& light = LIGHTS[static_cast<size_t>(m_Round) % LIGHTS.size()];
        if (light.a > 0) canvas.Rect(0, 0, SCENE_WIDTH, SCENE_HEIGHT, light);
        cairo_restore(context);
        m_Picture.Change(
            [this](uint8_t* pixels) { m_ViewPainter.Apply(m_View, pixels, m_Setup.width, m_Setup.height); });
        m_Overlay.Draw(context, picture);
        return m_Picture.Pixels();
    }

    SceneSetup m_Setup;
    int m_Channel;
    int m_Round;
    std::unique_ptr<IScene> m_Scene;
    TextOverlay m_Overlay;
    Surface m_Still;
    Surface m_Picture;
    View m_View;
    ViewPainter m_ViewPainter;
};

ScenePainter::ScenePainter(const SceneSetup& setup, int channel)
    : m_State(std::make_unique<State>(setup, channel))
{
}

ScenePainter::~ScenePainter() = default;

void ScenePainter::SetView(const View& view)
{
    m_State->m_View = view;
}

void ScenePainter::Draw(int64_t pictureNumber, Picture& picture)
{
    Finish(m_State->m_Setup, m_State->m_Channel, pictureNumber, m_State->Draw(pictureNumber), picture);
}

OverlayPainter::OverlayPainter(const SceneSetup& setup, int channel)
    : m_Setup(setup), m_Channel(channel), m_Overlay(std::make_unique<TextOverlay>(setup, channel))
{
}

OverlayPainter::~OverlayPainter() = default;

void OverlayPainter::Draw(int64_t pictureNumber, uint8_t* pixels, Picture& picture, const std::string& note)
{
    m_ViewPainter.Apply(m_View, pixels, m_Setup.width, m_Setup.height);
    const Surface surface(pixels, m_Setup.width, m_Setup.height);
    m_Overlay->Draw(surface.Context(), pictureNumber, note);
    Finish(m_Setup, m_Channel, pictureNumber, surface.Pixels(), picture);
}

void OverlayPainter::DrawNotice(int64_t pictureNumber, const std::string& notice, Picture& picture)
{
    const Surface surface(m_Setup.width, m_Setup.height);
    Canvas canvas(surface.Context());
    const double width = m_Setup.width;
    const double height = m_Setup.height;
    canvas.Shade(0, 0, width, height, {{0, Rgb(0x1C2733)}, {1, Rgb(0x0B1016)}});
    const double sweep = Wrap(static_cast<double>(pictureNumber) / m_Setup.rate / 4, 1);
    canvas.Shade(0, sweep * height * 1.2 - height * 0.2, width, height * 0.2,
                 {{0, Rgb(0xFFFFFF, 0)}, {1, Rgb(0xFFFFFF, 0.07)}});
    const Notice text = FitNotice(canvas, notice, width * 0.86, height * 0.4, height / 16);
    double baseline = height / 2 - text.size * 0.6 * static_cast<double>(text.lines.size() - 1);
    for (const std::string& line : text.lines) {
        canvas.Text(width / 2, baseline, text.size, line, Rgb(0x9FB4C8), Canvas::EAlign::Centre, true);
        baseline += text.size * 1.2;
    }
    m_Overlay->Draw(surface.Context(), pictureNumber);
    Finish(m_Setup, m_Channel, pictureNumber, surface.Pixels(), picture);
}

Picture DrawScene(const SceneSetup& setup, int channel, int64_t pictureNumber)
{
    Picture picture;
    ScenePainter(setup, channel).Draw(pictureNumber, picture);
    return picture;
}

}  // namespace recorder
