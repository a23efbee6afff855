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
constexpr std::array<XColour, 4> LIGHTS = {Rgb(0x000000, 0), Rgb(0x1B2A6B, 0.38), Rgb(0xE07B30, 0.22),
                                           Rgb(0xB8C4CE, 0.30)};
// and at another time, so that nothing moves in step
constexpr double LATER_EACH_ROUND = 137.5;

void Finish(const XSceneSetup& setup, int iChannel, int64_t iPicture, const uint8_t* pPixels, XPicture& picture)
{
    picture.Resize(setup.m_iWidth, setup.m_iHeight);
    FromBgra(pPixels, ptrdiff_t{4} * setup.m_iWidth, picture);
    if (setup.m_bMark) DrawMark({static_cast<uint32_t>(iPicture), iChannel}, picture);
}

struct XNotice {
    std::vector<std::string> m_Lines;
    double m_dSize = 0;
};

// Broken at blanks, and within words that are wider than a line; always at least one letter a line.
std::vector<std::string> BreakLines(CCanvas& canvas, const std::string& text, double dWidth, double dSize)
{
    std::vector<std::string> lines;
    std::string line;
    for (const char letter : text) {
        line += letter;
        if (line.size() == 1 || canvas.TextWidth(dSize, line) <= dWidth) continue;
        const size_t blank = line.rfind(' ');
        const size_t cut = blank == std::string::npos || blank == 0 ? line.size() - 1 : blank;
        lines.push_back(line.substr(0, cut));
        line.erase(0, line[cut] == ' ' ? cut + 1 : cut);
    }
    if (!line.empty()) lines.push_back(line);
    return lines;
}

// The largest letters, not above dSize, with which the lines fit; what doesn't even fit with the smallest is
// cut.
XNotice FitNotice(CCanvas& canvas, const std::string& text, double dWidth, double dHeight, double dSize)
{
    constexpr double SMALLEST = 7;
    constexpr double STEP = 0.9;
    XNotice notice{BreakLines(canvas, text, dWidth, dSize), dSize};
    const auto room = [&] { return static_cast<size_t>(dHeight / (notice.m_dSize * 1.2)); };
    while (notice.m_Lines.size() > room() && notice.m_dSize * STEP >= SMALLEST) {
        notice.m_dSize *= STEP;
        notice.m_Lines = BreakLines(canvas, text, dWidth, notice.m_dSize);
    }
    if (notice.m_Lines.size() > room()) notice.m_Lines.resize(std::max<size_t>(1, room()));
    return notice;
}

}  // namespace

std::string DefaultName(int iChannel)
{
    char text[32];
    std::snprintf(text, sizeof text, "CAM %02d  ", iChannel + 1);
    return text + std::string(MAKERS[static_cast<size_t>(iChannel % SCENES)]()->Name());
}

