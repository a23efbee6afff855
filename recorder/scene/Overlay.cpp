#include "recorder/scene/Overlay.h"

#include <algorithm>
#include <cmath>

#include "recorder/scene/Canvas.h"

namespace recorder
{

namespace
{

constexpr int SMALLEST_TEXT = 10;  // pixels
constexpr const char* CLOCK_LETTERS = "0123456789-:. ";

std::string NameOf(const XSceneSetup& setup, int iChannel)
{
    const auto index = static_cast<size_t>(iChannel);
    return index < setup.m_Names.size() && !setup.m_Names[index].empty() ? setup.m_Names[index]
                                                                         : DefaultName(iChannel);
}

}  // namespace

CTextOverlay::CTextOverlay(const XSceneSetup& setup, int iChannel)
    : m_Setup(setup),
      m_iSize(std::max(SMALLEST_TEXT, setup.m_iHeight / 24)),
      m_iRim(std::max(2, m_iSize / 8)),
      m_iAscent(m_iSize + m_iRim),
      m_Name(MakeSprite(NameOf(setup, iChannel)))
{
    for (const char* letter = CLOCK_LETTERS; *letter != 0; ++letter)
        m_Clock[*letter] = MakeSprite(std::string(1, *letter));
}

CTextOverlay::XSprite CTextOverlay::MakeSprite(const std::string& text) const
{
    const CSurface ruler(1, 1);
    const double advance = CCanvas(ruler.Context()).TextWidth(m_iSize, text);
    XSprite sprite;
    sprite.m_iAdvance = static_cast<int>(std::ceil(advance));
    const int width = std::min(sprite.m_iAdvance, m_Setup.m_iWidth) + 2 * m_iRim;
    sprite.m_pSurface = std::make_unique<CSurface>(width, m_iAscent + m_iSize / 2, CAIRO_FORMAT_ARGB32);
    CCanvas(sprite.m_pSurface->Context()).RimText(m_iRim, m_iAscent, m_iSize, text, Rgb(0xFFFFFF));
    cairo_surface_flush(sprite.m_pSurface->Surface());
    return sprite;
}

void CTextOverlay::Lay(cairo_t* pContext, const XSprite& sprite, int iX, int iBaseline) const
{
    cairo_set_source_surface(pContext, sprite.m_pSurface->Surface(), iX - m_iRim, iBaseline - m_iAscent);
    cairo_paint(pContext);
}

void CTextOverlay::Draw(cairo_t* pContext, int64_t iPicture, const std::string& note) const
{
    const int margin = m_iSize * 2 / 3;
    Lay(pContext, m_Name, margin, margin + m_iSize);
    if (!note.empty()) Lay(pContext, MakeSprite(note), margin, 2 * margin + 2 * m_iSize);
    const std::string clock = ClockText(m_Setup, iPicture);
    int x = m_Setup.m_iWidth - margin;
    for (const char letter : clock)
        x -= m_Clock.at(letter).m_iAdvance;
    for (const char letter : clock) {
        const XSprite& sprite = m_Clock.at(letter);
        Lay(pContext, sprite, x, m_Setup.m_iHeight - margin);
        x += sprite.m_iAdvance;
    }
}

}  // namespace recorder