std::string ClockText(const XSceneSetup& setup, int64_t iPicture)
{
    const int64_t hundredths = setup.m_iClockStart + iPicture * 100 / setup.m_iRate;
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

struct CScenePainter::XState {
    XState(const XSceneSetup& setup, int iChannel)
        : m_Setup(setup),
          m_iChannel(iChannel),
          m_iRound(iChannel / SCENES),
          m_pScene(MAKERS[static_cast<size_t>(iChannel % SCENES)]()),
          m_Overlay(setup, iChannel),
          m_Still(setup.m_iWidth, setup.m_iHeight),
          m_Picture(setup.m_iWidth, setup.m_iHeight)
    {
        Fit(m_Still);
        CCanvas canvas(m_Still.Context());
        m_pScene->DrawStill(canvas);
        cairo_surface_flush(m_Still.Surface());
    }

    void Fit(const CSurface& surface) const
    {
        cairo_scale(surface.Context(), m_Setup.m_iWidth / SCENE_WIDTH, m_Setup.m_iHeight / SCENE_HEIGHT);
    }

    const uint8_t* Draw(int64_t iPicture)
    {
        cairo_t* const context = m_Picture.Context();
        cairo_save(context);
        cairo_set_source_surface(context, m_Still.Surface(), 0, 0);
        cairo_set_operator(context, CAIRO_OPERATOR_SOURCE);
        cairo_paint(context);
        cairo_set_operator(context, CAIRO_OPERATOR_OVER);
        Fit(m_Picture);
        CCanvas canvas(context);
        m_pScene->DrawMoving(canvas,
                             static_cast<double>(iPicture) / m_Setup.m_iRate + m_iRound * LATER_EACH_ROUND);
        const XColour& light = LIGHTS[static_cast<size_t>(m_iRound) % LIGHTS.size()];
        if (light.m_dA > 0) canvas.Rect(0, 0, SCENE_WIDTH, SCENE_HEIGHT, light);
        cairo_restore(context);
        m_Picture.Change([this](uint8_t* pixels) {
            m_ViewPainter.Apply(m_View, pixels, m_Setup.m_iWidth, m_Setup.m_iHeight);
        });
        m_Overlay.Draw(context, iPicture);
        return m_Picture.Pixels();
    }

    XSceneSetup m_Setup;
    int m_iChannel;
    int m_iRound;
    std::unique_ptr<IScene> m_pScene;
    CTextOverlay m_Overlay;
    CSurface m_Still;
    CSurface m_Picture;
    XView m_View;
    CViewPainter m_ViewPainter;
};

CScenePainter::CScenePainter(const XSceneSetup& setup, int iChannel)
    : m_pState(std::make_unique<XState>(setup, iChannel))
{
}

CScenePainter::~CScenePainter() = default;

void CScenePainter::SetView(const XView& view)
{
    m_pState->m_View = view;
}

const uint8_t* CScenePainter::DrawBgra(int64_t iPicture)
{
    return m_pState->Draw(iPicture);
}

void CScenePainter::Draw(int64_t iPicture, XPicture& picture)
{
    Finish(m_pState->m_Setup, m_pState->m_iChannel, iPicture, m_pState->Draw(iPicture), picture);
}

COverlayPainter::COverlayPainter(const XSceneSetup& setup, int iChannel)
    : m_Setup(setup), m_iChannel(iChannel), m_pOverlay(std::make_unique<CTextOverlay>(setup, iChannel))
{
}

COverlayPainter::~COverlayPainter() = default;

void COverlayPainter::Draw(int64_t iPicture, uint8_t* pPixels, XPicture& picture, const std::string& note)
{
    m_ViewPainter.Apply(m_View, pPixels, m_Setup.m_iWidth, m_Setup.m_iHeight);
    const CSurface surface(pPixels, m_Setup.m_iWidth, m_Setup.m_iHeight);
    m_pOverlay->Draw(surface.Context(), iPicture, note);
    Finish(m_Setup, m_iChannel, iPicture, surface.Pixels(), picture);
}

void COverlayPainter::DrawNotice(int64_t iPicture, const std::string& notice, XPicture& picture)
{
    const CSurface surface(m_Setup.m_iWidth, m_Setup.m_iHeight);
    CCanvas canvas(surface.Context());
    const double width = m_Setup.m_iWidth;
    const double height = m_Setup.m_iHeight;
    canvas.Shade(0, 0, width, height, {{0, Rgb(0x1C2733)}, {1, Rgb(0x0B1016)}});
    const double sweep = Wrap(static_cast<double>(iPicture) / m_Setup.m_iRate / 4, 1);
    canvas.Shade(0, sweep * height * 1.2 - height * 0.2, width, height * 0.2,
                 {{0, Rgb(0xFFFFFF, 0)}, {1, Rgb(0xFFFFFF, 0.07)}});
    const XNotice text = FitNotice(canvas, notice, width * 0.86, height * 0.4, height / 16);
    double baseline = height / 2 - text.m_dSize * 0.6 * static_cast<double>(text.m_Lines.size() - 1);
    for (const std::string& line : text.m_Lines) {
        canvas.Text(width / 2, baseline, text.m_dSize, line, Rgb(0x9FB4C8), CCanvas::EAlign::Centre, true);
        baseline += text.m_dSize * 1.2;
    }
    m_pOverlay->Draw(surface.Context(), iPicture);
    Finish(m_Setup, m_iChannel, iPicture, surface.Pixels(), picture);
}

XPicture DrawScene(const XSceneSetup& setup, int iChannel, int64_t iPicture)
{
    XPicture picture;
    CScenePainter(setup, iChannel).Draw(iPicture, picture);
    return picture;
}

}  // namespace recorder
